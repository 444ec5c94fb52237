#include "LinkDetector.h"

#include <QStringList>

#include <libpsl.h>

namespace {

// The system's public suffix list (kept current by Debian's publicsuffix package), else the
// copy built into libpsl. Loaded once; lives for the process.
const psl_ctx_t *suffixList()
{
    static const psl_ctx_t *const list = [] {
        const psl_ctx_t *latest = psl_latest(nullptr);
        return latest ? latest : psl_builtin();
    }();
    return list;
}

bool isKnownTopLevelDomain(const QString &label)
{
    const QByteArray ace = QUrl::toAce(label.toLower());
    if (ace.isEmpty() || !suffixList())
        return false;
    // Without the implicit "*" rule every unknown label would count as a suffix.
    return psl_is_public_suffix2(suffixList(), ace.constData(), PSL_TYPE_ANY | PSL_TYPE_NO_STAR_RULE)
           != 0;
}

bool isHostLabel(QStringView label)
{
    if (label.isEmpty() || label.size() > 63 || label.startsWith(u'-') || label.endsWith(u'-'))
        return false;
    for (QChar c : label) {
        if (!(c.isLetterOrNumber() || c == u'-'))
            return false;
    }
    return true;
}

bool hasWhiteSpace(const QString &text)
{
    for (QChar c : text) {
        if (c.isSpace())
            return true;
    }
    return false;
}

std::optional<QUrl> withHost(const QUrl &url)
{
    if (!url.isValid() || url.host().isEmpty())
        return std::nullopt;
    return url;
}

} // namespace

std::optional<QUrl> detectWholeTextLink(const QString &text)
{
    if (text.isEmpty() || hasWhiteSpace(text))
        return std::nullopt;

    const qsizetype schemeEnd = text.indexOf(QStringLiteral("://"));
    if (schemeEnd > 0) {
        const QString scheme = text.left(schemeEnd).toLower();
        if (scheme != u"http" && scheme != u"https" && scheme != u"ftp")
            return std::nullopt;
        return withHost(QUrl(text, QUrl::StrictMode));
    }

    // A bare host name, optionally with a port, a path, a query or a fragment.
    qsizetype hostEnd = text.size();
    for (QChar stop : {u'/', u'?', u'#'}) {
        const qsizetype at = text.indexOf(stop);
        if (at >= 0 && at < hostEnd)
            hostEnd = at;
    }
    QString host = text.left(hostEnd);
    if (host.contains(u'@')) // an e-mail address or credentials, not a web link
        return std::nullopt;
    if (const qsizetype colon = host.indexOf(u':'); colon >= 0) {
        const QString port = host.mid(colon + 1);
        bool ok = false;
        const uint number = port.toUInt(&ok);
        if (!ok || number > 65535 || port.startsWith(u'+'))
            return std::nullopt;
        host.truncate(colon);
    }
    const QStringList labels = host.split(u'.');
    if (labels.size() < 2)
        return std::nullopt;
    for (const QString &label : labels) {
        if (!isHostLabel(label))
            return std::nullopt;
    }
    if (!isKnownTopLevelDomain(labels.last()))
        return std::nullopt;
    return withHost(QUrl(QStringLiteral("http://") + text, QUrl::StrictMode));
}
