#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>

// Writes a whole file, creating its folder first.
inline bool writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

// A whole file; empty when it cannot be read.
inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// An application's desktop entry in applications/ under a data folder.
inline bool writeApplication(const QString &dataDir, const QString &id, const QByteArray &keys)
{
    return writeFile(dataDir + QStringLiteral("/applications/") + id + QStringLiteral(".desktop"),
                     "[Desktop Entry]\nType=Application\n" + keys);
}
