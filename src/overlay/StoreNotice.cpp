#include "StoreNotice.h"

#include "model/Store.h"

#include <QDir>

StoreNotice::StoreNotice(Store &store, QObject *parent)
    : QObject(parent)
    , m_store(store)
{
    connect(&store, &Store::saveFailureChanged, this, &StoreNotice::refresh);
    connect(&store, &Store::loaded, this, &StoreNotice::refresh);
    refresh();
}

QString StoreNotice::text() const
{
    return m_text;
}

bool StoreNotice::dismissible() const
{
    return !m_text.isEmpty() && m_store.saveFailure().isEmpty();
}

void StoreNotice::dismiss()
{
    if (!dismissible())
        return;
    m_damagedFileDismissed = true;
    refresh();
}

QString StoreNotice::saveFailureText(const QString &reason)
{
    return QStringLiteral("History cannot be saved: %1. Nothing is lost while Cliphaven runs; it "
                          "keeps trying.")
        .arg(reason);
}

QString StoreNotice::damagedFileText(int unreadableEntries,
                                     bool wholeFile,
                                     const QString &keptAsidePath)
{
    QString text;
    if (wholeFile)
        text = QStringLiteral("The history file could not be read, so History starts empty.");
    else if (unreadableEntries == 1)
        text = QStringLiteral("1 entry could not be read; everything else was loaded.");
    else if (unreadableEntries > 1)
        text = QStringLiteral("%1 entries could not be read; everything else was loaded.")
                   .arg(unreadableEntries);
    else
        text = QStringLiteral("Part of the history file could not be read; everything else was "
                              "loaded.");
    if (keptAsidePath.isEmpty())
        return text + QStringLiteral(" The original could not be kept aside.");
    // The home folder as "~", as a file manager's address bar shows it.
    QString shown = keptAsidePath;
    const QString home = QDir::homePath();
    if (home.size() > 1 && shown.startsWith(home + u'/'))
        shown = u'~' + shown.mid(home.size());
    return text + QStringLiteral(" The original file is kept as %1.").arg(shown);
}

void StoreNotice::refresh()
{
    QString text;
    if (!m_store.saveFailure().isEmpty()) {
        text = saveFailureText(m_store.saveFailure());
    } else if (!m_damagedFileDismissed && m_store.isLoaded()
               && (m_store.wasUnreadable() || m_store.unreadableEntries() > 0
                   || !m_store.keptAsidePath().isEmpty())) {
        text = damagedFileText(m_store.unreadableEntries(),
                               m_store.wasUnreadable(),
                               m_store.keptAsidePath());
    }
    // Dismissibility follows the failure, so a change of either is a change.
    m_text = text;
    emit changed();
}
