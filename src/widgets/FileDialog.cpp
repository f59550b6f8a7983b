// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "FileDialog.h"

#include <QFileDialog>

namespace {

struct TestState
{
    bool testing = false;
    QList<QString> answers;
    QList<FileDialog::Asked> asked;
};

TestState &testState()
{
    static TestState state;
    return state;
}

} // namespace

QString FileDialog::getSaveFileName(QWidget *parent, const QString &caption, const QString &path,
                                    const QString &filter)
{
    TestState &state = testState();
    if (state.testing) {
        state.asked.append({caption, path, filter});
        return state.answers.isEmpty() ? QString() : state.answers.takeFirst();
    }
    return QFileDialog::getSaveFileName(parent, caption, path, filter);
}

void FileDialog::setTesting(bool on)
{
    testState().testing = on;
}

void FileDialog::setNextAnswer(const QString &fileName)
{
    testState().answers.append(fileName);
}

QList<FileDialog::Asked> FileDialog::asked()
{
    return testState().asked;
}

void FileDialog::clearAsked()
{
    testState().asked.clear();
    testState().answers.clear();
}
