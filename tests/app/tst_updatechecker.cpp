#include "HttpTestServer.h"
#include "app/UpdateChecker.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int kWait = 20000;

} // namespace

class TestUpdateChecker : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void outcomes_data();
    void outcomes();
    void refusedConnectionIsUnreachable();
    void oneCheckAtATimeAndCancelEndsSilently();
    void feedUrlFromSettings_data();
    void feedUrlFromSettings();
    void messages_data();
    void messages();

private:
    HttpTestServer m_server;
};

void TestUpdateChecker::initTestCase()
{
    QVERIFY(m_server.listen());
    m_server.route("/newer",
                   {200,
                    feed(release("1.9", "1.9") + release("1.10", "1.10") + release("1.2", "1.2")),
                    {}});
    m_server.route("/same", {200, feed(release("1.9.0", "1.9")), {}});
    m_server.route("/older", {200, feed(release("1.2", "1.2")), {}});
    m_server.route("/empty-feed", {200, feed(""), {}});
    m_server.route("/garbage", {200, QByteArray("\0\1\2garbage<<>>", 14), {}});
    m_server.route("/server-error", {500, "oops", {}});
    m_server.route("/moved", {301, {}, "Location: /newer\r\n"});
    m_server.route("/huge",
                   {200, "<rss>" + QByteArray(UpdateChecker::kMaxFeedBytes + 1024, ' '), {}});
}

void TestUpdateChecker::outcomes_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<UpdateCheckResult::Outcome>("outcome");
    QTest::addColumn<UpdateCheckResult::Failure>("failure");
    QTest::addColumn<QString>("offered");

    using O = UpdateCheckResult::Outcome;
    using F = UpdateCheckResult::Failure;
    QTest::newRow("newer version") << "/newer" << O::updateAvailable << F::none << "1.10";
    QTest::newRow("same version") << "/same" << O::upToDate << F::none << "";
    QTest::newRow("only older versions") << "/older" << O::upToDate << F::none << "";
    QTest::newRow("no releases yet") << "/empty-feed" << O::upToDate << F::none << "";
    QTest::newRow("redirect followed") << "/moved" << O::updateAvailable << F::none << "1.10";
    QTest::newRow("garbage") << "/garbage" << O::failed << F::unreadableFeed << "";
    QTest::newRow("404") << "/missing" << O::failed << F::httpError << "";
    QTest::newRow("500") << "/server-error" << O::failed << F::httpError << "";
    QTest::newRow("body too large") << "/huge" << O::failed << F::unreadableFeed << "";
    QTest::newRow("never answers") << "/silent" << O::failed << F::timedOut << "";
}

void TestUpdateChecker::outcomes()
{
    QFETCH(QString, path);
    QFETCH(UpdateCheckResult::Outcome, outcome);
    QFETCH(UpdateCheckResult::Failure, failure);
    QFETCH(QString, offered);

    UpdateChecker checker;
    QSignalSpy finished(&checker, &UpdateChecker::finished);
    // The short limit only matters to the server that never answers.
    const int timeoutMs = path == u"/silent" ? 300 : kWait;
    QVERIFY(checker.check(m_server.url(path), QStringLiteral("1.9"), timeoutMs));
    QVERIFY(checker.isChecking());
    QVERIFY(finished.wait(kWait));
    QVERIFY(!checker.isChecking());

    const auto result = finished.front().front().value<UpdateCheckResult>();
    QCOMPARE(result.outcome, outcome);
    QCOMPARE(result.failure, failure);
    QCOMPARE(result.currentVersion, QStringLiteral("1.9"));
    QCOMPARE(result.update.displayVersion(), offered);
    if (outcome == UpdateCheckResult::Outcome::updateAvailable)
        QCOMPARE(result.update.downloadPage(), m_server.url(QStringLiteral("/download/1.10")));
    if (failure == UpdateCheckResult::Failure::httpError)
        QCOMPARE(result.httpStatus, path == u"/missing" ? 404 : 500);

    // Exactly one answer per check.
    QTest::qWait(50);
    QCOMPARE(finished.size(), 1);
}

void TestUpdateChecker::refusedConnectionIsUnreachable()
{
    QTcpServer closed;
    QVERIFY(closed.listen(QHostAddress::LocalHost));
    const quint16 port = closed.serverPort();
    closed.close();

    UpdateChecker checker;
    QSignalSpy finished(&checker, &UpdateChecker::finished);
    QVERIFY(checker.check(QUrl(QStringLiteral("http://127.0.0.1:%1/feed").arg(port)),
                          QStringLiteral("1.0")));
    QVERIFY(finished.wait(kWait));
    const auto result = finished.front().front().value<UpdateCheckResult>();
    QCOMPARE(result.outcome, UpdateCheckResult::Outcome::failed);
    QCOMPARE(result.failure, UpdateCheckResult::Failure::unreachable);
    QVERIFY(!result.detail.isEmpty());
}

