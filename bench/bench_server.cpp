// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Measures quorvel-server under the load of a team: 20 devices, one member each, every device
// holding 1 000 tasks of which 5 change before each exchange, all exchanging at once and each
// sending its next request as soon as the previous reply is in. Reports exchanges per second,
// the latency of an exchange (connect to complete reply) at p50, p99 and max, and the server's
// peak memory, with its data in SQLite and in PostgreSQL (with fsync on), in plain HTTP and
// over TLS.
//
//   bench_server [--clients N] [--seconds S] [--warmup S] [--backend sqlite|postgresql|both]
//                [--transport plain|tls|both] [--workers N]
//
// Defaults: 20 clients, 15 s measured after 3 s of warm-up, both back ends, both transports,
// the server's own number of workers. Over TLS every exchange has a connection and a handshake
// of its own, as the program's have, against a certificate of a test authority made with the
// openssl command.
//
// Each device behaves as the program does: its first exchange sends an empty document and
// takes the catalogue and a block of ids from the reply; it then makes its 1 000 tasks and
// sends them once (untimed); after that every exchange sends the whole document again with
// five tasks changed. Every reply's document part is appended to the device's document and
// the lists sorted, as the program does with a reply.

#include "BenchSupport.h"
#include "ServerProcess.h"
#include "TestAuthority.h"
#include "model/QuorvelDocument.h"
#include "model/SyncProtocol.h"
#include "platform/Clock.h"
#include "sync/TlsTrust.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHostAddress>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include <unistd.h>

namespace {

constexpr int CategoryCount = 3;
constexpr int ActivityCount = 20;
constexpr int TaskCount = 1000;
constexpr int ChangesPerExchange = 5;
// An exchange not answered within this time counts as failed.
constexpr qint64 ExchangeTimeoutMs = 60000;

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

struct Settings
{
    int clients = 20;
    double seconds = 15;
    double warmup = 3;
    bool sqlite = true;
    bool postgresql = true;
    bool plain = true;
    bool tls = true;
    int workers = 0; // 0: the server's default
};

QString value(const QStringList &args, const QString &name)
{
    const qsizetype i = args.indexOf(name);
    return i >= 0 && i + 1 < args.size() ? args.at(i + 1) : QString();
}

bool readSettings(const QStringList &args, Settings *settings, QString *error)
{
    const QStringList known
        = {QStringLiteral("--clients"), QStringLiteral("--seconds"),   QStringLiteral("--warmup"),
           QStringLiteral("--backend"), QStringLiteral("--transport"), QStringLiteral("--workers")};
    for (qsizetype i = 1; i < args.size(); i += 2) {
        if (!known.contains(args.at(i)) || i + 1 >= args.size()) {
            *error = QStringLiteral("unknown or incomplete option %1").arg(args.at(i));
            return false;
        }
    }
    bool ok = true;
    if (args.contains(QStringLiteral("--clients"))) {
        settings->clients = value(args, QStringLiteral("--clients")).toInt(&ok);
        if (!ok || settings->clients < 1 || settings->clients > 500) {
            *error = QStringLiteral("--clients takes 1 to 500");
            return false;
        }
    }
    if (args.contains(QStringLiteral("--seconds"))) {
        settings->seconds = value(args, QStringLiteral("--seconds")).toDouble(&ok);
        if (!ok || settings->seconds <= 0) {
            *error = QStringLiteral("--seconds takes a positive number");
            return false;
        }
    }
    if (args.contains(QStringLiteral("--warmup"))) {
        settings->warmup = value(args, QStringLiteral("--warmup")).toDouble(&ok);
        if (!ok || settings->warmup < 0) {
            *error = QStringLiteral("--warmup takes a number of seconds, 0 or more");
            return false;
        }
    }
    if (args.contains(QStringLiteral("--workers"))) {
        settings->workers = value(args, QStringLiteral("--workers")).toInt(&ok);
        if (!ok || settings->workers < 1 || settings->workers > 64) {
            *error = QStringLiteral("--workers takes 1 to 64");
            return false;
        }
    }
    if (args.contains(QStringLiteral("--backend"))) {
        const QString backend = value(args, QStringLiteral("--backend"));
        if (backend == QLatin1String("sqlite")) {
            settings->postgresql = false;
        } else if (backend == QLatin1String("postgresql")) {
            settings->sqlite = false;
        } else if (backend != QLatin1String("both")) {
            *error = QStringLiteral("--backend takes sqlite, postgresql or both");
            return false;
        }
    }
    if (args.contains(QStringLiteral("--transport"))) {
        const QString transport = value(args, QStringLiteral("--transport"));
        if (transport == QLatin1String("plain")) {
            settings->tls = false;
        } else if (transport == QLatin1String("tls")) {
            settings->plain = false;
        } else if (transport != QLatin1String("both")) {
            *error = QStringLiteral("--transport takes plain, tls or both");
            return false;
        }
    }
    return true;
}

// The value at quantile q (0..1) of sorted values, by the nearest rank.
double quantile(const std::vector<double> &sorted, double q)
{
    if (sorted.empty())
        return 0;
    const size_t rank = size_t(std::ceil(q * double(sorted.size())));
    return sorted[std::min(sorted.size() - 1, rank > 0 ? rank - 1 : 0)];
}

// One simulated device: a member's document and the exchange under way.
struct Device
{
    int number = 0;
    QString user;
    QString password;
    QuorvelDocument doc;
    // The tasks this device made, in the order made, and whether each stop is moved now.
    std::vector<QVTask *> own;
    std::vector<bool> moved;
    int cursor = 0;

