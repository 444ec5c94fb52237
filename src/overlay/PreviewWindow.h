#pragma once

#include "QuickLookController.h"

#include <QObject>
#include <QPointer>
#include <QSize>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include <functional>

class QQuickView;
class QQuickWindow;
class QRect;
class QWindow;

// Cliphaven's own preview: a translucent card, stacked over the overlay, showing the file the
// controller wrote for a clip at full size: text scrollable, an image at its own size or fitted
// to the screen. Space and Escape close it; every other key reaches the card (arrows scroll).
// It closes by itself when it loses the focus; closed by a key, it hands the focus back to the
// window it was shown over.
class PreviewWindow : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application owns the preview window.")
    Q_PROPERTY(QString title READ title NOTIFY contentChanged)
    Q_PROPERTY(bool isImage READ isImage NOTIFY contentChanged)
    // The text reads as code: shown in a monospace face.
    Q_PROPERTY(bool code READ code NOTIFY contentChanged)
    Q_PROPERTY(QUrl source READ source NOTIFY contentChanged)
    Q_PROPERTY(QString text READ text NOTIFY contentChanged)
    // The picture's size on the card, in logical pixels.
    Q_PROPERTY(QSize imageSize READ imageSize NOTIFY contentChanged)

public:
    enum class CloseReason {
        Key,       // Space, Escape or the close button
        FocusLost, // another window took the focus
    };

    // The transparent margin around the card, where its shadow falls.
    static constexpr int kMargin = 100;
    static constexpr int kHeaderHeight = 44;
    static constexpr int kImagePadding = 12;
    // Longer texts are shown up to here: laying out megabytes would stall the window.
    static constexpr qint64 kMaxTextBytes = 512 * 1024;
    static constexpr int kFocusCheckDelayMs = 50;

    explicit PreviewWindow(QuickLookController &controller, QObject *parent = nullptr);
    ~PreviewWindow() override;

    // Called with the native window each time before it is mapped.
    std::function<void(QWindow &)> beforeMap;
    std::function<void(CloseReason)> onClosed;

    // Makes the window and its views, hidden. toggle() builds on first use.
    void build();
    bool isVisible() const;
    // Closes the preview when it shows. Otherwise writes the clip's file and shows it, over
    // `over` (stacked above it, on its screen); when no file could be written nothing happens.
    void toggle(const ClipItem &clip, QWindow *over = nullptr);
    Q_INVOKABLE void close();

    QString title() const;
    bool isImage() const { return m_isImage; }
    bool code() const { return m_code; }
    QUrl source() const;
    QString text() const { return m_text; }
    QSize imageSize() const { return m_imageSize; }

    QQuickWindow *window() const;
    // The card's size for content of this size on a screen with this available area: the
    // content at full size plus the header, within 90 % of the screen.
    static QSize cardSize(const QSize &content, bool isImage, const QRect &available);

signals:
    void contentChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool open(const ClipItem &clip, QWindow *over);
    void finish(CloseReason reason);
    void activeChanged();

    QuickLookController &m_controller;
    QPointer<QQuickView> m_view;
    QPointer<QWindow> m_over;
    // Whether the card holds the controller's item; cleared on close so the image is freed.
    bool m_loaded = false;
    // The card has shown its first frame since it opened.
    bool m_onScreen = false;
    bool m_isImage = false;
    bool m_code = false;
    QString m_text;
    QSize m_imageSize;
};
