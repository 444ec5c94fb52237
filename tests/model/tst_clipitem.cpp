#include "model/ClipItem.h"
#include "model/JsonReader.h"
#include "model/StoreCodec.h"

#include <QFile>
#include <QJsonDocument>
#include <QSet>
#include <QTest>

namespace {

QByteArray fixture(const char *name)
{
    QFile file(QStringLiteral(CLIPHAVEN_TEST_DATA "/") + QString::fromUtf8(name));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("missing fixture %s", name);
    return file.readAll();
}

} // namespace

// Clip records: their rules, and the store's file format.
class TestClipItem : public QObject
{
    Q_OBJECT

private slots:
    void sameContent()
    {
        ClipItem a = ClipItem::makeText(QStringLiteral("same"), Timestamp{1});
        ClipItem b = ClipItem::makeText(QStringLiteral("same"), Timestamp{2});
        b.flavors = Flavors{{QStringLiteral("text/html"), QByteArray("<b>same</b>")}};
        b.ocrText = QStringLiteral("other");
        QVERIFY(a.sameContent(b)); // identity, date, flavors and OCR text do not count
        QVERIFY(a != b);
        QVERIFY(!a.sameContent(ClipItem::makeText(QStringLiteral("same "))));
        QVERIFY(!a.sameContent(ClipItem::makeImage(QByteArray("same"))));

        const QByteArray bytes("\x89PNG\r\n", 6);
        QByteArray copy(bytes.constData(), bytes.size()); // a separate buffer with equal bytes
        QVERIFY(ClipItem::makeImage(bytes).sameContent(ClipItem::makeImage(copy)));
        copy[5] = 'x';
        QVERIFY(!ClipItem::makeImage(bytes).sameContent(ClipItem::makeImage(copy)));

        ClipItem absent = ClipItem::makeText(QString());
        absent.text.reset();
        QVERIFY(!ClipItem::makeText(QString()).sameContent(absent)); // absent is not empty
    }

    void hexColor_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("isColor");
        QTest::addColumn<QRgb>("rgba"); // as QColor::rgba(): AARRGGBB

