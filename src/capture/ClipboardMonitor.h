#pragma once

#include "capture/ItemRules.h"
#include "model/ClipItem.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QObject>
#include <QThreadPool>
#include <QTimer>

#include <functional>
#include <optional>

class AppPrefs;
class Pasteboard;
class Sounds;
class Workspace;

// Watches the clipboard's change count and turns each new, wanted change into one ClipItem,
// handed out through onNew(). Polls every 0.5 s and, because the count moves with an event
// here, also as soon as it moves. Reading the clipboard and building the item happen off the
// main thread; only the newest change's item is ever delivered, so a change seen while an
// earlier one is still being read supersedes it.
//
// It also keeps the clipboard alive: when the program that owned it goes away and what it
// owned was recorded, the recorded item is put back on the clipboard (not recorded again), so
// a copy outlives the program it was made in.
//
// A copy that its own program replaces with a blank clipboard within a minute is a secret held
// briefly (password tools do this): with the preference on, it is reported through
// transientCopyCleared() to be removed from the history, and the clearing is not recorded.
// Main thread only.
class ClipboardMonitor : public QObject
{
    Q_OBJECT

public:
    static constexpr int kPollIntervalMs = 500;
    static constexpr int kTransientCopyMs = 60 * 1000;

    // Whatever is on the clipboard now is taken as seen and never captured.
    ClipboardMonitor(Pasteboard &pasteboard,
                     Workspace &workspace,
                     AppPrefs &prefs,
                     Sounds &sounds,
                     QObject *parent = nullptr);
    ~ClipboardMonitor() override;

    // Makes this a monitor of the text selection (PRIMARY): a change is read only once the
    // selection has stayed the same for settleMs, so a selection still growing under the mouse
    // is recorded once; only non-blank text is recorded, never this process's own selection,
    // and the selection is neither kept alive nor checked for transient copies. Before start().
    void settleSelection(int settleMs);
    static constexpr int kSelectionSettleMs = 1000;

    // (Re)starts the 0.5 s polling, and polling on every move of the change count.
    void start();
    // One check of the clipboard: the step the timer and change events drive.
    void poll();

    // The clipboard's text (empty when it has none), for pasting into Cliphaven's own text
    // fields: read off the main thread like a capture, and sharing the capture's read, so
    // neither cancels the other. The completion runs later on the main thread.
    void readText(std::function<void(const QString &)> completion);

    qint64 lastChange() const { return m_lastChange; }
    // Set by the paste-back right before it writes, so that its own write is not captured.
    bool suppressNextChange() const { return m_suppressNextChange; }
    void setSuppressNextChange(bool suppress) { m_suppressNextChange = suppress; }

    // The item rules (ItemRules): the entry point for callers of the monitor.
    static std::optional<ClipItem> itemFromFlavors(const Flavors &flavors)
    {
        return ItemRules::itemFromFlavors(flavors);
    }

signals:
    // Each captured item, after the copy sound has started.
    void onNew(const ClipItem &item);
    // An item delivered earlier turned out to be a transient copy; it no longer belongs in the
    // history.
    void transientCopyCleared(const ClipItem &item);

private:
    bool isFrontmostIgnored() const;
    // Reads the clipboard for the waiting text requests and, given a serial, for a capture.
    void read(std::optional<quint64> captureSerial, qint64 change);
    void readSettled();
    void build(quint64 serial, qint64 change, Flavors flavors, const QString &owner);
    void deliver(quint64 serial,
                 qint64 change,
                 const std::optional<ClipItem> &item,
                 const QString &owner);
    bool clearsTransientCopy(const Flavors &flavors, const QString &owner);
    void keepAlive(qint64 lostChange);

    Pasteboard &m_pasteboard;
    Workspace &m_workspace;
    AppPrefs &m_prefs;
    Sounds &m_sounds;
    qint64 m_lastChange = 0;
    QTimer m_timer;
    bool m_suppressNextChange = false;
    // The newest item recorded and the change it was recorded for.
    std::optional<ClipItem> m_recorded;
    qint64 m_recordedChange = -1;
    // The program that made the newest recorded copy, and until when clearing it makes it
    // transient.
    QString m_recordedOwner;
    QDeadlineTimer m_transientUntil;
    // Runs while a selection settles; 0 settle time for the clipboard.
    int m_settleMs = 0;
    QTimer m_settleTimer;
    // Since the newest change was seen.
    QElapsedTimer m_changeClock;
    // Moves with every change seen; work started for an older value is dropped.
    quint64 m_serial = 0;
    // Decoding and re-encoding a large image takes long; it never runs on the main thread.
    QThreadPool m_builders;
    // The read in progress (0: none); an older one's result is not used.
    quint64 m_currentRead = 0;
    quint64 m_lastReadId = 0;
    QList<std::function<void(const QString &)>> m_textRequests;
};
