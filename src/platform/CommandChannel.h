// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QString>
#include <QStringList>

#include <sys/socket.h>
#include <sys/un.h>

// The sending end of the window's command channel, and what both ends share: the places of
// the locks and of the socket in the data folder, the framing, and the checks that the other
// end is the person's own. The command line needs nothing more, so it needs no network
// library; the listening end is the window's SingleInstance.
//
// A message is a 4-byte big-endian length and then each argument in UTF-8 followed by a NUL
// byte, at most MaxMessageBytes; an answer is framed the same way and holds the exit status,
// the standard output and the standard error. The first byte back says what became of a
// command: TakenByte when it is taken (sent before it is carried out), DeclinedByte when it
// is declined and nothing was done, and no byte at all when the connection ended before either.
class CommandChannel
{
    // The texts keep the context they have always had in the catalogues.
    Q_DECLARE_TR_FUNCTIONS(SingleInstance)

public:
    static constexpr int MaxMessageBytes = 64 * 1024;
    // An answer may hold a whole export.
    static constexpr qint64 MaxAnswerBytes = qint64(1) << 30;
    // A command that waits longer than this for the window to take it is declined.
    static constexpr int WaitingPatienceMs = 20 * 1000;
    static const char CommandMarker[];

    enum class HandOver {
        NoInstance, // nobody listens: nothing was sent
        NotTaken,   // sent, but declined or never taken: nothing was done
        Answered,
        Lost // taken, but the window ended before it answered
    };

    // folder: the folder of the locks and the socket (the data folder).
    explicit CommandChannel(const QString &folder);

    // <folder>/quorvel.lock, the window's lock.
    QString lockFilePath() const;
    // <folder>/quorvel-data.lock, the lock of the data file's writer.
    QString dataLockPath() const;
    // The path of the socket the first instance listens on.
    QString serverName() const;

    // Hands a command to the first instance and waits up to answerTimeoutMs for it to be
    // taken and answered. *problem, when given, tells why nobody could be asked although
    // something stands at the socket's place (not a socket, not the person's own).
    HandOver handCommand(const QStringList &command, int answerTimeoutMs, int *exitCode,
                         QByteArray *out, QByteArray *err, QString *problem = nullptr) const;

    // The framing described above, for both ends and for tests.
    static QByteArray encodeMessage(const QStringList &arguments);
    static QStringList decodePayload(const QByteArray &payload);

    static constexpr int HeaderBytes = 4;
    static constexpr char TakenByte = 'T';
    static constexpr char DeclinedByte = 'N';

protected:
    enum class Place { Free, OurSocket, NotOurs };

    // Hands plain arguments (a second start's) to the first instance, trying for a while.
    bool sendToRunningInstance(const QStringList &arguments) const;
    // What stands at the socket's place, and whether it may be trusted: only a socket of the
    // person's own, in a folder of theirs that nobody else may write to.
    Place placeOfSocket(QString *problem) const;
    // The socket's address. A path too long for an address is reached through the folder's
    // descriptor, which *folderFd then holds and the caller closes.
    static bool addressOf(const QString &path, sockaddr_un *address, socklen_t *length,
                          int *folderFd);
    // The user id of the process at the other end of a connected local socket, -1 if unknown.
    static long long peerUid(int fd);

    const QString &folder() const { return m_folder; }

private:
    int connectToSocket(QString *problem) const;

    QString m_folder;
};
