#pragma once

#include "platform/Pasteboard.h"

#include <atomic>
#include <chrono>
#include <memory>

class QAbstractNativeEventFilter;
class X11SelectionReader;

// The CLIPBOARD selection of the X server, or the PRIMARY one (the text selection). Watching
// and reading run on a thread of their own (X11SelectionReader); writing goes through
// QClipboard, and the process then serves the selection from its event loop.
class X11Pasteboard : public Pasteboard
{
    Q_OBJECT

public:
    enum class Selection { clipboard, primary };

    explicit X11Pasteboard(QObject *parent = nullptr);
    // requestTimeout: how long one request to the owner (or one INCR chunk) may take.
    X11Pasteboard(std::chrono::milliseconds requestTimeout,
                  QObject *parent = nullptr,
                  Selection selection = Selection::clipboard);
    ~X11Pasteboard() override;

    // False without an X display: the count never moves and reads find nothing.
    bool isConnected() const;

    qint64 changeCount() const override;
    void readFirstItem(ReadCompletion completion) override;
    void cancelRead() override;
    void writeFlavors(const Flavors &flavors) override;
    void writeString(const QString &text) override;
    void writePrimaryString(const QString &text) override;
    QString lastReadOwner() const override { return m_lastReadOwner; }
    bool holdsOwnContent() const override;

private:
    void finishRead(quint64 readId, Flavors flavors, QString owner);

    const Selection m_selection;
    ReadCompletion m_completion;
    quint64 m_readId = 0;
    quint64 m_lastReadId = 0;
    QString m_lastReadOwner;
    std::atomic<bool> m_changePosted{false};
    std::unique_ptr<X11SelectionReader> m_reader;
    // Answers the legacy text targets Qt gets wrong; none off X11.
    std::shared_ptr<QAbstractNativeEventFilter> m_legacyText;
};
