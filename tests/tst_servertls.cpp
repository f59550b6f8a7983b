// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
// The program in group mode against a real quorvel-server over TLS on 127.0.0.1, with a
// certificate authority the test makes itself: a certificate it vouches for synchronises; one
// for another host, an expired one and one of an unknown authority are refused with their
// texts and the device goes back to its file byte for byte; a self-signed certificate is asked
// about once, kept, and a different one at the same address refused; a plain client at the TLS
// port and a TLS client at a plain port fail clearly while the server serves the others; and a
// certificate renewed on disk is presented after SIGHUP, without a restart.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "ServerProcess.h"
#include "SyncDevice.h"
#include "TestAuthority.h"
#include "TestEnvironment.h"
#include "WindowExchange.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/OperatingMode.h"
#include "dialogs/Synchronize.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "sync/TlsTrust.h"
#include "widgets/QuorvelApplication.h"

#include <QAction>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTextBrowser>
#include <QtTest>

#include <memory>

#include <signal.h>

namespace {

const QColor Green(128, 255, 128);
const QColor Red(255, 128, 128);

const QString Complete = QStringLiteral("Synchronization Complete");
const QString Incomplete = QStringLiteral("Synchronization Incomplete");
const QString NotTrusted
    = QStringLiteral("Secure Connection Failed: the server's certificate is not trusted");
const QString OtherHost
    = QStringLiteral("Secure Connection Failed: the server's certificate is for another host");
const QString Expired
    = QStringLiteral("Secure Connection Failed: the server's certificate has expired");
const QString Changed
    = QStringLiteral("Secure Connection Failed: the server's certificate has changed");
const QString NoTls
    = QStringLiteral("Secure Connection Failed: the server did not set up an encrypted connection");

// The fingerprint as the question shows it: 16 bytes a line.
QString inTwoLines(const QString &fingerprint)
{
    return fingerprint.left(47) + QLatin1Char('\n') + fingerprint.mid(48);
}

} // namespace

class TestServerTls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void trustedCertificateSynchronises();
    void refusedCertificates_data();
    void refusedCertificates();
    void selfSignedAskedOnceThenKept();
    void declinedSelfSignedSendsNothing();
    void plainClientAtTlsPort();
    void tlsClientAtPlainPort();
    void renewedCertificateAfterSighup();

private:
    // The server over TLS with the certificate, or in plain HTTP without one; the device in
    // group mode for alice at address (its %1 the server's port), with a data file of its own.
    void startServer(const TestAuthority::Issued &certificate);
    void prepareDevice(const QString &address);
    // Settings → Operating Mode, the server's address typed in again.
    void enterServerAgain(QuorvelMainWindow &window);
    // A change the window has not written yet, which the command saves first: m_before.
    void addUnsavedChange(QuorvelMainWindow &window);
    // A failed exchange left the file as it was, and the window with it.
    void verifyReverted(const QuorvelMainWindow &window);
    QString serverKey() const { return QStringLiteral("localhost:%1").arg(m_server->port()); }

    TestAuthority m_authority;
    TestAuthority m_stranger{QStringLiteral("Unknown Test Authority")};
    TestAuthority::Issued m_good;
    QTemporaryDir m_folder;
    std::unique_ptr<ServerProcess> m_server;
    QByteArray m_before;
};

void TestServerTls::initTestCase()
{
    QVERIFY2(m_authority.isValid(), qPrintable(m_authority.error()));
    QVERIFY2(m_stranger.isValid(), qPrintable(m_stranger.error()));
    m_good = m_authority.issue(QStringLiteral("good"),
                               {QStringLiteral("localhost"), QStringLiteral("127.0.0.1")});
    QVERIFY2(!m_good.certificateFile.isEmpty(), qPrintable(m_authority.error()));
    // The test's authority stands in for the system's.
    TlsTrust::setAuthorities(m_authority.certificates());
}

void TestServerTls::init()
{
    MessageBox::clearShown();
    Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(9, 30, 0)));
    Synchronize::setTimeoutMilliseconds(30000);
}

void TestServerTls::cleanup()
{
    if (m_server) {
        QVERIFY2(m_server->stop(), qPrintable(m_server->log()));
        m_server.reset();
    }
}

