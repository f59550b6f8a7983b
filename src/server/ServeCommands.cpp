// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// "serve" and "tls self-signed".

#include "ServerCommands.h"

#include "CommandLine.h"
#include "ExchangeServer.h"
#include "IdBlocks.h"
#include "TlsFiles.h"

#include "sync/TlsTrust.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QTextStream>

#include <csignal>

#include <sys/socket.h>
#include <unistd.h>

namespace ServerCommands {

namespace {

// Self-pipe for SIGTERM, SIGINT and SIGHUP: the handler only writes the signal's number.
int s_signalPipe[2] = {-1, -1};

void onSignal(int signal)
{
    const char byte = char(signal);
    const ssize_t written = ::write(s_signalPipe[1], &byte, 1);
    Q_UNUSED(written);
}

struct ServeOptions
{
    QCommandLineOption listen;
    QCommandLineOption workers;
    QCommandLineOption timeout;
    QCommandLineOption maxRequest;
    QCommandLineOption blocksPerDay;
    QCommandLineOption tlsCert;
    QCommandLineOption tlsKey;
};

int serve(const QCommandLineParser &parser, const ServerDatabase &location,
          const ServeOptions &serveOptions)
{
    const auto &[listen, workers, timeout, maxRequest, blocksPerDay, tlsCert, tlsKey]
        = serveOptions;
    ServerOptions options;
    if (parser.isSet(tlsCert) != parser.isSet(tlsKey))
        return usage(CommandLine::tr("--tls-cert and --tls-key go together."));
    if (parser.isSet(tlsCert)) {
        options.tlsCertificateFile = parser.value(tlsCert);
        options.tlsKeyFile = parser.value(tlsKey);
    }
    if (parser.isSet(listen)) {
        const QString value = parser.value(listen);
        const qsizetype colon = value.lastIndexOf(QLatin1Char(':'));
        bool ok = false;
        const uint port = colon < 0 ? 0 : value.mid(colon + 1).toUInt(&ok);
        QString host = colon < 0 ? QString() : value.left(colon);
        if (host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']')))
            host = host.mid(1, host.size() - 2);
        const QHostAddress address(host);
        if (!ok || port > 65535 || address.isNull())
            return usage(CommandLine::tr("--listen %1 is not an address and port: write it as "
                                         "ADDRESS:PORT, for instance 127.0.0.1:8080 or "
                                         "0.0.0.0:8080.")
                             .arg(value));
        options.address = address;
        options.port = quint16(port);
    }
    const auto number = [&](const QCommandLineOption &option, int low, int high, int *value) {
        if (!parser.isSet(option))
            return true;
        bool ok = false;
        const int n = parser.value(option).toInt(&ok);
        if (!ok || n < low || n > high) {
            usage(CommandLine::tr("--%1 takes a number from %2 to %3.")
                      .arg(option.names().constFirst())
                      .arg(low)
                      .arg(high));
            return false;
        }
        *value = n;
        return true;
    };
    int seconds = options.requestTimeoutMs / 1000;
    int mib = int(options.maxRequestBytes / (1024 * 1024));
    if (!number(workers, 1, 64, &options.workers) || !number(timeout, 1, 3600, &seconds)
        || !number(maxRequest, 1, 1024, &mib)
        || !number(blocksPerDay, 1, 1000, &options.limits.blocksPerDay))
        return 2;
    options.requestTimeoutMs = seconds * 1000;
    options.maxRequestBytes = qint64(mib) * 1024 * 1024;

    // A restore waits until the server has stopped.
    FolderLock lock;
    if (!shareDataFolder(location, &lock))
        return 1;

