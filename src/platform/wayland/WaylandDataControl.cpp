#include "WaylandDataControl.h"

#include "WaylandConnection.h"
#include "platform/TransferBuffer.h"

#include "ext-data-control-v1-client-protocol.h"
#include "wlr-data-control-unstable-v1-client-protocol.h"

#include <QHash>
#include <QList>

#include <wayland-client.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// A type may take this many deadlines in all, however steadily it sends.
constexpr int kTransferLimit = 10;

// The two data-control protocols have the same requests, events and arguments in the same
// order; the worker speaks to either through this table of their generated calls.
struct DataControlApi
{
    const wl_interface *manager;
    uint32_t version;
    wl_proxy *(*getDevice)(wl_proxy *manager, wl_seat *seat);
    wl_proxy *(*createSource)(wl_proxy *manager);
    void (*setSelection)(wl_proxy *device, wl_proxy *source);
    void (*offer)(wl_proxy *source, const char *mimeType);
    void (*receive)(wl_proxy *offer, const char *mimeType, int fd);
    void (*destroyManager)(wl_proxy *);
    void (*destroyDevice)(wl_proxy *);
    void (*destroySource)(wl_proxy *);
    void (*destroyOffer)(wl_proxy *);
    void (*listenDevice)(wl_proxy *device, void *data);
    void (*listenSource)(wl_proxy *source, void *data);
    void (*listenOffer)(wl_proxy *offer, void *data);
};

// What the worker does with the events, whichever protocol brought them.
struct EventSink
{
    virtual ~EventSink() = default;
    virtual void dataOffer(wl_proxy *offer) = 0;
    virtual void selection(wl_proxy *offer) = 0;
    virtual void primarySelection(wl_proxy *offer) = 0;
    virtual void deviceFinished() = 0;
    virtual void offered(wl_proxy *offer, const char *mimeType) = 0;
    virtual void send(wl_proxy *source, const char *mimeType, int fd) = 0;
    virtual void cancelled(wl_proxy *source) = 0;
};

EventSink *sink(void *data)
{
    return static_cast<EventSink *>(data);
}

