// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/ScheduledJob.h"

#include <QWidget>

#include <optional>

class QCheckBox;

namespace lanternfold {

class AppState;
class JobRowLabel;

/// One job of the schedule list: its switch, name, rule, devices, and when it runs next and ran
/// last. The switch goes through the application state and then shows whatever the state's job
/// list says.
class JobRow final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(JobRow)

public:
    JobRow(AppState &appState, ScheduledJob job, QWidget *parent = nullptr);

    [[nodiscard]] const ScheduledJob &job() const { return m_job; }
    /// Shows job (the same job as published afresh by the state).
    void setJob(ScheduledJob job);
    /// Selected rows sit on the accent colour: their text follows.
    void setSelected(bool selected);
    /// Every text the row shows but the name, in reading order: the rule, the devices, the next
    /// and the last run. What assistive technology reads after the name.
    [[nodiscard]] QString description() const;

    [[nodiscard]] QCheckBox *enabledSwitch() const { return m_switch; }
    [[nodiscard]] JobRowLabel *nameLabel() const { return m_name; }
    [[nodiscard]] JobRowLabel *summaryLabel() const { return m_summary; }
    [[nodiscard]] JobRowLabel *targetsLabel() const { return m_targets; }
    /// "Next: …", hidden when the job has no next run.
    [[nodiscard]] JobRowLabel *nextRunLabel() const { return m_nextRun; }
    /// "Last: …", hidden when the job has not run.
    [[nodiscard]] JobRowLabel *lastRunLabel() const { return m_lastRun; }

    /// "5 device(s): A, B, C…": the count, then at most three names in job order.
    [[nodiscard]] static QString targetsLine(const QList<RestartTarget> &targets);

private:
    void switchFlipped(bool on);
    /// The job's site ("Warehouse"), shown before the devices when the account has several sites;
    /// absent otherwise.
    [[nodiscard]] std::optional<QString> shownSite() const;
    void applyColours();

    AppState &m_appState;
    ScheduledJob m_job;
    bool m_selected = false;
    QCheckBox *m_switch = nullptr;
    JobRowLabel *m_name = nullptr;
    JobRowLabel *m_summary = nullptr;
    JobRowLabel *m_targets = nullptr;
    JobRowLabel *m_nextRun = nullptr;
    JobRowLabel *m_lastRun = nullptr;
};

} // namespace lanternfold
