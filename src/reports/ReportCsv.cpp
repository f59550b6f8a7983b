// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportCsv.h"

#include "ReportText.h"

#include <QStringList>

namespace {

QString csvRow(const QStringList &fields)
{
    QStringList quoted;
    for (const QString &field : fields)
        quoted.append(ReportText::csvField(field));
    return quoted.join(QLatin1Char(',')) + QLatin1String("\r\n");
}

} // namespace

QString ReportCsv::summary(const ReportData &report)
{
    QString text = csvRow({ReportText::tr("Activity"), ReportText::tr("Category"),
                           ReportText::tr("Minutes"), ReportText::tr("Hours")});
    for (const ReportRow &row : report.rows) {
        const ReportActivity &activity = report.activities[size_t(row.activity)];
        text += csvRow({ReportText::csvName(activity.name), ReportText::csvName(activity.category),
                        QString::number(row.minutes), QString::number(row.minutes / 60.0, 'f', 4)});
    }
    return text;
}

QString ReportCsv::timeSheet(const ReportData &report)
{
    QString text = csvRow({ReportText::tr("Date"), ReportText::tr("Activity"),
                           ReportText::tr("Category"), ReportText::tr("Minutes")});
    for (const ReportDay &day : report.days) {
        const QString date = day.date.toString(Qt::ISODate);
        for (int r = day.firstRow; r < day.firstRow + day.rowCount; ++r) {
            const ReportRow &row = report.rows[size_t(r)];
            const ReportActivity &activity = report.activities[size_t(row.activity)];
            text += csvRow({date, ReportText::csvName(activity.name),
                            ReportText::csvName(activity.category), QString::number(row.minutes)});
        }
    }
    return text;
}
