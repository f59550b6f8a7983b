// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ElidedToolButton.h"

#include <QHelpEvent>
#include <QStyleOptionToolButton>
#include <QStylePainter>
#include <QToolTip>

namespace {

// Room a button asks for: a name of some length, shorter ones as they are.
constexpr int preferredCharacters = 24;
// The least a button asks for, whatever its name.
constexpr int minimumCharacters = 6;

} // namespace

ElidedToolButton::ElidedToolButton(QWidget *parent)
    : QToolButton(parent)
{}

QSize ElidedToolButton::sizeAround(int textWidth) const
{
    QStyleOptionToolButton option;
    initStyleOption(&option);
    const QFontMetrics metrics = fontMetrics();
    // As QToolButton measures its text: a blank on either side, the height of one line.
    const QSize contents(textWidth + 2 * metrics.horizontalAdvance(QLatin1Char(' ')),
                         metrics.size(Qt::TextShowMnemonic, QStringLiteral("X")).height());
    return style()->sizeFromContents(QStyle::CT_ToolButton, &option, contents, this);
}

QSize ElidedToolButton::sizeHint() const
{
    const QFontMetrics metrics = fontMetrics();
    const int wanted = metrics.size(Qt::TextShowMnemonic, text()).width();
    const int cap = metrics.averageCharWidth() * preferredCharacters;
    return sizeAround(qMin(wanted, cap));
}

QSize ElidedToolButton::minimumSizeHint() const
{
    return sizeAround(fontMetrics().averageCharWidth() * minimumCharacters);
}

int ElidedToolButton::textRoom() const
{
    return qMax(0, width() - sizeAround(0).width());
}

QString ElidedToolButton::shownText() const
{
    return fontMetrics().elidedText(text(), Qt::ElideRight, textRoom(), Qt::TextShowMnemonic);
}

bool ElidedToolButton::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty() && isElided()) {
        QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(), text(), this);
        return true;
    }
    return QToolButton::event(event);
}

void ElidedToolButton::paintEvent(QPaintEvent *)
{
    QStylePainter painter(this);
    QStyleOptionToolButton option;
    initStyleOption(&option);
    option.text = shownText();
    painter.drawComplexControl(QStyle::CC_ToolButton, option);
}
