#include "PlatformSession.h"

#include "app/ApplicationCatalog.h"
#include "app/OpenWindows.h"
#include "app/x11/X11OpenWindows.h"
#include "platform/Unavailable.h"
#include "platform/wayland/KWinKeyPoster.h"
#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandKeyPoster.h"
#include "platform/wayland/WaylandPasteboard.h"
#include "platform/wayland/WaylandWorkspace.h"
#include "platform/x11/X11KeyPoster.h"
#include "platform/x11/X11Pasteboard.h"
#include "platform/x11/X11SelectionReader.h"
#include "platform/x11/X11WindowHints.h"
#include "platform/x11/X11Workspace.h"

#include <QGuiApplication>
#include <QWindow>

namespace {

// How long the compositor may take to list its globals at start-up; a local compositor answers
// in well under a millisecond.
constexpr std::chrono::seconds kProbeTimeout{1};

bool offersDataControl(const WaylandConnection &connection)
{
    return connection.offers("ext_data_control_manager_v1")
           || connection.offers("zwlr_data_control_manager_v1");
}

// The desktop's own name for itself, for the log and the about line.
QString desktopName()
{
    const QString desktop = qEnvironmentVariable("XDG_CURRENT_DESKTOP").section(u':', 0, 0);
    return desktop.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(desktop);
}

// Set when chooseQtPlatform() chose for Qt, so that programs Cliphaven starts choose for
// themselves again.
bool g_choseQtPlatform = false;

// The ignore-list chooser's open windows: the toplevels' app_ids.
class ToplevelOpenWindows final : public OpenWindows
{
public:
    explicit ToplevelOpenWindows(WaylandWorkspace &workspace)
        : m_workspace(workspace)
    {}
    QStringList windowClasses() const override { return m_workspace.applicationIdentifiers(); }

private:
    WaylandWorkspace &m_workspace;
};

// The toplevels, named as the ignore list names applications. A Wayland app_id is usually the
// desktop file's id ("org.keepassxc.KeePassXC"), while the list stores what X11 windows carry
// (the entry's StartupWMClass, "KeePassXC"); the installed entry the app_id names translates.
class CatalogNamedWorkspace final : public Workspace
{
public:
    explicit CatalogNamedWorkspace(std::unique_ptr<WaylandWorkspace> toplevels)
        : m_toplevels(std::move(toplevels))
    {}

    WaylandWorkspace &toplevels() { return *m_toplevels; }

    std::optional<RunningApplication> frontmostApplication() override
    {
        std::optional<RunningApplication> app = m_toplevels->frontmostApplication();
        if (app && !app->identifier.isEmpty()) {
            // Read at the first need, not at start-up.
            if (!m_catalog)
                m_catalog.emplace();
            if (const std::optional<DesktopEntry> entry = m_catalog->find(app->identifier))
                app->identifier = entry->identifier();
        }
        return app;
    }
    void activate(const RunningApplication &app) override { m_toplevels->activate(app); }
    std::optional<QRect> windowFrame(const RunningApplication &app) override
    {
        return m_toplevels->windowFrame(app);
    }

private:
    std::unique_ptr<WaylandWorkspace> m_toplevels;
    std::optional<ApplicationCatalog> m_catalog;
};

// The first way of typing into other programs this desktop accepts, in order of preference;
// none: the pick stays on the clipboard.
std::unique_ptr<KeyPoster> firstTrusted(std::vector<std::unique_ptr<KeyPoster>> candidates)
{
    for (auto &candidate : candidates) {
        if (candidate->isTrusted())
            return std::move(candidate);
    }
    return std::make_unique<UntrustedKeyPoster>();
}

} // namespace

void PlatformSession::chooseQtPlatform()
{
    if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM") || !WaylandConnection::sessionAdvertised())
        return;
    WaylandConnection connection;
    if (!connection.fetchGlobals(WaylandConnection::Clock::now() + kProbeTimeout))
        return;
    if (offersDataControl(connection)) {
        // Qt would run through Xwayland where XDG_SESSION_TYPE does not say "wayland".
        qputenv("QT_QPA_PLATFORM", "wayland;xcb");
        g_choseQtPlatform = true;
    } else if (!qEnvironmentVariableIsEmpty("DISPLAY")) {
        // GNOME mirrors its clipboard to Xwayland, and X11 programs may read and own it there.
        qputenv("QT_QPA_PLATFORM", "xcb");
        g_choseQtPlatform = true;
    }
}

