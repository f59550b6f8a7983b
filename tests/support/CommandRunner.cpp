// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandRunner.h"

#include "DocumentBuilder.h"

#include "model/QuorvelDocument.h"
#include "platform/Config.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QThread>

#include <csignal>
#include <utility>

CommandRunner::CommandRunner(const QString &program, const QProcessEnvironment &environment,
                             QObject *parent)
    : QObject(parent)
    , m_program(program)
    , m_environment(environment)
{}

void CommandRunner::run(const QList<QStringList> &commands)
{
    m_commands = commands;
    m_answers.clear();
    m_next = 0;
    startNext();
}

void CommandRunner::startNext()
{
    if (m_next >= m_commands.size()) {
        Q_EMIT finished();
        return;
    }
    if (m_beforeEach)
        m_beforeEach(int(m_next));
    m_process = new QProcess(this);
    m_process->setProcessEnvironment(m_environment);
    connect(m_process, &QProcess::finished, this, &CommandRunner::onFinished);
    m_process->start(m_program, m_commands.at(m_next));
}

void CommandRunner::onFinished(int exitCode, QProcess::ExitStatus status)
{
    Answer answer;
    answer.arguments = m_commands.at(m_next);
    answer.exitCode = status == QProcess::NormalExit ? exitCode : -1;
    answer.out = m_process->readAllStandardOutput();
    answer.err = m_process->readAllStandardError();
    m_answers << answer;
    m_process->deleteLater();
    m_process = nullptr;
    ++m_next;
    startNext();
}

WindowProcess::WindowProcess(const QString &program, const QProcessEnvironment &environment)
{
    m_process.setProgram(program);
    m_process.setProcessEnvironment(environment);
}

WindowProcess::~WindowProcess()
{
    if (m_process.state() != QProcess::NotRunning)
        terminate();
}

bool WindowProcess::start(const QString &socketPath, const QStringList &arguments)
{
    m_process.setArguments(arguments);
    m_process.start();
    if (!m_process.waitForStarted(10000))
        return false;
    return waitUntil(
               [&] {
                   return QFileInfo(socketPath).exists()
                          || m_process.state() == QProcess::NotRunning;
               },
               30000)
           && m_process.state() == QProcess::Running;
}

int WindowProcess::terminate()
{
    if (m_process.state() == QProcess::NotRunning)
        return -1;
    ::kill(pid_t(m_process.processId()), SIGTERM);
    if (!m_process.waitForFinished(30000)) {
        m_process.kill();
        m_process.waitForFinished();
        return -1;
    }
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

QByteArray WindowProcess::errorOutput()
{
    m_error += m_process.readAllStandardError();
    return std::exchange(m_error, QByteArray());
}

bool WindowProcess::waitForOutput(const QByteArray &text, int timeoutMs)
{
    return waitUntil(
               [&] {
                   m_error += m_process.readAllStandardError();
                   return m_error.contains(text) || m_process.state() == QProcess::NotRunning;
               },
               timeoutMs)
           && m_error.contains(text);
}

bool waitUntil(const std::function<bool()> &ready, int timeoutMs)
{
    QElapsedTimer waited;
    waited.start();
    while (!ready()) {
        if (waited.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(2);
    }
    return true;
}

QProcessEnvironment processEnvironment(const QString &now)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QUORVEL_FAKE_NOW"), now);
    env.insert(QStringLiteral("LC_ALL"), QStringLiteral("en_US.UTF-8"));
    env.insert(QStringLiteral("LANG"), QStringLiteral("en_US.UTF-8"));
    env.insert(QStringLiteral("TZ"), QStringLiteral("UTC"));
    // LANGUAGE would choose the language of the texts before LC_ALL.
    env.remove(QStringLiteral("LANGUAGE"));
    return env;
}

void quietWindowSettings()
{
    Config desktop(QStringLiteral("quorvelqpe"));
    desktop.setGroup(QStringLiteral("Desktop"));
    desktop.writeEntry(QStringLiteral("RemindAfterHours"), 0);
    desktop.writeEntry(QStringLiteral("AskIdleAfterMinutes"), 0);
}

bool writeWorkActivities(const QStringList &names)
{
    Configuration().setMode(Configuration::Personal);
    quietWindowSettings();
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    for (const QString &name : names)
        build.activity(name, work);
    build.sortAll();
    return doc.save();
}
