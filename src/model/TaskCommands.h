#pragma once

#include <QCoreApplication>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

class Activity;
class QuorvelDocument;
class QVTask;

// The words of the task commands' refusals and warnings: one wording for the window's message
// boxes and for the commands given from outside it.
class TaskMessages
{
    Q_DECLARE_TR_FUNCTIONS(TaskMessages)

public:
    struct Message
    {
        QString title;
        QString text;
    };

    static Message cannotStartOverlap();
    static Message cannotStopFuture();
    static Message cannotStopOverlap();
    static Message otherStartsInFuture();
    static Message otherWouldOverlap();
    static Message sameActivityActive();
    static Message zeroDurationQuestion();

    // A message box text on one line: its line breaks become blanks.
    static QString oneLine(const QString &text);
};

// Starting and stopping tasks as one all-or-nothing step, for commands that cannot ask a
// question (the command line): the shortcut buttons' rules, with every check made before
// anything changes. Nothing is saved; the caller writes the document.
class TaskCommands
{
    Q_DECLARE_TR_FUNCTIONS(TaskCommands)

public:
    struct Outcome
    {
        bool refused = false;
        // Set when refused.
        TaskMessages::Message refusal;
        // What was done or noticed, one line each, for the person who asked.
        QStringList notes;
        // True when the document changed.
        bool changed = false;
    };

    // Starts a task of activity at when (a whole minute). With concurrent tasks off, the
    // running tasks stop at when, and an activity that already runs is left as it is.
    static Outcome start(QuorvelDocument &doc, Activity *activity, const QDateTime &when);
    // Stops the given running tasks at when: all of them, or none when one cannot stop.
    static Outcome stop(QuorvelDocument &doc, const QList<QVTask *> &tasks, const QDateTime &when);
};
