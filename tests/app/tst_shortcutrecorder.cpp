#include "app/ShortcutNames.h"
#include "app/ShortcutRecorder.h"
#include "common/TestShortcuts.h"

#include <QFile>
#include <QKeyEvent>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace KeyboardShortcuts;

namespace {

const Shortcut kShiftSuperV(Key::v, ModifierFlag::shift | ModifierFlag::command);
const Shortcut kCtrlAltB(Key::b, ModifierFlag::control | ModifierFlag::option);

QKeyEvent press(int key, Qt::KeyboardModifiers modifiers = {})
{
    return QKeyEvent(QEvent::KeyPress, key, modifiers);
}

} // namespace

class TestShortcutRecorder : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        r = std::make_unique<TestShortcuts>();
        m_pressed = 0;
        r->registry.onKeyDown(ShortcutNames::toggleOverlay, [this] { ++m_pressed; });
    }

    void combinations_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<QString>("recorded"); // empty: refused, still recording
        QTest::addColumn<QString>("problem");

        QTest::newRow("Super+Shift+K, shown in display order")
            << int(Qt::Key_K) << (Qt::MetaModifier | Qt::ShiftModifier) << u"Shift+Super+K"_s
            << QString();
        QTest::newRow("Shift alone would eat capitals")
            << int(Qt::Key_B) << Qt::KeyboardModifiers(Qt::ShiftModifier) << QString()
            << u"Add Ctrl, Alt or Super to the key."_s;
        QTest::newRow("a plain function key")
            << int(Qt::Key_F5) << Qt::KeyboardModifiers() << QString()
            << u"Add Ctrl, Alt, Shift or Super to the key."_s;
        QTest::newRow("Shift is enough on a key that types nothing")
            << int(Qt::Key_F5) << Qt::KeyboardModifiers(Qt::ShiftModifier) << u"Shift+F5"_s
            << QString();
        QTest::newRow("a key outside the table")
            << int(Qt::Key_LaunchMail) << Qt::KeyboardModifiers(Qt::ControlModifier) << QString()
            << u"This key cannot be used in a shortcut."_s;
        // What every application copies, pastes, cuts, undoes and selects with stays theirs.
        const auto reserved =
            [](int key, Qt::KeyboardModifier modifier, const char *keys, const char *does) {
                QTest::addRow("%s %s everywhere", keys, does)
                    << key << Qt::KeyboardModifiers(modifier) << QString()
                    << u"%1 %2 in every application. Choose another shortcut."_s
                           .arg(QLatin1StringView(keys), QLatin1StringView(does));
            };
        reserved(Qt::Key_V, Qt::ControlModifier, "Ctrl+V", "pastes");
    }

    void combinations()
    {
        QFETCH(int, key);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(QString, recorded);
        QFETCH(QString, problem);

        ShortcutRecorder recorder(r->registry, ShortcutNames::toggleOverlay);
        QSignalSpy changed(&recorder, &ShortcutRecorder::shortcutChanged);
        recorder.startRecording();
        QVERIFY(recorder.handleKeyPress(press(key, modifiers)));
        QCOMPARE(recorder.problem(), problem);

        if (recorded.isEmpty()) {
            QVERIFY(recorder.isRecording());
            QCOMPARE(r->registry.getShortcut(ShortcutNames::toggleOverlay), kShiftSuperV);
            QCOMPARE(changed.size(), 0);
            return;
        }
        QVERIFY(!recorder.isRecording());
        QCOMPARE(recorder.displayText(), recorded);
        QVERIFY(!recorder.isAtDefault());
        QCOMPARE(changed.size(), 1);
        // Applied at once: stored, and the hot key moved to the new combination.
        QCOMPARE(r->registry.getShortcut(ShortcutNames::toggleOverlay), recorder.shortcut());
        QCOMPARE(r->backend.registered.values(), QList<Shortcut>{*recorder.shortcut()});
        // Written to the file at once, not when the settings object goes.
        QFile file(r->settings.fileName());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(
            file.readAll().contains(Registry::settingsKey(ShortcutNames::toggleOverlay).toUtf8()));
    }

    // Shift and a key that types a letter of another alphabet: the key types a character in
    // the layouts installed, whatever Qt's key code says (it is beyond Latin-1 here).
    void shiftWithALetterOfAnyInstalledLayoutIsRefused()
    {
        struct TwoLayouts final : KeyboardLayout
        {
            QString character(Key key) const override { return key == Key::q ? u"й"_s : QString(); }
            std::optional<Key> keyForScanCode(quint32 code) const override
            {
                return code == 24 ? std::optional(Key::q) : std::nullopt;
            }
        } layout;
        setCurrentKeyboardLayout(&layout);
        const auto restore = qScopeGuard([] { setCurrentKeyboardLayout(nullptr); });

        ShortcutRecorder recorder(r->registry, ShortcutNames::toggleOverlay);
        recorder.startRecording();
        const int shortI = 0x0419; // Qt's key code of the Cyrillic short I
        const QKeyEvent shifted(QEvent::KeyPress, shortI, Qt::ShiftModifier, 24, 0, 0);
        QVERIFY(recorder.handleKeyPress(shifted));
        QCOMPARE(recorder.problem(), u"Add Ctrl, Alt or Super to the key."_s);
        QVERIFY(recorder.isRecording());
        const QKeyEvent withAlt(QEvent::KeyPress,
                                shortI,
                                Qt::ShiftModifier | Qt::AltModifier,
                                24,
                                0,
                                0);
        QVERIFY(recorder.handleKeyPress(withAlt));
        QCOMPARE(r->registry.getShortcut(ShortcutNames::toggleOverlay),
                 Shortcut(Key::q, ModifierFlag::shift | ModifierFlag::option));
    }

    // Escape cancels and keeps the shortcut; Backspace clears it, for the next launch too.
    void endingKeys_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<bool>("cleared");
        QTest::newRow("Escape") << int(Qt::Key_Escape) << false;
        QTest::newRow("Backspace") << int(Qt::Key_Backspace) << true;
    }
    void endingKeys()
    {
        QFETCH(int, key);
        QFETCH(bool, cleared);
        ShortcutRecorder recorder(r->registry, ShortcutNames::toggleOverlay);
        QSignalSpy recording(&recorder, &ShortcutRecorder::recordingChanged);
        recorder.startRecording();
        recorder.handleKeyPress(press(Qt::Key_Control));
        QVERIFY(recorder.handleKeyPress(press(key)));
        QVERIFY(!recorder.isRecording());
        QCOMPARE(recording.size(), 2);
        QVERIFY(recorder.heldModifiers().isEmpty());
        QCOMPARE(recorder.hasShortcut(), !cleared);
        QCOMPARE(recorder.isAtDefault(), !cleared);
        const auto expected = cleared ? std::nullopt : std::optional(kShiftSuperV);
        QCOMPARE(Registry(r->settings, r->backend).getShortcut(ShortcutNames::toggleOverlay),
                 expected);
        QCOMPARE(r->backend.registered.values(), cleared ? QList<Shortcut>() : QList{kShiftSuperV});
    }

    void theHotKeyStepsAsideWhileRecording()
    {
        ShortcutRecorder recorder(r->registry, ShortcutNames::toggleOverlay);
        recorder.startRecording();
        QVERIFY(r->backend.registered.isEmpty());
        r->backend.press(kShiftSuperV);
        QCOMPARE(m_pressed, 0);

        // Recording the very same combination works and brings the hot key back.
        recorder.handleKeyPress(press(Qt::Key_V, Qt::ShiftModifier | Qt::MetaModifier));
        QVERIFY(recorder.isAtDefault());
        r->backend.press(kShiftSuperV);
        QCOMPARE(m_pressed, 1);

        // Destroying a recording control does not leave the hot key off.
        {
            ShortcutRecorder closing(r->registry, ShortcutNames::toggleOverlay);
            closing.startRecording();
        }
        r->backend.press(kShiftSuperV);
        QCOMPARE(m_pressed, 2);
    }

    // Which key is taken is said where the user looks, and is checked again when asked.
    void aRefusedShortcutIsReported()
    {
        const QString taken = u"Ctrl+Alt+B is taken by another application, so it does not open "
                              "Cliphaven. Record another shortcut, or quit the application that "
                              "holds it."_s;
        r->backend.refusals.insert(kCtrlAltB, 10);
        ShortcutRecorder recorder(r->registry, ShortcutNames::toggleOverlay);
        recorder.startRecording();
        QTest::ignoreMessage(QtWarningMsg, "Error registering hotkey Ctrl+Alt+B: 10");
        recorder.handleKeyPress(press(Qt::Key_B, Qt::ControlModifier | Qt::AltModifier));
        QCOMPARE(recorder.displayText(), QStringLiteral("Ctrl+Alt+B"));
        QCOMPARE(recorder.problem(), taken);
        QVERIFY(r->registry.isRefused(ShortcutNames::toggleOverlay));

        // Still held elsewhere: asking again reports it again where the user looks, while the
        // log has it once.
        r->registry.retryRefused();
        QCOMPARE(recorder.problem(), taken);
        // The other program let go: the next try (reopening Preferences) takes it.
        r->backend.refusals.clear();
        r->registry.retryRefused();
        QVERIFY(recorder.problem().isEmpty());
        QVERIFY(r->registry.isEnabled(ShortcutNames::toggleOverlay));
        r->backend.press(kCtrlAltB);
        QCOMPARE(m_pressed, 1);

        recorder.startRecording();
        QVERIFY(recorder.problem().isEmpty());
        recorder.handleKeyPress(press(Qt::Key_K, Qt::ControlModifier | Qt::AltModifier));
        QVERIFY(recorder.problem().isEmpty());
    }

    // Shows the stored shortcut, and a change made elsewhere; keys are left alone until
    // recording starts.
    void showsTheStoredShortcut()
    {
        ShortcutRecorder recorder(r->registry, ShortcutNames::toggleOverlay);
        QSignalSpy changed(&recorder, &ShortcutRecorder::shortcutChanged);
        QVERIFY(recorder.hasShortcut() && recorder.isAtDefault() && !recorder.isRecording());
        QCOMPARE(recorder.keyCaps(), (QStringList{"Shift", "Super", "V"}));
        QVERIFY(!recorder.handleKeyPress(press(Qt::Key_B, Qt::ControlModifier)));
        r->registry.setShortcut(kCtrlAltB, ShortcutNames::toggleOverlay);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(recorder.displayText(), QStringLiteral("Ctrl+Alt+B"));
    }

private:
    std::unique_ptr<TestShortcuts> r;
    int m_pressed = 0;
};

QTEST_GUILESS_MAIN(TestShortcutRecorder)
#include "tst_shortcutrecorder.moc"
