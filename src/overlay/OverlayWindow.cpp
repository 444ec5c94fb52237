#include "OverlayWindow.h"

#include "ClipListModel.h"
#include "FloatingView.h"
#include "GridController.h"
#include "HotkeyCaps.h"
#include "KeyboardShortcuts/KeyTable.h"
#include "MoreMenu.h"
#include "OverlayAlert.h"
#include "OverlayState.h"
#include "SidebarController.h"
#include "SoftShadow.h"
#include "StoreNotice.h"
#include "TileImageProvider.h"
#include "model/Store.h"

#include <QEasingCurve>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPropertyAnimation>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSGRendererInterface>
#include <QScreen>
#include <QTimer>

#include <cmath>

namespace {

QEasingCurve bezier(QPointF c1, QPointF c2)
{
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(c1, c2, QPointF(1, 1));
    return curve;
}

// The digit row answers Ctrl+digit by position, whatever the layout puts on those keys.
QString digitOfKey(KeyboardShortcuts::Key key)
{
    using KeyboardShortcuts::Key;
    static const Key digits[] = {Key::zero,
                                 Key::one,
                                 Key::two,
                                 Key::three,
                                 Key::four,
                                 Key::five,
                                 Key::six,
                                 Key::seven,
                                 Key::eight,
                                 Key::nine};
    for (int i = 0; i < 10; ++i) {
        if (digits[i] == key)
            return QString::number(i);
    }
    return {};
}

QEasingCurve zoomInCurve()
{
    return bezier(QPointF(0, 0), QPointF(0.58, 1));
}

} // namespace

OverlayWindow::OverlayWindow(Store &store,
                             OverlayState &state,
                             LinkPreviewCache *links,
                             QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_state(state)
    , m_images(std::make_shared<TileImageSource>())
    , m_model(new ClipListModel(store, state, m_images, links, this))
    , m_grid(new GridController(store, state, *m_model, this))
    , m_sidebar(new SidebarController(store, state, this))
    , m_storeNotice(new StoreNotice(store, this))
    , m_alert(new OverlayAlert(this))
    , m_keys(state, store)
    , m_appearance(new QPropertyAnimation(&state, "appearance", this))
    , m_orderOut(new QTimer(this))
    , m_warmUp(new QTimer(this))
{
    m_orderOut->setSingleShot(true);
    m_orderOut->setInterval(kOrderOutDelayMs);
    connect(m_orderOut, &QTimer::timeout, this, &OverlayWindow::orderOut);
    m_warmUp->setSingleShot(true);
    m_warmUp->setInterval(kWarmUpDelayMs);
    connect(m_warmUp, &QTimer::timeout, this, &OverlayWindow::warmUp);
    // A pick hides the overlay; the second click of a double-click lands on the fading card
    // and must not paste again.
    const auto pick = [this](const ClipItem &item) {
        if (onPick && !m_isHiding)
            onPick(item);
    };
    m_grid->onPick = pick;
    m_keys.onPick = pick;
    m_keys.onClose = [this] { hide(); };
    m_keys.onQuickLook = [this](const ClipItem &item) {
        if (onQuickLook)
            onQuickLook(item);
    };
    m_keys.onBeep = [this] {
        if (onBeep)
            onBeep();
    };
    m_keys.onClearFocus = [this] { clearFocus(); };
    m_keys.onOpenMenu = [this](int index) { m_grid->requestMenu(index); };
    // A closed menu leaves the focus nowhere in particular: the keys go back to the grid.
    const auto afterMenu = [this](bool open) {
        if (!open)
            clearFocus();
    };
    connect(m_grid, &GridController::menuOpenChanged, this, [this, afterMenu] {
        afterMenu(m_grid->menuOpen());
    });
    connect(m_sidebar, &SidebarController::menuOpenChanged, this, [this, afterMenu] {
        afterMenu(m_sidebar->menuOpen());
    });
    connect(&store, &Store::historyChanged, this, &OverlayWindow::contentChanged);
    connect(&store, &Store::categoriesChanged, this, &OverlayWindow::contentChanged);
    connect(m_model, &QAbstractItemModel::dataChanged, this, &OverlayWindow::contentChanged);
}

OverlayWindow::~OverlayWindow()
{
    // The views refer to the model and the controller: they go first.
    delete m_view;
}

QRect OverlayWindow::panelGeometry(const QRect &available)
{
    const int width = int(std::floor(available.width() * 0.85)) + 2 * kMargin;
    const int height = int(std::floor(available.height() * 0.85)) + 2 * kMargin;
    const int x = available.x() + int(std::floor((available.width() - width) * 0.5));
    const int y = available.y() + int(std::floor((available.height() - height) * 0.5));
    return QRect(x, y, width, height);
}

int OverlayWindow::indexOfScreenHolding(const QList<QRect> &nativeScreens, const QRect &nativeFrame)
{
    int best = -1;
    qint64 bestArea = 0;
    for (int i = 0; i < nativeScreens.size(); ++i) {
        const QRect shared = nativeScreens.at(i) & nativeFrame;
        const qint64 area = qint64(shared.width()) * shared.height();
        if (area > bestArea) {
            best = i;
            bestArea = area;
        }
    }
    return best;
}

QScreen *OverlayWindow::screenOfWindow(const QRect &nativeFrame)
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    QList<QRect> frames;
    for (const QScreen *screen : screens) {
        // Scaled screens keep their native top-left; only their size is divided.
        const QRect logical = screen->geometry();
        frames.append(QRect(logical.topLeft(), logical.size() * screen->devicePixelRatio()));
    }
    const int index = indexOfScreenHolding(frames, nativeFrame);
    return index < 0 ? nullptr : screens.at(index);
}

