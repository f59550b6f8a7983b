// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "FileSelectDialog.h"

#include "widgets/FileSelector.h"

#include <QDialogButtonBox>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

FileSelectDialog::FileSelectDialog(QWidget *parent)
    : ModalWidget(parent)
{
    setWindowTitle(tr("Quorvel - View Saved Report"));
    m_selector = new FileSelector(FileManager::reportType(), this);
    m_selector->setObjectName(QStringLiteral("FileSelector"));
    connect(m_selector, &FileSelector::fileSelected, this, &FileSelectDialog::fileSelected);

    m_buttons = new QDialogButtonBox(QDialogButtonBox::Open | QDialogButtonBox::Cancel, this);
    m_buttons->setObjectName(QStringLiteral("buttonBox"));
    m_buttons->button(QDialogButtonBox::Open)->setEnabled(m_selector->fileCount() > 0);
    connect(m_buttons, &QDialogButtonBox::accepted, this, [this] {
        const DocLnk current = m_selector->currentFile();
        if (!current.file().isEmpty())
            fileSelected(current);
    });
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QWidget::close);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, 1, 1, 1);
    layout->addWidget(m_selector, 1);
    layout->addWidget(m_buttons);
    setFocusProxy(m_selector->list());
    resize(480, 360);
}

void FileSelectDialog::fileSelected(const DocLnk &link)
{
    m_selected = link.file();
    close();
}
