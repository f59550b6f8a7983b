// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#include "ChangeChannel.h"

#include "model/DocumentDelta.h"
#include "model/QuorvelDocument.h"
#include "reportwindows/ReportViewer.h"

#include <QApplication>
#include <QKeySequence>
#include <QThread>
#include <QTimer>
#include <QUndoCommand>
#include <QUndoStack>

#include <utility>

// One step of the history: the change's delta, and the concurrency setting on both sides.
class ChangeStep : public QUndoCommand
{
public:
    ChangeStep(ChangeChannel *channel, const QByteArray &before, const QByteArray &after,
               bool concurrentBefore, bool concurrentAfter, const QString &text)
        : QUndoCommand(text)
        , m_channel(channel)
        , m_delta(before, after)
        , m_concurrentBefore(concurrentBefore)
        , m_concurrentAfter(concurrentAfter)
    {}

    void undo() override { step(true); }

    void redo() override
    {
        // The stack runs redo() when the step is pushed; the change is made by then.
        if (std::exchange(m_pushed, false))
            return;
        step(false);
    }

private:
    void step(bool back)
    {
        const QByteArray current = m_channel->m_document->getDocumentBytes();
        const QByteArray wanted = back ? m_delta.before(current) : m_delta.after(current);
        if (wanted.isNull()
            || !m_channel->restore(wanted, back ? m_concurrentBefore : m_concurrentAfter)) {
            m_channel->m_stepFailed = true;
            return;
        }
        Q_EMIT m_channel->changed(QString());
    }

    ChangeChannel *m_channel;
    DocumentDelta m_delta;
    bool m_concurrentBefore;
    bool m_concurrentAfter;
    bool m_pushed = true;
};

ChangeChannel::ChangeChannel(QuorvelDocument *document, Adopt adopt, QObject *parent)
    : QObject(parent)
    , m_document(document)
    , m_adopt(std::move(adopt))
    , m_stack(new QUndoStack(this))
    , m_retry(new QTimer(this))
{
    m_stack->setUndoLimit(UndoLimit);
    m_retry->setSingleShot(true);
    connect(m_retry, &QTimer::timeout, this, &ChangeChannel::runWaiting);
    connect(m_stack, &QUndoStack::indexChanged, this, &ChangeChannel::historyChanged);
}

ChangeChannel::~ChangeChannel()
{
    // The stack empties itself as it goes, when this object is no longer whole.
    disconnect(m_stack, nullptr, this, nullptr);
}

QString ChangeChannel::undoKey()
{
    return QKeySequence(QKeySequence::Undo).toString(QKeySequence::NativeText);
}

QString ChangeChannel::underAMinuteNote(const QStringList &activities)
{
    return activities.size() == 1 ? tr("Removed %1: it ran under a minute. %2 brings it back.")
                                        .arg(activities.first(), undoKey())
                                  : tr("Removed %1: they ran under a minute. %2 brings them back.")
                                        .arg(activities.join(tr(", ")), undoKey());
}

bool ChangeChannel::isFree() const
{
    if (isChanging() || QApplication::activePopupWidget())
        return false;
    // Every question and editor runs an event loop of its own. A report only shows what it
    // computed, so the tasks may change under it.
    const int loops = QThread::currentThread()->loopLevel();
    const QWidget *modal = QApplication::activeModalWidget();
    if (loops == 2 && qobject_cast<const ReportViewer *>(modal))
        return true;
    return loops <= 1 && !modal;
}

bool ChangeChannel::undo()
{
    return step(true);
}

bool ChangeChannel::redo()
{
    return step(false);
}

bool ChangeChannel::step(bool back)
{
    if (isChanging() || m_stepping || !(back ? m_stack->canUndo() : m_stack->canRedo()))
        return false;
    m_stepping = true;
    m_stepFailed = false;
    if (back)
        m_stack->undo();
    else
        m_stack->redo();
    m_stepping = false;
    // The document is not what the step was made on: no step of this history fits it.
    if (m_stepFailed) {
        clearHistory(tr("a change made outside of it"));
        return false;
    }
    return true;
}

