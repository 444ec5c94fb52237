#pragma once

#include <QByteArray>
#include <QColor>
#include <QSize>
#include <QString>

#include <optional>

class Store;

// Sample clips, so the overlay can be shown and judged without real clipboard use.
namespace SeedData {

// Fills a store that has neither history nor categories: five categories with twelve texts
// and one image, then sixteen texts and four gradient images in the history.
void populateIfEmpty(Store &store);

// A vertical gradient from top to bottom with the label drawn near the lower left corner.
std::optional<QByteArray> makeGradientPNG(const QString &label,
                                          const QColor &top,
                                          const QColor &bottom,
                                          QSize size);

} // namespace SeedData
