#include "MessageBox.h"

#include <QList>

namespace {

struct TestState
{
    bool testing = false;
    QList<QMessageBox::StandardButton> answers;
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
                                 QMessageBox::StandardButton escapeButton)
{
    TestState &state = testState();
    if (state.testing) {
        state.shown.append({title, text, icon});
        if (!state.answers.isEmpty())
            return state.answers.takeFirst();
        if (escapeButton != QMessageBox::NoButton)
            return escapeButton;
        return (buttons & QMessageBox::Ok) ? QMessageBox::Ok : QMessageBox::NoButton;
    }
    QMessageBox box(icon, title, text, buttons, parent);
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

bool MessageBox::ask(QWidget *parent, const QString &title, const QString &text)
{
    return warning(parent, title, text, QMessageBox::Yes | QMessageBox::No, QMessageBox::No,
                   QMessageBox::No)
           == QMessageBox::Yes;
}

void MessageBox::information(QWidget *parent, const QString &title, const QString &text)
{
    show(parent, QMessageBox::Information, title, text, QMessageBox::Ok, QMessageBox::Ok,
         QMessageBox::Ok);
}

void MessageBox::setTesting(bool on)
{
    testState().testing = on;
}

void MessageBox::setNextAnswer(QMessageBox::StandardButton answer)
{
    testState().answers.append(answer);
}

QList<MessageBox::Shown> MessageBox::shown()
{
    return testState().shown;
}

void MessageBox::clearShown()
{
    testState().shown.clear();
    testState().answers.clear();
}
