// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportHtml.h"

#include "MinuteTexts.h"
#include "ReportText.h"
#include "platform/TimeString.h"

#include <QLocale>

#ifdef Q_OS_LINUX
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

const QString obsoleteOpen = QStringLiteral("<font color=#ff0000><i>");
const QString obsoleteClose = QStringLiteral("</i></font>");

QString shownName(const QString &name, bool obsolete)
{
    if (!obsolete)
        return name.toHtmlEscaped();
    return obsoleteOpen + name.toHtmlEscaped() + obsoleteClose;
}

QString heading(const QString &menuName, const QDate &from, const QDate &to)
{
    return QStringLiteral("<qt bgcolor=#ffffff><p><font face=Arial size=5 color=#0000ff>")
           + menuName + QStringLiteral("</font></p><p><font face=Arial size=4 color=#0000ff>")
           + ReportText::tr("%1 to %2").arg(TimeString::shortDate(from), TimeString::shortDate(to))
           + QStringLiteral("</font></p><table border=0 cellpadding=2 cellspacing=1>");
}

QString unitLabel(bool decimalHours)
{
    return decimalHours ? ReportText::tr("hours") : ReportText::tr("hrs&nbsp;:&nbsp;mins");
}

QString notes(bool obsoleteShown, bool activeExcluded)
{
    QString text = QStringLiteral("</table>");
    if (obsoleteShown) {
        text += QStringLiteral("<p><font color=#ff0000>")
                + ReportText::tr("Activities and categories shown in<br><i>red italics</i> are "
                                 "obsolete.")
                + QStringLiteral("</font></p>");
    }
    if (activeExcluded) {
        text += QStringLiteral("<p><font color=#ff0000>")
                + ReportText::tr("There are <i>active</i> tasks in this time period<br>that are "
                                 "excluded from this report.")
                + QStringLiteral("</font></p>");
    }
    return text + QStringLiteral("</qt>");
}

// The heads of the category columns.
QString categoryHeads(const ReportData &report)
{
    QString text;
    for (const ReportCategory &c : report.categories) {
        text += QStringLiteral("<td align=center bgcolor=#c0c0c0>") + shownName(c.name, c.obsolete)
                + QStringLiteral("</td>");
    }
    return text;
}

// A category column's cells. An empty cell begins as a full one does, so a row's empty cells
// and the opening of its one full cell are a stretch of a text holding an empty cell per
// column, and so are the closing of the full cell and the empty ones after it: a row costs its
// name cell rather than a copy of every column.
const QString emptyCell = QStringLiteral("<td align=center bgcolor=#e0e0e0>&nbsp;</td>");
constexpr QStringView fullCellOpen = u"<td align=center bgcolor=#e0e0e0>";
constexpr QStringView cellClose = u"</td>";

QString nameCell(const ReportActivity &activity)
{
    return QStringLiteral("<td bgcolor=#c0c0c0>") + shownName(activity.name, activity.obsolete)
           + QStringLiteral("</td>");
}

// The time sheet's title and column heads, up to its first day.
QString timeSheetHead(const ReportData &report, bool decimalHours)
{
    QString text = heading(ReportText::timeSheetMenuName(), report.from, report.to);
    text += QStringLiteral("<tr><td colspan=2 rowspan=2 bgcolor=#c0c0c0>&nbsp;</td>");
    text += categoryHeads(report);
    text += QStringLiteral("<td rowspan=2 bgcolor=#c0c0c0>&nbsp;</td></tr><tr>");
    const QString unitCell = QStringLiteral("<td align=center bgcolor=#c0c0c0><font size=-1>")
                             + unitLabel(decimalHours) + QStringLiteral("</font></td>");
    for (size_t c = 0; c < report.categories.size(); ++c)
        text += unitCell;
    return text + QStringLiteral("</tr>");
}

