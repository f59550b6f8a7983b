// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "SingleInstance.h"

#include "PrivateFiles.h"
#include "SystemError.h"

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

constexpr int HeaderBytes = 4;
// How long a second instance keeps trying to reach the first one, which may be between
// taking the lock and listening, or ending.
constexpr int ConnectPatienceMs = 3000;
constexpr int WriteTimeoutMs = 2000;
// A client that has not sent its whole message by then is dropped.
constexpr int ReceiveTimeoutMs = 5000;
// How long a starting window waits for a command of the command line to finish writing.
constexpr int DataLockPatienceMs = 30 * 1000;

constexpr char Taken = 'T';
constexpr char Declined = 'N';

// The socket's address. A path too long for an address is reached through the folder's
// descriptor, which *folderFd then holds and the caller closes.
bool addressOf(const QString &path, sockaddr_un *address, socklen_t *length, int *folderFd)
{
    *folderFd = -1;
    std::memset(address, 0, sizeof *address);
    address->sun_family = AF_UNIX;
    QByteArray name = QFile::encodeName(path);
    if (size_t(name.size()) >= sizeof address->sun_path) {
        const QFileInfo info(path);
        *folderFd = ::open(QFile::encodeName(info.absolutePath()).constData(),
                           O_PATH | O_DIRECTORY | O_CLOEXEC);
        if (*folderFd < 0)
            return false;
        name = "/proc/self/fd/" + QByteArray::number(*folderFd) + '/'
               + QFile::encodeName(info.fileName());
        if (size_t(name.size()) >= sizeof address->sun_path) {
            ::close(*folderFd);
            *folderFd = -1;
            errno = ENAMETOOLONG;
            return false;
        }
    }
    std::memcpy(address->sun_path, name.constData(), size_t(name.size()));
    *length = socklen_t(offsetof(sockaddr_un, sun_path) + size_t(name.size()) + 1);
    return true;
}

// The user id of the process at the other end of a connected local socket, -1 if unknown.
long long peerUid(int fd)
{
    struct ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return -1;
    return credentials.uid;
}

bool sendAll(int fd, const QByteArray &bytes, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(fd, bytes.constData() + sent, size_t(bytes.size() - sent),
                                 MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            sent += n;
            continue;
        }
        if (n < 0 && errno != EAGAIN && errno != EINTR)
            return false;
        pollfd waiting = {fd, POLLOUT, 0};
        const qint64 left = deadline.remainingTime();
        if (left == 0 || ::poll(&waiting, 1, int(left)) < 0)
            return false;
    }
    return true;
}

// Reads what is there within timeoutMs: >0 bytes read, 0 the other end closed, -1 error,
// -2 nothing came in time.
qsizetype receiveSome(int fd, char *buffer, qsizetype size, int timeoutMs)
{
    pollfd waiting = {fd, POLLIN, 0};
    int ready = 0;
    do {
        ready = ::poll(&waiting, 1, timeoutMs);
    } while (ready < 0 && errno == EINTR);
    if (ready == 0)
        return -2;
    if (ready < 0)
        return -1;
    ssize_t n = 0;
    do {
        n = ::recv(fd, buffer, size_t(size), MSG_DONTWAIT);
    } while (n < 0 && errno == EINTR);
    if (n < 0 && errno == EAGAIN)
        return -2;
    return n < 0 ? -1 : qsizetype(n);
}

} // namespace

const char SingleInstance::CommandMarker[] = "quorvel-command";

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
    const bool told
        = m_socket && m_socket->state() == QLocalSocket::ConnectedState
          && ::send(int(m_socket->socketDescriptor()), &Taken, 1, MSG_NOSIGNAL | MSG_DONTWAIT) == 1;
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
    QByteArray message(HeaderBytes, '\0');
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
    ::send(int(m_socket->socketDescriptor()), &Declined, 1, MSG_NOSIGNAL | MSG_DONTWAIT);
    m_socket->abort();
    m_socket = nullptr;
}

