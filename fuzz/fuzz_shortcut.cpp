// The stored shortcut on arbitrary bytes: decoding, the display text of what decodes, and the
// stored form read back to the same value.
#include "KeyboardShortcuts/Shortcut.h"

#include <cstdint>
#include <cstdlib>

using KeyboardShortcuts::Shortcut;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto shortcut = Shortcut::fromJson(
        QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (!shortcut)
        return 0;
    (void)shortcut->keyCaps();
    (void)shortcut->presentableDescription();
    if (Shortcut::fromJson(shortcut->toJson()) != shortcut)
        std::abort();
    return 0;
}
