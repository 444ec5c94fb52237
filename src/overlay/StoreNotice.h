#pragma once

#include <QObject>
#include <QtQml/qqml.h>

class Store;

// What the overlay must tell the user about the history file: that it cannot be saved (until a
// save succeeds again), or, once after a start, that a damaged file was only partly read and
// where the original was kept. A failure to save comes first while both apply.
class StoreNotice : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the overlay window for its store.")
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(bool dismissible READ dismissible NOTIFY changed)

public:
    explicit StoreNotice(Store &store, QObject *parent = nullptr);

    // Empty when there is nothing to say.
    QString text() const;
    // The damaged-file notice goes when the user closes it; a failing save only when it works.
    bool dismissible() const;
    Q_INVOKABLE void dismiss();

    static QString saveFailureText(const QString &reason);
    static QString damagedFileText(int unreadableEntries,
                                   bool wholeFile,
                                   const QString &keptAsidePath);

signals:
    void changed();

private:
    void refresh();

    Store &m_store;
    QString m_text;
    bool m_damagedFileDismissed = false;
};
