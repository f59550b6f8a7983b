// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportBrowser.h"

#include "platform/DocLnk.h"
#include "views/SafeTextBrowser.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QScrollBar>
#include <QShortcut>
#include <QStringView>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <cstring>

namespace {

// The rows of a time sheet that the pages are cut at. Names in a report are HTML-escaped, so
// these never occur inside a name.
constexpr QStringView dayMarker = u"<tr><td align=top bgcolor=#c0c0c0 rowspan=";
constexpr QStringView totalsMarker = u"<tr><td colspan=2 bgcolor=#c0c0c0>";
constexpr QStringView tableOpen = u"<table";
constexpr QStringView tableClose = u"</table>";

// Qt lays out a table in a table's cell more than once, so the time doubles with every level:
// twenty levels, a few hundred bytes, take seconds, thirty take hours. A report has one table;
// a text with more than this many is not one of them, and is shown as plain text rather than
// freezing the window. Counted whole, not by depth, so that no comment, quote or stray end tag
// can hide a level.
constexpr int maxTables = 8;

// A report's markup has white space in every row; a stretch this long without any is no
// report Quorvel wrote, and would take seconds to lay out (see SafeTextBrowser::MaxStretch).
constexpr qsizetype MaxReportStretch = 16 * 1024;

bool hasTooManyTables(QStringView text)
{
    int tables = 0;
    for (qsizetype at = text.indexOf(tableOpen, 0, Qt::CaseInsensitive); at >= 0;
         at = text.indexOf(tableOpen, at + tableOpen.size(), Qt::CaseInsensitive)) {
        if (++tables > maxTables)
            return true;
    }
    return false;
}

// Pieces of a saved file: where a piece may end is looked for this far past its budget.
constexpr qint64 LookAhead = 16 * 1024;
// How long one slice of counting pieces may keep the event loop.
constexpr int CountSliceMs = 20;

// The first "<tr" in bytes, in any case, or -1.
qsizetype findRow(const QByteArray &bytes, qsizetype from = 0)
{
    for (qsizetype at = bytes.indexOf('<', from); at >= 0 && at + 2 < bytes.size();
         at = bytes.indexOf('<', at + 1)) {
        if ((bytes[at + 1] | 0x20) == 't' && (bytes[at + 2] | 0x20) == 'r')
            return at;
    }
    return -1;
}

bool isAsciiDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

// A size in a tag that no report of Quorvel's has, such as a cell spacing of a billion pixels,
// keeps the layout busy for minutes. Quorvel's own tags hold sizes of one digit and row spans
// of the number of activities.
bool hasHugeSize(QStringView text)
{
    bool inTag = false;
    qsizetype nameStart = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c == QLatin1Char('<')) {
            inTag = true;
        } else if (c == QLatin1Char('>')) {
            inTag = false;
        } else if (inTag && (c.isSpace() || c == QLatin1Char(';'))) {
            nameStart = i + 1;
        } else if (inTag && (c == QLatin1Char('=') || c == QLatin1Char(':'))) {
            qsizetype at = i + 1;
            while (at < text.size()
                   && (text[at].isSpace() || text[at] == QLatin1Char('"')
                       || text[at] == QLatin1Char('\'') || text[at] == QLatin1Char('+')
                       || text[at] == QLatin1Char('-')))
                ++at;
            qsizetype digits = 0;
            while (at < text.size() && isAsciiDigit(text[at])) {
                ++digits;
                ++at;
            }
            const bool span = text.mid(nameStart, i - nameStart)
                                  .trimmed()
                                  .endsWith(QLatin1String("span"), Qt::CaseInsensitive);
            if (digits >= (span ? 6 : 4))
                return true;
        }
    }
    return false;
}

} // namespace