// Opens a day of `rows` activity rows: its first row and the date cell beside all of them.
QString dayCell(const QLocale &locale, const QDate &d, int rows)
{
    return QStringLiteral("<tr><td align=top bgcolor=#c0c0c0 rowspan=") + QString::number(rows + 1)
           + QLatin1Char('>') + locale.dayName(d.dayOfWeek(), QLocale::ShortFormat)
           + QStringLiteral("<br>")
           + ReportText::tr("%1&nbsp;%2", "a time sheet's day: the month's short name, the day")
                 .arg(locale.monthName(d.month(), QLocale::ShortFormat), QString::number(d.day()))
           + QStringLiteral("<br>") + QString::number(d.year()) + QStringLiteral("</td>");
}

// The empty cell that closes the first activity row of a day and spans all of them.
QString spacerCell(int rows)
{
    return QStringLiteral("<td align=center bgcolor=#e0e0e0 rowspan=") + QString::number(rows)
           + QStringLiteral(">&nbsp;</td>");
}

// The last row of a day. A day without activity rows has its first row still open.
QString dailyTotalsRow(const std::vector<int> &dayTotals, bool afterRows, MinuteTexts &minuteText)
{
    QString text = afterRows ? QStringLiteral("<tr>") : QString();
    text += QStringLiteral("<td bgcolor=#c0c0c0>") + ReportText::tr("Daily Totals")
            + QStringLiteral("</td>");
    int daySum = 0;
    for (const int m : dayTotals) {
        text += QStringLiteral("<td align=center bgcolor=#c0ffc0>") + minuteText(m)
                + QStringLiteral("</td>");
        daySum += m;
    }
    return text + QStringLiteral("<td align=center bgcolor=#c0ffc0>") + minuteText(daySum)
           + QStringLiteral("</td></tr>");
}

QString periodTotalsRow(const std::vector<int> &periodTotals, bool decimalHours)
{
    QString text = QStringLiteral("<tr><td colspan=2 bgcolor=#c0c0c0>")
                   + ReportText::tr("Period Totals") + QStringLiteral("</td>");
    int periodSum = 0;
    for (const int m : periodTotals) {
        text += QStringLiteral("<td align=center bgcolor=#c0ffc0>")
                + ReportText::formatMinutes(m, decimalHours) + QStringLiteral("</td>");
        periodSum += m;
    }
    return text + QStringLiteral("<td align=center bgcolor=#c0ffc0>")
           + ReportText::formatMinutes(periodSum, decimalHours) + QStringLiteral("</td></tr>");
}

// Asks for the large text's memory to come in huge pages. A fresh buffer is faulted in page
// by page as it is first written, and at 4 KiB a page that costs more than the writing itself:
// about 100 ms for the 137 MB of a year's time sheet on the 2-core development machine (a
// virtual machine), and a second thread does not help, as the faults contend in the kernel.
// Huge pages make 512 times fewer faults. Only for blocks of 32 MiB and more, which glibc maps
// on their own, so that the advice reaches nothing else and ends with the text. It is advice:
// where huge pages are off, nothing changes but the speed.
void adviseHugePages(QString &text)
{
#if defined(Q_OS_LINUX) && defined(MADV_HUGEPAGE)
    const size_t bytes = size_t(text.size()) * sizeof(QChar);
    if (bytes < size_t(32) << 20)
        return;
    const uintptr_t pageSize = uintptr_t(sysconf(_SC_PAGESIZE));
    const uintptr_t begin = reinterpret_cast<uintptr_t>(text.data());
    const uintptr_t first = (begin + pageSize - 1) & ~(pageSize - 1);
    madvise(reinterpret_cast<void *>(first), begin + bytes - first, MADV_HUGEPAGE);
#else
    Q_UNUSED(text);
#endif
}

// The time sheet. A year of it is tens of millions of characters, and writing them is nearly
// all of its cost: the page faults of a fresh buffer and the copying. So everything that
// depends on more than one row, and every minute text, is made before it is written; writing
// then only copies: measured and copied into a buffer of exactly its size, or handed on in
// pieces.
class TimeSheetWriter
{
public:
    TimeSheetWriter(const ReportData &report, bool decimalHours)
        : m_report(report)
        , m_decimalHours(decimalHours)
        , m_minuteText(decimalHours)
    {
        m_nameCells.reserve(report.activities.size());
        for (const ReportActivity &activity : report.activities)
            m_nameCells.push_back(nameCell(activity));
        Q_ASSERT(emptyCell.startsWith(fullCellOpen) && emptyCell.endsWith(cellClose));
        m_categoryCount = qsizetype(report.categories.size());
        m_closeAndEmptyCells = cellClose.toString() + emptyCell.repeated(m_categoryCount);
        prepare();
    }