    // The schema first, once, before any worker connects; and the counters of ids handed out
    // never below the server's record of them, whatever put the database back.
    const int migrated = withDatabase(location, [](Sql &sql, const ServerDatabase &store) {
        Transaction transaction(sql);
        IdBlocks ids(sql, store.stateFolder());
        bool raised = false;
        if (!transaction.isOpen() || !ids.reconcile(&raised) || !transaction.commit()) {
            err() << (ids.error().isEmpty()
                          ? CommandLine::tr("The database failed: %1").arg(sql.lastError())
                          : ids.error())
                  << '\n';
            return 1;
        }
        if (raised)
            err() << CommandLine::tr("quorvel-server: the database had handed out fewer ids "
                                     "than the server's record of them says (it came back from "
                                     "a backup): its counters now start after them, so no id "
                                     "is handed out twice")
                  << '\n';
        return 0;
    });
    if (migrated != 0)
        return 1;

    ExchangeServer server(location, options);
    QString error;
    if (!server.start(&error)) {
        err() << error << '\n';
        err().flush();
        return 1;
    }
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, s_signalPipe) != 0)
        return 1;
    QSocketNotifier notifier(s_signalPipe[0], QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &server, [&server] {
        char byte = 0;
        const ssize_t n = ::read(s_signalPipe[0], &byte, 1);
        // SIGHUP brings a renewed certificate in; without TLS it stops, as a hang-up does.
        if (n == 1 && byte == char(SIGHUP) && server.isSecure())
            server.reloadTls();
        else
            server.stop();
    });
    QObject::connect(&server, &ExchangeServer::stopped, qApp, &QCoreApplication::quit);
    struct sigaction action
    {
    };
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(signal, &action, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    return QCoreApplication::exec();
}
} // namespace

