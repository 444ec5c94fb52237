#pragma once

#include "Category.h"
#include "ClipItem.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QTimer>

#include <memory>
#include <optional>

class StoreWriter;
class TextRecognizer;

// The one owner of the clipboard history (newest first, at most 200 after a capture) and of the
// user's categories. Every change of either list is saved to "store.json" 300 ms after the last
// change; encoding and writing happen on a worker thread, in order. Main thread only.
class Store : public QObject
{
    Q_OBJECT

public:
    static constexpr int kHistoryLimit = 200;
    static constexpr int kSaveDebounceMs = 300;

    // When the file is read: in the constructor, or on a worker thread (see isLoaded()).
    enum class Loading { now, inBackground };

    // Loads the file at storeFilePath. A file that exists but cannot be read or decoded whole
    // is moved aside (renamed with the time in its name); the store starts with every entry and
    // category that could be decoded, and saves them.
    explicit Store(const QString &storeFilePath,
                   TextRecognizer *recognizer = nullptr,
                   QObject *parent = nullptr);
    Store(const QString &storeFilePath,
          Loading loading,
          TextRecognizer *recognizer = nullptr,
          QObject *parent = nullptr);
    // Writes a pending save and waits for the writer, so quitting loses nothing.
    ~Store() override;

    // <data folder>/Cliphaven/store.json, the folder created private to the user.
    static QString defaultStoreFilePath();

    const QList<ClipItem> &history() const { return m_history; }
    const QList<Category> &categories() const { return m_categories; }
    QString storeFilePath() const { return m_storeFilePath; }
    // Where a file that failed to load, whole or in part, was moved; empty when none was.
    QString keptAsidePath() const { return m_keptAsidePath; }
    // The file loaded was damaged: this many of its entries could not be read (the rest were
    // loaded), or nothing in it could be (not a store at all).
    int unreadableEntries() const { return m_unreadableEntries; }
    bool wasUnreadable() const { return m_unreadableFile; }

    // False while a background load runs. Meanwhile the lists hold only what was captured since;
    // those captures are put on top of the loaded history in their order, nothing is saved,
    // the backfill waits for the load, and every other change first waits for it to finish.
    bool isLoaded() const { return !m_loading; }
    // Blocks until a background load has finished and its lists are in place.
    void waitUntilLoaded();

    void setTextRecognizer(TextRecognizer *recognizer) { m_recognizer = recognizer; }

    // Dedupe against the newest entry, move an older equal entry to the front, else insert and
    // drop the oldest beyond the limit.
    void captureFromClipboard(const ClipItem &item);
    // Sets the OCR text of every image entry, in history and categories, with exactly these bytes.
    void setOCR(const QString &text, const QByteArray &imageData);
    // Recognises every distinct image without OCR text and stores the results.
    void backfillMissingOCR();
    std::optional<ClipItem> findItem(const QUuid &id) const;

    void deleteFromHistory(const QUuid &id);
    // Removes every history entry whose id is in ids, as one change.
    void deleteFromHistory(const QSet<QUuid> &ids);
    void eraseHistory();

    // Saves a copy (new id, current date) unless the category already holds the same content.
    void add(const ClipItem &item, const QUuid &categoryId);
    void deleteItem(const QUuid &itemId, const QUuid &categoryId);
    // Appends a new empty category and returns its id.
    QUuid addCategory(const QString &name);
    void deleteCategory(const QUuid &id);
    void renameCategory(const QUuid &id, const QString &name);
    // Moves a category so that it stands immediately before target.
    void reorderCategory(const QUuid &id, const QUuid &target);
    void setCategories(const QList<Category> &categories);
    const Category *category(const QUuid &id) const;

    // The debounce step: writes a pending save now instead of when the timer fires.
    void flushSave();
    bool hasPendingSave() const { return m_saveTimer.isActive(); }
    // Blocks until every save handed to the writer is on disk (tests, quitting).
    void waitForWrites();
    // Number of snapshots handed to the writer so far.
    int savesStarted() const { return m_savesStarted; }
    // Why the last save failed, in words ("the disk is full"); empty once a save succeeds. The
    // lists stay in memory and the save is retried, sooner first, then at most every minute.
    QString saveFailure() const { return m_saveFailure; }
    bool isRetryingSave() const { return m_retryTimer.isActive(); }
    int retryDelayMs() const { return m_retryDelayMs; }
    static constexpr int kFirstRetryMs = 2000;
    static constexpr int kLongestRetryMs = 60000;

signals:
    void historyChanged();
    void categoriesChanged();
    // A background load has finished; the lists changed with it.
    void loaded();
    void saveFailureChanged();

private:
    struct BackgroundLoad;
    struct FileContents;

    void apply(FileContents contents);
    void historyDidChange();
    void categoriesDidChange();
    void scheduleSave();
    void save();
    void writeFinished(quint64 generation, const QString &failure);
    Category *mutableCategory(const QUuid &id);

    QString m_storeFilePath;
    QString m_keptAsidePath;
    int m_unreadableEntries = 0;
    bool m_unreadableFile = false;
    QList<ClipItem> m_history;
    QList<Category> m_categories;
    TextRecognizer *m_recognizer = nullptr;
    QTimer m_saveTimer;
    QTimer m_retryTimer;
    int m_retryDelayMs = kFirstRetryMs;
    QString m_saveFailure;
    // Raised by every change; a write carries the value it saved.
    quint64 m_generation = 0;
    std::unique_ptr<StoreWriter> m_writer;
    int m_savesStarted = 0;
    bool m_loading = false;
    std::unique_ptr<BackgroundLoad> m_load;
    QList<ClipItem> m_capturedWhileLoading;
};
