// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "platform/idle/IdleSource.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

class QuorvelMainWindow;

// Asks, when the person comes back after being idle for the setting "Ask about idle time after
// N minutes" (settings group "Desktop", key "AskIdleAfterMinutes"; 15 unless set, 0 for never)
// while tasks ran, what to do with the time away: keep it, stop those tasks at the moment the
// person left, or stop them then and start the same activities again now. Stopping and
// starting follow the shortcut buttons' rules; a refusal changes nothing. The time away runs
// from the last input anywhere in the session or in any of Quorvel's windows to the return:
// input in a Quorvel window is presence, also where the idle source does not see it.
class IdleWatcher : public QObject
{
    Q_OBJECT

public:
    static constexpr int DefaultMinutes = 15;
    enum Answer { KeepTime, StopThen, StopThenStartAgain };

    // source may be null: this session tells no idle time, and why is in reason.
    IdleWatcher(QuorvelMainWindow *window, IdleSource *source, const QString &reason = QString());

    // The setting, in minutes; 0 is off.
    static int minutes();
    static void setMinutes(int minutes);

    // Whether this session tells idle time, and if not, why (for the settings dialog).
    bool available() const { return m_source != nullptr; }
    QString unavailableReason() const { return m_reason; }

public Q_SLOTS:
    // Reads the setting again and watches with it.
    void settingsChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void wentIdle(qint64 idleMs);
    void cameBack();
    void ask();
    void settle(Answer answer, const QDateTime &left, const QList<int> &taskIds);

    QuorvelMainWindow *m_window;
    QPointer<IdleSource> m_source;
    QString m_reason;
    bool m_asking = false;
    // True while the question waits for the window to be free.
    bool m_waiting = false;
    // Between wentIdle and the return.
    bool m_away = false;
    // The last input in any of Quorvel's windows, on the clock.
    QDateTime m_lastInput;
    // The moment the person left (a whole minute), and the tasks that were running then.
    QDateTime m_left;
    // The same, to the millisecond.
    QDateTime m_leftExactly;
    // The moment of the return.
    QDateTime m_back;
    QList<int> m_taskIds;
};
