#pragma once

#include "model/ClipItem.h"

#include <QElapsedTimer>
#include <QObject>
#include <QThreadPool>
#include <QTimer>

#include <optional>

class AppPrefs;
class Pasteboard;
class Sounds;
class Workspace;

// Watches the clipboard's change count and turns each new, wanted change into one ClipItem,
// handed out through onNew(). Polls every 0.5 s and, because the count moves with an event
// here, also as soon as it moves. Reading the clipboard and building the item happen off the
// main thread; only the newest change's item is ever delivered, so a change seen while an
// earlier one is still being read supersedes it. Main thread only.
class ClipboardMonitor : public QObject
{
    Q_OBJECT

public:
    static constexpr int kPollIntervalMs = 500;

    // Types the item rules look for, as clipboard owners name them.
    static inline const QString kPngType = QStringLiteral("image/png");
    static inline const QString kTiffType = QStringLiteral("image/tiff");
    // The plain-text types in order of preference.
    static inline const QStringList kPlainTextTypes = {QStringLiteral("text/plain;charset=utf-8"),
                                                       QStringLiteral("UTF8_STRING"),
                                                       QStringLiteral("text/plain")};
    // Password managers mark what they copy with this type holding "secret".
    static inline const QString kPasswordManagerHintType = QStringLiteral(
        "x-kde-passwordManagerHint");

    // Whatever is on the clipboard now is taken as seen and never captured.
    ClipboardMonitor(Pasteboard &pasteboard,
                     Workspace &workspace,
                     AppPrefs &prefs,
                     Sounds &sounds,
                     QObject *parent = nullptr);
    ~ClipboardMonitor() override;

    // (Re)starts the 0.5 s polling, and polling on every move of the change count.
    void start();
    // One check of the clipboard: the step the timer and change events drive.
    void poll();

    qint64 lastChange() const { return m_lastChange; }
    // Set by the paste-back right before it writes, so that its own write is not captured.
    bool suppressNextChange() const { return m_suppressNextChange; }
    void setSuppressNextChange(bool suppress) { m_suppressNextChange = suppress; }

    // The item rules: PNG, then TIFF or another decodable image converted to PNG, then non-blank
    // UTF-8 text, else a label naming the formats. Nothing for no flavors or a password
    // manager's copy. Safe on any thread.
    static std::optional<ClipItem> itemFromFlavors(const Flavors &flavors);
    // "[n formats]  a, b": the count and the two smallest type names.
    static QString formatsLabel(const Flavors &flavors);
    static bool isConcealed(const Flavors &flavors);

signals:
    // Each captured item, after the copy sound has started.
    void onNew(const ClipItem &item);

private:
    bool isFrontmostIgnored() const;
    void build(quint64 serial, Flavors flavors);
    void deliver(quint64 serial, const std::optional<ClipItem> &item);

    Pasteboard &m_pasteboard;
    Workspace &m_workspace;
    AppPrefs &m_prefs;
    Sounds &m_sounds;
    qint64 m_lastChange = 0;
    QTimer m_timer;
    bool m_suppressNextChange = false;
    // Since the newest change was seen.
    QElapsedTimer m_changeClock;
    // Moves with every change seen; work started for an older value is dropped.
    quint64 m_serial = 0;
    // Decoding and re-encoding a large image takes long; it never runs on the main thread.
    QThreadPool m_builders;
};
