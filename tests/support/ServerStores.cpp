#include "ServerStores.h"

#include <QTest>

void ServerStores::addRows(const char *postgresRow)
{
    QTest::addColumn<QString>("backend");
    QTest::newRow("sqlite") << QStringLiteral("sqlite");
    QTest::newRow(postgresRow) << QStringLiteral("postgresql");
}

bool ServerStores::start(QString *problem)
{
    if (m_postgres.start(&m_postgresProblem))
        return true;
    qWarning("*** PostgreSQL could not be started, its cases are SKIPPED: %s",
             qPrintable(m_postgresProblem));
    *problem = m_postgresProblem;
    return qEnvironmentVariableIsEmpty("QUORVEL_REQUIRE_POSTGRES");
}

QStringList ServerStores::create(const QString &backend, QString *skip)
{
    if (backend == QLatin1String("postgresql")) {
        if (!m_postgres.isRunning()) {
            *skip = QStringLiteral("PostgreSQL is not available: ") + m_postgresProblem;
            return {};
        }
        const QString url = m_postgres.createDatabase();
        if (url.isEmpty()) {
            *skip = QStringLiteral("no database could be created in PostgreSQL");
            return {};
        }
        return {QStringLiteral("--database"), url};
    }
    return {QStringLiteral("--data"), m_folder.filePath(QString::number(++m_sqliteFolders))};
}
