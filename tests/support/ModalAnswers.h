// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <functional>

class QAction;

// The action of the window (menu entry or tool) with that text, or null.
QAction *actionNamed(const QWidget &window, const QString &text);

// Answers the modal dialogs that the code under test opens with exec(), in order: each new
// modal widget gets the next handler, which may inspect it and must close it (accept(),
// reject(), …). Handlers run from the event loop of the dialog itself.
class ModalAnswers : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<void(QWidget *)>;

    ModalAnswers();

    void add(const Handler &handler) { m_handlers.append(handler); }
    // The handler that makes the first start's choice by its radio button's object name
    // ("radPersonalInit", "radPersonalNoInit", "radGroup").
    static Handler chooseInitialMode(const char *radioName);
    // Handlers not used yet.
    int remaining() const { return int(m_handlers.size()); }
    // Modal widgets met so far, in order, by class name.
    QStringList seen() const { return m_seen; }

private:
    void poll();

    QTimer m_timer;
    QList<Handler> m_handlers;
    QStringList m_seen;
};