    // The exchange under way.
    QSslSocket *socket = nullptr;
    SyncProtocol::ReplyParser reply;
    QByteArray statusLine;
    QElapsedTimer clock;
    qint64 connectedNs = -1;
    qint64 firstByteNs = -1;
    qint64 requestBytes = 0;
    qint64 replyBytes = 0;
};

// What one exchange came to.
struct Result
{
    bool ok = false;
    QString problem;
    // Connect to complete reply, and its parts: connect to connected, connected to the
    // reply's first byte (sending the request, the server reading it, waiting for a worker
    // and carrying it out), first byte to complete reply.
    double ms = 0;
    double connectMs = 0;
    double firstByteMs = 0;
    double restMs = 0;
};

// Drives the devices' exchanges on one event loop, all in flight at once.
class Load : public QObject
{
public:
    // secure: over TLS, the request written once the handshake is done.
    Load(const QString &address, quint16 port, bool secure)
        : m_address(address)
        , m_port(port)
        , m_secure(secure)
    {
        m_watchdog.setInterval(1000);
        connect(&m_watchdog, &QTimer::timeout, this, [this] {
            // finish() takes the device out of the list and may start its next exchange.
            const std::vector<Device *> busy = m_busy;
            for (Device *device : busy) {
                if (device->clock.elapsed() > ExchangeTimeoutMs)
                    finish(*device, QStringLiteral("no complete reply within %1 s")
                                        .arg(ExchangeTimeoutMs / 1000));
            }
        });
    }

    // Called with each device and result as its reply is complete (or has failed); the
    // callback may start the device's next exchange.
    std::function<void(Device &, const Result &)> done;