void ChangeChannel::clearHistory(const QString &why)
{
    m_stack->clear();
    m_clearedBecause = why;
    // The scope under way began on what is gone: its change is no step of the history.
    if (isChanging())
        m_superseded = true;
    Q_EMIT historyChanged();
}

void ChangeChannel::open()
{
    if (m_depth++ > 0)
        return;
    m_before = m_document->getDocumentBytes();
    m_concurrentBefore = m_document->configuration.allowConcurrentTasks();
    m_text.clear();
    m_notes.clear();
    m_superseded = false;
}

void ChangeChannel::close(const QString &text, const QStringList &notes)
{
    if (!text.isEmpty() && (m_depth == 1 || m_text.isEmpty()))
        m_text = text;
    m_notes << notes;
    if (--m_depth > 0)
        return;

    const QByteArray before = std::exchange(m_before, QByteArray());
    const QString name = std::exchange(m_text, QString());
    const QStringList said = std::exchange(m_notes, QStringList());
    if (!std::exchange(m_superseded, false)) {
        const QByteArray after = m_document->getDocumentBytes();
        if (after != before) {
            const bool concurrentAfter = m_document->configuration.allowConcurrentTasks();
            m_clearedBecause.clear();
            m_stack->push(new ChangeStep(this, before, after, m_concurrentBefore, concurrentAfter,
                                         name.isEmpty() ? tr("Change") : name));
            Q_EMIT changed(said.join(QLatin1Char('\n')));
        }
    }
    // Work that waited for this change may go on.
    if (!m_waiting.isEmpty())
        m_retry->start(0);
}

void ChangeChannel::revert()
{
    if (!isChanging() || m_superseded)
        return;
    if (restore(m_before, m_concurrentBefore))
        Q_EMIT changed(QString());
    // What the scope does from here on is no step either.
    m_superseded = true;
}

bool ChangeChannel::restore(const QByteArray &bytes, bool concurrent)
{
    QuorvelDocument fresh;
    if (!fresh.restoreFromBytes(bytes))
        return false;
    m_adopt(fresh);
    if (m_document->configuration.allowConcurrentTasks() != concurrent)
        m_document->configuration.setAllowConcurrentTasks(concurrent);
    return true;
}

void ChangeChannel::whenFree(QObject *context, const std::function<void()> &work, int patienceMs,
                             const std::function<void()> &tooLate)
{
    enqueue({context, work, true, patienceMs, tooLate});
}

void ChangeChannel::inTurn(QObject *context, const std::function<void()> &work)
{
    enqueue({context, work, false, 0, {}});
}

void ChangeChannel::enqueue(Waiting waiting)
{
    if (m_waiting.isEmpty())
        m_headWaiting.start();
    m_waiting.append(std::move(waiting));
    runWaiting();
}

void ChangeChannel::runWaiting()
{
    while (!m_waiting.isEmpty()) {
        const Waiting &head = m_waiting.first();
        if (!head.context) {
            m_waiting.removeFirst();
            m_headWaiting.start();
            continue;
        }
        if (head.needsFree && !isFree()) {
            if (head.patienceMs <= 0 || m_headWaiting.elapsed() < head.patienceMs) {
                m_retry->start(100);
                return;
            }
            const Waiting late = m_waiting.takeFirst();
            m_headWaiting.start();
            if (late.tooLate)
                late.tooLate();
            continue;
        }
        // Taken off first: the work may run an event loop in which this runs again.
        const Waiting next = m_waiting.takeFirst();
        m_headWaiting.start();
        next.work();
    }
}

ChangeScope::ChangeScope(ChangeChannel *channel)
    : m_channel(channel)
{
    if (m_channel)
        m_channel->open();
}

ChangeScope::~ChangeScope()
{
    if (m_channel)
        m_channel->close(m_text, m_notes);
}

void ChangeScope::revert()
{
    if (m_channel)
        m_channel->revert();
}
