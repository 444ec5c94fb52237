#pragma once

#include "ApplicationCatalog.h"

#include <QAbstractListModel>

#include <memory>

class AppPrefs;
class OpenWindows;

// The applications the ignore-list chooser offers: first those with windows open now (by their
// exact window class), then the installed ones, leaving out what is ignored already.
class ApplicationChooserModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(QString filterText READ filterText WRITE setFilterText NOTIFY filterTextChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        IdentifierRole = Qt::UserRole + 1,
        NameRole,
        IconRole,
        RunningRole,
        SectionRole,
    };
    struct Choice
    {
        QString identifier;
        QString name;
        QString icon;
        bool running = false;
    };

    static inline const QString kRunningSection = QStringLiteral("Open windows");
    static inline const QString kInstalledSection = QStringLiteral("Installed applications");
    // The class of Cliphaven's own windows, and what its desktop entry matches.
    static inline const QString kOwnWindowClass = QStringLiteral("Cliphaven");

    // windows may be null (no desktop to ask).
    ApplicationChooserModel(AppPrefs &prefs,
                            std::shared_ptr<const ApplicationCatalog> catalog,
                            const OpenWindows *windows,
                            QObject *parent = nullptr);

    // Reads the open windows again and rebuilds the list, as when the chooser opens.
    void refresh(std::shared_ptr<const ApplicationCatalog> catalog);
    Q_INVOKABLE void refresh();

    QString filterText() const { return m_filterText; }
    void setFilterText(const QString &text);

    // The offered choices before filtering.
    QList<Choice> choices() const { return m_choices; }
    int count() const { return int(m_visible.size()); }
    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Adds the identifier to the ignore list (once).
    Q_INVOKABLE void choose(const QString &identifier);

signals:
    void filterTextChanged();
    void countChanged();

private:
    void rebuild();
    void applyFilter();

    AppPrefs &m_prefs;
    std::shared_ptr<const ApplicationCatalog> m_catalog;
    const OpenWindows *m_windows;
    QStringList m_windowClasses;
    QList<Choice> m_choices;
    QList<qsizetype> m_visible;
    QString m_filterText;
};