#define CLIPHAVEN_DATA_CONTROL_API(P, VERSION) \
    DataControlApi \
    { \
        &P##_manager_v1_interface, VERSION, \
            [](wl_proxy *m, wl_seat *seat) { \
                return reinterpret_cast<wl_proxy *>( \
                    P##_manager_v1_get_data_device(reinterpret_cast<P##_manager_v1 *>(m), seat)); \
            }, \
            [](wl_proxy *m) { \
                return reinterpret_cast<wl_proxy *>( \
                    P##_manager_v1_create_data_source(reinterpret_cast<P##_manager_v1 *>(m))); \
            }, \
            [](wl_proxy *d, wl_proxy *s) { \
                P##_device_v1_set_selection(reinterpret_cast<P##_device_v1 *>(d), \
                                            reinterpret_cast<P##_source_v1 *>(s)); \
            }, \
            [](wl_proxy *s, const char *type) { \
                P##_source_v1_offer(reinterpret_cast<P##_source_v1 *>(s), type); \
            }, \
            [](wl_proxy *o, const char *type, int fd) { \
                P##_offer_v1_receive(reinterpret_cast<P##_offer_v1 *>(o), type, fd); \
            }, \
            [](wl_proxy *m) { P##_manager_v1_destroy(reinterpret_cast<P##_manager_v1 *>(m)); }, \
            [](wl_proxy *d) { P##_device_v1_destroy(reinterpret_cast<P##_device_v1 *>(d)); }, \
            [](wl_proxy *s) { P##_source_v1_destroy(reinterpret_cast<P##_source_v1 *>(s)); }, \
            [](wl_proxy *o) { P##_offer_v1_destroy(reinterpret_cast<P##_offer_v1 *>(o)); }, \
            [](wl_proxy *d, void *data) { \
                static const P##_device_v1_listener listener = { \
                    [](void *data, P##_device_v1 *, P##_offer_v1 *o) { \
                        sink(data)->dataOffer(reinterpret_cast<wl_proxy *>(o)); \
                    }, \
                    [](void *data, P##_device_v1 *, P##_offer_v1 *o) { \
                        sink(data)->selection(reinterpret_cast<wl_proxy *>(o)); \
                    }, \
                    [](void *data, P##_device_v1 *) { sink(data)->deviceFinished(); }, \
                    [](void *data, P##_device_v1 *, P##_offer_v1 *o) { \
                        sink(data)->primarySelection(reinterpret_cast<wl_proxy *>(o)); \
                    }, \
                }; \
                P##_device_v1_add_listener(reinterpret_cast<P##_device_v1 *>(d), &listener, data); \
            }, \
            [](wl_proxy *s, void *data) { \
                static const P##_source_v1_listener listener = { \
                    [](void *data, P##_source_v1 *s, const char *type, int32_t fd) { \
                        sink(data)->send(reinterpret_cast<wl_proxy *>(s), type, fd); \
                    }, \
                    [](void *data, P##_source_v1 *s) { \
                        sink(data)->cancelled(reinterpret_cast<wl_proxy *>(s)); \
                    }, \
                }; \
                P##_source_v1_add_listener(reinterpret_cast<P##_source_v1 *>(s), &listener, data); \
            }, \
            [](wl_proxy *o, void *data) { \
                static const P##_offer_v1_listener listener = { \
                    [](void *data, P##_offer_v1 *o, const char *type) { \
                        sink(data)->offered(reinterpret_cast<wl_proxy *>(o), type); \
                    }, \
                }; \
                P##_offer_v1_add_listener(reinterpret_cast<P##_offer_v1 *>(o), &listener, data); \
            }, \
    }

// Preferred first. Version 1 of the wlroots protocol is enough: the primary selection, which
// version 2 adds, is not watched.
const DataControlApi kApis[] = {
    CLIPHAVEN_DATA_CONTROL_API(ext_data_control, 1),
    CLIPHAVEN_DATA_CONTROL_API(zwlr_data_control, 1),
};

struct Request
{
    quint64 id = 0;
    qint64 changeCount = 0;
};

// One MIME type on its way in through a pipe.
struct Incoming
{
    QString type;
    int fd = -1;
    QByteArray data;
    Clock::time_point idleDeadline;
    // However steadily a type trickles in, it ends here.
    Clock::time_point finalDeadline;
};

// One answer on its way out to a reader.
struct Outgoing
{
    int fd = -1;
    QByteArray data;
    qsizetype written = 0;
    Clock::time_point idleDeadline;
};

void closeFd(int &fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

} // namespace

class WaylandDataControl::Worker final : public EventSink
{
public:
    Worker(const QByteArray &socket,
           std::chrono::milliseconds typeTimeout,
           Callbacks callbacks,
           std::chrono::milliseconds setupTimeout);
    ~Worker() override;

    bool active() const { return m_active; }
    QString protocolName() const
    {
        return m_api ? QString::fromLatin1(m_api->manager->name) : QString();
    }
    qint64 changeCount() const { return m_changeCount.load(); }
    void requestRead(quint64 readId, qint64 changeCount);
    void cancel();
    void write(const Flavors &flavors);

private:
    // EventSink, on the worker thread.
    void dataOffer(wl_proxy *offer) override;
    void selection(wl_proxy *offer) override;
    void primarySelection(wl_proxy *offer) override;
    void deviceFinished() override;
    void offered(wl_proxy *offer, const char *mimeType) override;
    void send(wl_proxy *source, const char *mimeType, int fd) override;
    void cancelled(wl_proxy *source) override;

    bool setUp(std::chrono::milliseconds timeout);
    void run();
    void wake();
    void takeRequests();
    void startRead(const Request &request);
    void abandonRead();
    void finishReadIfDone();
    void serveIncoming(Incoming &incoming, short revents);
    void serveOutgoing(Outgoing &outgoing, short revents);
    void expire(Clock::time_point now);
    void setSelection(const Flavors &flavors);
    void loseConnection();

    const std::chrono::milliseconds m_timeout;
    const Callbacks m_callbacks;
    WaylandConnection m_connection;
    const DataControlApi *m_api = nullptr;
    wl_proxy *m_manager = nullptr;
    wl_seat *m_seat = nullptr;
    wl_proxy *m_device = nullptr;
    bool m_active = false;
    std::atomic<qint64> m_changeCount{0};
    // Set once setUp has seen the selection present at start, which is not a change.
    bool m_watching = false;

    // Worker thread only.
    QHash<wl_proxy *, QStringList> m_offerTypes;
    wl_proxy *m_selection = nullptr;
    std::optional<Request> m_reading;
    QList<Incoming> m_incoming;
    Flavors m_received;
    wl_proxy *m_source = nullptr;
    Flavors m_served;
    QList<Outgoing> m_outgoing;
    bool m_lost = false;

    // Shared with the caller's thread.
    std::mutex m_mutex;
    std::optional<Request> m_pendingRead;
    bool m_cancelPending = false;
    std::optional<Flavors> m_pendingWrite;
    bool m_stop = false;

    int m_wakeFd = -1;
    std::thread m_thread;
};

WaylandDataControl::Worker::Worker(const QByteArray &socket,
                                   std::chrono::milliseconds typeTimeout,
                                   Callbacks callbacks,
                                   std::chrono::milliseconds setupTimeout)
    : m_timeout(typeTimeout)
    , m_callbacks(std::move(callbacks))
    , m_connection(socket)
{
    if (!setUp(setupTimeout))
        return;
    m_wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    m_active = m_wakeFd >= 0;
    if (m_active)
        m_thread = std::thread([this] { run(); });
}

WaylandDataControl::Worker::~Worker()
{
    if (m_thread.joinable()) {
        {
            std::lock_guard lock(m_mutex);
            m_stop = true;
        }
        wake();
        m_thread.join();
    }
    abandonRead();
    for (Outgoing &outgoing : m_outgoing)
        closeFd(outgoing.fd);
    if (!m_lost) {
        for (auto it = m_offerTypes.cbegin(); it != m_offerTypes.cend(); ++it)
            m_api->destroyOffer(it.key());
        if (m_source)
            m_api->destroySource(m_source);
        if (m_device)
            m_api->destroyDevice(m_device);
        if (m_manager)
            m_api->destroyManager(m_manager);
        if (m_seat)
            wl_seat_destroy(m_seat);
        if (m_connection.isOpen())
            wl_display_flush(m_connection.display());
    }
    if (m_wakeFd >= 0)
        ::close(m_wakeFd);
}

bool WaylandDataControl::Worker::setUp(std::chrono::milliseconds timeout)
{
    const Clock::time_point deadline = Clock::now() + timeout;
    if (!m_connection.fetchGlobals(deadline))
        return false;
    for (const DataControlApi &api : kApis) {
        if (m_connection.offers(api.manager->name)) {
            m_api = &api;
            break;
        }
    }
    // The first seat: desktops have one.
    if (!m_api || !m_connection.offers(wl_seat_interface.name))
        return false;
    m_manager = static_cast<wl_proxy *>(m_connection.bind(m_api->manager, m_api->version));
    m_seat = static_cast<wl_seat *>(m_connection.bind(&wl_seat_interface, 1));
    m_device = m_api->getDevice(m_manager, m_seat);
    m_api->listenDevice(m_device, static_cast<EventSink *>(this));
    // The compositor announces the current selection right away.
    if (!m_connection.roundtrip(deadline))
        return false;
    m_watching = true;
    return true;
}

void WaylandDataControl::Worker::wake()
{
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wakeFd, &one, sizeof one);
}

void WaylandDataControl::Worker::requestRead(quint64 readId, qint64 changeCount)
{
    if (!m_active) {
        if (m_callbacks.finished)
            m_callbacks.finished(readId, {});
        return;
    }
    {
        std::lock_guard lock(m_mutex);
        m_pendingRead = Request{readId, changeCount};
        m_cancelPending = false;
    }
    wake();
}

void WaylandDataControl::Worker::cancel()
{
    if (!m_active)
        return;
    {
        std::lock_guard lock(m_mutex);
        m_pendingRead.reset();
        m_cancelPending = true;
    }
    wake();
}

void WaylandDataControl::Worker::write(const Flavors &flavors)
{
    if (!m_active)
        return;
    {
        std::lock_guard lock(m_mutex);
        m_pendingWrite = flavors;
    }
    wake();
}

void WaylandDataControl::Worker::dataOffer(wl_proxy *offer)
{
    m_offerTypes.insert(offer, {});
    m_api->listenOffer(offer, static_cast<EventSink *>(this));
}

void WaylandDataControl::Worker::offered(wl_proxy *offer, const char *mimeType)
{
    const auto it = m_offerTypes.find(offer);
    if (it != m_offerTypes.end())
        it->append(QString::fromUtf8(mimeType));
}

void WaylandDataControl::Worker::selection(wl_proxy *offer)
{
    // The previous selection's offer is ours to destroy, and a read of it is moot.
    abandonRead();
    if (m_selection && m_selection != offer) {
        m_offerTypes.remove(m_selection);
        m_api->destroyOffer(m_selection);
    }
    m_selection = offer;
    if (!m_watching)
        return;
    ++m_changeCount;
    if (m_callbacks.changed)
        m_callbacks.changed();
}

void WaylandDataControl::Worker::primarySelection(wl_proxy *offer)
{
    if (offer && offer != m_selection) {
        m_offerTypes.remove(offer);
        m_api->destroyOffer(offer);
    }
}

void WaylandDataControl::Worker::deviceFinished()
{
    // The seat is gone: nothing more will change.
    abandonRead();
}

void WaylandDataControl::Worker::send(wl_proxy *source, const char *mimeType, int fd)
{
    const auto it = m_served.constFind(QString::fromUtf8(mimeType));
    if (source != m_source || it == m_served.cend() || fcntl(fd, F_SETFL, O_NONBLOCK) != 0) {
        ::close(fd);
        return;
    }
    m_outgoing.append(Outgoing{fd, *it, 0, Clock::now() + m_timeout});
}

void WaylandDataControl::Worker::cancelled(wl_proxy *source)
{
    m_api->destroySource(source);
    if (source == m_source) {
        m_source = nullptr;
        m_served.clear();
    }
}

void WaylandDataControl::Worker::setSelection(const Flavors &flavors)
{
    if (m_source) {
        m_api->destroySource(m_source);
        m_source = nullptr;
    }
    m_served = flavors;
    if (flavors.isEmpty()) {
        m_api->setSelection(m_device, nullptr);
        return;
    }
    m_source = m_api->createSource(m_manager);
    m_api->listenSource(m_source, static_cast<EventSink *>(this));
    for (auto it = flavors.cbegin(); it != flavors.cend(); ++it)
        m_api->offer(m_source, it.key().toUtf8().constData());
    m_api->setSelection(m_device, m_source);
}

void WaylandDataControl::Worker::startRead(const Request &request)
{
    abandonRead();
    if (request.changeCount != m_changeCount.load())
        return;
    m_reading = request;
    const QStringList types = m_selection ? m_offerTypes.value(m_selection) : QStringList();
    const Clock::time_point now = Clock::now();
    const Clock::time_point deadline = now + m_timeout;
    for (const QString &type : types) {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0)
            continue;
        m_api->receive(m_selection, type.toUtf8().constData(), fds[1]);
        // The request holds its own copy of the write end.
        ::close(fds[1]);
        m_incoming.append(Incoming{type, fds[0], {}, deadline, now + kTransferLimit * m_timeout});
    }
    finishReadIfDone();
}

void WaylandDataControl::Worker::abandonRead()
{
    for (Incoming &incoming : m_incoming)
        closeFd(incoming.fd);
    m_incoming.clear();
    m_received.clear();
    m_reading.reset();
}

void WaylandDataControl::Worker::finishReadIfDone()
{
    if (!m_reading || !m_incoming.isEmpty())
        return;
    const quint64 id = m_reading->id;
    Flavors flavors = std::exchange(m_received, {});
    m_reading.reset();
    if (m_callbacks.finished)
        m_callbacks.finished(id, std::move(flavors));
}

void WaylandDataControl::Worker::serveIncoming(Incoming &incoming, short revents)
{
    if (!(revents & (POLLIN | POLLHUP | POLLERR)))
        return;
    char buffer[64 * 1024];
    for (;;) {
        const ssize_t got = ::read(incoming.fd, buffer, sizeof buffer);
        if (got > 0) {
            if (incoming.data.size() + got > kMaxFlavorBytes) {
                closeFd(incoming.fd);
                return;
            }
            // The protocol announces no size: grow by eighths, not by doubling.
            makeRoomFor(incoming.data, got);
            incoming.data.append(buffer, got);
            incoming.idleDeadline = Clock::now() + m_timeout;
            continue;
        }
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0 && errno == EAGAIN)
            return;
        // End of data. A type that sent nothing at all is not a flavor.
        if (got == 0 && !incoming.data.isEmpty())
            m_received.insert(incoming.type, std::move(incoming.data));
        closeFd(incoming.fd);
        return;
    }
}

void WaylandDataControl::Worker::serveOutgoing(Outgoing &outgoing, short revents)
{
    if (!(revents & (POLLOUT | POLLHUP | POLLERR)))
        return;
    while (outgoing.written < outgoing.data.size()) {
        const ssize_t put = ::write(outgoing.fd,
                                    outgoing.data.constData() + outgoing.written,
                                    size_t(outgoing.data.size() - outgoing.written));
        if (put > 0) {
            outgoing.written += put;
            outgoing.idleDeadline = Clock::now() + m_timeout;
            continue;
        }
        if (put < 0 && errno == EINTR)
            continue;
        if (put < 0 && errno == EAGAIN)
            return;
        // The reader went away (EPIPE: SIGPIPE is blocked on this thread).
        break;
    }
    closeFd(outgoing.fd);
}

void WaylandDataControl::Worker::expire(Clock::time_point now)
{
    for (Incoming &incoming : m_incoming) {
        if (incoming.fd >= 0 && now >= std::min(incoming.idleDeadline, incoming.finalDeadline))
            closeFd(incoming.fd);
    }
    for (Outgoing &outgoing : m_outgoing) {
        if (outgoing.fd >= 0 && now >= outgoing.idleDeadline)
            closeFd(outgoing.fd);
    }
}

void WaylandDataControl::Worker::takeRequests()
{
    uint64_t count;
    [[maybe_unused]] const ssize_t got = ::read(m_wakeFd, &count, sizeof count);
    std::optional<Request> read;
    std::optional<Flavors> write;
    bool cancelRead;
    {
        std::lock_guard lock(m_mutex);
        read = std::exchange(m_pendingRead, std::nullopt);
        write = std::exchange(m_pendingWrite, std::nullopt);
        cancelRead = std::exchange(m_cancelPending, false);
    }
    if (cancelRead)
        abandonRead();
    if (write)
        setSelection(*write);
    if (read)
        startRead(*read);
}

void WaylandDataControl::Worker::loseConnection()
{
    m_lost = true;
    abandonRead();
    if (m_callbacks.lost)
        m_callbacks.lost();
}

void WaylandDataControl::Worker::run()
{
    // A reader that closes its end early must not end the process.
    sigset_t pipeSignal;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);

    wl_display *display = m_connection.display();
    QList<pollfd> fds;
    for (;;) {
        {
            std::lock_guard lock(m_mutex);
            if (m_stop)
                return;
        }
        while (wl_display_prepare_read(display) != 0) {
            if (wl_display_dispatch_pending(display) < 0)
                return loseConnection();
        }
        bool flushPending = false;
        if (wl_display_flush(display) < 0) {
            if (errno != EAGAIN) {
                wl_display_cancel_read(display);
                return loseConnection();
            }
            flushPending = true;
        }

        fds.clear();
        fds.append(
            pollfd{wl_display_get_fd(display), short(POLLIN | (flushPending ? POLLOUT : 0)), 0});
        fds.append(pollfd{m_wakeFd, POLLIN, 0});
        Clock::time_point nearest = Clock::time_point::max();
        for (const Incoming &incoming : std::as_const(m_incoming)) {
            fds.append(pollfd{incoming.fd, POLLIN, 0});
            nearest = std::min({nearest, incoming.idleDeadline, incoming.finalDeadline});
        }
        for (const Outgoing &outgoing : std::as_const(m_outgoing)) {
            fds.append(pollfd{outgoing.fd, POLLOUT, 0});
            nearest = std::min(nearest, outgoing.idleDeadline);
        }
        int timeoutMs = -1;
        if (nearest != Clock::time_point::max()) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(nearest
                                                                                    - Clock::now());
            timeoutMs = int(std::max<qint64>(0, left.count()) + 1);
        }

        const int ready = ::poll(fds.data(), nfds_t(fds.size()), timeoutMs);
        if (ready < 0 && errno != EINTR) {
            wl_display_cancel_read(display);
            return loseConnection();
        }
        const short displayEvents = ready > 0 ? fds[0].revents : short(0);
        if (displayEvents & POLLIN) {
            if (wl_display_read_events(display) < 0)
                return loseConnection();
        } else {
            wl_display_cancel_read(display);
            if (displayEvents & (POLLHUP | POLLERR))
                return loseConnection();
        }

        // Pipes first, with the poll's answers in the order they were asked.
        if (ready > 0) {
            qsizetype at = 2;
            for (Incoming &incoming : m_incoming)
                serveIncoming(incoming, fds[at++].revents);
            for (Outgoing &outgoing : m_outgoing)
                serveOutgoing(outgoing, fds[at++].revents);
        }
        expire(Clock::now());
        m_incoming.removeIf([](const Incoming &incoming) { return incoming.fd < 0; });
        m_outgoing.removeIf([](const Outgoing &outgoing) { return outgoing.fd < 0; });
        finishReadIfDone();

        if (wl_display_dispatch_pending(display) < 0)
            return loseConnection();
        if (ready > 0 && (fds[1].revents & POLLIN))
            takeRequests();
    }
}

WaylandDataControl::WaylandDataControl(const QByteArray &socket,
                                       std::chrono::milliseconds typeTimeout,
                                       Callbacks callbacks,
                                       std::chrono::milliseconds setupTimeout)
    : m_worker(std::make_unique<Worker>(socket, typeTimeout, std::move(callbacks), setupTimeout))
{}

WaylandDataControl::~WaylandDataControl() = default;

bool WaylandDataControl::isActive() const
{
    return m_worker->active();
}

QString WaylandDataControl::protocolName() const
{
    return m_worker->active() ? m_worker->protocolName() : QString();
}

qint64 WaylandDataControl::changeCount() const
{
    return m_worker->changeCount();
}

void WaylandDataControl::requestRead(quint64 readId, qint64 changeCount)
{
    m_worker->requestRead(readId, changeCount);
}

void WaylandDataControl::cancel()
{
    m_worker->cancel();
}

void WaylandDataControl::write(const Flavors &flavors)
{
    m_worker->write(flavors);
}
