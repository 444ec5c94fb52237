#pragma once

#include "app/UpdateChecker.h"

#include <QObject>
#include <QPointer>

#include <functional>

class OverlayAlert;
class QMessageBox;
class QSettings;

// "Check for Updates…": reads the update feed and tells the user what it found, offering the
// download page when a newer version is out. The check runs in the background behind a
// "Checking…" box that can cancel it.
class SparkleUpdater : public QObject
{
    Q_OBJECT

public:
    using UrlOpener = std::function<bool(const QUrl &)>;

    // The process-wide instance, reading the feed location from the user's settings.
    static SparkleUpdater &shared();

    // settings must outlive the updater; the feed location is read anew for every check.
    explicit SparkleUpdater(QSettings &settings,
                            QString currentVersion = QStringLiteral(CLIPHAVEN_VERSION),
                            QObject *parent = nullptr);
    ~SparkleUpdater() override;

    // Opens links in the browser unless told otherwise (tests).
    void setUrlOpener(UrlOpener opener) { m_openUrl = std::move(opener); }
    void setTimeoutMs(int timeoutMs) { m_timeoutMs = timeoutMs; }

    // The box on screen now (the progress box or the answer); null when none.
    QMessageBox *currentAlert() const;

    // While shown() says the overlay is on screen, the progress and the answer appear inside
    // its card, in its look: a separate box would take the focus, and the overlay hides when
    // it loses it. Elsewhere (the tray's menu) they come as boxes of their own.
    void setInlineAlert(OverlayAlert *alert, std::function<bool()> shown);

    // False in a build without an update feed (and no feed in the settings).
    bool canCheckForUpdates() const { return UpdateChecker::updatesOffered(m_settings); }

public slots:
    void checkForUpdates();

signals:
    // The answer is on screen.
    void checkFinished(const UpdateCheckResult &result);

private:
    void showResult(const UpdateCheckResult &result);
    void present(QMessageBox *box);
    bool showsInline() const;
    void showResultInline(const UpdateCheckResult &result);

    QSettings &m_settings;
    QString m_currentVersion;
    UpdateChecker m_checker;
    UrlOpener m_openUrl;
    int m_timeoutMs = UpdateChecker::kDefaultTimeoutMs;
    QPointer<QMessageBox> m_progress;
    QPointer<QMessageBox> m_result;
    QPointer<OverlayAlert> m_inline;
    std::function<bool()> m_inlineShown;
    // The running check's progress is inside the overlay.
    bool m_progressInline = false;
};
