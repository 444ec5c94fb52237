#include "capture/PageHead.h"

#include <QTest>

using Urls = QList<QUrl>;

namespace {

const QUrl kPage(QStringLiteral("https://example.org/blog/post.html"));

Urls urls(const QStringList &strings)
{
    Urls out;
    for (const QString &string : strings)
        out.append(QUrl(string));
    return out;
}

} // namespace

class PageHeadTest : public QObject
{
    Q_OBJECT

private slots:
    void title_data()
    {
        QTest::addColumn<QByteArray>("html");
        QTest::addColumn<std::optional<QString>>("title");
        QTest::newRow("title element") << QByteArray("<html><head><title>Plain</title></head>")
                                       << std::optional<QString>("Plain");
        QTest::newRow("blank og:title falls back to the title element")
            << QByteArray("<head><meta property=og:title content=\"  \"><title>Kept</title>")
            << std::optional<QString>("Kept");
        QTest::newRow("entities decoded, white space collapsed")
            << QByteArray("<title>\n  Caf&eacute; &amp;\t&quot;Bar&quot;&#x21;  \n</title>")
            << std::optional<QString>(QStringLiteral("Caf\u00e9 & \"Bar\"!"));
        QTest::newRow("an SVG title is not the page's")
            << QByteArray("<body><svg><title>Icon</title></svg></body>")
            << std::optional<QString>();
        QTest::newRow("not HTML at all")
            << QByteArray("\x00\x01\x02\xff\xfe binary", 15) << std::optional<QString>();
        QTest::newRow("invalid UTF-8 replaced, not dropped")
            << QByteArray("<title>ok \xff\xfe ok</title>")
            << std::optional<QString>(QStringLiteral("ok \ufffd\ufffd ok"));
    }
    void title()
    {
        QFETCH(QByteArray, html);
        QFETCH(std::optional<QString>, title);
        QCOMPARE(parsePageHead(html, kPage).title, title);
    }

    void charset_data()
    {
        QTest::addColumn<QByteArray>("html");
        QTest::addColumn<QByteArray>("headerCharset");
        const QByteArray latin1Title = "<title>Caf\xe9 cr\xe8me</title>";
        QTest::newRow("header charset wins over meta")
            << "<meta charset=\"utf-8\">" + latin1Title << QByteArray("latin1");
        QTest::newRow("unknown charset read as UTF-8")
            << QByteArray("<title>Caf\xc3\xa9 cr\xc3\xa8me</title>") << QByteArray("x-no-such");
    }
    void charset()
    {
        QFETCH(QByteArray, html);
        QFETCH(QByteArray, headerCharset);
        QCOMPARE(parsePageHead(html, kPage, headerCharset).title,
                 QStringLiteral("Caf\u00e9 cr\u00e8me"));
    }

    void previewImages_data()
    {
        QTest::addColumn<QByteArray>("html");
        QTest::addColumn<Urls>("images");
        QTest::newRow("og:image, relative to the page")
            << QByteArray("<meta property=\"og:image\" content=\"img/card.png\">")
            << urls({"https://example.org/blog/img/card.png"});
        QTest::newRow("og:image before twitter:image, whatever the page order")
            << QByteArray("<meta name=\"twitter:image\" content=\"/t.png\">"
                          "<meta property=\"og:image\" content=\"/og.png\">")
            << urls({"https://example.org/og.png", "https://example.org/t.png"});
        QTest::newRow("every spelling")
            << QByteArray("<meta property=og:image:secure_url content=//cdn.example.net/a.jpg>"
                          "<meta property=og:image:url content=b.jpg>"
                          "<meta name=twitter:image:src content=c.jpg>"
                          "<meta property=twitter:image content=d.jpg>")
            << urls({"https://cdn.example.net/a.jpg",
                     "https://example.org/blog/b.jpg",
                     "https://example.org/blog/c.jpg",
                     "https://example.org/blog/d.jpg"});
        QTest::newRow("only web addresses")
            << QByteArray("<meta property=og:image content=\"data:image/png;base64,iVBO\">"
                          "<meta property=og:image content=\"javascript:alert(1)\">"
                          "<meta property=og:image content=\"file:///etc/passwd\">"
                          "<meta property=og:image content=\"http://ok.example/x.png\">")
            << urls({"http://ok.example/x.png"});
        QTest::newRow("base element")
            << QByteArray("<base href=\"https://static.example.com/assets/\">"
                          "<meta property=og:image content=\"p.png\">")
            << urls({"https://static.example.com/assets/p.png"});
    }
    void previewImages()
    {
        QFETCH(QByteArray, html);
        QFETCH(Urls, images);
        QCOMPARE(parsePageHead(html, kPage).previewImages, images);
    }

