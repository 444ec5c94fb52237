// The page-head parser on arbitrary bytes, cut off anywhere, with or without a charset.
#include "capture/PageHead.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray html(reinterpret_cast<const char *>(data), qsizetype(size));
    static const QUrl page(QStringLiteral("https://example.org/dir/page.html"));
    // The first byte picks the declared charset, as a server's header would.
    static const QByteArray charsets[] = {{}, "utf-8", "iso-8859-1", "shift_jis", "utf-16le"};
    const QByteArray &charset = charsets[size ? data[0] % 5 : 0];
    const PageHead head = parsePageHead(html, page, charset);
    for (const QUrl &url : head.previewImages + head.icons) {
        if (!url.isValid() || (url.scheme() != u"http" && url.scheme() != u"https"))
            std::abort(); // only absolute web addresses come out
    }
    return 0;
}
