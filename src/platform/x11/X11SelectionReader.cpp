#include "X11SelectionReader.h"

#include "platform/TransferBuffer.h"

#include <QFile>
#include <QHash>
#include <QList>

#include <xcb/res.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <numeric>
#include <optional>
#include <thread>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

struct Request
{
    quint64 id = 0;
    qint64 changeCount = 0;
};

struct Transfer
{
    enum Status { Ok, Refused, TimedOut, Superseded, Failed } status = Failed;
    QByteArray data;
    xcb_atom_t type = XCB_NONE;
    uint8_t format = 0;
};

template<typename T>
using Reply = std::unique_ptr<T, decltype(&free)>;

template<typename T>
Reply<T> reply(T *raw)
{
    return Reply<T>(raw, &free);
}

} // namespace

class X11SelectionReader::Worker
{
public:
    Worker(const QByteArray &displayName,
           std::chrono::milliseconds timeout,
           Callbacks callbacks,
           const QByteArray &selection);
    ~Worker();

    bool connected() const { return m_connection != nullptr; }
    qint64 changeCount() const { return m_changeCount.load(); }
    void requestRead(quint64 readId, qint64 changeCount);
    void cancel();

private:
    enum class Wait { Done, TimedOut, Superseded, Failed };

    bool setUp(const QByteArray &displayName);
    xcb_atom_t intern(const char *name);
    void run();
    void wake();
    void sleepUntilActivity(int timeoutMs);
    void pumpEvents();
    void handleEvent(const xcb_generic_event_t *event);
    bool superseded(const Request &request) const;
    void answerManagerRequest(const xcb_selection_request_event_t &request);
    void answerSaveRequests();
    void notifyRequestor(const xcb_selection_request_event_t &request, xcb_atom_t property);
    template<typename Predicate>
    Wait waitUntil(const Request &request, Clock::time_point deadline, Predicate done);

    // Nothing when the read was superseded; empty flavors when nothing could be read.
    std::optional<Flavors> read(const Request &request);
    Transfer convert(const Request &request, xcb_window_t window, xcb_atom_t target);
    Transfer receiveIncrementally(const Request &request, xcb_window_t window, Transfer transfer);
    QList<QByteArray> atomNames(const QList<xcb_atom_t> &atoms);
    QString ownerProgram(xcb_window_t owner);
    xcb_window_t createRequestor();

    const std::chrono::milliseconds m_timeout;
    const Callbacks m_callbacks;
    xcb_connection_t *m_connection = nullptr;
    xcb_window_t m_root = XCB_NONE;
    xcb_window_t m_watchWindow = XCB_NONE;
    uint8_t m_xfixesEventBase = 0;
    xcb_atom_t m_clipboard = XCB_NONE;
    xcb_atom_t m_targets = XCB_NONE;
    xcb_atom_t m_incr = XCB_NONE;
    xcb_atom_t m_property = XCB_NONE;
    xcb_atom_t m_manager = XCB_NONE;
    xcb_atom_t m_saveTargets = XCB_NONE;
    xcb_atom_t m_null = XCB_NONE;
    // Programs waiting for their SAVE_TARGETS answer, and when they are answered at the latest.
    QList<xcb_selection_request_event_t> m_saveRequests;
    Clock::time_point m_saveDeadline;
    std::atomic<qint64> m_lastReadChange{-1};
    QList<xcb_atom_t> m_pseudoTargets;
    QHash<xcb_atom_t, QByteArray> m_atomNames;
    bool m_hasRes = false;
    const QByteArray m_selectionName;
    // The owner of the selection being read, for the finished callback.
    QString m_owner;

    // State of the request being waited for; touched only by the worker thread.
    xcb_window_t m_requestor = XCB_NONE;
    xcb_atom_t m_awaitedTarget = XCB_NONE;
    std::optional<xcb_selection_notify_event_t> m_notify;
    bool m_propertyWritten = false;

    int m_wakeFd = -1;
    std::atomic<qint64> m_changeCount{0};
    std::atomic<quint64> m_wantedId{0};
    std::atomic<bool> m_stopping{false};
    std::mutex m_mutex;
    std::optional<Request> m_pending;
    std::thread m_thread;
};

