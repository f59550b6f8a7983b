// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Commands of the command line handed to the running window, carried out here in turn.

#include "QuorvelMainWindow.h"

#include "ChangeChannel.h"
#include "app/SingleInstance.h"
#include "cli/Commands.h"
#include "model/QuorvelDocument.h"

#include <QPointer>

#include <utility>

namespace {

// How long a command of the command line waits for a question here to be answered.
constexpr int HandedPatienceMs = 20 * 1000;

} // namespace

void QuorvelMainWindow::carryOut(HandedCommand *command)
{
    m_handed.removeIf(
        [](const QPointer<HandedCommand> &handed) { return !handed || !handed->isWaiting(); });
    m_handed.append(command);
    Commands::Result checked;
    const bool writes
        = Commands::check(command->arguments().mid(1), &checked) == Commands::Needs::Writing;
    const QPointer<HandedCommand> handed(command);
    const auto work = [this, handed, writes] {
        if (handed && handed->isWaiting())
            carryOutNow(handed, writes);
    };
    if (!writes) {
        m_changes->inTurn(command, work);
        return;
    }
    // A change waits while a question or an editor is open here, but not for ever.
    m_changes->whenFree(command, work, HandedPatienceMs, [this, handed] {
        if (!handed)
            return;
        handed->reply(Commands::Refused, QByteArray(),
                      (QStringLiteral("quorvel: ")
                       + tr("Quorvel is waiting for an answer in its window; answer it there and "
                            "try again.")
                       + QLatin1Char('\n'))
                          .toUtf8());
    });
}

void QuorvelMainWindow::declineWaitingCommands()
{
    const QList<QPointer<HandedCommand>> waiting = std::exchange(m_handed, {});
    for (const QPointer<HandedCommand> &command : waiting) {
        if (command)
            command->decline(tr("Quorvel is ending; the command was not carried out."));
    }
}

void QuorvelMainWindow::carryOutNow(HandedCommand *command, bool writes)
{
    // Only a command its sender still waits for is carried out: it must learn the outcome.
    if (!command->take())
        return;
    // The working folder of the command line comes first.
    const QString workingFolder = command->arguments().value(0);
    const QStringList arguments = command->arguments().mid(1);
    Commands::Result result;
    {
        ChangeScope change(writes ? m_changes : nullptr);
        result = Commands::run(*m_document, arguments, workingFolder);
        if (result.changed) {
            change.setText(result.change);
            if (!result.removedUnderAMinute.isEmpty())
                change.addNote(ChangeChannel::underAMinuteNote(result.removedUnderAMinute));
            if (!flush()) {
                // A change the data file did not take is not made: the answer says so, and
                // the window shows what it showed before.
                change.revert();
                result.exitCode = Commands::Refused;
                result.out.clear();
                result.err += (QStringLiteral("quorvel: ")
                               + tr("the data file %1 could not be written (%2); the command "
                                    "was not carried out.")
                                     .arg(QuorvelDocument::dataFilePath(), m_saveProblem)
                               + QLatin1Char('\n'))
                                  .toUtf8();
            }
        }
    }
    command->reply(result.exitCode, result.out, result.err);
}
