#pragma once

#include "platform/Pasteboard.h"

#include <atomic>
#include <chrono>
#include <memory>

class WaylandDataControl;

// The Wayland seat's clipboard through the compositor's data-control protocol. Watching,
// reading and serving run on a thread and a connection of their own (WaylandDataControl);
// Qt's own clipboard is never involved.
class WaylandPasteboard : public Pasteboard
{
    Q_OBJECT

public:
    // socket empty: WAYLAND_DISPLAY of the environment. typeTimeout: how long one MIME type
    // may send nothing before it is left out.
    explicit WaylandPasteboard(const QByteArray &socket = {},
                               std::chrono::milliseconds typeTimeout = std::chrono::seconds(2),
                               QObject *parent = nullptr);
    ~WaylandPasteboard() override;

    // Whether the compositor offers a data-control protocol: without one the count never moves
    // and reads find nothing.
    bool isActive() const;
    QString protocolName() const;

    qint64 changeCount() const override;
    void readFirstItem(ReadCompletion completion) override;
    void cancelRead() override;
    void writeFlavors(const Flavors &flavors) override;
    void writeString(const QString &text) override;
    // The primary selection is neither watched nor served here: a Shift+Insert paste on
    // Wayland takes whatever text is selected.
    void writePrimaryString(const QString &) override {}

    // The flavors a write offers: the item's own, and where it has text, the UTF-8 text under
    // the names Wayland and X11 programs ask for.
    static Flavors withTextTypes(const Flavors &flavors);

signals:
    // The compositor went away; nothing more can be read or written.
    void compositorLost();

private:
    void finishRead(quint64 readId, Flavors flavors);

    ReadCompletion m_completion;
    quint64 m_readId = 0;
    quint64 m_lastReadId = 0;
    std::atomic<bool> m_changePosted{false};
    std::unique_ptr<WaylandDataControl> m_control;
};
