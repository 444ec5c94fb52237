#pragma once

#include <QHashFunctions>
#include <QUuid>

// Which list the overlay shows: the history, or one category by id. Not persisted.
struct Tab
{
    static Tab history() { return Tab{}; }
    static Tab category(const QUuid &id) { return Tab{id}; }

    bool isHistory() const { return categoryId.isNull(); }
    // The shown category's id; null for the history.
    QUuid categoryId;

    friend bool operator==(const Tab &, const Tab &) = default;
};

inline size_t qHash(const Tab &tab, size_t seed = 0) noexcept
{
    return qHash(tab.categoryId, seed);
}