PlatformSession::PlatformSession()
{
    if (std::exchange(g_choseQtPlatform, false))
        qunsetenv("QT_QPA_PLATFORM");
    if (QGuiApplication::platformName() == u"wayland") {
        auto pasteboard = std::make_unique<WaylandPasteboard>();
        if (pasteboard->isActive()) {
            m_kind = Kind::wayland;
            m_description = QStringLiteral("Wayland%1, clipboard through %2")
                                .arg(desktopName(), pasteboard->protocolName());
        } else {
            m_kind = Kind::waylandWithoutDataControl;
            m_description = QStringLiteral("Wayland%1, no data-control protocol").arg(desktopName());
        }
        m_pasteboard = std::move(pasteboard);
        auto toplevels = std::make_unique<WaylandWorkspace>();
        if (toplevels->isActive()) {
            m_description += QStringLiteral(", windows through %1").arg(toplevels->protocolName());
            m_toplevels = toplevels.get();
            m_workspace = std::make_unique<CatalogNamedWorkspace>(std::move(toplevels));
        } else {
            m_workspace = std::make_unique<UnknownWorkspace>();
            m_knowsFrontmost = false;
        }
        std::vector<std::unique_ptr<KeyPoster>> keyPosters;
        // wlroots compositors.
        keyPosters.push_back(std::make_unique<WaylandKeyPoster>());
        // KWin, when Cliphaven's installed desktop entry was granted its fake input device.
        keyPosters.push_back(std::make_unique<KWinKeyPoster>());
        m_keyPoster = firstTrusted(std::move(keyPosters));
        return;
    }
    // X11, or a Wayland session seen through Xwayland.
    const bool throughXwayland = QGuiApplication::platformName() == u"xcb"
                                 && WaylandConnection::sessionAdvertised();
    m_kind = throughXwayland ? Kind::xwayland : Kind::x11;
    // Through Xwayland only X11 programs are seen in front, and most are Wayland-native there.
    m_knowsFrontmost = !throughXwayland;
    m_description = throughXwayland
                        ? QStringLiteral("Wayland%1 through Xwayland").arg(desktopName())
                        : QStringLiteral("X11%1").arg(desktopName());
    m_pasteboard = std::make_unique<X11Pasteboard>();
    m_workspace = std::make_unique<X11Workspace>();
    m_keyPoster = std::make_unique<X11KeyPoster>();
}

PlatformSession::~PlatformSession() = default;

std::unique_ptr<Pasteboard> PlatformSession::makePrimaryPasteboard() const
{
    if (m_kind != Kind::x11 && m_kind != Kind::xwayland)
        return nullptr;
    return std::make_unique<X11Pasteboard>(X11SelectionReader::kDefaultRequestTimeout,
                                           nullptr,
                                           X11Pasteboard::Selection::primary);
}

std::unique_ptr<OpenWindows> PlatformSession::makeOpenWindows() const
{
    if (m_kind == Kind::x11 || m_kind == Kind::xwayland)
        return std::make_unique<X11OpenWindows>();
    if (m_toplevels)
        return std::make_unique<ToplevelOpenWindows>(*m_toplevels);
    return nullptr;
}

void PlatformSession::prepareFloatingWindow(QWindow &window) const
{
    if (QGuiApplication::platformName() != u"wayland") {
        X11WindowHints::skipTaskbar(window);
        return;
    }
    // A Wayland window cannot place itself. Tiling compositors float a window whose minimum
    // and maximum sizes are equal, and centre it on the focused output.
    window.setMinimumSize(window.size());
    window.setMaximumSize(window.size());
}

void PlatformSession::onSessionLost(std::function<void()> handler)
{
    if (auto *wayland = qobject_cast<WaylandPasteboard *>(m_pasteboard.get()))
        QObject::connect(wayland, &WaylandPasteboard::compositorLost, wayland, std::move(handler));
}