ReportBrowser::ReportBrowser(QWidget *parent)
    : QWidget(parent)
{
    m_browser = new SafeTextBrowser(this);

    m_pageBar = new QWidget(this);
    m_previous = new QToolButton(m_pageBar);
    m_previous->setObjectName(QStringLiteral("btnPreviousPage"));
    m_previous->setText(tr("Previous Page"));
    m_pageLabel = new QLabel(m_pageBar);
    m_pageLabel->setObjectName(QStringLiteral("lblPage"));
    m_pageLabel->setAlignment(Qt::AlignCenter);
    m_next = new QToolButton(m_pageBar);
    m_next->setObjectName(QStringLiteral("btnNextPage"));
    m_next->setText(tr("Next Page"));

    auto *barLayout = new QHBoxLayout(m_pageBar);
    barLayout->setContentsMargins(0, 0, 0, 0);
    barLayout->addWidget(m_previous);
    barLayout->addWidget(m_pageLabel, 1);
    barLayout->addWidget(m_next);

    m_note = new QLabel(this);
    m_note->setObjectName(QStringLiteral("lblNote"));
    m_note->setWordWrap(true);
    m_note->setText(tr("This saved report is too large to show at once, so it is shown in pieces "
                       "of about %L1 characters; a piece may cut a table apart.")
                        .arg(PageBudget));
    m_note->hide();

    m_counter = new QTimer(this);
    m_counter->setSingleShot(true);
    connect(m_counter, &QTimer::timeout, this, &ReportBrowser::countSlice);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_note);
    layout->addWidget(m_browser, 1);
    layout->addWidget(m_pageBar);

    // Tab goes from the text to the buttons in the order they stand.
    setTabOrder(m_browser, m_previous);
    setTabOrder(m_previous, m_next);

    connect(m_previous, &QToolButton::clicked, this, [this] { showPage(m_current - 1); });
    connect(m_next, &QToolButton::clicked, this, [this] { showPage(m_current + 1); });

    auto *previousKey = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_PageUp), this);
    previousKey->setContext(Qt::WidgetWithChildrenShortcut);
    connect(previousKey, &QShortcut::activated, this, [this] { showPage(m_current - 1); });
    auto *nextKey = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_PageDown), this);
    nextKey->setContext(Qt::WidgetWithChildrenShortcut);
    connect(nextKey, &QShortcut::activated, this, [this] { showPage(m_current + 1); });

    updatePageBar();
}

ReportBrowser::~ReportBrowser() = default;

void ReportBrowser::setReportText(const QString &text)
{
    clearPieces();
    m_text = text;
    m_pages = split(m_text);
    m_current = 0;
    showHtml(m_pages.starts.empty() ? m_text : pageText(0));
    scrollToTop();
    updatePageBar();
}

const QString &ReportBrowser::reportText() const
{
    return m_text;
}

int ReportBrowser::pageCount() const
{
    if (m_source) {
        // A piece whose end is not found yet is not a page yet.
        return int(m_starts.size()) - (m_counted ? 0 : 1);
    }
    return m_pages.starts.empty() ? 1 : int(m_pages.starts.size());
}

int ReportBrowser::currentPage() const
{
    return m_current;
}

QString ReportBrowser::pageText(int page) const
{
    if (page < 0 || page >= pageCount())
        return QString();
    if (m_source) {
        const qint64 begin = m_starts[size_t(page)];
        const bool last = size_t(page) + 1 == m_starts.size();
        const qint64 end = last ? m_size : m_starts[size_t(page) + 1];
        QString piece;
        if (page > 0)
            piece = QString::fromUtf8(m_head);
        piece += QString::fromUtf8(readRange(begin, end - begin));
        if (m_closes && !last)
            piece += closingText();
        return piece;
    }
    if (m_pages.starts.empty())
        return m_text;

    const QStringView text(m_text);
    const bool last = page == pageCount() - 1;
    const qsizetype begin = m_pages.starts[size_t(page)];
    const qsizetype end = last ? m_pages.daysEnd : m_pages.starts[size_t(page) + 1];
    const QStringView closing = m_pages.closingCut ? closingText() : text.mid(m_pages.totalsEnd);
    const QStringView totals
        = last ? text.mid(m_pages.daysEnd, m_pages.totalsEnd - m_pages.daysEnd) : QStringView();

    QString result;
    result.reserve(m_pages.headEnd + (end - begin) + totals.size() + closing.size());
    result.append(text.left(m_pages.headEnd));
    result.append(text.mid(begin, end - begin));
    result.append(totals);
    result.append(closing);
    return result;
}