void TestServerTls::startServer(const TestAuthority::Issued &certificate)
{
    static int stores = 0;
    m_server = std::make_unique<ServerProcess>(
        QStringList{QStringLiteral("--data"), m_folder.filePath(QString::number(++stores))});
    QVERIFY(m_server->addUser(QStringLiteral("alice"), QStringLiteral("alice-secret")));
    QCOMPARE(
        m_server->admin({QStringLiteral("category"), QStringLiteral("add"), QStringLiteral("Work")})
            .status,
        0);
    QCOMPARE(
        m_server
            ->admin({QStringLiteral("activity"), QStringLiteral("add"), QStringLiteral("Coding"),
                     QStringLiteral("--category"), QStringLiteral("Work")})
            .status,
        0);
    QStringList extra;
    if (!certificate.certificateFile.isEmpty())
        extra = QStringList{QStringLiteral("--tls-cert"), certificate.certificateFile,
                            QStringLiteral("--tls-key"), certificate.keyFile};
    QVERIFY(m_server->start(extra));
}

void TestServerTls::prepareDevice(const QString &address)
{
    QVERIFY(prepareGroupDevice(address.arg(m_server->port()), QStringLiteral("alice"),
                               QStringLiteral("alice-secret")));
    m_before = dataFileBytes();
}

void TestServerTls::enterServerAgain(QuorvelMainWindow &window)
{
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<OperatingMode *>(widget);
        QVERIFY(dialog);
        const QString address = dialog->txtServer->text();
        dialog->txtServer->clear();
        QTest::keyClicks(dialog->txtServer, address);
        if (dialog->txtPassword->text().isEmpty())
            dialog->txtPassword->setText(QStringLiteral("alice-secret"));
        dialog->accept();
    });
    actionNamed(window, QStringLiteral("Operating Mode"))->trigger();
    QCOMPARE(answers.remaining(), 0);
}

void TestServerTls::addUnsavedChange(QuorvelMainWindow &window)
{
    DocumentBuilder(*window.document()).category(QStringLiteral("Unsaved"));
    window.document()->categories.sort();
    m_before = window.document()->getDocumentBytes();
}

void TestServerTls::verifyReverted(const QuorvelMainWindow &window)
{
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().constLast().title, Incomplete);
    QCOMPARE(dataFileBytes(), m_before);
    QCOMPARE(window.document()->getDocumentBytes(), m_before);
    // Nothing reached the server.
    QCOMPARE(m_server->exchangeLines(), QStringList());
}

void TestServerTls::trustedCertificateSynchronises()
{
    startServer(m_good);
    QVERIFY2(m_server->log().contains(
                 QStringLiteral("quorvel-server: listening on 127.0.0.1:%1 over TLS, data in ")
                     .arg(m_server->port())),
             qPrintable(m_server->log()));
    QVERIFY(m_server->log().contains(
        QStringLiteral("quorvel-server: TLS certificate for localhost, 127.0.0.1, SHA-256 %1, "
                       "valid until %2 (from %3)\n")
            .arg(TestAuthority::fingerprint(m_good.certificateFile),
                 TestAuthority::expiryDate(m_good.certificateFile).toString(Qt::ISODate),
                 m_good.certificateFile)));
    prepareDevice(QStringLiteral("https://localhost:%1"));
    QuorvelMainWindow window;
    const SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.status, Complete);
    QCOMPARE(outcome.colour, Green);
    QVERIFY(outcome.succeeded);
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(outcome.messages, QStringLiteral("1 new category: Work, 1 new activity: Coding "));
    QCOMPARE(window.document()->activities.size(), 1);
    const QStringList lines = m_server->exchangeLines();
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.at(0).contains(QStringLiteral("result=complete peer=127.0.0.1")),
             qPrintable(lines.at(0)));
    // Nothing was asked and nothing kept: the authority vouched for the certificate.
    QCOMPARE(Configuration().trustedCertificate(serverKey()), QString());
}

void TestServerTls::refusedCertificates_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<QString>("status");
    QTest::newRow("another host") << "other" << OtherHost;
    QTest::newRow("expired") << "expired" << Expired;
    QTest::newRow("unknown authority") << "stranger" << NotTrusted;
}

