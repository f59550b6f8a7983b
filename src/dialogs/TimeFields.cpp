// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "TimeFields.h"

#include <QEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QSpinBox>

namespace {

// Watches one field: the spin box gets the keys and the focus, its editor the clicks.
class TypeOver : public QObject
{
public:
    explicit TypeOver(QSpinBox *spin)
        : QObject(spin)
        , m_spin(spin)
    {
        spin->installEventFilter(this);
        if (QLineEdit *edit = spin->findChild<QLineEdit *>())
            edit->installEventFilter(this);
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        switch (event->type()) {
        case QEvent::FocusIn:
        case QEvent::MouseButtonPress:
            m_fresh = true;
            break;
        case QEvent::KeyPress:
            if (watched == m_spin)
                keyPressed(*static_cast<const QKeyEvent *>(event));
            break;
        default:
            break;
        }
        return false;
    }

private:
    void keyPressed(const QKeyEvent &key)
    {
        switch (key.key()) {
        case Qt::Key_Home:
        case Qt::Key_End:
        case Qt::Key_Left:
        case Qt::Key_Right:
        case Qt::Key_Up:
        case Qt::Key_Down:
        case Qt::Key_PageUp:
        case Qt::Key_PageDown:
            m_fresh = true;
            return;
        case Qt::Key_Backspace:
        case Qt::Key_Delete:
            m_fresh = false;
            return;
        default:
            break;
        }
        const QString text = key.text();
        if (text.size() != 1 || !text.at(0).isDigit()
            || (key.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)))
            return;
        QLineEdit *edit = m_spin->findChild<QLineEdit *>();
        if (!edit || edit->hasSelectedText()) {
            m_fresh = false;
            return;
        }
        if (m_fresh || !takes(*edit, text)) {
            // The editor replaces the selection with the digit when the event reaches it.
            m_spin->selectAll();
        }
        m_fresh = false;
    }

    // Whether the digit typed at the cursor leaves a value the field can still take.
    bool takes(const QLineEdit &edit, const QString &digit) const
    {
        QString candidate = edit.text();
        int position = edit.cursorPosition();
        candidate.insert(position, digit);
        ++position;
        const QAbstractSpinBox *spin = m_spin;
        return spin->validate(candidate, position) != QValidator::Invalid;
    }

    QSpinBox *m_spin;
    bool m_fresh = false;
};

} // namespace

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

void typeOver(QSpinBox *spin)
{
    new TypeOver(spin);
}

} // namespace TimeFields
