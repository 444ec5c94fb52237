#include "capture/PageHead.h"

#include <QTest>

using Urls = QList<QUrl>;
using Title = std::optional<QString>;

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

// The rules a served page alone does not show; the usual title, image and icon fallbacks are
// checked against a local server in the link preview test.
class PageHeadTest : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QByteArray>("html");
        QTest::addColumn<QByteArray>("charset"); // from the Content-Type header
        QTest::addColumn<Title>("title");
        QTest::addColumn<Urls>("images");
        QTest::addColumn<Urls>("icons");

        const QByteArray none;
        QTest::newRow("blank og:title falls back to the title element")
            << QByteArray("<meta property=og:title content=\"  \"><title>Kept</title>") << none
            << Title("Kept") << Urls() << Urls();
        QTest::newRow("the header's charset wins over the page's")
            << QByteArray("<meta charset=\"utf-8\"><title>Caf\xe9</title>") << QByteArray("latin1")
            << Title(QStringLiteral("Caf\u00e9")) << Urls() << Urls();
        QTest::newRow("og:image before twitter:image, whatever the page order")
            << QByteArray("<meta name=twitter:image content=/t.png>"
                          "<meta property=og:image:secure_url content=//cdn.example.net/a.jpg>")
            << none << Title()
            << urls({"https://cdn.example.net/a.jpg", "https://example.org/t.png"}) << Urls();
        QTest::newRow("only web addresses, each once")
            << QByteArray("<meta property=og:image content=\"javascript:alert(1)\">"
                          "<meta property=og:image content=\"file:///etc/passwd\">"
                          "<meta property=og:image content=b.png><meta name=twitter:image "
                          "content=https://example.org/blog/b.png>")
            << none << Title() << urls({"https://example.org/blog/b.png"}) << Urls();
        QTest::newRow("touch icons first, each kind largest first")
            << QByteArray("<link rel=icon sizes=16x16 href=/16.png><link rel=icon "
                          "href=/unsized.png><link rel=icon>"
                          "<link rel=\"SHORTCUT ICON\" sizes=\"32x32 192x192\" href=/192.png>"
                          "<link rel=apple-touch-icon sizes=57x57 href=/57.png>"
                          "<link rel=apple-touch-icon sizes=180x180 href=/180.png>"
                          "<link rel=stylesheet href=/s.css><link rel=mask-icon href=/m.svg>")
            << none << Title() << Urls()
            << urls({"https://example.org/180.png",
                     "https://example.org/57.png",
                     "https://example.org/192.png",
                     "https://example.org/16.png",
                     "https://example.org/unsized.png"});

        // Parsing costs the square of the nesting depth: a megabyte of opening tags would take
        // minutes. Only the head is parsed, so what comes after the body begins is not seen.
        QByteArray nested = "<title>Real</title>";
        for (int i = 0; i < 200'000; ++i)
            nested += "<div>";
        nested += "<meta property=og:image content=/deep.png>";
        QTest::newRow("200000 nested elements")
            << nested << none << Title("Real") << Urls() << Urls();
        QTest::newRow("head closed in capitals, body tag missing")
            << QByteArray("<HEAD><META PROPERTY=og:image CONTENT=/i.png></HEAD>"
                          "<meta property=og:image content=/late.png>")
            << none << Title() << urls({"https://example.org/i.png"}) << Urls();
    }
    void parse()
    {
        QFETCH(QByteArray, html);
        QFETCH(QByteArray, charset);
        QFETCH(Title, title);
        QFETCH(Urls, images);
        QFETCH(Urls, icons);
        const PageHead head = parsePageHead(html, kPage, charset);
        QCOMPARE(head.title, title);
        QCOMPARE(head.previewImages, images);
        QCOMPARE(head.icons, icons);
    }
};

QTEST_GUILESS_MAIN(PageHeadTest)
#include "tst_pagehead.moc"
