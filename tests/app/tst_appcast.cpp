#include "Feeds.h"
#include "app/Appcast.h"
#include "app/VersionComparator.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestAppcast : public QObject
{
    Q_OBJECT

private slots:
    void readsItems();
    void leavesOutItemsNotForThisProgram_data();
    void leavesOutItemsNotForThisProgram();
    void rejectsWhatIsNotAFeed_data();
    void rejectsWhatIsNotAFeed();
    void versionOrder_data();
    void versionOrder();
};

void TestAppcast::readsItems()
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

void TestAppcast::leavesOutItemsNotForThisProgram_data()
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

void TestAppcast::leavesOutItemsNotForThisProgram()
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

void TestAppcast::rejectsWhatIsNotAFeed_data()
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

void TestAppcast::rejectsWhatIsNotAFeed()
{
    QFETCH(QByteArray, body);
    QString error;
    QVERIFY(!Appcast::parse(body, {}, &error));
    QVERIFY(!error.isEmpty());
}

void TestAppcast::versionOrder_data()
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

void TestAppcast::versionOrder()
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

QTEST_APPLESS_MAIN(TestAppcast)
#include "tst_appcast.moc"
