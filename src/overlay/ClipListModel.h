#pragma once

#include "model/ClipItem.h"

#include <QAbstractListModel>
#include <QColor>
#include <QSet>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include <memory>

class LinkPreviewCache;
class OverlayState;
class Store;
class TileImageSource;

// The list the grid shows (itemsForCurrentTab) as rows for QML. It follows the store, the tab,
// the query and the selection with precise row changes: edits are diffed by item id into
// removals, moves and insertions; only a tab switch, which replaces the whole list, resets.
class ClipListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The overlay window owns the one list model.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        IdRole = Qt::UserRole + 1,
        // "image", "color", "link" or "text": how the tile presents the item.
        KindRole,
        // The text a text tile shows, cut to what a tile can hold.
        ExcerptRole,
        HexColorRole,
        // The swatch caption's label, the colour as typed.
        HexLabelRole,
        // The colour is light (luminance above 0.6): the caption sits on white, not black.
        CaptionOnLightRole,
        ImageSourceRole,
        LinkUrlRole,
        LinkHostRole,
        // Empty until the page's title is known.
        LinkTitleRole,
        // Empty until a preview image is known.
        LinkImageRole,
        // The link preview fetch has finished, whatever it found.
        LinkFetchedRole,
        SelectedRole,
        // A text tile's text reads as code: it is set in a monospace face.
        CodeRole,
    };
    Q_ENUM(Role)

    enum class Presentation { Image, Color, Link, Text };

    static constexpr int kExcerptLength = 600;
    // Corner radius baked into tile images, matching the tile's own corners.
    static constexpr int kTileCornerRadius = 12;

    ClipListModel(Store &store,
                  OverlayState &state,
                  std::shared_ptr<TileImageSource> images,
                  LinkPreviewCache *links,
                  QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(m_rows.size()); }
    QList<ClipItem> items() const;
    const ClipItem &itemAt(int row) const { return m_rows.at(row).item; }

    // Asks the link preview cache for the row's link, once it is on screen.
    Q_INVOKABLE void loadLinkPreview(int row);

    // The first of image, colour swatch, link card and text that fits the item.
    static Presentation presentation(const ClipItem &item);
    // Relative luminance from the colour's components; above 0.6 counts as light.
    static bool isLightColor(const QColor &color);

signals:
    void countChanged();

private:
    struct Row
    {
        ClipItem item;
        Presentation presentation = Presentation::Text;
        QColor color;
        QUrl url;
        bool selected = false;
        bool code = false;
    };

    static Row makeRow(const ClipItem &item, bool selected);
    void refresh();
    void reset();
    void updateRow(int row, const ClipItem &item);
    void updateSelection();
    void publishImages();
    void requestLinkPreview(const QUrl &url);
    void linkPreviewArrived(const QUrl &url);

    Store &m_store;
    OverlayState &m_state;
    std::shared_ptr<TileImageSource> m_images;
    LinkPreviewCache *m_links;
    QList<Row> m_rows;
    QSet<QString> m_pendingLinks;
};
