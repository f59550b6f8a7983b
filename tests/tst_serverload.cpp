// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Fifty devices synchronising at the same moment, several of them the same member's: on
// SQLite with one server, and on PostgreSQL with two server processes on one database, each in
// plain HTTP and over TLS. After every round each task is on the server exactly once, and
// every device ends up with all of its member's tasks.

#include "ServerProcess.h"
#include "ServerStores.h"
#include "TestAuthority.h"
#include "TestEnvironment.h"

#include "model/QuorvelDocument.h"
#include "model/SyncProtocol.h"
#include "sync/TlsTrust.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QSslSocket>
#include <QtTest>

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <set>

namespace {

constexpr int Members = 10;
constexpr int DevicesPerMember = 5;

QString memberName(int member)
{
    return QStringLiteral("member%1").arg(member);
}

// A device whose exchanges run on the event loop, so that all of them are under way at once.
class Device : public QObject
{
public:
    Device(int member, const QString &address)
        : m_member(member)
        , m_address(address)
    {}

    QuorvelDocument doc;
    int member() const { return m_member; }
    void setAddress(const QString &address) { m_address = address; }
    bool done = false;
    bool ok = false;
    QString problem;

    void start()
    {
        done = false;
        ok = false;
        m_parser = SyncProtocol::ReplyParser();
        m_socket = std::make_unique<QSslSocket>();
        const SyncProtocol::HostAndPort server = SyncProtocol::splitHostAndPort(m_address);
        const auto send = [this] {
            m_socket->write(SyncProtocol::buildRequest(
                doc.getDocumentString(), QDateTime(QDate(2026, 11, 21), QTime(9, 30)), m_address,
                memberName(m_member), memberName(m_member) + QStringLiteral("-secret"), 1));
        };
        connect(m_socket.get(), &QTcpSocket::readyRead, this,
                [this] { m_parser.feed(m_socket->readAll()); });
        connect(m_socket.get(), &QTcpSocket::disconnected, this, [this] { finish(); });
        connect(m_socket.get(), &QTcpSocket::errorOccurred, this, [this] {
            if (m_socket->error() != QAbstractSocket::RemoteHostClosedError)
                finish();
        });
        if (server.secure) {
            connect(m_socket.get(), &QSslSocket::encrypted, this, send);
            m_socket->setSslConfiguration(TlsTrust::clientConfiguration());
            m_socket->connectToHostEncrypted(server.host, server.port);
        } else {
            connect(m_socket.get(), &QTcpSocket::connected, this, send);
            m_socket->connectToHost(server.host, server.port);
        }
    }

    QVTask *addTask(const QDateTime &start, int minutes)
    {
        Activity *activity = doc.activities.value(int(doc.tasks.size() % doc.activities.size()));
        auto *task = new QVTask(doc.allocateId(), start, start.addSecs(minutes * 60), 0, activity,
                                QDateTime(), false);
        doc.tasks.append(task);
        doc.tasks.sort();
        return task;
    }

private:
    void finish()
    {
        if (done)
            return;
        m_parser.feed(m_socket->readAll());
        done = true;
        if (m_parser.state() != SyncProtocol::ReplyParser::Finished) {
            problem = QStringLiteral("no whole reply: %1").arg(m_socket->errorString());
            return;
        }
        QByteArray document = m_parser.documentText();
        if (!doc.populateFromByteArray(document.data(), int(document.size()))) {
            problem = QStringLiteral("reply refused: ") + QString::fromUtf8(m_parser.messageText());
            return;
        }
        doc.tasks.sort();
        doc.activities.sort();
        doc.categories.sort();
        ok = true;
    }

    int m_member;
    QString m_address;
    std::unique_ptr<QSslSocket> m_socket;
    SyncProtocol::ReplyParser m_parser;
};

} // namespace

class TestServerLoad : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data();
    void initTestCase();
    void cleanup();
    void fiftyDevicesAtOnce_data();
    void fiftyDevicesAtOnce();

