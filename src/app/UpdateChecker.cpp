#include "UpdateChecker.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSettings>

#ifndef CLIPHAVEN_UPDATE_FEED_URL
#    error "CLIPHAVEN_UPDATE_FEED_URL is set by the build"
#endif

QString UpdateCheckResult::messageText() const
{
    switch (outcome) {
    case Outcome::upToDate:
        return QStringLiteral("Cliphaven is up to date.");
    case Outcome::updateAvailable:
        return QStringLiteral("Cliphaven %1 is available.").arg(update.displayVersion());
    case Outcome::failed:
        break;
    }
    return QStringLiteral("Cliphaven couldn’t check for updates.");
}

QString UpdateCheckResult::informativeText() const
{
    switch (outcome) {
    case Outcome::upToDate:
        return QStringLiteral("Version %1 is the newest version available.").arg(currentVersion);
    case Outcome::updateAvailable:
        return QStringLiteral("You have version %1. Open the download page to get the new version.")
            .arg(currentVersion);
    case Outcome::failed:
        break;
    }
    switch (failure) {
    case Failure::unreachable:
        return QStringLiteral("The update server could not be reached (%1). Check your network "
                              "connection and try again.")
            .arg(detail);
    case Failure::timedOut:
        return QStringLiteral("The update server did not answer in time. Try again later.");
    case Failure::httpError:
        return QStringLiteral(
                   "The update server answered with an error (HTTP %1). Try again later.")
            .arg(httpStatus);
    case Failure::unreadableFeed:
    case Failure::none:
        break;
    }
    return QStringLiteral("The update information from the server could not be read. Try again "
                          "later.");
}

QUrl UpdateChecker::builtInFeedUrl()
{
    return QUrl(QStringLiteral(CLIPHAVEN_UPDATE_FEED_URL));
}

QUrl UpdateChecker::feedUrl(const QSettings &settings)
{
    const QUrl configured(settings.value(kFeedUrlKey).toString().trimmed(), QUrl::StrictMode);
    const QString scheme = configured.scheme();
    if (configured.isValid() && (scheme == u"https" || scheme == u"http" || scheme == u"file")
        && (scheme == u"file" || !configured.host().isEmpty()))
        return configured;
    return builtInFeedUrl();
}

UpdateChecker::UpdateChecker(QObject *parent)
    : QObject(parent)
    , m_network(new QNetworkAccessManager(this))
{
    qRegisterMetaType<UpdateCheckResult>();
    m_timeout.setSingleShot(true);
    connect(&m_timeout, &QTimer::timeout, this, [this] {
        if (!m_reply)
            return;
        m_timedOut = true;
        m_reply->abort();
    });
}

UpdateChecker::~UpdateChecker()
{
    cancel();
}

bool UpdateChecker::check(const QUrl &feedUrl, const QString &currentVersion, int timeoutMs)
{
    if (m_reply)
        return false;
    m_currentVersion = currentVersion;
    m_timedOut = false;

    QNetworkRequest request(feedUrl);
    request.setHeader(QNetworkRequest::UserAgentHeader,
                      QStringLiteral("Cliphaven/%1").arg(currentVersion));
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    m_reply = m_network->get(request);
    QNetworkReply *reply = m_reply;
    connect(reply, &QNetworkReply::finished, this, &UpdateChecker::onFinished);
    // Stop a body that cannot be a feed before it fills the memory.
    connect(reply, &QNetworkReply::downloadProgress, this, [reply](qint64 received, qint64 total) {
        if (received > kMaxFeedBytes || total > kMaxFeedBytes) {
            reply->setProperty("tooLarge", true);
            reply->abort();
        }
    });
    m_timeout.start(timeoutMs);
    return true;
}

void UpdateChecker::cancel()
{
    m_timeout.stop();
    if (QNetworkReply *reply = m_reply) {
        m_reply = nullptr;
        reply->disconnect(this);
        reply->abort();
        reply->deleteLater();
    }
}

void UpdateChecker::fail(UpdateCheckResult::Failure failure, int httpStatus, const QString &detail)
{
    UpdateCheckResult result;
    result.outcome = UpdateCheckResult::Outcome::failed;
    result.failure = failure;
    result.currentVersion = m_currentVersion;
    result.httpStatus = httpStatus;
    result.detail = detail;
    emit finished(result);
}

void UpdateChecker::onFinished()
{
    QNetworkReply *reply = m_reply;
    if (!reply)
        return;
    m_reply = nullptr;
    m_timeout.stop();
    reply->deleteLater();

    using Failure = UpdateCheckResult::Failure;
    if (m_timedOut)
        return fail(Failure::timedOut);
    if (reply->property("tooLarge").toBool())
        return fail(Failure::unreadableFeed, 0, QStringLiteral("the feed is too large"));
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status >= 400)
        return fail(Failure::httpError, status);
    if (reply->error() != QNetworkReply::NoError)
        return fail(Failure::unreachable, 0, reply->errorString());

    QString parseError;
    const std::optional<QList<AppcastItem>> items = Appcast::parse(reply->readAll(),
                                                                   reply->url(),
                                                                   &parseError);
    if (!items)
        return fail(Failure::unreadableFeed, 0, parseError);

    UpdateCheckResult result;
    result.currentVersion = m_currentVersion;
    if (const std::optional<AppcastItem> update = Appcast::newestUpdate(*items, m_currentVersion)) {
        result.outcome = UpdateCheckResult::Outcome::updateAvailable;
        result.update = *update;
    } else {
        result.outcome = UpdateCheckResult::Outcome::upToDate;
    }
    emit finished(result);
}
