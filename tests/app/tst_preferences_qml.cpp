// Runs the QML tests in qml/ against the preferences view, with the real models on temporary
// settings, a temporary store and catalog, and a fake hot-key backend.

#include "KeyboardShortcuts/Registry.h"
#include "app/AppPrefs.h"
#include "app/ApplicationCatalog.h"
#include "app/ApplicationChooserModel.h"
#include "app/AutostartEntry.h"
#include "app/IgnoredAppsModel.h"
#include "app/OpenWindows.h"
#include "app/PreferencesModel.h"
#include "app/ShortcutNames.h"
#include "app/ShortcutRecorder.h"
#include "app/ui/AppIconProvider.h"
#include "common/Files.h"
#include "fakes/FakeHotKeyBackend.h"
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

// What the tests reach from QML besides the view's own objects.
class TestHelper : public QObject
{
    Q_OBJECT

public:
    TestHelper(Store &store,
               AppPrefs &prefs,
               KeyboardShortcuts::Registry &registry,
               ShortcutRecorder &recorder,
               AutostartEntry &autostart)
        : m_store(store)
        , m_prefs(prefs)
        , m_registry(registry)
        , m_recorder(recorder)
        , m_autostart(autostart)
    {}

    // The state every test starts from.
    Q_INVOKABLE void reset()
    {
        m_recorder.cancelRecording();
        m_registry.reset(ShortcutNames::toggleOverlay);
        m_store.eraseHistory();
        m_prefs.setIgnoredApps({});
        m_prefs.setShowInMenuBar(true);
        m_prefs.setPlaySounds(true);
        m_autostart.setEnabled(false);
    }
    Q_INVOKABLE void addClips(int count)
    {
        for (int i = 0; i < count; ++i)
            m_store.captureFromClipboard(ClipItem::makeText(QStringLiteral("clip %1").arg(i)));
    }
    Q_INVOKABLE int historyCount() const { return int(m_store.history().size()); }
    Q_INVOKABLE bool autostartFileExists() const { return QFile::exists(m_autostart.filePath()); }

private:
    Store &m_store;
    AppPrefs &m_prefs;
    KeyboardShortcuts::Registry &m_registry;
    ShortcutRecorder &m_recorder;
    AutostartEntry &m_autostart;
};

class Setup : public QObject
{
    Q_OBJECT

public slots:
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        const QString share = m_dir.filePath(QStringLiteral("share"));
        if (!writeApplication(share,
                              "keepassxc",
                              "Name=KeePassXC\nExec=keepassxc\nStartupWMClass=KeePassXC\n")
            || !writeApplication(share, "xterm", "Name=XTerm\nExec=xterm\n"))
            qFatal("cannot write the test desktop entries");
        auto catalog = std::make_shared<const ApplicationCatalog>(QStringList{share},
                                                                  QStringLiteral("C"));

        m_settings = std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("s.conf")),
                                                 QSettings::IniFormat);
        m_prefs = std::make_unique<AppPrefs>(
            std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("p.conf")),
                                        QSettings::IniFormat));
        m_store = std::make_unique<Store>(m_dir.filePath(QStringLiteral("store.json")));
        m_registry = std::make_unique<KeyboardShortcuts::Registry>(*m_settings, m_backend);
        m_registry->onKeyDown(ShortcutNames::toggleOverlay, [] {});
        m_model = std::make_unique<PreferencesModel>(*m_store);
        m_recorder = std::make_unique<ShortcutRecorder>(*m_registry, ShortcutNames::toggleOverlay);
        m_ignoredApps = std::make_unique<IgnoredAppsModel>(*m_prefs, catalog);
        m_chooser = std::make_unique<ApplicationChooserModel>(*m_prefs, catalog, &m_windows);
        m_autostart = std::make_unique<AutostartEntry>(m_dir.filePath(QStringLiteral("autostart")),
                                                       QStringLiteral("/usr/bin/cliphaven"));
        m_helper = std::make_unique<TestHelper>(*m_store,
                                                *m_prefs,
                                                *m_registry,
                                                *m_recorder,
                                                *m_autostart);

        engine->addImportPath(QStringLiteral("qrc:/"));
        engine->addImageProvider(AppIconProvider::kId, new AppIconProvider);
        QQmlContext *context = engine->rootContext();
        context->setContextProperty(QStringLiteral("testPrefs"), m_prefs.get());
        context->setContextProperty(QStringLiteral("testModel"), m_model.get());
        context->setContextProperty(QStringLiteral("testRecorder"), m_recorder.get());
        context->setContextProperty(QStringLiteral("testIgnoredApps"), m_ignoredApps.get());
        context->setContextProperty(QStringLiteral("testChooser"), m_chooser.get());
        context->setContextProperty(QStringLiteral("testAutostart"), m_autostart.get());
        context->setContextProperty(QStringLiteral("testHelper"), m_helper.get());
    }

private:
    QTemporaryDir m_dir;
    FakeHotKeyBackend m_backend;
    FakeOpenWindows m_windows;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<AppPrefs> m_prefs;
    std::unique_ptr<Store> m_store;
    std::unique_ptr<KeyboardShortcuts::Registry> m_registry;
    std::unique_ptr<PreferencesModel> m_model;
    std::unique_ptr<ShortcutRecorder> m_recorder;
    std::unique_ptr<IgnoredAppsModel> m_ignoredApps;
    std::unique_ptr<ApplicationChooserModel> m_chooser;
    std::unique_ptr<AutostartEntry> m_autostart;
    std::unique_ptr<TestHelper> m_helper;
};

QUICK_TEST_MAIN_WITH_SETUP(tst_preferences_qml, Setup)

#include "tst_preferences_qml.moc"
