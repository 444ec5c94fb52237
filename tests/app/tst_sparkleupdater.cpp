#include "HttpTestServer.h"
#include "app/ui/SparkleUpdater.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int kWait = 20000;

QStringList buttonTexts(const QMessageBox *box)
{
    QStringList texts;
    for (const QAbstractButton *button : box->buttons())
        texts.append(button->text().remove(u'&'));
    texts.sort();
    return texts;
}

QAbstractButton *button(const QMessageBox *box, const QString &text)
{
    for (QAbstractButton *button : box->buttons()) {
        if (button->text().remove(u'&') == text)
            return button;
    }
    return nullptr;
}

} // namespace

class TestSparkleUpdater : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void newerVersionOffersItsDownloadPage();
    void upToDate();
    void failureIsExplained();
    void cancellingTheCheckShowsNothing();
    void feedLocationIsReadForEveryCheck();

private:
    void setFeed(const QString &path);

    HttpTestServer m_server;
    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<SparkleUpdater> m_updater;
    QList<QUrl> m_opened;
};

void TestSparkleUpdater::initTestCase()
{
    QVERIFY(m_server.listen());
    m_server.route("/newer", {200, feed(release("2.0.0", "2.0") + release("1.0", "1.0")), {}});
    m_server.route("/same", {200, feed(release("1.4", "1.4")), {}});
}

void TestSparkleUpdater::init()
{
    m_settings = std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("s.conf")),
                                             QSettings::IniFormat);
    m_updater = std::make_unique<SparkleUpdater>(*m_settings, QStringLiteral("1.4.0"));
    m_opened.clear();
    m_updater->setUrlOpener([this](const QUrl &url) {
        m_opened.append(url);
        return true;
    });
}

void TestSparkleUpdater::setFeed(const QString &path)
{
    m_settings->setValue(UpdateChecker::kFeedUrlKey, m_server.url(path).toString());
}

void TestSparkleUpdater::newerVersionOffersItsDownloadPage()
{
    setFeed(QStringLiteral("/newer"));
    QSignalSpy finished(m_updater.get(), &SparkleUpdater::checkFinished);
    m_updater->checkForUpdates();
    QVERIFY(m_updater->currentAlert());
    QCOMPARE(m_updater->currentAlert()->text(), QStringLiteral("Checking for updates…"));
    QVERIFY(finished.wait(kWait));

    QMessageBox *box = m_updater->currentAlert();
    QVERIFY(box);
    QVERIFY(box->isVisible());
    QCOMPARE(box->text(), QStringLiteral("Cliphaven 2.0 is available."));
    QCOMPARE(box->informativeText(),
             QStringLiteral(
                 "You have version 1.4.0. Open the download page to get the new version."));
    QCOMPARE(buttonTexts(box), (QStringList{"Later", "Open Download Page", "Release Notes"}));
    QCOMPARE(static_cast<QAbstractButton *>(box->defaultButton()),
             button(box, QStringLiteral("Open Download Page")));

    button(box, QStringLiteral("Open Download Page"))->click();
    QCOMPARE(m_opened, QList<QUrl>{m_server.url(QStringLiteral("/download/2.0"))});
    QTRY_VERIFY(!m_updater->currentAlert());
}

void TestSparkleUpdater::upToDate()
{
    setFeed(QStringLiteral("/same"));
    QSignalSpy finished(m_updater.get(), &SparkleUpdater::checkFinished);
    m_updater->checkForUpdates();
    QVERIFY(finished.wait(kWait));
    QMessageBox *box = m_updater->currentAlert();
    QVERIFY(box);
    QCOMPARE(box->text(), QStringLiteral("Cliphaven is up to date."));
    QVERIFY(!box->iconPixmap().isNull());
    QCOMPARE(buttonTexts(box), QStringList{"OK"});
    QVERIFY(m_opened.isEmpty());
}

void TestSparkleUpdater::failureIsExplained()
{
    setFeed(QStringLiteral("/missing"));
    QSignalSpy finished(m_updater.get(), &SparkleUpdater::checkFinished);
    m_updater->checkForUpdates();
    QVERIFY(finished.wait(kWait));
    QMessageBox *box = m_updater->currentAlert();
    QVERIFY(box);
    QCOMPARE(box->icon(), QMessageBox::Warning);
    QCOMPARE(box->text(), QStringLiteral("Cliphaven couldn’t check for updates."));
    QVERIFY(box->informativeText().contains(QStringLiteral("HTTP 404")));

    // Checking again replaces the old answer instead of stacking a second one.
    QPointer<QMessageBox> old = box;
    m_updater->checkForUpdates();
    QVERIFY(finished.wait(kWait));
    QVERIFY(!old);
}

void TestSparkleUpdater::cancellingTheCheckShowsNothing()
{
    setFeed(QStringLiteral("/silent"));
    QSignalSpy finished(m_updater.get(), &SparkleUpdater::checkFinished);
    m_updater->checkForUpdates();
    // A second click while checking does not start another check.
    m_updater->checkForUpdates();
    QMessageBox *progress = m_updater->currentAlert();
    QVERIFY(progress);
    button(progress, QStringLiteral("Cancel"))->click();
    QTRY_VERIFY(!m_updater->currentAlert());
    QTest::qWait(200);
    QCOMPARE(finished.size(), 0);

    setFeed(QStringLiteral("/same"));
    m_updater->checkForUpdates();
    QVERIFY(finished.wait(kWait));
    QCOMPARE(m_updater->currentAlert()->text(), QStringLiteral("Cliphaven is up to date."));
}

void TestSparkleUpdater::feedLocationIsReadForEveryCheck()
{
    QSignalSpy finished(m_updater.get(), &SparkleUpdater::checkFinished);
    setFeed(QStringLiteral("/same"));
    m_updater->checkForUpdates();
    QVERIFY(finished.wait(kWait));
    setFeed(QStringLiteral("/newer"));
    m_updater->checkForUpdates();
    QVERIFY(finished.wait(kWait));
    QCOMPARE(finished.last().front().value<UpdateCheckResult>().outcome,
             UpdateCheckResult::Outcome::updateAvailable);
}

QTEST_MAIN(TestSparkleUpdater)
#include "tst_sparkleupdater.moc"