SingleInstance::SingleInstance(const QString &lockFolder, QObject *parent)
    : QObject(parent)
    , m_folder(QDir::cleanPath(QFileInfo(lockFolder).absoluteFilePath()))
    , m_lock(m_folder + QStringLiteral("/quorvel.lock"))
    , m_dataLock(m_folder + QStringLiteral("/quorvel-data.lock"))
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
    PrivateFiles::makeFolder(m_folder);

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

QString SingleInstance::lockFilePath() const
{
    return m_lock.path();
}

QString SingleInstance::dataLockPath() const
{
    return m_dataLock.path();
}

QString SingleInstance::serverName() const
{
    return m_folder + QStringLiteral("/quorvel.socket");
}

FileLock::Outcome SingleInstance::takeDataLock(int timeoutMs)
{
    return m_dataLock.tryLock(timeoutMs);
}

void SingleInstance::releaseDataLock()
{
    m_dataLock.unlock();
}

QByteArray SingleInstance::encodeMessage(const QStringList &arguments)
{
    QByteArray payload;
    for (const QString &argument : arguments) {
        payload += argument.toUtf8();
        payload += '\0';
    }
    QByteArray message(HeaderBytes, '\0');
    qToBigEndian<quint32>(quint32(payload.size()), message.data());
    return message + payload;
}

QStringList SingleInstance::decodePayload(const QByteArray &payload)
{
    QStringList arguments;
    qsizetype begin = 0;
    while (begin < payload.size()) {
        qsizetype end = payload.indexOf('\0', begin);
        if (end < 0)
            end = payload.size();
        arguments << QString::fromUtf8(payload.constData() + begin, end - begin);
        begin = end + 1;
    }
    return arguments;
}

