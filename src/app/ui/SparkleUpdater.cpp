#include "SparkleUpdater.h"

#include "app/AppPrefs.h"
#include "overlay/OverlayAlert.h"

#include <QApplication>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPushButton>

SparkleUpdater &SparkleUpdater::shared()
{
    static SparkleUpdater *instance = [] {
        auto *updater = new SparkleUpdater(AppPrefs::shared().settings());
        // Gone with the application, before Qt is.
        updater->setParent(QCoreApplication::instance());
        return updater;
    }();
    return *instance;
}

SparkleUpdater::SparkleUpdater(QSettings &settings, QString currentVersion, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_currentVersion(std::move(currentVersion))
    , m_openUrl([](const QUrl &url) { return QDesktopServices::openUrl(url); })
{
    connect(&m_checker, &UpdateChecker::finished, this, &SparkleUpdater::showResult);
}

SparkleUpdater::~SparkleUpdater()
{
    delete m_progress;
    delete m_result;
}

QMessageBox *SparkleUpdater::currentAlert() const
{
    return m_progress ? m_progress.data() : m_result.data();
}

void SparkleUpdater::present(QMessageBox *box)
{
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowTitle(QStringLiteral("Cliphaven"));
    box->setWindowIcon(QIcon(QStringLiteral(":/cliphaven/icons/cliphaven.svg")));
    box->show();
    box->raise();
    box->activateWindow();
}

void SparkleUpdater::setInlineAlert(OverlayAlert *alert, std::function<bool()> shown)
{
    m_inline = alert;
    m_inlineShown = std::move(shown);
}

bool SparkleUpdater::showsInline() const
{
    return m_inline && m_inlineShown && m_inlineShown();
}

void SparkleUpdater::checkForUpdates()
{
    // A second click while checking brings the running check forward.
    if (m_checker.isChecking()) {
        if (m_progress) {
            m_progress->raise();
            m_progress->activateWindow();
        }
        return;
    }
    delete m_result;

    m_checker.check(UpdateChecker::feedUrl(m_settings), m_currentVersion, m_timeoutMs);
    m_progressInline = showsInline();
    if (m_progressInline) {
        m_inline->show(
            QStringLiteral("Checking for updates…"),
            QStringLiteral("Cliphaven is looking for a newer version."),
            {QStringLiteral("Cancel")},
            [this, updater = QPointer<SparkleUpdater>(this)](int) {
                // Cancelled, or the overlay went away: the check ends unanswered.
                if (updater && m_progressInline && m_checker.isChecking()) {
                    m_progressInline = false;
                    m_checker.cancel();
                }
            },
            true);
        return;
    }
    auto *progress = new QMessageBox(QMessageBox::NoIcon,
                                     QString(),
                                     QStringLiteral("Checking for updates…"),
                                     QMessageBox::Cancel);
    progress->setInformativeText(QStringLiteral("Cliphaven is looking for a newer version."));
    connect(progress, &QMessageBox::rejected, this, [this] { m_checker.cancel(); });
    m_progress = progress;
    present(progress);
}

void SparkleUpdater::showResultInline(const UpdateCheckResult &result)
{
    using Outcome = UpdateCheckResult::Outcome;
    QStringList buttons;
    QList<QUrl> links;
    if (result.outcome == Outcome::updateAvailable && result.update.downloadPage().isValid()) {
        buttons << QStringLiteral("Later");
        links << QUrl();
        if (result.update.releaseNotesLink.isValid()) {
            buttons << QStringLiteral("Release Notes");
            links << result.update.releaseNotesLink;
        }
        buttons << QStringLiteral("Open Download Page");
        links << result.update.downloadPage();
    } else {
        buttons << QStringLiteral("OK");
        links << QUrl();
    }
    m_inline->show(result.messageText(),
                   result.informativeText(),
                   buttons,
                   [this, updater = QPointer<SparkleUpdater>(this), links](int chosen) {
                       if (updater && chosen >= 0 && links.at(chosen).isValid())
                           m_openUrl(links.at(chosen));
                   });
}

void SparkleUpdater::showResult(const UpdateCheckResult &result)
{
    if (std::exchange(m_progressInline, false) && m_inline) {
        showResultInline(result);
        emit checkFinished(result);
        return;
    }
    if (QMessageBox *progress = m_progress) {
        m_progress = nullptr;
        progress->disconnect(this);
        progress->hide();
        progress->deleteLater();
    }

    using Outcome = UpdateCheckResult::Outcome;
    auto *box = new QMessageBox(result.outcome == Outcome::failed ? QMessageBox::Warning
                                                                  : QMessageBox::NoIcon,
                                QString(),
                                result.messageText(),
                                QMessageBox::NoButton);
    // Good news comes with Cliphaven's own face.
    if (result.outcome != Outcome::failed)
        box->setIconPixmap(QIcon(QStringLiteral(":/cliphaven/icons/cliphaven.svg")).pixmap(64, 64));
    box->setInformativeText(result.informativeText());
    if (result.outcome == Outcome::updateAvailable && result.update.downloadPage().isValid()) {
        QPushButton *download = box->addButton(QStringLiteral("Open Download Page"),
                                               QMessageBox::AcceptRole);
        box->setDefaultButton(download);
        connect(download, &QPushButton::clicked, this, [this, url = result.update.downloadPage()] {
            m_openUrl(url);
        });
        if (result.update.releaseNotesLink.isValid()) {
            QPushButton *notes = box->addButton(QStringLiteral("Release Notes"),
                                                QMessageBox::HelpRole);
            connect(notes,
                    &QPushButton::clicked,
                    this,
                    [this, url = result.update.releaseNotesLink] { m_openUrl(url); });
        }
        box->addButton(QStringLiteral("Later"), QMessageBox::RejectRole);
    } else {
        box->addButton(QMessageBox::Ok);
    }
    m_result = box;
    present(box);
    emit checkFinished(result);
}
