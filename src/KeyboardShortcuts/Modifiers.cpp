#include "Modifiers.h"

#include <array>

namespace KeyboardShortcuts {

namespace {

struct ModifierRow
{
    ModifierFlag flag;
    qint64 carbon;
    Qt::KeyboardModifier qt;
    const char16_t *name;
};

// In display order.
constexpr std::array<ModifierRow, 5> kModifiers = {{
    {ModifierFlag::control, CarbonModifier::control, Qt::ControlModifier, u"Ctrl"},
    {ModifierFlag::option, CarbonModifier::option, Qt::AltModifier, u"Alt"},
    {ModifierFlag::shift, CarbonModifier::shift, Qt::ShiftModifier, u"Shift"},
    {ModifierFlag::command, CarbonModifier::command, Qt::MetaModifier, u"Super"},
    {ModifierFlag::function, CarbonModifier::function, Qt::NoModifier, u"Fn"},
}};

} // namespace

qint64 carbonModifiers(ModifierFlags flags)
{
    qint64 carbon = 0;
    for (const ModifierRow &row : kModifiers) {
        if (flags.testFlag(row.flag))
            carbon |= row.carbon;
    }
    return carbon;
}

ModifierFlags modifierFlags(qint64 carbonModifiers)
{
    ModifierFlags flags;
    for (const ModifierRow &row : kModifiers) {
        if (carbonModifiers & row.carbon)
            flags |= row.flag;
    }
    return flags;
}

qint64 carbonModifiers(Qt::KeyboardModifiers modifiers)
{
    qint64 carbon = 0;
    for (const ModifierRow &row : kModifiers) {
        if (row.qt != Qt::NoModifier && modifiers.testFlag(row.qt))
            carbon |= row.carbon;
    }
    return carbon;
}

Qt::KeyboardModifiers qtModifiers(qint64 carbonModifiers)
{
    Qt::KeyboardModifiers modifiers;
    for (const ModifierRow &row : kModifiers) {
        if (carbonModifiers & row.carbon)
            modifiers |= row.qt;
    }
    return modifiers;
}

QStringList modifierNames(ModifierFlags flags)
{
    QStringList names;
    for (const ModifierRow &row : kModifiers) {
        if (flags.testFlag(row.flag))
            names.append(QString::fromUtf16(row.name));
    }
    return names;
}

} // namespace KeyboardShortcuts
