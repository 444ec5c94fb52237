#pragma once

#include "KeyControl.h"
#include "model/ClipItem.h"

#include <QObject>
#include <QPointer>
#include <QQuickView>
#include <QRect>

#include <functional>
#include <memory>

class ClipListModel;
class GridController;
class HotkeyCaps;
class LinkPreviewCache;
class MoreMenu;
class OverlayAlert;
class OverlayState;
class QKeyEvent;
class QPropertyAnimation;
class QQuickWindow;
class QScreen;
class QTimer;
class QWindow;
class SidebarController;
class Store;
class StoreNotice;
class TileImageSource;

// The overlay panel: a frameless, translucent, always-on-top tool window that stays out of the
// taskbar. Built once (hidden) and reused. show() places it over most of a screen, resets the
// state and zooms the card in; hide() fades it out and takes it away, or takes it away at once;
// losing keyboard focus hides it too. While hidden, the card is drawn ahead whenever its content
// settles after a change, so the first frame of the next show only has to place it. Every key press reaches the keyboard rules before any control sees it.
class OverlayWindow : public QObject
{
    Q_OBJECT

public:
    static constexpr int kShowAnimationMs = 220;
    static constexpr int kHideAnimationMs = 120;
    static constexpr int kOrderOutDelayMs = 130;
    static constexpr int kResignDelayMs = 50;
    // How long the hidden panel's content must stay unchanged before it is drawn ahead.
    static constexpr int kWarmUpDelayMs = 50;
    static constexpr int kWarmUpsPerChange = 3;
    // The transparent margin around the card, where its shadows and glow are drawn.
    static constexpr int kMargin = 100;

    OverlayWindow(Store &store,
                  OverlayState &state,
                  LinkPreviewCache *links = nullptr,
                  QObject *parent = nullptr);
    ~OverlayWindow() override;

    // Called with the item to paste on Return or a plain click; the owner decides when to hide.
    std::function<void(const ClipItem &)> onPick;
    // The screen to open on (the owner passes the one of the window that was active); the
    // primary screen when unset or when it returns none.
    std::function<QScreen *()> screenForShow;
    // Space on an item. The preview window answers this.
    std::function<void(const ClipItem &)> onQuickLook;
    // Whether the preview window is showing: it takes the keys then, and taking focus from
    // the overlay does not hide it.
    std::function<bool()> isPreviewVisible;
    // Ctrl+digit for a category that does not exist.
    std::function<void()> onBeep;
    // Called with the native window each time before it is mapped: window manager hints that
    // Qt has no API for.
    std::function<void(QWindow &)> beforeMap;

    // The top row's key caps and overflow menu, owned by the caller; without them the row
    // holds the search field only.
    void setTopRow(HotkeyCaps *caps, MoreMenu *menu);

    // Makes the window, its views and its native window, hidden. show() builds on first use.
    void build();
    bool isBuilt() const { return m_view != nullptr; }
    enum class Hiding {
        // Escape, a pick, focus lost: the card fades, then the window goes.
        FadeOut,
        // The toggle asked for it gone: unmapped now, the fade skipped (or cut short).
        AtOnce,
    };

    void show();
    void hide(Hiding how = Hiding::FadeOut);
    // The panel exists and is on screen (during the hide animation too).
    bool isVisible() const;
    bool isHiding() const { return m_isHiding; }

    // The panel's frame on a screen with this available area: 85 % of it plus the margin on
    // every side, centred.
    static QRect panelGeometry(const QRect &availableGeometry);
    // The screen holding most of a window whose frame is given in native pixels; none when
    // the window is on no screen.
    static QScreen *screenOfWindow(const QRect &nativeFrame);
    // The same choice among screens given by their native frames: an index, or -1.
    static int indexOfScreenHolding(const QList<QRect> &nativeScreens, const QRect &nativeFrame);
    // A key event as the keyboard rules read it: the physical key, Ctrl as command, Alt as
    // option.
    static KeyControl::KeyPress keyPress(const QKeyEvent &event);

    QQuickWindow *window() const;
    ClipListModel *model() const { return m_model; }
    GridController *grid() const { return m_grid; }
    SidebarController *sidebar() const { return m_sidebar; }
    StoreNotice *storeNotice() const { return m_storeNotice; }
    // Questions and messages shown inside the card.
    OverlayAlert *alert() const { return m_alert; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void animateAppearance(double target, int durationMs, bool easeOut);
    void orderOut();
    void warmUp();
    bool canWarmUp() const;
    void contentChanged();
    int firstFrameMs() const;
    void clearFocus();
    bool isEditingText() const;
    void activeChanged();

    Store &m_store;
    OverlayState &m_state;
    std::shared_ptr<TileImageSource> m_images;
    ClipListModel *m_model;
    GridController *m_grid;
    SidebarController *m_sidebar;
    StoreNotice *m_storeNotice;
    OverlayAlert *m_alert;
    KeyControl m_keys;
    QPropertyAnimation *m_appearance;
    QTimer *m_orderOut;
    QTimer *m_warmUp;
    QPointer<QQuickView> m_view;
    QPointer<HotkeyCaps> m_hotkeyCaps;
    QPointer<MoreMenu> m_moreMenu;
    bool m_isHiding = false;
    bool m_warmingUp = false;
    bool m_hasBeenShown = false;
    int m_warmUpsLeft = 0;
    bool m_ignoreNextUpdate = false;
};