namespace {

enum class Place { Free, OurSocket, NotOurs };

// What stands at the socket's place, and whether it may be trusted: only a socket of the
// person's own, in a folder of theirs that nobody else may write to.
Place placeOf(const QString &folder, const QString &path, QString *problem)
{
    struct stat info;
    const QByteArray folderName = QFile::encodeName(folder);
    if (::stat(folderName.constData(), &info) != 0)
        return Place::Free;
    if (info.st_uid != ::geteuid() || (info.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        *problem = SingleInstance::tr("the folder %1 is open to other users").arg(folder);
        return Place::NotOurs;
    }
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return Place::Free;
    if (!S_ISSOCK(info.st_mode)) {
        *problem
            = SingleInstance::tr("%1 is not Quorvel's socket but another kind of file").arg(path);
        return Place::NotOurs;
    }
    if (info.st_uid != ::geteuid()) {
        *problem = SingleInstance::tr("%1 belongs to another user").arg(path);
        return Place::NotOurs;
    }
    return Place::OurSocket;
}

// A connection to the first instance, checked to run as this user; -1 when there is none.
int connectTo(const QString &folder, const QString &path, QString *problem)
{
    if (placeOf(folder, path, problem) != Place::OurSocket)
        return -1;
    sockaddr_un address;
    socklen_t length = 0;
    int folderFd = -1;
    if (!addressOf(path, &address, &length, &folderFd))
        return -1;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int connected = -1;
    if (fd >= 0) {
        do {
            connected = ::connect(fd, reinterpret_cast<const sockaddr *>(&address), length);
        } while (connected != 0 && errno == EINTR);
    }
    if (folderFd >= 0)
        ::close(folderFd);
    if (connected != 0) {
        if (fd >= 0)
            ::close(fd);
        return -1;
    }
    if (peerUid(fd) != (long long)::geteuid()) {
        *problem = SingleInstance::tr("%1 is served by another user").arg(path);
        ::close(fd);
        return -1;
    }
    return fd;
}

} // namespace

bool SingleInstance::listen()
{
    const QString path = serverName();
    switch (placeOf(m_folder, path, &m_problem)) {
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

bool SingleInstance::sendToRunningInstance(const QStringList &arguments) const
{
    const QByteArray message = encodeMessage(arguments);
    if (message.size() - HeaderBytes > MaxMessageBytes) {
        qWarning("The arguments are too long to hand to the running Quorvel");
        return false;
    }

    QDeadlineTimer patience(ConnectPatienceMs);
    for (;;) {
        QString problem;
        const int fd = connectTo(m_folder, serverName(), &problem);
        if (fd >= 0) {
            // What was sent stays for the first instance to read after we close.
            const bool sent = sendAll(fd, message, WriteTimeoutMs);
            ::close(fd);
            return sent;
        }
        if (!problem.isEmpty()) {
            qWarning("Cannot reach the running Quorvel: %s", qPrintable(problem));
            return false;
        }
        if (patience.hasExpired())
            return false;
        QThread::msleep(100);
    }
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

SingleInstance::HandOver SingleInstance::handCommand(const QStringList &command,
                                                     int answerTimeoutMs, int *exitCode,
                                                     QByteArray *out, QByteArray *err,
                                                     QString *problem) const
{
    const QByteArray message = encodeMessage(QStringList(QLatin1String(CommandMarker)) + command);
    if (message.size() - HeaderBytes > MaxMessageBytes)
        return HandOver::NoInstance;
    QString why;
    const int fd = connectTo(m_folder, serverName(), &why);
    if (problem)
        *problem = why;
    if (fd < 0)
        return HandOver::NoInstance;
    struct Closer
    {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};
    // The window needs the whole message before it can take the command.
    if (!sendAll(fd, message, WriteTimeoutMs))
        return HandOver::NotTaken;

    char first = 0;
    qsizetype n = receiveSome(fd, &first, 1, answerTimeoutMs);
    if (n == -2) {
        // No more waiting: from here on the window cannot tell us it took the command, so it
        // does not take it; only a byte that came before this moment counts.
        ::shutdown(fd, SHUT_RD);
        n = receiveSome(fd, &first, 1, 0);
        return n == 1 && first == Taken ? HandOver::Lost : HandOver::NotTaken;
    }
    if (n != 1 || first != Taken)
        return HandOver::NotTaken;

    // Taken: the answer follows as soon as the command is carried out; it only fails to come
    // when the window ends in between.
    QByteArray answer;
    qint64 expected = -1;
    QByteArray chunk(64 * 1024, Qt::Uninitialized);
    for (;;) {
        n = receiveSome(fd, chunk.data(), chunk.size(), answerTimeoutMs);
        if (n <= 0)
            return HandOver::Lost;
        answer.append(chunk.constData(), n);
        if (expected < 0 && answer.size() >= HeaderBytes) {
            expected = HeaderBytes + qint64(qFromBigEndian<quint32>(answer.constData()));
            if (expected > MaxAnswerBytes)
                return HandOver::Lost;
        }
        if (expected >= 0 && answer.size() >= expected)
            break;
    }

    const QByteArray payload = answer.mid(HeaderBytes, expected - HeaderBytes);
    const qsizetype firstEnd = payload.indexOf('\0');
    const qsizetype secondEnd = firstEnd < 0 ? -1 : payload.indexOf('\0', firstEnd + 1);
    if (secondEnd < 0)
        return HandOver::Lost;
    bool codeOk = false;
    bool sizeOk = false;
    *exitCode = payload.left(firstEnd).toInt(&codeOk);
    const qsizetype outSize
        = payload.mid(firstEnd + 1, secondEnd - firstEnd - 1).toLongLong(&sizeOk);
    if (!codeOk || !sizeOk || outSize < 0 || outSize > payload.size() - secondEnd - 1)
        return HandOver::Lost;
    *out = payload.mid(secondEnd + 1, outSize);
    *err = payload.mid(secondEnd + 1 + outSize);
    return HandOver::Answered;
}
