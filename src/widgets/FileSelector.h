// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "platform/DocLnk.h"

#include <QList>
#include <QWidget>

class QLabel;
class QTreeWidget;

// Lists the user's documents of one MIME type, newest first, with the time each was written.
// Activating one (double click, Enter) reports it with fileSelected().
class FileSelector : public QWidget
{
    Q_OBJECT

public:
    explicit FileSelector(const QString &mimeType, QWidget *parent = nullptr);

    // Lists the folder again.
    void reread();

    int fileCount() const { return int(m_links.size()); }
    QList<DocLnk> files() const { return m_links; }
    // The document that has the focus in the list; one without a file when there is none.
    DocLnk currentFile() const;
    QTreeWidget *list() const { return m_list; }

Q_SIGNALS:
    void fileSelected(const DocLnk &link);

private:
    QString m_type;
    QList<DocLnk> m_links;
    QTreeWidget *m_list = nullptr;
    QLabel *m_empty = nullptr;
};