KeyControl::KeyPress OverlayWindow::keyPress(const QKeyEvent &event)
{
    KeyControl::KeyPress press;
    const std::optional<KeyboardShortcuts::Key> key = KeyboardShortcuts::keyFromEvent(event);
    if (key)
        press.keyCode = int(key->rawValue);
    press.command = event.modifiers().testFlag(Qt::ControlModifier);
    press.option = event.modifiers().testFlag(Qt::AltModifier);
    press.shift = event.modifiers().testFlag(Qt::ShiftModifier);
    press.menuKey = event.key() == Qt::Key_Menu;
    press.characters = event.text();

    // With Ctrl held the event's text is a control character; the rules want the key's own.
    const int qtKey = event.key();
    if (const QString digit = key ? digitOfKey(*key) : QString();
        !digit.isEmpty() && !event.modifiers().testFlag(Qt::KeypadModifier)) {
        press.charactersIgnoringModifiers = digit;
    } else if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z) {
        const QChar letter{char16_t(qtKey)};
        press.charactersIgnoringModifiers = event.modifiers().testFlag(Qt::ShiftModifier)
                                                ? QString(letter)
                                                : QString(letter.toLower());
    } else if (qtKey >= 0x20 && qtKey <= 0x7e) {
        press.charactersIgnoringModifiers = QString(QChar(char16_t(qtKey)));
    } else {
        press.charactersIgnoringModifiers = event.text();
    }
    return press;
}

void OverlayWindow::setTopRow(HotkeyCaps *caps, MoreMenu *menu)
{
    m_hotkeyCaps = caps;
    m_moreMenu = menu;
    if (QQuickItem *root = m_view ? m_view->rootObject() : nullptr) {
        root->setProperty("hotkeyCaps", QVariant::fromValue(caps));
        root->setProperty("moreMenu", QVariant::fromValue(menu));
    }
}

QQuickWindow *OverlayWindow::window() const
{
    return m_view;
}

void OverlayWindow::build()
{
    if (m_view)
        return;
    const QVariantMap properties{{QStringLiteral("overlayState"), QVariant::fromValue(&m_state)},
                                 {QStringLiteral("controller"), QVariant::fromValue(m_grid)},
                                 {QStringLiteral("sidebarController"),
                                  QVariant::fromValue(m_sidebar)},
                                 {QStringLiteral("alert"), QVariant::fromValue(m_alert)},
                                 {QStringLiteral("hotkeyCaps"),
                                  QVariant::fromValue(m_hotkeyCaps.data())},
                                 {QStringLiteral("moreMenu"),
                                  QVariant::fromValue(m_moreMenu.data())}};
    const auto prepare = [this](QQuickView &view) {
        // Laid out at its likely size from the start, so tiles are made and their thumbnails
        // decoded at the size they will be shown.
        if (QScreen *screen = QGuiApplication::primaryScreen())
            view.setGeometry(panelGeometry(screen->availableGeometry()));
        view.engine()->addImageProvider(QStringLiteral("tiles"), new TileImageProvider(m_images));
    };
    auto *view = makeFloatingView(QStringLiteral("Cliphaven"),
                                  QStringLiteral("OverlayView.qml"),
                                  properties,
                                  prepare);
    view->installEventFilter(this);
    if (QQuickItem *root = view->rootObject())
        root->setProperty("storeNotice", QVariant::fromValue(m_storeNotice));
    connect(view, &QWindow::activeChanged, this, &OverlayWindow::activeChanged);
    // The native window and the shadow images now, so the first show only has to map it.
    view->create();
    SoftShadow::image(SoftShadow::Card);
    SoftShadow::image(SoftShadow::TileGlow);
    m_view = view;
}

