#include "ClipListModel.h"

#include "CodeText.h"
#include "OverlayState.h"
#include "TileImageProvider.h"
#include "capture/LinkPreviewCache.h"
#include "model/Store.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QImageReader>
#include <QPointer>
#include <QTimer>

namespace {

// While another caller's fetch of the same link runs, its result is looked for this often.
constexpr int kLinkPollMs = 250;

// Whether the bytes look like an image a reader can decode, judged from the header alone so
// that the list never decodes whole images on the main thread.
bool looksDecodable(const QByteArray &bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    if (!reader.canRead())
        return false;
    const QSize size = reader.size();
    return size.isValid() && !size.isEmpty();
}

QString linkImageToken(const QUrl &url)
{
    return QString::fromLatin1(
        QCryptographicHash::hash(LinkPreviewCache::key(url).toUtf8(), QCryptographicHash::Md5)
            .toHex());
}

QString idString(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

// The fields a tile shows; a change elsewhere (the date, the flavors) needs no repaint.
bool looksTheSame(const ClipItem &a, const ClipItem &b)
{
    const auto bytes = [](const ClipItem &item) {
        return item.imageData ? item.imageData->constData() : nullptr;
    };
    return a.kind == b.kind && a.text == b.text && bytes(a) == bytes(b);
}

} // namespace

ClipListModel::ClipListModel(Store &store,
                             OverlayState &state,
                             std::shared_ptr<TileImageSource> images,
                             LinkPreviewCache *links,
                             QObject *parent)
    : QAbstractListModel(parent)
    , m_store(store)
    , m_state(state)
    , m_images(std::move(images))
    , m_links(links)
{
    Q_ASSERT(m_images);
    publishImages();
    // Published first: a tile made for a new row may ask for its image at once.
    connect(&m_store, &Store::historyChanged, this, &ClipListModel::publishImages);
    connect(&m_store, &Store::categoriesChanged, this, &ClipListModel::publishImages);
    connect(&m_store, &Store::historyChanged, this, &ClipListModel::refresh);
    connect(&m_store, &Store::categoriesChanged, this, &ClipListModel::refresh);
    connect(&m_state, &OverlayState::queryChanged, this, &ClipListModel::refresh);
    connect(&m_state, &OverlayState::tabChanged, this, &ClipListModel::reset);
    connect(&m_state, &OverlayState::selectionChanged, this, &ClipListModel::updateSelection);
    reset();
}

int ClipListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QHash<int, QByteArray> ClipListModel::roleNames() const
{
    return {{IdRole, "itemId"},
            {KindRole, "kind"},
            {ExcerptRole, "excerpt"},
            {HexColorRole, "hexColor"},
            {HexLabelRole, "hexLabel"},
            {CaptionOnLightRole, "captionOnLight"},
            {ImageSourceRole, "imageSource"},
            {LinkUrlRole, "linkUrl"},
            {LinkHostRole, "linkHost"},
            {LinkTitleRole, "linkTitle"},
            {LinkImageRole, "linkImage"},
            {LinkFetchedRole, "linkFetched"},
            {SelectedRole, "selected"},
            {CodeRole, "code"}};
}

QVariant ClipListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row &row = m_rows.at(index.row());
    const bool isLink = row.presentation == Presentation::Link;
    std::optional<LinkPreviewCache::Entry> entry;
    if (isLink && m_links
        && (role == LinkTitleRole || role == LinkImageRole || role == LinkFetchedRole
            || role == LinkHostRole))
        entry = m_links->cached(row.url);

