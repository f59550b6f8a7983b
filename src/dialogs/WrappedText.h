// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QLayout>
#include <QWidget>

// A layout with word-wrapped labels gives its window no minimum height, and the size a form
// opens with may be too short for its text in another font, scale or language. This makes the
// window tall enough for its text at its width, and no smaller than that: no narrower than
// it opens, and no shorter than the text needs there.
inline void fitToWrappedText(QWidget *window)
{
    QLayout *layout = window->layout();
    if (!layout)
        return;
    // A label shown in a window not shown yet keeps the size cached while it was hidden: in its
    // layout item, in those of the widgets around it, and in every layout.
    const QList<QWidget *> children = window->findChildren<QWidget *>();
    for (QWidget *child : children)
        child->updateGeometry();
    const QList<QLayout *> layouts = window->findChildren<QLayout *>();
    for (QLayout *each : layouts)
        each->invalidate();
    if (!layout->hasHeightForWidth())
        return;
    layout->activate();
    const int width = qMax(window->width(), layout->totalMinimumSize().width());
    const int height = layout->totalHeightForWidth(width);
    window->setMinimumSize(width, height);
    window->resize(width, qMax(window->height(), height));
}
