// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "SingleInstance.h"

#include "platform/PrivateFiles.h"
#include "platform/SystemError.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>
#include <QtEndian>

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// A client that has not sent its whole message by then is dropped.
constexpr int ReceiveTimeoutMs = 5000;
// How long a starting window waits for a command of the command line to finish writing.
constexpr int DataLockPatienceMs = 30 * 1000;
// How long an ending instance is waited for when its lock is still held.
constexpr int ConnectPatienceMs = 3000;

} // namespace

HandedCommand::HandedCommand(const QStringList &arguments, QLocalSocket *socket)
    : QObject(socket)
    , m_arguments(arguments)
    , m_socket(socket)
{}

HandedCommand::HandedCommand(const QStringList &arguments, Answer answer, QObject *parent)
    : QObject(parent)
    , m_arguments(arguments)
    , m_answer(std::move(answer))
{}

bool HandedCommand::take()
{
    if (m_state != State::Waiting)
        return m_state == State::Taken;
    if (m_answer) {
        m_state = State::Taken;
        return true;
    }
    // Straight to the descriptor, before anything else is written to it: once the sender has
    // given up, the kernel refuses the byte, and the command is not carried out.
    const bool told = m_socket && m_socket->state() == QLocalSocket::ConnectedState
                      && ::send(int(m_socket->socketDescriptor()), &CommandChannel::TakenByte, 1,
                                MSG_NOSIGNAL | MSG_DONTWAIT)
                             == 1;
    m_state = told ? State::Taken : State::Done;
    if (!told && m_socket)
        m_socket->abort();
    return told;
}

void HandedCommand::reply(int exitCode, const QByteArray &out, const QByteArray &err)
{
    if (!take())
        return;
    m_state = State::Done;
    if (m_answer) {
        const Answer answer = std::exchange(m_answer, nullptr);
        answer(exitCode, out, err);
        deleteLater();
        return;
    }
    if (!m_socket)
        return;
    // The output goes with its length: it is the user's text and may hold any byte.
    QByteArray payload = QByteArray::number(exitCode);
    payload += '\0';
    payload += QByteArray::number(out.size());
    payload += '\0';
    payload += out;
    payload += err;
    QByteArray message(CommandChannel::HeaderBytes, '\0');
    qToBigEndian<quint32>(quint32(payload.size()), message.data());
    m_socket->write(message + payload);
    // Pushed out now: the answer may be the last thing this program does.
    m_socket->flush();
    m_socket->disconnectFromServer();
    m_socket = nullptr;
}

void HandedCommand::decline(const QString &why)
{
    if (m_state != State::Waiting)
        return;
    m_state = State::Done;
    if (m_answer) {
        const Answer answer = std::exchange(m_answer, nullptr);
        answer(1, QByteArray(), (QStringLiteral("quorvel: ") + why + QLatin1Char('\n')).toUtf8());
        deleteLater();
        return;
    }
    if (!m_socket)
        return;
    ::send(int(m_socket->socketDescriptor()), &CommandChannel::DeclinedByte, 1,
           MSG_NOSIGNAL | MSG_DONTWAIT);
    m_socket->abort();
    m_socket = nullptr;
}

SingleInstance::SingleInstance(const QString &lockFolder, QObject *parent)
    : QObject(parent)
    , CommandChannel(lockFolder)
    , m_lock(CommandChannel::lockFilePath())
    , m_dataLock(CommandChannel::dataLockPath())
{}

SingleInstance::~SingleInstance()
{
    // The socket goes before the locks: a successor that takes them must not see its fresh
    // socket removed by our late close.
    closeSocket();
    drainAnswers();
    m_dataLock.unlock();
    m_lock.unlock();
}

