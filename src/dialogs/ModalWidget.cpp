// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ModalWidget.h"

#include <QKeySequence>
#include <QShortcut>

#include <QEventLoop>
#include <QKeyEvent>
#include <QPointer>
#include <QScreen>

namespace {

// Below this height the screen is a handheld's, where these widgets take the whole screen.
constexpr int smallScreenHeight = 800;

} // namespace

ModalWidget::ModalWidget(QWidget *parent)
    : QWidget(parent, Qt::Window)
{
    setWindowModality(Qt::ApplicationModal);
    accel = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    accel->setObjectName(QStringLiteral("accel"));
    accel->setContext(Qt::WidgetWithChildrenShortcut);
    connect(accel, &QShortcut::activated, this, &QWidget::close);
}

ModalWidget::~ModalWidget()
{
    // The base destructor hides the window without reaching setVisible() here, so a running
    // exec() has to be told now.
    if (m_loop)
        m_loop->quit();
}

void ModalWidget::exec()
{
    QEventLoop loop;
    QEventLoop *const outer = m_loop;
    m_loop = &loop;
    const QPointer<ModalWidget> alive(this);

    const QScreen *const shownOn = screen();
    if (shownOn && shownOn->availableGeometry().height() < smallScreenHeight) {
        showMaximized();
    } else {
        if (!testAttribute(Qt::WA_Resized))
            adjustSize();
        show();
    }
    // A loop started after the widget was hidden again would never be quit.
    if (isVisible())
        loop.exec(QEventLoop::DialogExec);

    if (!alive) {
        if (outer)
            outer->quit();
        return;
    }
    m_loop = outer;
    // A nested exec() on the same widget: the hide that ended this one ends the outer too.
    if (outer && !isVisible())
        outer->quit();
}

void ModalWidget::hide()
{
    setVisible(false);
}

void ModalWidget::setVisible(bool visible)
{
    QWidget::setVisible(visible);
    if (!visible && m_loop)
        m_loop->quit();
}

void ModalWidget::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape) {
        close();
        event->accept();
        return;
    }
    QWidget::keyPressEvent(event);
}
