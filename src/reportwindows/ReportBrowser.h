// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>
#include <QWidget>

#include <memory>
#include <vector>

class QIODevice;
class QLabel;
class QTimer;
class QToolButton;
class SafeTextBrowser;

// Shows a report's rich text. A period time sheet over a long period runs to tens of millions
// of characters, which a text browser would take minutes and gigabytes to lay out; such a text
// is shown in pages of whole days, each with the sheet's title and header rows and its notes,
// and a page bar under the browser moves between them. Any other text is shown whole.
class ReportBrowser : public QWidget
{
    Q_OBJECT

public:
    // The number of characters a page aims at. Laying out rich text costs about 1.2 ms per
    // thousand characters (bench_reportview): a full page takes 120 to 150 ms, short enough to
    // turn pages without waiting. A page holds at least one day, so a day longer than this makes
    // a longer page.
    static constexpr qsizetype PageBudget = 100000;

    explicit ReportBrowser(QWidget *parent = nullptr);
    ~ReportBrowser() override;

    // Shows the first page of text. The text is kept as given; pages are made from it when
    // shown. A page with more tables than a report has (Qt takes exponential time to lay out
    // nested ones), or with a stretch of more than 16 384 characters without white space, is
    // shown as plain text, with line feeds in its long stretches.
    void setReportText(const QString &text);
    const QString &reportText() const;

    // A saved report of at most this size whose text would be laid out in pages anyway is
    // read whole and shown as setReportText() shows it.
    static constexpr qint64 InMemoryBytes = qint64(16) << 20;
    // Shows the report saved in the file at path, within a bounded memory whatever its size:
    // a text that setReportText() shows whole in reasonable time, or pages by days, is shown
    // so; any other is shown in pieces of about PageBudget bytes read from the file when shown,
    // each cut before a table row where one is near, with a note that says so. The pieces of a
    // large file are counted in the event loop, a slice at a time. False when the file cannot
    // be read or is larger than the load limit.
    bool setReportFile(const QString &path);
    // Whether the pages are pieces of a saved file (see setReportFile()).
    bool showsPieces() const { return bool(m_source); }
    // Whether every piece has been counted; countAllPieces() finishes the counting at once.
    bool piecesCounted() const { return !m_source || m_counted; }
    void countAllPieces();

    // 1 for any text that is shown whole.
    int pageCount() const;
    // 0-based.
    int currentPage() const;
    // The rich text shown for page, or a null string for a page that does not exist.
    QString pageText(int page) const;

    SafeTextBrowser *browser() const;

    // Whether a page's html is shown as plain text (see setReportText), because laying it out
    // as rich text would take too long.
    static bool showsAsPlainText(const QString &html);

public Q_SLOTS:
    // Shows page from its top. A page that does not exist changes nothing.
    void showPage(int page);

private:
    // Offsets into m_text. A page is the head, a run of whole days, the period totals on the
    // last page only, and the closing; the runs lie one after the other, so one start per page
    // is enough.
    struct Pages
    {
        qsizetype headEnd = 0;
        std::vector<qsizetype> starts;
        qsizetype daysEnd = 0;
        qsizetype totalsEnd = 0;
        // The closing runs from totalsEnd to the end of the text; a text cut short before its
        // table ends has none, and each page is closed by closingText().
        bool closingCut = false;
    };

    static Pages split(const QString &text);
    static QStringView closingText();
    void clearPieces();
    // Finds the next piece's start; false once the end of the file is reached.
    bool countNextPiece();
    void countSlice();
    QByteArray readRange(qint64 from, qint64 length) const;
    // Puts html into the browser, as plain text when it would take too long to lay out.
    void showHtml(const QString &html);
    void scrollToTop();
    void updatePageBar();

    QString m_text;
    Pages m_pages;
    int m_current = 0;
    SafeTextBrowser *m_browser = nullptr;
    QWidget *m_pageBar = nullptr;
    QToolButton *m_previous = nullptr;
    QLabel *m_pageLabel = nullptr;
    QToolButton *m_next = nullptr;
    QLabel *m_note = nullptr;

    // Pieces of a saved file: the file (or its bytes in memory), what every piece after the
    // first starts with (the report's head up to its first row) and where each piece starts.
    std::unique_ptr<QIODevice> m_source;
    QByteArray m_bytes;
    QByteArray m_head;
    bool m_closes = false;
    std::vector<qint64> m_starts;
    qint64 m_size = 0;
    bool m_counted = true;
    QTimer *m_counter = nullptr;
};
