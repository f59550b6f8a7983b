// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QToolButton>

// A tool button for a name of any length: text() keeps the whole name, the button shows as
// much of it as fits with "…" at the end, and its tooltip gives the whole name when it is cut.
// Its size hints do not grow with the name, so a long name never widens the window.
class ElidedToolButton : public QToolButton
{
    Q_OBJECT

public:
    explicit ElidedToolButton(QWidget *parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    // The text as painted at the button's present width.
    QString shownText() const;
    bool isElided() const { return shownText() != text(); }

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    // The button's size around a text of the given width.
    QSize sizeAround(int textWidth) const;
    // Room for the text at the present width.
    int textRoom() const;
};
