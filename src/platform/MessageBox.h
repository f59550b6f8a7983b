#pragma once

#include <QMessageBox>
#include <QString>

// Every message box of the program goes through here, so that tests can see each box's title
// and text and answer it. Titles, texts, buttons, the default and the Escape button are the
// caller's; this class only shows them.
class MessageBox
{
public:
    // A question or warning with the given buttons; returns the button pressed (the escape
    // button when the box is closed).
    static QMessageBox::StandardButton
    warning(QWidget *parent, const QString &title, const QString &text,
            QMessageBox::StandardButtons buttons = QMessageBox::Ok,
            QMessageBox::StandardButton defaultButton = QMessageBox::NoButton,
            QMessageBox::StandardButton escapeButton = QMessageBox::NoButton);
    // A question with Yes and No; No is the default and the Escape button. True for Yes.
    static bool ask(QWidget *parent, const QString &title, const QString &text);
    static void information(QWidget *parent, const QString &title, const QString &text);

    // --- Test seam ----------------------------------------------------------------------
    // Once testing is on, no box is shown: each call is recorded and answered with the next
    // queued answer, or with its Escape button (OK for a box with one button) when none is
    // queued.
    struct Shown
    {
        QString title;
        QString text;
        QMessageBox::Icon icon;
    };
    static void setTesting(bool on);
    static void setNextAnswer(QMessageBox::StandardButton answer);
    static QList<Shown> shown();
    static void clearShown();
};
