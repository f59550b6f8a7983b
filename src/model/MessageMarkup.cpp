// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "MessageMarkup.h"

#include <QByteArrayList>

#include <algorithm>
#include <utility>
#include <vector>

namespace MessageMarkup {

namespace {

enum class Kind { None, Ignored, Void, Inline, Block, Table, Caption, Section, Row, Cell };

Kind kindOf(const QByteArray &name)
{
    static const QByteArrayList inlineTags
        = {"a",    "b",     "big",  "cite",   "code",   "em",  "font", "i",  "kbd", "s",
           "samp", "small", "span", "strike", "strong", "sub", "sup",  "tt", "u",   "var"};
    static const QByteArrayList blockTags
        = {"blockquote", "center", "dd", "div", "dl", "dt", "h1",  "h2", "h3",
           "h4",         "h5",     "h6", "li",  "ol", "p",  "pre", "ul"};
    if (inlineTags.contains(name))
        return Kind::Inline;
    if (blockTags.contains(name))
        return Kind::Block;
    if (name == "br" || name == "hr")
        return Kind::Void;
    if (name == "html" || name == "body")
        return Kind::Ignored;
    if (name == "table")
        return Kind::Table;
    if (name == "caption")
        return Kind::Caption;
    if (name == "thead" || name == "tbody" || name == "tfoot")
        return Kind::Section;
    if (name == "tr")
        return Kind::Row;
    if (name == "td" || name == "th")
        return Kind::Cell;
    return Kind::None;
}

// Inside these only rows, cells and white space may stand.
bool holdsOnlyRows(Kind kind)
{
    return kind == Kind::Table || kind == Kind::Section || kind == Kind::Row;
}

bool isTablePart(Kind kind)
{
    return kind == Kind::Table || kind == Kind::Caption || kind == Kind::Section
           || kind == Kind::Row || kind == Kind::Cell;
}

bool isAsciiLetterOrDigit(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool isAllSpace(const QByteArray &text)
{
    return std::all_of(text.cbegin(), text.cend(), isSpace);
}

bool isNumber(const QByteArray &text, int low, int high, int *value = nullptr)
{
    if (text.isEmpty() || text.size() > 4
        || !std::all_of(text.cbegin(), text.cend(), [](char c) { return c >= '0' && c <= '9'; }))
        return false;
    const int number = text.toInt();
    if (number < low || number > high)
        return false;
    if (value)
        *value = number;
    return true;
}

bool isColour(const QByteArray &value)
{
    if (value.startsWith('#')) {
        const QByteArray hex = value.mid(1);
        return (hex.size() == 3 || hex.size() == 6)
               && std::all_of(hex.cbegin(), hex.cend(), [](char c) {
                      return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')
                             || (c >= 'A' && c <= 'F');
                  });
    }
    return !value.isEmpty() && value.size() <= 20
           && std::all_of(value.cbegin(), value.cend(),
                          [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); });
}

bool isWidth(const QByteArray &value)
{
    if (value.endsWith('%'))
        return isNumber(value.chopped(1), 1, 100);
    return isNumber(value, 1, MaxWidth);
}

bool isFontSize(const QByteArray &value)
{
    const QByteArray digits = value.startsWith('+') || value.startsWith('-') ? value.mid(1) : value;
    return isNumber(digits, 1, 7);
}

// Whether element name may keep attribute with value (both lower case but the value).
bool keepsAttribute(const QByteArray &element, const QByteArray &attribute, const QByteArray &value)
{
    const QByteArray lower = value.toLower();
    const Kind kind = kindOf(element);
    if (attribute == "align")
        return (kind == Kind::Block || isTablePart(kind))
               && (lower == "left" || lower == "right" || lower == "center" || lower == "justify");
    if (attribute == "valign")
        return (kind == Kind::Row || kind == Kind::Cell)
               && (lower == "top" || lower == "middle" || lower == "bottom");
    if (attribute == "color")
        return element == "font" && isColour(value);
    if (attribute == "size")
        return element == "font" && isFontSize(value);
    if (attribute == "bgcolor")
        return (kind == Kind::Table || kind == Kind::Row || kind == Kind::Cell) && isColour(value);
    if (attribute == "width")
        return (kind == Kind::Table || kind == Kind::Cell) && isWidth(value);
    if (attribute == "border")
        return kind == Kind::Table && isNumber(value, 0, 8);
    if (attribute == "cellpadding" || attribute == "cellspacing")
        return kind == Kind::Table && isNumber(value, 0, 32);
    if (attribute == "colspan")
        return kind == Kind::Cell && isNumber(value, 1, MaxColumns);
    if (attribute == "rowspan")
        return kind == Kind::Cell && isNumber(value, 1, MaxRowSpan);
    return false;
}

struct Tag
{
    QByteArray name;
    QList<std::pair<QByteArray, QByteArray>> attributes;
    bool closing = false;
    bool empty = false;
    qsizetype end = -1; // the '>'
};

// Reads the attributes of a tag from p: name, name=value, name="value" or name='value'. Returns
// where the tag goes on ('>' or '/'), or -1 when the attributes do not end well.
qsizetype readAttributes(const QByteArray &text, qsizetype p, Tag *tag)
{
    for (;;) {
        while (p < text.size() && isSpace(text.at(p)))
            ++p;
        if (p >= text.size())
            return -1;
        if (text.at(p) == '>' || text.at(p) == '/')
            return p;
        const qsizetype nameStart = p;
        while (p < text.size()
               && (isAsciiLetterOrDigit(text.at(p)) || text.at(p) == '-' || text.at(p) == '_'))
            ++p;
        if (p == nameStart)
            return -1;
        const QByteArray name = text.mid(nameStart, p - nameStart).toLower();
        while (p < text.size() && isSpace(text.at(p)))
            ++p;
        if (p >= text.size() || text.at(p) != '=') {
            tag->attributes.append({name, QByteArray()});
            continue;
        }
        ++p;
        while (p < text.size() && isSpace(text.at(p)))
            ++p;
        if (p >= text.size())
            return -1;
        const char quote = text.at(p);
        if (quote == '"' || quote == '\'') {
            const qsizetype close = text.indexOf(quote, p + 1);
            if (close < 0)
                return -1;
            tag->attributes.append({name, text.mid(p + 1, close - p - 1)});
            p = close + 1;
        } else {
            const qsizetype valueStart = p;
            while (p < text.size() && !isSpace(text.at(p)) && text.at(p) != '>')
                ++p;
            if (p == valueStart)
                return -1;
            tag->attributes.append({name, text.mid(valueStart, p - valueStart)});
        }
    }
}

// The tag that begins at the '<' at, or nothing when it is no tag this reader knows to end.
std::optional<Tag> readTag(const QByteArray &text, qsizetype at)
{
    Tag tag;
    qsizetype p = at + 1;
    tag.closing = p < text.size() && text.at(p) == '/';
    if (tag.closing)
        ++p;
    const qsizetype nameStart = p;
    while (p < text.size() && isAsciiLetterOrDigit(text.at(p)))
        ++p;
    tag.name = text.mid(nameStart, p - nameStart).toLower();
    if (tag.name.isEmpty())
        return std::nullopt;
    p = tag.closing ? p : readAttributes(text, p, &tag);
    while (p >= 0 && p < text.size() && isSpace(text.at(p)))
        ++p;
    if (p < 0 || p >= text.size())
        return std::nullopt;
    tag.empty = !tag.closing && text.at(p) == '/';
    if (tag.empty)
        ++p;
    if (p >= text.size() || text.at(p) != '>')
        return std::nullopt;
    tag.end = p;
    return tag;
}

// Where the cells of one table fall, as HTML places them: a cell spanning rows keeps its
// columns in the rows below, and the cells of those rows move to its right.
struct Grid
{
    int rows = 0;
    int columns = 0;
    int row = -1;
    int column = 0;
    // For each column, how many more rows (this one included) a cell above still covers.
    std::vector<int> covered;

