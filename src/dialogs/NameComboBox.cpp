// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "NameComboBox.h"

#include <QAbstractItemView>
#include <QStyleOptionComboBox>
#include <QStylePainter>

NameComboBox::NameComboBox(QWidget *parent)
    : QComboBox(parent)
{
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(24);
    view()->setTextElideMode(Qt::ElideRight);
    connect(this, &QComboBox::currentIndexChanged, this, &NameComboBox::updateToolTip);
}

void NameComboBox::addName(const QString &name, const QIcon &icon)
{
    addItem(icon, name);
    setItemData(count() - 1, name, Qt::ToolTipRole);
}

void NameComboBox::updateToolTip()
{
    setToolTip(currentText());
}

QString NameComboBox::elided(const QStyleOptionComboBox &option) const
{
    const QRect field
        = style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this);
    // The style keeps a pixel on either side of the text, and the icon's width and 4 more.
    int room = field.width() - 2;
    if (!option.currentIcon.isNull())
        room -= option.iconSize.width() + 4;
    return fontMetrics().elidedText(option.currentText, Qt::ElideRight, qMax(0, room));
}

QString NameComboBox::shownText() const
{
    QStyleOptionComboBox option;
    initStyleOption(&option);
    return elided(option);
}

void NameComboBox::paintEvent(QPaintEvent *)
{
    // As QComboBox paints itself, with the chosen name cut short to the room it has.
    QStylePainter painter(this);
    painter.setPen(palette().color(QPalette::Text));
    QStyleOptionComboBox option;
    initStyleOption(&option);
    painter.drawComplexControl(QStyle::CC_ComboBox, option);
    option.currentText = elided(option);
    painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}
