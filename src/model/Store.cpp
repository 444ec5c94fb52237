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

} // namespace

// What reading the file found: nothing, the decoded lists, or a file that cannot be used.
struct Store::FileContents
{
    bool exists = false;
    std::optional<StoreCodec::Disk> disk;

    // Any thread: reads and decodes, and changes nothing.
    static FileContents read(const QString &path)
    {
        FileContents contents;
        QFile file(path);
        contents.exists = file.exists();
        if (!contents.exists || !file.open(QIODevice::ReadOnly))
            return contents;
        // Mapped, not read: the file's Base64 is decoded straight from the page cache.
        const qint64 size = file.size();
        if (uchar *mapped = size > 0 ? file.map(0, size) : nullptr) {
            contents.disk = StoreCodec::decode(
                QByteArrayView(reinterpret_cast<const char *>(mapped), qsizetype(size)));
            file.unmap(mapped);
        } else {
            const QByteArray bytes = file.readAll();
            if (file.error() == QFileDevice::NoError)
                contents.disk = StoreCodec::decode(bytes);
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
    , m_writer(std::make_unique<StoreWriter>(storeFilePath))
{
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(kSaveDebounceMs);
    connect(&m_saveTimer, &QTimer::timeout, this, &Store::save);
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
    if (!contents.disk) {
        m_keptAsidePath = keepAside(m_storeFilePath);
        qCWarning(lcStore) << "could not load" << m_storeFilePath << "; kept it as"
                           << m_keptAsidePath;
        return;
    }
    m_history = std::move(contents.disk->history);
    m_categories = std::move(contents.disk->categories);
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
    if (!QFileInfo::exists(folder) && QDir().mkpath(folder)) {
        QFile::setPermissions(folder,
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                  | QFileDevice::ExeOwner);
    }
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
    // Until loaded, a save would replace the file with only the lists seen so far.
    if (!m_loading)
        m_saveTimer.start();
}

void Store::flushSave()
{
    if (!m_saveTimer.isActive())
        return;
    m_saveTimer.stop();
    save();
}

void Store::save()
{
    // A snapshot costs two reference counts; encoding and writing happen on the writer.
    ++m_savesStarted;
    m_writer->write(StoreCodec::Disk{m_history, m_categories});
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
