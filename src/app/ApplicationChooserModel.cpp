#include "ApplicationChooserModel.h"

#include "AppPrefs.h"
#include "OpenWindows.h"

ApplicationChooserModel::ApplicationChooserModel(AppPrefs &prefs,
                                                 std::shared_ptr<const ApplicationCatalog> catalog,
                                                 const OpenWindows *windows,
                                                 QObject *parent)
    : QAbstractListModel(parent)
    , m_prefs(prefs)
    , m_catalog(std::move(catalog))
    , m_windows(windows)
{
    Q_ASSERT(m_catalog);
    connect(&m_prefs, &AppPrefs::ignoredAppsChanged, this, &ApplicationChooserModel::rebuild);
    refresh();
}

void ApplicationChooserModel::refresh(std::shared_ptr<const ApplicationCatalog> catalog)
{
    Q_ASSERT(catalog);
    m_catalog = std::move(catalog);
    refresh();
}

void ApplicationChooserModel::refresh()
{
    m_windowClasses = m_windows ? m_windows->windowClasses() : QStringList();
    rebuild();
}

void ApplicationChooserModel::rebuild()
{
    const QStringList ignored = m_prefs.ignoredApps();
    // Cliphaven never records its own copies anyway, and its Preferences window is open while
    // choosing: it is not offered.
    const auto isIgnored = [&](const QString &identifier) {
        return ignored.contains(identifier, Qt::CaseInsensitive)
               || identifier.compare(kOwnWindowClass, Qt::CaseInsensitive) == 0;
    };

    QList<Choice> running;
    for (const QString &windowClass : std::as_const(m_windowClasses)) {
        if (isIgnored(windowClass))
            continue;
        const std::optional<DesktopEntry> entry = m_catalog->find(windowClass);
        running.append(
            {windowClass, entry ? entry->name : windowClass, entry ? entry->icon : QString(), true});
    }
    std::stable_sort(running.begin(), running.end(), [](const Choice &a, const Choice &b) {
        return a.name.compare(b.name, Qt::CaseInsensitive) < 0;
    });

    QList<Choice> choices = running;
    for (const DesktopEntry &entry : m_catalog->applications()) {
        const QString identifier = entry.identifier();
        if (isIgnored(identifier) || entry.matches(kOwnWindowClass))
            continue;
        const bool open = std::any_of(m_windowClasses.cbegin(),
                                      m_windowClasses.cend(),
                                      [&](const QString &windowClass) {
                                          return entry.matches(windowClass);
                                      });
        if (!open)
            choices.append({identifier, entry.name, entry.icon, false});
    }

    beginResetModel();
    m_choices = choices;
    m_visible.clear();
    endResetModel();
    applyFilter();
}

void ApplicationChooserModel::setFilterText(const QString &text)
{
    if (text == m_filterText)
        return;
    m_filterText = text;
    applyFilter();
    emit filterTextChanged();
}

// A new filter changes the whole list at once; the view starts over.
void ApplicationChooserModel::applyFilter()
{
    const int before = count();
    const QString needle = m_filterText.trimmed();
    beginResetModel();
    m_visible.clear();
    for (qsizetype i = 0; i < m_choices.size(); ++i) {
        const Choice &choice = m_choices.at(i);
        if (needle.isEmpty() || choice.name.contains(needle, Qt::CaseInsensitive)
            || choice.identifier.contains(needle, Qt::CaseInsensitive))
            m_visible.append(i);
    }
    endResetModel();
    if (count() != before)
        emit countChanged();
}

int ApplicationChooserModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant ApplicationChooserModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Choice &choice = m_choices.at(m_visible.at(index.row()));
    switch (role) {
    case IdentifierRole:
        return choice.identifier;
    case Qt::DisplayRole:
    case NameRole:
        return choice.name;
    case IconRole:
        return choice.icon;
    case RunningRole:
        return choice.running;
    case SectionRole:
        return choice.running ? kRunningSection : kInstalledSection;
    default:
        return {};
    }
}

QHash<int, QByteArray> ApplicationChooserModel::roleNames() const
{
    return {
        {IdentifierRole, "identifier"},
        {NameRole, "name"},
        {IconRole, "iconName"},
        {RunningRole, "running"},
        {SectionRole, "section"},
    };
}

void ApplicationChooserModel::choose(const QString &identifier)
{
    if (!identifier.isEmpty())
        m_prefs.addIgnoredApp(identifier);
}
