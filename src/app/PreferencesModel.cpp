#include "PreferencesModel.h"

#include "model/Store.h"

namespace {

QString items(qsizetype count)
{
    return QString::number(count)
           + (count == 1 ? QStringLiteral(" item") : QStringLiteral(" items"));
}

} // namespace

QString PreferencesModel::historyCountText(qsizetype count)
{
    return items(count) + QStringLiteral(" stored");
}

QString PreferencesModel::eraseHistoryInformativeText(qsizetype count)
{
    return QStringLiteral("All ") + items(count)
           + QStringLiteral(" in History will be removed. Saved categories are kept. This can't be "
                            "undone.");
}

PreferencesModel::PreferencesModel(Store &store, QObject *parent)
    : QObject(parent)
    , m_store(store)
{
    connect(&m_store, &Store::historyChanged, this, &PreferencesModel::historyChanged);
}

int PreferencesModel::historyCount() const
{
    return int(m_store.history().size());
}

void PreferencesModel::eraseHistory()
{
    m_store.eraseHistory();
}

void PreferencesModel::setTrayAvailable(bool available)
{
    if (available == m_trayAvailable)
        return;
    m_trayAvailable = available;
    emit trayAvailableChanged();
}