QList<Command> serveCommands()
{
    QList<Command> list;
    const QCommandLineOption listen(
        QStringLiteral("listen"),
        CommandLine::tr("Listen on ADDRESS:PORT (default 127.0.0.1:8080; port 0 picks a free "
                        "one)."),
        CommandLine::tr("ADDRESS:PORT"));
    const QCommandLineOption workers(
        QStringLiteral("workers"),
        CommandLine::tr("Carry out N exchanges at the same time (default 2)."),
        CommandLine::tr("N"));
    const QCommandLineOption timeout(
        QStringLiteral("request-timeout"),
        CommandLine::tr("Give a request SECONDS to arrive whole (default 30)."),
        CommandLine::tr("SECONDS"));
    const QCommandLineOption maxRequest(
        QStringLiteral("max-request-mib"),
        CommandLine::tr("Refuse requests larger than MIB mebibytes (default 64)."),
        CommandLine::tr("MIB"));
    const QCommandLineOption blocksPerDay(
        QStringLiteral("blocks-per-day"),
        CommandLine::tr("Give one user's computers at most N new blocks of task ids in 24 hours "
                        "(default 10); a new computer takes one."),
        CommandLine::tr("N"));
    const QCommandLineOption tlsCert(
        QStringLiteral("tls-cert"),
        CommandLine::tr("Serve over TLS with the certificate of FILE (PEM, the chain after it); "
                        "needs --tls-key. SIGHUP reads both files again."),
        CommandLine::tr("FILE"));
    const QCommandLineOption tlsKey(QStringLiteral("tls-key"),
                                    CommandLine::tr("The certificate's private key (PEM, "
                                                    "unencrypted)."),
                                    CommandLine::tr("FILE"));
    const ServeOptions serveOptions{listen,       workers, timeout, maxRequest,
                                    blocksPerDay, tlsCert, tlsKey};
    list.append({{QStringLiteral("serve")},
                 QString(),
                 CommandLine::tr("Run the group server (the default when no command is "
                                 "given). SIGTERM finishes the exchanges under way and stops; "
                                 "SIGHUP reads the TLS certificate and key again."),
                 {listen, workers, timeout, maxRequest, blocksPerDay, tlsCert, tlsKey},
                 0,
                 0,
                 [=](const QCommandLineParser &parser, const QStringList &,
                     const ServerDatabase &location) {
                     return serve(parser, location, serveOptions);
                 }});

    const QCommandLineOption host(QStringLiteral("host"),
                                  CommandLine::tr("A host name or IP address the members reach "
                                                  "the server by; may be given more than once."),
                                  CommandLine::tr("NAME"));
    const QCommandLineOption validFor(
        QStringLiteral("days"),
        CommandLine::tr("Keep the certificate valid for N days (default 3650)."),
        CommandLine::tr("N"));
    const QCommandLineOption certOut(
        QStringLiteral("tls-cert"),
        CommandLine::tr("Write the certificate to FILE (default: tls-certificate.pem in the "
                        "data folder)."),
        CommandLine::tr("FILE"));
    const QCommandLineOption keyOut(
        QStringLiteral("tls-key"),
        CommandLine::tr("Write the key to FILE, readable by you alone (default: tls-key.pem in "
                        "the data folder)."),
        CommandLine::tr("FILE"));
    list.append(
        {{QStringLiteral("tls"), QStringLiteral("self-signed")},
         QString(),
         CommandLine::tr("Make a key and a self-signed certificate for serving TLS without a "
                         "certificate authority, and print the certificate's SHA-256 "
                         "fingerprint for the members to compare when Quorvel asks them."),
         {host, validFor, certOut, keyOut},
         0,
         0,
         [=](const QCommandLineParser &parser, const QStringList &,
             const ServerDatabase &location) {
             const QStringList hosts = parser.values(host);
             if (hosts.isEmpty())
                 return usage(CommandLine::tr("\"tls self-signed\" needs --host."));
             for (const QString &name : hosts) {
                 if (!TlsFiles::isHostName(name))
                     return usage(CommandLine::tr("--host %1 is not a host name or an IP "
                                                  "address.")
                                      .arg(name));
             }
             int validDays = 3650;
             if (parser.isSet(validFor)) {
                 bool ok = false;
                 validDays = parser.value(validFor).toInt(&ok);
                 if (!ok || validDays < 1 || validDays > 36500)
                     return usage(CommandLine::tr("--days takes a number from 1 to 36500."));
             }
             const QString folder = location.stateFolder();
             const QString certificateFile = parser.isSet(certOut)
                                                 ? parser.value(certOut)
                                                 : folder + QStringLiteral("/tls-certificate.pem");
             const QString keyFile = parser.isSet(keyOut) ? parser.value(keyOut)
                                                          : folder + QStringLiteral("/tls-key.pem");
             QString error;
             QSslConfiguration made;
             if (!TlsFiles::makeSelfSigned(hosts, validDays, certificateFile, keyFile, &error)
                 || !TlsFiles::load(certificateFile, keyFile, &made, &error)) {
                 err() << error << '\n';
                 err().flush();
                 return 1;
             }
             const QSslCertificate certificate = made.localCertificate();
             out() << CommandLine::tr("Wrote the key %1, readable by you alone, and the "
                                      "certificate %2 for %3, valid until %4.")
                          .arg(QFileInfo(keyFile).absoluteFilePath(),
                               QFileInfo(certificateFile).absoluteFilePath(),
                               TlsTrust::names(certificate),
                               certificate.expiryDate().date().toString(Qt::ISODate))
                   << '\n'
                   << CommandLine::tr("Serve with: quorvel-server --tls-cert %1 --tls-key %2 "
                                      "--listen 0.0.0.0:8443")
                          .arg(QFileInfo(certificateFile).absoluteFilePath(),
                               QFileInfo(keyFile).absoluteFilePath())
                   << '\n'
                   << CommandLine::tr(
                          "Members enter the server as https://%1:8443 and, when Quorvel "
                          "asks whether to trust it, compare this SHA-256 "
                          "fingerprint:")
                          .arg(hosts.constFirst())
                   << '\n'
                   << TlsTrust::fingerprint(certificate) << '\n';
             out().flush();
             return 0;
         }});
    return list;
}

} // namespace ServerCommands
