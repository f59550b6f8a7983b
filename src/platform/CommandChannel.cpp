// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "CommandChannel.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QtEndian>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// How long a second instance keeps trying to reach the first one, which may be between
// taking the lock and listening, or ending.
constexpr int ConnectPatienceMs = 3000;
constexpr int WriteTimeoutMs = 2000;

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

const char CommandChannel::CommandMarker[] = "quorvel-command";

CommandChannel::CommandChannel(const QString &folder)
    : m_folder(QDir::cleanPath(QFileInfo(folder).absoluteFilePath()))
{}

QString CommandChannel::lockFilePath() const
{
    return m_folder + QStringLiteral("/quorvel.lock");
}

QString CommandChannel::dataLockPath() const
{
    return m_folder + QStringLiteral("/quorvel-data.lock");
}

QString CommandChannel::serverName() const
{
    return m_folder + QStringLiteral("/quorvel.socket");
}

QByteArray CommandChannel::encodeMessage(const QStringList &arguments)
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

QStringList CommandChannel::decodePayload(const QByteArray &payload)
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

bool CommandChannel::addressOf(const QString &path, sockaddr_un *address, socklen_t *length,
                               int *folderFd)
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

long long CommandChannel::peerUid(int fd)
{
    struct ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return -1;
    return credentials.uid;
}

CommandChannel::Place CommandChannel::placeOfSocket(QString *problem) const
{
    const QString &folder = m_folder;
    const QString path = serverName();
    struct stat info;
    const QByteArray folderName = QFile::encodeName(folder);
    if (::stat(folderName.constData(), &info) != 0)
        return Place::Free;
    if (info.st_uid != ::geteuid() || (info.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        *problem = tr("the folder %1 is open to other users").arg(folder);
        return Place::NotOurs;
    }
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return Place::Free;
    if (!S_ISSOCK(info.st_mode)) {
        *problem = tr("%1 is not Quorvel's socket but another kind of file").arg(path);
        return Place::NotOurs;
    }
    if (info.st_uid != ::geteuid()) {
        *problem = tr("%1 belongs to another user").arg(path);
        return Place::NotOurs;
    }
    return Place::OurSocket;
}

// A connection to the first instance, checked to run as this user; -1 when there is none.
int CommandChannel::connectToSocket(QString *problem) const
{
    if (placeOfSocket(problem) != Place::OurSocket)
        return -1;
    const QString path = serverName();
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
        *problem = tr("%1 is served by another user").arg(path);
        ::close(fd);
        return -1;
    }
    return fd;
}

bool CommandChannel::sendToRunningInstance(const QStringList &arguments) const
{
    const QByteArray message = encodeMessage(arguments);
    if (message.size() - HeaderBytes > MaxMessageBytes) {
        qWarning("The arguments are too long to hand to the running Quorvel");
        return false;
    }

    QDeadlineTimer patience(ConnectPatienceMs);
    for (;;) {
        QString problem;
        const int fd = connectToSocket(&problem);
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

CommandChannel::HandOver CommandChannel::handCommand(const QStringList &command,
                                                     int answerTimeoutMs, int *exitCode,
                                                     QByteArray *out, QByteArray *err,
                                                     QString *problem) const
{
    const QByteArray message = encodeMessage(QStringList(QLatin1String(CommandMarker)) + command);
    if (message.size() - HeaderBytes > MaxMessageBytes)
        return HandOver::NoInstance;
    QString why;
    const int fd = connectToSocket(&why);
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
        return n == 1 && first == TakenByte ? HandOver::Lost : HandOver::NotTaken;
    }
    if (n != 1 || first != TakenByte)
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