bool SingleInstance::start(const QStringList &arguments)
{
    if (m_lock.isLocked())
        return true;
    PrivateFiles::makeFolder(folder());

    switch (m_lock.tryLock(100)) {
    case FileLock::Outcome::Failed:
        qWarning("Cannot take the lock file %s (%s); running without the one-instance guard",
                 qPrintable(lockFilePath()), qPrintable(m_lock.errorString()));
        return true;
    case FileLock::Outcome::Busy:
        if (sendToRunningInstance(arguments))
            return false;
        // An instance that is ending lets go in a moment.
        if (m_lock.tryLock(ConnectPatienceMs) != FileLock::Outcome::Locked) {
            qWarning("Another Quorvel holds %s but does not answer", qPrintable(lockFilePath()));
            return false;
        }
        break;
    case FileLock::Outcome::Locked:
        break;
    }

    // A command of the command line holds the data lock while it writes the file: wait for it.
    if (takeDataLock(DataLockPatienceMs) != FileLock::Outcome::Locked)
        qWarning("Cannot take %s (%s); the data file is written only once it is free",
                 qPrintable(dataLockPath()), qPrintable(m_dataLock.errorString()));
    listen();
    return true;
}

FileLock::Outcome SingleInstance::takeDataLock(int timeoutMs)
{
    return m_dataLock.tryLock(timeoutMs);
}

void SingleInstance::releaseDataLock()
{
    m_dataLock.unlock();
}

bool SingleInstance::listen()
{
    const QString path = serverName();
    switch (placeOfSocket(&m_problem)) {
    case Place::NotOurs:
        qWarning("Cannot take commands: %s", qPrintable(m_problem));
        return false;
    case Place::OurSocket:
        // We hold the instance lock, so a socket by this name is a leftover of a crash.
        ::unlink(QFile::encodeName(path).constData());
        break;
    case Place::Free:
        break;
    }

    // Made under a name of its own and renamed into place once it listens, so that a socket
    // at the real name always takes connections.
    const QString building = path + QStringLiteral(".new");
    ::unlink(QFile::encodeName(building).constData());
    sockaddr_un address;
    socklen_t length = 0;
    int folderFd = -1;
    int fd = -1;
    int error = 0;
    if (!addressOf(building, &address, &length, &folderFd)) {
        error = errno;
    } else {
        fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (fd < 0 || ::bind(fd, reinterpret_cast<const sockaddr *>(&address), length) != 0
            || ::chmod(address.sun_path, PrivateFiles::FileMode) != 0 || ::listen(fd, 64) != 0
            || ::rename(QFile::encodeName(building).constData(),
                        QFile::encodeName(path).constData())
                   != 0)
            error = errno;
    }
    if (folderFd >= 0)
        ::close(folderFd);
    if (error != 0) {
        if (fd >= 0)
            ::close(fd);
        ::unlink(QFile::encodeName(building).constData());
        m_problem = tr("cannot listen at %1: %2").arg(path, SystemError::describe(error));
        qWarning("Cannot take commands: %s", qPrintable(m_problem));
        return false;
    }
    m_listenFd = fd;
    m_notifier = new QSocketNotifier(qintptr(fd), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SingleInstance::onNewConnection);
    m_problem.clear();
    return true;
}

void SingleInstance::closeSocket()
{
    if (m_listenFd < 0)
        return;
    delete m_notifier;
    m_notifier = nullptr;
    // Only our own socket goes: what stands there now is ours as long as we hold the lock.
    struct stat info;
    const QByteArray path = QFile::encodeName(serverName());
    if (m_lock.isLocked() && ::lstat(path.constData(), &info) == 0 && S_ISSOCK(info.st_mode))
        ::unlink(path.constData());
    ::close(m_listenFd);
    m_listenFd = -1;
}

void SingleInstance::onNewConnection()
{
    for (;;) {
        const int fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0)
            return;
        if (peerUid(fd) != (long long)::geteuid()) {
            static bool told = false;
            if (!told)
                qWarning("Refused a connection to %s from another user", qPrintable(serverName()));
            told = true;
            ::close(fd);
            continue;
        }
        auto *socket = new QLocalSocket(this);
        if (!socket->setSocketDescriptor(qintptr(fd))) {
            ::close(fd);
            delete socket;
            continue;
        }
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QLocalSocket::readyRead, this,
                [this, socket, buffer] { readFrom(socket, *buffer); });
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        auto *patience = new QTimer(socket);
        patience->setObjectName(QStringLiteral("receive timeout"));
        patience->setSingleShot(true);
        connect(patience, &QTimer::timeout, socket, &QLocalSocket::abort);
        patience->start(ReceiveTimeoutMs);
        if (socket->bytesAvailable() > 0)
            readFrom(socket, *buffer);
    }
}

