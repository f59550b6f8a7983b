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

// An activity's row around its one duration: the name cell and the empty cells before the
// duration, and the empty cells after it. Without a column the row is all head.
struct RowPieces
{
    QString head;
    QString tail;
    int column = -1;
};

RowPieces rowPieces(const ReportActivity &activity, int categoryCount)
{
    static const QString emptyCell = QStringLiteral("<td align=center bgcolor=#e0e0e0>&nbsp;</td>");
    RowPieces pieces;
    pieces.column = activity.column;
    pieces.head = QStringLiteral("<td bgcolor=#c0c0c0>")
                  + shownName(activity.name, activity.obsolete) + QStringLiteral("</td>");
    for (int c = 0; c < categoryCount; ++c) {
        if (c < pieces.column || pieces.column < 0)
            pieces.head += emptyCell;
        else if (c == pieces.column)
            pieces.head += QStringLiteral("<td align=center bgcolor=#e0e0e0>");
        else
            pieces.tail += emptyCell;
    }
    if (pieces.column >= 0)
        pieces.tail.prepend(QStringLiteral("</td>"));
    return pieces;
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
// depends on more than one row, and every minute text, is made first; writing then only
// copies: measured and copied into a buffer of exactly its size, or handed on in pieces.
class TimeSheetWriter
{
public:
    TimeSheetWriter(const ReportData &report, bool decimalHours)
        : m_report(report)
        , m_decimalHours(decimalHours)
        , m_minuteText(decimalHours)
    {
        const int categoryCount = int(report.categories.size());
        for (const ReportActivity &activity : report.activities)
            m_rows.push_back(rowPieces(activity, categoryCount));
        prepare();
    }

    // No growth and no second copy.
    QString text() const
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

    void handOn(const std::function<void(QStringView)> &take) const
    {
        Pieces out(take);
        writeAll(out);
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
        {
            gathered.reserve(PieceChars);
        }
        void put(QStringView piece)
        {
            if (gathered.size() + piece.size() > PieceChars)
                flush();
            if (piece.size() >= PieceChars)
                take(piece);
            else
                gathered += piece;
        }
        void flush()
        {
            if (gathered.isEmpty())
                return;
            take(gathered);
            gathered.resize(0);
        }
        const std::function<void(QStringView)> &take;
        QString gathered;
    };

    void prepare()
    {
        m_head = timeSheetHead(m_report, m_decimalHours);
        const QLocale locale;
        const size_t dayCount = m_report.days.size();
        m_days.resize(dayCount);
        for (size_t i = 0; i < dayCount; ++i) {
            const ReportDay &day = m_report.days[i];
            for (int r = day.firstRow; r < day.firstRow + day.rowCount; ++r) {
                const ReportRow &row = m_report.rows[size_t(r)];
                if (m_rows[size_t(row.activity)].column >= 0)
                    m_minuteText(row.minutes);
            }
            DayTexts &texts = m_days[i];
            texts.open = dayCell(locale, day.date, day.rowCount);
            texts.spacer = spacerCell(day.rowCount);
            texts.totals = dailyTotalsRow(day.totals, day.rowCount > 0, m_minuteText);
        }
        m_foot = periodTotalsRow(m_report.totals, m_decimalHours)
                 + notes(m_report.obsoleteShown, m_report.runningLeftOut);
    }

    template<typename Sink>
    void writeAll(Sink &out) const
    {
        out.put(m_head);
        for (size_t i = 0; i < m_days.size(); ++i)
            writeDay(out, i);
        out.put(m_foot);
    }

    template<typename Sink>
    void writeDay(Sink &out, size_t dayIndex) const
    {
        const ReportDay &day = m_report.days[dayIndex];
        const DayTexts &texts = m_days[dayIndex];
        out.put(texts.open);
        for (int r = day.firstRow; r < day.firstRow + day.rowCount; ++r) {
            const ReportRow &row = m_report.rows[size_t(r)];
            if (r != day.firstRow)
                out.put(u"<tr>");
            const RowPieces &pieces = m_rows[size_t(row.activity)];
            out.put(pieces.head);
            if (pieces.column >= 0) {
                out.put(m_minuteText.made(row.minutes));
                out.put(pieces.tail);
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
    std::vector<RowPieces> m_rows;
    QString m_head;
    std::vector<DayTexts> m_days;
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
