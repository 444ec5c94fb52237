#include "IgnoredAppsModel.h"

#include "AppPrefs.h"

IgnoredAppsModel::IgnoredAppsModel(AppPrefs &prefs,
                                   std::shared_ptr<const ApplicationCatalog> catalog,
                                   QObject *parent)
    : QAbstractListModel(parent)
    , m_prefs(prefs)
    , m_catalog(std::move(catalog))
    , m_identifiers(prefs.ignoredApps())
{
    Q_ASSERT(m_catalog);
    connect(&m_prefs, &AppPrefs::ignoredAppsChanged, this, &IgnoredAppsModel::followSettings);
}

void IgnoredAppsModel::setCatalog(std::shared_ptr<const ApplicationCatalog> catalog)
{
    Q_ASSERT(catalog);
    m_catalog = std::move(catalog);
    if (!m_identifiers.isEmpty())
        emit dataChanged(index(0), index(rowCount() - 1), {NameRole, IconRole, InstalledRole});
}

int IgnoredAppsModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant IgnoredAppsModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const QString &identifier = m_identifiers.at(index.row());
    if (role == IdentifierRole)
        return identifier;
    const std::optional<DesktopEntry> entry = m_catalog->find(identifier);
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return entry ? entry->name : identifier;
    case IconRole:
        return entry ? entry->icon : QString();
    case InstalledRole:
        return entry.has_value();
    default:
        return {};
    }
}

QHash<int, QByteArray> IgnoredAppsModel::roleNames() const
{
    return {
        {IdentifierRole, "identifier"},
        {NameRole, "name"},
        {IconRole, "iconName"},
        {InstalledRole, "installed"},
    };
}

void IgnoredAppsModel::remove(const QString &identifier)
{
    m_prefs.removeIgnoredApp(identifier);
}

// The settings change by one append or by removals; each becomes a precise row change, and
// anything else (an edit from outside) a reset.
void IgnoredAppsModel::followSettings()
{
    const QStringList next = m_prefs.ignoredApps();
    if (next == m_identifiers)
        return;
    const int before = count();

    if (next.size() > m_identifiers.size() && next.mid(0, m_identifiers.size()) == m_identifiers) {
        beginInsertRows({}, count(), int(next.size()) - 1);
        m_identifiers = next;
        endInsertRows();
    } else {
        // Walk both lists; rows missing from next are removed in place.
        qsizetype j = 0;
        QList<int> removed;
        for (qsizetype i = 0; i < m_identifiers.size(); ++i) {
            if (j < next.size() && m_identifiers.at(i) == next.at(j))
                ++j;
            else
                removed.append(int(i));
        }
        if (j == next.size()) {
            for (auto it = removed.crbegin(); it != removed.crend(); ++it) {
                beginRemoveRows({}, *it, *it);
                m_identifiers.removeAt(*it);
                endRemoveRows();
            }
        } else {
            beginResetModel();
            m_identifiers = next;
            endResetModel();
        }
    }
    if (count() != before)
        emit countChanged();
}
