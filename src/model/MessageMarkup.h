// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The rich text that the server's personal messages may show: formatting and small tables,
// rebuilt from what came with only a few harmless attributes, so that nothing is loaded and
// laying it out stays quick. Anything else, or more, is shown as the text that came.
namespace MessageMarkup {

// Qt's HTML reader slows down with every level of nesting (quadratically).
constexpr int MaxDepth = 32;
// The layout's work grows steeply with each table inside a table: 16 levels take a second.
constexpr int MaxTableNesting = 3;
// The cells of all tables together, counted over each table's full grid of rows and columns.
constexpr int MaxTableCells = 500;
constexpr int MaxColumns = 32;
constexpr int MaxRowSpan = 64;
// Widths in pixels above this are dropped (a percentage up to 100 is kept).
constexpr int MaxWidth = 1000;

struct Markup
{
    // What the view is given: the tags and attributes allowed, each element closed.
    QString html;
    // The text as the layout meets it, with a space where a block or a cell begins or ends,
    // to find stretches without a place to break the line.
    QString layoutText;
};

// The message as rich text, or nothing when it holds a tag outside the allowed ones, a tag that
// does not end, or more nesting, table nesting or table cells than the bounds above.
std::optional<Markup> richText(const QByteArray &message);

} // namespace MessageMarkup
