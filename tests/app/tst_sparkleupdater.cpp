#include "Feeds.h"
#include "app/ui/SparkleUpdater.h"
#include "common/HttpServer.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

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
    void initTestCase()
    {
        m_server.route("/newer", {.body = feed(release("2.0.0", "2.0") + release("1.0", "1.0"))});
        m_server.route("/same", {.body = feed(release("1.4", "1.4"))});
        m_server.route("/silent", TestHttpServer::Response::silent());
    }

    void init()
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

    void newerVersionOffersItsDownloadPage()
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

    void answer_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("informative"); // a part of it
        QTest::newRow("up to date")
            << u"/same"_s << u"Cliphaven is up to date."_s << u"Version 1.4.0 is the newest"_s;
        QTest::newRow("failure") << u"/missing"_s << u"Cliphaven couldn’t check for updates."_s
                                 << u"HTTP 404"_s;
    }

    void answer()
    {
        QFETCH(QString, path);
        QFETCH(QString, text);
        QFETCH(QString, informative);
        setFeed(path);
        QSignalSpy finished(m_updater.get(), &SparkleUpdater::checkFinished);
        m_updater->checkForUpdates();
        QVERIFY(finished.wait(kWait));
        QPointer<QMessageBox> box = m_updater->currentAlert();
        QVERIFY(box);
        QCOMPARE(box->text(), text);
        QVERIFY2(box->informativeText().contains(informative), qPrintable(box->informativeText()));
        QVERIFY(!box->iconPixmap().isNull());
        QCOMPARE(buttonTexts(box), QStringList{"OK"});
        QVERIFY(m_opened.isEmpty());

        // Checking again replaces the old answer instead of stacking a second one.
        m_updater->checkForUpdates();
        QVERIFY(finished.wait(kWait));
        QVERIFY(!box);
    }

    void cancellingTheCheckShowsNothing()
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

        // The feed's location is read again for every check.
        setFeed(QStringLiteral("/same"));
        m_updater->checkForUpdates();
        QVERIFY(finished.wait(kWait));
        QCOMPARE(m_updater->currentAlert()->text(), QStringLiteral("Cliphaven is up to date."));
    }

private:
    void setFeed(const QString &path);

    TestHttpServer m_server;
    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<SparkleUpdater> m_updater;
    QList<QUrl> m_opened;
};

void TestSparkleUpdater::setFeed(const QString &path)
{
    m_settings->setValue(UpdateChecker::kFeedUrlKey, m_server.url(path).toString());
}

QTEST_MAIN(TestSparkleUpdater)
#include "tst_sparkleupdater.moc"
