#include "SeedData.h"

#include "Store.h"

#include <QBuffer>
#include <QFont>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>

namespace SeedData {

namespace {

struct CategoryText
{
    const char *category;
    const char *text;
};

// Documentation hosts and made-up names only: nothing here is a real address or account.
constexpr CategoryText kCategoryTexts[] = {
    {"Snippets", "Thanks so much, talk soon!"},
    {"Snippets", "42 Example Street, Springfield 12345"},
    {"Snippets", "Best regards,\nThe Support Team"},
    {"Links", "https://example.com/docs/getting-started"},
    {"Links", "https://example.org/blog/release-notes"},
    {"Prompts", "Summarize the following text in three bullet points, keeping every number exact:"},
    {"Prompts",
     "Rewrite this paragraph to be friendlier and half as long, without losing any facts."},
    {"Email",
     "Hi there,\n\nThanks for reaching out. I'm out of the office until Monday and will reply "
     "then.\n\nCheers"},
    {"Email",
     "Happy to help! Could you send me a screenshot of the error and the steps that led to it?"},
    {"Code", "git log --oneline --graph --decorate -20"},
    {"Code", "find . -name '*.log' -mtime +7 -delete"},
    {"Code", "export PATH=\"$HOME/.local/bin:$PATH\""},
};

struct HistoryText
{
    const char *text;
    double ageSeconds;
};

// The first row ends up newest.
constexpr HistoryText kHistoryTexts[] = {
    {"Meeting moved to 3:30, same room.", -30},
    {"#3B82F6", -95},
    {"https://example.com/pricing", -260},
    {"docker compose up -d --build", -600},
    {"Could you review the draft before Friday? No rush otherwise.", -1500},
    {"#F97316", -2400},
    {"example.org/guides/keyboard-shortcuts", -3600},
    {"SELECT name, created_at FROM orders WHERE status = 'open' ORDER BY created_at DESC;", -5400},
    {"Explain the difference between a process and a thread to a new team member.", -7200},
    {"Grocery list: oat milk, lemons, basil, sourdough", -10800},
    {"#10B98180", -14400},
    {"ssh -L 8080:localhost:80 build-server", -21600},
    {"The quick brown fox jumps over the lazy dog.", -28800},
    {"Order confirmation number: A1B2-C3D4-E5F6", -43200},
    {"https://example.net/status", -86400},
    {"const total = items.reduce((sum, item) => sum + item.price, 0);", -172800},
};

struct Gradient
{
    const char *label;
    QColor top;
    QColor bottom;
    double ageSeconds;
};

const QSize kImageSize(480, 320);

} // namespace

std::optional<QByteArray> makeGradientPNG(const QString &label,
                                          const QColor &top,
                                          const QColor &bottom,
                                          QSize size)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return std::nullopt;
    QPainter painter(&image);
    QLinearGradient gradient(0, 0, 0, size.height());
    gradient.setColorAt(0, top);
    gradient.setColorAt(1, bottom);
    painter.fillRect(image.rect(), gradient);

    QFont font;
    font.setPixelSize(28);
    font.setWeight(QFont::DemiBold);
    painter.setFont(font);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setPen(QColor::fromRgbF(1, 1, 1, 0.85f));
    painter.drawText(QPointF(18, size.height() - 18), label);
    painter.end();

    QByteArray png;
    QBuffer buffer(&png);
    if (!buffer.open(QIODevice::WriteOnly) || !image.save(&buffer, "PNG"))
        return std::nullopt;
    return png;
}

void populateIfEmpty(Store &store)
{
    if (!store.history().isEmpty() || !store.categories().isEmpty())
        return;

    QList<Category> categories;
    for (const char *name : {"Snippets", "Links", "Prompts", "Email", "Code"})
        categories.append(Category::make(QString::fromUtf8(name)));
    store.setCategories(categories);

    auto categoryId = [&](const char *name) {
        for (const Category &category : store.categories()) {
            if (category.name == QString::fromUtf8(name))
                return category.id;
        }
        Q_UNREACHABLE();
    };

    for (const CategoryText &entry : kCategoryTexts)
        store.add(ClipItem::makeText(QString::fromUtf8(entry.text)), categoryId(entry.category));

    const Timestamp now = Timestamp::now();
    for (auto it = std::rbegin(kHistoryTexts); it != std::rend(kHistoryTexts); ++it)
        store.captureFromClipboard(
            ClipItem::makeText(QString::fromUtf8(it->text), now.addSecs(it->ageSeconds)));

    const Gradient gradients[] = {
        {"Sunset", QColor::fromRgbF(1.0f, 0.42f, 0.3f), QColor::fromRgbF(0.55f, 0.1f, 0.45f), 120},
        {"Lagoon", QColor::fromRgbF(0.1f, 0.55f, 0.65f), QColor::fromRgbF(0.05f, 0.2f, 0.4f), 800},
        {"Citrus", QColor::fromRgbF(0.95f, 0.85f, 0.2f), QColor::fromRgbF(0.85f, 0.3f, 0.1f), 5000},
        {"Forest", QColor::fromRgbF(0.2f, 0.55f, 0.3f), QColor::fromRgbF(0.05f, 0.2f, 0.1f), 40000},
    };
    for (const Gradient &g : gradients) {
        const auto png = makeGradientPNG(QString::fromUtf8(g.label), g.top, g.bottom, kImageSize);
        if (png)
            store.captureFromClipboard(ClipItem::makeImage(*png, now.addSecs(-g.ageSeconds)));
    }

    const auto saved = makeGradientPNG(QStringLiteral("Saved"),
                                       QColor::fromRgbF(0.4f, 0.35f, 0.85f),
                                       QColor::fromRgbF(0.1f, 0.1f, 0.3f),
                                       kImageSize);
    if (saved)
        store.add(ClipItem::makeImage(*saved), categoryId("Snippets"));
}

} // namespace SeedData