    void newRow()
    {
        ++row;
        column = 0;
        for (int &c : covered)
            c = qMax(0, c - 1);
        rows = qMax(rows, row + 1);
    }

    // False when the cell would reach beyond MaxColumns.
    bool place(int colspan, int rowspan)
    {
        while (column < int(covered.size()) && covered[size_t(column)] > 0)
            ++column;
        const int end = column + colspan;
        if (end > MaxColumns)
            return false;
        if (int(covered.size()) < end)
            covered.resize(size_t(end), 0);
        for (int c = column; c < end; ++c)
            covered[size_t(c)] = rowspan;
        column = end;
        columns = qMax(columns, end);
        rows = qMax(rows, row + rowspan);
        return true;
    }

    qint64 cells() const { return qint64(rows) * qMax(columns, 1); }
};

class Rebuilder
{
public:
    std::optional<Markup> run(const QByteArray &text)
    {
        qsizetype from = 0;
        for (qsizetype at = text.indexOf('<'); at >= 0; at = text.indexOf('<', from)) {
            if (!addText(text.mid(from, at - from)))
                return std::nullopt;
            const std::optional<Tag> tag = readTag(text, at);
            if (!tag || !(tag->closing ? close(*tag) : open(*tag)))
                return std::nullopt;
            from = tag->end + 1;
        }
        if (!addText(text.mid(from)))
            return std::nullopt;
        while (!m_open.isEmpty())
            pop();
        return Markup{QString::fromUtf8(m_html), QString::fromUtf8(m_layout)};
    }

private:
    struct Element
    {
        QByteArray name;
        Kind kind;
    };

    Kind topKind() const { return m_open.isEmpty() ? Kind::None : m_open.last().kind; }