    switch (role) {
    case IdRole:
        return idString(row.item.id);
    case KindRole:
        switch (row.presentation) {
        case Presentation::Image:
            return QStringLiteral("image");
        case Presentation::Color:
            return QStringLiteral("color");
        case Presentation::Link:
            return QStringLiteral("link");
        case Presentation::Text:
            return QStringLiteral("text");
        }
        return {};
    case ExcerptRole:
        return row.item.preview().left(kExcerptLength);
    case HexColorRole:
        return row.color;
    case HexLabelRole:
        return row.presentation == Presentation::Color ? row.item.preview() : QString();
    case CaptionOnLightRole:
        return row.color.isValid() && isLightColor(row.color);
    case ImageSourceRole:
        if (row.presentation != Presentation::Image)
            return QString();
        return QStringLiteral("image://tiles/item/%1/%2")
            .arg(idString(row.item.id))
            .arg(kTileCornerRadius);
    case LinkUrlRole:
        return isLink ? row.url.toString() : QString();
    case LinkHostRole:
        if (!isLink)
            return QString();
        return entry && !entry->host.isEmpty() ? entry->host : row.url.host();
    case LinkTitleRole:
        return entry && entry->title ? *entry->title : QString();
    case LinkImageRole: {
        if (!entry || entry->image.isNull())
            return QString();
        const QString token = linkImageToken(row.url);
        m_images->setLinkImage(token, entry->image);
        return QStringLiteral("image://tiles/link/%1/%2").arg(token).arg(kTileCornerRadius);
    }
    case LinkFetchedRole:
        return entry.has_value();
    case SelectedRole:
        return row.selected;
    case CodeRole:
        return row.code;
    default:
        return {};
    }
}

QList<ClipItem> ClipListModel::items() const
{
    QList<ClipItem> items;
    items.reserve(m_rows.size());
    for (const Row &row : m_rows)
        items.append(row.item);
    return items;
}

ClipListModel::Presentation ClipListModel::presentation(const ClipItem &item)
{
    if (item.kind == ClipKind::Image && item.imageData && looksDecodable(*item.imageData))
        return Presentation::Image;
    if (item.detectedHexColor())
        return Presentation::Color;
    if (item.detectedURL())
        return Presentation::Link;
    return Presentation::Text;
}

bool ClipListModel::isLightColor(const QColor &color)
{
    const QColor rgb = color.toRgb();
    const double luminance = 0.2126 * rgb.redF() + 0.7152 * rgb.greenF() + 0.0722 * rgb.blueF();
    return luminance > 0.6;
}

ClipListModel::Row ClipListModel::makeRow(const ClipItem &item, bool selected)
{
    Row row;
    row.item = item;
    row.presentation = presentation(item);
    if (row.presentation == Presentation::Color)
        row.color = item.detectedHexColor().value_or(QColor());
    else if (row.presentation == Presentation::Link)
        row.url = item.detectedURL().value_or(QUrl());
    else if (row.presentation == Presentation::Text)
        row.code = CodeText::looksLikeCode(QStringView(item.preview()).left(kExcerptLength));
    row.selected = selected;
    return row;
}

void ClipListModel::publishImages()
{
    // Every image the store holds, not only the filtered ones: a tile that a query is taking
    // away may still be loading. The bytes are shared with the store, not copied. Link
    // previews of links no longer held anywhere are let go.
    QHash<QString, QByteArray> bytes;
    QSet<QString> linkKeys;
    QSet<QString> linkTokens;
    const auto add = [&](const QList<ClipItem> &items) {
        for (const ClipItem &item : items) {
            if (item.kind == ClipKind::Image && item.imageData) {
                bytes.insert(idString(item.id), *item.imageData);
            } else if (m_links && presentation(item) == Presentation::Link) {
                const QUrl url = item.detectedURL().value_or(QUrl());
                linkKeys.insert(LinkPreviewCache::key(url));
                linkTokens.insert(linkImageToken(url));
            }
        }
    };
    add(m_store.history());
    for (const Category &category : m_store.categories())
        add(category.items);
    m_images->setItemImages(std::move(bytes));
    m_images->keepLinkImages(linkTokens);
    if (m_links)
        m_links->keepOnly(linkKeys);
}

void ClipListModel::reset()
{
    const QList<ClipItem> next = itemsForCurrentTab(m_state, m_store);
    const int before = count();
    beginResetModel();
    m_rows.clear();
    m_rows.reserve(next.size());
    const QSet<QUuid> &selection = m_state.selection();
    for (const ClipItem &item : next)
        m_rows.append(makeRow(item, selection.contains(item.id)));
    endResetModel();
    if (count() != before)
        emit countChanged();
}

