#include "WaylandPasteboard.h"

#include "WaylandDataControl.h"

namespace {

// The UTF-8 text names, best first: those Wayland programs offer, then X11's (Xwayland and
// items captured on an X11 session).
const QString kUtf8Types[] = {QStringLiteral("text/plain;charset=utf-8"),
                              QStringLiteral("UTF8_STRING")};
const QString kPlainType = QStringLiteral("text/plain");

} // namespace

WaylandPasteboard::WaylandPasteboard(const QByteArray &socket,
                                     std::chrono::milliseconds typeTimeout,
                                     QObject *parent)
    : Pasteboard(parent)
{
    WaylandDataControl::Callbacks callbacks;
    callbacks.changed = [this] {
        // One queued notification at a time is enough: the poll reads the latest count.
        if (m_changePosted.exchange(true))
            return;
        QMetaObject::invokeMethod(
            this,
            [this] {
                m_changePosted = false;
                emit changed();
            },
            Qt::QueuedConnection);
    };
    callbacks.finished = [this](quint64 readId, Flavors flavors) {
        QMetaObject::invokeMethod(
            this,
            [this, readId, flavors = std::move(flavors)]() mutable {
                finishRead(readId, std::move(flavors));
            },
            Qt::QueuedConnection);
    };
    callbacks.lost = [this] {
        QMetaObject::invokeMethod(this, &WaylandPasteboard::compositorLost, Qt::QueuedConnection);
    };
    m_control = std::make_unique<WaylandDataControl>(socket, typeTimeout, callbacks);
}

WaylandPasteboard::~WaylandPasteboard()
{
    // Stops the worker before anything it might call back into goes away.
    m_control.reset();
}

bool WaylandPasteboard::isActive() const
{
    return m_control->isActive();
}

QString WaylandPasteboard::protocolName() const
{
    return m_control->protocolName();
}

qint64 WaylandPasteboard::changeCount() const
{
    return m_control->changeCount();
}

void WaylandPasteboard::readFirstItem(ReadCompletion completion)
{
    m_completion = std::move(completion);
    m_readId = ++m_lastReadId;
    m_control->requestRead(m_readId, m_control->changeCount());
}

void WaylandPasteboard::cancelRead()
{
    if (!m_readId)
        return;
    m_readId = 0;
    m_completion = {};
    m_control->cancel();
}

void WaylandPasteboard::finishRead(quint64 readId, Flavors flavors)
{
    if (readId != m_readId)
        return;
    m_readId = 0;
    if (ReadCompletion completion = std::exchange(m_completion, {}))
        completion(std::move(flavors));
}

Flavors WaylandPasteboard::withTextTypes(const Flavors &flavors)
{
    Flavors offered = flavors;
    for (const QString &type : kUtf8Types) {
        const auto it = flavors.constFind(type);
        if (it == flavors.cend())
            continue;
        for (const QString &name : kUtf8Types)
            offered.insert(name, *it);
        // Wayland programs read "text/plain" as UTF-8; GTK's X11 escaping is not wanted here.
        offered.insert(kPlainType, *it);
        break;
    }
    return offered;
}

void WaylandPasteboard::writeFlavors(const Flavors &flavors)
{
    m_control->write(withTextTypes(flavors));
}

void WaylandPasteboard::writeString(const QString &text)
{
    writeFlavors({{kUtf8Types[0], text.toUtf8()}});
}
