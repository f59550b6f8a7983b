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

// Room left around a window that would fill the screen, for its frame and the panel's shadow.
constexpr int screenMargin = 24;

} // namespace

// A window of the main window: transient for it, with no taskbar entry of its own, and yet
// maximisable by the person.
ModalWidget::ModalWidget(QWidget *parent)
    : QWidget(parent, Qt::Dialog | Qt::WindowMaximizeButtonHint)
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

    if (!isVisible())
        placeOverParent();
    show();
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

void ModalWidget::placeOverParent()
{
    if (!testAttribute(Qt::WA_Resized))
        adjustSize();
    const QWidget *const over = parentWidget() ? parentWidget()->window() : nullptr;
    const QScreen *const shownOn = over ? over->screen() : screen();
    if (!shownOn)
        return;
    // Not shown yet, this window has no frame: it will get one like the main window's.
    const QSize frame = over ? over->frameGeometry().size() - over->geometry().size() : QSize();
    const QRect available = shownOn->availableGeometry();
    const QRect inside
        = available.adjusted(screenMargin, screenMargin, -screenMargin, -screenMargin);
    const QSize room = (inside.size() - frame).expandedTo(QSize(1, 1));
    const QSize client = size().boundedTo(room).expandedTo(minimumSize());
    QRect placed(QPoint(0, 0), client + frame);
    placed.moveCenter(over && over->isVisible() ? over->frameGeometry().center()
                                                : available.center());
    // Centred on the main window, yet whole on the screen.
    placed.moveLeft(qMax(inside.left(), qMin(placed.left(), inside.right() - placed.width() + 1)));
    placed.moveTop(qMax(inside.top(), qMin(placed.top(), inside.bottom() - placed.height() + 1)));
    resize(client);
    move(placed.topLeft());
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
