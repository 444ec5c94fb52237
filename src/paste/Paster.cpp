#include "Paster.h"

#include "Sounds.h"
#include "app/AppPrefs.h"
#include "capture/ClipboardMonitor.h"
#include "capture/ItemRules.h"
#include "model/PasteKeystrokeRules.h"
#include "platform/KeyPoster.h"
#include "platform/Pasteboard.h"

#include <QMessageBox>
#include <QTimer>

namespace {

void showAlert(bool onWayland)
{
    QMessageBox box;
    box.setWindowTitle(QStringLiteral("Cliphaven"));
    box.setIcon(QMessageBox::Information);
    box.setText(Paster::alertMessage());
    box.setInformativeText(Paster::alertInformativeText(onWayland));
    box.setStandardButtons(QMessageBox::Ok);
    box.exec();
}

} // namespace

QString Paster::alertMessage()
{
    return QStringLiteral("Cliphaven cannot paste into other apps here");
}

QString Paster::alertInformativeText(bool onWayland)
{
    if (onWayland) {
        return QStringLiteral(
            "Cliphaven pastes by typing Ctrl+V into the app you were using, and this Wayland "
            "desktop does not let one app type into another. Until then, the item you pick is put "
            "on your clipboard — press Ctrl+V to paste it manually.");
    }
    return QStringLiteral(
        "Cliphaven pastes by typing Ctrl+V into the app you were using, which needs an X11 "
        "session whose X server offers the XTest extension; this session has none. Until then, "
        "the item you pick is put on your clipboard — press Ctrl+V to paste it manually. To "
        "paste automatically, log in to an X11 session (not Wayland), then re-launch "
        "Cliphaven.");
}

Paster::Paster(Pasteboard &pasteboard,
               Workspace &workspace,
               KeyPoster &keys,
               Sounds &sounds,
               AppPrefs &prefs,
               QObject *parent)
    : QObject(parent)
    , m_pasteboard(pasteboard)
    , m_workspace(workspace)
    , m_keys(keys)
    , m_sounds(sounds)
    , m_prefs(prefs)
    , m_presentAlert([this] { showAlert(m_onWayland); })
{}

void Paster::paste(const ClipItem &item,
                   const std::optional<RunningApplication> &app,
                   ClipboardMonitor &monitor)
{
    const bool trusted = m_keys.isTrusted();
    monitor.setSuppressNextChange(true);
    write(item);
    m_sounds.paste();
    if (app)
        m_workspace.activate(*app);
    if (!trusted) {
        promptForAccessibilityOnce();
        return;
    }
    const PasteKeystroke keystroke = keystrokeFor(app);
    // Terminals that paste with Shift+Insert read the text selection, not the clipboard.
    if (PasteKeystrokeRules::pastesPrimary(keystroke)) {
        if (const std::optional<QString> text = plainText(item))
            m_pasteboard.writePrimaryString(*text);
    }
    QTimer::singleShot(kKeystrokeDelayMs, this, [this, keystroke] {
        m_keys.postPasteKeystroke(keystroke);
    });
}

PasteKeystroke Paster::keystrokeFor(const std::optional<RunningApplication> &app) const
{
    if (!app)
        return PasteKeystroke::controlV;
    return PasteKeystrokeRules::keystrokeFor({app->identifier, app->instanceName},
                                             m_prefs.pasteKeystrokeOverrides());
}

std::optional<QString> Paster::plainText(const ClipItem &item)
{
    if (item.kind == ClipKind::Text && item.text)
        return item.text;
    return std::nullopt;
}

void Paster::copy(const ClipItem &item, ClipboardMonitor &monitor)
{
    monitor.setSuppressNextChange(true);
    write(item);
}

bool Paster::promptIfUntrusted()
{
    if (m_keys.isTrusted())
        return true;
    promptForAccessibilityOnce();
    return false;
}

void Paster::write(const ClipItem &item)
{
    // Each case replaces the whole content in one change, so exactly one change is suppressed.
    if (item.flavors && !item.flavors->isEmpty())
        m_pasteboard.writeFlavors(*item.flavors);
    else if (item.kind == ClipKind::Text)
        m_pasteboard.writeString(item.text.value_or(QString()));
    else if (item.imageData)
        m_pasteboard.writeFlavors({{ItemRules::kPngType, *item.imageData}});
    else
        m_pasteboard.writeFlavors({});
}

void Paster::promptForAccessibilityOnce()
{
    QSettings &settings = m_prefs.settings();
    if (settings.value(AppPrefs::kAccessibilityPromptedKey).toBool())
        return;
    // Written before anything is shown, so a crash or quit during the alert never repeats it.
    settings.setValue(AppPrefs::kAccessibilityPromptedKey, true);
    QTimer::singleShot(0, this, [this] { m_presentAlert(); });
}
