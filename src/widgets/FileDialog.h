// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QList>
#include <QString>

class QWidget;

// Every file name the program asks for goes through here, so that tests can see what was asked
// and answer it without a dialog.
class FileDialog
{
public:
    // Asks for the name of a file to write, proposing path (a folder and a name); filter as
    // QFileDialog takes it. Empty when the person cancelled.
    static QString getSaveFileName(QWidget *parent, const QString &caption, const QString &path,
                                   const QString &filter);

    // --- Test seam ----------------------------------------------------------------------
    // Once testing is on, no dialog is shown: each call is recorded and answered with the next
    // queued answer, or cancelled when none is queued.
    struct Asked
    {
        QString caption;
        QString path;
        QString filter;
    };
    static void setTesting(bool on);
    static void setNextAnswer(const QString &fileName);
    static QList<Asked> asked();
    static void clearAsked();
};