    // Sends the device's document as it stands.
    void start(Device &device)
    {
        device.reply = SyncProtocol::ReplyParser();
        device.statusLine.clear();
        device.replyBytes = 0;
        const QByteArray request = SyncProtocol::buildRequest(
            device.doc.getDocumentString(), Clock::now(), m_address, device.user, device.password,
            int(m_random.bounded(1, 1 << 30)));
        device.requestBytes = request.size();

        auto *socket = new QSslSocket(this);
        device.socket = socket;
        connect(socket, &QTcpSocket::connected, this, [&device, socket, request, this] {
            device.connectedNs = device.clock.nsecsElapsed();
            if (!m_secure)
                socket->write(request);
        });
        connect(socket, &QSslSocket::encrypted, this,
                [socket, request] { socket->write(request); });
        // A socket whose exchange has ended is no longer the device's: its late signals are
        // ignored (the device may already be on its next exchange).
        connect(socket, &QTcpSocket::readyRead, this, [this, &device, socket] {
            if (device.socket == socket)
                read(device);
        });
        connect(socket, &QTcpSocket::disconnected, this, [this, &device, socket] {
            if (device.socket == socket)
                read(device);
            if (device.socket == socket)
                finish(device, QStringLiteral("the server closed before the reply was complete"));
        });
        connect(socket, &QTcpSocket::errorOccurred, this,
                [this, &device, socket](QAbstractSocket::SocketError error) {
                    // A close by the server is the disconnected handler's to judge.
                    if (error == QAbstractSocket::RemoteHostClosedError || device.socket != socket)
                        return;
                    finish(device, socket->errorString());
                });
        m_busy.push_back(&device);
        if (!m_watchdog.isActive())
            m_watchdog.start();
        device.connectedNs = -1;
        device.firstByteNs = -1;
        device.clock.start();
        if (m_secure) {
            socket->setSslConfiguration(TlsTrust::clientConfiguration());
            socket->connectToHostEncrypted(QStringLiteral("127.0.0.1"), m_port);
        } else {
            socket->connectToHost(QHostAddress(QHostAddress::LocalHost), m_port);
        }
    }

    bool idle() const { return m_busy.empty(); }

private:
    void read(Device &device)
    {
        if (!device.socket)
            return;
        const QByteArray bytes = device.socket->readAll();
        if (device.firstByteNs < 0 && !bytes.isEmpty())
            device.firstByteNs = device.clock.nsecsElapsed();
        device.replyBytes += bytes.size();
        // Enough of the reply's beginning for its status line.
        if (!device.statusLine.contains('\n'))
            device.statusLine += bytes;
        device.reply.feed(bytes);
        if (device.reply.overflowed())
            finish(device, QStringLiteral("reply too large"));
        else if (device.reply.state() == SyncProtocol::ReplyParser::Finished)
            finish(device, QString());
    }

    // Ends the exchange under way; problem is empty when the reply came in whole.
    void finish(Device &device, const QString &problem)
    {
        Result result;
        const qint64 ns = device.clock.nsecsElapsed();
        result.ms = double(ns) / 1e6;
        if (device.connectedNs >= 0 && device.firstByteNs >= 0) {
            result.connectMs = double(device.connectedNs) / 1e6;
            result.firstByteMs = double(device.firstByteNs - device.connectedNs) / 1e6;
            result.restMs = double(ns - device.firstByteNs) / 1e6;
        }
        QSslSocket *socket = device.socket;
        device.socket = nullptr;
        socket->disconnect(this);
        // As the program does once the reply is in.
        socket->abort();
        socket->deleteLater();
        m_busy.erase(std::find(m_busy.begin(), m_busy.end(), &device));
        if (m_busy.empty())
            m_watchdog.stop();

        result.problem = problem;
        if (result.problem.isEmpty() && !device.statusLine.startsWith("HTTP/1.0 200 "))
            result.problem
                = QStringLiteral("status line %1")
                      .arg(QString::fromLatin1(
                          device.statusLine.left(device.statusLine.indexOf('\n')).trimmed()));
        if (result.problem.isEmpty()) {
            // As the program takes a reply in.
            QByteArray text = device.reply.documentText();
            if (device.doc.populateFromByteArray(text.data(), int(text.size()))) {
                device.doc.tasks.sort();
                device.doc.activities.sort();
                device.doc.categories.sort();
            } else {
                result.problem = QStringLiteral("unreadable document part; message: %1")
                                     .arg(QString::fromUtf8(device.reply.messageText()));
            }
        }
        result.ok = result.problem.isEmpty();
        done(device, result);
    }

    QString m_address;
    quint16 m_port;
    bool m_secure;
    QRandomGenerator m_random{20261123};
    std::vector<Device *> m_busy;
    QTimer m_watchdog;
};

// Failures seen in any phase, with the first few reasons.
struct Failures
{
    int count = 0;
    QStringList first;

