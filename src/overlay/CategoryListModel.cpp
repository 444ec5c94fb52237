#include "CategoryListModel.h"

#include "KeyboardShortcuts/Modifiers.h"
#include "model/Store.h"

#include <QHash>
#include <QSet>

#include <algorithm>

namespace {

QString idString(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

CategoryListModel::CategoryListModel(Store &store, QObject *parent)
    : QAbstractListModel(parent)
    , m_store(store)
{
    for (const Category &category : m_store.categories())
        m_rows.append({category.id, category.name});
    connect(&m_store, &Store::categoriesChanged, this, &CategoryListModel::follow);
}

int CategoryListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QHash<int, QByteArray> CategoryListModel::roleNames() const
{
    return {{IdRole, "categoryId"}, {NameRole, "name"}, {SlotRole, "slot"}, {HintRole, "hint"}};
}

QVariant CategoryListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row &row = m_rows.at(index.row());
    const int slot = index.row() + kHistorySlot + 1;
    switch (role) {
    case IdRole:
        return idString(row.id);
    case NameRole:
        return row.name;
    case SlotRole:
        return slot;
    case HintRole:
        return hint(slot);
    default:
        return {};
    }
}

QString CategoryListModel::hint(int slot)
{
    if (slot < kHistorySlot || slot > kLastSlotWithKey)
        return {};
    // Ctrl stands for the command key inside the overlay; named as the shortcut module does.
    using KeyboardShortcuts::ModifierFlag;
    return KeyboardShortcuts::modifierNames(ModifierFlag::control).constFirst() + u'+'
           + QString::number(slot);
}

int CategoryListModel::rowOf(const QString &categoryId) const
{
    const QUuid id = QUuid::fromString(categoryId);
    if (id.isNull())
        return -1;
    for (int i = 0; i < m_rows.size(); ++i) {
        if (m_rows.at(i).id == id)
            return i;
    }
    return -1;
}

bool CategoryListModel::contains(const QUuid &id) const
{
    return std::any_of(m_rows.cbegin(), m_rows.cend(), [&](const Row &row) { return row.id == id; });
}

void CategoryListModel::follow()
{
    const QList<Category> &next = m_store.categories();
    const int before = count();
    QHash<QUuid, int> oldRow;
    for (int i = 0; i < m_rows.size(); ++i)
        oldRow.insert(m_rows.at(i).id, i);
    QSet<QUuid> wanted;
    for (const Category &category : next)
        wanted.insert(category.id);

    for (int i = int(m_rows.size()) - 1; i >= 0; --i) {
        if (wanted.contains(m_rows.at(i).id))
            continue;
        beginRemoveRows({}, i, i);
        m_rows.removeAt(i);
        endRemoveRows();
    }

    // Walk the new order: a row already present further down moves up into place, a new one
    // is inserted. What is left below the walk is then in order too.
    for (int i = 0; i < next.size(); ++i) {
        const Category &category = next.at(i);
        if (i < m_rows.size() && m_rows.at(i).id == category.id)
            continue;
        int from = -1;
        for (int j = i + 1; j < m_rows.size(); ++j) {
            if (m_rows.at(j).id == category.id) {
                from = j;
                break;
            }
        }
        if (from >= 0) {
            beginMoveRows({}, from, from, {}, i);
            m_rows.move(from, i);
            endMoveRows();
        } else {
            beginInsertRows({}, i, i);
            m_rows.insert(i, {category.id, category.name});
            endInsertRows();
        }
    }
    Q_ASSERT(m_rows.size() == next.size());

    // Names that changed, and rows that stand at another place now: their slot and hint moved.
    for (int i = 0; i < m_rows.size(); ++i) {
        QList<int> roles;
        Row &row = m_rows[i];
        if (row.name != next.at(i).name) {
            row.name = next.at(i).name;
            roles.append(NameRole);
        }
        const auto old = oldRow.constFind(row.id);
        if (old != oldRow.cend() && *old != i)
            roles.append({SlotRole, HintRole});
        if (!roles.isEmpty())
            emit dataChanged(index(i), index(i), roles);
    }
    if (count() != before)
        emit countChanged();
}
