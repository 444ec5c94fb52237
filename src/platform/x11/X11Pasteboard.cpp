#include "X11Pasteboard.h"

#include "X11SelectionReader.h"
#include "model/TextFlavors.h"

#include <QAbstractNativeEventFilter>
#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>

#include <xcb/xcb.h>

namespace {

// Serves every flavor under its own name: text types with bytes derived from the item's one
// Unicode text, everything else with the exact bytes it was captured with.
//
// Qt's xcb clipboard answers UTF8_STRING, STRING and TEXT from the "text/plain" format (UTF-8
// as is for UTF8_STRING, converted to Latin-1 for the other two), and a request for a
// "text/plain" target from the same format; other targets by their own name. So "text/plain"
// must hold the real text in UTF-8, never GTK's ASCII with backslash-u escapes; COMPOUND_TEXT
// is derived here.
class FlavorMimeData : public QMimeData
{
public:
    explicit FlavorMimeData(const Flavors &flavors)
        : m_flavors(flavors)
        , m_text(TextFlavors::plainText(flavors))
    {
        if (m_text) {
            for (const QString &type : {TextFlavors::kPlain, TextFlavors::kCompoundText})
                m_flavors.insert(type, {});
        }
    }

    QStringList formats() const override { return m_flavors.keys(); }
    bool hasFormat(const QString &mimeType) const override { return m_flavors.contains(mimeType); }

protected:
    QVariant retrieveData(const QString &mimeType, QMetaType type) const override
    {
        if (m_text && TextFlavors::kServedTypes.contains(mimeType))
            return TextFlavors::bytesFor(mimeType, *m_text);
        const QByteArray bytes = m_flavors.value(mimeType);
        // Qt asks for the image itself when it converts to an image type the item lacks.
        if (type.id() == QMetaType::QImage)
            return QImage::fromData(bytes);
        return bytes;
    }

private:
    Flavors m_flavors;
    std::optional<QString> m_text;
};

// Qt answers STRING and TEXT by converting its "text/plain" to Latin-1 one UTF-16 unit at a
// time (an emoji becomes "??") and labels the TEXT reply with the type TEXT, which the
// protocol does not allow. This filter answers those two targets itself while this process
// owns the selection: STRING in Latin-1, TEXT as STRING when Latin-1 can hold the text, else
// as COMPOUND_TEXT. Large replies, which need incremental transfer, are left to Qt.
class LegacyTextServer : public QAbstractNativeEventFilter
{
public:
    LegacyTextServer()
    {
        if (const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>())
            m_connection = x11->connection();
        if (!m_connection)
            return;
        m_clipboard = intern("CLIPBOARD");
        m_text = intern("TEXT");
        m_compoundText = intern("COMPOUND_TEXT");
        qGuiApp->installNativeEventFilter(this);
    }
    ~LegacyTextServer() override
    {
        if (m_connection && qGuiApp)
            qGuiApp->removeNativeEventFilter(this);
    }

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *) override
    {
        if (eventType != "xcb_generic_event_t")
            return false;
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        if ((event->response_type & 0x7f) != XCB_SELECTION_REQUEST)
            return false;
        const auto *request = static_cast<const xcb_selection_request_event_t *>(message);
        if (request->target != XCB_ATOM_STRING && request->target != m_text)
            return false;
        QClipboard::Mode mode;
        if (request->selection == m_clipboard)
            mode = QClipboard::Clipboard;
        else if (request->selection == XCB_ATOM_PRIMARY)
            mode = QClipboard::Selection;
        else
            return false;
        QClipboard *clipboard = QGuiApplication::clipboard();
        // Only our own data is local; anything else would be a round trip to another owner.
        if (!(mode == QClipboard::Clipboard ? clipboard->ownsClipboard()
                                            : clipboard->ownsSelection()))
            return false;
        const QMimeData *data = clipboard->mimeData(mode);
        if (!data || !data->hasFormat(TextFlavors::kPlain))
            return false;
        const QString text = QString::fromUtf8(data->data(TextFlavors::kPlain));

        const QString asked = request->target == m_text ? TextFlavors::kText : TextFlavors::kString;
        const QByteArray bytes = TextFlavors::bytesFor(asked, text);
        const xcb_atom_t type = TextFlavors::replyType(asked, text) == TextFlavors::kString
                                    ? xcb_atom_t(XCB_ATOM_STRING)
                                    : m_compoundText;
        if (bytes.size() > kLargestDirectReply)
            return false;
        const xcb_atom_t property = request->property != XCB_NONE ? request->property
                                                                  : request->target;
        xcb_change_property(m_connection,
                            XCB_PROP_MODE_REPLACE,
                            request->requestor,
                            property,
                            type,
                            8,
                            uint32_t(bytes.size()),
                            bytes.constData());
        xcb_selection_notify_event_t notify = {};
        notify.response_type = XCB_SELECTION_NOTIFY;
        notify.time = request->time;
        notify.requestor = request->requestor;
        notify.selection = request->selection;
        notify.target = request->target;
        notify.property = property;
        xcb_send_event(m_connection,
                       0,
                       request->requestor,
                       XCB_EVENT_MASK_NO_EVENT,
                       reinterpret_cast<const char *>(&notify));
        xcb_flush(m_connection);
        return true;
    }

private:
    // Well below the smallest request size servers accept (256 KiB).
    static constexpr qsizetype kLargestDirectReply = 64 * 1024;