void SingleInstance::readFrom(QLocalSocket *socket, QByteArray &buffer)
{
    if (socket->state() != QLocalSocket::ConnectedState && socket->bytesAvailable() == 0)
        return;
    buffer += socket->read(HeaderBytes + MaxMessageBytes - buffer.size() + 1);
    if (buffer.size() < HeaderBytes)
        return;
    const quint32 length = qFromBigEndian<quint32>(buffer.constData());
    if (length > quint32(MaxMessageBytes) || buffer.size() > HeaderBytes + qsizetype(length)) {
        // Too long, or more than announced: not one of ours.
        buffer.clear();
        socket->abort();
        return;
    }
    if (buffer.size() < HeaderBytes + qsizetype(length))
        return;

    const QStringList arguments = decodePayload(buffer.mid(HeaderBytes));
    buffer.clear();
    if (QTimer *patience = socket->findChild<QTimer *>(QStringLiteral("receive timeout")))
        patience->stop();
    if (!arguments.isEmpty() && arguments.first() == QLatin1String(CommandMarker)) {
        // The client waits for the answer: the connection stays open until reply().
        auto *command = new HandedCommand(arguments.mid(1), socket);
        m_handedCommands.removeAll(nullptr);
        m_handedCommands << command;
        if (m_stopped) {
            command->decline(tr("Quorvel is ending; the command was not carried out."));
        } else if (m_acceptCommands) {
            Q_EMIT commandReceived(command);
        } else {
            m_waitingCommands << command;
            QTimer::singleShot(WaitingPatienceMs, command, [this] { declineOverdue(); });
        }
        return;
    }
    // Done with the client before the receiver runs, which may open a window.
    socket->disconnectFromServer();
    Q_EMIT messageReceived(arguments);
}

void SingleInstance::declineOverdue()
{
    // Only commands that never reached the window: it answers its own within its patience.
    for (const QPointer<HandedCommand> &command : std::as_const(m_waitingCommands)) {
        if (command)
            command->decline(tr("Quorvel is not ready for commands yet; the command was not "
                                "carried out."));
    }
    m_waitingCommands.clear();
}

void SingleInstance::acceptCommands()
{
    m_acceptCommands = true;
    const QList<QPointer<HandedCommand>> waiting = std::exchange(m_waitingCommands, {});
    for (const QPointer<HandedCommand> &command : waiting) {
        if (command && command->isWaiting())
            Q_EMIT commandReceived(command);
    }
}

void SingleInstance::stopAccepting()
{
    m_stopped = true;
    m_acceptCommands = false;
    closeSocket();
    const QString why = tr("Quorvel is ending; the command was not carried out.");
    const QList<QPointer<HandedCommand>> handed = std::exchange(m_handedCommands, {});
    for (const QPointer<HandedCommand> &command : handed) {
        if (command)
            command->decline(why);
    }
    m_waitingCommands.clear();
    // Connections whose message was not read yet: closed, so their senders know at once that
    // nothing was done.
    const QList<QLocalSocket *> sockets = findChildren<QLocalSocket *>();
    for (QLocalSocket *socket : sockets) {
        if (!socket->findChild<HandedCommand *>())
            socket->abort();
    }
    drainAnswers();
}

void SingleInstance::drainAnswers()
{
    // Answers still on their way, when no event loop will send them any more; bounded, since
    // a sender that stopped reading must not hold up the end.
    QDeadlineTimer deadline(5000);
    const QList<QLocalSocket *> sockets = findChildren<QLocalSocket *>();
    for (QLocalSocket *socket : sockets) {
        while (socket->state() != QLocalSocket::UnconnectedState && socket->bytesToWrite() > 0
               && !deadline.hasExpired()) {
            if (!socket->waitForBytesWritten(int(qMax<qint64>(deadline.remainingTime(), 1))))
                break;
        }
    }
}
