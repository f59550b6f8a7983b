// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TimeFields.h"

#include <QLineEdit>
#include <QSpinBox>

namespace TimeFields {

QString twoDigitPrefix(int value)
{
    return value < 10 ? QStringLiteral("0") : QString();
}

void setPrefix(QSpinBox *spin, const QString &prefix)
{
    // The spin box's own editor; QAbstractSpinBox keeps its accessor protected.
    QLineEdit *edit = spin->findChild<QLineEdit *>();
    if (!edit || !spin->hasFocus() || edit->hasSelectedText()) {
        spin->setPrefix(prefix);
        return;
    }
    // Also when the prefix stays: setting it shows the text anew from the value, so that a zero
    // typed after the leading zero ("007") goes.
    const int fromEnd = int(edit->text().size()) - edit->cursorPosition();
    spin->setPrefix(prefix);
    edit->setCursorPosition(qMax(int(prefix.size()), int(edit->text().size()) - fromEnd));
}

} // namespace TimeFields
