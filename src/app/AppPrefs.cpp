#include "AppPrefs.h"

#include <QCoreApplication>

namespace {

AppPrefs *g_shared = nullptr;

// The settings file keeps every value as text, so a stored Bool comes back as "true" or
// "false". The plain boolean read accepts what a boolean read of user defaults accepts
// (yes/true/a non-zero number); anything else is false.
bool readBool(const QVariant &value)
{
    if (!value.isValid())
        return false;
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    if (value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QByteArray) {
        const QString text = value.toString().trimmed().toLower();
        if (text == u"true" || text == u"yes" || text == u"y" || text == u"t")
            return true;
        bool isNumber = false;
        const double number = text.toDouble(&isNumber);
        return isNumber && number != 0;
    }
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    return isNumber && number != 0;
}

// The object read: only a stored Bool counts; anything else gives the default.
bool readBoolObject(const QVariant &value, bool fallback)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString();
        if (text == u"true")
            return true;
        if (text == u"false")
            return false;
    }
    return fallback;
}

// A list of strings comes back as a QStringList, except that the settings file cannot tell a
// one-element list from a plain string; both read as that one element.
QStringList readStringArray(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QStringList:
        return value.toStringList();
    case QMetaType::QString:
        return {value.toString()};
    case QMetaType::QVariantList: {
        QStringList strings;
        for (const QVariant &element : value.toList()) {
            if (element.typeId() != QMetaType::QString)
                return {};
            strings.append(element.toString());
        }
        return strings;
    }
    default:
        return {};
    }
}

} // namespace

AppPrefs::AppPrefs(std::unique_ptr<QSettings> settings, QObject *parent)
    : QObject(parent)
    , m_settings(std::move(settings))
{
    Q_ASSERT(m_settings);
    m_paused = readBool(m_settings->value(kPausedKey));
    m_showInMenuBar = readBoolObject(m_settings->value(kShowInMenuBarKey), true);
    m_seenPauseExplainer = readBool(m_settings->value(kSeenPauseExplainerKey));
    m_ignoredApps = readStringArray(m_settings->value(kIgnoredAppsKey));
    m_playSounds = readBoolObject(m_settings->value(kPlaySoundsKey), true);
    m_forgetTransientCopies = readBoolObject(m_settings->value(kForgetTransientCopiesKey), true);
    m_recordPrimarySelection = readBool(m_settings->value(kRecordPrimarySelectionKey));
    m_pasteKeystrokes = PasteKeystrokeRules::encode(
        PasteKeystrokeRules::decode(readStringArray(m_settings->value(kPasteKeystrokesKey))));
}

AppPrefs::~AppPrefs()
{
    if (g_shared == this)
        g_shared = nullptr;
}

std::unique_ptr<QSettings> AppPrefs::makeUserSettings()
{
    return std::make_unique<QSettings>(QSettings::NativeFormat,
                                       QSettings::UserScope,
                                       QStringLiteral("Cliphaven"),
                                       QStringLiteral("Cliphaven"));
}

AppPrefs &AppPrefs::shared()
{
    if (!g_shared) {
        g_shared = new AppPrefs(makeUserSettings());
        // Lives until the process ends; parented to the application so it is gone before Qt is.
        if (QCoreApplication::instance())
            g_shared->setParent(QCoreApplication::instance());
    }
    return *g_shared;
}

void AppPrefs::setShared(AppPrefs *prefs)
{
    g_shared = prefs;
}

void AppPrefs::writeBool(const QString &key, bool value)
{
    m_settings->setValue(key, value);
    m_settings->sync();
}

void AppPrefs::setPaused(bool paused)
{
    writeBool(kPausedKey, paused);
    if (std::exchange(m_paused, paused) != paused)
        emit pausedChanged();
}

void AppPrefs::setShowInMenuBar(bool show)
{
    writeBool(kShowInMenuBarKey, show);
    if (std::exchange(m_showInMenuBar, show) != show)
        emit showInMenuBarChanged();
}

void AppPrefs::setSeenPauseExplainer(bool seen)
{
    writeBool(kSeenPauseExplainerKey, seen);
    if (std::exchange(m_seenPauseExplainer, seen) != seen)
        emit seenPauseExplainerChanged();
}

void AppPrefs::setIgnoredApps(const QStringList &apps)
{
    m_settings->setValue(kIgnoredAppsKey, apps);
    m_settings->sync();
    if (std::exchange(m_ignoredApps, apps) != apps)
        emit ignoredAppsChanged();
}

void AppPrefs::setPlaySounds(bool play)
{
    writeBool(kPlaySoundsKey, play);
    if (std::exchange(m_playSounds, play) != play)
        emit playSoundsChanged();
}

void AppPrefs::addIgnoredApp(const QString &identifier)
{
    if (m_ignoredApps.contains(identifier))
        return;
    setIgnoredApps(m_ignoredApps + QStringList{identifier});
}

void AppPrefs::removeIgnoredApp(const QString &identifier)
{
    QStringList apps = m_ignoredApps;
    apps.removeAll(identifier);
    setIgnoredApps(apps);
}

void AppPrefs::setForgetTransientCopies(bool forget)
{
    writeBool(kForgetTransientCopiesKey, forget);
    if (std::exchange(m_forgetTransientCopies, forget) != forget)
        emit forgetTransientCopiesChanged();
}

void AppPrefs::setRecordPrimarySelection(bool record)
{
    writeBool(kRecordPrimarySelectionKey, record);
    if (std::exchange(m_recordPrimarySelection, record) != record)
        emit recordPrimarySelectionChanged();
}

void AppPrefs::setPasteKeystrokes(const QStringList &entries)
{
    const QStringList clean = PasteKeystrokeRules::encode(PasteKeystrokeRules::decode(entries));
    m_settings->setValue(kPasteKeystrokesKey, clean);
    m_settings->sync();
    if (std::exchange(m_pasteKeystrokes, clean) != clean)
        emit pasteKeystrokesChanged();
}

QList<PasteKeystrokeRules::Override> AppPrefs::pasteKeystrokeOverrides() const
{
    return PasteKeystrokeRules::decode(m_pasteKeystrokes);
}

void AppPrefs::setPasteKeystroke(const QString &identifier, PasteKeystroke keystroke)
{
    if (identifier.trimmed().isEmpty())
        return;
    // Appended last, so it replaces any earlier choice for the same program.
    setPasteKeystrokes(m_pasteKeystrokes
                       + PasteKeystrokeRules::encode({{identifier.trimmed(), keystroke}}));
}

void AppPrefs::removePasteKeystroke(const QString &identifier)
{
    QList<PasteKeystrokeRules::Override> overrides = pasteKeystrokeOverrides();
    overrides.removeIf([&](const PasteKeystrokeRules::Override &entry) {
        return entry.identifier.compare(identifier, Qt::CaseInsensitive) == 0;
    });
    setPasteKeystrokes(PasteKeystrokeRules::encode(overrides));
}
