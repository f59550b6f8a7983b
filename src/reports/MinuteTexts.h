// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ReportText.h"

#include <QString>
#include <QStringView>

#include <unordered_map>
#include <vector>

// Formatted durations, each worked out once per report: a long time sheet repeats the same
// few hundred values tens of thousands of times.
class MinuteTexts
{
public:
    explicit MinuteTexts(bool decimalHours)
        : m_decimal(decimalHours)
        , m_cache(size_t(cached))
    {}

    const QString &operator()(int minutes)
    {
        QString &text
            = minutes >= 0 && minutes < cached ? m_cache[size_t(minutes)] : m_others[minutes];
        if (text.isNull())
            text = ReportText::formatMinutes(minutes, m_decimal);
        return text;
    }

    // A text made before by operator(), for a writer that only reads; a value never made
    // gives an empty text.
    QStringView made(int minutes) const
    {
        if (minutes >= 0 && minutes < cached)
            return m_cache[size_t(minutes)];
        const auto found = m_others.find(minutes);
        return found == m_others.end() ? QStringView() : QStringView(found->second);
    }

private:
    static constexpr int cached = 4 * 1440;
    bool m_decimal;
    std::vector<QString> m_cache;
    // Negative and very long durations are rare: only damaged data or many overlapping tasks.
    std::unordered_map<int, QString> m_others;
};
