// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "State/JobList.h"

#include "Schedules/RecurrenceRuleNextRun.h"
#include "Schedules/ScheduleStore.h"
#include "State/StateLog.h"

#include <QFileSystemWatcher>
#include <QTimer>

#include <algorithm>

namespace lanternfold {

JobList::JobList(ScheduleStore &store, StateClock clock, QObject *parent)
    : QObject(parent), m_store(store), m_clock(std::move(clock)), m_jobs(m_store.load())
{
}

std::optional<QDateTime> JobList::nextRunAfterNow(const RecurrenceRule &rule) const
{
    return nextRun(rule, m_clock.now(), m_clock.calendar());
}

qsizetype JobList::indexOf(const QUuid &id) const
{
    const auto it =
        std::find_if(m_jobs.cbegin(), m_jobs.cend(), [&id](const ScheduledJob &existing) { return existing.id == id; });
    return it == m_jobs.cend() ? -1 : std::distance(m_jobs.cbegin(), it);
}

void JobList::followFile()
{
    if (m_watcher)
        return;
    m_watcher = new QFileSystemWatcher(this);
    // The folder too: a save replaces the file by renaming a new one over it, which ends a watch
    // on the old file.
    m_watcher->addPath(m_store.folder());
    m_watcher->addPath(m_store.filePath());
    m_settle = new QTimer(this);
    m_settle->setSingleShot(true);
    // A writer's rename and the events around it arrive together: one reading for all of them.
    m_settle->setInterval(200);
    connect(m_settle, &QTimer::timeout, this, [this] {
        if (!m_watcher->files().contains(m_store.filePath()))
            m_watcher->addPath(m_store.filePath());
        adoptFileChanges();
    });
    connect(m_watcher, &QFileSystemWatcher::fileChanged, m_settle, qOverload<>(&QTimer::start));
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, m_settle, qOverload<>(&QTimer::start));
}

bool JobList::adoptFileChanges()
{
    std::optional<QList<ScheduledJob>> onDisk = m_store.reread();
    // Our own saves read back as what is held: nothing to do.
    if (!onDisk || *onDisk == m_jobs)
        return false;
    qCDebug(lcState) << "jobs file changed by another process:" << onDisk->size() << "job(s)";
    m_jobs = std::move(*onDisk);
    Q_EMIT jobsChanged();
    return true;
}

void JobList::replace(QList<ScheduledJob> jobs)
{
    m_jobs = std::move(jobs);
    Q_EMIT jobsChanged();
    m_store.save(m_jobs);
}

void JobList::add(ScheduledJob job)
{
    job.nextRunAt = nextRunAfterNow(job.rule);
    qCDebug(lcState) << "job added:" << job.id.toString(QUuid::WithoutBraces);
    QList<ScheduledJob> jobs = m_jobs;
    jobs.append(std::move(job));
    replace(std::move(jobs));
}

void JobList::update(ScheduledJob job)
{
    const qsizetype index = indexOf(job.id);
    if (index < 0)
        return;
    if (job.isEnabled)
        job.nextRunAt = nextRunAfterNow(job.rule);
    // A run under way is the scheduler's to record, whatever copy the caller edited.
    job.runInProgress = m_jobs.at(index).runInProgress;
    QList<ScheduledJob> jobs = m_jobs;
    jobs[index] = std::move(job);
    replace(std::move(jobs));
}

void JobList::setEnabled(const ScheduledJob &job, bool enabled)
{
    const qsizetype index = indexOf(job.id);
    if (index < 0)
        return;
    QList<ScheduledJob> jobs = m_jobs;
    ScheduledJob &changed = jobs[index];
    changed.isEnabled = enabled;
    if (enabled)
        changed.nextRunAt = nextRunAfterNow(changed.rule);
    replace(std::move(jobs));
}

void JobList::remove(QList<int> positions)
{
    std::sort(positions.begin(), positions.end());
    QList<ScheduledJob> jobs = m_jobs;
    for (const int position : std::as_const(positions)) {
        if (position < 0 || position >= jobs.size())
            continue;
        const QUuid id = jobs.at(position).id;
        jobs.removeIf([&id](const ScheduledJob &job) { return job.id == id; });
    }
    replace(std::move(jobs));
}

