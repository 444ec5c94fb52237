#include "LargeStore.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>
#include <QRandomGenerator>

namespace {

// A desktop screenshot: window chrome, lines of text and a photo-like area with grain.
QByteArray screenshotPNG(int seed)
{
    QImage image(1920, 1080, QImage::Format_RGB32);
    QPainter p(&image);
    auto *rng = QRandomGenerator::global();
    p.fillRect(image.rect(), QColor::fromHsv((seed * 37) % 360, 40, 235));
    p.fillRect(0, 0, 1920, 36, QColor(40, 40, 46));
    p.fillRect(80, 90, 1100, 900, Qt::white);
    QFont font;
    font.setPixelSize(18);
    p.setFont(font);
    p.setPen(QColor(30, 30, 30));
    for (int line = 0; line < 38; ++line)
        p.drawText(110,
                   130 + line * 22,
                   QStringLiteral(
                       "Line %1 of document %2: the quick brown fox jumps over the lazy dog %3")
                       .arg(line)
                       .arg(seed)
                       .arg(rng->generate() % 100000));
    // Photo-like region: smooth gradient with noise, which is what makes real screenshots big.
    for (int y = 90; y < 990; ++y) {
        auto *row = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 1240; x < 1860; ++x) {
            const int noise = int(rng->generate() % 24);
            row[x] = qRgb((x / 4 + seed * 9 + noise) % 256,
                          (y / 4 + noise) % 256,
                          (x + y) / 12 % 256);
        }
    }
    p.end();
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

} // namespace

StoreCodec::Disk makeLargeStore()
{
    StoreCodec::Disk disk;
    Timestamp when = Timestamp::now();
    for (int i = 0; i < 200; ++i) {
        ClipItem item;
        if (i % 5 == 0) {
            item = ClipItem::makeImage(screenshotPNG(i), when.addSecs(-i * 60));
            item.flavors = Flavors{{QStringLiteral("image/png"), *item.imageData}};
        } else {
            const QString text = QStringLiteral(
                                     "Clip %1: some copied text that is a sentence or two long, "
                                     "as most clipboard entries are.")
                                     .arg(i);
            item = ClipItem::makeText(text, when.addSecs(-i * 60));
            item.flavors = Flavors{{QStringLiteral("UTF8_STRING"), text.toUtf8()},
                                   {QStringLiteral("text/html"), ("<p>" + text + "</p>").toUtf8()}};
        }
        disk.history.append(item);
    }
    for (int c = 0; c < 5; ++c) {
        Category category = Category::make(QStringLiteral("Category %1").arg(c));
        for (int i = 0; i < 20; ++i) {
            // Saved copies of history entries: images among them share their bytes.
            ClipItem copy = disk.history.at((c * 20 + i * 3) % 200);
            copy.id = QUuid::createUuid();
            category.items.append(copy);
        }
        disk.categories.append(category);
    }
    return disk;
}
