#include "ShortcutRecorder.h"

#include "KeyboardShortcuts/KeyboardLayout.h"
#include "KeyboardShortcuts/Modifiers.h"
#include "KeyboardShortcuts/Notifier.h"
#include "KeyboardShortcuts/Registry.h"

#include <QKeyEvent>

using namespace KeyboardShortcuts;

namespace {

bool isModifierKey(int key)
{
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
        return true;
    default:
        return false;
    }
}

// The modifier a modifier key itself stands for. On X11 a modifier key's own press does not
// yet carry its flag, and its release still does.
Qt::KeyboardModifiers modifierOfKey(int key)
{
    switch (key) {
    case Qt::Key_Shift:
        return Qt::ShiftModifier;
    case Qt::Key_Control:
        return Qt::ControlModifier;
    case Qt::Key_Alt:
        return Qt::AltModifier;
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
        return Qt::MetaModifier;
    default:
        return {};
    }
}

// What copies, pastes, cuts, undoes and selects in every application; a global grab would take
// it from all of them. A letter is matched by its position and by what the layout types there
// (Ctrl+C on a Dvorak layout is another key).
struct EditingShortcut
{
    Key key;
    QChar letter; // null for keys without one
    qint64 modifiers;
    const char *action;
};
constexpr EditingShortcut kEditingShortcuts[] = {
    {Key::c, u'C', CarbonModifier::control, "copies"},
    {Key::v, u'V', CarbonModifier::control, "pastes"},
    {Key::x, u'X', CarbonModifier::control, "cuts"},
    {Key::z, u'Z', CarbonModifier::control, "undoes"},
    {Key::a, u'A', CarbonModifier::control, "selects everything"},
    // The older keys of the same, which terminals and X programs still answer.
    {Key::insert, QChar(), CarbonModifier::shift, "pastes"},
    {Key::insert, QChar(), CarbonModifier::control, "copies"},
    {Key::deleteForward, QChar(), CarbonModifier::shift, "cuts"},
};

const EditingShortcut *editingShortcut(const Shortcut &shortcut)
{
    const QString text = shortcut.keyText();
    for (const EditingShortcut &editing : kEditingShortcuts) {
        if (shortcut.carbonModifiers != editing.modifiers)
            continue;
        if (shortcut.key() == editing.key || (!editing.letter.isNull() && text == editing.letter))
            return &editing;
    }
    return nullptr;
}

// Whether Shift and this key would type a character, in any layout the user can switch to.
bool typesCharacter(const QKeyEvent &event, Key key)
{
    const QString text = event.text();
    const bool printableText = text.size() == 1 && text.front().isPrint();
    const bool latin1Key = event.key() >= Qt::Key_Space && event.key() <= Qt::Key_ydiaeresis;
    return printableText || latin1Key || currentKeyboardLayout().typesCharacterInAnyLayout(key);
}

constexpr Qt::KeyboardModifiers kShortcutModifiers = Qt::ShiftModifier | Qt::ControlModifier
                                                     | Qt::AltModifier | Qt::MetaModifier;

} // namespace

ShortcutRecorder::ShortcutRecorder(Registry &registry, Name name, QObject *parent)
    : QObject(parent)
    , m_registry(registry)
    , m_name(std::move(name))
    , m_shortcut(m_registry.getShortcut(m_name))
{
    m_registry.declare(m_name);
    // A change made anywhere (a reset, another window) shows here at once.
    connect(&Notifier::shared(),
            &Notifier::shortcutByNameDidChange,
            this,
            [this](const Name &changed) {
                if (changed == m_name)
                    reload();
            });
    // A grab refused or won back later (a new keymap, a retry) shows too.
    connect(&m_registry, &Registry::registrationsChanged, this, [this] {
        if (!m_recording)
            checkRegistration();
    });
    checkRegistration();
}

ShortcutRecorder::~ShortcutRecorder()
{
    if (m_recording)
        m_registry.enable(m_name);
}

QString ShortcutRecorder::displayText() const
{
    return m_shortcut ? m_shortcut->presentableDescription() : QString();
}

QStringList ShortcutRecorder::keyCaps() const
{
    return m_shortcut ? m_shortcut->keyCaps() : QStringList();
}

void ShortcutRecorder::startRecording()
{
    if (m_recording)
        return;
    m_recording = true;
    m_registry.disable(m_name);
    setProblem({});
    setHeldModifiers({});
    emit recordingChanged();
}

