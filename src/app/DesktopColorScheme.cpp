#include "DesktopColorScheme.h"

#include <QColor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QFile>
#include <QStandardPaths>

namespace {

const QString kPortalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPortalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kSettingsInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString kAppearance = QStringLiteral("org.freedesktop.appearance");
const QString kColorScheme = QStringLiteral("color-scheme");
// A portal that never answers leaves the files' answer in place after this long.
constexpr int kPortalTimeoutMs = 2000;

// The value of key in [group] of an ini text; empty when absent.
QString iniValue(const QString &text, const QString &group, const QString &key)
{
    bool inGroup = false;
    const QString header = u'[' + group + u']';
    for (const QStringView raw : QStringView(text).split(u'\n')) {
        const QStringView line = raw.trimmed();
        if (line.startsWith(u'[')) {
            inGroup = line == header;
            continue;
        }
        if (!inGroup)
            continue;
        const qsizetype equals = line.indexOf(u'=');
        if (equals > 0 && line.left(equals).trimmed() == key)
            return line.mid(equals + 1).trimmed().toString();
    }
    return {};
}

QString readText(const QString &path)
{
    QFile file(path);
    // Settings files are small; a huge or unreadable one tells nothing.
    if (!file.open(QIODevice::ReadOnly) || file.size() > 1024 * 1024)
        return {};
    return QString::fromUtf8(file.readAll());
}

// The portal wraps the value in one or two variants depending on its version.
uint unwrap(QVariant value)
{
    while (value.canConvert<QDBusVariant>() && value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    bool ok = false;
    const uint number = value.toUInt(&ok);
    return ok ? number : 0;
}

} // namespace

DesktopColorScheme::DesktopColorScheme(QObject *parent)
    : QObject(parent)
{
    m_scheme = fromConfigFolder(
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation));
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    bus.connect(kPortalService,
                kPortalPath,
                kSettingsInterface,
                QStringLiteral("SettingChanged"),
                this,
                SLOT(portalSettingChanged(QString, QString, QDBusVariant)));
    askPortal();
}

void DesktopColorScheme::askPortal()
{
    QDBusMessage call = QDBusMessage::createMethodCall(kPortalService,
                                                       kPortalPath,
                                                       kSettingsInterface,
                                                       QStringLiteral("Read"));
    call << kAppearance << kColorScheme;
    // Asked without waiting: a portal that is slow to start never holds up a window.
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus()
                                                    .asyncCall(call, kPortalTimeoutMs),
                                                this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *w) {
        w->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *w;
        // No portal, or one without the setting: the files' answer stands.
        if (reply.isError())
            return;
        const Scheme scheme = fromPortalValue(unwrap(QVariant::fromValue(reply.value())));
        if (scheme != Scheme::NoPreference)
            setScheme(scheme);
    });
}

void DesktopColorScheme::portalSettingChanged(const QString &group,
                                              const QString &key,
                                              const QDBusVariant &value)
{
    if (group != kAppearance || key != kColorScheme)
        return;
    setScheme(fromPortalValue(unwrap(value.variant())));
}

void DesktopColorScheme::setScheme(Scheme scheme)
{
    const bool wasDark = dark();
    m_scheme = scheme;
    if (dark() != wasDark)
        emit darkChanged();
}

DesktopColorScheme::Scheme DesktopColorScheme::fromPortalValue(uint value)
{
    switch (value) {
    case 1:
        return Scheme::Dark;
    case 2:
        return Scheme::Light;
    default:
        return Scheme::NoPreference;
    }
}

DesktopColorScheme::Scheme DesktopColorScheme::fromGtkSettings(const QString &iniText)
{
    const QString prefer = iniValue(iniText,
                                    QStringLiteral("Settings"),
                                    QStringLiteral("gtk-application-prefer-dark-theme"))
                               .toLower();
    if (prefer == u"1" || prefer == u"true")
        return Scheme::Dark;
    const QString theme = iniValue(iniText,
                                   QStringLiteral("Settings"),
                                   QStringLiteral("gtk-theme-name"));
    if (theme.isEmpty())
        return Scheme::NoPreference;
    return theme.endsWith(u"-dark", Qt::CaseInsensitive)
                   || theme.endsWith(u":dark", Qt::CaseInsensitive)
               ? Scheme::Dark
               : Scheme::Light;
}

DesktopColorScheme::Scheme DesktopColorScheme::fromKdeGlobals(const QString &iniText)
{
    const QStringList rgb = iniValue(iniText,
                                     QStringLiteral("Colors:Window"),
                                     QStringLiteral("BackgroundNormal"))
                                .split(u',');
    if (rgb.size() >= 3) {
        bool ok[3] = {};
        const int r = rgb.at(0).trimmed().toInt(&ok[0]);
        const int g = rgb.at(1).trimmed().toInt(&ok[1]);
        const int b = rgb.at(2).trimmed().toInt(&ok[2]);
        if (ok[0] && ok[1] && ok[2])
            return QColor(r, g, b).lightnessF() < 0.5 ? Scheme::Dark : Scheme::Light;
    }
    const QString name = iniValue(iniText, QStringLiteral("General"), QStringLiteral("ColorScheme"));
    if (name.isEmpty())
        return Scheme::NoPreference;
    return name.contains(u"dark", Qt::CaseInsensitive) ? Scheme::Dark : Scheme::Light;
}

DesktopColorScheme::Scheme DesktopColorScheme::fromConfigFolder(const QString &folder)
{
    if (folder.isEmpty())
        return Scheme::NoPreference;
    if (const Scheme kde = fromKdeGlobals(readText(folder + u"/kdeglobals"));
        kde != Scheme::NoPreference)
        return kde;
    for (const char *gtk : {"/gtk-4.0/settings.ini", "/gtk-3.0/settings.ini"}) {
        if (const Scheme scheme = fromGtkSettings(readText(folder + QLatin1StringView(gtk)));
            scheme != Scheme::NoPreference)
            return scheme;
    }
    return Scheme::NoPreference;
}
