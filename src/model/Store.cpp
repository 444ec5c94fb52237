#include "Store.h"

#include "StoreCodec.h"
#include "StoreWriter.h"
#include "TextRecognizer.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QLoggingCategory>
#include <QPointer>
#include <QSet>
#include <QStandardPaths>
#include <QtConcurrentRun>

#include <algorithm>
#include <sys/stat.h>

Q_LOGGING_CATEGORY(lcStore, "cliphaven.store")

namespace {

// Equal bytes, with a shortcut for the common case of one shared buffer.
bool sameBytes(const QByteArray &a, const QByteArray &b)
{
    if (a.size() != b.size())
        return false;
    return a.constData() == b.constData() || a == b;
}

// Moves a file that could not be loaded out of the way, so the first save does not destroy
// what the user had. Returns the new path, or empty when it could not be moved.
QString keepAside(const QString &path)
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString target = path + QStringLiteral(".unreadable-") + stamp;
    for (int n = 2; QFileInfo::exists(target); ++n)
        target = path + QStringLiteral(".unreadable-") + stamp + u'-' + QString::number(n);
    return QFile::rename(path, target) ? target : QString();
}

// A write cut short by a crash or kill leaves its temporary file; nothing else will remove it.
void removeStaleTemporaries(const QString &path)
{
    const QFileInfo info(path);
    QDir folder = info.absoluteDir();
    const QStringList stale = folder.entryList({StoreWriter::temporaryFilePattern(path)},
                                               QDir::Files | QDir::Hidden | QDir::System);
    for (const QString &name : stale)
        folder.remove(name);
}

} // namespace

// What reading the file found: nothing, what could be decoded, or a file that cannot be used.
struct Store::FileContents
{
    bool exists = false;
    std::optional<StoreCodec::Salvage> salvage;

    // Any thread: reads and decodes, and changes nothing. The bytes are a private copy, never a
    // map of the file: another program rewriting it in place (a backup restored with cp) would
    // otherwise pull pages from under the decoder. A file that changes while it is read is read
    // again, and after a few tries counts as unreadable.
    static FileContents read(const QString &path)
    {
        FileContents contents;
        for (int attempt = 0; attempt < 3; ++attempt) {
            QFile file(path);
            contents.exists = file.exists();
            if (!contents.exists || !file.open(QIODevice::ReadOnly))
                return contents;
            struct stat before = {};
            struct stat after = {};
            if (::fstat(file.handle(), &before) != 0)
                return contents;
            const QByteArray bytes = file.readAll();
            if (file.error() != QFileDevice::NoError || ::fstat(file.handle(), &after) != 0)
                return contents;
            if (before.st_size == after.st_size && after.st_size == bytes.size()
                && before.st_mtim.tv_sec == after.st_mtim.tv_sec
                && before.st_mtim.tv_nsec == after.st_mtim.tv_nsec) {
                contents.salvage = StoreCodec::salvage(bytes);
                return contents;
            }
        }
        return contents;
    }
};

struct Store::BackgroundLoad
{
    QFutureWatcher<FileContents> watcher;
};

Store::Store(const QString &storeFilePath, TextRecognizer *recognizer, QObject *parent)
    : Store(storeFilePath, Loading::now, recognizer, parent)
{}

Store::Store(const QString &storeFilePath,
             Loading loading,
             TextRecognizer *recognizer,
             QObject *parent)
    : QObject(parent)
    , m_storeFilePath(storeFilePath)
    , m_recognizer(recognizer)
    , m_writer(
          std::make_unique<StoreWriter>(storeFilePath, [this](const StoreWriter::Outcome &outcome) {
              // Queued to this object: dropped if the store is gone by then.
              QMetaObject::invokeMethod(
                  this,
                  [this, outcome] { writeFinished(outcome.generation, outcome.failure); },
                  Qt::QueuedConnection);
          }))
{
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(kSaveDebounceMs);
    connect(&m_saveTimer, &QTimer::timeout, this, &Store::save);
    m_retryTimer.setSingleShot(true);
    connect(&m_retryTimer, &QTimer::timeout, this, &Store::save);
    removeStaleTemporaries(m_storeFilePath);
    if (loading == Loading::now) {
        apply(FileContents::read(m_storeFilePath));
        return;
    }
    m_loading = true;
    m_load = std::make_unique<BackgroundLoad>();
    connect(&m_load->watcher, &QFutureWatcherBase::finished, this, &Store::waitUntilLoaded);
    m_load->watcher.setFuture(QtConcurrent::run(&FileContents::read, m_storeFilePath));
}

Store::~Store()
{
    // Whatever was captured while loading is saved with what was loaded.
    waitUntilLoaded();
    flushSave();
    waitForWrites();
}