void JobList::recordRun(const ScheduledJob &ran)
{
    const qsizetype index = indexOf(ran.id);
    if (index < 0)
        return; // deleted while it ran: it stays deleted
    const QDateTime now = m_clock.now();
    QList<ScheduledJob> jobs = m_jobs;
    ScheduledJob &job = jobs[index];
    job.lastRunAt = now;
    job.runInProgress.reset();
    if (job.rule != ran.rule) {
        // Edited while it ran: the edit computed the next run from the new rule, and the old
        // rule (a "once" that ran, a daily time given up) has nothing more to say about it.
    } else if (ran.rule.kind() == RecurrenceRule::Kind::once) {
        job.isEnabled = false;
        job.nextRunAt = std::nullopt;
    } else {
        // From the end of the run, with the rule of the copy that ran.
        job.nextRunAt = nextRun(ran.rule, now, m_clock.calendar());
    }
    replace(std::move(jobs));
}

void JobList::beginRun(const QUuid &id, const QDateTime &occurrence)
{
    const qsizetype index = indexOf(id);
    if (index < 0)
        return;
    QList<ScheduledJob> jobs = m_jobs;
    ScheduledJob &job = jobs[index];
    if (job.runInProgress && job.runInProgress->occurrence == occurrence)
        return; // resumed: what was sent stays recorded
    job.runInProgress = ScheduledJob::RunInProgress{occurrence, {}};
    replace(std::move(jobs));
}

void JobList::recordRestartSent(const QUuid &id, const QString &targetId)
{
    const qsizetype index = indexOf(id);
    if (index < 0)
        return;
    QList<ScheduledJob> jobs = m_jobs;
    std::optional<ScheduledJob::RunInProgress> &progress = jobs[index].runInProgress;
    if (!progress)
        return;
    progress->restarted.append(targetId);
    replace(std::move(jobs));
}

void JobList::closeInterruptedRun(const QUuid &id)
{
    const qsizetype index = indexOf(id);
    if (index < 0 || !m_jobs.at(index).runInProgress)
        return;
    QList<ScheduledJob> jobs = m_jobs;
    jobs[index].runInProgress.reset();
    replace(std::move(jobs));
}

std::optional<std::chrono::seconds> JobList::furthestNextRun(const RecurrenceRule &rule)
{
    using namespace std::chrono_literals;
    switch (rule.kind()) {
    case RecurrenceRule::Kind::once:
        return std::nullopt;
    case RecurrenceRule::Kind::dailyAt:
        return 25h; // a day, and the hour a change of daylight saving time may add
    case RecurrenceRule::Kind::weeklyAt:
        return 8 * 24h;
    case RecurrenceRule::Kind::everyInterval: {
        const qint64 hours = std::get<RecurrenceRule::EveryInterval>(rule.value()).hours;
        // A hand-written interval of a million hours or more is its own bound: none.
        if (hours <= 0 || hours >= 1'000'000)
            return std::nullopt;
        return std::chrono::hours(hours) + 1h;
    }
    }
    return std::nullopt;
}

bool JobList::recomputeNextRuns(const std::function<bool(const ScheduledJob &, const QDateTime &now)> &needsIt)
{
    const QDateTime now = m_clock.now();
    QList<ScheduledJob> jobs = m_jobs;
    bool changed = false;
    for (ScheduledJob &job : jobs) {
        if (!job.isEnabled || !needsIt(job, now))
            continue;
        const std::optional<QDateTime> next = nextRun(job.rule, now, m_clock.calendar());
        if (next == job.nextRunAt)
            continue;
        qCDebug(lcState) << "next run of" << job.id.toString(QUuid::WithoutBraces)
                         << "recomputed:" << next.value_or(QDateTime());
        job.nextRunAt = next;
        changed = true;
    }
    if (changed)
        replace(std::move(jobs));
    return changed;
}

void JobList::recomputeNextRuns()
{
    (void)recomputeNextRuns([](const ScheduledJob &, const QDateTime &) { return true; });
}

bool JobList::recomputeImplausibleNextRuns()
{
    return recomputeNextRuns([](const ScheduledJob &job, const QDateTime &now) {
        const auto furthest = furthestNextRun(job.rule);
        return furthest && job.nextRunAt && now.secsTo(*job.nextRunAt) > furthest->count();
    });
}

} // namespace lanternfold
