#pragma once

#include <QObject>
#include <QString>

#include <functional>

// What Preferences tells the user about the desktop session: its name for the about line, and
// the services it lacks, each with what to do instead.
class SessionInfo : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString aboutLine READ aboutLine CONSTANT)
    Q_PROPERTY(bool globalShortcutAvailable READ globalShortcutAvailable CONSTANT)
    Q_PROPERTY(bool capturesClipboard READ capturesClipboard CONSTANT)
    Q_PROPERTY(bool ignoreListApplies READ ignoreListApplies CONSTANT)
    Q_PROPERTY(QString toggleCommand READ toggleCommand CONSTANT)

public:
    struct Facts
    {
        // "X11", "Wayland, clipboard through zwlr_data_control_manager_v1", ...
        QString description;
        bool globalShortcutAvailable = true;
        bool capturesClipboard = true;
        bool ignoreListApplies = true;
    };

    // copyText puts a plain string on the clipboard.
    SessionInfo(Facts facts,
                std::function<void(const QString &)> copyText,
                QObject *parent = nullptr);

    QString aboutLine() const;
    bool globalShortcutAvailable() const { return m_facts.globalShortcutAvailable; }
    bool capturesClipboard() const { return m_facts.capturesClipboard; }
    bool ignoreListApplies() const { return m_facts.ignoreListApplies; }
    // What a desktop's keyboard settings bind to open the overlay.
    static QString toggleCommand() { return QStringLiteral("cliphaven --toggle"); }

    Q_INVOKABLE void copyToggleCommand();

private:
    Facts m_facts;
    std::function<void(const QString &)> m_copyText;
};
