#include "Feeds.h"
#include "app/UpdateChecker.h"
#include "app/VersionComparator.h"
#include "common/HttpServer.h"

#include <QSignalSpy>
#include <QTest>

using Response = TestHttpServer::Response;
using namespace Qt::StringLiterals;

namespace {

constexpr int kWait = 20000;

Response rss(const QByteArray &body)
{
    return Response{.contentType = "application/rss+xml", .body = body};
}

} // namespace

// The update check over HTTP, and the version order it decides by.
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
        m_server.route("/garbage", rss(QByteArray("\0\1\2garbage<<>>", 14)));
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
        QTest::newRow("newer version")
            << url("/newer") << O::updateAvailable << F::none << 0 << "1.10";
        QTest::newRow("same version") << url("/same") << O::upToDate << F::none << 0 << "";
        QTest::newRow("garbage") << url("/garbage") << O::failed << F::unreadableFeed << 0 << "";
        QTest::newRow("body too large")
            << url("/huge") << O::failed << F::unreadableFeed << 0 << "";
        QTest::newRow("never answers") << url("/silent") << O::failed << F::timedOut << 0 << "";
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
        // Exactly one answer per check.
        QTest::qWait(50);
        QCOMPARE(finished.size(), 1);
    }

    void versionOrder_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("order"); // -1: a is older, 0: the same version, 1: a is newer

        QTest::newRow("numbers, not text: 1.10 after 1.9") << u"1.10"_s << u"1.9"_s << 1;
        QTest::newRow("trailing zeros: 1.2 == 1.2.0") << u"1.2"_s << u"1.2.0"_s << 0;
        QTest::newRow("pre-release before its release") << u"1.2-beta"_s << u"1.2"_s << -1;
        QTest::newRow("garbage before any number") << u"garbage"_s << u"0.0.1"_s << -1;
    }

    void versionOrder()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, order);
        const auto sign = [](int value) { return (value > 0) - (value < 0); };
        QCOMPARE(sign(compareVersions(a, b)), order);
        // The order is antisymmetric and every version equals itself.
        QCOMPARE(sign(compareVersions(b, a)), -order);
        QCOMPARE(compareVersions(a, a), 0);
    }

private:
    TestHttpServer m_server;
};

QTEST_GUILESS_MAIN(TestUpdateChecker)
#include "tst_updatechecker.moc"
