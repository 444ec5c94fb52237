#include "X11Pasteboard.h"

#include "X11SelectionReader.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>

namespace {

// Serves every flavor under its own name, with the exact bytes it was captured with. Qt
// answers requests for UTF8_STRING, STRING and TEXT from "text/plain", so when the item has
// no "text/plain" of its own, the best UTF-8 text stands in for it.
class FlavorMimeData : public QMimeData
{
public:
    explicit FlavorMimeData(const Flavors &flavors)
        : m_flavors(flavors)
    {
        static const QString plain = QStringLiteral("text/plain");
        if (!m_flavors.contains(plain)) {
            for (const QString &utf8 :
                 {QStringLiteral("text/plain;charset=utf-8"), QStringLiteral("UTF8_STRING")}) {
                if (m_flavors.contains(utf8)) {
                    m_flavors.insert(plain, m_flavors.value(utf8));
                    break;
                }
            }
        }
    }

    QStringList formats() const override { return m_flavors.keys(); }
    bool hasFormat(const QString &mimeType) const override { return m_flavors.contains(mimeType); }

protected:
    QVariant retrieveData(const QString &mimeType, QMetaType type) const override
    {
        const QByteArray bytes = m_flavors.value(mimeType);
        // Qt asks for the image itself when it converts to an image type the item lacks.
        if (type.id() == QMetaType::QImage)
            return QImage::fromData(bytes);
        return bytes;
    }

private:
    Flavors m_flavors;
};

} // namespace

X11Pasteboard::X11Pasteboard(QObject *parent)
    : X11Pasteboard(X11SelectionReader::kDefaultRequestTimeout, parent)
{}

X11Pasteboard::X11Pasteboard(std::chrono::milliseconds requestTimeout, QObject *parent)
    : Pasteboard(parent)
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
    callbacks.finished = [this](quint64 readId, Flavors flavors) {
        QMetaObject::invokeMethod(
            this,
            [this, readId, flavors = std::move(flavors)]() mutable {
                finishRead(readId, std::move(flavors));
            },
            Qt::QueuedConnection);
    };
    m_reader = std::make_unique<X11SelectionReader>(QByteArray(), requestTimeout, callbacks);
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

void X11Pasteboard::finishRead(quint64 readId, Flavors flavors)
{
    if (readId != m_readId)
        return;
    m_readId = 0;
    if (ReadCompletion completion = std::exchange(m_completion, {}))
        completion(std::move(flavors));
}

void X11Pasteboard::writeFlavors(const Flavors &flavors)
{
    // An empty item rather than QClipboard::clear(): clearing asks the current owner for its
    // targets first, on this thread, and a dead owner would stall it.
    QGuiApplication::clipboard()->setMimeData(new FlavorMimeData(flavors), QClipboard::Clipboard);
}

void X11Pasteboard::writeString(const QString &text)
{
    auto *data = new QMimeData;
    data->setText(text);
    QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
}
