#pragma once

#include <QDateTime>

// A point in time as the store file keeps it: seconds since 2001-01-01 00:00:00 UTC as a
// double. Kept as that double (not a QDateTime, which rounds to milliseconds) so that loading
// and saving a file written elsewhere keeps every date exactly.
struct Timestamp
{
    double secondsSinceReferenceDate = 0;

    static Timestamp now();
    static Timestamp fromDateTime(const QDateTime &dateTime);
    QDateTime toDateTime() const;
    Timestamp addSecs(double seconds) const { return {secondsSinceReferenceDate + seconds}; }

    friend auto operator<=>(const Timestamp &, const Timestamp &) = default;
};

size_t qHash(const Timestamp &timestamp, size_t seed = 0) noexcept;
