#pragma once

#include <QObject>
#include <QString>

// "Launch at login": an autostart desktop entry, cliphaven.desktop in the user's autostart
// folder, which desktops following the XDG autostart rules start at login.
class AutostartEntry : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool enabled READ isEnabled WRITE setEnabled NOTIFY enabledChanged)

public:
    // $XDG_CONFIG_HOME/autostart, or ~/.config/autostart.
    static QString defaultAutostartDir();
    // The Exec value that starts program, quoted as desktop entries require.
    static QString execValue(const QString &program);

    // program is what the entry starts: normally this executable's own path.
    explicit AutostartEntry(QString autostartDir = defaultAutostartDir(),
                            QString program = {},
                            QObject *parent = nullptr);

    QString filePath() const;
    // Whether the file exists and is not switched off (Hidden=true or
    // X-GNOME-Autostart-enabled=false, as desktop settings tools write).
    bool isEnabled() const;
    // Writes or removes the file; false (and no change signal) when that failed.
    bool setEnabled(bool enabled);

signals:
    void enabledChanged();

private:
    QString m_dir;
    QString m_program;
};
