#include "PasteKeystrokesModel.h"

#include "AppPrefs.h"

namespace {

constexpr PasteKeystroke kKeystrokes[] = {PasteKeystroke::controlV,
                                          PasteKeystroke::controlShiftV,
                                          PasteKeystroke::shiftInsert};

int indexOf(PasteKeystroke keystroke)
{
    return int(std::find(std::begin(kKeystrokes), std::end(kKeystrokes), keystroke)
               - std::begin(kKeystrokes));
}

QStringList identifiersOf(const QList<PasteKeystrokeRules::Override> &rows)
{
    QStringList identifiers;
    for (const PasteKeystrokeRules::Override &row : rows)
        identifiers.append(row.identifier);
    return identifiers;
}

} // namespace

PasteKeystrokesModel::PasteKeystrokesModel(AppPrefs &prefs,
                                           std::shared_ptr<const ApplicationCatalog> catalog,
                                           QObject *parent)
    : QAbstractListModel(parent)
    , m_prefs(prefs)
    , m_catalog(std::move(catalog))
    , m_rows(prefs.pasteKeystrokeOverrides())
{
    Q_ASSERT(m_catalog);
    connect(&m_prefs,
            &AppPrefs::pasteKeystrokesChanged,
            this,
            &PasteKeystrokesModel::followSettings);
}

void PasteKeystrokesModel::setCatalog(std::shared_ptr<const ApplicationCatalog> catalog)
{
    Q_ASSERT(catalog);
    m_catalog = std::move(catalog);
    if (!m_rows.isEmpty())
        emit dataChanged(index(0), index(rowCount() - 1), {NameRole, IconRole, InstalledRole});
}

QStringList PasteKeystrokesModel::keystrokeNames()
{
    QStringList names;
    for (const PasteKeystroke keystroke : kKeystrokes)
        names.append(PasteKeystrokeRules::displayName(keystroke));
    return names;
}

int PasteKeystrokesModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant PasteKeystrokesModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const PasteKeystrokeRules::Override &row = m_rows.at(index.row());
    if (role == IdentifierRole)
        return row.identifier;
    if (role == KeystrokeRole)
        return indexOf(row.keystroke);
    const std::optional<DesktopEntry> entry = m_catalog->find(row.identifier);
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return entry ? entry->name : row.identifier;
    case IconRole:
        return entry ? entry->icon : QString();
    case InstalledRole:
        return entry.has_value();
    default:
        return {};
    }
}

QHash<int, QByteArray> PasteKeystrokesModel::roleNames() const
{
    return {
        {IdentifierRole, "identifier"},
        {NameRole, "name"},
        {IconRole, "iconName"},
        {InstalledRole, "installed"},
        {KeystrokeRole, "keystroke"},
    };
}

void PasteKeystrokesModel::add(const QString &identifier)
{
    if (identifier.trimmed().isEmpty()
        || identifiersOf(m_rows).contains(identifier.trimmed(), Qt::CaseInsensitive)) {
        return;
    }
    m_prefs.setPasteKeystroke(identifier, PasteKeystrokeRules::keystrokeFor({identifier}, {}));
}

void PasteKeystrokesModel::setKeystroke(const QString &identifier, int keystroke)
{
    if (keystroke < 0 || keystroke >= int(std::size(kKeystrokes)))
        return;
    // Replacing keeps the row where it is.
    QList<PasteKeystrokeRules::Override> rows = m_rows;
    for (PasteKeystrokeRules::Override &row : rows) {
        if (row.identifier.compare(identifier, Qt::CaseInsensitive) == 0)
            row.keystroke = kKeystrokes[keystroke];
    }
    m_prefs.setPasteKeystrokes(PasteKeystrokeRules::encode(rows));
}

void PasteKeystrokesModel::remove(const QString &identifier)
{
    m_prefs.removePasteKeystroke(identifier);
}

void PasteKeystrokesModel::followSettings()
{
    const QList<PasteKeystrokeRules::Override> next = m_prefs.pasteKeystrokeOverrides();
    if (next == m_rows)
        return;
    const int before = count();
    const QStringList was = identifiersOf(m_rows);
    const QStringList now = identifiersOf(next);
    if (was == now) {
        for (int i = 0; i < count(); ++i) {
            if (m_rows.at(i) != next.at(i)) {
                m_rows[i] = next.at(i);
                emit dataChanged(index(i), index(i), {KeystrokeRole});
            }
        }
    } else if (now.size() == was.size() + 1 && now.mid(0, was.size()) == was) {
        beginInsertRows({}, count(), count());
        m_rows = next;
        endInsertRows();
    } else if (now.size() + 1 == was.size()) {
        qsizetype gone = 0;
        while (gone < now.size() && was.at(gone) == now.at(gone))
            ++gone;
        if (was.mid(gone + 1) == now.mid(gone)) {
            beginRemoveRows({}, int(gone), int(gone));
            m_rows = next;
            endRemoveRows();
        } else {
            beginResetModel();
            m_rows = next;
            endResetModel();
        }
    } else {
        beginResetModel();
        m_rows = next;
        endResetModel();
    }
    if (count() != before)
        emit countChanged();
}
