#include "model/QuorvelDocument.h"
#include "platform/Clock.h"

#include <QCoreApplication>
#include <QTextStream>

// Until the main window exists, the program reads the data file, says what it holds and
// where it lives, and exits.
int main(int argc, char *argv[])
{
    Clock::pinLocalTimeZone();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quorvel"));

    QuorvelDocument document;
    const bool loaded = document.load();
    QTextStream out(stdout);
    out << QCoreApplication::translate("main", "Quorvel data file: %1")
               .arg(QuorvelDocument::dataFilePath())
        << '\n';
    if (loaded) {
        out << QCoreApplication::translate("main", "%1 categories, %2 activities, %3 tasks")
                   .arg(document.categories.size())
                   .arg(document.activities.size())
                   .arg(document.tasks.size())
            << '\n';
    } else {
        out << QCoreApplication::translate("main", "No readable data file yet.") << '\n';
    }
    out << QCoreApplication::translate("main", "The main window is not part of this build yet.")
        << '\n';
    return 0;
}
