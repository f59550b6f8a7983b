// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QMessageBox>
#include <QString>
#include <QStringList>

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
    // informative, when given, is a further line below the question (QMessageBox's
    // informative text), which leaves the question's own text as it is.
    static bool ask(QWidget *parent, const QString &title, const QString &text,
                    const QString &informative = QString());
    static void information(QWidget *parent, const QString &title, const QString &text);
    // The program's About box (QMessageBox::about): the program's icon and rich text, one OK.
    static void about(QWidget *parent, const QString &title, const QString &text);
    // An information with a check box (checkBoxText, off at first) below the text; returns
    // whether the person ticked it.
    static bool informationWithCheckBox(QWidget *parent, const QString &title, const QString &text,
                                        const QString &checkBoxText);
    // A question with buttons of the caller's words, left to right; returns the index of the
    // button pressed, escapeIndex when the box is closed. A refusal that offers a way out
    // shows the information icon instead.
    static int choose(QWidget *parent, const QString &title, const QString &text,
                      const QStringList &buttons, int defaultIndex, int escapeIndex,
                      QMessageBox::Icon icon = QMessageBox::Question);

    // --- Test seam ----------------------------------------------------------------------
    // Once testing is on, no box is shown: each call is recorded and answered with the next
    // queued answer, or with its Escape button (OK for a box with one button) when none is
    // queued.
    struct Shown
    {
        QString title;
        QString text;
        QMessageBox::Icon icon;
        // The buttons of choose() and the check box of informationWithCheckBox(), as worded.
        QStringList buttons;
        QString checkBox;
        // The informative text below the text, of ask().
        QString informative;
    };
    static void setTesting(bool on);
    static void setNextAnswer(QMessageBox::StandardButton answer);
    // The next choose() returns index; when none is queued, it returns its escapeIndex.
    static void setNextChoice(int index);
    // The next check box is ticked (or not); when none is queued, it is left off.
    static void setNextCheckBox(bool ticked);
    static QList<Shown> shown();
    static void clearShown();
};
