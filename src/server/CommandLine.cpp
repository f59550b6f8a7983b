// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "CommandLine.h"

#include "Admin.h"
#include "ExchangeServer.h"
#include "IdBlocks.h"
#include "Restore.h"
#include "ServerDatabase.h"
#include "TlsFiles.h"

#include "platform/TerminalInput.h"
#include "sync/TlsTrust.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QTextStream>

#include <algorithm>
#include <csignal>
#include <functional>

#include <sys/socket.h>
#include <unistd.h>

namespace {

// Self-pipe for SIGTERM, SIGINT and SIGHUP: the handler only writes the signal's number.
int s_signalPipe[2] = {-1, -1};

void onSignal(int signal)
{
    const char byte = char(signal);
    const ssize_t written = ::write(s_signalPipe[1], &byte, 1);
    Q_UNUSED(written);
}

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}

int usage(const QString &message)
{
    err() << message << '\n' << CommandLine::tr("Try \"quorvel-server --help\".") << '\n';
    err().flush();
    return 2;
}

// Reads a password from the terminal without echo, asking twice, or else one line from
// standard input; never from the command line, where other users could see it.
bool readPassword(const QString &user, QString *password)
{
    if (TerminalInput::isTerminal()) {
        const auto ask = [](const QString &prompt, QString *answer) {
            err() << prompt;
            err().flush();
            return TerminalInput::readLine(answer, true);
        };
        QString again;
        if (!ask(CommandLine::tr("Password for %1: ").arg(user), password)
            || !ask(CommandLine::tr("The same password again: "), &again))
            return false;
        if (*password != again) {
            err() << CommandLine::tr("The two passwords differ.") << '\n';
            return false;
        }
        return true;
    }
    if (!TerminalInput::readLine(password)) {
        err() << CommandLine::tr("No password on standard input.") << '\n';
        return false;
    }
    return true;
}

struct Command
{
    QStringList words;
    QString arguments; // synopsis of the positional arguments
    QString description;
    QList<QCommandLineOption> options;
    int minArguments = 0;
    int maxArguments = 0;
    // Runs the command with the parsed line and its positional arguments.
    std::function<int(const QCommandLineParser &, const QStringList &, const ServerDatabase &)> run;
};

QCommandLineOption dataOption()
{
    return QCommandLineOption(QStringLiteral("data"),
                              CommandLine::tr("Keep the data in the SQLite database of FOLDER "
                                              "(default: %1); with --database, keep there the "
                                              "server's record of the ids it has handed out.")
                                  .arg(ServerDatabase::defaultDataFolder()),
                              CommandLine::tr("FOLDER"));
}

QCommandLineOption databaseOption()
{
    return QCommandLineOption(
        QStringLiteral("database"),
        CommandLine::tr("Keep the data in PostgreSQL, at postgresql://USER@HOST/DATABASE."),
        CommandLine::tr("URL"));
}

// Runs an administration command on a connection of its own, after the schema is current.
int withDatabase(const ServerDatabase &location,
                 const std::function<int(Sql &, const ServerDatabase &)> &body)
{
    const QString name = QStringLiteral("quorvel-admin");
    QString error;
    // Never while a restore replaces the database.
    FolderLock lock;
    if (!location.isPostgres()
        && !lock.take(location.stateFolder(), FolderLock::Mode::Shared, &error)) {
        err() << error << '\n';
        return 1;
    }
    if (!location.open(name, &error)) {
        err() << error << '\n';
        return 1;
    }
    int status = 1;
    {
        QSqlDatabase db = QSqlDatabase::database(name, false);
        if (!location.migrate(db, &error)) {
            err() << error << '\n';
        } else {
            Sql sql(db);
            status = body(sql, location);
        }
    }
    ServerDatabase::close(name);
    out().flush();
    err().flush();
    return status;
}

int admin(const ServerDatabase &location, const std::function<int(Admin &)> &body)
{
    return withDatabase(location, [&](Sql &sql, const ServerDatabase &) {
        Admin admin(sql, location.stateFolder(), out(), err());
        return body(admin);
    });
}

