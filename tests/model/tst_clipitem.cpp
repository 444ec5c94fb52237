#include "model/ClipItem.h"

#include <QTest>

class TestClipItem : public QObject
{
    Q_OBJECT

private slots:
    void previewTrimsTextAndNamesImages_data()
    {
        QTest::addColumn<ClipItem>("item");
        QTest::addColumn<QString>("preview");

        QTest::newRow("text is trimmed")
            << ClipItem::makeText(QStringLiteral("  \n hello\tworld \n"))
            << QStringLiteral("hello\tworld");
        ClipItem noText = ClipItem::makeText(QString());
        noText.text.reset();
        QTest::newRow("absent text is empty") << noText << QString();
        QTest::newRow("image") << ClipItem::makeImage(QByteArray("png")) << QStringLiteral("Image");
    }

    void previewTrimsTextAndNamesImages()
    {
        QFETCH(ClipItem, item);
        QFETCH(QString, preview);
        QCOMPARE(item.preview(), preview);
    }

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
        QTest::newRow("4 digits take alpha from the 4th")
            << QStringLiteral("#0f08") << true << qRgba(0, 255, 0, 136);
        QTest::newRow("8 digits are RRGGBBAA")
            << QStringLiteral("#FF000080") << true << qRgba(255, 0, 0, 0x80);
        QTest::newRow("not hex") << QStringLiteral("#ggg") << false << QRgb(0);
        QTest::newRow("five digits") << QStringLiteral("#12345") << false << QRgb(0);
        QTest::newRow("non-ASCII digits")
            << QStringLiteral("#\u0661\u0662\u0663") << false << QRgb(0);
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
        QTest::newRow("trailing dot") << QStringLiteral("example.com.") << QString();
        QTest::newRow("bad port") << QStringLiteral("example.com:99999") << QString();
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
};

QTEST_GUILESS_MAIN(TestClipItem)
#include "tst_clipitem.moc"
