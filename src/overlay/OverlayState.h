#pragma once

#include "model/ClipItem.h"
#include "model/Tab.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QUuid>

#include <optional>

class Store;

// What every view of the overlay shares: the list shown, the query, the selection and the
// show/hide progress. Setters return early when nothing changes, so each signal is a change.
class OverlayState : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY queryChanged)
    Q_PROPERTY(
        bool searchFocused READ searchFocused WRITE setSearchFocused NOTIFY searchFocusedChanged)
    Q_PROPERTY(double appearance READ appearance WRITE setAppearance NOTIFY appearanceChanged)
    Q_PROPERTY(int gridColumns READ gridColumns WRITE setGridColumns NOTIFY gridColumnsChanged)
    Q_PROPERTY(bool isRenaming READ isRenaming WRITE setIsRenaming NOTIFY isRenamingChanged)

public:
    explicit OverlayState(QObject *parent = nullptr);

    Tab tab() const { return m_tab; }
    void setTab(const Tab &tab);
    QString query() const { return m_query; }
    void setQuery(const QString &query);
    bool searchFocused() const { return m_searchFocused; }
    void setSearchFocused(bool focused);
    double appearance() const { return m_appearance; }
    void setAppearance(double appearance);
    int gridColumns() const { return m_gridColumns; }
    void setGridColumns(int columns);
    std::optional<QUuid> pendingRenameID() const { return m_pendingRenameID; }
    void setPendingRenameID(const std::optional<QUuid> &id);
    bool isRenaming() const { return m_isRenaming; }
    void setIsRenaming(bool renaming);
    const QSet<QUuid> &selection() const { return m_selection; }
    void setSelection(const QSet<QUuid> &selection);
    std::optional<int> selectionAnchor() const { return m_selectionAnchor; }
    void setSelectionAnchor(std::optional<int> anchor);

    // Toggle (Ctrl-click): the item leaves or joins the selection; the anchor moves to it.
    void toggleSelection(const QList<ClipItem> &items, int index);
    // Range (Shift-click): the items from the anchor to index replace the selection, and the
    // anchor moves to index. index must be inside items.
    void extendSelection(const QList<ClipItem> &items, int index);
    // A plain selection of one item, anchored there.
    void selectOnly(const QList<ClipItem> &items, int index);
    void clearSelection();

    // Each time the overlay opens: tab, query, renaming, pending rename, selection, anchor and
    // appearance go back to their initial values, in that order.
    void resetForShow();

signals:
    void tabChanged();
    void queryChanged();
    void searchFocusedChanged();
    void appearanceChanged();
    void gridColumnsChanged();
    void pendingRenameIDChanged();
    void isRenamingChanged();
    void selectionChanged();
    void selectionAnchorChanged();

private:
    Tab m_tab;
    QString m_query;
    bool m_searchFocused = false;
    double m_appearance = 0.0;
    int m_gridColumns = 5;
    std::optional<QUuid> m_pendingRenameID;
    bool m_isRenaming = false;
    QSet<QUuid> m_selection;
    std::optional<int> m_selectionAnchor;
};

// The list the grid shows: the tab's base list, filtered by the trimmed, lower-cased query as a
// plain substring of an item's text or recognised text. Computed afresh on every call.
QList<ClipItem> itemsForCurrentTab(const OverlayState &state, const Store &store);
// The search alone: the items whose text or recognised text contains the query, in their order.
QList<ClipItem> matchingItems(const QList<ClipItem> &items, const QString &query);