    void add(const Device &device, const QString &phase, const QString &problem)
    {
        ++count;
        if (first.size() < 5)
            first.append(QStringLiteral("%1, %2: %3").arg(device.user, phase, problem));
    }
};

// One exchange for every device at once; returns when all have their replies. check judges a
// complete reply: an empty text when it is what the phase expects.
void everyDeviceOnce(Load &load, std::vector<std::unique_ptr<Device>> &devices,
                     const QString &phase, Failures &failures,
                     const std::function<QString(Device &)> &check)
{
    QEventLoop loop;
    load.done = [&](Device &device, const Result &result) {
        const QString problem = result.ok ? check(device) : result.problem;
        if (!problem.isEmpty())
            failures.add(device, phase, problem);
        if (load.idle())
            loop.quit();
    };
    for (const auto &device : devices)
        load.start(*device);
    loop.exec();
}

// The device's tasks: stopped, in the past, without overlap, on the catalogue's activities.
// Eight a day from 08:00, 75 minutes apart, each 30 to 60 minutes long, so that a stop moved
// by a minute never meets the next start.
void makeTasks(Device &device)
{
    QuorvelDocument &doc = device.doc;
    const QDate firstDay = QDate::currentDate().addDays(-(TaskCount / 8 + 30));
    for (int i = 0; i < TaskCount; ++i) {
        const QDateTime start(firstDay.addDays(i / 8), QTime(8, 0).addSecs(75 * 60 * (i % 8)));
        const QDateTime stop = start.addSecs(60 * (30 + (i * 7 + device.number) % 31));
        Activity *activity = doc.activities.at((i + device.number) % doc.activities.size());
        auto *task = new QVTask(doc.allocateId(), start, stop, 0, activity, QDateTime(), false);
        doc.tasks.append(task);
        device.own.push_back(task);
    }
    device.moved.assign(device.own.size(), false);
    doc.tasks.sort();
}

// Moves the stop of the next five tasks by a minute, forth or back, as an edit would.
void changeTasks(Device &device)
{
    const int n = int(device.own.size());
    for (int j = 0; j < ChangesPerExchange; ++j) {
        const int i = (device.cursor + j * (n / ChangesPerExchange)) % n;
        QVTask *task = device.own[size_t(i)];
        const bool moved = device.moved[size_t(i)];
        task->setStop(task->stop().addSecs(moved ? -60 : 60));
        task->modified(); // stamps the task if the server had sent it
        device.moved[size_t(i)] = !moved;
    }
    device.cursor = (device.cursor + 1) % n;
}

// CPU time a process has used, user and system, in milliseconds; -1 when unknown.
double processCpuMs(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = file.readAll();
    // The fields after the command name, which is in parentheses and may hold blanks: utime
    // and stime are the 14th and 15th fields of the line.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 13)
        return -1;
    const double ticks = double(fields.at(11).toLongLong() + fields.at(12).toLongLong());
    return ticks * 1000.0 / double(::sysconf(_SC_CLK_TCK));
}

// The machine's CPU time so far, in clock ticks summed over the cores: busy (for this
// machine's processes and kernel), stolen (taken by the virtual machine's host) and in all.
struct MachineCpu
{
    qint64 busy = 0;
    qint64 steal = 0;
    qint64 total = 0;

    static MachineCpu now()
    {
        MachineCpu cpu;
        QFile file(QStringLiteral("/proc/stat"));
        if (!file.open(QIODevice::ReadOnly))
            return cpu;
        const QList<QByteArray> fields = file.readLine().simplified().split(' ');
        // cpu user nice system idle iowait irq softirq steal ...
        for (qsizetype i = 1; i < fields.size() && i <= 8; ++i) {
            const qint64 ticks = fields.at(i).toLongLong();
            cpu.total += ticks;
            if (i == 8)
                cpu.steal += ticks;
            else if (i != 4 && i != 5)
                cpu.busy += ticks;
        }
        return cpu;
    }
};

// CPU time of the PostgreSQL cluster listening on port (its postmaster and the processes it
// started), in milliseconds; 0 for port 0.
double databaseCpuMs(quint16 port)
{
    if (port == 0)
        return 0;
    const QByteArray portArgument = "\0-p\0" + QByteArray::number(port) + '\0';
    const QStringList pids = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    qint64 postmaster = 0;
    for (const QString &pid : pids) {
        QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(pid));
        if (pid.toLongLong() > 0 && cmdline.open(QIODevice::ReadOnly)
            && cmdline.readAll().contains(portArgument)) {
            postmaster = pid.toLongLong();
            break;
        }
    }
    if (postmaster == 0)
        return 0;
    double ms = processCpuMs(postmaster);
    const QByteArray parent = ") " + QByteArray::number(postmaster);
    for (const QString &pid : pids) {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (pid.toLongLong() <= 0 || !stat.open(QIODevice::ReadOnly))
            continue;
        // "pid (comm) state ppid ...": the parent is the field after the state.
        const QByteArray text = stat.readAll();
        const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 1 && fields.at(1).toLongLong() == postmaster)
            ms += std::max(0.0, processCpuMs(pid.toLongLong()));
    }
    return ms;
}