void Store::apply(FileContents contents)
{
    if (!contents.exists)
        return;
    if (contents.salvage && contents.salvage->isWhole()) {
        m_history = std::move(contents.salvage->disk.history);
        m_categories = std::move(contents.salvage->disk.categories);
        return;
    }
    // Damaged: the original goes aside untouched, and whatever parsed is loaded and saved anew.
    m_keptAsidePath = keepAside(m_storeFilePath);
    if (!contents.salvage) {
        m_unreadableFile = true;
        qCWarning(lcStore) << "could not load" << m_storeFilePath << "; kept it as"
                           << m_keptAsidePath;
        return;
    }
    m_unreadableEntries = contents.salvage->unreadableEntries;
    qCWarning(lcStore) << "loaded" << m_storeFilePath << "without" << m_unreadableEntries
                       << "entries and" << contents.salvage->unreadableCategories
                       << "categories that could not be read; kept the original as"
                       << m_keptAsidePath;
    m_history = std::move(contents.salvage->disk.history);
    m_categories = std::move(contents.salvage->disk.categories);
    // Without a copy aside, the next save must not be the one that overwrites the original.
    if (!m_keptAsidePath.isEmpty())
        scheduleSave();
}

void Store::waitUntilLoaded()
{
    if (!m_loading)
        return;
    m_load->watcher.waitForFinished();
    m_loading = false;
    const QList<ClipItem> captured = std::exchange(m_capturedWhileLoading, {});
    m_history.clear();
    // Taken, not copied: the future would otherwise keep every loaded image alive.
    apply(m_load->watcher.future().takeResult());
    emit historyChanged();
    emit categoriesChanged();
    // The captures again, now against the whole history; they are what needs saving.
    for (const ClipItem &item : captured)
        captureFromClipboard(item);
    emit loaded();
}

