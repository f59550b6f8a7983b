// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <functional>

class QTimer;
class QUndoStack;
class QuorvelDocument;

// The one way the window changes the tasks, activities and categories of its document.
//
// Every change runs inside a ChangeScope. When the outermost scope closes, the document string
// is compared with the one it had when the scope opened; a difference becomes one step on the
// undo stack, named as the scope says, and changed() asks the window once to show the
// document (which then also differs from what was last written, so the next flush writes
// it). Undo and redo rebuild the records from the document string as it was before or after
// the step, byte for byte, and the Allow Concurrent Tasks setting when the step changed it.
//
// The channel also decides when a change may begin: not while another is under way, nor while
// a question, an editor or a menu of the window is open. Work that must wait for that is
// queued with whenFree() and runs, in the order asked, once the window is free.
class ChangeChannel : public QObject
{
    Q_OBJECT

public:
    // Puts the records of fresh (read from a document string) in place of those shown; fresh
    // gets the old ones.
    using Adopt = std::function<void(QuorvelDocument &fresh)>;

    // Steps kept; older ones are forgotten.
    static constexpr int UndoLimit = 200;

    // document is not owned and outlives the channel.
    ChangeChannel(QuorvelDocument *document, Adopt adopt, QObject *parent);
    ~ChangeChannel() override;

    QUndoStack *stack() const { return m_stack; }
    // The key of Edit → Undo as the person reads it, for notes that point to it ("Ctrl+Z").
    static QString undoKey();
    // The status bar's note about tasks taken out for lasting under a minute.
    static QString underAMinuteNote(const QStringList &activities);

    // True while a scope is open.
    bool isChanging() const { return m_depth > 0; }
    // True when nothing holds the window: no change under way and no question, editor or
    // menu open. An open report does not count: it only shows what it computed.
    bool isFree() const;

    // Undoes or redoes one step, when the window is free; false when there was none to take
    // or the document no longer is what the step was made on (the history is then cleared).
    bool undo();
    bool redo();

    // Forgets every step, after the document was replaced as a whole; why ends the sentence
    // "History cleared by …" that the Edit menu shows until the next change.
    void clearHistory(const QString &why);
    // Why the history was cleared while no step has been recorded since; "" otherwise.
    QString clearedBecause() const { return m_clearedBecause; }

    // Runs work once the window is free (needsFree) or at once, but always after the work
    // asked for earlier; work whose context is gone is dropped. When work waits for longer
    // than patienceMs (0: no limit) after reaching the head of the queue, tooLate runs
    // instead.
    void whenFree(QObject *context, const std::function<void()> &work, int patienceMs = 0,
                  const std::function<void()> &tooLate = {});
    void inTurn(QObject *context, const std::function<void()> &work);

Q_SIGNALS:
    // The document changed through a scope, an undo or a redo, and is to be shown. note, when
    // not empty, tells what went without a word (for the status bar).
    void changed(const QString &note);
    // The history's steps or the reason it was cleared changed (for the menu texts).
    void historyChanged();

private:
    friend class ChangeScope;
    friend class ChangeStep;

    struct Waiting
    {
        QPointer<QObject> context;
        std::function<void()> work;
        bool needsFree = false;
        int patienceMs = 0;
        std::function<void()> tooLate;
    };

    bool step(bool back);
    void open();
    void close(const QString &text, const QStringList &notes);
    void revert();
    // Rebuilds the records from a document string (and the concurrency setting); false when
    // the string does not read.
    bool restore(const QByteArray &bytes, bool concurrent);
    void enqueue(Waiting waiting);
    void runWaiting();

    QuorvelDocument *m_document;
    Adopt m_adopt;
    QUndoStack *m_stack;
    int m_depth = 0;
    // The outermost scope's start: the document string, the setting, the name and the notes.
    QByteArray m_before;
    bool m_concurrentBefore = false;
    QString m_text;
    QStringList m_notes;
    // Set when the history was cleared while a scope was open: its change is no step.
    bool m_superseded = false;
    QString m_clearedBecause;
    // Set while undo() or redo() runs a step, and when that step could not be made.
    bool m_stepping = false;
    bool m_stepFailed = false;

    QList<Waiting> m_waiting;
    QElapsedTimer m_headWaiting;
    QTimer *m_retry;
};

// A change on the channel for the lifetime of the object (nothing at all without a channel).
// Scopes nest: an inner one joins the outermost, which records the change when it closes.
class ChangeScope
{
public:
    explicit ChangeScope(ChangeChannel *channel);
    ~ChangeScope();
    ChangeScope(const ChangeScope &) = delete;
    ChangeScope &operator=(const ChangeScope &) = delete;

    // The change's name, as the Edit menu shows it after "Undo"; the outermost scope's name
    // wins, an inner scope names a change its outer one left unnamed.
    void setText(const QString &text) { m_text = text; }
    // A line for the status bar once the change is made; an empty one is none.
    void addNote(const QString &note)
    {
        if (!note.isEmpty())
            m_notes << note;
    }
    // Puts the document back as it was when the outermost scope opened; no step is recorded.
    void revert();

private:
    ChangeChannel *m_channel;
    QString m_text;
    QStringList m_notes;
};