private:
    // Every device exchanges at the same moment; true when all of them completed. With two
    // servers, a device talks to the other one each round, so that what one process
    // remembers of a member is put to the test by what the other changed.
    bool round(std::vector<std::unique_ptr<Device>> &devices)
    {
        for (size_t d = 0; d < devices.size(); ++d) {
            devices[d]->setAddress(
                address(*m_servers.at((d + size_t(m_rounds)) % m_servers.size())));
            devices[d]->start();
        }
        ++m_rounds;
        const bool finished = QTest::qWaitFor(
            [&] {
                for (const auto &device : devices) {
                    if (!device->done)
                        return false;
                }
                return true;
            },
            120000);
        bool allOk = finished;
        for (const auto &device : devices) {
            if (!device->ok) {
                qWarning("device of %s: %s", qPrintable(memberName(device->member())),
                         qPrintable(device->problem));
                allOk = false;
            }
        }
        return allOk;
    }

    QString address(const ServerProcess &server) const
    {
        return (m_tls ? QStringLiteral("https://") : QString()) + server.address();
    }

    ServerStores m_stores;
    TestAuthority m_authority;
    TestAuthority::Issued m_certificate;
    std::vector<std::unique_ptr<ServerProcess>> m_servers;
    int m_rounds = 0;
    bool m_tls = false;
};

void TestServerLoad::initTestCase_data()
{
    ServerStores::addRows("postgresql, two servers");
}

void TestServerLoad::initTestCase()
{
    QString problem;
    QVERIFY2(m_stores.start(&problem), qPrintable(problem));
    QVERIFY2(m_authority.isValid(), qPrintable(m_authority.error()));
    m_certificate = m_authority.issue(QStringLiteral("server"), {QStringLiteral("127.0.0.1")});
    QVERIFY2(!m_certificate.certificateFile.isEmpty(), qPrintable(m_authority.error()));
    TlsTrust::setAuthorities(m_authority.certificates());
}

void TestServerLoad::fiftyDevicesAtOnce_data()
{
    QTest::addColumn<bool>("tls");
    QTest::newRow("plain") << false;
    QTest::newRow("tls") << true;
}

void TestServerLoad::cleanup()
{
    for (const auto &server : m_servers)
        QVERIFY2(server->stop(), qPrintable(server->log()));
    m_servers.clear();
}

