// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "QuickStart.h"

#include "model/QuorvelDocument.h"

#include <QKeyEvent>
#include <QPushButton>

QuickStart::QuickStart(const QuorvelDocument &doc, QWidget *parent)
    : QuickStartBase(parent)
{
    setObjectName(QStringLiteral("QuickStart"));
    for (Activity *activity : doc.activities) {
        if (!activity->obsolete)
            m_activities << activity;
    }
    buttonBox->button(QDialogButtonBox::Ok)->setText(tr("Start"));

    connect(txtFind, &QLineEdit::textChanged, this, &QuickStart::filter);
    connect(lstActivities, &QListWidget::itemActivated, this, &QDialog::accept);
    connect(lstActivities, &QListWidget::currentRowChanged, this,
            [this](int row) { buttonBox->button(QDialogButtonBox::Ok)->setEnabled(row >= 0); });
    txtFind->installEventFilter(this);
    filter();
    txtFind->setFocus();
}

int QuickStart::match(const QString &name, const QString &typed)
{
    const QString wanted = typed.trimmed();
    if (name.startsWith(wanted, Qt::CaseInsensitive))
        return 2;
    for (int i = 1; i < name.size(); ++i) {
        // A word begins where a letter or digit follows something else.
        if (name.at(i).isLetterOrNumber() && !name.at(i - 1).isLetterOrNumber()
            && QStringView(name).mid(i).startsWith(wanted, Qt::CaseInsensitive))
            return 1;
    }
    return 0;
}

void QuickStart::filter()
{
    lstActivities->clear();
    const QString typed = txtFind->text();
    for (const int wanted : {2, 1}) {
        for (int i = 0; i < m_activities.size(); ++i) {
            if (match(m_activities.at(i)->name, typed) != wanted)
                continue;
            auto *item = new QListWidgetItem(m_activities.at(i)->name, lstActivities);
            item->setData(Qt::UserRole, i);
        }
    }
    lstActivities->setCurrentRow(lstActivities->count() > 0 ? 0 : -1);
    buttonBox->button(QDialogButtonBox::Ok)->setEnabled(lstActivities->count() > 0);
}

Activity *QuickStart::chosenActivity() const
{
    const QListWidgetItem *item = lstActivities->currentItem();
    return item ? m_activities.value(item->data(Qt::UserRole).toInt()) : nullptr;
}

QStringList QuickStart::shownNames() const
{
    QStringList names;
    for (int row = 0; row < lstActivities->count(); ++row)
        names << lstActivities->item(row)->text();
    return names;
}

bool QuickStart::eventFilter(QObject *watched, QEvent *event)
{
    // The list follows Up and Down while the typing stays in the field.
    if (watched == txtFind && event->type() == QEvent::KeyPress) {
        const auto *key = static_cast<QKeyEvent *>(event);
        const int count = lstActivities->count();
        if (count > 0 && (key->key() == Qt::Key_Down || key->key() == Qt::Key_Up)) {
            const int step = key->key() == Qt::Key_Down ? 1 : -1;
            lstActivities->setCurrentRow(qBound(0, lstActivities->currentRow() + step, count - 1));
            return true;
        }
    }
    return QuickStartBase::eventFilter(watched, event);
}