QString Store::defaultStoreFilePath()
{
    QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (base.isEmpty())
        base = QDir::tempPath();
    const QString folder = base + QStringLiteral("/Cliphaven");
    QDir().mkpath(folder);
    // Tightened at every launch, not only when made: an older folder may be open to others.
    QFile::setPermissions(folder,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    return folder + QStringLiteral("/store.json");
}

void Store::historyDidChange()
{
    emit historyChanged();
    scheduleSave();
}

void Store::categoriesDidChange()
{
    emit categoriesChanged();
    scheduleSave();
}

void Store::scheduleSave()
{
    ++m_generation;
    // Until loaded, a save would replace the file with only the lists seen so far.
    if (!m_loading)
        m_saveTimer.start();
}

void Store::flushSave()
{
    // A failed save waiting for its retry is as unsaved as a pending one.
    if (!m_saveTimer.isActive() && !m_retryTimer.isActive())
        return;
    save();
}

void Store::save()
{
    m_saveTimer.stop();
    m_retryTimer.stop();
    // A snapshot costs two reference counts; encoding and writing happen on the writer.
    ++m_savesStarted;
    m_writer->write(StoreCodec::Disk{m_history, m_categories}, m_generation);
}

void Store::writeFinished(quint64 generation, const QString &failure)
{
    if (failure.isEmpty()) {
        m_retryDelayMs = kFirstRetryMs;
        if (!m_saveFailure.isEmpty()) {
            m_saveFailure.clear();
            emit saveFailureChanged();
        }
        return;
    }
    if (m_saveFailure != failure) {
        m_saveFailure = failure;
        emit saveFailureChanged();
    }
    // A newer change has its own save coming, which retries on its own failure.
    if (generation != m_generation || m_saveTimer.isActive())
        return;
    m_retryTimer.start(m_retryDelayMs);
    m_retryDelayMs = std::min(m_retryDelayMs * 2, kLongestRetryMs);
}

void Store::waitForWrites()
{
    m_writer->waitForIdle();
}

void Store::captureFromClipboard(const ClipItem &item)
{
    if (m_loading)
        m_capturedWhileLoading.append(item);
    if (!m_history.isEmpty() && m_history.first().sameContent(item))
        return;
    for (qsizetype i = 1; i < m_history.size(); ++i) {
        if (m_history.at(i).sameContent(item)) {
            m_history.move(i, 0);
            historyDidChange();
            return;
        }
    }
    m_history.prepend(item);
    if (m_history.size() > kHistoryLimit)
        m_history.removeLast();
    historyDidChange();
}

void Store::setOCR(const QString &text, const QByteArray &imageData)
{
    waitUntilLoaded();
    auto apply = [&](QList<ClipItem> &items) {
        bool changed = false;
        for (qsizetype i = 0; i < items.size(); ++i) {
            const ClipItem &item = items.at(i);
            if (item.imageData && sameBytes(*item.imageData, imageData) && item.ocrText != text) {
                items[i].ocrText = text;
                changed = true;
            }
        }
        return changed;
    };
    if (apply(m_history))
        historyDidChange();
    bool categoriesChanged = false;
    for (Category &category : m_categories)
        categoriesChanged |= apply(category.items);
    if (categoriesChanged)
        categoriesDidChange();
}

void Store::backfillMissingOCR()
{
    if (!m_recognizer)
        return;
    if (m_loading) {
        connect(this, &Store::loaded, this, &Store::backfillMissingOCR, Qt::SingleShotConnection);
        return;
    }
    QList<QByteArray> pending;
    QSet<QByteArray> seen;
    auto collect = [&](const QList<ClipItem> &items) {
        for (const ClipItem &item : items) {
            if (item.kind != ClipKind::Image || !item.imageData || item.ocrText)
                continue;
            if (!seen.contains(*item.imageData)) {
                seen.insert(*item.imageData);
                pending.append(*item.imageData);
            }
        }
    };
    collect(m_history);
    for (const Category &category : std::as_const(m_categories))
        collect(category.items);

    for (const QByteArray &data : std::as_const(pending)) {
        m_recognizer->recognize(data,
                                [self = QPointer<Store>(this), data](std::optional<QString> text) {
                                    if (self && text)
                                        self->setOCR(*text, data);
                                });
    }
}

std::optional<ClipItem> Store::findItem(const QUuid &id) const
{
    for (const ClipItem &item : m_history) {
        if (item.id == id)
            return item;
    }
    for (const Category &category : m_categories) {
        for (const ClipItem &item : category.items) {
            if (item.id == id)
                return item;
        }
    }
    return std::nullopt;
}

void Store::deleteFromHistory(const QUuid &id)
{
    waitUntilLoaded();
    if (m_history.removeIf([&](const ClipItem &item) { return item.id == id; }) > 0)
        historyDidChange();
}

void Store::deleteFromHistory(const QSet<QUuid> &ids)
{
    waitUntilLoaded();
    if (m_history.removeIf([&](const ClipItem &item) { return ids.contains(item.id); }) > 0)
        historyDidChange();
}

void Store::eraseHistory()
{
    waitUntilLoaded();
    if (m_history.isEmpty())
        return;
    m_history.clear();
    historyDidChange();
}

const Category *Store::category(const QUuid &id) const
{
    for (const Category &category : m_categories) {
        if (category.id == id)
            return &category;
    }
    return nullptr;
}

Category *Store::mutableCategory(const QUuid &id)
{
    for (Category &category : m_categories) {
        if (category.id == id)
            return &category;
    }
    return nullptr;
}

void Store::add(const ClipItem &item, const QUuid &categoryId)
{
    waitUntilLoaded();
    Category *category = mutableCategory(categoryId);
    if (!category)
        return;
    for (const ClipItem &existing : std::as_const(category->items)) {
        if (existing.sameContent(item))
            return;
    }
    ClipItem copy = item;
    copy.id = QUuid::createUuid();
    copy.createdAt = Timestamp::now();
    category->items.prepend(copy);
    categoriesDidChange();
}

void Store::deleteItem(const QUuid &itemId, const QUuid &categoryId)
{
    waitUntilLoaded();
    Category *category = mutableCategory(categoryId);
    if (!category)
        return;
    if (category->items.removeIf([&](const ClipItem &item) { return item.id == itemId; }) > 0)
        categoriesDidChange();
}

QUuid Store::addCategory(const QString &name)
{
    waitUntilLoaded();
    m_categories.append(Category::make(name));
    categoriesDidChange();
    return m_categories.last().id;
}

void Store::deleteCategory(const QUuid &id)
{
    waitUntilLoaded();
    if (m_categories.removeIf([&](const Category &category) { return category.id == id; }) > 0)
        categoriesDidChange();
}

void Store::renameCategory(const QUuid &id, const QString &name)
{
    waitUntilLoaded();
    Category *category = mutableCategory(id);
    if (!category || category->name == name)
        return;
    category->name = name;
    categoriesDidChange();
}

void Store::reorderCategory(const QUuid &id, const QUuid &target)
{
    waitUntilLoaded();
    if (id == target)
        return;
    qsizetype from = -1;
    qsizetype to = -1;
    for (qsizetype i = 0; i < m_categories.size(); ++i) {
        if (from < 0 && m_categories.at(i).id == id)
            from = i;
        if (to < 0 && m_categories.at(i).id == target)
            to = i;
    }
    if (from < 0 || to < 0)
        return;
    const qsizetype destination = from > to ? to : to - 1;
    if (destination == from)
        return;
    m_categories.move(from, destination);
    categoriesDidChange();
}

void Store::setCategories(const QList<Category> &categories)
{
    waitUntilLoaded();
    if (m_categories == categories)
        return;
    m_categories = categories;
    categoriesDidChange();
}