void TestServerTls::refusedCertificates()
{
    QFETCH(QString, which);
    QFETCH(QString, status);
    const QStringList localhost{QStringLiteral("localhost"), QStringLiteral("127.0.0.1")};
    TestAuthority::Issued certificate;
    if (which == QLatin1String("other"))
        certificate = m_authority.issue(QStringLiteral("other"), {QStringLiteral("otherhost")});
    else if (which == QLatin1String("expired"))
        certificate = m_authority.issue(QStringLiteral("expired"), localhost, -1);
    else
        certificate = m_stranger.issue(QStringLiteral("stranger"), localhost);
    QVERIFY(!certificate.certificateFile.isEmpty());
    startServer(certificate);
    prepareDevice(QStringLiteral("https://localhost:%1"));
    const QString server = serverKey();
    const QString fingerprint = TestAuthority::fingerprint(certificate.certificateFile);
    QString messages;
    if (which == QLatin1String("other")) {
        messages = QStringLiteral("The certificate of %1 is made out for otherhost, so nothing was "
                                  "sent to it.\n\nEnter the server's address with a name its "
                                  "certificate names (Settings \u2192 Operating Mode), or ask "
                                  "your team lead.")
                       .arg(server);
    } else if (which == QLatin1String("expired")) {
        messages
            = QStringLiteral("The certificate of %1 expired on %2, so nothing was sent to "
                             "it.\n\nAsk your team lead to renew it, and check the date and "
                             "time of this computer.")
                  .arg(
                      server,
                      TestAuthority::expiryDate(certificate.certificateFile).toString(Qt::ISODate));
    } else {
        messages = QStringLiteral("No certificate authority that this computer trusts vouches "
                                  "for the certificate of %1, so nothing was sent to it.\n\n"
                                  "The certificate: localhost, 127.0.0.1, issued by Unknown Test "
                                  "Authority\nSHA-256: %2\n\nIf your team has a certificate "
                                  "authority of its own, it has to be added to the authorities "
                                  "of this computer.")
                       .arg(server, fingerprint);
    }

    QuorvelMainWindow window;
    addUnsavedChange(window);
    const SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.status, status);
    QCOMPARE(outcome.colour, Red);
    QVERIFY(!outcome.succeeded);
    QCOMPARE(outcome.messages, messages);
    verifyReverted(window);
    // Only a self-signed certificate is asked about, and nothing was kept.
    QCOMPARE(Configuration().trustedCertificate(server), QString());
}

void TestServerTls::selfSignedAskedOnceThenKept()
{
    // Made by the server's own command, as a team lead would.
    const TestAuthority::Issued first{m_folder.filePath(QStringLiteral("first.pem")),
                                      m_folder.filePath(QStringLiteral("first.key"))};
    ServerProcess tool({QStringLiteral("--data"), m_folder.filePath(QStringLiteral("tool"))});
    const ServerProcess::Result made = tool.admin(
        {QStringLiteral("tls"), QStringLiteral("self-signed"), QStringLiteral("--host"),
         QStringLiteral("localhost"), QStringLiteral("--tls-cert"), first.certificateFile,
         QStringLiteral("--tls-key"), first.keyFile});
    QVERIFY2(made.status == 0, qPrintable(made.err));
    const QString fingerprint = TestAuthority::fingerprint(first.certificateFile);
    QVERIFY(made.out.endsWith(QLatin1Char('\n') + fingerprint + QLatin1Char('\n')));
    startServer(first);
    prepareDevice(QStringLiteral("https://localhost:%1"));
    const QString server = serverKey();
    const QString question
        = QStringLiteral("Trust this server?\n\n%1 presents a certificate that it made itself: no "
                         "certificate authority vouches for it. Its SHA-256 fingerprint is\n\n%2"
                         "\n\nAnswer Yes only if your team lead gave you this fingerprint. "
                         "Quorvel then keeps the certificate and refuses any other from this "
                         "server.")
              .arg(server, inTwoLines(fingerprint));

    QuorvelMainWindow window;
    MessageBox::setNextAnswer(QMessageBox::Yes);
    SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.status, Complete);
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Unknown Server Certificate"));
    QCOMPARE(MessageBox::shown().at(0).text, question);
    QCOMPARE(MessageBox::shown().at(0).icon, QMessageBox::Warning);
    QCOMPARE(Configuration().trustedCertificate(server), fingerprint);
    QCOMPARE(m_server->exchangeLines().size(), 1);

    // Kept: the next exchange asks nothing.
    MessageBox::clearShown();
    outcome = synchronize(window);
    QCOMPARE(outcome.status, Complete);
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(m_server->exchangeLines().size(), 2);

    // Another self-signed certificate at the same address is refused, without a question.
    ServerProcess::Result second = tool.admin(
        {QStringLiteral("tls"), QStringLiteral("self-signed"), QStringLiteral("--host"),
         QStringLiteral("localhost"), QStringLiteral("--tls-cert"),
         m_folder.filePath(QStringLiteral("second.pem")), QStringLiteral("--tls-key"),
         m_folder.filePath(QStringLiteral("second.key"))});
    QVERIFY2(second.status == 0, qPrintable(second.err));
    const QString other
        = TestAuthority::fingerprint(m_folder.filePath(QStringLiteral("second.pem")));
    QVERIFY(QFile::remove(first.certificateFile) && QFile::remove(first.keyFile));
    QVERIFY(QFile::rename(m_folder.filePath(QStringLiteral("second.pem")), first.certificateFile));
    QVERIFY(QFile::rename(m_folder.filePath(QStringLiteral("second.key")), first.keyFile));
    ::kill(pid_t(m_server->pid()), SIGHUP);
    QTRY_VERIFY(m_server->log().contains(QStringLiteral("SIGHUP: TLS certificate read again")));
    window.flush();
    m_before = dataFileBytes();
    MessageBox::clearShown();
    outcome = synchronize(window);
    QCOMPARE(outcome.status, Changed);
    QCOMPARE(outcome.colour, Red);
    QCOMPARE(outcome.messages,
             QStringLiteral("%1 presented a certificate other than the one trusted before, so "
                            "nothing was sent to it: someone may be standing between this "
                            "computer and the server.\n\nTrusted before: SHA-256 %2\nPresented "
                            "now: SHA-256 %3\n\nIf your team lead has made a new certificate, "
                            "compare its fingerprint with theirs. To be asked about it, enter "
                            "the server's address again in Settings \u2192 Operating Mode.")
                 .arg(server, fingerprint, other));
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, Incomplete);
    QCOMPARE(dataFileBytes(), m_before);
    QCOMPARE(window.document()->getDocumentBytes(), m_before);
    QCOMPARE(m_server->exchangeLines().size(), 2);
    QCOMPARE(Configuration().trustedCertificate(server), fingerprint);

    // Opening the settings and leaving the address as it is keeps what was trusted.
    {
        ModalAnswers answers;
        answers.add([](QWidget *widget) {
            auto *dialog = qobject_cast<OperatingMode *>(widget);
            QVERIFY(dialog);
            if (dialog->txtPassword->text().isEmpty())
                dialog->txtPassword->setText(QStringLiteral("alice-secret"));
            dialog->accept();
        });
        actionNamed(window, QStringLiteral("Operating Mode"))->trigger();
    }
    QCOMPARE(Configuration().trustedCertificate(server), fingerprint);
    // The address typed in again: the next exchange asks about the new certificate.
    enterServerAgain(window);
    QCOMPARE(Configuration().trustedCertificate(server), QString());
    MessageBox::clearShown();
    MessageBox::setNextAnswer(QMessageBox::Yes);
    outcome = synchronize(window);
    QCOMPARE(outcome.status, Complete);
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).text,
             QString(question).replace(inTwoLines(fingerprint), inTwoLines(other)));
    QCOMPARE(Configuration().trustedCertificate(server), other);
}

