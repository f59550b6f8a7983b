// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <functional>

// Runs a list of quorvel commands one after another as processes, while the caller's event
// loop runs, and keeps each one's exit status and output. Several runners at once hammer one
// data file from several processes.
class CommandRunner : public QObject
{
    Q_OBJECT

public:
    struct Answer
    {
        QStringList arguments;
        int exitCode = -1;
        QByteArray out;
        QByteArray err;
    };

    CommandRunner(const QString &program, const QProcessEnvironment &environment,
                  QObject *parent = nullptr);

    // Starts the commands; finished() comes when the last has ended.
    void run(const QList<QStringList> &commands);
    bool isFinished() const { return m_next >= m_commands.size() && !m_process; }
    const QList<Answer> &answers() const { return m_answers; }
    // Called before each command is started, with its place in the list.
    void setBeforeEach(std::function<void(int)> beforeEach)
    {
        m_beforeEach = std::move(beforeEach);
    }

Q_SIGNALS:
    void finished();

private:
    void startNext();
    void onFinished(int exitCode, QProcess::ExitStatus status);

    QString m_program;
    QProcessEnvironment m_environment;
    QList<QStringList> m_commands;
    QList<Answer> m_answers;
    qsizetype m_next = 0;
    QProcess *m_process = nullptr;
    std::function<void(int)> m_beforeEach;
};

// The window's program as a process of its own on the offscreen platform, on the test's data.
class WindowProcess
{
public:
    WindowProcess(const QString &program, const QProcessEnvironment &environment);
    ~WindowProcess();

    // Starts the window (with arguments) and waits until it listens at socketPath; false when
    // it does not.
    bool start(const QString &socketPath, const QStringList &arguments = {});
    // Waits until the window has written a line that contains text to its error output.
    bool waitForOutput(const QByteArray &text, int timeoutMs = 30000);
    qint64 processId() const { return m_process.processId(); }
    // Runs in the child before the program starts (to take another user's ids, say).
    void setChildModifier(const std::function<void()> &modifier)
    {
        m_process.setChildProcessModifier(modifier);
    }
    // Ends it as the session would (SIGTERM) and waits; its exit status, -1 when it crashed.
    int terminate();
    QByteArray errorOutput();

private:
    QProcess m_process;
    QByteArray m_error;
};

// Waits, with the event loop running, until ready() or timeoutMs; returns ready().
bool waitUntil(const std::function<bool()> &ready, int timeoutMs);

// The environment of a command or window process of the tests: the clock starting at now
// (as 2026-11-21T09:30:00), the en_US texts the tests are written for, UTC.
QProcessEnvironment processEnvironment(const QString &now);
// Settings that keep a window process from asking or reminding anything of its own accord
// (its clock may stand days after the tasks it is given).
void quietWindowSettings();
// Personal mode with those settings, and a data file of these activities in the category
// "Work" without tasks; false when the file cannot be written.
bool writeWorkActivities(const QStringList &names);
