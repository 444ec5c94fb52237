#include "Feeds.h"
#include "app/ui/PreferencesWindow.h"
#include "app/ui/SparkleUpdater.h"
#include "app/ui/TrayIcon.h"
#include "common/HttpServer.h"
#include "common/TestPrefs.h"
#include "common/TestShortcuts.h"
#include "model/Store.h"

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

// The shell's own windows: the preferences window, the tray icon's menu (whether it is
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
