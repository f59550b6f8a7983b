// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportPlainText.h"

#include "MinuteTexts.h"
#include "ReportText.h"
#include "platform/TimeString.h"

#include <QLocale>

#include <algorithm>

namespace {

// Lays out a plain-text report: free lines, and rows of three columns (a name and a category
// left-aligned, a time right-aligned) two blanks apart. A column is as wide as its widest cell
// in the whole report, so a report is laid out twice by the same code: once to measure the
// columns and once to write into a buffer reserved for all of it.
class TextColumns
{
public:
    void line(QStringView text)
    {
        if (m_writing) {
            m_text += text;
            m_text += u'\n';
        } else {
            m_lineLength += text.size() + 1;
        }
    }

    void row(QStringView name, QStringView category, QStringView time)
    {
        if (!m_writing) {
            m_widths[0] = std::max(m_widths[0], name.size());
            m_widths[1] = std::max(m_widths[1], category.size());
            m_widths[2] = std::max(m_widths[2], time.size());
            ++m_rows;
            return;
        }
        const qsizetype start = m_text.size();
        m_text += name;
        pad(m_widths[0] - name.size() + gap);
        m_text += category;
        pad(m_widths[1] - category.size() + gap + m_widths[2] - time.size());
        m_text += time;
        // A row that ends in empty cells would otherwise end in their padding.
        qsizetype end = m_text.size();
        while (end > start && m_text.at(end - 1) == u' ')
            --end;
        m_text.truncate(end);
        m_text += u'\n';
    }

    // Ends the measuring: the same lines follow once more, to be written.
    void startWriting()
    {
        m_writing = true;
        const qsizetype rowLength = m_widths[0] + m_widths[1] + m_widths[2] + 2 * gap + 1;
        m_text.reserve(m_lineLength + m_rows * rowLength);
    }

    QString take() { return std::move(m_text); }

private:
    static constexpr qsizetype gap = 2;

    void pad(qsizetype blanks) { m_text.resize(m_text.size() + blanks, u' '); }

    bool m_writing = false;
    qsizetype m_widths[3] = {0, 0, 0};
    qsizetype m_rows = 0;
    qsizetype m_lineLength = 0;
    QString m_text;
};

// Runs lay (a callable taking a TextColumns) twice: to measure, then to write.
template<typename Lay>
QString laidOut(const Lay &lay)
{
    TextColumns out;
    lay(out);
    out.startWriting();
    lay(out);
    return out.take();
}

// The names as the text reports show them, an obsolete one marked by an asterisk, as the
// terminal has no red italics; made once per report rather than once per row.
struct TextNames
{
    std::vector<QString> activities;
    std::vector<QString> indentedActivities; // for the rows under a day of the time sheet
    std::vector<int> columns;                // the activity's category, or -1
    std::vector<QString> categories;

    explicit TextNames(const ReportData &report)
    {
        const QString indent = QStringLiteral("  ");
        for (const ReportCategory &c : report.categories)
            categories.push_back(marked(c.name, c.obsolete));
        for (const ReportActivity &a : report.activities) {
            activities.push_back(marked(a.name, a.obsolete));
            indentedActivities.push_back(indent + activities.back());
            columns.push_back(a.column);
        }
    }

    // An activity's category cell: empty when the activity has no column, as in the rich text.
    QStringView categoryOf(int a) const
    {
        const int column = columns[size_t(a)];
        return column >= 0 ? QStringView(categories[size_t(column)]) : QStringView();
    }

    static QString marked(const QString &name, bool obsolete)
    {
        return obsolete ? name + QStringLiteral(" *") : name;
    }
};

QString textPeriod(const QDate &from, const QDate &to)
{
    return ReportText::tr("%1 to %2").arg(TimeString::shortDate(from), TimeString::shortDate(to));
}

QString textUnit(bool decimalHours)
{
    return decimalHours ? ReportText::tr("hours") : ReportText::tr("hrs:mins");
}

// The notes under a text report, after one empty line.
struct TextNotes
{
    QString obsolete = ReportText::tr("Activities and categories marked * are obsolete.");
    QString active = ReportText::tr(
        "There are active tasks in this time period that are excluded from this report.");

