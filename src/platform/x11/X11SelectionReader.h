#pragma once

#include "model/ClipItem.h"

#include <QByteArray>

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
// transfer, has a deadline; when one passes, the owner is taken as unresponsive and the read
// gives up with nothing. A read is abandoned as soon as the selection changes again or a newer
// read is requested.
class X11SelectionReader
{
public:
    // Called on the reader's thread; they must only hand the news over to another thread.
    struct Callbacks
    {
        std::function<void()> changed;
        std::function<void(quint64 readId, Flavors flavors)> finished;
    };

    static constexpr std::chrono::milliseconds kDefaultRequestTimeout{2000};
    // A flavor larger than this is left out rather than held in memory.
    static constexpr qsizetype kMaxFlavorBytes = qsizetype(512) * 1024 * 1024;

    // displayName empty: the DISPLAY of the environment. Without a display the change count
    // stays 0 and every read finishes with nothing.
    X11SelectionReader(const QByteArray &displayName,
                       std::chrono::milliseconds requestTimeout,
                       Callbacks callbacks);
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
