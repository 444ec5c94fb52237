#include "Feeds.h"
#include "app/Appcast.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

AppcastItem item(const QString &version, const QString &shortVersion = {})
{
    AppcastItem item;
    item.version = version;
    item.shortVersionString = shortVersion;
    return item;
}

} // namespace

class TestAppcast : public QObject
{
    Q_OBJECT

private slots:
    void readsItems();
    void leavesOutItemsNotForThisProgram_data();
    void leavesOutItemsNotForThisProgram();
    void rejectsWhatIsNotAFeed_data();
    void rejectsWhatIsNotAFeed();
    void newestUpdate_data();
    void newestUpdate();
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
    QTest::newRow("blank version") << QByteArray(R"(
        <item><sparkle:version>  </sparkle:version></item>)");
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

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("binary garbage") << QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
    QTest::newRow("an HTML error page")
        << QByteArray("<!DOCTYPE html><html><body><h1>Not Found</h1><p>Oops<br></body></html>");
    QTest::newRow("another XML document") << QByteArray(R"(<?xml version="1.0"?><feed/>)");
    QTest::newRow("cut off in the middle")
        << feed("<item><sparkle:version>2.0</sparkle:ver").left(200);
    QTest::newRow("undeclared prefix") << QByteArray(
        "<rss><channel><item><sparkle:version>2.0</sparkle:version></item></channel></rss>");
    QTest::newRow("garbage after the feed") << feed("") + "<rss/>";
}

void TestAppcast::rejectsWhatIsNotAFeed()
{
    QFETCH(QByteArray, body);
    QString error;
    QVERIFY(!Appcast::parse(body, {}, &error));
    QVERIFY(!error.isEmpty());
}

void TestAppcast::newestUpdate_data()
{
    QTest::addColumn<QList<AppcastItem>>("items");
    QTest::addColumn<QString>("current");
    QTest::addColumn<QString>("expected"); // empty: up to date

    const QList<AppcastItem> releases = {item("1.9"), item("1.10"), item("1.2")};
    QTest::newRow("newest by version, not by feed order") << releases << u"1.2"_s << u"1.10"_s;
    QTest::newRow("the newest is running") << releases << u"1.10"_s << u""_s;
    QTest::newRow("the release after its beta")
        << QList<AppcastItem>{item("2.0")} << u"2.0-beta.3"_s << u"2.0"_s;
    QTest::newRow("no items") << QList<AppcastItem>() << u"1.0"_s << u""_s;
}

void TestAppcast::newestUpdate()
{
    QFETCH(QList<AppcastItem>, items);
    QFETCH(QString, current);
    QFETCH(QString, expected);

    const std::optional<AppcastItem> update = Appcast::newestUpdate(items, current);
    QCOMPARE(update.has_value(), !expected.isEmpty());
    if (update)
        QCOMPARE(update->version, expected);
}

QTEST_APPLESS_MAIN(TestAppcast)
#include "tst_appcast.moc"
