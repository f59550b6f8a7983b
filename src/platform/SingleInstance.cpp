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

namespace {

constexpr int HeaderBytes = 4;
// How long a second instance keeps trying to reach the first one, which may be between
// taking the lock and listening.
constexpr int ConnectPatienceMs = 3000;
constexpr int WriteTimeoutMs = 2000;
// A client that has not sent its whole message by then is dropped.
constexpr int ReceiveTimeoutMs = 5000;

} // namespace

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
        QTimer::singleShot(ReceiveTimeoutMs, socket, [socket] { socket->abort(); });
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
    // Done with the client before the receiver runs, which may open a window.
    socket->disconnectFromServer();
    Q_EMIT messageReceived(arguments);
}
