// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportPrinter.h"

#include "reportwindows/ReportBrowser.h"
#include "views/SafeTextBrowser.h"

#include <QAbstractTextDocumentLayout>
#include <QFont>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QPdfWriter>
#include <QPicture>
#include <QPrinter>
#include <QScreen>
#include <QTemporaryFile>
#include <QTextDocument>
#include <QTextTable>

#include <cmath>
#include <vector>

namespace {

// A report's text for printing, which like the viewer loads nothing the text names.
class PrintDocument : public QTextDocument
{
public:
    explicit PrintDocument(const QString &html, const QSizeF &pageSize = QSizeF())
    {
        // The size comes before the text, so that the text is laid out once, at that size.
        if (pageSize.width() > 0)
            setPageSize(pageSize);
        // The same plain-text fallback as the viewer: what it would not lay out, neither do we.
        if (ReportBrowser::showsAsPlainText(html))
            setPlainText(SafeTextBrowser::withLineBreaks(html));
        else
            setHtml(html);
    }

protected:
    QVariant loadResource(int type, const QUrl &) override
    {
        return SafeTextBrowser::blankResource(type);
    }
};

// Text is laid out at the screen's resolution, as the viewer shows it, and the painter scales
// it to the device: sizes in pixels (cell padding, borders) keep their proportions on paper.
qreal layoutDpi()
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? screen->logicalDotsPerInchY() : 96.0;
}

// The header and footer lines, 9 points at the layout's resolution.
QFont marginFont(qreal dpi)
{
    QFont font = QGuiApplication::font();
    font.setPixelSize(qMax(1, qRound(9 * dpi / 72)));
    return font;
}

// A sheet in layout units: the title, a gap, the body, a gap, the page number.
struct Sheet
{
    qreal width = 0;
    qreal lineHeight = 0;
    qreal bodyTop = 0;
    qreal bodyHeight = 0;
    qreal footerTop = 0;
};

Sheet sheetFor(const QPagedPaintDevice &device, qreal scale, const QFont &font)
{
    Sheet sheet;
    const qreal height = device.height() / scale;
    sheet.width = device.width() / scale;
    sheet.lineHeight = QFontMetricsF(font).height();
    const qreal gap = sheet.lineHeight;
    sheet.bodyTop = sheet.lineHeight + gap;
    // A page too small for the margins still gets a body; its text then runs off the sheet.
    sheet.bodyHeight = qMax(sheet.lineHeight, height - 2 * (sheet.lineHeight + gap));
    sheet.footerTop = sheet.bodyTop + sheet.bodyHeight + gap;
    return sheet;
}

bool isTable(const QString &html)
{
    return !ReportBrowser::showsAsPlainText(html)
           && html.contains(QLatin1String("<table"), Qt::CaseInsensitive);
}

// The report's table spans the sheet. Only the printed copy of the page is changed; a width
// already given comes later in the tag and wins.
QString fullWidth(const QString &html)
{
    const qsizetype at = html.indexOf(QLatin1String("<table"), 0, Qt::CaseInsensitive);
    if (at < 0)
        return html;
    QString result = html;
    result.insert(at + 6, QLatin1String(" width=100%"));
    return result;
}

QTextTable *firstTable(const QTextDocument &document)
{
    const QList<QTextFrame *> frames = document.rootFrame()->childFrames();
    for (QTextFrame *frame : frames) {
        if (auto *table = qobject_cast<QTextTable *>(frame))
            return table;
    }
    return nullptr;
}

// A part of a page's layout printed on one sheet: from top to bottom in layout units, below
// the table's header rows when header is set.
struct Slice
{
    qreal top = 0;
    qreal bottom = 0;
    bool header = false;
};

// Where a page's layout is cut into sheets, and at what scale it is painted.
struct Cuts
{
    std::vector<Slice> slices;
    qreal headerTop = 0;
    qreal headerBottom = 0;
    qreal fit = 1;
    qreal width = 0;
    // The table's width as a share of the sheet's, 0 without a table.
    qreal tableShare = 0;
};

