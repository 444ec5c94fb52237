#include "Feeds.h"
#include "app/UpdateChecker.h"
#include "common/HttpServer.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using Response = TestHttpServer::Response;

namespace {

constexpr int kWait = 20000;

Response rss(const QByteArray &body)
{
    return Response{.contentType = "application/rss+xml", .body = body};
}

} // namespace

class TestUpdateChecker : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_server.route("/newer",
                       rss(feed(release("1.9", "1.9") + release("1.10", "1.10")
                                + release("1.2", "1.2"))));
        m_server.route("/same", rss(feed(release("1.9.0", "1.9"))));
        m_server.route("/empty-feed", rss(feed("")));
        m_server.route("/garbage", rss(QByteArray("\0\1\2garbage<<>>", 14)));
        m_server.route("/moved", Response::redirect("/newer", 301));
        m_server.route("/silent", Response::silent());
        Response huge = rss("<rss>");
        huge.paddedSize = UpdateChecker::kMaxFeedBytes + 1024;
        m_server.route("/huge", huge);
    }

    void outcomes_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<UpdateCheckResult::Outcome>("outcome");
        QTest::addColumn<UpdateCheckResult::Failure>("failure");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("offered");

        using O = UpdateCheckResult::Outcome;
        using F = UpdateCheckResult::Failure;
        const auto url = [this](const char *path) {
            return m_server.url(QString::fromLatin1(path));
        };
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost));
        const QUrl refused(QStringLiteral("http://127.0.0.1:%1/feed").arg(closed.serverPort()));
        closed.close();

        QTest::newRow("newer version")
            << url("/newer") << O::updateAvailable << F::none << 0 << "1.10";
        QTest::newRow("same version") << url("/same") << O::upToDate << F::none << 0 << "";
        QTest::newRow("no releases") << url("/empty-feed") << O::upToDate << F::none << 0 << "";
        QTest::newRow("redirect followed")
            << url("/moved") << O::updateAvailable << F::none << 0 << "1.10";
        QTest::newRow("garbage") << url("/garbage") << O::failed << F::unreadableFeed << 0 << "";
        QTest::newRow("404") << url("/missing") << O::failed << F::httpError << 404 << "";
        QTest::newRow("body too large")
            << url("/huge") << O::failed << F::unreadableFeed << 0 << "";
        QTest::newRow("never answers") << url("/silent") << O::failed << F::timedOut << 0 << "";
        QTest::newRow("connection refused") << refused << O::failed << F::unreachable << 0 << "";
    }

    void outcomes()
    {
        QFETCH(QUrl, url);
        QFETCH(UpdateCheckResult::Outcome, outcome);
        QFETCH(UpdateCheckResult::Failure, failure);
        QFETCH(int, status);
        QFETCH(QString, offered);

        UpdateChecker checker;
        QSignalSpy finished(&checker, &UpdateChecker::finished);
        // The short limit only matters to the server that never answers.
        const int timeoutMs = failure == UpdateCheckResult::Failure::timedOut ? 300 : kWait;
        QVERIFY(checker.check(url, QStringLiteral("1.9"), timeoutMs));
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
        if (status)
            QCOMPARE(result.httpStatus, status);
        if (failure == UpdateCheckResult::Failure::unreachable)
            QVERIFY(!result.detail.isEmpty());
        // Exactly one answer per check.
        QTest::qWait(50);
        QCOMPARE(finished.size(), 1);
    }

    void oneCheckAtATimeAndCancelEndsSilently()
    {
        UpdateChecker checker;
        QSignalSpy finished(&checker, &UpdateChecker::finished);
        const int before = m_server.totalRequests();
        QVERIFY(
            checker.check(m_server.url(QStringLiteral("/silent")), QStringLiteral("1.0"), kWait));
        QVERIFY(!checker.check(m_server.url(QStringLiteral("/newer")), QStringLiteral("1.0")));
        QTRY_COMPARE_WITH_TIMEOUT(m_server.totalRequests(), before + 1, kWait);

        checker.cancel();
        QVERIFY(!checker.isChecking());
        QTest::qWait(100);
        QCOMPARE(finished.size(), 0);

        // Free again after cancelling.
        QVERIFY(checker.check(m_server.url(QStringLiteral("/same")), QStringLiteral("1.9")));
        QVERIFY(finished.wait(kWait));
        QCOMPARE(finished.size(), 1);
    }

    void feedUrlFromSettings_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<QUrl>("expected"); // empty: the built-in feed

        QTest::newRow("absent") << QVariant() << QUrl();
        QTest::newRow("https") << QVariant(QStringLiteral(" https://example.org/appcast.xml "))
                               << QUrl(QStringLiteral("https://example.org/appcast.xml"));
        QTest::newRow("no host") << QVariant(QStringLiteral("https:///a.xml")) << QUrl();
    }

    void feedUrlFromSettings()
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

private:
    TestHttpServer m_server;
};

QTEST_GUILESS_MAIN(TestUpdateChecker)
#include "tst_updatechecker.moc"
