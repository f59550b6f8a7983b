// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "BalloonTip.h"

#include "platform/Config.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPen>
#include <QTimer>

BalloonTip::BalloonTip(QWidget *parent, const QString &text, const QPoint &pos, int seconds)
    : QWidget(parent)
    , text(text)
{
    setBoundingRect();
    setGeometry(QRect(pos, rectangle.size()));

    auto *timer = new QTimer(this);
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, this, &BalloonTip::timerFired);
    timer->start(seconds * 1000);
}

void BalloonTip::showTip(QWidget *parent, const QString &text, const QPoint &pos, int seconds,
                         int maxCount, int showAt, const QString &configName, const QString &group,
                         const QString &key)
{
    if (!checkDisplay(configName, group, key, maxCount, showAt))
        return;
    auto *tip = new BalloonTip(parent, text, pos, seconds);
    tip->show();
    // Made after the parent's own children, but keep it above anything raised since.
    tip->raise();
}

bool BalloonTip::checkDisplay(const QString &configName, const QString &group, const QString &key,
                              int maxCount, int showAt)
{
    if (configName.isEmpty() || group.isEmpty() || key.isEmpty())
        return true;

    Config config(configName, Config::User);
    config.setGroup(group);
    const int count = config.readNumEntry(key, 0);
    if (count >= maxCount)
        return false;
    config.writeEntry(key, count + 1);
    return count + 1 >= showAt;
}

void BalloonTip::timerFired()
{
    // Asked of the tip itself, not its ancestors: a tip whose time ran out before the window
    // appeared must not show up afterwards.
    if (!isHidden())
        close();
}

void BalloonTip::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setPen(QPen(QColor(0, 0, 0), 1, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(QColor(255, 255, 0));
    // A one-pixel outline of a rectangle reaches one pixel past its right and bottom edges;
    // drawn one smaller, the whole border lies on the widget.
    painter.drawRect(rectangle.adjusted(0, 0, -1, -1));
    painter.drawText(rectangle.translated(2, 2), 0, text);
}

void BalloonTip::setBoundingRect()
{
    // The font metrics give the painter's layout without a painter, which a widget may only
    // open while it paints. No alignment or wrapping flags: lines break at "\n" only.
    const QSize area = parentWidget() ? parentWidget()->size() : QSize();
    const QRect bounds = QFontMetrics(font()).boundingRect(QRect(QPoint(0, 0), area), 0, text);
    rectangle = QRect(0, 0, bounds.right() - bounds.left() + 5, bounds.bottom() - bounds.top() + 5);
}
