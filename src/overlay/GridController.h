#pragma once

#include "model/ClipItem.h"

#include <QObject>
#include <QPointF>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

#include <functional>

class ClipListModel;
class OverlayState;
class Store;

// What the grid does with clicks, rubber bands and its context menu, kept out of QML so the
// rules can be tested on their own. Indexes are rows of the list model, which always holds
// the current list. Positions are in grid space: content coordinates with the padding included.
class GridController : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The overlay window owns the grid controller.")
    Q_PROPERTY(ClipListModel *model READ model CONSTANT)
    Q_PROPERTY(bool menuOpen READ menuOpen WRITE setMenuOpen NOTIFY menuOpenChanged)
    // The tile Return would paste, marked even before any arrow key moved the anchor.
    Q_PROPERTY(int currentIndex READ currentIndex NOTIFY currentIndexChanged)
    // The ids an open context menu acts on, so their tiles are marked while it is open.
    Q_PROPERTY(QStringList menuTargets MEMBER m_menuTargets NOTIFY menuTargetsChanged)
    // Rows the view shows whole: how far Page Up and Page Down go.
    Q_PROPERTY(int pageRows READ pageRows WRITE setPageRows NOTIFY pageRowsChanged)

public:
    GridController(Store &store,
                   OverlayState &state,
                   ClipListModel &model,
                   QObject *parent = nullptr);

    // A plain click on a tile: paste that item.
    std::function<void(const ClipItem &)> onPick;

    ClipListModel *model() const { return &m_model; }
    // True while a context menu is open: it, not the overlay, takes the keys.
    bool menuOpen() const { return m_menuOpen; }
    void setMenuOpen(bool open);

    Q_INVOKABLE int columnsForWidth(qreal width) const;
    // The number of columns for a grid this wide, also written to the state for the arrow keys.
    Q_INVOKABLE int updateColumns(qreal width);
    Q_INVOKABLE qreal tileWidth(qreal width) const;
    // The scroll offset (grid space) that shows the tile comfortably, or -1 when it already is.
    Q_INVOKABLE qreal scrollOffsetToReveal(int index,
                                           qreal scrollOffset,
                                           qreal viewportHeight,
                                           qreal width) const;
    Q_INVOKABLE qreal contentHeight(qreal width) const;

    // Ctrl toggles the tile, Shift selects the range from the anchor, no modifier picks it.
    Q_INVOKABLE void handleTap(int index, int modifiers);
    // The rubber band from start to current selects exactly the tiles it touches.
    Q_INVOKABLE void applyMarquee(QPointF start, QPointF current, qreal width);

    // The items an action on this tile applies to, in list order: the whole selection when it
    // holds two or more ids including this tile, else the tile alone.
    QList<ClipItem> targetItems(int index) const;
    // The context menu's entries: "multiple", "categoryTitle" and "categories" (each with "id"
    // and "name"; none when there are no categories), "deleteTitle", and "targets", the ids of
    // the items it acts on. The list re-sorts under an open menu as clips arrive, so its
    // actions name their items by id, never by row.
    Q_INVOKABLE QVariantMap tileMenu(int index) const;
    // Both act on those of the ids still in the list shown, in the order given.
    Q_INVOKABLE void addToCategory(const QStringList &targetIds, const QString &categoryId);
    Q_INVOKABLE void deleteItems(const QStringList &targetIds);
    // The row of the item with this id in the list shown, or -1.
    Q_INVOKABLE int indexOfId(const QString &id) const;
    // The row Return would paste (the anchor kept inside the list), or -1 for an empty list.
    int currentIndex() const { return m_currentIndex; }
    int pageRows() const { return m_pageRows; }
    void setPageRows(int rows);
    // Asks the view to open this row's context menu, placed at its tile (Menu key, Shift+F10).
    void requestMenu(int index) { emit menuRequested(index); }
    void scrollToTop() { emit scrollToTopRequested(); }
    // "item:<id>" for one item, "items:<id>,<id>,..." for several.
    Q_INVOKABLE QString dragPayload(int index) const;

signals:
    void menuOpenChanged();
    void currentIndexChanged();
    void pageRowsChanged();
    void menuTargetsChanged();
    // The list switched: show its first item at the top.
    void scrollToTopRequested();
    // The anchored tile changed: bring it into view.
    void revealRequested(int index);
    // Open the context menu of this row's tile, placed at the tile.
    void menuRequested(int index);

private:
    Store &m_store;
    OverlayState &m_state;
    QList<ClipItem> itemsWithIds(const QStringList &ids) const;
    void updateCurrentIndex();

    ClipListModel &m_model;
    bool m_menuOpen = false;
    int m_pageRows = 1;
    QStringList m_menuTargets;
    int m_currentIndex = -1;
};
