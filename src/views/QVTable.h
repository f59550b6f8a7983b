// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QTableView>

// The table of the task list and the maintenance lists. Painting can be switched off while
// the table is rebuilt, so it is drawn once when complete; a click on a real cell or the
// space key is reported as ok(). A cell cut short by its column shows its whole text as a tooltip.
class QVTable : public QTableView
{
    Q_OBJECT

public:
    explicit QVTable(QWidget *parent = nullptr);

    void setPaintingEnabled(bool enabled);
    bool paintingEnabled() const { return m_paintingEnabled; }
    // The whole text of a cell too narrow to show it, for its tooltip; empty when it fits.
    QString elidedText(const QModelIndex &index) const;

Q_SIGNALS:
    void ok();
    // The current cell changed (row and column, -1 when none), like Qt 2's currentChanged.
    void currentChanged(int row, int column);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    bool viewportEvent(QEvent *event) override;
    void currentChanged(const QModelIndex &current, const QModelIndex &previous) override;

private:
    void mouseClicked(const QModelIndex &index);

    bool m_paintingEnabled = true;
};
