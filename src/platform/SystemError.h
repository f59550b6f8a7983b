// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCoreApplication>
#include <QString>

// The reason behind a failed file or system call, in the person's words and language
// ("permission denied", "no space left on the disk"), never a bare error number.
class SystemError
{
    Q_DECLARE_TR_FUNCTIONS(SystemError)

public:
    // The reason for errno value error, starting in lower case, without a full stop.
    static QString describe(int error);
};
