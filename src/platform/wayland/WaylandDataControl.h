#pragma once

#include "model/ClipItem.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>

// The seat's clipboard through the compositor's data-control protocol (ext_data_control_v1
// where offered, else zwlr_data_control_manager_v1), on a connection and a thread of its own,
// so that no other program, however slow or dead, can stall the caller.
//
// The change count rises with every new selection the compositor announces (Cliphaven's own
// included); the selection present at start is not a change. A read receives every offered MIME
// type through a pipe of its own, all at once; a type that sends nothing for the deadline, takes
// more than ten deadlines in all, or fails, is left out and the others are kept. A read is abandoned as soon as the selection
// changes again or a newer read is requested. A write offers every flavor and serves each
// request from memory until another client takes the selection. The primary selection is not
// watched.
class WaylandDataControl
{
public:
    // Called on the worker thread; they must only hand the news over to another thread.
    struct Callbacks
    {
        std::function<void()> changed;
        std::function<void(quint64 readId, Flavors flavors)> finished;
        // The compositor closed the connection or stopped answering; called once.
        std::function<void()> lost;
    };

    static constexpr std::chrono::milliseconds kDefaultTypeTimeout{2000};
    // A flavor larger than this is left out rather than held in memory.
    static constexpr qsizetype kMaxFlavorBytes = qsizetype(512) * 1024 * 1024;

    // socket empty: WAYLAND_DISPLAY of the environment. Connects and binds before returning
    // (waiting at most setupTimeout); without a compositor or a data-control protocol the change
    // count stays 0, reads finish with nothing and writes are dropped.
    WaylandDataControl(const QByteArray &socket,
                       std::chrono::milliseconds typeTimeout,
                       Callbacks callbacks,
                       std::chrono::milliseconds setupTimeout = std::chrono::seconds(2));
    ~WaylandDataControl();

    // Whether the compositor answered and offers a data-control protocol.
    bool isActive() const;
    // The data-control global in use ("ext_data_control_manager_v1", ...), empty when none.
    QString protocolName() const;
    qint64 changeCount() const;

    // Starts reading the selection seen as changeCount, replacing any read not yet finished.
    void requestRead(quint64 readId, qint64 changeCount);
    // Abandons the read in progress; its finished callback is not called.
    void cancel();
    // Makes Cliphaven the owner of the selection with these flavors; none clears it.
    void write(const Flavors &flavors);

private:
    class Worker;
    std::unique_ptr<Worker> m_worker;
};
