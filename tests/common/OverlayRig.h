#pragma once

#include "model/Store.h"
#include "overlay/ClipListModel.h"
#include "overlay/GridController.h"
#include "overlay/OverlayState.h"
#include "overlay/TileImageProvider.h"

#include <QQuickItem>
#include <QTemporaryDir>

// A store on a private file, the overlay's state, list model and grid controller over it, and
// a record of the picked items' texts.
struct OverlayRig
{
    explicit OverlayRig(LinkPreviewCache *links = nullptr)
        : model(store, state, images, links)
    {
        grid.onPick = [this](const ClipItem &item) { picked.append(*item.text); };
    }

    // Captures count text items, "0" newest.
    void fill(int count)
    {
        for (int i = count - 1; i >= 0; --i)
            store.captureFromClipboard(ClipItem::makeText(QString::number(i)));
    }
    QUuid id(int row) const { return model.itemAt(row).id; }
    QSet<QUuid> ids(const QList<int> &rows) const
    {
        QSet<QUuid> set;
        for (int row : rows)
            set.insert(id(row));
        return set;
    }
    // An id as the views and drag payloads write it.
    static QString idString(const QUuid &id) { return id.toString(QUuid::WithoutBraces).toUpper(); }
    static QStringList texts(const QList<ClipItem> &items)
    {
        QStringList list;
        for (const ClipItem &item : items)
            list.append(item.text.value_or(QString()));
        return list;
    }
    QStringList categoryTexts(const QUuid &category) const
    {
        return texts(store.category(category)->items);
    }
    QStringList categoryNames() const
    {
        QStringList names;
        for (const Category &category : store.categories())
            names.append(category.name);
        return names;
    }

    QTemporaryDir dir;
    Store store{dir.filePath(QStringLiteral("store.json"))};
    OverlayState state;
    std::shared_ptr<TileImageSource> images = std::make_shared<TileImageSource>();
    ClipListModel model;
    GridController grid{store, state, model};
    QStringList picked;
};

// The first item under root (breadth first) with that object name; given an index, the one
// inside that delegate row.
inline QQuickItem *findQuickItem(QQuickItem *root, const QString &name, int index = -1)
{
    QList<QQuickItem *> pending{root};
    while (!pending.isEmpty()) {
        QQuickItem *item = pending.takeFirst();
        if (item->objectName() == name
            && (index < 0 || item->parentItem()->property("index").toInt() == index))
            return item;
        pending.append(item->childItems());
    }
    return nullptr;
}