    // No growth and no second copy: every day's texts are made once, for both passes.
    QString text()
    {
        std::vector<DayTexts> days(m_report.days.size());
        for (size_t i = 0; i < days.size(); ++i)
            days[i] = dayTexts(i);
        const auto madeBefore = [&days](size_t i) -> const DayTexts & {
            return days[i];
        };
        Measure measure;
        writeAll(measure, madeBefore);
        QString text(measure.length, Qt::Uninitialized);
        adviseHugePages(text);
        Copy out(text.data());
        writeAll(out, madeBefore);
        Q_ASSERT(out.at == text.data() + text.size());
        return text;
    }

    // One pass, so a day's texts are made as it is written and let go of after it: a year's
    // of them held at once would weigh more than the rest of the command.
    void handOn(const std::function<void(QStringView)> &take)
    {
        Pieces out(take);
        writeAll(out, [this](size_t i) { return dayTexts(i); });
        out.flush();
    }

private:
    // A day's texts that are not per activity.
    struct DayTexts
    {
        QString open;
        QString spacer;
        QString totals;
    };

    // The ways of writing the text: counting its characters, copying them, handing them on.
    struct Measure
    {
        qsizetype length = 0;
        void put(QStringView piece) { length += piece.size(); }
    };
    struct Copy
    {
        explicit Copy(QChar *to)
            : at(to)
        {}
        void put(QStringView piece)
        {
            std::memcpy(at, piece.data(), size_t(piece.size()) * sizeof(QChar));
            at += piece.size();
        }
        QChar *at;
    };
    // Gathers the small pieces of a day into ones of about PieceChars characters, so that
    // whoever takes them is called a few times per day rather than per cell.
    struct Pieces
    {
        static constexpr qsizetype PieceChars = 32 * 1024;
        explicit Pieces(const std::function<void(QStringView)> &to)
            : take(to)
            , gathered(PieceChars, Qt::Uninitialized)
        {}
        void put(QStringView piece)
        {
            if (used + piece.size() > PieceChars)
                flush();
            if (piece.size() >= PieceChars) {
                take(piece);
                return;
            }
            std::memcpy(gathered.data() + used, piece.data(), size_t(piece.size()) * sizeof(QChar));
            used += piece.size();
        }
        void flush()
        {
            if (used == 0)
                return;
            take(QStringView(gathered).first(used));
            used = 0;
        }
        const std::function<void(QStringView)> &take;
        QString gathered;
        qsizetype used = 0;
    };

    // Everything but the days' own texts, and every duration text a row shows.
    void prepare()
    {
        m_head = timeSheetHead(m_report, m_decimalHours);
        for (const ReportRow &row : m_report.rows) {
            if (m_report.activities[size_t(row.activity)].column >= 0)
                m_minuteText(row.minutes);
        }
        m_foot = periodTotalsRow(m_report.totals, m_decimalHours)
                 + notes(m_report.obsoleteShown, m_report.runningLeftOut);
    }

    DayTexts dayTexts(size_t dayIndex)
    {
        const ReportDay &day = m_report.days[dayIndex];
        DayTexts texts;
        texts.open = dayCell(m_locale, day.date, day.rowCount);
        texts.spacer = spacerCell(day.rowCount);
        texts.totals = dailyTotalsRow(day.totals, day.rowCount > 0, m_minuteText);
        return texts;
    }

    // textsOf(i) gives the texts of day i.
    template<typename Sink, typename DayTextsOf>
    void writeAll(Sink &out, const DayTextsOf &textsOf) const
    {
        out.put(m_head);
        for (size_t i = 0; i < m_report.days.size(); ++i)
            writeDay(out, i, textsOf(i));
        out.put(m_foot);
    }

