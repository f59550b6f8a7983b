// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDate>
#include <QObject>
#include <QString>

class QuorvelDocument;
class QWidget;

// A report the Report menu runs: it asks for its parameters, remembers them between runs and
// shows its rich text in a viewer from which it can be saved. Reports have no QObject parent;
// the main window's report list owns them.
class Report : public QObject
{
    Q_OBJECT

public:
    // parent: the widget over which the report's dialogs and viewer open. The document is
    // not owned.
    Report(QWidget *parent, QuorvelDocument *document);

    virtual QString getMenuName() const = 0;
    // The menu name in English: the settings group's name, the same in every language.
    virtual QString getSettingsName() const = 0;
    // Asks the user for the parameters; false when the user cancelled.
    virtual bool setParametersFromUI() = 0;
    virtual void setParametersFromString(const QString &parameters) = 0;
    virtual QString getParameters() const = 0;
    virtual QString getReportText() const = 0;
    // Name under which the report is saved as a document.
    virtual QString getReportFileName() const = 0;
    // The report's table as CSV for spreadsheets (see ReportText).
    virtual QString getReportCsv() const = 0;
    // The name proposed for the report exported to a file, without an extension.
    virtual QString getExportName() const { return getMenuName(); }
    // Why the report of the parameters chosen is not made, in words; empty when it is.
    virtual QString refusal() const { return QString(); }

    QWidget *parentWidget() const { return m_parent; }
    QuorvelDocument *document() const { return m_document; }

    // Name of the settings group that keeps this report's parameters.
    QString settingsGroup() const;
    // A window's caption followed by the name of the report it shows, when there is one.
    static QString captionWithName(const QString &caption, const QString &name);

public Q_SLOTS:
    // Runs the report: remembered parameters, the parameter dialog, then the viewer.
    void invoke();

protected:
    // Today for reports: the program's clock, not the system's.
    static QDate today();

private:
    QWidget *m_parent;
    QuorvelDocument *m_document;
};

// A report over a period of days with two display options.
class PeriodReport : public Report
{
    Q_OBJECT

public:
    PeriodReport(QWidget *parent, QuorvelDocument *document);

    bool setParametersFromUI() override;
    // "includeZero,decimalHours,fromYear,fromMonth,fromDay,toYear,toMonth,toDay". Fields are
    // read up to the first one that is not a number; the rest keep their values, and so does
    // a date that does not exist.
    void setParametersFromString(const QString &parameters) override;
    QString getParameters() const override;
    // "<menu name> <from> to <to>", the dates in ISO form, which sort and hold no '/'.
    QString getExportName() const override;

    QDate fromDate() const { return m_fromDate; }
    QDate toDate() const { return m_toDate; }
    bool includeZeroActivities() const { return m_includeZeroActivities; }
    bool decimalHours() const { return m_decimalHours; }
    // An invalid date leaves that end as it was.
    void setPeriod(const QDate &from, const QDate &to);
    void setIncludeZeroActivities(bool on) { m_includeZeroActivities = on; }
    void setDecimalHours(bool on) { m_decimalHours = on; }

private:
    QDate m_fromDate;
    QDate m_toDate;
    bool m_includeZeroActivities = true;
    bool m_decimalHours = false;
};