X11SelectionReader::Worker::Worker(const QByteArray &displayName,
                                   std::chrono::milliseconds timeout,
                                   Callbacks callbacks,
                                   const QByteArray &selection)
    : m_timeout(timeout)
    , m_callbacks(std::move(callbacks))
    , m_selectionName(selection)
{
    m_wakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_wakeFd < 0 || !setUp(displayName)) {
        if (m_connection)
            xcb_disconnect(m_connection);
        m_connection = nullptr;
    }
    m_thread = std::thread([this] { run(); });
}

X11SelectionReader::Worker::~Worker()
{
    m_stopping = true;
    wake();
    m_thread.join();
    if (m_connection)
        xcb_disconnect(m_connection);
    if (m_wakeFd >= 0)
        close(m_wakeFd);
}

xcb_atom_t X11SelectionReader::Worker::intern(const char *name)
{
    auto answer = reply(
        xcb_intern_atom_reply(m_connection,
                              xcb_intern_atom(m_connection, 0, uint16_t(strlen(name)), name),
                              nullptr));
    return answer ? answer->atom : XCB_NONE;
}

bool X11SelectionReader::Worker::setUp(const QByteArray &displayName)
{
    m_connection = xcb_connect(displayName.isEmpty() ? nullptr : displayName.constData(), nullptr);
    if (xcb_connection_has_error(m_connection))
        return false;
    const xcb_setup_t *setup = xcb_get_setup(m_connection);
    const xcb_screen_iterator_t screens = xcb_setup_roots_iterator(setup);
    if (!screens.rem)
        return false;
    m_root = screens.data->root;

    const xcb_query_extension_reply_t *xfixes = xcb_get_extension_data(m_connection, &xcb_xfixes_id);
    if (!xfixes || !xfixes->present)
        return false;
    m_xfixesEventBase = xfixes->first_event;
    // The version must be announced before any other XFixes request.
    free(xcb_xfixes_query_version_reply(m_connection,
                                        xcb_xfixes_query_version(m_connection, 5, 0),
                                        nullptr));

    const xcb_query_extension_reply_t *res = xcb_get_extension_data(m_connection, &xcb_res_id);
    m_hasRes = res && res->present;
    if (m_hasRes)
        free(xcb_res_query_version_reply(m_connection,
                                         xcb_res_query_version(m_connection, 1, 2),
                                         nullptr));

    // Named for the usual case; PRIMARY when this reader watches the text selection.
    m_clipboard = intern(m_selectionName.constData());
    m_targets = intern("TARGETS");
    m_incr = intern("INCR");
    m_property = intern("CLIPHAVEN_SELECTION");
    m_manager = intern("CLIPBOARD_MANAGER");
    m_saveTargets = intern("SAVE_TARGETS");
    m_null = intern("NULL");
    for (const char *name : {"TARGETS",
                             "MULTIPLE",
                             "TIMESTAMP",
                             "SAVE_TARGETS",
                             "DELETE",
                             "INSERT_PROPERTY",
                             "INSERT_SELECTION"}) {
        m_pseudoTargets.append(intern(name));
    }

    m_watchWindow = xcb_generate_id(m_connection);
    xcb_create_window(m_connection,
                      XCB_COPY_FROM_PARENT,
                      m_watchWindow,
                      m_root,
                      -1,
                      -1,
                      1,
                      1,
                      0,
                      XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT,
                      0,
                      nullptr);
    xcb_xfixes_select_selection_input(m_connection,
                                      m_watchWindow,
                                      m_clipboard,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                          | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                          | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);

    // Another clipboard manager that already holds the role keeps it.
    auto manager = reply(
        xcb_get_selection_owner_reply(m_connection,
                                      xcb_get_selection_owner(m_connection, m_manager),
                                      nullptr));
    if (m_selectionName == "CLIPBOARD" && manager && manager->owner == XCB_NONE)
        xcb_set_selection_owner(m_connection, m_watchWindow, m_manager, XCB_CURRENT_TIME);
    xcb_flush(m_connection);
    return !xcb_connection_has_error(m_connection);
}

void X11SelectionReader::Worker::requestRead(quint64 readId, qint64 changeCount)
{
    {
        std::lock_guard lock(m_mutex);
        m_pending = Request{readId, changeCount};
        m_wantedId = readId;
    }
    wake();
}

void X11SelectionReader::Worker::cancel()
{
    {
        std::lock_guard lock(m_mutex);
        m_pending.reset();
        m_wantedId = 0;
    }
    wake();
}