bool OverlayWindow::isVisible() const
{
    return m_view && m_view->isVisible();
}

void OverlayWindow::show()
{
    build();
    QScreen *screen = screenForShow ? screenForShow() : nullptr;
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    m_view->setScreen(screen);
    m_view->setGeometry(panelGeometry(screen->availableGeometry()));

    m_warmUp->stop();
    m_ignoreNextUpdate = false;
    m_hasBeenShown = true;
    m_appearance->stop();
    m_state.resetForShow();
    // Reset to History it may already have shown: its newest clips come into view all the same.
    m_grid->scrollToTop();

    if (!m_view->isVisible() && beforeMap)
        beforeMap(*m_view);
    m_view->show();
    m_view->raise();
    m_view->requestActivate();
    clearFocus();

    // The zoom starts with the panel, so its very first frame already shows the card: waiting
    // for an empty first frame put the card one whole frame later on the software renderer
    // (measured: 35 to 37 ms from show() to the card, against 41 to 47 ms).
    // A show() during the fade-out leaves the panel to the pending order-out.
    if (m_isHiding)
        return;
    animateAppearance(1.0, kShowAnimationMs, true);
    // That frame is drawn for the moment it reaches the screen, a frame from now, so it carries
    // the zoom's first step rather than the card at nothing.
    m_appearance->setCurrentTime(firstFrameMs());
}

int OverlayWindow::firstFrameMs() const
{
    const qreal hz = m_view && m_view->screen() ? m_view->screen()->refreshRate() : 60.0;
    return int(1000.0 / (hz > 1.0 ? hz : 60.0));
}

void OverlayWindow::warmUp()
{
    if (!canWarmUp() || m_warmUpsLeft <= 0)
        return;
    --m_warmUpsLeft;
    // Left as show() will make it, then drawn once with the card at the zoom's first step:
    // the card's picture is made now, and the first frame on screen only has to place it.
    m_warmingUp = true;
    m_state.resetForShow();
    m_grid->scrollToTop();
    clearFocus();
    m_state.setAppearance(zoomInCurve().valueForProgress(double(firstFrameMs()) / kShowAnimationMs));
    m_view->grabWindow();
    // Hidden, the card is at nothing, as ever. Putting it back asks for one more frame, which
    // must not start another round.
    m_state.setAppearance(0.0);
    m_warmingUp = false;
    m_ignoreNextUpdate = true;
}

bool OverlayWindow::canWarmUp() const
{
    // Only a panel shown before, so its window buffers exist already: an idle program that was
    // never opened holds no more memory. Only the software scene graph, which can draw a window
    // that is not on screen and is the one slow enough to need it.
    return m_view && m_hasBeenShown && !m_view->isVisible()
           && m_view->rendererInterface()->graphicsApi() == QSGRendererInterface::Software;
}

void OverlayWindow::hide(Hiding how)
{
    if (!m_view || !m_view->isVisible())
        return;
    if (!m_isHiding) {
        clearFocus();
        // A question left open goes with the card, unanswered.
        m_alert->dismiss();
    }
    if (how == Hiding::AtOnce) {
        orderOut();
        return;
    }
    if (m_isHiding)
        return;
    m_isHiding = true;
    animateAppearance(0.0, kHideAnimationMs, false);
    m_orderOut->start();
}

void OverlayWindow::orderOut()
{
    m_orderOut->stop();
    // On a busy machine the fade's last step can come after the timer: the panel leaves at
    // nothing either way.
    m_appearance->stop();
    m_state.setAppearance(0.0);
    if (m_view)
        m_view->hide();
    m_isHiding = false;
    contentChanged();
}

