#include "Timestamp.h"

#include <QHashFunctions>

namespace {
// 2001-01-01 00:00:00 UTC in milliseconds since the Unix epoch.
constexpr qint64 kReferenceDateMSecsSinceEpoch = 978307200000LL;
} // namespace

Timestamp Timestamp::now()
{
    return fromDateTime(QDateTime::currentDateTimeUtc());
}

Timestamp Timestamp::fromDateTime(const QDateTime &dateTime)
{
    const qint64 ms = dateTime.toMSecsSinceEpoch() - kReferenceDateMSecsSinceEpoch;
    return {double(ms) / 1000.0};
}

QDateTime Timestamp::toDateTime() const
{
    const auto ms = qint64(secondsSinceReferenceDate * 1000.0);
    return QDateTime::fromMSecsSinceEpoch(kReferenceDateMSecsSinceEpoch + ms, Qt::UTC);
}

size_t qHash(const Timestamp &timestamp, size_t seed) noexcept
{
    return qHash(timestamp.secondsSinceReferenceDate, seed);
}
