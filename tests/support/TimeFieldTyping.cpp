// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TimeFieldTyping.h"

#include <QLineEdit>
#include <QSpinBox>
#include <QtTest>

bool typeIntoTimeField(QSpinBox *spin, bool selectAll, const QString &typed)
{
    auto *edit = spin->findChild<QLineEdit *>();
    if (!edit)
        return false;
    if (selectAll) {
        spin->setFocus();
        spin->selectAll();
    } else {
        QTest::mouseClick(edit, Qt::LeftButton, {}, QPoint(edit->width() - 4, edit->height() / 2));
        if (!spin->hasFocus())
            return false;
        edit->end(false);
        QTest::keyClick(edit, Qt::Key_Backspace);
        QTest::keyClick(edit, Qt::Key_Backspace);
    }
    QTest::keyClicks(spin, typed);
    return true;
}
