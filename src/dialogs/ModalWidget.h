// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QWidget>

class QEventLoop;
class QShortcut;

// Base of the widgets the main window runs in a nested event loop (the report viewer, the
// saved-report chooser): hiding the widget ends the loop, and Escape closes it.
class ModalWidget : public QWidget
{
    Q_OBJECT

public:
    explicit ModalWidget(QWidget *parent = nullptr);
    ~ModalWidget() override;

    // Shows the widget (as an application-modal window over the parent) and returns when it
    // is hidden, closed or destroyed.
    void exec();
    // Sizes the widget to fit within the screen and centres it on the parent's window.
    void placeOverParent();

    void hide();
    void setVisible(bool visible) override;

    // Escape closes the widget from whichever child has the focus, even one (a table, say)
    // that would keep the key for itself.
    QShortcut *accel = nullptr;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    // The loop of the innermost exec() still running; null outside exec().
    QEventLoop *m_loop = nullptr;
};