void TestServerTls::declinedSelfSignedSendsNothing()
{
    const TestAuthority::Issued self = m_authority.selfSigned(
        QStringLiteral("self"), {QStringLiteral("localhost"), QStringLiteral("127.0.0.1")});
    QVERIFY(!self.certificateFile.isEmpty());
    startServer(self);
    prepareDevice(QStringLiteral("https://localhost:%1"));
    QuorvelMainWindow window;
    addUnsavedChange(window);
    // No answer queued: the question's Escape button, No.
    const SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.status, NotTrusted);
    QCOMPARE(outcome.colour, Red);
    QCOMPARE(outcome.messages,
             QStringLiteral("You did not trust the certificate of %1, so nothing was sent to it."
                            "\n\nSHA-256: %2")
                 .arg(serverKey(), TestAuthority::fingerprint(self.certificateFile)));
    QCOMPARE(MessageBox::shown().size(), 2);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Unknown Server Certificate"));
    QCOMPARE(MessageBox::shown().at(1).title, Incomplete);
    QCOMPARE(dataFileBytes(), m_before);
    QCOMPARE(window.document()->getDocumentBytes(), m_before);
    QCOMPARE(m_server->exchangeLines(), QStringList());
    QCOMPARE(Configuration().trustedCertificate(serverKey()), QString());
}

void TestServerTls::plainClientAtTlsPort()
{
    startServer(m_good);
    prepareDevice(QStringLiteral("localhost:%1"));
    QuorvelMainWindow window;
    addUnsavedChange(window);
    const SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.status, QStringLiteral("Synchronization Failed"));
    QCOMPARE(outcome.colour, Red);
    QCOMPARE(outcome.messages,
             QStringLiteral("The server refused this synchronization.\nThis server takes only "
                            "encrypted connections: enter its address beginning with https:// "
                            "in Settings \u2192 Operating Mode. What this computer sent crossed "
                            "the network unencrypted, its password with it; if the network is "
                            "not your own, ask your team lead to change the password. Nothing "
                            "was changed. "));
    verifyReverted(window);
    QTRY_VERIFY(m_server->log().contains(
        QStringLiteral("request peer=127.0.0.1 result=refused:not-encrypted")));

    // The server goes on serving those who speak TLS.
    SyncDevice device(QStringLiteral("https://localhost:%1").arg(m_server->port()),
                      QStringLiteral("alice"), QStringLiteral("alice-secret"));
    QCOMPARE(device.exchange().status, 200);
    QCOMPARE(device.doc.activities.size(), 1);
}

