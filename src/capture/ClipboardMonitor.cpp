#include "ClipboardMonitor.h"

#include "app/AppPrefs.h"
#include "paste/Sounds.h"
#include "platform/Pasteboard.h"
#include "platform/Workspace.h"

#include <QBuffer>
#include <QImage>
#include <QImageWriter>
#include <QStringDecoder>
#include <QtConcurrent/QtConcurrentRun>

namespace {

QByteArray encodePng(const QImage &image)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    if (!writer.write(image))
        return {};
    return png;
}

std::optional<QString> decodeUtf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

ClipItem withFlavors(ClipItem item, const Flavors &flavors)
{
    item.flavors = flavors;
    return item;
}

} // namespace

ClipboardMonitor::ClipboardMonitor(
    Pasteboard &pasteboard, Workspace &workspace, AppPrefs &prefs, Sounds &sounds, QObject *parent)
    : QObject(parent)
    , m_pasteboard(pasteboard)
    , m_workspace(workspace)
    , m_prefs(prefs)
    , m_sounds(sounds)
    , m_lastChange(pasteboard.changeCount())
{
    m_timer.setInterval(kPollIntervalMs);
    connect(&m_timer, &QTimer::timeout, this, &ClipboardMonitor::poll);
    // One image may take seconds; a second thread lets a newer copy through meanwhile.
    m_builders.setMaxThreadCount(2);
}

ClipboardMonitor::~ClipboardMonitor()
{
    m_pasteboard.cancelRead();
    ++m_serial;
    m_builders.waitForDone();
}

void ClipboardMonitor::start()
{
    m_timer.start();
    connect(&m_pasteboard, &Pasteboard::changed, this, &ClipboardMonitor::poll, Qt::UniqueConnection);
}

void ClipboardMonitor::poll()
{
    const qint64 count = m_pasteboard.changeCount();
    if (count == m_lastChange)
        return;
    m_lastChange = count;
    // Whatever is still being read belongs to an older change: the owner has moved on.
    ++m_serial;
    m_pasteboard.cancelRead();

    if (m_suppressNextChange) {
        m_suppressNextChange = false;
        return;
    }
    if (m_prefs.paused())
        return;
    if (isFrontmostIgnored())
        return;

    const quint64 serial = m_serial;
    m_pasteboard.readFirstItem(
        [this, serial](Flavors flavors) { build(serial, std::move(flavors)); });
}

bool ClipboardMonitor::isFrontmostIgnored() const
{
    const std::optional<RunningApplication> app = m_workspace.frontmostApplication();
    if (!app)
        return false;
    // An application chosen from its desktop entry without StartupWMClass is stored by its
    // program's name, which may be either part of WM_CLASS: "telegram-desktop" is the instance
    // of the class "TelegramDesktop". The parts also differ in case ("xterm", "XTerm").
    const QStringList ignored = m_prefs.ignoredApps();
    const auto isIgnored = [&](const QString &name) {
        return !name.isEmpty() && ignored.contains(name, Qt::CaseInsensitive);
    };
    return isIgnored(app->identifier) || isIgnored(app->instanceName);
}

void ClipboardMonitor::build(quint64 serial, Flavors flavors)
{
    if (serial != m_serial)
        return;
    QtConcurrent::run(&m_builders, [flavors = std::move(flavors)] {
        return itemFromFlavors(flavors);
    }).then(this, [this, serial](const std::optional<ClipItem> &item) { deliver(serial, item); });
}

void ClipboardMonitor::deliver(quint64 serial, const std::optional<ClipItem> &item)
{
    if (serial != m_serial || !item)
        return;
    m_sounds.copy();
    emit onNew(*item);
}

std::optional<ClipItem> ClipboardMonitor::itemFromFlavors(const Flavors &flavors)
{
    if (flavors.isEmpty() || isConcealed(flavors))
        return std::nullopt;

    if (const auto png = flavors.constFind(kPngType); png != flavors.cend())
        return withFlavors(ClipItem::makeImage(*png), flavors);

    // TIFF first, then any other image type the image plugins can read, in name order.
    QStringList imageTypes;
    if (flavors.contains(kTiffType))
        imageTypes.append(kTiffType);
    for (auto it = flavors.cbegin(); it != flavors.cend(); ++it) {
        if (it.key().startsWith(u"image/") && it.key() != kTiffType)
            imageTypes.append(it.key());
    }
    for (const QString &type : std::as_const(imageTypes)) {
        const QImage image = QImage::fromData(flavors.value(type));
        if (image.isNull())
            continue;
        const QByteArray png = encodePng(image);
        if (png.isEmpty())
            continue;
        Flavors withPng = flavors;
        withPng.insert(kPngType, png);
        return withFlavors(ClipItem::makeImage(png), withPng);
    }

    for (const QString &type : kPlainTextTypes) {
        const auto found = flavors.constFind(type);
        if (found == flavors.cend())
            continue;
        const std::optional<QString> text = decodeUtf8(*found);
        if (text && !text->trimmed().isEmpty())
            return withFlavors(ClipItem::makeText(*text), flavors);
        break;
    }

    return withFlavors(ClipItem::makeText(formatsLabel(flavors)), flavors);
}

QString ClipboardMonitor::formatsLabel(const Flavors &flavors)
{
    const qsizetype count = flavors.size();
    const QStringList smallest = flavors.keys().mid(0, 2);
    const QString noun = count == 1 ? QStringLiteral("format") : QStringLiteral("formats");
    return u'[' + QString::number(count) + u' ' + noun + u"]  " + smallest.join(u", ");
}

bool ClipboardMonitor::isConcealed(const Flavors &flavors)
{
    const auto hint = flavors.constFind(kPasswordManagerHintType);
    return hint != flavors.cend() && hint->trimmed() == "secret";
}
