// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Puts the panel icon's menu or the idle question on the screen and leaves it there, for the
// README's screenshots: scripts/screenshot-desktop runs it in a virtual X server with the
// sample data, takes the picture and ends it.
//   desktop_shots tray-menu | idle-question

#include "app/IdleWatcher.h"
#include "app/QuorvelMainWindow.h"
#include "app/TrayIcon.h"
#include "platform/Clock.h"
#include "platform/idle/IdleSource.h"

#include <QApplication>
#include <QMenu>
#include <QScreen>
#include <QTimer>

namespace {

// Says the person left 47 minutes ago and is back.
class ShownIdleSource : public IdleSource
{
public:
    using IdleSource::IdleSource;
    QString name() const override { return QStringLiteral("shown"); }
    void watch(qint64) override {}
    void leaveAndComeBack()
    {
        Q_EMIT wentIdle(47 * 60 * 1000);
        Q_EMIT cameBack();
    }
};

} // namespace

int main(int argc, char *argv[])
{
    Clock::pinLocalTimeZone();
    QApplication app(argc, argv);
    const QString shot = app.arguments().value(1);
    if (shot != QLatin1String("tray-menu") && shot != QLatin1String("idle-question")) {
        qWarning("usage: desktop_shots tray-menu | idle-question");
        return 2;
    }
    QuorvelMainWindow window;
    window.setWindowTitle(QStringLiteral("Quorvel"));
    window.move(0, 0);
    window.show();
    TrayIcon tray(&window);
    ShownIdleSource source;
    IdleWatcher watcher(&window, &source);
    QTimer::singleShot(500, &window, [&] {
        if (shot == QLatin1String("tray-menu")) {
            // Where a panel at the top right of the screen opens it.
            tray.menu()->popup(QPoint(window.screen()->geometry().width() - 10, 0));
        } else {
            source.leaveAndComeBack();
        }
    });
    return app.exec();
}
