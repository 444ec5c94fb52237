#include "OverlayState.h"

#include "model/Store.h"

OverlayState::OverlayState(QObject *parent)
    : QObject(parent)
{}

void OverlayState::setTab(const Tab &tab)
{
    if (m_tab == tab)
        return;
    m_tab = tab;
    emit tabChanged();
}

void OverlayState::setQuery(const QString &query)
{
    if (m_query == query)
        return;
    m_query = query;
    emit queryChanged();
}

void OverlayState::setSearchFocused(bool focused)
{
    if (m_searchFocused == focused)
        return;
    m_searchFocused = focused;
    emit searchFocusedChanged();
}

void OverlayState::setAppearance(double appearance)
{
    if (m_appearance == appearance)
        return;
    m_appearance = appearance;
    emit appearanceChanged();
}

void OverlayState::setGridColumns(int columns)
{
    if (m_gridColumns == columns)
        return;
    m_gridColumns = columns;
    emit gridColumnsChanged();
}

void OverlayState::setPendingRenameID(const std::optional<QUuid> &id)
{
    if (m_pendingRenameID == id)
        return;
    m_pendingRenameID = id;
    emit pendingRenameIDChanged();
}

void OverlayState::setIsRenaming(bool renaming)
{
    if (m_isRenaming == renaming)
        return;
    m_isRenaming = renaming;
    emit isRenamingChanged();
}

void OverlayState::setSelection(const QSet<QUuid> &selection)
{
    if (m_selection == selection)
        return;
    m_selection = selection;
    emit selectionChanged();
}

void OverlayState::setSelectionAnchor(std::optional<int> anchor)
{
    if (m_selectionAnchor == anchor)
        return;
    m_selectionAnchor = anchor;
    emit selectionAnchorChanged();
}

void OverlayState::toggleSelection(const QList<ClipItem> &items, int index)
{
    Q_ASSERT(index >= 0 && index < items.size());
    QSet<QUuid> selection = m_selection;
    const QUuid id = items.at(index).id;
    if (!selection.remove(id))
        selection.insert(id);
    setSelection(selection);
    setSelectionAnchor(index);
}

void OverlayState::extendSelection(const QList<ClipItem> &items, int index)
{
    const int anchor = m_selectionAnchor.value_or(index);
    if (index < 0 || index >= items.size() || anchor < 0 || anchor >= items.size())
        qFatal("selection range %d..%d outside a list of %lld items",
               anchor,
               index,
               static_cast<long long>(items.size()));
    QSet<QUuid> selection;
    for (int i = std::min(index, anchor); i <= std::max(index, anchor); ++i)
        selection.insert(items.at(i).id);
    setSelection(selection);
    setSelectionAnchor(index);
}

void OverlayState::selectOnly(const QList<ClipItem> &items, int index)
{
    Q_ASSERT(index >= 0 && index < items.size());
    setSelection({items.at(index).id});
    setSelectionAnchor(index);
}

void OverlayState::clearSelection()
{
    setSelection({});
    setSelectionAnchor(std::nullopt);
}

void OverlayState::resetForShow()
{
    setTab(Tab::history());
    setQuery(QString());
    setIsRenaming(false);
    setPendingRenameID(std::nullopt);
    setSelection({});
    setSelectionAnchor(std::nullopt);
    setAppearance(0.0);
}

QList<ClipItem> itemsForCurrentTab(const OverlayState &state, const Store &store)
{
    QList<ClipItem> base;
    if (state.tab().isHistory()) {
        base = store.history();
    } else if (const Category *category = store.category(state.tab().categoryId)) {
        base = category->items;
    }

    return matchingItems(base, state.query());
}

QList<ClipItem> matchingItems(const QList<ClipItem> &items, const QString &query)
{
    const QString needle = query.trimmed().toLower();
    if (needle.isEmpty())
        return items;
    QList<ClipItem> matches;
    for (const ClipItem &item : items) {
        const bool inText = item.text && item.text->toLower().contains(needle);
        if (inText || (item.ocrText && item.ocrText->toLower().contains(needle)))
            matches.append(item);
    }
    return matches;
}
