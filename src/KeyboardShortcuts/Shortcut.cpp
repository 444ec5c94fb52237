#include "Shortcut.h"

#include "KeyTable.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>

namespace KeyboardShortcuts {

namespace {

const QString kKeyCodeField = QStringLiteral("carbonKeyCode");
const QString kModifiersField = QStringLiteral("carbonModifiers");

std::optional<qint64> wholeNumber(const QJsonValue &value)
{
    if (!value.isDouble())
        return std::nullopt;
    // toInteger gives its fallback for fractions and out-of-range numbers; two fallbacks tell
    // that apart from a stored value equal to one of them.
    const qint64 number = value.toInteger(0);
    if (number == 0 && value.toInteger(1) != 0)
        return std::nullopt;
    return number;
}

} // namespace

Shortcut::Shortcut(Key key, ModifierFlags modifiers)
    : carbonKeyCode(key.rawValue)
    , carbonModifiers(KeyboardShortcuts::carbonModifiers(modifiers))
{}

std::optional<Shortcut> Shortcut::fromEvent(const QKeyEvent &event, const KeyboardLayout &layout)
{
    if (event.type() != QEvent::KeyPress && event.type() != QEvent::KeyRelease)
        return std::nullopt;
    const std::optional<Key> key = keyFromEvent(event, layout);
    if (!key)
        return std::nullopt;
    return Shortcut(key->rawValue,
                    KeyboardShortcuts::carbonModifiers(event.modifiers())
                        & ~CarbonModifier::function);
}

std::optional<Shortcut> Shortcut::fromEvent(const QKeyEvent &event)
{
    return fromEvent(event, currentKeyboardLayout());
}

QString Shortcut::keyText(const KeyboardLayout &layout) const
{
    if (const auto special = specialKey(key()))
        return KeyboardShortcuts::presentableDescription(*special);
    if (QString name = pcKeyName(key()); !name.isEmpty())
        return name;
    const QList<uint> characters = layout.character(key()).toUcs4();
    if (characters.size() != 1)
        return QStringLiteral("\uFFFD");
    // Title case, not upper case: one character stays one (ß is not "SS").
    const char32_t title = QChar::toTitleCase(char32_t(characters.front()));
    return QString::fromUcs4(&title, 1);
}

QString Shortcut::keyText() const
{
    return keyText(currentKeyboardLayout());
}

QStringList Shortcut::keyCaps(const KeyboardLayout &layout) const
{
    QStringList caps = modifierNames(modifiers());
    caps.append(keyText(layout));
    return caps;
}

QStringList Shortcut::keyCaps() const
{
    return keyCaps(currentKeyboardLayout());
}

QString Shortcut::presentableDescription(const KeyboardLayout &layout) const
{
    return keyCaps(layout).join(u'+');
}

QString Shortcut::presentableDescription() const
{
    return presentableDescription(currentKeyboardLayout());
}

QByteArray Shortcut::toJson() const
{
    const QJsonObject object{{kKeyCodeField, carbonKeyCode}, {kModifiersField, carbonModifiers}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<Shortcut> Shortcut::fromJson(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    const auto keyCode = wholeNumber(object.value(kKeyCodeField));
    const auto modifiers = wholeNumber(object.value(kModifiersField));
    if (!keyCode || !modifiers)
        return std::nullopt;
    return Shortcut(*keyCode, *modifiers);
}

QDebug operator<<(QDebug debug, const Shortcut &shortcut)
{
    QDebugStateSaver saver(debug);
    debug.nospace() << "Shortcut(" << shortcut.carbonKeyCode << ", 0x" << Qt::hex
                    << shortcut.carbonModifiers << ')';
    return debug;
}

} // namespace KeyboardShortcuts
