// Runs the QML tests in qml/ against the preferences view, with the real models on temporary
// settings, a temporary store and catalog, and a fake hot-key backend.

#include "app/AppPrefs.h"
#include "app/ApplicationCatalog.h"
#include "app/ApplicationChooserModel.h"
#include "app/AutostartEntry.h"
#include "app/IgnoredAppsModel.h"
#include "app/OpenWindows.h"
#include "app/PasteKeystrokesModel.h"
#include "app/PreferencesModel.h"
#include "app/SessionInfo.h"
#include "app/ShortcutNames.h"
#include "app/ShortcutRecorder.h"
#include "app/ui/AppIconProvider.h"
#include "common/Files.h"
#include "common/TestShortcuts.h"
#include "model/Store.h"

#include <QFile>
#include <QQmlContext>
#include <QQmlEngine>
#include <QTemporaryDir>
#include <QtQuickTest>

namespace {

class FakeOpenWindows final : public OpenWindows
{
public:
    QStringList windowClasses() const override { return {QStringLiteral("Zenity")}; }
};

} // namespace

// The view's objects, real ones on temporary files, and what the tests reach besides them.
class TestHelper : public QObject
{
    Q_OBJECT

public:
    TestHelper()
    {
        m_shortcuts.registry.onKeyDown(ShortcutNames::toggleOverlay, [] {});
    }

    // The state every test starts from.
    Q_INVOKABLE void reset()
    {
        recorder.cancelRecording();
        m_shortcuts.registry.reset(ShortcutNames::toggleOverlay);
        m_store.eraseHistory();
        prefs.setIgnoredApps({});
        prefs.setPasteKeystrokes({});
        prefs.setForgetTransientCopies(true);
        prefs.setRecordPrimarySelection(false);
        autostart.setEnabled(false);
    }
    Q_INVOKABLE void addClips(int count)
    {
        for (int i = 0; i < count; ++i)
            m_store.captureFromClipboard(ClipItem::makeText(QStringLiteral("clip %1").arg(i)));
    }
    Q_INVOKABLE int historyCount() const { return int(m_store.history().size()); }
    Q_INVOKABLE bool autostartFileExists() const { return QFile::exists(autostart.filePath()); }
    // What the copy button put on the clipboard, one entry per copy.
    Q_INVOKABLE QStringList copiedTexts() const { return m_copied; }

private:
    QStringList m_copied;
    QTemporaryDir m_dir;
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    TestShortcuts m_shortcuts;
    FakeOpenWindows m_windows;
    Store m_store{path("store.json")};
    // Two installed applications; a window of a third is open.
    std::shared_ptr<const ApplicationCatalog> m_catalog = [this] {
        const QString share = path("share");
        if (!writeApplication(share,
                              "keepassxc",
                              "Name=KeePassXC\nExec=keepassxc\nStartupWMClass=KeePassXC\n")
            || !writeApplication(share, "xterm", "Name=XTerm\nExec=xterm\n"))
            qFatal("cannot write the test desktop entries");
        return std::make_shared<ApplicationCatalog>(QStringList{share}, QStringLiteral("C"));
    }();

public:
    AppPrefs prefs{std::make_unique<QSettings>(path("p.conf"), QSettings::IniFormat)};
    PreferencesModel model{m_store};
    ShortcutRecorder recorder{m_shortcuts.registry, ShortcutNames::toggleOverlay};
    IgnoredAppsModel ignoredApps{prefs, m_catalog};
    ApplicationChooserModel chooser{prefs, m_catalog, &m_windows};
    PasteKeystrokesModel pasteKeystrokes{prefs, m_catalog};
    // A program that is on every PATH, as an installed Cliphaven would be.
    AutostartEntry autostart{path("autostart"), QStringLiteral("sh")};
    SessionInfo x11Session{{QStringLiteral("X11"), true, true, true},
                           [this](const QString &text) { m_copied.append(text); }};
    // A Wayland desktop that offers Cliphaven nothing it needs.
    SessionInfo bareWaylandSession{{QStringLiteral("Wayland, no data-control protocol"),
                                    false,
                                    false,
                                    false},
                                   [this](const QString &text) { m_copied.append(text); }};
};

class Setup : public QObject
{
    Q_OBJECT

public slots:
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        m_helper = std::make_unique<TestHelper>();
        engine->addImportPath(QStringLiteral("qrc:/"));
        engine->addImageProvider(AppIconProvider::kId, new AppIconProvider);
        QQmlContext *context = engine->rootContext();
        context->setContextProperty(QStringLiteral("testPrefs"), &m_helper->prefs);
        context->setContextProperty(QStringLiteral("testModel"), &m_helper->model);
        context->setContextProperty(QStringLiteral("testRecorder"), &m_helper->recorder);
        context->setContextProperty(QStringLiteral("testIgnoredApps"), &m_helper->ignoredApps);
        context->setContextProperty(QStringLiteral("testChooser"), &m_helper->chooser);
        context->setContextProperty(QStringLiteral("testPasteKeystrokes"),
                                    &m_helper->pasteKeystrokes);
        context->setContextProperty(QStringLiteral("testAutostart"), &m_helper->autostart);
        context->setContextProperty(QStringLiteral("testHelper"), m_helper.get());
        context->setContextProperty(QStringLiteral("x11Session"), &m_helper->x11Session);
        context->setContextProperty(QStringLiteral("bareWaylandSession"),
                                    &m_helper->bareWaylandSession);
    }

private:
    std::unique_ptr<TestHelper> m_helper;
};

QUICK_TEST_MAIN_WITH_SETUP(tst_preferences_qml, Setup)

#include "tst_preferences_qml.moc"
