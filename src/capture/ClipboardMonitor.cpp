#include "ClipboardMonitor.h"

#include "app/AppPrefs.h"
#include "model/TextFlavors.h"
#include "paste/Sounds.h"
#include "platform/Pasteboard.h"
#include "platform/Workspace.h"

#include <QLoggingCategory>
#include <QStringDecoder>
#include <QtConcurrent/QtConcurrentRun>

// One line per recorded copy, so capture can be timed from outside: its kind, size, flavor
// count and the time from the change to the item in the store; never the content.
// QT_LOGGING_RULES="cliphaven.capture.debug=true" shows it.
Q_LOGGING_CATEGORY(lcCapture, "cliphaven.capture", QtInfoMsg)

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
    m_settleTimer.setSingleShot(true);
    connect(&m_settleTimer, &QTimer::timeout, this, &ClipboardMonitor::readSettled);
}

void ClipboardMonitor::settleSelection(int settleMs)
{
    m_settleMs = settleMs;
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
    if (!m_settleMs) {
        connect(&m_pasteboard,
                &Pasteboard::ownerGone,
                this,
                &ClipboardMonitor::keepAlive,
                Qt::UniqueConnection);
    }
}

void ClipboardMonitor::poll()
{
    const qint64 count = m_pasteboard.changeCount();
    if (count == m_lastChange)
        return;
    m_lastChange = count;
    m_changeClock.start();
    // Whatever is still being read belongs to an older change: the owner has moved on.
    ++m_serial;
    m_pasteboard.cancelRead();
    m_currentRead = 0;

    bool capture = true;
    if (m_suppressNextChange) {
        m_suppressNextChange = false;
        capture = false;
    } else if (m_prefs.paused() || isFrontmostIgnored()) {
        capture = false;
    }
    if (capture && m_settleMs) {
        // Every further change starts the wait again.
        m_settleTimer.start(m_settleMs);
        capture = false;
    }
    if (capture)
        read(m_serial, count);
    else if (!m_textRequests.isEmpty())
        read(std::nullopt, count);
}

void ClipboardMonitor::readSettled()
{
    // Our own selection (set for a Shift+Insert paste) is no new copy; asked only now, when
    // the change that replaced it has long reached this process.
    if (m_pasteboard.holdsOwnContent() || m_pasteboard.changeCount() != m_lastChange)
        return;
    read(m_serial, m_lastChange);
}

void ClipboardMonitor::readText(std::function<void(const QString &)> completion)
{
    m_textRequests.append(std::move(completion));
    if (!m_currentRead)
        read(std::nullopt, m_lastChange);
}

void ClipboardMonitor::read(std::optional<quint64> captureSerial, qint64 change)
{
    const quint64 readId = ++m_lastReadId;
    m_currentRead = readId;
    m_pasteboard.readFirstItem([this, readId, captureSerial, change](Flavors flavors) {
        if (readId != m_currentRead)
            return;
        m_currentRead = 0;
        if (!m_textRequests.isEmpty()) {
            const QString text = TextFlavors::plainText(flavors).value_or(QString());
            for (const auto &completion : std::exchange(m_textRequests, {}))
                completion(text);
        }
        if (captureSerial)
            build(*captureSerial, change, std::move(flavors), m_pasteboard.lastReadOwner());
    });
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

void ClipboardMonitor::build(quint64 serial, qint64 change, Flavors flavors, const QString &owner)
{
    if (serial != m_serial)
        return;
    if (m_settleMs) {
        const std::optional<QString> text = TextFlavors::plainText(flavors);
        if (!text || text->trimmed().isEmpty() || ItemRules::isConcealed(flavors))
            return;
        // A selection is text: whatever else its owner offers with it is not kept.
        flavors = {{TextFlavors::kUtf8String, text->toUtf8()}};
    } else if (clearsTransientCopy(flavors, owner)) {
        return;
    }
    QtConcurrent::run(&m_builders, [flavors = std::move(flavors)] {
        return ItemRules::itemFromFlavors(flavors);
    }).then(this, [this, serial, change, owner](const std::optional<ClipItem> &item) {
        deliver(serial, change, item, owner);
    });
}

bool ClipboardMonitor::clearsTransientCopy(const Flavors &flavors, const QString &owner)
{
    if (!m_prefs.forgetTransientCopies() || !m_recorded || owner.isEmpty()
        || owner != m_recordedOwner || m_transientUntil.hasExpired()
        || !ItemRules::isBlank(flavors)) {
        return false;
    }
    const ClipItem secret = *std::exchange(m_recorded, std::nullopt);
    m_recordedOwner.clear();
    emit transientCopyCleared(secret);
    return true;
}

void ClipboardMonitor::deliver(quint64 serial,
                               qint64 change,
                               const std::optional<ClipItem> &item,
                               const QString &owner)
{
    if (serial != m_serial || !item)
        return;
    m_recorded = item;
    m_recordedChange = change;
    m_recordedOwner = owner;
    m_transientUntil.setRemainingTime(kTransientCopyMs);
    m_sounds.copy();
    emit onNew(*item);
    // The receivers have stored the item by now (direct connections).
    if (lcCapture().isDebugEnabled()) {
        const qsizetype bytes = item->kind == ClipKind::Image
                                    ? item->imageData.value_or(QByteArray()).size()
                                    : item->text.value_or(QString()).toUtf8().size();
        qCDebug(lcCapture).noquote() << QStringLiteral("captured %1, %2 bytes, %3 flavors, %4 ms")
                                            .arg(clipKindRawValue(item->kind))
                                            .arg(bytes)
                                            .arg(item->flavors ? item->flavors->size() : 0)
                                            .arg(m_changeClock.nsecsElapsed() / 1e6, 0, 'f', 1);
    }
}

void ClipboardMonitor::keepAlive(qint64 lostChange)
{
    // Only what was recorded comes back: a copy made while paused, in an ignored application
    // or by a password manager leaves with its program.
    if (lostChange != m_recordedChange || !m_recorded || !m_recorded->flavors
        || m_recorded->flavors->isEmpty()) {
        return;
    }
    // The owner's exit is a change of its own; it is taken as seen before writing, so that
    // exactly the write is suppressed.
    poll();
    m_suppressNextChange = true;
    m_pasteboard.writeFlavors(*m_recorded->flavors);
}
