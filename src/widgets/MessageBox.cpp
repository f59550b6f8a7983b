// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "MessageBox.h"

#include <QCheckBox>
#include <QList>
#include <QPushButton>

namespace {

struct TestState
{
    bool testing = false;
    QList<QMessageBox::StandardButton> answers;
    QList<int> choices;
    QList<bool> checkBoxes;
    QList<MessageBox::Shown> shown;
};

TestState &testState()
{
    static TestState state;
    return state;
}

QMessageBox::StandardButton show(QWidget *parent, QMessageBox::Icon icon, const QString &title,
                                 const QString &text, QMessageBox::StandardButtons buttons,
                                 QMessageBox::StandardButton defaultButton,
                                 QMessageBox::StandardButton escapeButton,
                                 const QString &informative = QString())
{
    TestState &state = testState();
    if (state.testing) {
        state.shown.append({title, text, icon, {}, {}, informative});
        if (!state.answers.isEmpty())
            return state.answers.takeFirst();
        if (escapeButton != QMessageBox::NoButton)
            return escapeButton;
        return (buttons & QMessageBox::Ok) ? QMessageBox::Ok : QMessageBox::NoButton;
    }
    QMessageBox box(icon, title, text, buttons, parent);
    box.setInformativeText(informative);
    if (defaultButton != QMessageBox::NoButton)
        box.setDefaultButton(defaultButton);
    if (escapeButton != QMessageBox::NoButton)
        box.setEscapeButton(escapeButton);
    const int result = box.exec();
    return static_cast<QMessageBox::StandardButton>(result);
}

} // namespace

QMessageBox::StandardButton MessageBox::warning(QWidget *parent, const QString &title,
                                                const QString &text,
                                                QMessageBox::StandardButtons buttons,
                                                QMessageBox::StandardButton defaultButton,
                                                QMessageBox::StandardButton escapeButton)
{
    return show(parent, QMessageBox::Warning, title, text, buttons, defaultButton, escapeButton);
}

bool MessageBox::ask(QWidget *parent, const QString &title, const QString &text,
                     const QString &informative)
{
    return show(parent, QMessageBox::Warning, title, text, QMessageBox::Yes | QMessageBox::No,
                QMessageBox::No, QMessageBox::No, informative)
           == QMessageBox::Yes;
}

void MessageBox::information(QWidget *parent, const QString &title, const QString &text)
{
    show(parent, QMessageBox::Information, title, text, QMessageBox::Ok, QMessageBox::Ok,
         QMessageBox::Ok);
}

void MessageBox::about(QWidget *parent, const QString &title, const QString &text)
{
    TestState &state = testState();
    if (state.testing) {
        state.shown.append({title, text, QMessageBox::NoIcon, {}, {}, {}});
        return;
    }
    QMessageBox::about(parent, title, text);
}

bool MessageBox::informationWithCheckBox(QWidget *parent, const QString &title, const QString &text,
                                         const QString &checkBoxText)
{
    TestState &state = testState();
    if (state.testing) {
        state.shown.append({title, text, QMessageBox::Information, {}, checkBoxText, {}});
        return !state.checkBoxes.isEmpty() && state.checkBoxes.takeFirst();
    }
    QMessageBox box(QMessageBox::Information, title, text, QMessageBox::Ok, parent);
    auto *checkBox = new QCheckBox(checkBoxText, &box);
    box.setCheckBox(checkBox);
    box.exec();
    return checkBox->isChecked();
}

int MessageBox::choose(QWidget *parent, const QString &title, const QString &text,
                       const QStringList &buttons, int defaultIndex, int escapeIndex,
                       QMessageBox::Icon icon)
{
    TestState &state = testState();
    if (state.testing) {
        state.shown.append({title, text, icon, buttons, {}, {}});
        return state.choices.isEmpty() ? escapeIndex : state.choices.takeFirst();
    }
    QMessageBox box(icon, title, text, QMessageBox::NoButton, parent);
    QList<QPushButton *> pushButtons;
    for (const QString &wording : buttons)
        pushButtons << box.addButton(wording, QMessageBox::ActionRole);
    if (defaultIndex >= 0 && defaultIndex < pushButtons.size())
        box.setDefaultButton(pushButtons.at(defaultIndex));
    if (escapeIndex >= 0 && escapeIndex < pushButtons.size())
        box.setEscapeButton(pushButtons.at(escapeIndex));
    box.exec();
    const int pressed = int(pushButtons.indexOf(qobject_cast<QPushButton *>(box.clickedButton())));
    return pressed >= 0 ? pressed : escapeIndex;
}

void MessageBox::setTesting(bool on)
{
    testState().testing = on;
}

void MessageBox::setNextAnswer(QMessageBox::StandardButton answer)
{
    testState().answers.append(answer);
}

void MessageBox::setNextChoice(int index)
{
    testState().choices.append(index);
}

void MessageBox::setNextCheckBox(bool ticked)
{
    testState().checkBoxes.append(ticked);
}

QList<MessageBox::Shown> MessageBox::shown()
{
    return testState().shown;
}

void MessageBox::clearShown()
{
    testState().shown.clear();
    testState().answers.clear();
    testState().choices.clear();
    testState().checkBoxes.clear();
}
