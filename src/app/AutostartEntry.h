#pragma once

#include <QObject>
#include <QString>

// "Launch at login": an autostart desktop entry, cliphaven.desktop in the user's autostart
// folder, which desktops following the XDG autostart rules start at login. The entry starts
// the installed program by its name, found on the PATH at login: a path into a build folder or
// an old install would outlive what it points to.
class AutostartEntry : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool enabled READ isEnabled WRITE setEnabled NOTIFY enabledChanged)
    Q_PROPERTY(bool programInstalled READ isProgramInstalled CONSTANT)

public:
    // $XDG_CONFIG_HOME/autostart, or ~/.config/autostart.
    static QString defaultAutostartDir();
    // The Exec value that starts program, quoted as desktop entries require.
    static QString execValue(const QString &program);

    static inline const QString kProgramName = QStringLiteral("cliphaven");

    // program is what the entry starts: the installed program's name unless a test says.
    explicit AutostartEntry(QString autostartDir = defaultAutostartDir(),
                            QString program = kProgramName,
                            QObject *parent = nullptr);

    QString filePath() const;
    // Whether the program the entry starts is on the PATH now (a run from a build folder may
    // have none installed).
    bool isProgramInstalled() const;
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
