#pragma once

#include "Appcast.h"

#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>

class QNetworkAccessManager;

class QSettings;

// What one check for updates found, with the texts that tell the user.
struct UpdateCheckResult
{
    enum class Outcome { upToDate, updateAvailable, failed };
    enum class Failure { none, unreachable, timedOut, httpError, unreadableFeed };

    Outcome outcome = Outcome::failed;
    Failure failure = Failure::none;
    QString currentVersion;
    // The release on offer when an update is available.
    AppcastItem update;
    // The HTTP status for httpError; the network's or the parser's words for the others.
    int httpStatus = 0;
    QString detail;

    QString messageText() const;
    QString informativeText() const;
};

// Fetches the update feed and decides whether a newer release is on offer. One check at a
// time; bad answers (garbage, huge bodies, errors, a server that never answers) end in a
// failed result, never a hang.
class UpdateChecker : public QObject
{
    Q_OBJECT

public:
    // Where releases are announced unless the settings name another feed.
    static inline const QString kFeedUrlKey = QStringLiteral("CliphavenUpdateFeedURL");
    static constexpr int kDefaultTimeoutMs = 30000;
    static constexpr qint64 kMaxFeedBytes = 4 * 1024 * 1024;

    // The feed named in the settings when it is a valid http, https or file URL, else the
    // built-in one; empty when neither names one.
    static QUrl feedUrl(const QSettings &settings);
    // The build's feed; empty in a build without one.
    static QUrl builtInFeedUrl();
    // Whether there is a feed to check at all; without one "Check for Updates…" is not shown.
    static bool updatesOffered(const QSettings &settings) { return !feedUrl(settings).isEmpty(); }

    explicit UpdateChecker(QObject *parent = nullptr);
    ~UpdateChecker() override;

    // Starts a check unless one is running; finished follows exactly once per started check.
    // timeoutMs bounds the whole exchange, from connecting to the last byte.
    bool check(const QUrl &feedUrl,
               const QString &currentVersion,
               int timeoutMs = kDefaultTimeoutMs);
    // Ends a running check without a result.
    void cancel();
    bool isChecking() const { return m_reply != nullptr; }

signals:
    void finished(const UpdateCheckResult &result);

private:
    void onFinished();
    void fail(UpdateCheckResult::Failure failure, int httpStatus = 0, const QString &detail = {});

    QNetworkAccessManager *m_network;
    QPointer<QNetworkReply> m_reply;
    QTimer m_timeout;
    QString m_currentVersion;
    bool m_timedOut = false;
};

Q_DECLARE_METATYPE(UpdateCheckResult)
