#pragma once

#include "ClipItem.h"

#include <QList>

// A user-named group of saved entries, newest first. Never trimmed.
struct Category
{
    QUuid id;
    QString name;
    QList<ClipItem> items;

    static Category make(const QString &name);

    friend bool operator==(const Category &, const Category &) = default;
};

size_t qHash(const Category &category, size_t seed = 0) noexcept;