void X11SelectionReader::Worker::wake()
{
    const uint64_t one = 1;
    if (m_wakeFd >= 0)
        (void) !write(m_wakeFd, &one, sizeof one);
}

void X11SelectionReader::Worker::sleepUntilActivity(int timeoutMs)
{
    pollfd fds[2] = {{m_wakeFd, POLLIN, 0}, {-1, POLLIN, 0}};
    if (m_connection)
        fds[1].fd = xcb_get_file_descriptor(m_connection);
    if (poll(fds, 2, timeoutMs) > 0 && (fds[0].revents & POLLIN)) {
        uint64_t count = 0;
        (void) !::read(m_wakeFd, &count, sizeof count);
    }
}

void X11SelectionReader::Worker::run()
{
    while (!m_stopping) {
        pumpEvents();
        std::optional<Request> request;
        {
            std::lock_guard lock(m_mutex);
            request = std::exchange(m_pending, std::nullopt);
        }
        if (!request) {
            answerSaveRequests();
            sleepUntilActivity(m_saveRequests.isEmpty() ? -1 : 50);
            continue;
        }
        std::optional<Flavors> flavors = Flavors();
        if (connected())
            flavors = read(*request);
        if (flavors && !superseded(*request)) {
            m_lastReadChange = request->changeCount;
            m_callbacks.finished(request->id, std::move(*flavors), std::exchange(m_owner, {}));
        }
    }
}

void X11SelectionReader::Worker::pumpEvents()
{
    if (!m_connection)
        return;
    while (xcb_generic_event_t *event = xcb_poll_for_event(m_connection)) {
        handleEvent(event);
        free(event);
    }
}

void X11SelectionReader::Worker::handleEvent(const xcb_generic_event_t *event)
{
    const uint8_t type = event->response_type & 0x7f;
    if (type == m_xfixesEventBase + XCB_XFIXES_SELECTION_NOTIFY) {
        const auto *notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t *>(event);
        if (notify->selection == m_clipboard) {
            const qint64 lost = m_changeCount++;
            m_callbacks.changed();
            if (notify->subtype != XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER
                && m_callbacks.ownerGone) {
                m_callbacks.ownerGone(lost);
            }
        }
    } else if (type == XCB_SELECTION_NOTIFY) {
        const auto *notify = reinterpret_cast<const xcb_selection_notify_event_t *>(event);
        if (notify->requestor == m_requestor && notify->selection == m_clipboard
            && notify->target == m_awaitedTarget) {
            m_notify = *notify;
        }
    } else if (type == XCB_SELECTION_REQUEST) {
        const auto *request = reinterpret_cast<const xcb_selection_request_event_t *>(event);
        if (request->selection == m_manager)
            answerManagerRequest(*request);
        else
            notifyRequestor(*request, XCB_NONE);
    } else if (type == XCB_PROPERTY_NOTIFY) {
        const auto *notify = reinterpret_cast<const xcb_property_notify_event_t *>(event);
        if (notify->window == m_requestor && notify->atom == m_property
            && notify->state == XCB_PROPERTY_NEW_VALUE) {
            m_propertyWritten = true;
        }
    }
}

void X11SelectionReader::Worker::notifyRequestor(const xcb_selection_request_event_t &request,
                                                 xcb_atom_t property)
{
    xcb_selection_notify_event_t event = {};
    event.response_type = XCB_SELECTION_NOTIFY;
    event.time = request.time;
    event.requestor = request.requestor;
    event.selection = request.selection;
    event.target = request.target;
    event.property = property;
    xcb_send_event(m_connection, 0, request.requestor, 0, reinterpret_cast<const char *>(&event));
    xcb_flush(m_connection);
}

void X11SelectionReader::Worker::answerManagerRequest(const xcb_selection_request_event_t &request)
{
    // Old requestors may leave the property out and mean the target's name.
    const xcb_atom_t property = request.property != XCB_NONE ? request.property : request.target;
    if (request.target == m_targets) {
        const xcb_atom_t targets[] = {m_targets, m_saveTargets};
        xcb_change_property(m_connection,
                            XCB_PROP_MODE_REPLACE,
                            request.requestor,
                            property,
                            XCB_ATOM_ATOM,
                            32,
                            2,
                            targets);
        notifyRequestor(request, property);
    } else if (request.target == m_saveTargets) {
        if (m_saveRequests.isEmpty())
            m_saveDeadline = Clock::now() + std::chrono::seconds(1);
        m_saveRequests.append(request);
    } else {
        notifyRequestor(request, XCB_NONE);
    }
}

