#include "GridController.h"

#include "ClipListModel.h"
#include "GridGeometry.h"
#include "OverlayState.h"
#include "model/Store.h"

#include <algorithm>

namespace {

QString idString(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

GridController::GridController(Store &store,
                               OverlayState &state,
                               ClipListModel &model,
                               QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_state(state)
    , m_model(model)
{
    connect(&m_state, &OverlayState::tabChanged, this, [this] {
        m_state.clearSelection();
        if (m_model.count() > 0)
            emit scrollToTopRequested();
    });
    connect(&m_state, &OverlayState::queryChanged, this, [this] { m_state.clearSelection(); });
    connect(&m_state, &OverlayState::selectionAnchorChanged, this, [this] {
        updateCurrentIndex();
        const std::optional<int> anchor = m_state.selectionAnchor();
        if (anchor && *anchor >= 0 && *anchor < m_model.count())
            emit revealRequested(*anchor);
    });
    // The list changes under a fixed anchor as clips arrive and searches narrow it.
    connect(&m_model, &QAbstractItemModel::rowsInserted, this, &GridController::updateCurrentIndex);
    connect(&m_model, &QAbstractItemModel::rowsRemoved, this, &GridController::updateCurrentIndex);
    connect(&m_model, &QAbstractItemModel::modelReset, this, &GridController::updateCurrentIndex);
    updateCurrentIndex();
}

void GridController::setMenuOpen(bool open)
{
    if (m_menuOpen == open)
        return;
    m_menuOpen = open;
    emit menuOpenChanged();
}

int GridController::columnsForWidth(qreal width) const
{
    return GridGeometry::columnsForWidth(width);
}

int GridController::updateColumns(qreal width)
{
    const int columns = GridGeometry::columnsForWidth(width);
    m_state.setGridColumns(columns);
    return columns;
}

qreal GridController::tileWidth(qreal width) const
{
    return GridGeometry::tileWidth(width, GridGeometry::columnsForWidth(width));
}

qreal GridController::contentHeight(qreal width) const
{
    return GridGeometry::contentHeight(m_model.count(), width);
}

qreal GridController::scrollOffsetToReveal(int index,
                                           qreal scrollOffset,
                                           qreal viewportHeight,
                                           qreal width) const
{
    if (index < 0 || index >= m_model.count())
        return -1;
    const std::optional<double> offset
        = GridGeometry::scrollOffsetToReveal(GridGeometry::tileFrame(index, width),
                                             scrollOffset,
                                             viewportHeight,
                                             contentHeight(width));
    return offset.value_or(-1);
}

void GridController::handleTap(int index, int modifiers)
{
    if (index < 0 || index >= m_model.count())
        return;
    const QList<ClipItem> items = m_model.items();
    const auto flags = Qt::KeyboardModifiers::fromInt(modifiers);
    if (flags & Qt::ControlModifier) {
        m_state.toggleSelection(items, index);
    } else if (flags & Qt::ShiftModifier) {
        // An anchor left behind by a list that has since shrunk extends from the click instead.
        if (const auto anchor = m_state.selectionAnchor(); anchor && *anchor >= items.size())
            m_state.setSelectionAnchor(std::nullopt);
        m_state.extendSelection(items, index);
    } else if (onPick) {
        onPick(items.at(index));
    }
}

void GridController::applyMarquee(QPointF start, QPointF current, qreal width)
{
    const QRectF band = QRectF(start, current).normalized();
    QSet<QUuid> selection;
    for (int i = 0; i < m_model.count(); ++i) {
        if (GridGeometry::tileFrame(i, width).intersects(band))
            selection.insert(m_model.itemAt(i).id);
    }
    m_state.setSelection(selection);
}

QList<ClipItem> GridController::targetItems(int index) const
{
    if (index < 0 || index >= m_model.count())
        return {};
    const QSet<QUuid> &selection = m_state.selection();
    const ClipItem &item = m_model.itemAt(index);
    if (selection.size() < 2 || !selection.contains(item.id))
        return {item};
    QList<ClipItem> targets;
    for (int i = 0; i < m_model.count(); ++i) {
        if (selection.contains(m_model.itemAt(i).id))
            targets.append(m_model.itemAt(i));
    }
    return targets;
}

QVariantMap GridController::tileMenu(int index) const
{
    const QList<ClipItem> targets = targetItems(index);
    const bool multiple = targets.size() > 1;
    QStringList targetIds;
    for (const ClipItem &item : targets)
        targetIds.append(idString(item.id));
    QVariantList categories;
    for (const Category &category : m_store.categories())
        categories.append(QVariantMap{{QStringLiteral("id"), idString(category.id)},
                                      {QStringLiteral("name"), category.name}});
    return {{QStringLiteral("multiple"), multiple},
            {QStringLiteral("categoryTitle"),
             multiple ? QStringLiteral("Add Selection to Category")
                      : QStringLiteral("Add to Category")},
            {QStringLiteral("categories"), categories},
            {QStringLiteral("deleteTitle"),
             multiple ? QStringLiteral("Delete Selection") : QStringLiteral("Delete")},
            {QStringLiteral("targets"), targetIds}};
}

QList<ClipItem> GridController::itemsWithIds(const QStringList &ids) const
{
    QList<ClipItem> items;
    for (const QString &id : ids) {
        if (const int row = indexOfId(id); row >= 0)
            items.append(m_model.itemAt(row));
    }
    return items;
}

int GridController::indexOfId(const QString &id) const
{
    const QUuid uuid = QUuid::fromString(id);
    if (uuid.isNull())
        return -1;
    for (int i = 0; i < m_model.count(); ++i) {
        if (m_model.itemAt(i).id == uuid)
            return i;
    }
    return -1;
}

void GridController::updateCurrentIndex()
{
    const int count = m_model.count();
    const int index = count == 0 ? -1
                                 : std::clamp(m_state.selectionAnchor().value_or(0), 0, count - 1);
    if (index == m_currentIndex)
        return;
    m_currentIndex = index;
    emit currentIndexChanged();
}

void GridController::setPageRows(int rows)
{
    rows = std::max(rows, 1);
    if (rows == m_pageRows)
        return;
    m_pageRows = rows;
    emit pageRowsChanged();
}

void GridController::addToCategory(const QStringList &targetIds, const QString &categoryId)
{
    const QUuid category = QUuid::fromString(categoryId);
    const QList<ClipItem> targets = itemsWithIds(targetIds);
    // Each addition goes to the front: adding the last first keeps the list's order.
    for (auto it = targets.crbegin(); it != targets.crend(); ++it)
        m_store.add(*it, category);
}

void GridController::deleteItems(const QStringList &targetIds)
{
    const QList<ClipItem> targets = itemsWithIds(targetIds);
    if (targets.isEmpty())
        return;
    if (m_state.tab().isHistory()) {
        QSet<QUuid> ids;
        for (const ClipItem &item : targets)
            ids.insert(item.id);
        m_store.deleteFromHistory(ids);
    } else {
        for (const ClipItem &item : targets)
            m_store.deleteItem(item.id, m_state.tab().categoryId);
    }
    // The deleted tiles took the selection with them; nothing is left half-selected.
    m_state.clearSelection();
}

QString GridController::dragPayload(int index) const
{
    const QList<ClipItem> targets = targetItems(index);
    if (targets.isEmpty())
        return {};
    if (targets.size() == 1)
        return QStringLiteral("item:") + idString(targets.first().id);
    QStringList ids;
    for (const ClipItem &item : targets)
        ids.append(idString(item.id));
    return QStringLiteral("items:") + ids.join(u',');
}