SafeTextBrowser *ReportBrowser::browser() const
{
    return m_browser;
}

void ReportBrowser::showPage(int page)
{
    if (page < 0 || page >= pageCount())
        return;
    // Laying a page out again costs as much as the first time; the same page only goes to its
    // top.
    if (page != m_current) {
        m_current = page;
        showHtml(pageText(page));
    }
    scrollToTop();
    updatePageBar();
}

// One pass over the text that keeps offsets only: every day row is found once. A text that is
// small enough, or that is not recognisably a time sheet, is left whole (no starts): it is shown
// exactly as the user has it.
ReportBrowser::Pages ReportBrowser::split(const QString &text)
{
    Pages pages;
    if (text.size() <= PageBudget)
        return pages;
    const QStringView view(text);
    const qsizetype first = view.indexOf(dayMarker);
    // The day rows must stand inside a table that the head opens.
    if (first <= 0 || !view.left(first).contains(tableOpen))
        return pages;

    std::vector<qsizetype> days;
    for (qsizetype at = first; at >= 0; at = view.indexOf(dayMarker, at + dayMarker.size()))
        days.push_back(at);

    // After the last day come the period totals and the end of the table. Either may be
    // missing in a text that was cut short or damaged: then the last day runs on to whatever
    // is there, and every page is closed by closingText(). Nothing of the text is left out.
    const qsizetype lastDay = days.back();
    const qsizetype totals = view.indexOf(totalsMarker, lastDay + dayMarker.size());
    const qsizetype close = view.indexOf(tableClose, totals >= 0 ? totals : lastDay);
    pages.headEnd = first;
    pages.closingCut = close < 0;
    pages.totalsEnd = close >= 0 ? close : text.size();
    pages.daysEnd = totals >= 0 ? totals : pages.totalsEnd;
    const qsizetype fixed
        = first + (pages.closingCut ? closingText().size() : text.size() - pages.totalsEnd);
    const qsizetype totalsSize = pages.totalsEnd - pages.daysEnd;

    // Whole days go onto a page while it stays within the budget; a page always keeps its
    // first day, however long.
    qsizetype pageStart = first;
    pages.starts.push_back(first);
    for (size_t i = 1; i <= days.size(); ++i) {
        const bool lastOne = i == days.size();
        const qsizetype dayEnd = lastOne ? pages.daysEnd : days[i];
        const qsizetype size = fixed + (dayEnd - pageStart) + (lastOne ? totalsSize : 0);
        if (days[i - 1] > pageStart && size > PageBudget) {
            pageStart = days[i - 1];
            pages.starts.push_back(pageStart);
        }
    }
    if (pages.starts.size() == 1)
        pages.starts.clear();
    return pages;
}

bool ReportBrowser::showsAsPlainText(const QString &html)
{
    return hasTooManyTables(html) || hasHugeSize(html)
           || SafeTextBrowser::hasLongStretch(html, MaxReportStretch);
}

void ReportBrowser::showHtml(const QString &html)
{
    if (showsAsPlainText(html))
        m_browser->setPlainText(SafeTextBrowser::withLineBreaks(html));
    else
        m_browser->setHtml(html);
}