void X11SelectionReader::Worker::answerSaveRequests()
{
    // The program quits once answered: first the newest change must have been read, so its
    // content is in the history when the owner is gone.
    if (m_saveRequests.isEmpty()
        || (m_lastReadChange.load() != m_changeCount.load() && Clock::now() < m_saveDeadline))
        return;
    for (const xcb_selection_request_event_t &request : std::as_const(m_saveRequests)) {
        const xcb_atom_t property = request.property != XCB_NONE ? request.property
                                                                 : request.target;
        xcb_change_property(m_connection,
                            XCB_PROP_MODE_REPLACE,
                            request.requestor,
                            property,
                            m_null,
                            32,
                            0,
                            nullptr);
        notifyRequestor(request, property);
    }
    m_saveRequests.clear();
}

bool X11SelectionReader::Worker::superseded(const Request &request) const
{
    return m_stopping || m_wantedId.load() != request.id
           || m_changeCount.load() != request.changeCount;
}

template<typename Predicate>
X11SelectionReader::Worker::Wait X11SelectionReader::Worker::waitUntil(const Request &request,
                                                                       Clock::time_point deadline,
                                                                       Predicate done)
{
    for (;;) {
        pumpEvents();
        if (done())
            return Wait::Done;
        if (superseded(request))
            return Wait::Superseded;
        if (xcb_connection_has_error(m_connection))
            return Wait::Failed;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return Wait::TimedOut;
        sleepUntilActivity(int(left.count()));
    }
}

std::optional<Flavors> X11SelectionReader::Worker::read(const Request &request)
{
    auto owner = reply(
        xcb_get_selection_owner_reply(m_connection,
                                      xcb_get_selection_owner(m_connection, m_clipboard),
                                      nullptr));
    if (!owner || owner->owner == XCB_NONE)
        return Flavors();
    m_owner = ownerProgram(owner->owner);

    // A fresh requestor window per read, and again after a target that timed out, so a late
    // answer to an abandoned request can never be taken for an answer to a later one.
    xcb_window_t window = createRequestor();
    auto finish = [&](std::optional<Flavors> result) {
        m_requestor = XCB_NONE;
        xcb_destroy_window(m_connection, window);
        xcb_flush(m_connection);
        return result;
    };

    const Transfer targets = convert(request, window, m_targets);
    switch (targets.status) {
    case Transfer::Ok:
        break;
    case Transfer::Superseded:
        return finish(std::nullopt);
    case Transfer::Refused:
    case Transfer::TimedOut:
    case Transfer::Failed:
        return finish(Flavors());
    }
    if (targets.format != 32)
        return finish(Flavors());

    QList<xcb_atom_t> atoms;
    const auto *values = reinterpret_cast<const uint32_t *>(targets.data.constData());
    for (qsizetype i = 0; i < targets.data.size() / 4; ++i) {
        const xcb_atom_t atom = values[i];
        if (atom != XCB_NONE && !m_pseudoTargets.contains(atom) && !atoms.contains(atom))
            atoms.append(atom);
    }
    const QList<QByteArray> names = atomNames(atoms);

    // A password manager's copy is recognised by its hint alone; the secret is never fetched.
    // Images come next, best first: once one arrives, the other encodings of the same picture
    // (browsers offer dozens) are not fetched.
    static const QByteArray hintType = QByteArrayLiteral("x-kde-passwordManagerHint");
    auto rank = [](const QByteArray &name) {
        if (name == hintType)
            return 0;
        if (name == "image/png")
            return 1;
        if (name == "image/tiff")
            return 2;
        return name.startsWith("image/") ? 3 : 4;
    };
    QList<qsizetype> order(atoms.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](qsizetype a, qsizetype b) {
        return rank(names.at(a)) < rank(names.at(b));
    });

    Flavors flavors;
    bool haveImage = false;
    for (const qsizetype index : std::as_const(order)) {
        const xcb_atom_t atom = atoms.at(index);
        const QByteArray &name = names.at(index);
        if (name.isEmpty() || name.startsWith("INSERT_"))
            continue;
        if (haveImage && name.startsWith("image/"))
            continue;
        const Transfer transfer = convert(request, window, atom);
        switch (transfer.status) {
        case Transfer::Ok:
            flavors.insert(QString::fromUtf8(name), transfer.data);
            haveImage = haveImage || (name.startsWith("image/") && !transfer.data.isEmpty());
            break;
        case Transfer::Refused:
            break;
        case Transfer::Superseded:
            return finish(std::nullopt);
        case Transfer::TimedOut:
            // This target is left out like a refused one; the rest of the copy is kept.
            xcb_destroy_window(m_connection, window);
            window = createRequestor();
            break;
        case Transfer::Failed:
            return finish(Flavors());
        }
        if (name == hintType && transfer.data.trimmed() == "secret")
            return finish(Flavors{{QString::fromUtf8(hintType), transfer.data}});
    }
    return finish(flavors);
}

