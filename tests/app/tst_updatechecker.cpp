#include "Feeds.h"
#include "app/Appcast.h"
#include "app/UpdateChecker.h"
#include "app/VersionComparator.h"
#include "common/HttpServer.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
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

// The update feed: its format, the version order, and checking it over HTTP.
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

        // In the default build, which names no feed, these two offer no updates at all.
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
        const QUrl feed = UpdateChecker::feedUrl(settings);
        QCOMPARE(feed, expected.isEmpty() ? UpdateChecker::builtInFeedUrl() : expected);
        QCOMPARE(UpdateChecker::updatesOffered(settings), !feed.isEmpty());
    }

    // The feed format and the version order; defined below the class, where moc does not
    // read the feeds' raw strings.
    void readsItems();
    void leavesOutItemsNotForThisProgram_data();
    void leavesOutItemsNotForThisProgram();
    void rejectsWhatIsNotAFeed_data();
    void rejectsWhatIsNotAFeed();
    void versionOrder_data();
    void versionOrder();

private:
    TestHttpServer m_server;
};

void TestUpdateChecker::readsItems()
{
    const QByteArray xml = feed(R"(
    <item>
      <title>Version 1.3 &amp; more</title>
      <link>https://example.org/cliphaven/download</link>
      <sparkle:version>1.3.0</sparkle:version>
      <sparkle:shortVersionString>1.3</sparkle:shortVersionString>
      <sparkle:releaseNotesLink>notes/1.3.html</sparkle:releaseNotesLink>
      <pubDate>Mon, 06 May 2024 10:00:00 +0000</pubDate>
      <enclosure url="https://example.org/cliphaven-1.3.tar.gz" length="123" type="application/gzip"/>
    </item>
    <item>
      <title>Version 1.2</title>
      <enclosure url="/files/cliphaven-1.2.tar.gz" sparkle:version="1.2" sparkle:shortVersionString="1.2 old style"/>
    </item>)");

    QString error;
    const auto items = Appcast::parse(xml,
                                      QUrl(QStringLiteral("https://example.org/feeds/appcast.xml")),
                                      &error);
    QVERIFY2(items, qPrintable(error));
    QCOMPARE(items->size(), 2);

    const AppcastItem &first = items->at(0);
    QCOMPARE(first.title, QStringLiteral("Version 1.3 & more"));
    QCOMPARE(first.version, QStringLiteral("1.3.0"));
    QCOMPARE(first.displayVersion(), QStringLiteral("1.3"));
    QCOMPARE(first.releaseNotesLink,
             QUrl(QStringLiteral("https://example.org/feeds/notes/1.3.html")));
    QCOMPARE(first.enclosureUrl, QUrl(QStringLiteral("https://example.org/cliphaven-1.3.tar.gz")));
    QCOMPARE(first.downloadPage(), QUrl(QStringLiteral("https://example.org/cliphaven/download")));

    // Older feeds carry the versions on the enclosure; without a page, the package is offered.
    const AppcastItem &second = items->at(1);
    QCOMPARE(second.version, QStringLiteral("1.2"));
    QCOMPARE(second.displayVersion(), QStringLiteral("1.2 old style"));
    QCOMPARE(second.downloadPage(),
             QUrl(QStringLiteral("https://example.org/files/cliphaven-1.2.tar.gz")));
}

void TestUpdateChecker::leavesOutItemsNotForThisProgram_data()
{
    QTest::addColumn<QByteArray>("itemXml");

    QTest::newRow("no version anywhere") << QByteArray(R"(
        <item><title>News</title><enclosure url="https://example.org/x.tar.gz"/></item>)");
    QTest::newRow("beta channel") << QByteArray(R"(
        <item><sparkle:version>9.0</sparkle:version><sparkle:channel>beta</sparkle:channel></item>)");
    QTest::newRow("another operating system") << QByteArray(R"(
        <item><sparkle:version>9.0</sparkle:version>
        <enclosure url="https://example.org/x.msi" sparkle:os="windows"/></item>)");
    QTest::newRow("version in another namespace") << QByteArray(R"(
        <item xmlns:other="urn:other"><other:version>9.0</other:version></item>)");
}

void TestUpdateChecker::leavesOutItemsNotForThisProgram()
{
    QFETCH(QByteArray, itemXml);
    const QByteArray kept = R"(
        <item><sparkle:version>1.0</sparkle:version>
        <enclosure url="https://example.org/c.tar.gz" sparkle:os="linux"/></item>)";

    const auto items = Appcast::parse(feed(itemXml + kept));
    QVERIFY(items);
    QCOMPARE(items->size(), 1);
    QCOMPARE(items->front().version, QStringLiteral("1.0"));
}

void TestUpdateChecker::rejectsWhatIsNotAFeed_data()
{
    QTest::addColumn<QByteArray>("body");

    QTest::newRow("an HTML error page")
        << QByteArray("<!DOCTYPE html><html><body><h1>Not Found</h1><p>Oops<br></body></html>");
    QTest::newRow("another XML document") << QByteArray(R"(<?xml version="1.0"?><feed/>)");
    QTest::newRow("cut off in the middle")
        << feed("<item><sparkle:version>2.0</sparkle:ver").left(200);
    QTest::newRow("undeclared prefix") << QByteArray(
        "<rss><channel><item><sparkle:version>2.0</sparkle:version></item></channel></rss>");
}

void TestUpdateChecker::rejectsWhatIsNotAFeed()
{
    QFETCH(QByteArray, body);
    QString error;
    QVERIFY(!Appcast::parse(body, {}, &error));
    QVERIFY(!error.isEmpty());
}

void TestUpdateChecker::versionOrder_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<int>("order"); // -1: a is older, 0: the same version, 1: a is newer

    QTest::newRow("numbers, not text: 1.10 after 1.9") << u"1.10"_s << u"1.9"_s << 1;
    QTest::newRow("patch level") << u"1.2"_s << u"1.2.1"_s << -1;
    QTest::newRow("numbers beyond 64 bits")
        << u"1.18446744073709551617"_s << u"1.18446744073709551616"_s << 1;
    QTest::newRow("trailing zeros: 1.2 == 1.2.0") << u"1.2"_s << u"1.2.0"_s << 0;
    QTest::newRow("leading v") << u"v1.2"_s << u"1.2"_s << 0;
    QTest::newRow("build metadata ignored") << u"1.2+build.5"_s << u"1.2+build.6"_s << 0;
    QTest::newRow("pre-release separator styles") << u"1.2.0-rc.1"_s << u"1.2rc1"_s << 0;
    QTest::newRow("pre-release before its release") << u"1.2-beta"_s << u"1.2"_s << -1;
    QTest::newRow("alpha before beta") << u"1.2-alpha"_s << u"1.2-beta"_s << -1;
    QTest::newRow("pre-release numbers as numbers") << u"1.2b10"_s << u"1.2b2"_s << 1;
    QTest::newRow("known tags before unknown ones") << u"1.2-rc1"_s << u"1.2-zeta"_s << -1;
    QTest::newRow("garbage before any number") << u"garbage"_s << u"0.0.1"_s << -1;
}

void TestUpdateChecker::versionOrder()
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

QTEST_GUILESS_MAIN(TestUpdateChecker)
#include "tst_updatechecker.moc"
