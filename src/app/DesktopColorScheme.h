#pragma once

#include <QObject>
#include <QString>

class QDBusVariant;

// Whether the desktop asks applications for a dark or a light look. Qt 6.4 cannot tell, so it
// is read from the XDG settings portal ("org.freedesktop.appearance" "color-scheme"), which
// GNOME, KDE and others serve and which also reports later changes; until the portal answers,
// or where there is none, from the GTK and KDE settings files. Where the desktop states no
// preference, the look stays dark, like the overlay.
class DesktopColorScheme : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool dark READ dark NOTIFY darkChanged)

public:
    enum class Scheme { NoPreference, Dark, Light };
    Q_ENUM(Scheme)

    // Reads the files at once and asks the portal without waiting for it.
    explicit DesktopColorScheme(QObject *parent = nullptr);

    Scheme scheme() const { return m_scheme; }
    bool dark() const { return m_scheme != Scheme::Light; }

    // The portal's value: 1 prefers dark, 2 prefers light, anything else states nothing.
    static Scheme fromPortalValue(uint value);
    // GTK's settings.ini: gtk-application-prefer-dark-theme, else a theme name ending in
    // "-dark" (case ignored).
    static Scheme fromGtkSettings(const QString &iniText);
    // KDE's kdeglobals: the window background of [Colors:Window] by its lightness, else the
    // name of the colour scheme.
    static Scheme fromKdeGlobals(const QString &iniText);
    // The files under this configuration folder (normally ~/.config): KDE's first, then GTK 4's
    // and GTK 3's.
    static Scheme fromConfigFolder(const QString &folder);

signals:
    void darkChanged();

private slots:
    void portalSettingChanged(const QString &group, const QString &key, const QDBusVariant &value);

private:
    void setScheme(Scheme scheme);
    void askPortal();

    Scheme m_scheme = Scheme::NoPreference;
};