xcb_window_t X11SelectionReader::Worker::createRequestor()
{
    const xcb_window_t window = xcb_generate_id(m_connection);
    const uint32_t eventMask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(m_connection,
                      XCB_COPY_FROM_PARENT,
                      window,
                      m_root,
                      -1,
                      -1,
                      1,
                      1,
                      0,
                      XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT,
                      XCB_CW_EVENT_MASK,
                      &eventMask);
    m_requestor = window;
    return window;
}

QString X11SelectionReader::Worker::ownerProgram(xcb_window_t owner)
{
    // The executable of the owning process, so that two runs of one program (xclip copying,
    // then xclip clearing) count as the same program; else the owner's connection.
    // Answered from the X server's record of who connected, which outlives that process.
    if (m_hasRes) {
        xcb_res_client_id_spec_t spec{owner, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
        auto ids = reply(
            xcb_res_query_client_ids_reply(m_connection,
                                           xcb_res_query_client_ids(m_connection, 1, &spec),
                                           nullptr));
        if (ids) {
            for (auto it = xcb_res_query_client_ids_ids_iterator(ids.get()); it.rem;
                 xcb_res_client_id_value_next(&it)) {
                if (!(it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID)
                    || xcb_res_client_id_value_value_length(it.data) < 1) {
                    continue;
                }
                const uint32_t pid = *xcb_res_client_id_value_value(it.data);
                const QString process = u"/proc/" + QString::number(pid);
                const QString exe = QFile::symLinkTarget(process + u"/exe");
                if (!exe.isEmpty())
                    return exe;
                // Command-line tools (xclip, xsel) connect, then fork into the background and
                // the connecting process exits: all such owners count as one program.
                if (!QFile::exists(process))
                    return QStringLiteral("detached");
            }
        }
    }
    const uint32_t mask = xcb_get_setup(m_connection)->resource_id_mask;
    return u"client:" + QString::number(owner & ~mask, 16);
}

QList<QByteArray> X11SelectionReader::Worker::atomNames(const QList<xcb_atom_t> &atoms)
{
    QList<std::pair<xcb_atom_t, xcb_get_atom_name_cookie_t>> asked;
    for (const xcb_atom_t atom : atoms) {
        if (!m_atomNames.contains(atom))
            asked.append({atom, xcb_get_atom_name(m_connection, atom)});
    }
    for (const auto &[atom, cookie] : asked) {
        auto answer = reply(xcb_get_atom_name_reply(m_connection, cookie, nullptr));
        m_atomNames.insert(atom,
                           answer ? QByteArray(xcb_get_atom_name_name(answer.get()),
                                               xcb_get_atom_name_name_length(answer.get()))
                                  : QByteArray());
    }
    QList<QByteArray> names;
    for (const xcb_atom_t atom : atoms)
        names.append(m_atomNames.value(atom));
    return names;
}

Transfer X11SelectionReader::Worker::convert(const Request &request,
                                             xcb_window_t window,
                                             xcb_atom_t target)
{
    xcb_delete_property(m_connection, window, m_property);
    m_awaitedTarget = target;
    m_notify.reset();
    xcb_convert_selection(m_connection, window, m_clipboard, target, m_property, XCB_CURRENT_TIME);
    xcb_flush(m_connection);

    Transfer transfer;
    switch (waitUntil(request, Clock::now() + m_timeout, [this] { return m_notify.has_value(); })) {
    case Wait::Done:
        break;
    case Wait::TimedOut:
        transfer.status = Transfer::TimedOut;
        return transfer;
    case Wait::Superseded:
        transfer.status = Transfer::Superseded;
        return transfer;
    case Wait::Failed:
        transfer.status = Transfer::Failed;
        return transfer;
    }
    if (m_notify->property == XCB_NONE) {
        transfer.status = Transfer::Refused;
        return transfer;
    }

    // Chunks of an INCR transfer are announced by new values written after this read.
    m_propertyWritten = false;
    auto value = reply(xcb_get_property_reply(m_connection,
                                              xcb_get_property(m_connection,
                                                               1,
                                                               window,
                                                               m_notify->property,
                                                               XCB_GET_PROPERTY_TYPE_ANY,
                                                               0,
                                                               UINT32_MAX / 4),
                                              nullptr));
    if (!value || value->type == XCB_NONE) {
        transfer.status = Transfer::Refused;
        return transfer;
    }
    transfer.type = value->type;
    transfer.format = value->format;
    if (value->type == m_incr) {
        // The INCR value is the owner's lower bound on the size; it is only a hint.
        if (value->format == 32 && xcb_get_property_value_length(value.get()) >= 4) {
            const quint32 announced = *static_cast<const quint32 *>(
                xcb_get_property_value(value.get()));
            transfer.data.reserve(std::min(qsizetype(announced), kMaxFlavorBytes));
        }
        return receiveIncrementally(request, window, transfer);
    }
    const int length = xcb_get_property_value_length(value.get());
    transfer.data = QByteArray(static_cast<const char *>(xcb_get_property_value(value.get())),
                               length);
    transfer.status = Transfer::Ok;
    return transfer;
}

Transfer X11SelectionReader::Worker::receiveIncrementally(const Request &request,
                                                          xcb_window_t window,
                                                          Transfer transfer)
{
    // Deleting the INCR property (done by the read above) asks the owner for the first chunk;
    // deleting each chunk asks for the next; an empty chunk ends the transfer.
    bool tooLarge = false;
    for (;;) {
        switch (waitUntil(request, Clock::now() + m_timeout, [this] { return m_propertyWritten; })) {
        case Wait::Done:
            break;
        case Wait::TimedOut:
            transfer.status = Transfer::TimedOut;
            return transfer;
        case Wait::Superseded:
            transfer.status = Transfer::Superseded;
            return transfer;
        case Wait::Failed:
            transfer.status = Transfer::Failed;
            return transfer;
        }
        m_propertyWritten = false;
        auto chunk = reply(xcb_get_property_reply(m_connection,
                                                  xcb_get_property(m_connection,
                                                                   1,
                                                                   window,
                                                                   m_property,
                                                                   XCB_GET_PROPERTY_TYPE_ANY,
                                                                   0,
                                                                   UINT32_MAX / 4),
                                                  nullptr));
        if (!chunk) {
            transfer.status = Transfer::Failed;
            return transfer;
        }
        const int length = xcb_get_property_value_length(chunk.get());
        if (length == 0) {
            transfer.status = tooLarge ? Transfer::Refused : Transfer::Ok;
            return transfer;
        }
        transfer.type = chunk->type;
        transfer.format = chunk->format;
        if (transfer.data.size() + length > kMaxFlavorBytes) {
            // Keep the owner going to the end, but hold none of it.
            tooLarge = true;
            transfer.data.clear();
        }
        if (!tooLarge) {
            makeRoomFor(transfer.data, length);
            transfer.data.append(static_cast<const char *>(xcb_get_property_value(chunk.get())),
                                 length);
        }
    }
}

X11SelectionReader::X11SelectionReader(const QByteArray &displayName,
                                       std::chrono::milliseconds requestTimeout,
                                       Callbacks callbacks,
                                       const QByteArray &selection)
    : m_worker(
        std::make_unique<Worker>(displayName, requestTimeout, std::move(callbacks), selection))
{}

X11SelectionReader::~X11SelectionReader() = default;

bool X11SelectionReader::isConnected() const
{
    return m_worker->connected();
}

qint64 X11SelectionReader::changeCount() const
{
    return m_worker->changeCount();
}

void X11SelectionReader::requestRead(quint64 readId, qint64 changeCount)
{
    m_worker->requestRead(readId, changeCount);
}

void X11SelectionReader::cancel()
{
    m_worker->cancel();
}
