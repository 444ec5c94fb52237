#pragma once

#include <QObject>
#include <QString>

class Store;

// What the preferences window shows of the history, and erasing it.
class PreferencesModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int historyCount READ historyCount NOTIFY historyChanged)
    Q_PROPERTY(QString historyCountText READ historyCountText NOTIFY historyChanged)
    Q_PROPERTY(
        QString eraseHistoryInformativeText READ eraseHistoryInformativeText NOTIFY historyChanged)
    Q_PROPERTY(bool canEraseHistory READ canEraseHistory NOTIFY historyChanged)
    Q_PROPERTY(bool trayAvailable READ isTrayAvailable NOTIFY trayAvailableChanged)

public:
    // "N items stored", with "item" for exactly one and "items" otherwise (zero included).
    static QString historyCountText(qsizetype count);
    // The erase confirmation's explanation for count items.
    static QString eraseHistoryInformativeText(qsizetype count);

    explicit PreferencesModel(Store &store, QObject *parent = nullptr);

    int historyCount() const;
    QString historyCountText() const { return historyCountText(historyCount()); }
    QString eraseHistoryInformativeText() const
    {
        return eraseHistoryInformativeText(historyCount());
    }
    bool canEraseHistory() const { return historyCount() > 0; }

    // Empties the history; categories stay as they are.
    Q_INVOKABLE void eraseHistory();

    // Whether the desktop has a system tray to show the icon in (GNOME without an extension
    // and bare window managers have none). Set by the window, which can ask the desktop.
    bool isTrayAvailable() const { return m_trayAvailable; }
    void setTrayAvailable(bool available);

signals:
    void historyChanged();
    void trayAvailableChanged();

private:
    Store &m_store;
    bool m_trayAvailable = true;
};
