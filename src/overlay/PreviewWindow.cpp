#include "PreviewWindow.h"

#include "CodeText.h"
#include "FloatingView.h"
#include "KeyControl.h"
#include "KeyboardShortcuts/KeyTable.h"
#include "SoftShadow.h"

#include <QFile>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImageReader>
#include <QKeyEvent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>
#include <QStringDecoder>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace {

constexpr QSize kTextContent(680, 480);
constexpr QSize kMinimumCard(360, 200);

// The height the view's text takes at this width (14 px, 20 px of padding, as PreviewView.qml
// draws it), up to the default card's; long texts are not measured, they fill the card anyway.
int textHeight(const QString &text, int width)
{
    if (text.size() > 4000)
        return kTextContent.height();
    QFont font = QGuiApplication::font();
    font.setPixelSize(14);
    const QRectF bounds = QFontMetricsF(font).boundingRect(QRectF(0, 0, width - 40, 1e6),
                                                           Qt::TextWordWrap,
                                                           text);
    return std::min(int(std::ceil(bounds.height())) + 40, kTextContent.height());
}

// The first bytes of a text file, without a character cut in half at the end.
QString readText(const QString &path, qint64 maxBytes)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringDecoder decoder(QStringDecoder::Utf8);
    return decoder(file.read(maxBytes));
}

} // namespace

PreviewWindow::PreviewWindow(QuickLookController &controller, QObject *parent)
    : QObject(parent)
    , m_controller(controller)
{}

PreviewWindow::~PreviewWindow()
{
    delete m_view;
}

QSize PreviewWindow::cardSize(const QSize &content, bool isImage, const QRect &available)
{
    const QSize chrome = isImage ? QSize(2 * kImagePadding, kHeaderHeight + 2 * kImagePadding)
                                 : QSize(0, kHeaderHeight);
    const QSize maximum = (available.size() * 0.9).expandedTo(kMinimumCard);
    return (content + chrome).expandedTo(kMinimumCard).boundedTo(maximum);
}

void PreviewWindow::build()
{
    if (m_view)
        return;
    auto *view = makeFloatingView(QStringLiteral("Cliphaven Preview"),
                                  QStringLiteral("PreviewView.qml"),
                                  {{QStringLiteral("preview"), QVariant::fromValue(this)}});
    // The picture is decoded once the card is on screen: decoding beside the window's first
    // frame would take the processor from it.
    connect(view, &QQuickWindow::frameSwapped, this, [this] {
        if (m_loaded && !m_onScreen) {
            m_onScreen = true;
            if (m_isImage)
                emit contentChanged();
        }
    });
    view->installEventFilter(this);
    connect(view, &QWindow::activeChanged, this, &PreviewWindow::activeChanged);
    view->create();
    SoftShadow::image(SoftShadow::Card);
    m_view = view;
}

bool PreviewWindow::isVisible() const
{
    return m_view && m_view->isVisible();
}

QQuickWindow *PreviewWindow::window() const
{
    return m_view;
}

QString PreviewWindow::title() const
{
    return m_loaded && m_controller.item() ? m_controller.item()->title : QString();
}

QUrl PreviewWindow::source() const
{
    return m_loaded && m_isImage && m_onScreen && m_controller.item() ? m_controller.item()->url
                                                                      : QUrl();
}

void PreviewWindow::toggle(const ClipItem &clip, QWindow *over)
{
    if (isVisible()) {
        finish(CloseReason::Key);
        return;
    }
    open(clip, over);
}

bool PreviewWindow::open(const ClipItem &clip, QWindow *over)
{
    const std::optional<QuickLookItem> item = m_controller.makeItem(clip);
    if (!item)
        return false;
    build();
    m_controller.setItem(item);

    const QString path = item->url.toLocalFile();
    QScreen *screen = over && over->screen() ? over->screen() : QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 1280, 800);
    QSize content = kTextContent;
    m_isImage = clip.kind == ClipKind::Image;
    if (m_isImage) {
        // The header alone tells the size; decoding is left to the view.
        content = QImageReader(path).size();
        if (!content.isValid())
            content = kMinimumCard;
        if (screen)
            content = (QSizeF(content) / screen->devicePixelRatio()).toSize();
        m_text.clear();
    } else {
        m_text = readText(path, kMaxTextBytes);
        content.setHeight(textHeight(m_text, content.width()));
    }
    QSize card = cardSize(content, m_isImage, available);
    // At its own size, or scaled down to fit the card.
    const QSize chrome(2 * kImagePadding, kHeaderHeight + 2 * kImagePadding);
    const QSize room = card - chrome;
    m_imageSize = !m_isImage                           ? QSize()
                  : content.boundedTo(room) == content ? content
                                                       : content.scaled(room, Qt::KeepAspectRatio);
    // A scaled-down picture leaves room on one side: the card closes around it.
    if (m_isImage)
        card = (m_imageSize + chrome).expandedTo(kMinimumCard).boundedTo(card);
    m_code = !m_isImage && CodeText::looksLikeCode(QStringView(m_text).left(2000));
    m_loaded = true;
    m_onScreen = false;
    emit contentChanged();

    QRect geometry(QPoint(), card + QSize(2, 2) * kMargin);
    geometry.moveCenter(available.center());
    if (screen)
        m_view->setScreen(screen);
    m_view->setTransientParent(over);
    m_over = over;
    m_view->setGeometry(geometry);
    if (beforeMap)
        beforeMap(*m_view);
    m_view->show();
    m_view->raise();
    m_view->requestActivate();
    if (QQuickItem *root = m_view->rootObject())
        root->forceActiveFocus();
    return true;
}

void PreviewWindow::close()
{
    if (isVisible())
        finish(CloseReason::Key);
}

void PreviewWindow::finish(CloseReason reason)
{
    // Asked while the preview still has the focus: the window manager hands it over within the
    // application, where after the preview is gone it may refuse or pick another window.
    if (reason == CloseReason::Key && m_over && m_over->isVisible())
        m_over->requestActivate();
    m_view->hide();
    m_loaded = false;
    m_text.clear();
    emit contentChanged();
    if (onClosed)
        onClosed(reason);
}

void PreviewWindow::activeChanged()
{
    if (!m_view || m_view->isActive() || !m_view->isVisible())
        return;
    QTimer::singleShot(kFocusCheckDelayMs, this, [this] {
        if (m_view && m_view->isVisible() && !m_view->isActive())
            finish(CloseReason::FocusLost);
    });
}

bool PreviewWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_view || event->type() != QEvent::KeyPress)
        return QObject::eventFilter(watched, event);
    const auto key = KeyboardShortcuts::keyFromEvent(*static_cast<QKeyEvent *>(event));
    if (key
        && (int(key->rawValue) == KeyControl::Space || int(key->rawValue) == KeyControl::Escape)) {
        finish(CloseReason::Key);
        return true;
    }
    return false;
}