        QTest::newRow("#FFF with blanks is opaque white")
            << QStringLiteral("  #FFF \n") << true << qRgba(255, 255, 255, 255);
        QTest::newRow("8 digits are RRGGBBAA")
            << QStringLiteral("#FF000080") << true << qRgba(255, 0, 0, 0x80);
        QTest::newRow("not hex") << QStringLiteral("#ggg") << false << QRgb(0);
    }

    void hexColor()
    {
        QFETCH(QString, text);
        QFETCH(bool, isColor);
        QFETCH(QRgb, rgba);
        const auto color = ClipItem::makeText(text).detectedHexColor();
        QCOMPARE(color.has_value(), isColor);
        if (isColor)
            QCOMPARE(color->rgba(), rgba);
        QVERIFY(!ClipItem::makeImage(text.toUtf8()).detectedHexColor());
    }

    void wholeTextLink_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("url"); // empty: no link

        QTest::newRow("https link") << QStringLiteral("https://example.com/a?b=1#c")
                                    << QStringLiteral("https://example.com/a?b=1#c");
        QTest::newRow("bare host")
            << QStringLiteral("example.com") << QStringLiteral("http://example.com");
        QTest::newRow("source file") << QStringLiteral("main.cpp") << QString();
        QTest::newRow("link among words")
            << QStringLiteral("see https://example.com now") << QString();
        QTest::newRow("e-mail address") << QStringLiteral("someone@example.com") << QString();
    }

    void wholeTextLink()
    {
        QFETCH(QString, text);
        QFETCH(QString, url);
        const auto detected = ClipItem::makeText(text).detectedURL();
        if (url.isEmpty()) {
            QVERIFY2(!detected, qPrintable(detected ? detected->toString() : QString()));
        } else {
            QVERIFY(detected);
            QCOMPARE(detected->toString(), url);
            QVERIFY(!detected->host().isEmpty());
        }
        QVERIFY(!ClipItem::makeImage(text.toUtf8()).detectedURL());
    }

    // A store edited by hand may repeat ids: every entry and category is kept, each with an id
    // of its own, so nothing looked up by id can reach another entry.
    void repeatedIdsAreMadeUnique()
    {
        const auto disk = StoreCodec::decode(fixture("store-repeated-ids.json"));
        QVERIFY(disk);
        QCOMPARE(disk->history.size(), 2);
        QCOMPARE(*disk->history.at(1).text, QStringLiteral("second"));
        QCOMPARE(disk->categories.size(), 2);
        QCOMPARE(*disk->categories.at(0).items.at(0).text, QStringLiteral("third"));
        // The first holder keeps it.
        QCOMPARE(disk->history.at(0).id,
                 QUuid(QStringLiteral("6F1C2B9E-3D4A-4E5F-8A7B-1C2D3E4F5A6B")));
        const QSet<QUuid> itemIds{disk->history.at(0).id,
                                  disk->history.at(1).id,
                                  disk->categories.at(0).items.at(0).id};
        QCOMPARE(itemIds.size(), 3);
        QVERIFY(disk->categories.at(0).id != disk->categories.at(1).id);
    }

    void readsAndWritesBackAFileWrittenByAnotherProgram()
    {
        const auto disk = StoreCodec::decode(fixture("store-full.json"));
        QVERIFY(disk);
        QCOMPARE(disk->history.size(), 2);
        QCOMPARE(disk->categories.size(), 2);

        const ClipItem &text = disk->history.at(0);
        QCOMPARE(text.id, QUuid(QStringLiteral("6F1C2B9E-3D4A-4E5F-8A7B-1C2D3E4F5A6B")));
        QCOMPARE(text.kind, ClipKind::Text);
        QCOMPARE(*text.text, QStringLiteral("https://example.com/a b \"quoted\"\n\u00e9\U0001F600"));
        QCOMPARE(text.createdAt.secondsSinceReferenceDate, 785000000.123456);
        QVERIFY(!text.imageData);
        QVERIFY(!text.ocrText);
        QCOMPARE(text.flavors->value(QStringLiteral("text/html")), QByteArray("<b>hi</b>"));
        QCOMPARE(text.flavors->value(QStringLiteral("UTF8_STRING")), QByteArray("hi"));

        const ClipItem &image = disk->history.at(1);
        QCOMPARE(image.kind, ClipKind::Image);
        QCOMPARE(*image.imageData, QByteArray::fromBase64("iVBORw0KGgoAAAAN/w=="));
        QCOMPARE(*image.ocrText, QStringLiteral("Hello World"));
        QCOMPARE(image.flavors->value(QStringLiteral("image/png")), *image.imageData);

        QCOMPARE(disk->categories.at(0).name, QStringLiteral("Snippets"));
        QCOMPARE(disk->categories.at(0).items.at(0).createdAt.secondsSinceReferenceDate, -12.5);
        QCOMPARE(disk->categories.at(1).name, QStringLiteral("Empty \u2603"));
        QVERIFY(disk->categories.at(1).items.isEmpty());
        // 2001-01-01 plus 785000000 s
        QCOMPARE(text.createdAt.toDateTime(),
                 QDateTime(QDate(2025, 11, 16), QTime(15, 33, 20, 123), Qt::UTC));

        // Written back, every field survives, and another JSON reader sees the same document
        // (escaping may differ, content may not).
        const QByteArray written = StoreCodec::encode(*disk);
        const auto again = StoreCodec::decode(written);
        QVERIFY(again);
        QCOMPARE(again->history, disk->history);
        QCOMPARE(again->categories, disk->categories);
        QCOMPARE(QJsonDocument::fromJson(written),
                 QJsonDocument::fromJson(fixture("store-full.json")));
    }

    void acceptsAnySubsetOfOptionalKeys()
    {
        const auto disk = StoreCodec::decode(fixture("store-minimal-items.json"));
        QVERIFY(disk);
        QCOMPARE(disk->history.size(), 2);
        for (const ClipItem &item : disk->history) {
            QVERIFY(!item.text);
            QVERIFY(!item.imageData);
            QVERIFY(!item.flavors);
            QVERIFY(!item.ocrText);
        }
        // Lower-case ids are accepted and written back in upper case.
        QCOMPARE(StoreCodec::uuidString(disk->history.at(1).id),
                 QStringLiteral("0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"));
        QCOMPARE(disk->history.at(1).createdAt.secondsSinceReferenceDate, 1000.0);
    }

    void rejectsTheWholeFile_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("an item without createdAt") << fixture("store-missing-createdAt.json");
        QTest::newRow("no categories key") << fixture("store-missing-categories.json");
        QTest::newRow("a category without items") << fixture("store-category-missing-items.json");
        QTest::newRow("invalid Base64") << fixture("store-bad-base64.json");
        QTest::newRow("unknown kind") << fixture("store-unknown-kind.json");
        QTest::newRow("truncated") << fixture("store-full.json").chopped(10);
        QTest::newRow("id is not a UUID") << QByteArray(
            R"({"history":[{"id":"nope","kind":"text","createdAt":1}],"categories":[]})");
        QTest::newRow("text is not UTF-8")
            << QByteArray("{\"history\":[{\"id\":\"6F1C2B9E-3D4A-4E5F-8A7B-1C2D3E4F5A6B\",\"kind\":"
                          "\"text\",\"text\":\"\xff\xfe\",\"createdAt\":1}],\"categories\":[]}");
    }

    void rejectsTheWholeFile()
    {
        QFETCH(QByteArray, json);
        QVERIFY(!StoreCodec::decode(json));
    }

    void parserRejectsMalformedJson_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("trailing comma") << QByteArray("[1,]");
        QTest::newRow("raw control character") << QByteArray("[\"a\tb\"]");
        QTest::newRow("infinite number") << QByteArray("[1e999]");
        QTest::newRow("nested too deep") << QByteArray(100000, '[');
        QTest::newRow("NUL byte") << QByteArray("[\"a\0b\"]", 7);
    }

    void parserRejectsMalformedJson()
    {
        QFETCH(QByteArray, json);
        QVERIFY(!Json::parse(std::string_view(json.constData(), size_t(json.size()))));
    }
};

QTEST_GUILESS_MAIN(TestClipItem)
#include "tst_clipitem.moc"
