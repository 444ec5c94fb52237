#include "Category.h"

#include <QHashFunctions>

Category Category::make(const QString &name)
{
    return Category{QUuid::createUuid(), name, {}};
}

size_t qHash(const Category &category, size_t seed) noexcept
{
    QtPrivate::QHashCombine combine;
    seed = combine(seed, category.id);
    seed = combine(seed, category.name);
    for (const ClipItem &item : category.items)
        seed = combine(seed, item);
    return seed;
}
