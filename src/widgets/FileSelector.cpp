// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "FileSelector.h"

#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QTreeWidget>
#include <QVBoxLayout>

FileSelector::FileSelector(const QString &mimeType, QWidget *parent)
    : QWidget(parent)
    , m_type(mimeType)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_list = new QTreeWidget(this);
    m_list->setObjectName(QStringLiteral("fileList"));
    m_list->setColumnCount(2);
    m_list->setHeaderLabels({tr("Name"), tr("Saved")});
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setAllColumnsShowFocus(true);
    m_list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_list->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    m_list->header()->setStretchLastSection(false);
    layout->addWidget(m_list);
    m_empty = new QLabel(tr("No reports have been saved yet."), this);
    m_empty->setObjectName(QStringLiteral("lblNoFiles"));
    m_empty->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_empty);

    connect(m_list, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem *item) {
        const int row = m_list->indexOfTopLevelItem(item);
        if (row >= 0 && row < m_links.size())
            Q_EMIT fileSelected(m_links.at(row));
    });
    reread();
}

void FileSelector::reread()
{
    m_links = FileManager::documents(m_type);
    m_list->clear();
    const QLocale locale;
    QList<QTreeWidgetItem *> items;
    items.reserve(m_links.size());
    for (const DocLnk &link : m_links) {
        auto *item = new QTreeWidgetItem(
            {link.name(), locale.toString(link.lastModified(), QLocale::ShortFormat)});
        item->setToolTip(0, link.file());
        items.append(item);
    }
    m_list->addTopLevelItems(items);
    if (!items.isEmpty())
        m_list->setCurrentItem(items.first());
    m_list->setVisible(!m_links.isEmpty());
    m_empty->setVisible(m_links.isEmpty());
}

DocLnk FileSelector::currentFile() const
{
    const int row = m_list->indexOfTopLevelItem(m_list->currentItem());
    return row >= 0 && row < m_links.size() ? m_links.at(row) : DocLnk();
}