    bool addText(const QByteArray &text)
    {
        if (text.isEmpty())
            return true;
        if (holdsOnlyRows(topKind()) && !isAllSpace(text))
            return false;
        m_html += text;
        m_layout += text;
        return true;
    }

    // Index of the innermost open element of kind, searched down to stopAt (excluded); -1 if
    // there is none.
    qsizetype innermost(Kind kind, qsizetype stopAt = -1) const
    {
        for (qsizetype i = m_open.size() - 1; i > stopAt; --i) {
            if (m_open.at(i).kind == kind)
                return i;
        }
        return -1;
    }

    void pop()
    {
        const Element element = m_open.takeLast();
        m_html += "</" + element.name + '>';
        if (element.kind != Kind::Inline)
            m_layout += ' ';
        if (element.kind == Kind::Table) {
            m_doneCells += m_grids.back().cells();
            m_grids.pop_back();
        }
    }

    void popTo(qsizetype index)
    {
        while (m_open.size() > index)
            pop();
    }

    bool withinCellBound() const
    {
        qint64 cells = m_doneCells;
        for (const Grid &grid : m_grids)
            cells += grid.cells();
        return cells <= MaxTableCells;
    }

    bool open(const Tag &tag)
    {
        const Kind kind = kindOf(tag.name);
        if (kind == Kind::None)
            return false;
        if (kind == Kind::Ignored || (tag.empty && kind != Kind::Void))
            return true;
        const qsizetype table = innermost(Kind::Table);
        int colspan = 1;
        int rowspan = 1;
        switch (kind) {
        case Kind::Void:
        case Kind::Inline:
        case Kind::Block:
            if (holdsOnlyRows(topKind()))
                return false;
            break;
        case Kind::Table:
            if (holdsOnlyRows(topKind()) || int(m_grids.size()) >= MaxTableNesting)
                return false;
            break;
        case Kind::Caption:
            if (topKind() != Kind::Table)
                return false;
            break;
        case Kind::Section:
            if (table < 0)
                return false;
            // An open section, row or cell of this table ends where the next section begins.
            popTo(table + 1);
            break;
        case Kind::Row:
            if (table < 0)
                return false;
            // An open row or cell of this table ends where the next row begins.
            while (m_open.size() > table + 1 && topKind() != Kind::Section)
                pop();
            break;
        case Kind::Cell: {
            const qsizetype row = innermost(Kind::Row, table);
            if (table < 0 || row < 0)
                return false;
            popTo(row + 1);
            for (const auto &[name, value] : tag.attributes) {
                if (name == "colspan")
                    isNumber(value, 1, MaxColumns, &colspan);
                else if (name == "rowspan")
                    isNumber(value, 1, MaxRowSpan, &rowspan);
            }
            break;
        }
        case Kind::None:
        case Kind::Ignored:
            return false;
        }

        m_html += '<' + tag.name;
        for (const auto &[name, value] : tag.attributes) {
            if (keepsAttribute(tag.name, name, value))
                m_html += ' ' + name + "=\"" + value + '"';
        }
        m_html += '>';
        if (kind != Kind::Inline)
            m_layout += ' ';
        if (kind == Kind::Void)
            return true;

        m_open.append({tag.name, kind});
        if (m_open.size() > MaxDepth)
            return false;
        if (kind == Kind::Table)
            m_grids.emplace_back();
        else if (kind == Kind::Row)
            m_grids.back().newRow();
        else if (kind == Kind::Cell && !m_grids.back().place(colspan, rowspan))
            return false;
        return withinCellBound();
    }

    // A closing tag without its element open is left out; one that would close a table part
    // from outside it too.
    bool close(const Tag &tag)
    {
        const Kind kind = kindOf(tag.name);
        if (kind == Kind::None)
            return false;
        if (kind == Kind::Ignored || kind == Kind::Void)
            return true;
        qsizetype found = -1;
        if (isTablePart(kind)) {
            const qsizetype table = innermost(Kind::Table);
            if (kind == Kind::Table) {
                found = table;
            } else {
                for (qsizetype i = m_open.size() - 1; i > table && found < 0; --i) {
                    if (m_open.at(i).name == tag.name)
                        found = i;
                }
            }
        } else {
            for (qsizetype i = m_open.size() - 1; i >= 0 && !isTablePart(m_open.at(i).kind); --i) {
                if (m_open.at(i).name == tag.name) {
                    found = i;
                    break;
                }
            }
        }
        if (found >= 0)
            popTo(found);
        return true;
    }

    QList<Element> m_open;
    std::vector<Grid> m_grids;
    qint64 m_doneCells = 0;
    QByteArray m_html;
    QByteArray m_layout;
};

} // namespace

std::optional<Markup> richText(const QByteArray &message)
{
    return Rebuilder().run(message);
}

} // namespace MessageMarkup
