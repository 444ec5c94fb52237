#pragma once

#include "ApplicationCatalog.h"
#include "model/PasteKeystrokeRules.h"

#include <QAbstractListModel>

#include <memory>

class AppPrefs;

// The user's paste keystroke per program as rows: the program (named by its installed
// application when there is one) and the keystroke, as an index into keystrokeNames. Follows
// the settings live; every edit is written at once.
class PasteKeystrokesModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    Q_PROPERTY(QStringList keystrokeNames READ keystrokeNames CONSTANT)

public:
    enum Role {
        IdentifierRole = Qt::UserRole + 1,
        NameRole,
        IconRole,
        InstalledRole,
        KeystrokeRole,
    };

    PasteKeystrokesModel(AppPrefs &prefs,
                         std::shared_ptr<const ApplicationCatalog> catalog,
                         QObject *parent = nullptr);

    void setCatalog(std::shared_ptr<const ApplicationCatalog> catalog);

    // "Ctrl+V", "Ctrl+Shift+V", "Shift+Insert", in the order of the keystroke role.
    static QStringList keystrokeNames();

    int count() const { return int(m_rows.size()); }
    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Adds a program with the keystroke it gets now (its built-in rule, else Ctrl+V), so that
    // adding alone changes nothing until another keystroke is picked. A program already listed
    // keeps its choice.
    Q_INVOKABLE void add(const QString &identifier);
    Q_INVOKABLE void setKeystroke(const QString &identifier, int keystroke);
    Q_INVOKABLE void remove(const QString &identifier);

signals:
    void countChanged();

private:
    void followSettings();

    AppPrefs &m_prefs;
    std::shared_ptr<const ApplicationCatalog> m_catalog;
    QList<PasteKeystrokeRules::Override> m_rows;
};
