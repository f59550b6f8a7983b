#include "SingleInstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QThread>
#include <QTimer>
#include <QtEndian>

#include <memory>
#include <unistd.h>
#include <utility>

namespace {

constexpr int HeaderBytes = 4;
// How long a second instance keeps trying to reach the first one, which may be between
// taking the lock and listening.
constexpr int ConnectPatienceMs = 3000;
constexpr int WriteTimeoutMs = 2000;
// A client that has not sent its whole message by then is dropped.
constexpr int ReceiveTimeoutMs = 5000;

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

void HandedCommand::reply(int exitCode, const QByteArray &out, const QByteArray &err)
{
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
    m_socket->disconnectFromServer();
    m_socket = nullptr;
}

SingleInstance::SingleInstance(const QString &lockFolder, QObject *parent)
    : QObject(parent)
{
    const QString folder = QDir::cleanPath(QFileInfo(lockFolder).absoluteFilePath());
    m_lockPath = folder + QStringLiteral("/quorvel.lock");
    m_lock = std::make_unique<QLockFile>(m_lockPath);

    // One name per user and lock folder, so that tests and demos with their own data folders
    // never talk to the user's real instance.
    const QByteArray key
        = QByteArray::number(qulonglong(::getuid())) + '\n' + QFile::encodeName(folder);
    const QString hash = QString::fromLatin1(
        QCryptographicHash::hash(key, QCryptographicHash::Sha256).toHex().left(24));
    // The runtime folder is private to the user; without one the name goes to the shared
    // temporary folder, where the user-only socket permissions guard it.
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QFileInfo(runtime).isDir())
        m_serverName = runtime + QStringLiteral("/quorvel-") + hash + QStringLiteral(".socket");
    else
        m_serverName = QStringLiteral("quorvel-%1-%2").arg(::getuid()).arg(hash);
}

SingleInstance::~SingleInstance()
{
    // Close the socket before the lock goes: a successor that takes the lock must not see
    // its fresh socket removed by our late close().
    if (m_server)
        m_server->close();
    m_lock.reset();
}

bool SingleInstance::start(const QStringList &arguments)
{
    if (m_lock->isLocked())
        return true;
    QDir().mkpath(QFileInfo(m_lockPath).absolutePath());

    if (m_lock->tryLock(100)) {
        listen();
        return true;
    }
    if (m_lock->error() != QLockFile::LockFailedError) {
        qWarning("Cannot create the lock file %s; running without the one-instance guard",
                 qPrintable(m_lockPath));
        return true;
    }
    if (sendToRunningInstance(arguments))
        return false;

    // Nobody answers. QLockFile only removes the lock when no live process holds it, so this
    // cannot take the lock away from a running instance that is merely busy.
    if (m_lock->removeStaleLockFile() && m_lock->tryLock(100)) {
        listen();
        return true;
    }
    // A command of the command line holds the lock for a moment while it writes the data
    // file, and never listens: wait for it.
    if (m_lock->tryLock(5000)) {
        listen();
        return true;
    }
    qWarning("Another Quorvel holds %s but does not answer", qPrintable(m_lockPath));
    return false;
}

QString SingleInstance::lockFilePath() const
{
    return m_lockPath;
}

QString SingleInstance::serverName() const
{
    return m_serverName;
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

bool SingleInstance::listen()
{
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::onNewConnection);
    // We hold the lock, so a socket by this name is a leftover of a crashed instance.
    QLocalServer::removeServer(m_serverName);
    if (!m_server->listen(m_serverName)) {
        qWarning("Cannot listen on %s: %s", qPrintable(m_serverName),
                 qPrintable(m_server->errorString()));
        return false;
    }
    return true;
}

bool SingleInstance::sendToRunningInstance(const QStringList &arguments) const
{
    const QByteArray message = encodeMessage(arguments);
    if (message.size() - HeaderBytes > MaxMessageBytes) {
        qWarning("The arguments are too long to hand to the running Quorvel");
        return false;
    }

    QElapsedTimer patience;
    patience.start();
    for (;;) {
        QLocalSocket socket;
        socket.connectToServer(m_serverName);
        if (socket.waitForConnected(500)) {
            socket.write(message);
            while (socket.bytesToWrite() > 0 && socket.waitForBytesWritten(WriteTimeoutMs)) {
            }
            const bool sent = socket.bytesToWrite() == 0;
            socket.disconnectFromServer();
            if (socket.state() != QLocalSocket::UnconnectedState)
                socket.waitForDisconnected(WriteTimeoutMs);
            return sent;
        }
        if (patience.elapsed() >= ConnectPatienceMs)
            return false;
        QThread::msleep(100);
    }
}

void SingleInstance::onNewConnection()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
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
        if (m_acceptCommands)
            Q_EMIT commandReceived(command);
        else
            m_waitingCommands << command;
        return;
    }
    // Done with the client before the receiver runs, which may open a window.
    socket->disconnectFromServer();
    Q_EMIT messageReceived(arguments);
}

void SingleInstance::acceptCommands()
{
    m_acceptCommands = true;
    const QList<QPointer<HandedCommand>> waiting = std::exchange(m_waitingCommands, {});
    for (const QPointer<HandedCommand> &command : waiting) {
        if (command)
            Q_EMIT commandReceived(command);
    }
}

SingleInstance::HandOver SingleInstance::handCommand(const QStringList &command,
                                                     int answerTimeoutMs, int *exitCode,
                                                     QByteArray *out, QByteArray *err) const
{
    const QByteArray message = encodeMessage(QStringList(QLatin1String(CommandMarker)) + command);
    if (message.size() - HeaderBytes > MaxMessageBytes)
        return HandOver::NoInstance;
    QLocalSocket socket;
    socket.connectToServer(m_serverName);
    if (!socket.waitForConnected(1000))
        return HandOver::NoInstance;
    socket.write(message);

    QElapsedTimer clock;
    clock.start();
    QByteArray answer;
    qint64 expected = -1;
    for (;;) {
        answer += socket.readAll();
        if (expected < 0 && answer.size() >= HeaderBytes) {
            expected = HeaderBytes + qint64(qFromBigEndian<quint32>(answer.constData()));
            if (expected > MaxAnswerBytes)
                return HandOver::Lost;
        }
        if (expected >= 0 && answer.size() >= expected)
            break;
        const qint64 left = answerTimeoutMs - clock.elapsed();
        if (left <= 0 || socket.state() != QLocalSocket::ConnectedState)
            return HandOver::Lost;
        if (socket.bytesToWrite() > 0)
            socket.waitForBytesWritten(int(qMin<qint64>(left, 1000)));
        else
            socket.waitForReadyRead(int(qMin<qint64>(left, 1000)));
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
