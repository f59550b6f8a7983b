// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportPrinter.h"

#include "reports/ReportBrowser.h"
#include "views/SafeTextBrowser.h"

#include <QAbstractTextDocumentLayout>
#include <QFont>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QPrinter>
#include <QScreen>
#include <QTextDocument>

#include <memory>

namespace {

// A report's text for printing, which like the viewer loads nothing the text names.
class PrintDocument : public QTextDocument
{
public:
    explicit PrintDocument(const QString &html)
    {
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
    const qreal scale = device->logicalDpiY() / dpi;
    const QFont font = marginFont(dpi);
    const Sheet sheet = sheetFor(*device, scale, font);
    const QSizeF bodySize(sheet.width, sheet.bodyHeight);

    // "of m" needs every page's sheets counted before the first is printed: each page is laid
    // out twice rather than all kept, which would hold the whole report's layout at once. The
    // last page counted is kept for a report of one page, which is then laid out once.
    std::vector<int> sheets(size_t(m_pageCount), 0);
    int total = 0;
    std::unique_ptr<PrintDocument> kept;
    const int steps = 2 * m_pageCount;
    int done = 0;
    const auto goOn = [this, &done, steps] {
        return !m_progress || m_progress(++done, steps);
    };
    for (int page = 0; page < m_pageCount; ++page) {
        auto document = std::make_unique<PrintDocument>(m_pageText(page));
        document->setPageSize(bodySize);
        sheets[size_t(page)] = document->pageCount();
        total += sheets[size_t(page)];
        if (m_pageCount == 1)
            kept = std::move(document);
        if (!goOn())
            return false;
    }

    QPainter painter;
    if (!painter.begin(device))
        return false;
    painter.scale(scale, scale);
    painter.setFont(font);
    const QString title = QFontMetricsF(font).elidedText(m_title, Qt::ElideRight, sheet.width);
    int printed = 0;
    for (int page = 0; page < m_pageCount; ++page) {
        std::unique_ptr<PrintDocument> document = std::move(kept);
        if (!document) {
            document = std::make_unique<PrintDocument>(m_pageText(page));
            document->setPageSize(bodySize);
        }
        QAbstractTextDocumentLayout::PaintContext context;
        context.palette.setColor(QPalette::Text, Qt::black);
        for (int part = 0; part < sheets[size_t(page)]; ++part) {
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

            painter.save();
            const qreal top = part * sheet.bodyHeight;
            painter.translate(0, sheet.bodyTop - top);
            context.clip = QRectF(0, top, sheet.width, sheet.bodyHeight);
            painter.setClipRect(context.clip);
            document->documentLayout()->draw(&painter, context);
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
