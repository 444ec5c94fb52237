#pragma once

#include "model/ClipItem.h"

#include <QByteArray>
#include <QString>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

// Watches and reads the CLIPBOARD selection on a thread of its own, over an X connection of
// its own, so that no clipboard owner, however slow or dead, can stall the caller.
//
// The change count rises with every XFixes selection-owner event for CLIPBOARD. A read asks
// the owner for TARGETS, then for every real target (pseudo-targets such as MULTIPLE are not
// flavors), following INCR transfers for large data. Each request, and each chunk of an INCR
// transfer, has a deadline: a target that misses it is left out and the rest is read; when
// TARGETS itself misses it, the read gives up with nothing. Of several image encodings only
// the best one that arrives is kept (PNG, then TIFF, then the others). A read is abandoned as
// soon as the selection changes again or a newer read is requested.
//
// It also holds the clipboard-manager role (CLIPBOARD_MANAGER, when no other program holds it):
// a program that quits asks it to save the clipboard (SAVE_TARGETS) and waits for the answer.
// The answer comes once the newest change has been read (or after a second, when it is not
// read at all); the content itself is put back by whoever handles ownerGone.
class X11SelectionReader
{
public:
    // Called on the reader's thread; they must only hand the news over to another thread.
    struct Callbacks
    {
        std::function<void()> changed;
        // owner names the program that owned the selection (see ownerProgram), empty when none.
        std::function<void(quint64 readId, Flavors flavors, QString owner)> finished;
        // The owner's window or connection went away, taking the content seen under the change
        // count lostChange with it.
        std::function<void(qint64 lostChange)> ownerGone;
    };

    static constexpr std::chrono::milliseconds kDefaultRequestTimeout{2000};
    // A flavor larger than this is left out rather than held in memory.
    static constexpr qsizetype kMaxFlavorBytes = qsizetype(512) * 1024 * 1024;

    // displayName empty: the DISPLAY of the environment. Without a display the change count
    // stays 0 and every read finishes with nothing. selection names the selection watched and
    // read; only the CLIPBOARD reader takes the clipboard-manager role.
    X11SelectionReader(const QByteArray &displayName,
                       std::chrono::milliseconds requestTimeout,
                       Callbacks callbacks,
                       const QByteArray &selection = QByteArrayLiteral("CLIPBOARD"));
    ~X11SelectionReader();

    bool isConnected() const;
    qint64 changeCount() const;

    // Starts reading for the change seen as changeCount, replacing any read not yet finished.
    void requestRead(quint64 readId, qint64 changeCount);
    // Abandons the read in progress; its finished callback is not called.
    void cancel();

private:
    class Worker;
    std::unique_ptr<Worker> m_worker;
};
