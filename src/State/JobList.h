// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/ScheduledJob.h"
#include "State/StateClock.h"

#include <QList>
#include <QObject>

class QFileSystemWatcher;
class QTimer;

#include <chrono>
#include <functional>
#include <optional>

namespace lanternfold {

class ScheduleStore;

/// The scheduled jobs, in the order of the jobs file: loaded from the store at creation, and
/// saved whole after every change. Adding, updating or enabling a job computes its next run from
/// now; a finished run computes it from the run's end.
class JobList final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(JobList)

public:
    JobList(ScheduleStore &store, StateClock clock, QObject *parent = nullptr);
    ~JobList() override = default;

    [[nodiscard]] const QList<ScheduledJob> &jobs() const { return m_jobs; }

    void add(ScheduledJob job);
    /// Replaces the job of the same id, if it is there.
    void update(ScheduledJob job);
    void setEnabled(const ScheduledJob &job, bool enabled);
    /// Removes the jobs at these positions as the schedule list deletes rows: each position is read
    /// against the list as it stands after the removals before it, and every job with that id goes.
    void remove(QList<int> positions);
    /// Records a finished (or skipped) scheduled run of ran, a copy taken when it started: the job of
    /// that id, if it is still there, gets lastRunAt now and its next run from the rule that ran.
    void recordRun(const ScheduledJob &ran);
    /// A scheduled run of id starts (or resumes) for occurrence: recorded in the file, with the
    /// targets already sent when it resumes.
    void beginRun(const QUuid &id, const QDateTime &occurrence);
    /// The restart of targetId has been sent in id's run under way.
    void recordRestartSent(const QUuid &id, const QString &targetId);
    /// An interrupted run of id that its job's next occurrence has overtaken: forgotten.
    void closeInterruptedRun(const QUuid &id);
    /// After the wall clock was set: every enabled job's next run afresh from now. Saves only when
    /// something changed.
    void recomputeNextRuns();
    /// Recomputes the next run of every enabled job whose next run lies further ahead than its rule
    /// can produce from now (a clock that was wrong when it was computed); true when one was.
    bool recomputeImplausibleNextRuns();
    /// How far ahead of now a rule's next run can lie; none for a one-off date, which may be anywhere.
    static std::optional<std::chrono::seconds> furthestNextRun(const RecurrenceRule &rule);

    /// From now on, a change another process makes to the jobs file (the background service and
    /// the window share it) is read back within a moment and replaces the jobs held here. A file
    /// that does not read whole is not taken: the jobs held stay.
    void followFile();
    /// Reads the file back now, as followFile does when it changes; true when the jobs changed.
    bool adoptFileChanges();

Q_SIGNALS:
    void jobsChanged();

private:
    [[nodiscard]] std::optional<QDateTime> nextRunAfterNow(const RecurrenceRule &rule) const;
    [[nodiscard]] qsizetype indexOf(const QUuid &id) const;
    void replace(QList<ScheduledJob> jobs);
    /// Recomputes the next runs of the enabled jobs that needsIt picks; saves if any changed.
    bool recomputeNextRuns(const std::function<bool(const ScheduledJob &, const QDateTime &now)> &needsIt);

    ScheduleStore &m_store;
    StateClock m_clock;
    QList<ScheduledJob> m_jobs;
    QFileSystemWatcher *m_watcher = nullptr;
    QTimer *m_settle = nullptr;
};

} // namespace lanternfold