bool parseDate(const QCommandLineParser &parser, const QCommandLineOption &option, QDate *date)
{
    const QString text = parser.value(option);
    *date = QDate::fromString(text, Qt::ISODate);
    if (date->isValid())
        return true;
    usage(CommandLine::tr("--%1 %2 is not a date: write it as YYYY-MM-DD, for instance "
                          "2026-11-21.")
              .arg(option.names().constFirst(), text));
    return false;
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
    QString lockError;
    if (!location.isPostgres()
        && !lock.take(location.stateFolder(), FolderLock::Mode::Shared, &lockError)) {
        err() << lockError << '\n';
        return 1;
    }

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

QList<Command> commands()
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

    list.append(
        {{QStringLiteral("user"), QStringLiteral("add")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Add a user. The password is read from the terminal, or as one "
                         "line from standard input."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             // Asked for only when it can be used.
             return admin(location, [&](Admin &a) {
                 QString password;
                 if (const int refused = a.checkUser(args.at(0), false))
                     return refused;
                 if (!readPassword(args.at(0), &password))
                     return 1;
                 return a.userAdd(args.at(0), password);
             });
         }});
    list.append(
        {{QStringLiteral("user"), QStringLiteral("passwd")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Change a user's password, read as for \"user add\"."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) {
                 QString password;
                 if (const int refused = a.checkUser(args.at(0), true))
                     return refused;
                 if (!readPassword(args.at(0), &password))
                     return 1;
                 return a.userPasswd(args.at(0), password);
             });
         }});
    list.append(
        {{QStringLiteral("user"), QStringLiteral("disable")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Refuse the user's synchronizations; the data stays."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.userDisable(args.at(0), true); });
         }});
    list.append(
        {{QStringLiteral("user"), QStringLiteral("enable")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Take a disabled user back."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.userDisable(args.at(0), false); });
         }});
    list.append(
        {{QStringLiteral("user"), QStringLiteral("list")},
         QString(),
         CommandLine::tr("List the users."),
         {},
         0,
         0,
         [](const QCommandLineParser &, const QStringList &, const ServerDatabase &location) {
             return admin(location, [](Admin &a) { return a.userList(); });
         }});

    list.append(
        {{QStringLiteral("user"), QStringLiteral("history")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Every version and removal of the user's tasks, oldest first: "
                         "task id, version, event, start, stop, activity, time "
                         "recorded (UTC)."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.userHistory(args.at(0)); });
         }});

    list.append(
        {{QStringLiteral("category"), QStringLiteral("add")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Add a category."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.categoryAdd(args.at(0)); });
         }});
    list.append(
        {{QStringLiteral("category"), QStringLiteral("rename")},
         CommandLine::tr("NAME NEW-NAME"),
         CommandLine::tr("Rename a category."),
         {},
         2,
         2,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location,
                          [&](Admin &a) { return a.categoryRename(args.at(0), args.at(1)); });
         }});
    list.append(
        {{QStringLiteral("category"), QStringLiteral("retire")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Withdraw a category and its activities; their tasks stay."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.categoryRetire(args.at(0)); });
         }});
    list.append(
        {{QStringLiteral("category"), QStringLiteral("delete")},
         CommandLine::tr("NAME"),
         CommandLine::tr("Delete a category that has no activities, withdrawn or not."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.categoryDelete(args.at(0)); });
         }});
    list.append(
        {{QStringLiteral("category"), QStringLiteral("list")},
         QString(),
         CommandLine::tr("List the categories."),
         {},
         0,
         0,
         [](const QCommandLineParser &, const QStringList &, const ServerDatabase &location) {
             return admin(location, [](Admin &a) { return a.categoryList(); });
         }});

    const QCommandLineOption category(QStringLiteral("category"),
                                      CommandLine::tr("The activity's category."),
                                      CommandLine::tr("CATEGORY"));
    list.append({{QStringLiteral("activity"), QStringLiteral("add")},
                 CommandLine::tr("NAME"),
                 CommandLine::tr("Add an activity to a category (--category is required)."),
                 {category},
                 1,
                 1,
                 [=](const QCommandLineParser &parser, const QStringList &args,
                     const ServerDatabase &location) {
                     if (!parser.isSet(category))
                         return usage(CommandLine::tr("\"activity add\" needs --category."));
                     return admin(location, [&](Admin &a) {
                         return a.activityAdd(args.at(0), parser.value(category));
                     });
                 }});
    list.append({{QStringLiteral("activity"), QStringLiteral("rename")},
                 CommandLine::tr("NAME NEW-NAME"),
                 CommandLine::tr("Rename an activity."),
                 {category},
                 2,
                 2,
                 [=](const QCommandLineParser &parser, const QStringList &args,
                     const ServerDatabase &location) {
                     return admin(location, [&](Admin &a) {
                         return a.activityRename(args.at(0), parser.value(category), args.at(1));
                     });
                 }});
    list.append({{QStringLiteral("activity"), QStringLiteral("retire")},
                 CommandLine::tr("NAME"),
                 CommandLine::tr("Withdraw an activity; its tasks stay."),
                 {category},
                 1,
                 1,
                 [=](const QCommandLineParser &parser, const QStringList &args,
                     const ServerDatabase &location) {
                     return admin(location, [&](Admin &a) {
                         return a.activityRetire(args.at(0), parser.value(category));
                     });
                 }});
    list.append({{QStringLiteral("activity"), QStringLiteral("delete")},
                 CommandLine::tr("NAME"),
                 CommandLine::tr("Delete an activity that no task uses (nor ever did), "
                                 "withdrawn or not."),
                 {category},
                 1,
                 1,
                 [=](const QCommandLineParser &parser, const QStringList &args,
                     const ServerDatabase &location) {
                     return admin(location, [&](Admin &a) {
                         return a.activityDelete(args.at(0), parser.value(category));
                     });
                 }});
    list.append(
        {{QStringLiteral("activity"), QStringLiteral("list")},
         QString(),
         CommandLine::tr("List the activities with their categories."),
         {},
         0,
         0,
         [](const QCommandLineParser &, const QStringList &, const ServerDatabase &location) {
             return admin(location, [](Admin &a) { return a.activityList(); });
         }});

    const QCommandLineOption deviceUser(QStringLiteral("user"),
                                        CommandLine::tr("Only this user's devices."),
                                        CommandLine::tr("USER"));
    list.append({{QStringLiteral("device"), QStringLiteral("list")},
                 QString(),
                 CommandLine::tr("List the devices (the users' computers): number, user, blocks "
                                 "of task ids, when added and last synchronized (UTC)."),
                 {deviceUser},
                 0,
                 0,
                 [=](const QCommandLineParser &parser, const QStringList &,
                     const ServerDatabase &location) {
                     return admin(location,
                                  [&](Admin &a) { return a.deviceList(parser.value(deviceUser)); });
                 }});
    const QCommandLineOption notSeenFor(
        QStringLiteral("not-seen-for"),
        CommandLine::tr("Forget every device not synchronized for DAYS days."),
        CommandLine::tr("DAYS"));
    list.append(
        {{QStringLiteral("device"), QStringLiteral("forget")},
         CommandLine::tr("DEVICE... | --not-seen-for DAYS"),
         CommandLine::tr("Forget devices that are gone, by their numbers in \"device list\", so "
                         "that their blocks of task ids can be handed out again once no other is "
                         "left. Their tasks stay."),
         {notSeenFor},
         0,
         1000,
         [=](const QCommandLineParser &parser, const QStringList &args,
             const ServerDatabase &location) {
             const QString usage = CommandLine::tr("\"device forget\" takes device numbers, or "
                                                   "--not-seen-for and a number of days.");
             if (parser.isSet(notSeenFor)) {
                 bool ok = false;
                 const int days = parser.value(notSeenFor).toInt(&ok);
                 if (!args.isEmpty() || !ok || days < 1)
                     return ::usage(usage);
                 return admin(location, [&](Admin &a) { return a.deviceForgetUnseen(days); });
             }
             QList<qint64> devices;
             for (const QString &arg : args) {
                 bool ok = false;
                 devices << arg.toLongLong(&ok);
                 if (!ok || devices.constLast() <= 0)
                     return ::usage(usage);
             }
             if (devices.isEmpty())
                 return ::usage(usage);
             return admin(location, [&](Admin &a) { return a.deviceForget(devices); });
         }});

    const QCommandLineOption all(QStringLiteral("all"),
                                 CommandLine::tr("Send to every user that is not disabled."));
    list.append({{QStringLiteral("message"), QStringLiteral("send")},
                 CommandLine::tr("USER TEXT | --all TEXT"),
                 CommandLine::tr("Queue a message (rich text) until the user's next "
                                 "synchronization."),
                 {all},
                 1,
                 2,
                 [=](const QCommandLineParser &parser, const QStringList &args,
                     const ServerDatabase &location) {
                     const bool everyone = parser.isSet(all);
                     if (args.size() != (everyone ? 1 : 2))
                         return usage(CommandLine::tr("\"message send\" takes a user and a text, "
                                                      "or --all and a text."));
                     const QStringList users = everyone ? QStringList() : QStringList{args.at(0)};
                     return admin(location,
                                  [&](Admin &a) { return a.messageSend(users, args.constLast()); });
                 }});
    list.append(
        {{QStringLiteral("import")},
         CommandLine::tr("FILE"),
         CommandLine::tr("Add the categories and activities of a Quorvel data file "
                         "(quorvelqpe.dat) that the server lacks."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location, [&](Admin &a) { return a.import(args.at(0)); });
         }});
    list.append(
        {{QStringLiteral("backup")},
         CommandLine::tr("FILE"),
         CommandLine::tr("Copy the SQLite database to a new FILE while the server "
                         "runs."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return admin(location,
                          [&](Admin &a) { return a.backup(args.at(0), location.isPostgres()); });
         }});

    list.append(
        {{QStringLiteral("restore")},
         CommandLine::tr("FILE"),
         CommandLine::tr("Put the SQLite database back from a FILE that \"backup\" wrote, with "
                         "the server stopped. The database it replaces is kept beside it, and "
                         "no id handed out since the backup is handed out again."),
         {},
         1,
         1,
         [](const QCommandLineParser &, const QStringList &args, const ServerDatabase &location) {
             return Restore::run(location, args.at(0), out(), err());
         }});

    const QCommandLineOption from(QStringLiteral("from"),
                                  CommandLine::tr("First day of the period, YYYY-MM-DD."),
                                  CommandLine::tr("DATE"));
    const QCommandLineOption to(QStringLiteral("to"),
                                CommandLine::tr("Last day of the period, YYYY-MM-DD."),
                                CommandLine::tr("DATE"));
    const QCommandLineOption user(QStringLiteral("user"),
                                  CommandLine::tr("Only this user's tasks (default: the whole "
                                                  "team)."),
                                  CommandLine::tr("USER"));
    const QCommandLineOption format(QStringLiteral("format"),
                                    CommandLine::tr("html (default) or csv."),
                                    CommandLine::tr("FORMAT"), QStringLiteral("html"));
    const QCommandLineOption decimal(QStringLiteral("decimal"),
                                     CommandLine::tr("Show time in decimal hours."));
    const QCommandLineOption zero(QStringLiteral("zero"),
                                  CommandLine::tr("Include activities with zero time."));
    for (const bool summary : {true, false}) {
        list.append({{QStringLiteral("report"),
                      summary ? QStringLiteral("summary") : QStringLiteral("timesheet")},
                     QString(),
                     summary ? CommandLine::tr("The period summary, as the program's Report menu "
                                               "shows it, for a user or the whole team.")
                             : CommandLine::tr("The period time sheet, as the program's Report "
                                               "menu shows it, for a user or the whole team."),
                     {from, to, user, format, decimal, zero},
                     0,
                     0,
                     [=](const QCommandLineParser &parser, const QStringList &,
                         const ServerDatabase &location) {
                         if (!parser.isSet(from) || !parser.isSet(to))
                             return usage(CommandLine::tr("A report needs --from and --to."));
                         QDate first, last;
                         if (!parseDate(parser, from, &first) || !parseDate(parser, to, &last))
                             return 2;
                         const QString kind = parser.value(format);
                         if (kind != QLatin1String("html") && kind != QLatin1String("csv"))
                             return usage(CommandLine::tr("--format takes html or csv."));
                         return admin(location, [&](Admin &a) {
                             return a.report(summary ? Admin::ReportKind::Summary
                                                     : Admin::ReportKind::TimeSheet,
                                             first, last, parser.value(user),
                                             kind == QLatin1String("csv")
                                                 ? Admin::ReportFormat::Csv
                                                 : Admin::ReportFormat::Html,
                                             parser.isSet(decimal), parser.isSet(zero));
                         });
                     }});
    }
    return list;
}