void TestServerTls::tlsClientAtPlainPort()
{
    startServer(TestAuthority::Issued());
    prepareDevice(QStringLiteral("https://localhost:%1"));
    QuorvelMainWindow window;
    addUnsavedChange(window);
    const SyncOutcome outcome = synchronize(window);
    QCOMPARE(outcome.status, NoTls);
    QCOMPARE(outcome.colour, Red);
    QCOMPARE(outcome.messages,
             QStringLiteral("No encrypted connection to %1 could be set up (The remote host "
                            "closed the connection), so nothing was sent to it.\n\nCheck that "
                            "the address names the server's TLS port; a server without TLS is "
                            "entered without https://.")
                 .arg(serverKey()));
    verifyReverted(window);
    QVERIFY(m_server->log().contains(
        QStringLiteral("request peer=127.0.0.1 result=refused:tls-at-plain-server")));

    SyncDevice device(m_server->address(), QStringLiteral("alice"), QStringLiteral("alice-secret"));
    QCOMPARE(device.exchange().status, 200);
    QCOMPARE(device.doc.activities.size(), 1);
}

void TestServerTls::renewedCertificateAfterSighup()
{
    const TestAuthority::Issued renewal = m_authority.issue(
        QStringLiteral("renewal"), {QStringLiteral("localhost"), QStringLiteral("127.0.0.1")});
    QVERIFY(!renewal.certificateFile.isEmpty());
    // The files the server reads, replaced in place as a renewal job does.
    const TestAuthority::Issued served{m_folder.filePath(QStringLiteral("served.pem")),
                                       m_folder.filePath(QStringLiteral("served.key"))};
    QFile::remove(served.certificateFile);
    QFile::remove(served.keyFile);
    QVERIFY(QFile::copy(m_good.certificateFile, served.certificateFile));
    QVERIFY(QFile::copy(m_good.keyFile, served.keyFile));
    startServer(served);
    const qint64 pid = m_server->pid();
    SyncDevice device(QStringLiteral("https://localhost:%1").arg(m_server->port()),
                      QStringLiteral("alice"), QStringLiteral("alice-secret"));
    SyncDevice::Reply reply = device.exchange();
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.certificate, TestAuthority::fingerprint(m_good.certificateFile));

    // A key that is not the certificate's, as a renewal job half done: the pair in use stays.
    QVERIFY(QFile::remove(served.certificateFile));
    QVERIFY(QFile::copy(renewal.certificateFile, served.certificateFile));
    ::kill(pid_t(pid), SIGHUP);
    QTRY_VERIFY(m_server->log().contains(
        QStringLiteral("SIGHUP: kept the TLS certificate in use: The key %1 does not go with the "
                       "certificate %2: ")
            .arg(served.keyFile, served.certificateFile)));
    reply = device.exchange();
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.certificate, TestAuthority::fingerprint(m_good.certificateFile));

    QVERIFY(QFile::remove(served.keyFile));
    QVERIFY(QFile::copy(renewal.keyFile, served.keyFile));
    ::kill(pid_t(pid), SIGHUP);
    QTRY_VERIFY(m_server->log().contains(
        QStringLiteral("SIGHUP: TLS certificate read again: for localhost, 127.0.0.1, SHA-256 %1, "
                       "valid until %2\n")
            .arg(TestAuthority::fingerprint(renewal.certificateFile),
                 TestAuthority::expiryDate(renewal.certificateFile).toString(Qt::ISODate))));
    reply = device.exchange();
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.certificate, TestAuthority::fingerprint(renewal.certificateFile));
    QCOMPARE(m_server->pid(), pid);

    // The program itself takes the renewed certificate.
    prepareDevice(QStringLiteral("https://localhost:%1"));
    QuorvelMainWindow window;
    QCOMPARE(synchronize(window).status, Complete);
}

int main(int argc, char *argv[])
{
    TestEnvironment environment;
    QuorvelApplication app(argc, argv);
    MessageBox::setTesting(true);
    TestServerTls tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_servertls.moc"
