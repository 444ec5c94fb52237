#pragma once

#include "ApplicationCatalog.h"

#include <QAbstractListModel>

#include <memory>

class AppPrefs;

// The ignore list as rows: each identifier with the installed application it names, or just
// the identifier when that application is not installed. Follows the settings live.
class IgnoredAppsModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        IdentifierRole = Qt::UserRole + 1,
        NameRole,
        IconRole,
        InstalledRole,
    };

    IgnoredAppsModel(AppPrefs &prefs,
                     std::shared_ptr<const ApplicationCatalog> catalog,
                     QObject *parent = nullptr);

    // Looks every row up again, after applications were installed or removed.
    void setCatalog(std::shared_ptr<const ApplicationCatalog> catalog);

    int count() const { return int(m_identifiers.size()); }
    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    Q_INVOKABLE void remove(const QString &identifier);

signals:
    void countChanged();

private:
    void followSettings();

    AppPrefs &m_prefs;
    std::shared_ptr<const ApplicationCatalog> m_catalog;
    QStringList m_identifiers;
};