void ShortcutRecorder::stopRecording()
{
    if (!m_recording)
        return;
    m_recording = false;
    m_registry.enable(m_name);
    setHeldModifiers({});
    emit recordingChanged();
}

void ShortcutRecorder::cancelRecording()
{
    stopRecording();
    checkRegistration();
}

void ShortcutRecorder::clear()
{
    stopRecording();
    m_registry.setShortcut(std::nullopt, m_name);
    reload();
}

void ShortcutRecorder::reset()
{
    stopRecording();
    m_registry.reset(m_name);
    reload();
}

void ShortcutRecorder::reload()
{
    setShortcut(m_registry.getShortcut(m_name));
    if (!m_recording)
        checkRegistration();
}

void ShortcutRecorder::setShortcut(const std::optional<Shortcut> &shortcut)
{
    if (m_shortcut == shortcut)
        return;
    m_shortcut = shortcut;
    emit shortcutChanged();
}

void ShortcutRecorder::setHeldModifiers(Qt::KeyboardModifiers modifiers)
{
    const QStringList names = modifierNames(modifierFlags(carbonModifiers(modifiers)));
    if (names == m_heldModifiers)
        return;
    m_heldModifiers = names;
    emit heldModifiersChanged();
}

void ShortcutRecorder::setProblem(const QString &problem)
{
    if (problem == m_problem)
        return;
    m_problem = problem;
    emit problemChanged();
}

void ShortcutRecorder::checkRegistration()
{
    const bool refused = m_shortcut && m_registry.isRefused(m_name);
    setProblem(refused ? QStringLiteral("%1 is taken by another application, so it does not "
                                        "open Cliphaven. Record another shortcut, or quit the "
                                        "application that holds it.")
                             .arg(m_shortcut->presentableDescription())
                       : QString());
}

bool ShortcutRecorder::handleKeyPress(const QKeyEvent &event)
{
    if (!m_recording)
        return false;
    const int key = event.key();
    const Qt::KeyboardModifiers modifiers = event.modifiers() & kShortcutModifiers;

    if (isModifierKey(key)) {
        setHeldModifiers(modifiers | modifierOfKey(key));
        return true;
    }
    if (key == Qt::Key_Escape && !modifiers) {
        cancelRecording();
        return true;
    }
    if ((key == Qt::Key_Backspace || key == Qt::Key_Delete) && !modifiers) {
        clear();
        return true;
    }
    const std::optional<Shortcut> shortcut = Shortcut::fromEvent(event);
    if (!shortcut) {
        setProblem(QStringLiteral("This key cannot be used in a shortcut."));
        return true;
    }
    // Shift is modifier enough only for keys that type nothing (Shift+F5): with a letter, digit
    // or sign the grab would take that character away from every application.
    const bool typing = typesCharacter(event, shortcut->key());
    if (!modifiers || (modifiers == Qt::ShiftModifier && typing)) {
        setProblem(typing ? QStringLiteral("Add Ctrl, Alt or Super to the key.")
                          : QStringLiteral("Add Ctrl, Alt, Shift or Super to the key."));
        return true;
    }
    if (const EditingShortcut *editing = editingShortcut(*shortcut)) {
        setProblem(QStringLiteral("%1 %2 in every application. Choose another shortcut.")
                       .arg(shortcut->presentableDescription(), QLatin1String(editing->action)));
        return true;
    }
    m_registry.setShortcut(shortcut, m_name);
    stopRecording();
    reload();
    return true;
}

bool ShortcutRecorder::handleKeyRelease(const QKeyEvent &event)
{
    if (!m_recording)
        return false;
    if (isModifierKey(event.key()))
        setHeldModifiers((event.modifiers() & kShortcutModifiers) & ~modifierOfKey(event.key()));
    return true;
}

bool ShortcutRecorder::keyPressed(int key,
                                  int modifiers,
                                  quint32 nativeScanCode,
                                  const QString &text)
{
    const QKeyEvent
        event(QEvent::KeyPress, key, Qt::KeyboardModifiers(modifiers), nativeScanCode, 0, 0, text);
    return handleKeyPress(event);
}

bool ShortcutRecorder::keyReleased(int key, int modifiers, quint32 nativeScanCode)
{
    const QKeyEvent event(QEvent::KeyRelease,
                          key,
                          Qt::KeyboardModifiers(modifiers),
                          nativeScanCode,
                          0,
                          0);
    return handleKeyRelease(event);
}
