// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDialog>

class QTextBrowser;

// Help → Quorvel Help: the user's guide that is built into the program, read-only, its links to
// the web opened in the person's browser.
class HelpWindow : public QDialog
{
    Q_OBJECT

public:
    explicit HelpWindow(QWidget *parent = nullptr);

    // The guide's Markdown as built into the program; empty only if the build lost it.
    static QString guide();
    QTextBrowser *browser() const { return m_browser; }

private:
    QTextBrowser *m_browser;
};
