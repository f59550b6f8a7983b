// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "StoredTime.h"

namespace StoredTime {

qint64 pack(const DocumentFormat::WallClock &when, bool withSeconds)
{
    if (when.isNull() || when.year < 1 || when.year > 9999)
        return 0;
    const int second = withSeconds ? when.second : 0;
    if (!QDate::isValid(when.year, when.month, when.day)
        || !QTime::isValid(when.hour, when.minute, second))
        return 0;
    qint64 packed = qint64(when.year) * 100000000 + when.month * 1000000 + when.day * 10000
                    + when.hour * 100 + when.minute;
    if (withSeconds)
        packed = packed * 100 + second;
    return packed;
}

DocumentFormat::WallClock unpack(qint64 packed, bool withSeconds)
{
    DocumentFormat::WallClock when;
    if (packed <= 0)
        return when;
    if (withSeconds) {
        when.second = int(packed % 100);
        packed /= 100;
    }
    when.minute = int(packed % 100);
    when.hour = int(packed / 100 % 100);
    when.day = int(packed / 10000 % 100);
    when.month = int(packed / 1000000 % 100);
    when.year = int(packed / 100000000);
    return when;
}

} // namespace StoredTime
