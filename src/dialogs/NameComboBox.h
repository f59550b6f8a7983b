// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QComboBox>

// A combo box of activity or category names. A name of any length leaves the dialog as wide
// as it was: the box has room for a name of some length and shows longer ones cut short with
// "…", and the whole name is the tooltip of its item and, while it is chosen, of the box.
class NameComboBox : public QComboBox
{
    Q_OBJECT

public:
    explicit NameComboBox(QWidget *parent = nullptr);

    void addName(const QString &name, const QIcon &icon = QIcon());
    // For a box filled with its signals blocked: the tooltip of the chosen name.
    void updateToolTip();
    // The chosen name as painted at the box's present width.
    QString shownText() const;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString elided(const QStyleOptionComboBox &option) const;
};