    xcb_atom_t intern(const char *name)
    {
        xcb_intern_atom_reply_t *reply
            = xcb_intern_atom_reply(m_connection,
                                    xcb_intern_atom(m_connection, 0, uint16_t(qstrlen(name)), name),
                                    nullptr);
        const xcb_atom_t atom = reply ? reply->atom : xcb_atom_t(XCB_NONE);
        free(reply);
        return atom;
    }

    xcb_connection_t *m_connection = nullptr;
    xcb_atom_t m_clipboard = XCB_NONE;
    xcb_atom_t m_text = XCB_NONE;
    xcb_atom_t m_compoundText = XCB_NONE;
};

} // namespace

X11Pasteboard::X11Pasteboard(QObject *parent)
    : X11Pasteboard(X11SelectionReader::kDefaultRequestTimeout, parent)
{}

X11Pasteboard::X11Pasteboard(std::chrono::milliseconds requestTimeout,
                             QObject *parent,
                             Selection selection)
    : Pasteboard(parent)
    , m_selection(selection)
{
    X11SelectionReader::Callbacks callbacks;
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
    callbacks.ownerGone = [this](qint64 lostChange) {
        QMetaObject::invokeMethod(
            this, [this, lostChange] { emit ownerGone(lostChange); }, Qt::QueuedConnection);
    };
    callbacks.finished = [this](quint64 readId, Flavors flavors, QString owner) {
        QMetaObject::invokeMethod(
            this,
            [this, readId, flavors = std::move(flavors), owner = std::move(owner)]() mutable {
                finishRead(readId, std::move(flavors), std::move(owner));
            },
            Qt::QueuedConnection);
    };
    const bool clipboard = selection == Selection::clipboard;
    m_reader = std::make_unique<X11SelectionReader>(QByteArray(),
                                                    requestTimeout,
                                                    callbacks,
                                                    clipboard ? QByteArrayLiteral("CLIPBOARD")
                                                              : QByteArrayLiteral("PRIMARY"));
    // One filter serves both selections.
    if (clipboard && QGuiApplication::platformName() == u"xcb")
        m_legacyText = std::make_shared<LegacyTextServer>();
}

X11Pasteboard::~X11Pasteboard()
{
    // Stops the reader's thread before anything it might call back into goes away.
    m_reader.reset();
}

bool X11Pasteboard::isConnected() const
{
    return m_reader->isConnected();
}

qint64 X11Pasteboard::changeCount() const
{
    return m_reader->changeCount();
}

void X11Pasteboard::readFirstItem(ReadCompletion completion)
{
    m_completion = std::move(completion);
    m_readId = ++m_lastReadId;
    m_reader->requestRead(m_readId, m_reader->changeCount());
}

void X11Pasteboard::cancelRead()
{
    if (!m_readId)
        return;
    m_readId = 0;
    m_completion = {};
    m_reader->cancel();
}

void X11Pasteboard::finishRead(quint64 readId, Flavors flavors, QString owner)
{
    if (readId != m_readId)
        return;
    m_readId = 0;
    m_lastReadOwner = std::move(owner);
    if (ReadCompletion completion = std::exchange(m_completion, {}))
        completion(std::move(flavors));
}

void X11Pasteboard::writeFlavors(const Flavors &flavors)
{
    // An empty item rather than QClipboard::clear(): clearing asks the current owner for its
    // targets first, on this thread, and a dead owner would stall it.
    QGuiApplication::clipboard()->setMimeData(new FlavorMimeData(flavors),
                                              m_selection == Selection::clipboard
                                                  ? QClipboard::Clipboard
                                                  : QClipboard::Selection);
}

void X11Pasteboard::writeString(const QString &text)
{
    QGuiApplication::clipboard()->setMimeData(new FlavorMimeData(
                                                  {{TextFlavors::kUtf8String, text.toUtf8()}}),
                                              m_selection == Selection::clipboard
                                                  ? QClipboard::Clipboard
                                                  : QClipboard::Selection);
}

void X11Pasteboard::writePrimaryString(const QString &text)
{
    QGuiApplication::clipboard()->setMimeData(new FlavorMimeData(
                                                  {{TextFlavors::kUtf8String, text.toUtf8()}}),
                                              QClipboard::Selection);
}

bool X11Pasteboard::holdsOwnContent() const
{
    const QClipboard *clipboard = QGuiApplication::clipboard();
    return m_selection == Selection::clipboard ? clipboard->ownsClipboard()
                                               : clipboard->ownsSelection();
}
