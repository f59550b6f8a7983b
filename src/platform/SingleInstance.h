#pragma once

#include <QLockFile>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class QLocalServer;
class QLocalSocket;

// One Quorvel per user: a lock file in the data folder. The first instance listens on a
// local socket; a second start hands its arguments (a saved report to open) to the first,
// which raises its window, and then exits.
//
// The lock is QLockFile's: a lock left by a crashed instance is taken over, one held by a
// running instance is not, however old it is. The arguments travel as a 4-byte big-endian
// length and then each argument in UTF-8 followed by a NUL byte, at most MaxMessageBytes.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    static constexpr int MaxMessageBytes = 64 * 1024;

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

    // The framing described above, for both ends and for tests.
    static QByteArray encodeMessage(const QStringList &arguments);
    static QStringList decodePayload(const QByteArray &payload);

Q_SIGNALS:
    // In the first instance: a later start sent these arguments.
    void messageReceived(const QStringList &arguments);

private:
    bool listen();
    bool sendToRunningInstance(const QStringList &arguments) const;
    void onNewConnection();
    void readFrom(QLocalSocket *socket, QByteArray &buffer);

    QString m_lockPath;
    QString m_serverName;
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer *m_server = nullptr;
};