// A place a sheet may end, and whether it is between groups of rows (a day) or within one.
struct Candidate
{
    qreal y = 0;
    bool between = false;
};

// Cuts a page laid out at the sheet's width without pages. A sheet ends at the last place
// between groups that fits, else at the last row that fits, else where the sheet is full.
Cuts cutTable(const QTextDocument &document, QTextTable *table, const Sheet &sheet)
{
    Cuts cuts;
    QAbstractTextDocumentLayout *layout = document.documentLayout();
    const qreal docHeight = layout->documentSize().height();
    const QRectF tableRect = layout->frameBoundingRect(table);
    const qreal docWidth = qMax(layout->documentSize().width(), tableRect.right());
    // A table wider than the sheet (many categories) is made smaller rather than cut off.
    cuts.fit = docWidth > sheet.width ? sheet.width / docWidth : 1;
    cuts.width = qMax(sheet.width, docWidth);
    cuts.tableShare = tableRect.width() * cuts.fit / sheet.width;

    const QTextTableFormat format = table->format();
    const qreal above = format.cellPadding() + format.border() + format.cellSpacing() / 2;
    const int rows = table->rows();
    std::vector<qreal> rowTop(size_t(rows), tableRect.bottom());
    std::vector<bool> groupStart(size_t(rows), false);
    for (int row = 0; row < rows; ++row) {
        qreal top = tableRect.bottom();
        for (int column = 0; column < table->columns();) {
            const QTextTableCell cell = table->cellAt(row, column);
            if (!cell.isValid())
                break;
            if (cell.row() == row) {
                const QRectF block = layout->blockBoundingRect(cell.firstCursorPosition().block());
                top = qMin(top, block.top() - above);
                if (column == 0)
                    groupStart[size_t(row)] = true;
            }
            column = cell.column() + qMax(1, cell.columnSpan());
        }
        rowTop[size_t(row)] = std::floor(qMax(tableRect.top(), top));
    }

    const qreal capacity = sheet.bodyHeight / cuts.fit;
    // The header rows are those of the table's first cell (the corner above the names).
    const int headerRows = rows > 0 ? qMax(1, table->cellAt(0, 0).rowSpan()) : 0;
    bool repeat = headerRows < rows;
    if (repeat) {
        cuts.headerTop = rowTop[0];
        cuts.headerBottom = rowTop[size_t(headerRows)];
        // A header that would fill half a sheet is printed once only.
        repeat = cuts.headerBottom - cuts.headerTop < capacity / 2;
    }
    const qreal tableBottom = std::ceil(tableRect.bottom());

    std::vector<Candidate> candidates;
    for (int row = headerRows + 1; row < rows; ++row)
        candidates.push_back({rowTop[size_t(row)], groupStart[size_t(row)]});
    candidates.push_back({tableBottom, true});
    // After the table, between its paragraphs (the notes).
    bool after = false;
    for (QTextFrame::iterator it = document.rootFrame()->begin(); !it.atEnd(); ++it) {
        if (it.currentFrame() == table)
            after = true;
        else if (after && it.currentBlock().isValid())
            candidates.push_back(
                {std::floor(layout->blockBoundingRect(it.currentBlock()).top()), true});
    }

    size_t next = 0;
    qreal start = 0;
    while (start < docHeight - 0.5) {
        const bool header
            = repeat && !cuts.slices.empty() && start >= cuts.headerBottom && start < tableBottom;
        const qreal room = capacity - (header ? cuts.headerBottom - cuts.headerTop : 0);
        const qreal limit = start + room;
        if (limit >= docHeight) {
            cuts.slices.push_back({start, docHeight, header});
            break;
        }
        while (next < candidates.size() && candidates[next].y <= start)
            ++next;
        qreal between = -1;
        qreal within = -1;
        for (size_t i = next; i < candidates.size() && candidates[i].y <= limit; ++i) {
            within = candidates[i].y;
            if (candidates[i].between)
                between = candidates[i].y;
        }
        const qreal end = between > start ? between : within > start ? within : limit;
        cuts.slices.push_back({start, end, header});
        start = end;
    }
    return cuts;
}