void ClipListModel::refresh()
{
    const QList<ClipItem> next = itemsForCurrentTab(m_state, m_store);
    const int before = count();

    QHash<QUuid, int> wanted;
    wanted.reserve(next.size());
    for (int i = 0; i < next.size(); ++i)
        wanted.insert(next.at(i).id, i);

    // Removals, as runs of neighbouring rows, from the end so indexes stay valid.
    for (int last = int(m_rows.size()) - 1; last >= 0; --last) {
        if (wanted.contains(m_rows.at(last).item.id))
            continue;
        int first = last;
        while (first > 0 && !wanted.contains(m_rows.at(first - 1).item.id))
            --first;
        beginRemoveRows({}, first, last);
        m_rows.remove(first, last - first + 1);
        endRemoveRows();
        last = first;
    }

    // Every remaining row is wanted. Walk the new order: rows already present move up into
    // place, absent ones are inserted as runs.
    QSet<QUuid> present;
    for (const Row &row : std::as_const(m_rows))
        present.insert(row.item.id);
    const QSet<QUuid> &selection = m_state.selection();
    for (int i = 0; i < next.size();) {
        const QUuid &id = next.at(i).id;
        if (i < m_rows.size() && m_rows.at(i).item.id == id) {
            updateRow(i, next.at(i));
            ++i;
            continue;
        }
        if (present.contains(id)) {
            int from = i + 1;
            while (m_rows.at(from).item.id != id)
                ++from;
            beginMoveRows({}, from, from, {}, i);
            m_rows.move(from, i);
            endMoveRows();
            updateRow(i, next.at(i));
            ++i;
            continue;
        }
        int end = i + 1;
        while (end < next.size() && !present.contains(next.at(end).id))
            ++end;
        beginInsertRows({}, i, end - 1);
        for (int k = i; k < end; ++k) {
            m_rows.insert(k, makeRow(next.at(k), selection.contains(next.at(k).id)));
            present.insert(next.at(k).id);
        }
        endInsertRows();
        i = end;
    }
    Q_ASSERT(m_rows.size() == next.size());
    if (count() != before)
        emit countChanged();
}

void ClipListModel::updateRow(int row, const ClipItem &item)
{
    Row &current = m_rows[row];
    if (current.item == item)
        return;
    const bool repaint = !looksTheSame(current.item, item);
    if (repaint)
        current = makeRow(item, current.selected);
    else
        current.item = item;
    if (repaint)
        emit dataChanged(index(row), index(row));
}

void ClipListModel::updateSelection()
{
    const QSet<QUuid> &selection = m_state.selection();
    for (int i = 0; i < m_rows.size(); ++i) {
        const bool selected = selection.contains(m_rows.at(i).item.id);
        if (m_rows.at(i).selected == selected)
            continue;
        m_rows[i].selected = selected;
        emit dataChanged(index(i), index(i), {SelectedRole});
    }
}

void ClipListModel::loadLinkPreview(int row)
{
    if (row < 0 || row >= m_rows.size() || m_rows.at(row).presentation != Presentation::Link)
        return;
    if (!m_links || m_links->cached(m_rows.at(row).url))
        return;
    requestLinkPreview(m_rows.at(row).url);
}

void ClipListModel::requestLinkPreview(const QUrl &url)
{
    const QString key = LinkPreviewCache::key(url);
    if (m_links->cached(url)) {
        linkPreviewArrived(url);
        return;
    }
    if (m_pendingLinks.contains(key))
        return;
    m_pendingLinks.insert(key);
    if (m_links->isFetching(url)) {
        // The cache drops a second caller's completion: look for the first one's result.
        QTimer::singleShot(kLinkPollMs, this, [this, url, key] {
            m_pendingLinks.remove(key);
            requestLinkPreview(url);
        });
        return;
    }
    QPointer<ClipListModel> guard(this);
    m_links->fetch(url, [guard, url, key](const LinkPreviewCache::Entry &) {
        if (!guard)
            return;
        guard->m_pendingLinks.remove(key);
        guard->linkPreviewArrived(url);
    });
}

void ClipListModel::linkPreviewArrived(const QUrl &url)
{
    for (int i = 0; i < m_rows.size(); ++i) {
        if (m_rows.at(i).presentation == Presentation::Link && m_rows.at(i).url == url)
            emit dataChanged(index(i),
                             index(i),
                             {LinkHostRole, LinkTitleRole, LinkImageRole, LinkFetchedRole});
    }
}