    template<typename Sink>
    void writeDay(Sink &out, size_t dayIndex, const DayTexts &texts) const
    {
        const ReportDay &day = m_report.days[dayIndex];
        out.put(texts.open);
        for (int r = day.firstRow; r < day.firstRow + day.rowCount; ++r) {
            const ReportRow &row = m_report.rows[size_t(r)];
            if (r != day.firstRow)
                out.put(u"<tr>");
            out.put(m_nameCells[size_t(row.activity)]);
            // The activity's one duration in its category's column, the other columns empty.
            const int column = m_report.activities[size_t(row.activity)].column;
            const QStringView closeAndEmpties(m_closeAndEmptyCells);
            const QStringView empties = closeAndEmpties.sliced(cellClose.size());
            if (column < 0) {
                out.put(empties);
            } else {
                out.put(empties.first(column * emptyCell.size() + fullCellOpen.size()));
                out.put(m_minuteText.made(row.minutes));
                out.put(closeAndEmpties.first(cellClose.size()
                                              + (m_categoryCount - column - 1) * emptyCell.size()));
            }
            if (r == day.firstRow)
                out.put(texts.spacer);
            out.put(u"</tr>");
        }
        out.put(texts.totals);
    }

    const ReportData &m_report;
    bool m_decimalHours;
    MinuteTexts m_minuteText;
    std::vector<QString> m_nameCells; // per activity
    qsizetype m_categoryCount = 0;
    QString m_closeAndEmptyCells; // a cell's closing, then an empty cell per category
    const QLocale m_locale;
    QString m_head;
    QString m_foot;
};

} // namespace

QString ReportHtml::summary(const ReportData &report, bool decimalHours)
{
    const size_t categoryCount = report.categories.size();
    QString text = heading(ReportText::summaryMenuName(), report.from, report.to);
    // Room for every cell at once (most are an empty one of 44 characters): a long report
    // would otherwise be copied as it grows.
    text.reserve(text.size()
                 + qsizetype(report.rows.size() + 3) * qsizetype(categoryCount + 1) * 48);
    text += QStringLiteral("<tr><td rowspan=2 bgcolor=#c0c0c0>&nbsp;</td>");
    text += categoryHeads(report);
    text += QStringLiteral("</tr><tr>");
    const QString unitCell = QStringLiteral("<td align=center bgcolor=#c0c0c0><font size=-1>")
                             + unitLabel(decimalHours) + QStringLiteral("</font></td>");
    for (size_t c = 0; c < categoryCount; ++c)
        text += unitCell;
    text += QStringLiteral("</tr>");

    for (const ReportRow &row : report.rows) {
        const ReportActivity &activity = report.activities[size_t(row.activity)];
        text += QStringLiteral("<tr><td bgcolor=#c0c0c0>")
                + shownName(activity.name, activity.obsolete) + QStringLiteral("</td>");
        for (size_t c = 0; c < categoryCount; ++c) {
            text += QStringLiteral("<td align=center bgcolor=#e0e0e0>");
            if (int(c) == activity.column)
                text += ReportText::formatMinutes(row.minutes, decimalHours);
            else
                text += QStringLiteral("&nbsp;");
            text += QStringLiteral("</td>");
        }
        text += QStringLiteral("</tr>");
    }

    text += QStringLiteral("<tr><td bgcolor=#c0c0c0>") + ReportText::tr("Totals")
            + QStringLiteral("</td>");
    for (const int m : report.totals) {
        text += QStringLiteral("<td align=center bgcolor=#c0ffc0>")
                + ReportText::formatMinutes(m, decimalHours) + QStringLiteral("</td>");
    }
    text += QStringLiteral("</tr>");
    text += notes(report.obsoleteShown, report.runningLeftOut);
    return text;
}

QString ReportHtml::timeSheet(const ReportData &report, bool decimalHours)
{
    return TimeSheetWriter(report, decimalHours).text();
}

void ReportHtml::handOnTimeSheet(const ReportData &report, bool decimalHours,
                                 const std::function<void(QStringView)> &take)
{
    TimeSheetWriter(report, decimalHours).handOn(take);
}