// A page without a table is broken into sheets by the text layout itself, which moves a line
// that would be cut to the next sheet.
Cuts cutPages(const QTextDocument &document, const Sheet &sheet)
{
    Cuts cuts;
    cuts.width = sheet.width;
    // A text that names a table it does not have (in a comment) was laid out without pages: it
    // is cut where each sheet is full, and nothing of it is left out.
    const int pages = document.pageSize().height() > 0
                          ? document.pageCount()
                          : qMax(1, int(std::ceil(document.documentLayout()->documentSize().height()
                                                  / sheet.bodyHeight)));
    for (int page = 0; page < pages; ++page)
        cuts.slices.push_back({page * sheet.bodyHeight, (page + 1) * sheet.bodyHeight, false});
    return cuts;
}

void drawPart(QPainter &painter, const QTextDocument &document, qreal width, qreal top,
              qreal bottom)
{
    QAbstractTextDocumentLayout::PaintContext context;
    context.palette.setColor(QPalette::Text, Qt::black);
    context.clip = QRectF(0, top, width, bottom - top);
    painter.save();
    painter.translate(0, -top);
    painter.setClipRect(context.clip);
    document.documentLayout()->draw(&painter, context);
    painter.restore();
}

// The body of one sheet, painted once from the page's layout and kept to be played when the
// number of sheets is known.
QPicture record(const QTextDocument &document, const Cuts &cuts, const Slice &slice)
{
    QPicture picture;
    QPainter painter(&picture);
    painter.scale(cuts.fit, cuts.fit);
    if (slice.header) {
        drawPart(painter, document, cuts.width, cuts.headerTop, cuts.headerBottom);
        painter.translate(0, cuts.headerBottom - cuts.headerTop);
    }
    drawPart(painter, document, cuts.width, slice.top, slice.bottom);
    painter.end();
    return picture;
}

} // namespace

ReportPrinter::ReportPrinter(const QString &title, int pageCount, PageText pageText)
    : m_title(title)
    , m_pageCount(qMax(0, pageCount))
    , m_pageText(std::move(pageText))
{}

ReportPrinter::ReportPrinter(const QString &title, const QStringList &pages)
    : ReportPrinter(title, int(pages.size()), [pages](int index) { return pages.at(index); })
{}

