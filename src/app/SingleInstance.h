// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "platform/CommandChannel.h"
#include "platform/FileLock.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class QLocalSocket;
class QSocketNotifier;

// A command handed to the first instance by the command line, with the way back to it. It
// lives as long as the connection: a receiver that waits keeps it in a QPointer.
//
// The command line learns what became of its command from the first byte it gets back: 'T'
// when the command is taken (sent before it is carried out), 'N' when it is declined and
// nothing was done, and no byte at all when the connection ended before either. After 'T'
// comes the answer.
class HandedCommand : public QObject
{
    Q_OBJECT

public:
    using Answer = std::function<void(int exitCode, const QByteArray &out, const QByteArray &err)>;

    HandedCommand(const QStringList &arguments, QLocalSocket *socket);
    // A command from elsewhere (the session bus): the answer goes to answer, and the command
    // deletes itself once answered.
    HandedCommand(const QStringList &arguments, Answer answer, QObject *parent);

    const QStringList &arguments() const { return m_arguments; }
    // Tells the sender that the command is being carried out now. False when the sender can
    // no longer learn it (it gave up or went away): then the command must not be carried out.
    bool take();
    // Sends the answer (once) and ends the connection; takes the command first if need be.
    void reply(int exitCode, const QByteArray &out, const QByteArray &err);
    // Tells the sender that nothing was done (once), so that it may carry the command out
    // itself; why is for a sender that cannot (the session bus).
    void decline(const QString &why);
    // Neither taken nor declined yet.
    bool isWaiting() const { return m_state == State::Waiting; }

private:
    enum class State { Waiting, Taken, Done };

    QStringList m_arguments;
    QPointer<QLocalSocket> m_socket;
    Answer m_answer;
    State m_state = State::Waiting;
};

// One Quorvel window per user, and one writer of the data file at a time.
//
// Two locks in the data folder, both FileLock's (freed by nothing but the holder's end):
// "quorvel.lock" is the window's own, held for its whole run; "quorvel-data.lock" is held by
// whoever may write the data file: the window while it listens for commands, or a command of
// the command line while it reads, changes and writes the file itself.
//
// The first instance listens on the local socket "quorvel.socket" beside the locks, in the
// person's own folder, so every process of theirs finds it (from the desktop, cron, ssh or
// su alike) and nobody else can put one there. Both ends check that the other runs as the
// same user and drop anyone else. A second start hands its arguments (a saved report to
// open) to the first, which raises its window, and then exits.
//
// The same channel carries commands of the command line: a message whose first argument is
// CommandMarker is a command, answered as HandedCommand describes; CommandChannel is the
// sending end and the framing.
class SingleInstance : public QObject, public CommandChannel
{
    Q_OBJECT

public:
    // lockFolder: the folder of the locks and the socket (the data folder).
    explicit SingleInstance(const QString &lockFolder, QObject *parent = nullptr);
    ~SingleInstance() override;

    // True when this is the only instance: the instance lock is ours, and so is the data lock
    // (waited for while a command of the command line holds it) and, where possible, the
    // socket. False when another instance runs; then the arguments have been sent to it.
    // Also true, with a warning, when the lock cannot be taken at all (a folder we may not
    // write): running unguarded beats not running.
    bool start(const QStringList &arguments);

    // Whether start() made us listen. When not, problem() tells why, for the person.
    bool isListening() const { return m_listenFd >= 0; }
    QString problem() const { return m_problem; }

    // The data lock: held for good while we listen; otherwise only while the data file is
    // written, so that the command line can carry its commands out on the file meanwhile.
    bool holdsDataLock() const { return m_dataLock.isLocked(); }
    FileLock::Outcome takeDataLock(int timeoutMs);
    void releaseDataLock();

    // Commands received before this call wait; from now on commandReceived announces them.
    void acceptCommands();
    // Closes the socket and declines every command not yet taken: for the end of the run,
    // before the last write of the data file.
    void stopAccepting();

Q_SIGNALS:
    // In the first instance: a later start sent these arguments.
    void messageReceived(const QStringList &arguments);
    // In the first instance: the command line handed over a command; answer it with reply().
    void commandReceived(HandedCommand *command);

private:
    bool listen();
    void closeSocket();
    void onNewConnection();
    void readFrom(QLocalSocket *socket, QByteArray &buffer);
    void declineOverdue();
    void drainAnswers();

    FileLock m_lock;
    FileLock m_dataLock;
    int m_listenFd = -1;
    QSocketNotifier *m_notifier = nullptr;
    QString m_problem;
    bool m_acceptCommands = false;
    bool m_stopped = false;
    QList<QPointer<HandedCommand>> m_waitingCommands;
    QList<QPointer<HandedCommand>> m_handedCommands;
};
