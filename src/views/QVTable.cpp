// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "QVTable.h"

#include <QHeaderView>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QToolTip>

QVTable::QVTable(QWidget *parent)
    : QTableView(parent)
{
    // One row at a time: the selection follows the current index, so the highlighted row is
    // always the one the commands act on.
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setWordWrap(false);
    verticalHeader()->hide();

    connect(this, &QAbstractItemView::clicked, this, &QVTable::mouseClicked);
}

void QVTable::setPaintingEnabled(bool enabled)
{
    if (enabled == m_paintingEnabled)
        return;
    m_paintingEnabled = enabled;
    // The viewport is switched explicitly, which detaches it from the view's own switch, so
    // both are turned back on.
    setUpdatesEnabled(enabled);
    viewport()->setUpdatesEnabled(enabled);
    if (enabled)
        viewport()->update();
}

void QVTable::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space && event->modifiers() == Qt::NoModifier) {
        event->accept();
        Q_EMIT ok();
        return;
    }
    QTableView::keyPressEvent(event);
}

QString QVTable::elidedText(const QModelIndex &index) const
{
    if (!index.isValid())
        return QString();
    const QString text = index.data(Qt::DisplayRole).toString();
    // The item delegate keeps a focus frame's margin on either side of the text.
    const int margin = style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, this) + 1;
    const int room = visualRect(index).width() - 2 * margin;
    if (fontMetrics().horizontalAdvance(text) <= room)
        return QString();
    return text;
}

bool QVTable::viewportEvent(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        const auto *help = static_cast<QHelpEvent *>(event);
        const QModelIndex index = indexAt(help->pos());
        if (index.isValid() && index.data(Qt::ToolTipRole).isNull()) {
            const QString text = elidedText(index);
            if (text.isEmpty())
                QToolTip::hideText();
            else
                QToolTip::showText(help->globalPos(), text, viewport(), visualRect(index));
            return true;
        }
    }
    return QTableView::viewportEvent(event);
}

void QVTable::currentChanged(const QModelIndex &current, const QModelIndex &previous)
{
    QTableView::currentChanged(current, previous);
    // An invalid index gives -1, -1.
    Q_EMIT currentChanged(current.row(), current.column());
}

void QVTable::mouseClicked(const QModelIndex &index)
{
    // clicked() only comes for an index under the mouse; header clicks never reach here.
    if (index.isValid() && index.row() >= 0 && index.column() >= 0)
        Q_EMIT ok();
}
