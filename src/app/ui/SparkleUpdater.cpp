#include "SparkleUpdater.h"

#include "app/AppPrefs.h"

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
    auto *progress = new QMessageBox(QMessageBox::NoIcon,
                                     QString(),
                                     QStringLiteral("Checking for updates…"),
                                     QMessageBox::Cancel);
    progress->setInformativeText(QStringLiteral("Cliphaven is looking for a newer version."));
    connect(progress, &QMessageBox::rejected, this, [this] { m_checker.cancel(); });
    m_progress = progress;
    present(progress);
}

void SparkleUpdater::showResult(const UpdateCheckResult &result)
{
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