QString commandList(const QList<Command> &list, const QString &group)
{
    QString text;
    for (const Command &command : list) {
        if (!group.isEmpty() && command.words.constFirst() != group)
            continue;
        QString synopsis = command.words.join(QLatin1Char(' '));
        if (!command.arguments.isEmpty())
            synopsis += QLatin1Char(' ') + command.arguments;
        text += QStringLiteral("  %1\n      %2\n").arg(synopsis, command.description);
    }
    return text
           + CommandLine::tr("\nEvery command takes --data FOLDER or --database URL, and "
                             "--help for its own options. A name that begins with \"-\" "
                             "goes after \"--\": quorvel-server category add -- -Misc\n");
}

QString overview(const QList<Command> &list)
{
    return CommandLine::tr("Usage: quorvel-server [COMMAND] [OPTIONS]\n\n"
                           "The Quorvel group server. Without a command it runs the "
                           "server.\n\nCommands:\n")
           + commandList(list, QString());
}

// The commands of a group, such as "user": its first word.
QString groupHelp(const QList<Command> &list, const QString &group)
{
    return CommandLine::tr("Usage: quorvel-server %1 COMMAND [OPTIONS]\n\nCommands:\n").arg(group)
           + commandList(list, group);
}

} // namespace

CommandLine::CommandLine(const QStringList &arguments)
    : m_arguments(arguments)
{}

