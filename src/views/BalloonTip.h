// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QPoint>
#include <QRect>
#include <QString>
#include <QWidget>

// First-use help: a yellow box with a black border and a few lines of text over the main
// screen, hidden again after some seconds. Each tip is counted in the settings so that it is
// shown only as often as asked.
class BalloonTip : public QWidget
{
    Q_OBJECT

public:
    BalloonTip(QWidget *parent, const QString &text, const QPoint &pos, int seconds);

    // Shows a tip when checkDisplay() allows it. The tip belongs to parent.
    static void showTip(QWidget *parent, const QString &text, const QPoint &pos, int seconds,
                        int maxCount, int showAt, const QString &configName, const QString &group,
                        const QString &key);
    // Counts one more display of the tip under key and says whether to show it now. A tip
    // whose store, group or key is empty is always shown and never counted.
    static bool checkDisplay(const QString &configName, const QString &group, const QString &key,
                             int maxCount, int showAt);

    QString text;
    QRect rectangle;

public Q_SLOTS:
    void timerFired();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void setBoundingRect();
};
