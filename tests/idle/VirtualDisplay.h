// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QProcess>
#include <QString>

struct _XDisplay;

// An X server of the test's own (Xvfb, on a free display number it picks itself), and a
// connection to it that moves the pointer through the XTest extension, as a person would.
class VirtualDisplay
{
public:
    VirtualDisplay() = default;
    ~VirtualDisplay();
    VirtualDisplay(const VirtualDisplay &) = delete;
    VirtualDisplay &operator=(const VirtualDisplay &) = delete;

    // Starts the server; false, with the reason in error(), when it cannot.
    bool start();
    // What DISPLAY says for it: ":N".
    QString name() const { return m_name; }
    QString error() const { return m_error; }

    // Moves the pointer by a pixel; false when the server did not take it.
    bool movePointer();
    // Ends the server, as when the X session ends under a program.
    void stop();

private:
    QProcess m_server;
    _XDisplay *m_input = nullptr;
    QString m_name;
    QString m_error;
    int m_step = 1;
};