void OverlayWindow::contentChanged()
{
    // A few rounds: drawing can start work that changes the picture again (a thumbnail
    // decoded, a preview arrived), but nothing may keep a hidden panel drawing.
    m_warmUpsLeft = kWarmUpsPerChange;
    if (canWarmUp())
        m_warmUp->start();
}

void OverlayWindow::animateAppearance(double target, int durationMs, bool easeOut)
{
    m_appearance->stop();
    m_appearance->setStartValue(m_state.appearance());
    m_appearance->setEndValue(target);
    m_appearance->setDuration(durationMs);
    m_appearance->setEasingCurve(easeOut ? zoomInCurve() : bezier(QPointF(0.42, 0), QPointF(1, 1)));
    m_appearance->start();
}

void OverlayWindow::clearFocus()
{
    if (!m_view)
        return;
    if (QQuickItem *root = m_view->rootObject())
        root->forceActiveFocus();
}

bool OverlayWindow::isEditingText() const
{
    const QQuickItem *item = m_view ? m_view->activeFocusItem() : nullptr;
    return item && (item->inherits("QQuickTextInput") || item->inherits("QQuickTextEdit"));
}

void OverlayWindow::activeChanged()
{
    if (!m_view || m_view->isActive() || !m_view->isVisible())
        return;
    QTimer::singleShot(kResignDelayMs, this, [this] {
        if (!m_view || !m_view->isVisible() || m_view->isActive())
            return;
        // The preview took the focus: the overlay stays behind it.
        if (isPreviewVisible && isPreviewVisible())
            return;
        hide();
    });
}

bool OverlayWindow::eventFilter(QObject *watched, QEvent *event)
{
    // The hidden panel asks for a frame when its content changes (a new clip, the reset after
    // hiding): it is drawn ahead once the changes settle.
    if (watched == m_view && event->type() == QEvent::UpdateRequest && !m_warmingUp) {
        if (m_ignoreNextUpdate)
            m_ignoreNextUpdate = false;
        else if (m_warmUpsLeft > 0 && canWarmUp())
            m_warmUp->start();
    }
    if (watched != m_view || event->type() != QEvent::KeyPress || m_grid->menuOpen()
        || m_sidebar->menuOpen())
        return QObject::eventFilter(watched, event);
    // An alert in the card answers Escape and Return and lets Tab move between its buttons
    // (Space presses the focused one); nothing reaches the grid or the search behind it.
    if (m_alert->shown()) {
        switch (static_cast<QKeyEvent *>(event)->key()) {
        case Qt::Key_Escape:
            m_alert->cancel();
            return true;
        case Qt::Key_Tab:
        case Qt::Key_Backtab:
        case Qt::Key_Left:
        case Qt::Key_Right:
        case Qt::Key_Space:
        case Qt::Key_Return:
        case Qt::Key_Enter:
            return false;
        default:
            return true;
        }
    }
    // Tab moves between the controls; a control reached that way (a sidebar row, "+", "…")
    // answers Return, Space, the vertical arrows and the Menu key itself.
    const auto *key = static_cast<QKeyEvent *>(event);
    if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab)
        return false;
    if (const QQuickItem *focused = m_view->activeFocusItem();
        focused && focused->property("takesKeys").toBool()) {
        switch (key->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Space:
        case Qt::Key_Up:
        case Qt::Key_Down:
        case Qt::Key_Menu:
            return false;
        case Qt::Key_F10:
            if (key->modifiers().testFlag(Qt::ShiftModifier))
                return false;
            break;
        case Qt::Key_Left:
        case Qt::Key_Right:
        case Qt::Key_Home:
        case Qt::Key_End:
        case Qt::Key_PageUp:
        case Qt::Key_PageDown:
            // Keys that move in the grid take the focus there, as they do from the search.
            clearFocus();
            break;
        default:
            break;
        }
    }
    KeyControl::Context context;
    context.editingText = isEditingText();
    context.previewVisible = isPreviewVisible && isPreviewVisible();
    context.pageRows = m_grid->pageRows();
    return m_keys.handle(keyPress(*static_cast<QKeyEvent *>(event)), context);
}
