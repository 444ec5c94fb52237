#include "AutostartEntry.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>

namespace {

const QString kFileName = QStringLiteral("cliphaven.desktop");

} // namespace

QString AutostartEntry::defaultAutostartDir()
{
    const QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    const QString base = QDir::isAbsolutePath(config)
                             ? config
                             : QDir::homePath() + QStringLiteral("/.config");
    return QDir::cleanPath(base + QStringLiteral("/autostart"));
}

QString AutostartEntry::execValue(const QString &program)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    QString argument = program;
    argument.replace(u'%', QStringLiteral("%%"));
    if (std::any_of(argument.begin(), argument.end(), [](QChar c) {
            return reserved.contains(c);
        })) {
        QString quoted;
        for (const QChar c : argument) {
            if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
                quoted.append(u'\\');
            quoted.append(c);
        }
        argument = u'"' + quoted + u'"';
    }
    // The value is a desktop entry string too, whose own escape is a backslash.
    argument.replace(u'\\', QStringLiteral("\\\\"));
    return argument;
}

AutostartEntry::AutostartEntry(QString autostartDir, QString program, QObject *parent)
    : QObject(parent)
    , m_dir(std::move(autostartDir))
    , m_program(std::move(program))
{}

bool AutostartEntry::isProgramInstalled() const
{
    return !QStandardPaths::findExecutable(m_program).isEmpty();
}

QString AutostartEntry::filePath() const
{
    return m_dir + u'/' + kFileName;
}

bool AutostartEntry::isEnabled() const
{
    QFile file(filePath());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    for (const QByteArray &line : file.read(64 * 1024).split('\n')) {
        QByteArray compact = line;
        compact.replace(' ', "").replace('\t', "").replace('\r', "");
        if (compact == "Hidden=true" || compact == "X-GNOME-Autostart-enabled=false")
            return false;
    }
    return true;
}

bool AutostartEntry::setEnabled(bool enabled)
{
    if (enabled == isEnabled())
        return true;
    if (enabled) {
        if (!QDir().mkpath(m_dir))
            return false;
        QSaveFile file(filePath());
        if (!file.open(QIODevice::WriteOnly))
            return false;
        file.write("[Desktop Entry]\n"
                   "Type=Application\n"
                   "Name=Cliphaven\n"
                   "Comment=Clipboard history\n"
                   "Exec="
                   + execValue(m_program).toUtf8()
                   + "\n"
                     "TryExec="
                   + QString(m_program).replace(u'\\', QStringLiteral("\\\\")).toUtf8()
                   + "\n"
                     "Icon=cliphaven\n"
                     "Terminal=false\n"
                     "X-GNOME-Autostart-enabled=true\n");
        if (!file.commit())
            return false;
    } else if (!QFile::remove(filePath())) {
        return false;
    }
    emit enabledChanged();
    return true;
}
