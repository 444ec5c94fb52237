#pragma once

#include <QByteArray>

#include <algorithm>

// Makes room in `buffer` for `incoming` more bytes of a transfer that grows piece by piece.
// QByteArray alone doubles its capacity, so a 40 MB image would sit in 64 MB; here a buffer
// reserved up front from the size its sender announced is filled exactly, and one that outgrows
// its reservation grows by an eighth at a time.
inline void makeRoomFor(QByteArray &buffer, qsizetype incoming)
{
    const qsizetype needed = buffer.size() + incoming;
    const qsizetype capacity = buffer.capacity();
    if (needed <= capacity)
        return;
    constexpr qsizetype kMinGrowth = 256 * 1024;
    buffer.reserve(std::max({needed, capacity + capacity / 8, capacity + kMinGrowth}));
}