    void icons_data()
    {
        QTest::addColumn<QByteArray>("html");
        QTest::addColumn<Urls>("icons");
        QTest::newRow("shortcut icon, rel in capitals")
            << QByteArray("<link rel=\"SHORTCUT ICON\" href=\"fav.ico\">")
            << urls({"https://example.org/blog/fav.ico"});
        QTest::newRow("largest first within each kind")
            << QByteArray("<link rel=icon sizes=16x16 href=/16.png>"
                          "<link rel=icon href=/unsized.png>"
                          "<link rel=icon sizes=\"32x32 192x192\" href=/192.png>"
                          "<link rel=icon sizes=any href=/any.svg>"
                          "<link rel=apple-touch-icon-precomposed sizes=57x57 href=/57.png>"
                          "<link rel=apple-touch-icon sizes=180x180 href=/180.png>")
            << urls({"https://example.org/180.png",
                     "https://example.org/57.png",
                     "https://example.org/any.svg",
                     "https://example.org/192.png",
                     "https://example.org/16.png",
                     "https://example.org/unsized.png"});
        QTest::newRow("other links are no icons")
            << QByteArray("<link rel=stylesheet href=/s.css><link rel=mask-icon href=/m.svg>"
                          "<link rel=icon>")
            << Urls();
    }
    void icons()
    {
        QFETCH(QByteArray, html);
        QFETCH(Urls, icons);
        QCOMPARE(parsePageHead(html, kPage).icons, icons);
    }

    // Parsing costs the square of the nesting depth: a megabyte of opening tags would take
    // minutes. Only the head is parsed, so what comes after the body begins is not seen.
    void surroundingsDoNotMatter_data()
    {
        QTest::addColumn<QByteArray>("html");
        QTest::addColumn<Urls>("images");
        QTest::newRow("a page like most") << QByteArray(
            "<!DOCTYPE html><html lang=en><head><meta charset=utf-8>"
            "<script>var s = '<title>not this</title>';</script>"
            "<!-- <title>nor this</title> -->"
            "<title>Real</title><meta property=og:image content=/i.png></head><body></body>")
                                          << urls({"https://example.org/i.png"});
        QByteArray nested = "<title>Real</title>";
        for (int i = 0; i < 200'000; ++i)
            nested += "<div>";
        nested += "<meta property=og:image content=/deep.png>";
        QTest::newRow("200000 nested elements") << nested << Urls();
        QTest::newRow("meta in the body")
            << QByteArray("<head><title>Real</title></head><body><meta property=og:image "
                          "content=/late.png>")
            << Urls();
        QTest::newRow("head closed in capitals, body tag missing")
            << QByteArray("<HEAD><TITLE>Real</TITLE><META PROPERTY=og:image CONTENT=/i.png>"
                          "</HEAD><meta property=og:image content=/late.png>")
            << urls({"https://example.org/i.png"});
    }
    void surroundingsDoNotMatter()
    {
        QFETCH(QByteArray, html);
        QFETCH(Urls, images);
        const PageHead head = parsePageHead(html, kPage);
        QCOMPARE(head.title, QStringLiteral("Real"));
        QCOMPARE(head.previewImages, images);
    }
};

QTEST_GUILESS_MAIN(PageHeadTest)
#include "tst_pagehead.moc"
