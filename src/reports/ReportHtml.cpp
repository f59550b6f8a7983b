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

// The cell that begins an activity's row.
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

// A row's category cells: its one duration in its category's column, the other columns empty.
// An empty cell begins as a full one does, so the empty cells before the duration and the
// opening of its cell are a stretch of a text holding an empty cell per column, and the closing
// of its cell and the empty ones after it are another: a row costs no copy of its own.
class RowCells
{
public:
    explicit RowCells(qsizetype categoryCount)
        : m_categoryCount(categoryCount)
        , m_closeAndEmpties(close.toString() + empty.repeated(categoryCount))
    {
        Q_ASSERT(empty.startsWith(open) && empty.endsWith(close));
    }

    // The cells of a row of an activity in column (-1 for none) with the given duration.
    template<typename Sink>
    void write(Sink &out, int column, QStringView duration) const
    {
        const QStringView closeAndEmpties(m_closeAndEmpties);
        const QStringView empties = closeAndEmpties.sliced(close.size());
        if (column < 0) {
            out.put(empties);
            return;
        }
        out.put(empties.first(column * empty.size() + open.size()));
        out.put(duration);
        out.put(
            closeAndEmpties.first(close.size() + (m_categoryCount - column - 1) * empty.size()));
    }

private:
    static constexpr QStringView open = u"<td align=center bgcolor=#e0e0e0>";
    static constexpr QStringView close = u"</td>";
    inline static const QString empty
        = QStringLiteral("<td align=center bgcolor=#e0e0e0>&nbsp;</td>");
    qsizetype m_categoryCount;
    QString m_closeAndEmpties;
};

// Gathers the small texts of a report into pieces of about PieceChars characters for whoever
// takes them, so that they are called a few times per day rather than per cell. A text is
// never split, so neither is a character.
class Pieces
{
public:
    static constexpr qsizetype PieceChars = 32 * 1024;
    explicit Pieces(const std::function<void(QStringView)> &take)
        : m_take(take)
        , m_gathered(PieceChars, Qt::Uninitialized)
    {}
    void put(QStringView piece)
    {
        // An empty text may have no characters at all to copy from.
        if (piece.isEmpty())
            return;
        if (m_used + piece.size() > PieceChars)
            flush();
        if (piece.size() >= PieceChars) {
            m_take(piece);
            return;
        }
        std::memcpy(m_gathered.data() + m_used, piece.data(), size_t(piece.size()) * sizeof(QChar));
        m_used += piece.size();
    }
    void flush()
    {
        if (m_used == 0)
            return;
        m_take(QStringView(m_gathered).first(m_used));
        m_used = 0;
    }

private:
    const std::function<void(QStringView)> &m_take;
    QString m_gathered;
    qsizetype m_used = 0;
};

// The other ways of writing a text: counting its characters, and copying them into a buffer
// of that size, so that a long text never grows nor is copied again.
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
        if (piece.isEmpty())
            return;
        std::memcpy(at, piece.data(), size_t(piece.size()) * sizeof(QChar));
        at += piece.size();
    }
    QChar *at;
};

// The text writeAll(sink) writes, measured first and then copied.
template<typename WriteAll>
QString measuredAndCopied(const WriteAll &writeAll)
{
    Measure measure;
    writeAll(measure);
    QString text(measure.length, Qt::Uninitialized);
    adviseHugePages(text);
    Copy out(text.data());
    writeAll(out);
    Q_ASSERT(out.at == text.data() + text.size());
    return text;
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
        , m_cells(qsizetype(report.categories.size()))
    {
        m_nameCells.reserve(report.activities.size());
        for (const ReportActivity &activity : report.activities)
            m_nameCells.push_back(nameCell(activity));
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
        return measuredAndCopied([&](auto &out) { writeAll(out, madeBefore); });
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
            const int column = m_report.activities[size_t(row.activity)].column;
            m_cells.write(out, column, column < 0 ? QStringView() : m_minuteText.made(row.minutes));
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
    RowCells m_cells;
    const QLocale m_locale;
    QString m_head;
    QString m_foot;
};

} // namespace

namespace {

// The period summary: a row per shown activity with its time in its category's column, and the
// period's totals per category.
template<typename Sink>
void writeSummary(Sink &out, const ReportData &report, bool decimalHours)
{
    const size_t categoryCount = report.categories.size();
    out.put(heading(ReportText::summaryMenuName(), report.from, report.to));
    out.put(u"<tr><td rowspan=2 bgcolor=#c0c0c0>&nbsp;</td>");
    out.put(categoryHeads(report));
    out.put(u"</tr><tr>");
    const QString unitCell = QStringLiteral("<td align=center bgcolor=#c0c0c0><font size=-1>")
                             + unitLabel(decimalHours) + QStringLiteral("</font></td>");
    for (size_t c = 0; c < categoryCount; ++c)
        out.put(unitCell);
    out.put(u"</tr>");

    const RowCells cells{qsizetype(categoryCount)};
    for (const ReportRow &row : report.rows) {
        const ReportActivity &activity = report.activities[size_t(row.activity)];
        out.put(u"<tr>");
        out.put(nameCell(activity));
        cells.write(out, activity.column,
                    activity.column < 0 ? QString()
                                        : ReportText::formatMinutes(row.minutes, decimalHours));
        out.put(u"</tr>");
    }

    out.put(u"<tr><td bgcolor=#c0c0c0>");
    out.put(ReportText::tr("Totals"));
    out.put(u"</td>");
    for (const int m : report.totals) {
        out.put(u"<td align=center bgcolor=#c0ffc0>");
        out.put(ReportText::formatMinutes(m, decimalHours));
        out.put(u"</td>");
    }
    out.put(u"</tr>");
    out.put(notes(report.obsoleteShown, report.runningLeftOut));
}

} // namespace

QString ReportHtml::summary(const ReportData &report, bool decimalHours)
{
    return measuredAndCopied([&](auto &out) { writeSummary(out, report, decimalHours); });
}

void ReportHtml::handOnSummary(const ReportData &report, bool decimalHours,
                               const std::function<void(QStringView)> &take)
{
    Pieces out(take);
    writeSummary(out, report, decimalHours);
    out.flush();
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
