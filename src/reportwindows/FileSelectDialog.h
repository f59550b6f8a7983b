// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "dialogs/ModalWidget.h"
#include "platform/DocLnk.h"

class FileSelector;
class QDialogButtonBox;

// Lists the saved reports, newest first, and lets the user pick one. After the dialog has
// closed, selectedFile() is the chosen report's path, or empty when none was chosen.
class FileSelectDialog : public ModalWidget
{
    Q_OBJECT

public:
    explicit FileSelectDialog(QWidget *parent = nullptr);

    QString selectedFile() const { return m_selected; }
    FileSelector *selector() const { return m_selector; }

public Q_SLOTS:
    void fileSelected(const DocLnk &link);

private:
    FileSelector *m_selector = nullptr;
    QDialogButtonBox *m_buttons = nullptr;
    QString m_selected;
};
