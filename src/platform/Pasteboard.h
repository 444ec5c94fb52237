#pragma once

#include "model/ClipItem.h"

#include <QObject>

#include <functional>

// The system clipboard as capture and paste-back see it: a change count, the flavors of its
// first item, and writing. Main thread only; reading never makes the caller wait for the
// program that owns the clipboard.
class Pasteboard : public QObject
{
    Q_OBJECT

public:
    using ReadCompletion = std::function<void(Flavors)>;

    using QObject::QObject;

    // Rises with every change of the clipboard's owner or content; never falls.
    virtual qint64 changeCount() const = 0;

    // Reads every flavor of the first item in the background. The completion runs later on the
    // main thread with what could be read (empty when nothing could be). Starting a newer read
    // or calling cancelRead() drops the completion of the one in progress.
    virtual void readFirstItem(ReadCompletion completion) = 0;
    virtual void cancelRead() = 0;
    // The program that owned the clipboard for the read that completed last, as an opaque
    // name equal for two copies by the same program; empty when unknown.
    virtual QString lastReadOwner() const { return {}; }
    // Whether what is there now was written by this process.
    virtual bool holdsOwnContent() const { return false; }

    // Replaces the content with one item carrying every flavor; with no flavors the clipboard is
    // left empty. Either way the change count moves by exactly one change.
    virtual void writeFlavors(const Flavors &flavors) = 0;
    // Replaces the content with a plain string.
    virtual void writeString(const QString &text) = 0;
    // Replaces the text selection (PRIMARY on X11), which some terminals paste from, with a
    // plain string. Leaves the clipboard and its change count alone.
    virtual void writePrimaryString(const QString &text) = 0;

signals:
    // The change count moved: a poll now sees the change without waiting for its timer.
    void changed();
    // The program that owned the clipboard went away and the clipboard is empty now; its
    // content was the one seen under the change count lostChange. Comes after changed().
    void ownerGone(qint64 lostChange);
};