bool ReportBrowser::setReportFile(const QString &path)
{
    const QFileInfo info(path);
    if (!info.isFile() || info.size() > FileManager::MaxLoadBytes)
        return false;
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadOnly))
        return false;

    if (info.size() <= InMemoryBytes) {
        QByteArray bytes = file->read(InMemoryBytes + 1);
        if (file->error() != QFileDevice::NoError || bytes.size() > InMemoryBytes)
            return false;
        const QString text = QString::fromUtf8(bytes);
        // Small enough to show whole, or a time sheet in pages of whole days: as computed.
        if (text.size() <= PageBudget || !split(text).starts.empty()) {
            setReportText(text);
            return true;
        }
        clearPieces();
        m_bytes = std::move(bytes);
        auto buffer = std::make_unique<QBuffer>(&m_bytes);
        buffer->open(QIODevice::ReadOnly);
        m_source = std::move(buffer);
    } else {
        clearPieces();
        m_source = std::move(file);
    }
    m_text.clear();
    m_pages = Pages();
    m_size = m_source->size();
    m_counted = false;
    m_starts = {0};

    // Every piece after the first repeats the head up to the first row, so that its rows stand
    // in the report's table, and every piece but the last closes that table.
    const QByteArray start = readRange(0, qMin<qint64>(m_size, 64 * 1024));
    const qsizetype firstRow = findRow(start);
    const QByteArray before = firstRow > 0 ? start.left(firstRow).toLower() : QByteArray();
    if (before.contains("<table")) {
        m_head = start.left(firstRow);
        m_closes = true;
    }

    // The first page is shown at once; the others are counted while the window goes on.
    countNextPiece();
    m_current = 0;
    m_note->show();
    showHtml(pageText(0));
    scrollToTop();
    updatePageBar();
    if (!m_counted)
        m_counter->start(0);
    return true;
}

void ReportBrowser::clearPieces()
{
    m_counter->stop();
    m_source.reset();
    m_bytes.clear();
    m_head.clear();
    m_closes = false;
    m_starts.clear();
    m_size = 0;
    m_counted = true;
    m_note->hide();
}

QByteArray ReportBrowser::readRange(qint64 from, qint64 length) const
{
    if (!m_source || length <= 0 || !m_source->seek(from))
        return QByteArray();
    return m_source->read(length);
}

bool ReportBrowser::countNextPiece()
{
    if (m_counted)
        return false;
    const qint64 target = m_starts.back() + PageBudget;
    if (target >= m_size) {
        m_counted = true;
        return false;
    }
    // Before a row where one is near; else before a tag, after a line, or at a character.
    const QByteArray window = readRange(target, LookAhead);
    qint64 cut = findRow(window);
    if (cut < 0)
        cut = window.indexOf('<');
    if (cut < 0) {
        cut = window.indexOf('\n');
        if (cut >= 0)
            ++cut;
    }
    if (cut < 0) {
        cut = 0;
        while (cut < window.size() && cut < 4 && (quint8(window[cut]) & 0xC0) == 0x80)
            ++cut;
    }
    if (target + cut >= m_size) {
        m_counted = true;
        return false;
    }
    m_starts.push_back(target + cut);
    return true;
}

void ReportBrowser::countSlice()
{
    QElapsedTimer slice;
    slice.start();
    while (slice.elapsed() < CountSliceMs && countNextPiece()) {
    }
    updatePageBar();
    if (!m_counted)
        m_counter->start(0);
}

void ReportBrowser::countAllPieces()
{
    while (countNextPiece()) {
    }
    m_counter->stop();
    updatePageBar();
}

QStringView ReportBrowser::closingText()
{
    return u"</table></qt>";
}

void ReportBrowser::scrollToTop()
{
    m_browser->horizontalScrollBar()->setValue(m_browser->horizontalScrollBar()->minimum());
    m_browser->verticalScrollBar()->setValue(m_browser->verticalScrollBar()->minimum());
}

void ReportBrowser::updatePageBar()
{
    const int count = pageCount();
    m_pageBar->setVisible(count > 1);
    m_previous->setEnabled(m_current > 0);
    m_next->setEnabled(m_current < count - 1);
    m_pageLabel->setText(piecesCounted()
                             ? tr("Page %1 of %2").arg(m_current + 1).arg(count)
                             : tr("Page %1 of %2 so far").arg(m_current + 1).arg(count));
    // While pieces are counted, the next one can be shown once it is.
    if (!piecesCounted())
        m_next->setEnabled(m_current < count - 1);
}
