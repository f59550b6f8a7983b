#pragma once

#include <QByteArray>
#include <QLockFile>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class QLocalServer;
class QLocalSocket;

// A command handed to the first instance by the command line, with the way back to it. It
// lives as long as the connection: a receiver that waits keeps it in a QPointer.
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
    // Sends the answer (once) and ends the connection.
    void reply(int exitCode, const QByteArray &out, const QByteArray &err);

private:
    QStringList m_arguments;
    QPointer<QLocalSocket> m_socket;
    Answer m_answer;
};

// One Quorvel per user: a lock file in the data folder. The first instance listens on a
// local socket; a second start hands its arguments (a saved report to open) to the first,
// which raises its window, and then exits.
//
// The same channel carries commands of the command line: a message whose first argument is
// CommandMarker is a command; the first instance answers it with a message of the same
// framing holding the exit status, the standard output and the standard error, and only then
// closes the connection.
//
// The lock is QLockFile's: a lock left by a crashed instance is taken over, one held by a
// running instance is not, however old it is. The arguments travel as a 4-byte big-endian
// length and then each argument in UTF-8 followed by a NUL byte, at most MaxMessageBytes.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    static constexpr int MaxMessageBytes = 64 * 1024;
    // An answer may hold a whole export.
    static constexpr qint64 MaxAnswerBytes = qint64(1) << 30;
    static const char CommandMarker[];

    enum class HandOver {
        NoInstance, // nobody listens: nothing was sent
        Answered,
        Lost // sent, but the connection ended or timed out without an answer
    };

    // lockFolder: where the lock file and the socket name are derived from (the data folder).
    explicit SingleInstance(const QString &lockFolder, QObject *parent = nullptr);
    ~SingleInstance() override;

    // True when this is the only instance (the lock is ours and we listen). False when
    // another instance runs; then the arguments have been sent to it. Also true, with a
    // warning, when the lock cannot be taken at all (a folder we may not write): running
    // unguarded beats not running.
    bool start(const QStringList &arguments);

    // Path of the lock file: <lockFolder>/quorvel.lock.
    QString lockFilePath() const;
    // Name of the local socket the first instance listens on; the same for every instance
    // of one user with one lock folder.
    QString serverName() const;

    // Hands a command to the first instance and waits up to answerTimeoutMs for its answer.
    HandOver handCommand(const QStringList &command, int answerTimeoutMs, int *exitCode,
                         QByteArray *out, QByteArray *err) const;

    // Commands received before this call wait; from now on commandReceived announces them.
    void acceptCommands();

    // The framing described above, for both ends and for tests.
    static QByteArray encodeMessage(const QStringList &arguments);
    static QStringList decodePayload(const QByteArray &payload);

Q_SIGNALS:
    // In the first instance: a later start sent these arguments.
    void messageReceived(const QStringList &arguments);
    // In the first instance: the command line handed over a command; answer it with reply().
    void commandReceived(HandedCommand *command);

private:
    bool listen();
    bool sendToRunningInstance(const QStringList &arguments) const;
    void onNewConnection();
    void readFrom(QLocalSocket *socket, QByteArray &buffer);

    QString m_lockPath;
    QString m_serverName;
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer *m_server = nullptr;
    bool m_acceptCommands = false;
    QList<QPointer<HandedCommand>> m_waitingCommands;
};
