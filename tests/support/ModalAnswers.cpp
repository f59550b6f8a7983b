// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ModalAnswers.h"

#include "dialogs/ChooseInitialMode.h"

#include <QAction>
#include <QApplication>
#include <QRadioButton>
#include <QtTest>

ModalAnswers::ModalAnswers()
{
    m_timer.setInterval(5);
    connect(&m_timer, &QTimer::timeout, this, &ModalAnswers::poll);
    m_timer.start();
}

void ModalAnswers::poll()
{
    QWidget *modal = QApplication::activeModalWidget();
    // A dialog made again at the same address is a new one: mark what was answered.
    if (!modal || !modal->isVisible() || modal->property("quorvelTestAnswered").toBool())
        return;
    modal->setProperty("quorvelTestAnswered", true);
    m_seen.append(QString::fromLatin1(modal->metaObject()->className()));
    if (m_handlers.isEmpty()) {
        qWarning("ModalAnswers: no answer for %s", modal->metaObject()->className());
        modal->close();
        return;
    }
    const Handler handler = m_handlers.takeFirst();
    handler(modal);
}

QAction *actionNamed(const QWidget &window, const QString &text)
{
    const QList<QAction *> actions = window.findChildren<QAction *>();
    for (QAction *a : actions) {
        if (a->text() == text)
            return a;
    }
    return nullptr;
}

ModalAnswers::Handler ModalAnswers::chooseInitialMode(const char *radioName)
{
    return [radioName](QWidget *widget) {
        auto *dialog = qobject_cast<ChooseInitialMode *>(widget);
        QVERIFY(dialog);
        auto *radio = dialog->findChild<QRadioButton *>(QString::fromLatin1(radioName));
        QVERIFY(radio);
        radio->setChecked(true);
        dialog->accept();
    };
}
