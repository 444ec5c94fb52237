#include "KeyboardShortcuts/Registry.h"
#include "app/AppPrefs.h"
#include "app/ui/PreferencesWindow.h"
#include "fakes/FakeHotKeyBackend.h"
#include "model/Store.h"

#include <QGuiApplication>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>

class TestPreferencesWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Launch at login writes under the configuration folder: keep it here.
        qputenv("XDG_CONFIG_HOME", m_dir.filePath(QStringLiteral("config")).toUtf8());
    }

    void builtOnceThenShownAgain()
    {
        Store store(m_dir.filePath(QStringLiteral("store.json")));
        AppPrefs prefs(std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("p.conf")),
                                                   QSettings::IniFormat));
        QSettings settings(m_dir.filePath(QStringLiteral("s.conf")), QSettings::IniFormat);
        FakeHotKeyBackend backend;
        KeyboardShortcuts::Registry shortcuts(settings, backend);

        PreferencesWindow preferences(store, prefs, shortcuts, nullptr);
        QVERIFY(!preferences.window());
        preferences.showPreferences();
        QQuickWindow *window = preferences.window();
        QVERIFY(window);
        QVERIFY(window->isVisible());
        QCOMPARE(window->title(), QStringLiteral("Cliphaven Preferences"));
        QCOMPARE(window->size(), QSize(460, 560));

        // Closing hides; the next show brings back the same window.
        window->close();
        QTRY_VERIFY(!window->isVisible());
        preferences.showPreferences();
        QCOMPARE(preferences.window(), window);
        QVERIFY(window->isVisible());
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestPreferencesWindow)
#include "tst_preferenceswindow.moc"