    void write(TextColumns &out, bool obsoleteShown, bool activeExcluded) const
    {
        if (!obsoleteShown && !activeExcluded)
            return;
        out.line({});
        if (obsoleteShown)
            out.line(obsolete);
        if (activeExcluded)
            out.line(active);
    }
};

} // namespace

QString ReportPlainText::summary(const ReportData &report, bool decimalHours)
{
    const TextNames names(report);
    const QString title = ReportText::summaryMenuName();
    const QString period = textPeriod(report.from, report.to);
    const QString activityHead = ReportText::tr("Activity");
    const QString categoryHead = ReportText::tr("Category");
    const QString unit = textUnit(decimalHours);
    const QString totalsLabel = ReportText::tr("Totals");
    const QString totalLabel = ReportText::tr("Total");
    const TextNotes notes;
    MinuteTexts minuteText(decimalHours);

    const auto lay = [&](TextColumns &out) {
        out.line(title);
        out.line(period);
        out.line({});
        out.row(activityHead, categoryHead, unit);
        for (const ReportRow &row : report.rows) {
            // Without a category the rich text has no cell for the time and no total takes it.
            QStringView time;
            if (names.columns[size_t(row.activity)] >= 0)
                time = minuteText(row.minutes);
            out.row(names.activities[size_t(row.activity)], names.categoryOf(row.activity), time);
        }
        out.line({});
        int sum = 0;
        for (size_t c = 0; c < report.categories.size(); ++c) {
            out.row(c == 0 ? QStringView(totalsLabel) : QStringView(), names.categories[c],
                    minuteText(report.totals[c]));
            sum += report.totals[c];
        }
        out.row(totalLabel, {}, minuteText(sum));
        notes.write(out, report.obsoleteShown, report.runningLeftOut);
    };
    return laidOut(lay);
}

QString ReportPlainText::timeSheet(const ReportData &report, bool decimalHours)
{
    const TextNames names(report);
    const QString title = ReportText::timeSheetMenuName();
    const QString period = textPeriod(report.from, report.to);
    // The day rows are indented under their day; the indent counts in the first column.
    const QString indent = QStringLiteral("  ");
    const QString activityHead = indent + ReportText::tr("Activity");
    const QString categoryHead = ReportText::tr("Category");
    const QString unit = textUnit(decimalHours);
    const QString dailyLabel = indent + ReportText::tr("Daily Totals");
    const QString periodLabel = ReportText::tr("Period Totals");
    const QString totalLabel = ReportText::tr("Total");
    const TextNotes notes;
    MinuteTexts minuteText(decimalHours);

    std::vector<QString> dayHeads;
    const QLocale locale;
    for (const ReportDay &day : report.days) {
        dayHeads.push_back(locale.dayName(day.date.dayOfWeek(), QLocale::ShortFormat)
                           + QLatin1Char(' ') + TimeString::shortDate(day.date));
    }

    const auto lay = [&](TextColumns &out) {
        const size_t categoryCount = report.categories.size();
        out.line(title);
        out.line(period);
        out.line({});
        for (size_t i = 0; i < report.days.size(); ++i) {
            const ReportDay &day = report.days[i];
            out.line(dayHeads[i]);
            out.row(activityHead, categoryHead, unit);
            for (int r = day.firstRow; r < day.firstRow + day.rowCount; ++r) {
                const ReportRow &row = report.rows[size_t(r)];
                QStringView time;
                if (names.columns[size_t(row.activity)] >= 0)
                    time = minuteText(row.minutes);
                out.row(names.indentedActivities[size_t(row.activity)],
                        names.categoryOf(row.activity), time);
            }
            int daySum = 0;
            for (const int m : day.totals)
                daySum += m;
            out.row(dailyLabel, {}, minuteText(daySum));
            out.line({});
        }
        int sum = 0;
        for (size_t c = 0; c < categoryCount; ++c) {
            out.row(c == 0 ? QStringView(periodLabel) : QStringView(), names.categories[c],
                    minuteText(report.totals[c]));
            sum += report.totals[c];
        }
        // Without categories the total row is the only one, and carries the label.
        out.row(categoryCount == 0 ? QStringView(periodLabel) : QStringView(), totalLabel,
                minuteText(sum));
        notes.write(out, report.obsoleteShown, report.runningLeftOut);
    };
    return laidOut(lay);
}
