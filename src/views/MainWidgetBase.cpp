// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "MainWidgetBase.h"

#include <QEvent>
#include <QFontDatabase>
#include <QFontMetrics>

MainWidgetBase::MainWidgetBase(QWidget *parent)
    : QWidget(parent)
{
    setupUi(this);
    setTimeLabelFont();
}

bool MainWidgetBase::event(QEvent *event)
{
    const bool handled = QWidget::event(event);
    // Only windows hear of the application font; inside the main window the form is told
    // through its own font change.
    if (event->type() == QEvent::ApplicationFontChange || event->type() == QEvent::FontChange)
        setTimeLabelFont();
    return handled;
}

void MainWidgetBase::setTimeLabelFont()
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setBold(true);
    // Wide enough for the longest running time, so the buttons do not shift while it ticks.
    const int width = QFontMetrics(font).horizontalAdvance(QStringLiteral("0000d  00:00"));
    for (QLabel *label : {lblTaskStatus1, lblTaskStatus2, lblTaskStatus3}) {
        label->setFont(font);
        label->setMinimumWidth(width);
    }
}