// The "ms=" values of the server's exchange lines from index first on.
std::vector<double> serverMilliseconds(const QStringList &lines, qsizetype first)
{
    static const QRegularExpression ms(QStringLiteral(" ms=(\\d+) "));
    std::vector<double> values;
    for (qsizetype i = first; i < lines.size(); ++i) {
        const QRegularExpressionMatch match = ms.match(lines.at(i));
        if (match.hasMatch())
            values.push_back(match.captured(1).toDouble());
    }
    std::sort(values.begin(), values.end());
    return values;
}

// Sets up a server on the storage, runs the load and prints the figures. With a certificate
// the server and the devices speak TLS. False when the server could not be set up.
bool runBackend(const QString &backend, const QStringList &storage, quint16 postgresPort,
                const Settings &settings, const TestAuthority::Issued &certificate)
{
    const bool secure = !certificate.certificateFile.isEmpty();
    const QString name
        = backend + (secure ? QStringLiteral(", TLS") : QStringLiteral(", plain HTTP"));
    out() << "\n== " << name << " ==\n";
    out().flush();
    ServerProcess server(storage);
    QElapsedTimer setupClock;
    setupClock.start();

    // The team: one member per device, and the catalogue.
    std::vector<std::unique_ptr<Device>> devices;
    for (int i = 0; i < settings.clients; ++i) {
        auto device = std::make_unique<Device>();
        device->number = i;
        device->user = QStringLiteral("member%1").arg(i + 1, 2, 10, QLatin1Char('0'));
        device->password = QStringLiteral("secret-%1-of-the-team").arg(i + 1);
        if (!server.addUser(device->user, device->password))
            return false;
        devices.push_back(std::move(device));
    }
    const auto admin = [&](const QStringList &args) {
        const ServerProcess::Result result = server.admin(args);
        if (result.status != 0)
            out() << "admin " << args.join(QLatin1Char(' ')) << " failed: " << result.err << '\n';
        return result.status == 0;
    };
    for (int c = 0; c < CategoryCount; ++c) {
        if (!admin({QStringLiteral("category"), QStringLiteral("add"),
                    QStringLiteral("Category %1").arg(c + 1)}))
            return false;
    }
    for (int a = 0; a < ActivityCount; ++a) {
        if (!admin({QStringLiteral("activity"), QStringLiteral("add"),
                    QStringLiteral("Activity %1").arg(a + 1), QStringLiteral("--category"),
                    QStringLiteral("Category %1").arg(a % CategoryCount + 1)}))
            return false;
    }
    QStringList extra;
    if (settings.workers > 0)
        extra << QStringLiteral("--workers") << QString::number(settings.workers);
    if (secure)
        extra << QStringLiteral("--tls-cert") << certificate.certificateFile
              << QStringLiteral("--tls-key") << certificate.keyFile;
    if (!server.start(extra)) {
        out() << "the server did not start:\n" << server.log() << '\n';
        return false;
    }
    static const QRegularExpression workersLine(QStringLiteral(", (\\d+) workers"));
    const QString workers = workersLine.match(server.log()).captured(1);

    Load load((secure ? QStringLiteral("https://") : QString()) + server.address(), server.port(),
              secure);
    Failures failures;

    // An empty document: the catalogue and a block of ids come back.
    everyDeviceOnce(load, devices, QStringLiteral("catalogue"), failures, [](Device &device) {
        if (device.doc.categories.size() != CategoryCount
            || device.doc.activities.size() != ActivityCount)
            return QStringLiteral("received %1 categories and %2 activities")
                .arg(device.doc.categories.size())
                .arg(device.doc.activities.size());
        if (device.doc.nextId == QuorvelDocument().nextId)
            return QStringLiteral("no block of ids received");
        return QString();
    });
    for (const auto &device : devices) {
        if (device->doc.activities.isEmpty()) {
            out() << "a device received no catalogue: " << failures.first.join(QLatin1Char('\n'))
                  << '\n';
            return false;
        }
        makeTasks(*device);
    }
    // The tasks go up once, untimed.
    const QString uploaded = QStringLiteral("%1 tasks received").arg(TaskCount);
    everyDeviceOnce(load, devices, QStringLiteral("upload"), failures, [&](Device &device) {
        if (device.doc.tasks.size() != TaskCount)
            return QStringLiteral("the device holds %1 tasks").arg(device.doc.tasks.size());
        if (!device.reply.messageText().contains(uploaded.toUtf8()))
            return QStringLiteral("message %1").arg(QString::fromUtf8(device.reply.messageText()));
        return QString();
    });
    const double setupSeconds = double(setupClock.elapsed()) / 1000;

    // The timed phase: each device changes five tasks and exchanges again as soon as its
    // reply is in, until the end; exchanges completed after the warm-up are counted.
    const QByteArray changed = QStringLiteral("%1 tasks received").arg(ChangesPerExchange).toUtf8();
    QElapsedTimer clock;
    const qint64 measureFromNs = qint64(settings.warmup * 1e9);
    const qint64 measureToNs = measureFromNs + qint64(settings.seconds * 1e9);
    bool stopping = false;
    std::vector<double> latencies;
    qint64 requestBytes = 0;
    qint64 replyBytes = 0;
    qsizetype firstLine = -1;
    qsizetype lastLine = -1;
    // CPU time over the measured window: the server's, this program's (the devices), and the
    // machine's.
    double serverCpuMs[2] = {0, 0};
    double clientCpuMs[2] = {0, 0};
    double databaseMs[2] = {0, 0};
    MachineCpu machine[2];
    const auto sample = [&](int i) {
        serverCpuMs[i] = processCpuMs(server.pid());
        clientCpuMs[i] = processCpuMs(QCoreApplication::applicationPid());
        databaseMs[i] = databaseCpuMs(postgresPort);
        machine[i] = MachineCpu::now();
    };
    std::vector<double> connectMs;
    std::vector<double> firstByteMs;
    std::vector<double> restMs;
    QEventLoop loop;
    load.done = [&](Device &device, const Result &result) {
        const qint64 now = clock.nsecsElapsed();
        QString problem = result.problem;
        if (result.ok) {
            if (device.doc.tasks.size() != TaskCount
                || device.doc.activities.size() != ActivityCount
                || device.doc.categories.size() != CategoryCount)
                problem = QStringLiteral("the reply added records");
            else if (!device.reply.messageText().contains(changed))
                problem = QStringLiteral("message %1")
                              .arg(QString::fromUtf8(device.reply.messageText()));
        }
        if (!problem.isEmpty())
            failures.add(device, QStringLiteral("timed"), problem);
        else if (now >= measureFromNs && now < measureToNs) {
            latencies.push_back(result.ms);
            connectMs.push_back(result.connectMs);
            firstByteMs.push_back(result.firstByteMs);
            restMs.push_back(result.restMs);
            requestBytes = device.requestBytes;
            replyBytes = device.replyBytes;
        }
        if (!stopping) {
            changeTasks(device);
            load.start(device);
        } else if (load.idle()) {
            loop.quit();
        }
    };
    QTimer::singleShot(int(measureFromNs / 1000000), &loop, [&] {
        firstLine = server.exchangeLines().size();
        sample(0);
    });
    QTimer::singleShot(int(measureToNs / 1000000), &loop, [&] {
        sample(1);
        stopping = true;
        lastLine = server.exchangeLines().size();
    });
    clock.start();
    for (const auto &device : devices) {
        changeTasks(*device);
        load.start(*device);
    }
    loop.exec();

    const qint64 peakKiB = server.peakMemoryKiB();
    const qint64 residentKiB = ServerProcess::memoryKiB(server.pid(), "VmRSS");
    const QStringList lines = server.exchangeLines();
    const std::vector<double> serverMs
        = serverMilliseconds(lines.mid(0, lastLine), std::max<qsizetype>(0, firstLine));
    const bool stopped = server.stop();

    for (std::vector<double> *values : {&latencies, &connectMs, &firstByteMs, &restMs})
        std::sort(values->begin(), values->end());
    const double rate = double(latencies.size()) / settings.seconds;
    const double p50 = quantile(latencies, 0.5);
    const double p99 = quantile(latencies, 0.99);
    const double max = latencies.empty() ? 0 : latencies.back();
    const auto figures = [](const std::vector<double> &values) {
        return QStringLiteral("p50 %1, p99 %2, max %3 ms")
            .arg(quantile(values, 0.5), 0, 'f', 1)
            .arg(quantile(values, 0.99), 0, 'f', 1)
            .arg(values.empty() ? 0 : values.back(), 0, 'f', 1);
    };
    const double exchanges = double(std::max<size_t>(1, latencies.size()));
    out() << settings.clients << " devices (one member each), " << CategoryCount << " categories, "
          << ActivityCount << " activities, " << TaskCount << " tasks per device, "
          << ChangesPerExchange << " changed per exchange; server with "
          << (workers.isEmpty() ? QStringLiteral("?") : workers) << " workers\n";
    out() << "setup (members, catalogue, first exchange, upload of the tasks): "
          << QString::number(setupSeconds, 'f', 1) << " s\n";
    out() << "measured " << settings.seconds << " s after " << settings.warmup
          << " s of warm-up:\n";
    out() << "  exchanges          " << latencies.size() << " (" << QString::number(rate, 'f', 1)
          << " per second)\n";
    out() << "  latency            p50 " << QString::number(p50, 'f', 1) << ", p99 "
          << QString::number(p99, 'f', 1) << ", max " << QString::number(max, 'f', 1)
          << " ms (connect to complete reply)\n";
    out() << "    connecting       " << figures(connectMs) << '\n';
    out() << "    to first byte    " << figures(firstByteMs)
          << " (request sent, read, queued, carried out)\n";
    out() << "    rest of reply    " << figures(restMs) << '\n';
    const auto over = [&](double ms) {
        return latencies.end() - std::upper_bound(latencies.begin(), latencies.end(), ms);
    };
    out() << "    slow exchanges   " << over(100) << " over 100 ms, " << over(250)
          << " over 250 ms, " << over(1000) << " over 1 s\n";
    out() << "  server log ms=     " << figures(serverMs) << " over " << serverMs.size()
          << " lines (whole request read to reply ready: waiting for a worker and the work)\n";
    const double tickMs = 1000.0 / double(::sysconf(_SC_CLK_TCK));
    const double machineMs = double(machine[1].total - machine[0].total) * tickMs;
    const double busyMs = double(machine[1].busy - machine[0].busy) * tickMs;
    const double serverUsed = serverCpuMs[1] - serverCpuMs[0];
    const double clientUsed = clientCpuMs[1] - clientCpuMs[0];
    const double databaseUsed = databaseMs[1] - databaseMs[0];
    const double restUsed = std::max(0.0, busyMs - serverUsed - clientUsed - databaseUsed);
    const auto perExchange = [&](double ms) {
        return QString::number(ms / exchanges, 'f', 2) + QStringLiteral(" ms");
    };
    const auto share = [&](double ms) {
        return QString::number(machineMs > 0 ? 100.0 * ms / machineMs : 0, 'f', 0)
               + QStringLiteral(" %");
    };
    out() << "  CPU per exchange   server " << perExchange(serverUsed);
    if (postgresPort != 0)
        out() << ", PostgreSQL " << perExchange(databaseUsed);
    out() << ", devices (this program) " << perExchange(clientUsed) << ", rest of the machine "
          << perExchange(restUsed) << '\n';
    out() << "  machine            " << share(busyMs) << " busy of " << QThread::idealThreadCount()
          << " cores: server " << share(serverUsed);
    if (postgresPort != 0)
        out() << ", PostgreSQL " << share(databaseUsed);
    out() << ", devices " << share(clientUsed) << ", rest " << share(restUsed)
          << " (kernel work outside the processes, other programs)";
    const double stolenMs = double(machine[1].steal - machine[0].steal) * tickMs;
    if (stolenMs > 0)
        out() << ", stolen by the host " << share(stolenMs);
    out() << '\n';
    if (machineMs > 0 && restUsed / machineMs > 0.10)
        out() << "  WARNING: other work took " << share(restUsed)
              << " of the machine during the measurement: these figures are disturbed\n";
    out() << "  request / reply    " << requestBytes << " / " << replyBytes << " bytes\n";
    out() << "  server peak memory " << QString::number(double(peakKiB) / 1024, 'f', 1)
          << " MiB (VmHWM), resident at the end "
          << QString::number(double(residentKiB) / 1024, 'f', 1) << " MiB\n";
    out() << "  failures           " << failures.count << '\n';
    for (const QString &failure : std::as_const(failures.first))
        out() << "    " << failure << '\n';
    if (!stopped)
        out() << "  the server did not stop cleanly\n";
    out() << "  target (>= 200 per second, p99 < 100 ms): "
          << (rate >= 200 && p99 < 100 ? "met" : "MISSED") << '\n';
    // One line per run, for collecting figures over several runs.
    out() << "RESULT " << backend.section(QLatin1Char(' '), 0, 0) << (secure ? " tls" : " plain")
          << " rate=" << QString::number(rate, 'f', 1) << " p50=" << QString::number(p50, 'f', 1)
          << " p99=" << QString::number(p99, 'f', 1) << " max=" << QString::number(max, 'f', 1)
          << " peakMiB=" << QString::number(double(peakKiB) / 1024, 'f', 1)
          << " failures=" << failures.count << " rest=" << share(restUsed).remove(QLatin1Char(' '))
          << '\n';
    out().flush();
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    Clock::pinLocalTimeZone();
    const TemporaryHome home;
    QCoreApplication app(argc, argv);

    Settings settings;
    QString error;
    if (!readSettings(app.arguments(), &settings, &error)) {
        QTextStream(stderr) << "bench_server: " << error
                            << "\nusage: bench_server [--clients N] [--seconds S] [--warmup S] "
                               "[--backend sqlite|postgresql|both] [--transport plain|tls|both] "
                               "[--workers N]\n";
        return 2;
    }

    // The transports to run: plain HTTP without a certificate, TLS with one.
    QList<TestAuthority::Issued> transports;
    TestAuthority authority;
    if (settings.plain)
        transports.append(TestAuthority::Issued());
    if (settings.tls) {
        const TestAuthority::Issued certificate
            = authority.issue(QStringLiteral("server"), {QStringLiteral("127.0.0.1")});
        if (certificate.certificateFile.isEmpty()) {
            out() << "no certificate for TLS: " << authority.error() << '\n';
            return 1;
        }
        TlsTrust::setAuthorities(authority.certificates());
        transports.append(certificate);
    }

    bool ok = true;
    if (settings.sqlite) {
        for (const TestAuthority::Issued &certificate : std::as_const(transports)) {
            QTemporaryDir folder;
            ok = runBackend(QStringLiteral("SQLite"),
                            {QStringLiteral("--data"), folder.filePath(QStringLiteral("data"))}, 0,
                            settings, certificate)
                 && ok;
        }
    }
    if (settings.postgresql) {
        PostgresCluster cluster;
        cluster.setFsync(true);
        QString reason;
        if (!cluster.start(&reason)) {
            out() << "\n== PostgreSQL ==\nSKIPPED: the cluster could not be started: " << reason
                  << '\n';
        } else {
            for (const TestAuthority::Issued &certificate : std::as_const(transports)) {
                const QString url = cluster.createDatabase();
                ok = !url.isEmpty()
                     && runBackend(QStringLiteral("PostgreSQL (fsync on)"),
                                   {QStringLiteral("--database"), url}, cluster.port(), settings,
                                   certificate)
                     && ok;
            }
        }
    }
    return ok ? 0 : 1;
}