void TestServerLoad::fiftyDevicesAtOnce()
{
    QFETCH_GLOBAL(QString, backend);
    QFETCH(bool, tls);
    m_tls = tls;
    QString skip;
    const QStringList storage = m_stores.create(backend, &skip);
    if (storage.isEmpty())
        QSKIP(qPrintable(skip));
    // Two server processes share one PostgreSQL database.
    const int processes = backend == QLatin1String("postgresql") ? 2 : 1;
    for (int i = 0; i < processes; ++i)
        m_servers.push_back(std::make_unique<ServerProcess>(storage));
    ServerProcess &admin = *m_servers.front();
    for (int m = 0; m < Members; ++m)
        QVERIFY(admin.addUser(memberName(m), memberName(m) + QStringLiteral("-secret")));
    QCOMPARE(
        admin.admin({QStringLiteral("category"), QStringLiteral("add"), QStringLiteral("Work")})
            .status,
        0);
    for (const QString &name : {QStringLiteral("Coding"), QStringLiteral("Testing")}) {
        QCOMPARE(admin
                     .admin({QStringLiteral("activity"), QStringLiteral("add"), name,
                             QStringLiteral("--category"), QStringLiteral("Work")})
                     .status,
                 0);
    }
    QStringList options{QStringLiteral("--workers"), QStringLiteral("4")};
    if (tls)
        options << QStringLiteral("--tls-cert") << m_certificate.certificateFile
                << QStringLiteral("--tls-key") << m_certificate.keyFile;
    for (const auto &server : m_servers)
        QVERIFY(server->start(options));

    std::vector<std::unique_ptr<Device>> devices;
    for (int d = 0; d < Members * DevicesPerMember; ++d)
        devices.push_back(std::make_unique<Device>(
            d % Members, address(*m_servers.at(size_t(d) % m_servers.size()))));

    // All fifty fetch the catalogue at once: each device gets a block of ids of its own.
    QVERIFY(round(devices));
    std::set<int> nextIds;
    for (const auto &device : devices) {
        QCOMPARE(device->doc.activities.size(), 2);
        nextIds.insert(device->doc.nextId);
    }
    QCOMPARE(int(nextIds.size()), int(devices.size()));

    // Rounds of new tasks, changes and deletions on every device at once.
    QRandomGenerator random(4711);
    std::map<int, std::set<int>> expected; // member -> ids of the live tasks
    std::map<int, std::set<int>> deleted;  // member -> ids deleted on one of its devices
    for (int r = 0; r < 3; ++r) {
        for (const auto &device : devices) {
            for (int t = 0; t < 4; ++t) {
                const QDateTime start = QDateTime(QDate(2026, 11, 1 + r), QTime(8, 0))
                                            .addSecs(60 * (device->doc.tasks.size() * 20));
                expected[device->member()].insert(device->addTask(start, 15)->id);
            }
            // Change one of its own tasks, delete another.
            QList<QVTask *> own;
            for (QVTask *task : std::as_const(device->doc.tasks)) {
                if (!task->synchronised)
                    own.append(task);
            }
            QVTask *changed = own.at(int(random.bounded(qint64(own.size()))));
            changed->setStop(changed->stop().addSecs(60));
            if (r > 0) {
                QVTask *gone = own.at(int(random.bounded(qint64(own.size()))));
                if (gone != changed) {
                    expected[device->member()].erase(gone->id);
                    deleted[device->member()].insert(gone->id);
                    device->doc.removeTask(gone);
                    delete gone;
                }
            }
        }
        QVERIFY(round(devices));
    }
    // Twice more, so that every device has taken in what the others sent last.
    QVERIFY(round(devices));
    QVERIFY(round(devices));

    for (const auto &device : devices) {
        std::set<int> held;
        for (const QVTask *task : std::as_const(device->doc.tasks)) {
            QVERIFY2(held.insert(task->id).second, "a task twice on one device");
        }
        // Every live task of the member; a device cannot be made to drop a copy of a task
        // deleted on another device, so those may stay too.
        std::set<int> missing;
        std::set_difference(expected[device->member()].begin(), expected[device->member()].end(),
                            held.begin(), held.end(), std::inserter(missing, missing.end()));
        QVERIFY2(missing.empty(), "a device lacks a task of its member");
        for (const int id : held) {
            QVERIFY(expected[device->member()].count(id) == 1
                    || deleted[device->member()].count(id) == 1);
        }
    }
    // The server holds each live task once, in its latest version.
    for (int m = 0; m < Members; ++m) {
        const ServerProcess::Result history
            = admin.admin({QStringLiteral("user"), QStringLiteral("history"), memberName(m)});
        QCOMPARE(history.status, 0);
        std::map<int, QString> last;
        for (const QString &line : history.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            last[line.section(QLatin1Char('\t'), 0, 0).toInt()]
                = line.section(QLatin1Char('\t'), 2, 2);
        std::set<int> live;
        for (const auto &[id, event] : last) {
            if (event != QLatin1String("deleted"))
                live.insert(id);
        }
        QCOMPARE(live, expected[m]);
    }
    int exchanges = 0;
    for (const auto &server : m_servers) {
        const QStringList lines = server->exchangeLines();
        exchanges += int(lines.size());
        for (const QString &line : lines)
            QVERIFY2(line.contains(QStringLiteral("result=complete")), qPrintable(line));
    }
    QCOMPARE(exchanges, 6 * Members * DevicesPerMember);
}

QUORVEL_TEST_GUILESS_MAIN(TestServerLoad)

#include "tst_serverload.moc"