int CommandLine::run()
{
    const QList<Command> list = commands();

    // The command's words are the first arguments that are not options or option values.
    QSet<QString> valueOptions;
    for (const Command &command : list) {
        for (const QCommandLineOption &option : command.options) {
            if (!option.valueName().isEmpty())
                valueOptions.insert(QStringLiteral("--") + option.names().constFirst());
        }
    }
    valueOptions.insert(QStringLiteral("--data"));
    valueOptions.insert(QStringLiteral("--database"));
    QStringList words;
    for (int i = 1; i < m_arguments.size() && words.size() < 2; ++i) {
        const QString &arg = m_arguments.at(i);
        if (arg == QLatin1String("--"))
            break;
        if (arg.startsWith(QLatin1Char('-'))) {
            if (valueOptions.contains(arg))
                ++i;
            continue;
        }
        words.append(arg);
    }

    const Command *chosen = nullptr;
    for (const Command &command : list) {
        if (words.mid(0, command.words.size()) == command.words
            && (!chosen || command.words.size() > chosen->words.size()))
            chosen = &command;
    }
    const bool asksHelp = m_arguments.contains(QStringLiteral("--help"))
                          || m_arguments.contains(QStringLiteral("-h"));
    if (!chosen && words.isEmpty()) {
        if (asksHelp) {
            out() << overview(list);
            out().flush();
            return 0;
        }
        chosen = &list.first(); // serve
    }
    if (!chosen) {
        const bool group = std::any_of(list.cbegin(), list.cend(), [&](const Command &command) {
            return command.words.size() > 1 && command.words.constFirst() == words.constFirst();
        });
        if (group && words.size() == 1) {
            out() << groupHelp(list, words.constFirst());
            out().flush();
            return 0;
        }
        if (group) {
            err() << tr("Unknown command: %1").arg(words.join(QLatin1Char(' '))) << "\n\n"
                  << groupHelp(list, words.constFirst());
            err().flush();
            return 2;
        }
        return usage(tr("Unknown command: %1").arg(words.join(QLatin1Char(' '))));
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(chosen->description);
    const QCommandLineOption data = dataOption();
    const QCommandLineOption database = databaseOption();
    parser.addOption(data);
    parser.addOption(database);
    parser.addOptions(chosen->options);
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    parser.addPositionalArgument(
        chosen->words.join(QLatin1Char(' ')), QString(),
        chosen->words.join(QLatin1Char(' '))
            + (chosen->arguments.isEmpty() ? QString() : QLatin1Char(' ') + chosen->arguments));
    // The usage line names the program, not the path it was started by.
    QStringList arguments = m_arguments;
    if (!arguments.isEmpty())
        arguments.first() = QStringLiteral("quorvel-server");
    if (!parser.parse(arguments))
        return usage(parser.errorText());
    if (parser.isSet(help)) {
        QString text = parser.helpText();
        if (!m_arguments.isEmpty())
            text.replace(text.indexOf(m_arguments.first()), m_arguments.first().size(),
                         QStringLiteral("quorvel-server"));
        out() << text;
        out().flush();
        return 0;
    }
    if (parser.isSet(version)) {
        out() << QCoreApplication::applicationName() << ' '
              << QCoreApplication::applicationVersion() << '\n';
        out().flush();
        return 0;
    }
    QStringList args = parser.positionalArguments();
    // "serve" may be left out.
    const int skip
        = args.mid(0, chosen->words.size()) == chosen->words ? int(chosen->words.size()) : 0;
    args = args.mid(skip);
    if (args.size() < chosen->minArguments || args.size() > chosen->maxArguments) {
        return usage(tr("Usage: quorvel-server %1 %2")
                         .arg(chosen->words.join(QLatin1Char(' ')), chosen->arguments)
                         .trimmed());
    }

    // An empty folder name would be the current folder, wherever that is.
    if (parser.isSet(data) && parser.value(data).isEmpty())
        return usage(tr("--data needs the name of a folder."));
    ServerDatabase location;
    if (parser.isSet(database)) {
        QString error;
        if (!ServerDatabase::fromUrl(parser.value(database), &location, &error))
            return usage(error);
        // The server's own records beside a PostgreSQL database.
        if (parser.isSet(data))
            location.setStateFolder(parser.value(data));
    } else {
        location = ServerDatabase::sqliteIn(
            parser.isSet(data) ? parser.value(data) : ServerDatabase::defaultDataFolder());
    }
    return chosen->run(parser, args, location);
}
