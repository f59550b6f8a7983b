// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "Report.h"

#include "dialogs/ReportParams1.h"
#include "platform/Clock.h"
#include "platform/Config.h"
#include "platform/Logging.h"
#include "reportwindows/ReportViewer.h"
#include "widgets/MessageBox.h"

#include <QDebug>

#include <array>
#include <limits>

namespace {

// Reads up to count integers separated by commas, as "%d,%d,…" would: blanks before a
// number are skipped, a comma must follow each number but the last, and reading stops at the
// first field that is not there. Numbers beyond int are clamped rather than wrapped.
template<size_t count>
int scanIntegers(const QString &text, std::array<int, count> &fields)
{
    qsizetype i = 0;
    const qsizetype n = text.size();
    for (size_t field = 0; field < count; ++field) {
        if (field > 0) {
            if (i >= n || text.at(i) != QLatin1Char(','))
                return int(field);
            ++i;
        }
        while (i < n && text.at(i).isSpace())
            ++i;
        bool negative = false;
        if (i < n && (text.at(i) == QLatin1Char('-') || text.at(i) == QLatin1Char('+'))) {
            negative = text.at(i) == QLatin1Char('-');
            ++i;
        }
        if (i >= n || text.at(i) < QLatin1Char('0') || text.at(i) > QLatin1Char('9'))
            return int(field);
        qint64 value = 0;
        while (i < n && text.at(i) >= QLatin1Char('0') && text.at(i) <= QLatin1Char('9')) {
            value = std::min<qint64>(value * 10 + (text.at(i).unicode() - '0'),
                                     qint64(std::numeric_limits<int>::max()) + 1);
            ++i;
        }
        value = negative ? -value : value;
        fields[field] = int(std::clamp<qint64>(value, std::numeric_limits<int>::min(),
                                               std::numeric_limits<int>::max()));
    }
    return int(count);
}

} // namespace

Report::Report(QWidget *parent, QuorvelDocument *document)
    : QObject(nullptr)
    , m_parent(parent)
    , m_document(document)
{}

QString Report::settingsGroup() const
{
    return QStringLiteral("Report: ") + getSettingsName();
}

QString Report::captionWithName(const QString &caption, const QString &name)
{
    if (name.isEmpty())
        return caption;
    //: A window's caption, then the name of the report the window shows.
    return tr("%1 — %2").arg(caption, name);
}

QDate Report::today()
{
    return Clock::currentTime(false).date();
}

void Report::invoke()
{
    qCDebug(reportLog, "Report: %s", qPrintable(getMenuName()));
    Config config(QStringLiteral("quorvelqpe"), Config::User);
    config.setGroup(settingsGroup());
    const QString remembered = config.readEntry(QStringLiteral("DefaultParameters"));
    if (!remembered.isEmpty())
        setParametersFromString(remembered);

    if (!setParametersFromUI()) {
        qCDebug(reportLog, "User cancelled report");
        return;
    }
    config.writeEntry(QStringLiteral("DefaultParameters"), getParameters());

    const QString refused = refusal();
    if (!refused.isEmpty()) {
        MessageBox::information(m_parent, getMenuName(), refused);
        return;
    }
    ReportViewer viewer(this, m_parent);
    viewer.setObjectName(QStringLiteral("Report"));
    viewer.exec();
}

PeriodReport::PeriodReport(QWidget *parent, QuorvelDocument *document)
    : Report(parent, document)
    , m_fromDate(today())
    , m_toDate(today())
{}

void PeriodReport::setPeriod(const QDate &from, const QDate &to)
{
    // A period always has two real days: an invalid one has no place in a report.
    if (from.isValid())
        m_fromDate = from;
    if (to.isValid())
        m_toDate = to;
}

void PeriodReport::setParametersFromString(const QString &parameters)
{
    if (parameters.isEmpty())
        return;
    std::array<int, 8> f{};
    const int scanned = scanIntegers(parameters, f);
    if (scanned >= 1)
        m_includeZeroActivities = f[0] != 0;
    if (scanned >= 2)
        m_decimalHours = f[1] != 0;
    if (scanned >= 5 && QDate::isValid(f[2], f[3], f[4]))
        m_fromDate = QDate(f[2], f[3], f[4]);
    if (scanned >= 8 && QDate::isValid(f[5], f[6], f[7]))
        m_toDate = QDate(f[5], f[6], f[7]);
}

QString PeriodReport::getParameters() const
{
    return QString::asprintf("%d,%d,%d,%d,%d,%d,%d,%d", m_includeZeroActivities ? 1 : 0,
                             m_decimalHours ? 1 : 0, m_fromDate.year(), m_fromDate.month(),
                             m_fromDate.day(), m_toDate.year(), m_toDate.month(), m_toDate.day());
}

QString PeriodReport::getExportName() const
{
    return tr("%1 %2 to %3")
        .arg(getMenuName(), m_fromDate.toString(Qt::ISODate), m_toDate.toString(Qt::ISODate));
}

bool PeriodReport::setParametersFromUI()
{
    ReportParams1 dialog(parentWidget());
    dialog.setWindowTitle(captionWithName(dialog.windowTitle(), getMenuName()));
    dialog.setFromDate(m_fromDate);
    dialog.setToDate(m_toDate);
    dialog.chkIncludeZeroActivities->setChecked(m_includeZeroActivities);
    dialog.chkDecimalHours->setChecked(m_decimalHours);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    setPeriod(dialog.getFromDate(), dialog.getToDate());
    m_includeZeroActivities = dialog.chkIncludeZeroActivities->isChecked();
    m_decimalHours = dialog.chkDecimalHours->isChecked();
    return true;
}