bool ReportPrinter::print(QPagedPaintDevice *device) const
{
    const qreal dpi = layoutDpi();
    // The sheets are kept as pictures, whose fonts are sized in points for the device they are
    // played on: the device takes the layout's resolution, so that they keep the layout's size.
    // Both are vector output; the resolution only counts the units of their coordinates.
    if (auto *printer = dynamic_cast<QPrinter *>(device))
        printer->setResolution(qRound(dpi));
    else if (auto *writer = dynamic_cast<QPdfWriter *>(device))
        writer->setResolution(qRound(dpi));
    const qreal scale = device->logicalDpiY() / dpi;
    const QFont font = marginFont(dpi);
    const Sheet sheet = sheetFor(*device, scale, font);
    m_layouts = 0;
    m_narrowest = 0;

    // "of m" needs every sheet counted before the first is printed. Each page is laid out once
    // and its sheets are painted into pictures, kept in a temporary file rather than in memory:
    // a year's time sheet has thousands of sheets.
    const int steps = 2 * m_pageCount;
    int done = 0;
    const auto goOn = [this, &done, steps] {
        return !m_progress || m_progress(++done, steps);
    };
    QTemporaryFile store;
    if (!store.open())
        return false;
    struct Kept
    {
        qint64 offset = 0;
        qint64 size = 0;
    };
    std::vector<std::vector<Kept>> kept(static_cast<size_t>(m_pageCount));
    qint64 offset = 0;
    for (int page = 0; page < m_pageCount; ++page) {
        const QString html = m_pageText(page);
        const bool table = isTable(html);
        const PrintDocument document(table ? fullWidth(html) : html,
                                     table ? QSizeF(sheet.width, -1)
                                           : QSizeF(sheet.width, sheet.bodyHeight));
        ++m_layouts;
        QTextTable *found = table ? firstTable(document) : nullptr;
        const Cuts cuts = found ? cutTable(document, found, sheet) : cutPages(document, sheet);
        if (found && (m_narrowest == 0 || cuts.tableShare < m_narrowest))
            m_narrowest = cuts.tableShare;
        for (const Slice &slice : cuts.slices) {
            const QPicture picture = record(document, cuts, slice);
            // A picture repeats its fonts and colours with every cell: packed, a year's time
            // sheet takes tens of megabytes on disk rather than gigabytes.
            const QByteArray packed
                = qCompress(QByteArray::fromRawData(picture.data(), qsizetype(picture.size())), 1);
            const qint64 size = packed.size();
            if (store.write(packed) != size)
                return false;
            kept[size_t(page)].push_back({offset, size});
            offset += size;
        }
        if (!goOn())
            return false;
    }
    if (!store.flush())
        return false;
    int total = 0;
    for (const std::vector<Kept> &sheets : kept)
        total += int(sheets.size());

    QPainter painter;
    if (!painter.begin(device))
        return false;
    painter.scale(scale, scale);
    painter.setFont(font);
    const QString title = QFontMetricsF(font).elidedText(m_title, Qt::ElideRight, sheet.width);
    int printed = 0;
    for (int page = 0; page < m_pageCount; ++page) {
        for (const Kept &part : kept[size_t(page)]) {
            if (printed > 0 && !device->newPage())
                return false;
            ++printed;
            painter.setPen(Qt::black);
            painter.drawText(QRectF(0, 0, sheet.width, sheet.lineHeight),
                             Qt::AlignLeft | Qt::AlignVCenter, title);
            const qreal rule = sheet.lineHeight + sheet.lineHeight / 2;
            painter.drawLine(QPointF(0, rule), QPointF(sheet.width, rule));
            painter.drawText(QRectF(0, sheet.footerTop, sheet.width, sheet.lineHeight),
                             Qt::AlignHCenter | Qt::AlignVCenter,
                             tr("Page %1 of %2").arg(printed).arg(total));

            if (!store.seek(part.offset))
                return false;
            const QByteArray bytes = qUncompress(store.read(part.size));
            if (bytes.isEmpty())
                return false;
            QPicture picture;
            picture.setData(bytes.constData(), uint(bytes.size()));
            painter.save();
            painter.setClipRect(QRectF(0, sheet.bodyTop, sheet.width, sheet.bodyHeight));
            painter.drawPicture(QPointF(0, sheet.bodyTop), picture);
            painter.restore();
        }
        if (!goOn()) {
            // Stopped halfway: a printer is told to drop the job rather than print a part.
            if (auto *printer = dynamic_cast<QPrinter *>(device))
                printer->abort();
            return false;
        }
    }
    return painter.end();
}

QString ReportPrinter::titleOf(const QString &html)
{
    // The title is at the head; a text without a table (a damaged or foreign file) has its
    // first few thousand characters looked at, never the whole of a long text.
    QStringView head = QStringView(html).left(4096);
    const qsizetype table = head.indexOf(QLatin1String("<table"), 0, Qt::CaseInsensitive);
    if (table >= 0)
        head = head.left(table);
    const PrintDocument document(head.toString());
    QStringList lines;
    const QStringList paragraphs = document.toPlainText().split(QLatin1Char('\n'));
    for (const QString &paragraph : paragraphs) {
        const QString line = paragraph.simplified();
        if (!line.isEmpty())
            lines.append(line);
    }
    return lines.join(QLatin1String(", ")).left(200);
}
