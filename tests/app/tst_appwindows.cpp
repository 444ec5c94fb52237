#include "Feeds.h"
#include "app/ui/PreferencesWindow.h"
#include "app/ui/SparkleUpdater.h"
#include "app/ui/TrayIcon.h"
#include "common/HttpServer.h"
#include "common/TestPrefs.h"
#include "common/TestShortcuts.h"
#include "model/Store.h"
#include "overlay/OverlayAlert.h"

#include <QAbstractButton>
#include <QAction>
#include <QGuiApplication>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QQuickWindow>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWait = 20000;

QHash<QString, QAbstractButton *> buttons(const QMessageBox *box)
{
    QHash<QString, QAbstractButton *> found;
    for (QAbstractButton *button : box->buttons())
        found.insert(button->text().remove(u'&'), button);
    return found;
}

} // namespace

// The shell's own windows: the preferences window, the tray icon's look and menu (whether it is
// in the tray, and what clicks on it do, is checked in a real tray), and the update alerts.
class TestAppWindows : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Launch at login writes under the configuration folder: keep it here.
        qputenv("XDG_CONFIG_HOME", m_dir.filePath(QStringLiteral("config")).toUtf8());
        m_server.route("/newer", {.body = feed(release("2.0.0", "2.0") + release("1.0", "1.0"))});
        m_server.route("/same", {.body = feed(release("1.4", "1.4"))});
        m_server.route("/silent", TestHttpServer::Response::silent());
    }

    void init()
    {
        m_settings = std::make_unique<QSettings>(m_dir.filePath(u"s.conf"_s), QSettings::IniFormat);
        m_updater = std::make_unique<SparkleUpdater>(*m_settings, u"1.4.0"_s);
        m_opened.clear();
        m_updater->setUrlOpener([this](const QUrl &url) {
            m_opened.append(url);
            return true;
        });
    }

    // Each answer replaces the one before; only an available update offers its download page.
    void answers()
    {
        QSignalSpy finished(m_updater.get(), &SparkleUpdater::checkFinished);
        const auto check = [&](const char *path) -> QMessageBox * {
            m_settings->setValue(UpdateChecker::kFeedUrlKey, m_server.url(path).toString());
            m_updater->checkForUpdates();
            if (!finished.wait(kWait))
                return nullptr;
            return m_updater->currentAlert();
        };
        QPointer<QMessageBox> upToDate = check("/same");
        QVERIFY(upToDate);
        QCOMPARE(upToDate->text(), u"Cliphaven is up to date."_s);
        QVERIFY(upToDate->informativeText().contains(u"Version 1.4.0 is the newest"));
        QVERIFY(!upToDate->iconPixmap().isNull());
        QCOMPARE(buttons(upToDate).keys(), QStringList{"OK"});

        QPointer<QMessageBox> failed = check("/missing");
        QVERIFY(!upToDate);
        QVERIFY(failed);
        QCOMPARE(failed->text(), u"Cliphaven couldn’t check for updates."_s);
        QVERIFY(failed->informativeText().contains(u"HTTP 404"));
        QCOMPARE(buttons(failed).keys(), QStringList{"OK"});

        QMessageBox *box = check("/newer");
        QVERIFY(box && box->isVisible());
        QCOMPARE(box->text(), u"Cliphaven 2.0 is available."_s);
        QCOMPARE(box->informativeText(),
                 u"You have version 1.4.0. Open the download page to get the new version."_s);
        const auto offered = buttons(box);
        QCOMPARE(QSet(offered.keyBegin(), offered.keyEnd()),
                 QSet<QString>({"Later", "Open Download Page", "Release Notes"}));
        QCOMPARE(static_cast<QAbstractButton *>(box->defaultButton()),
                 offered.value(u"Open Download Page"_s));
        QVERIFY(m_opened.isEmpty());
        offered.value(u"Open Download Page"_s)->click();
        QCOMPARE(m_opened, QList<QUrl>{m_server.url(u"/download/2.0"_s)});
        QTRY_VERIFY(!m_updater->currentAlert());
    }

    // With the overlay on screen, the check and its answer appear inside the card; no box of
    // their own takes the focus from it.
    void answersInsideTheOverlay()
    {
        OverlayAlert alert;
        bool overlayShown = true;
        m_updater->setInlineAlert(&alert, [&] { return overlayShown; });
        QSignalSpy finished(m_updater.get(), &SparkleUpdater::checkFinished);

        m_settings->setValue(UpdateChecker::kFeedUrlKey, m_server.url(u"/newer"_s).toString());
        m_updater->checkForUpdates();
        QVERIFY(alert.shown());
        QVERIFY(alert.busy());
        QCOMPARE(alert.title(), u"Checking for updates…"_s);
        QVERIFY(!m_updater->currentAlert());
        QVERIFY(finished.wait(kWait));
        QVERIFY(!alert.busy());
        QCOMPARE(alert.title(), u"Cliphaven 2.0 is available."_s);
        QCOMPARE(alert.buttons(), (QStringList{"Later", "Release Notes", "Open Download Page"}));
        QVERIFY(!m_updater->currentAlert());
        alert.accept();
        QVERIFY(!alert.shown());
        QCOMPARE(m_opened, QList<QUrl>{m_server.url(u"/download/2.0"_s)});

        // Cancelled inside the card: the check ends without an answer.
        m_settings->setValue(UpdateChecker::kFeedUrlKey, m_server.url(u"/silent"_s).toString());
        finished.clear();
        m_updater->checkForUpdates();
        QVERIFY(alert.busy());
        alert.cancel();
        QVERIFY(!alert.shown());
        QTest::qWait(200);
        QCOMPARE(finished.size(), 0);

        // From the tray, with the overlay away: a box of its own, as before.
        overlayShown = false;
        m_settings->setValue(UpdateChecker::kFeedUrlKey, m_server.url(u"/same"_s).toString());
        m_updater->checkForUpdates();
        QVERIFY(m_updater->currentAlert());
        QVERIFY(!alert.shown());
        QVERIFY(finished.wait(kWait));
        QVERIFY(m_updater->currentAlert());
        QVERIFY(!alert.shown());
        m_updater->currentAlert()->close();
    }

    void preferencesWindowIsBuiltOnceThenShownAgain()
    {
        Store store(m_dir.filePath(QStringLiteral("store.json")));
        TestPrefs test;
        TestShortcuts shortcuts;
        PreferencesWindow preferences(store, test.prefs, shortcuts.registry, nullptr);
        QVERIFY(!preferences.window());
        preferences.showPreferences();
        QQuickWindow *window = preferences.window();
        QVERIFY(window);
        QVERIFY(window->isVisible());
        QCOMPARE(window->title(), QStringLiteral("Cliphaven Preferences"));

        // Closing hides; the next show brings back the same window. Escape and Ctrl+W close
        // it as they close any dialog.
        for (const QKeySequence &close :
             {QKeySequence(), QKeySequence(Qt::Key_Escape), QKeySequence(Qt::CTRL | Qt::Key_W)}) {
            QTRY_VERIFY(window->isActive());
            if (close.isEmpty())
                window->close();
            else
                QTest::keySequence(window, close);
            QTRY_VERIFY(!window->isVisible());
            preferences.showPreferences();
            QCOMPARE(preferences.window(), window);
            QVERIFY(window->isVisible());
        }
    }

    void pausingSwitchesTheIcon()
    {
        TestPrefs test;
        AppPrefs &prefs = test.prefs;
        TrayIcon tray(prefs);
        tray.followPreferences();
        const auto look = [&tray] { return tray.statusItem()->icon().pixmap(22, 22).toImage(); };
        const QImage normal = look();
        QVERIFY(!normal.isNull());
        prefs.setPaused(true);
        const QImage paused = look();
        QVERIFY(!paused.isNull());
        QVERIFY(paused != normal);
        prefs.setPaused(false);
        QCOMPARE(look(), normal);
        // Started with the setting off, there is no icon; shown again while paused, the icon
        // made anew has the paused look.
        prefs.setShowInMenuBar(false);
        QVERIFY(!TrayIcon(prefs).statusItem());
        prefs.setPaused(true);
        prefs.setShowInMenuBar(true);
        QCOMPARE(look(), paused);
    }

    // A problem the user must know of heads the menu, disabled, and goes with the problem; the
    // icon shows a warning meanwhile.
    void noticeHeadsTheMenuWhileItLasts()
    {
        TestPrefs test;
        TrayIcon tray(test.prefs);
        const QString normalIcon = tray.iconPath();
        tray.setNotice(QStringLiteral("History cannot be saved: the disk is full."));
        QAction *first = tray.menu()->actions().constFirst();
        QVERIFY(first->isVisible());
        QVERIFY(!first->isEnabled());
        QCOMPARE(first->text(), QStringLiteral("History cannot be saved: the disk is full."));
        QVERIFY(tray.iconPath() != normalIcon);
        tray.setNotice(QString());
        QVERIFY(!tray.menu()->actions().constFirst()->isVisible());
        QCOMPARE(tray.iconPath(), normalIcon);
    }

private:
    TestHttpServer m_server;
    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<SparkleUpdater> m_updater;
    QList<QUrl> m_opened;
};

QTEST_MAIN(TestAppWindows)
#include "tst_appwindows.moc"