void TestUpdateChecker::oneCheckAtATimeAndCancelEndsSilently()
{
    UpdateChecker checker;
    QSignalSpy finished(&checker, &UpdateChecker::finished);
    const int before = m_server.requests();
    QVERIFY(checker.check(m_server.url(QStringLiteral("/silent")), QStringLiteral("1.0"), kWait));
    QVERIFY(!checker.check(m_server.url(QStringLiteral("/newer")), QStringLiteral("1.0")));
    QTRY_COMPARE_WITH_TIMEOUT(m_server.requests(), before + 1, kWait);

    checker.cancel();
    QVERIFY(!checker.isChecking());
    QTest::qWait(100);
    QCOMPARE(finished.size(), 0);

    // Free again after cancelling.
    QVERIFY(checker.check(m_server.url(QStringLiteral("/same")), QStringLiteral("1.9")));
    QVERIFY(finished.wait(kWait));
    QCOMPARE(finished.size(), 1);
}

void TestUpdateChecker::feedUrlFromSettings_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QUrl>("expected"); // empty: the built-in feed

    QTest::newRow("absent") << QVariant() << QUrl();
    QTest::newRow("https") << QVariant(QStringLiteral(" https://example.org/appcast.xml "))
                           << QUrl(QStringLiteral("https://example.org/appcast.xml"));
    QTest::newRow("http") << QVariant(QStringLiteral("http://127.0.0.1:8080/a.xml"))
                          << QUrl(QStringLiteral("http://127.0.0.1:8080/a.xml"));
    QTest::newRow("file") << QVariant(QStringLiteral("file:///srv/appcast.xml"))
                          << QUrl(QStringLiteral("file:///srv/appcast.xml"));
    QTest::newRow("other scheme") << QVariant(QStringLiteral("ftp://example.org/a.xml")) << QUrl();
    QTest::newRow("no host") << QVariant(QStringLiteral("https:///a.xml")) << QUrl();
    QTest::newRow("not a URL") << QVariant(QStringLiteral("appcast please")) << QUrl();
    QTest::newRow("a number") << QVariant(42) << QUrl();
}

void TestUpdateChecker::feedUrlFromSettings()
{
    QFETCH(QVariant, stored);
    QFETCH(QUrl, expected);

    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("s.conf")), QSettings::IniFormat);
    if (stored.isValid())
        settings.setValue(UpdateChecker::kFeedUrlKey, stored);
    QVERIFY(UpdateChecker::builtInFeedUrl().isValid());
    QCOMPARE(UpdateChecker::feedUrl(settings),
             expected.isEmpty() ? UpdateChecker::builtInFeedUrl() : expected);
}

void TestUpdateChecker::messages_data()
{
    QTest::addColumn<UpdateCheckResult>("result");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("informative");

    using O = UpdateCheckResult::Outcome;
    using F = UpdateCheckResult::Failure;
    UpdateCheckResult upToDate{O::upToDate, F::none, QStringLiteral("1.2"), {}, 0, {}};
    QTest::newRow("up to date") << upToDate << "Cliphaven is up to date."
                                << "Version 1.2 is the newest version available.";

    UpdateCheckResult available{O::updateAvailable, F::none, QStringLiteral("1.2"), {}, 0, {}};
    available.update.version = QStringLiteral("130");
    available.update.shortVersionString = QStringLiteral("1.3");
    QTest::newRow("available, shown by its short version")
        << available << "Cliphaven 1.3 is available."
        << "You have version 1.2. Open the download page to get the new version.";

    UpdateCheckResult notFound{O::failed, F::httpError, QStringLiteral("1.2"), {}, 404, {}};
    QTest::newRow("404") << notFound << "Cliphaven couldn’t check for updates."
                         << "The update server answered with an error (HTTP 404). Try again later.";
    UpdateCheckResult timedOut{O::failed, F::timedOut, QStringLiteral("1.2"), {}, 0, {}};
    QTest::newRow("timed out") << timedOut << "Cliphaven couldn’t check for updates."
                               << "The update server did not answer in time. Try again later.";
    UpdateCheckResult unreachable{O::failed,
                                  F::unreachable,
                                  QStringLiteral("1.2"),
                                  {},
                                  0,
                                  QStringLiteral("Connection refused")};
    QTest::newRow("unreachable")
        << unreachable << "Cliphaven couldn’t check for updates."
        << "The update server could not be reached (Connection refused). Check your network "
           "connection and try again.";
    UpdateCheckResult garbage{O::failed, F::unreadableFeed, QStringLiteral("1.2"), {}, 0, {}};
    QTest::newRow("garbage") << garbage << "Cliphaven couldn’t check for updates."
                             << "The update information from the server could not be read. Try "
                                "again later.";
}

void TestUpdateChecker::messages()
{
    QFETCH(UpdateCheckResult, result);
    QFETCH(QString, message);
    QFETCH(QString, informative);
    QCOMPARE(result.messageText(), message);
    QCOMPARE(result.informativeText(), informative);
}

QTEST_GUILESS_MAIN(TestUpdateChecker)
#include "tst_updatechecker.moc"
