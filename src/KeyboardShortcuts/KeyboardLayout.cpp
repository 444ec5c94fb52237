#include "KeyboardLayout.h"

#include "KeyTable.h"

namespace KeyboardShortcuts {

namespace {

const KeyboardLayout *g_current = nullptr;

} // namespace

QString UsKeyboardLayout::character(Key key) const
{
    const KeyTableRow *row = keyTableRow(key);
    // Printable ASCII keysyms are their own code points.
    if (row && row->keysym > 0x20 && row->keysym < 0x7f)
        return QString(QChar(char16_t(row->keysym)));
    return {};
}

std::optional<Key> UsKeyboardLayout::keyForScanCode(quint32) const
{
    return std::nullopt;
}

const KeyboardLayout &currentKeyboardLayout()
{
    static const UsKeyboardLayout us;
    return g_current ? *g_current : us;
}

void setCurrentKeyboardLayout(const KeyboardLayout *layout)
{
    g_current = layout;
}

} // namespace KeyboardShortcuts
