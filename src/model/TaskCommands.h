// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

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

    // The names of changes, as the Edit menu's Undo and Redo show them ("Undo Start of
    // Coding").
    static QString startChange(const QString &activity);
    static QString stopChange(const QStringList &activities);
    static QString underAMinuteChange();
    enum class Record { Category, Activity };
    enum class Change { New, Edit, Delete };
    // "New Category Travel", "Delete Activity Gardening".
    static QString recordChange(Record record, Change change, const QString &name);
    // The way out of a stop refused for an overlap: a stop at the latest moment that works.
    static QString stopAt(const QDateTime &when);

    // For the question before a category or an activity is withdrawn: these running tasks
    // go on, but leave the shortcut buttons ("" when there are none).
    static QString keepRunningWithoutButton(const QStringList &activities);
    // The status bar's note once that happened ("" when there are none); undoKey is the key
    // of Edit → Undo.
    static QString runningWithoutButtonNote(const QStringList &activities, const QString &undoKey);

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
        // The change's name for the Edit menu, when it changed.
        QString change;
        // The activities of the tasks taken out because they lasted less than a minute.
        QStringList removedUnderAMinute;
        // Why it was refused, for those who put it in words of their own (the command line);
        // the task that could not stop (or the activity that could not start) and its start.
        enum class Refusal {
            None,
            StartOverlaps,        // the new task would overlap a recorded one
            StopBeforeStart,      // the moment is before the task's start
            StopOverlaps,         // stopping then would overlap the next task
            OtherStopBeforeStart, // a running task to stop first starts after the moment
            OtherStopOverlaps     // stopping a running task then would overlap another task
        };
        Refusal why = Refusal::None;
        QString refusedActivity;
        QDateTime refusedStart;
        // For a stop refused for an overlap: the task's activity and the latest moment it can
        // stop at (invalid when there is none).
        QString trappedActivity;
        QDateTime latestStop;
    };

    // Starts a task of activity at when (a whole minute). With concurrent tasks off, the
    // running tasks stop at when, and an activity that already runs is left as it is.
    static Outcome start(QuorvelDocument &doc, Activity *activity, const QDateTime &when);
    // Stops the given running tasks at when: all of them, or none when one cannot stop.
    static Outcome stop(QuorvelDocument &doc, const QList<QVTask *> &tasks, const QDateTime &when);
};
