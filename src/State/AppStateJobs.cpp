// The application state's job list: every change computes the next run and saves the whole list.
#include "State/AppState.h"

#include "Schedules/RecurrenceRuleNextRun.h"
#include "Schedules/ScheduleStore.h"

#include <algorithm>

namespace lanternfold {

std::optional<QDateTime> AppState::nextRunAfterNow(const RecurrenceRule &rule) const
{
    return nextRun(rule, m_clock.now(), m_clock.calendar());
}

void AppState::saveJobs()
{
    m_store.save(m_jobs);
}

void AppState::addJob(ScheduledJob job)
{
    job.nextRunAt = nextRunAfterNow(job.rule);
    QList<ScheduledJob> jobs = m_jobs;
    jobs.append(std::move(job));
    setJobs(std::move(jobs));
    saveJobs();
}

void AppState::updateJob(ScheduledJob job)
{
    const auto it = std::find_if(m_jobs.cbegin(), m_jobs.cend(),
                                 [&job](const ScheduledJob &existing) { return existing.id == job.id; });
    if (it == m_jobs.cend())
        return;
    if (job.isEnabled)
        job.nextRunAt = nextRunAfterNow(job.rule);
    QList<ScheduledJob> jobs = m_jobs;
    jobs[std::distance(m_jobs.cbegin(), it)] = std::move(job);
    setJobs(std::move(jobs));
    saveJobs();
}

void AppState::setJob(const ScheduledJob &job, bool enabled)
{
    const auto it = std::find_if(m_jobs.cbegin(), m_jobs.cend(),
                                 [&job](const ScheduledJob &existing) { return existing.id == job.id; });
    if (it == m_jobs.cend())
        return;
    QList<ScheduledJob> jobs = m_jobs;
    ScheduledJob &changed = jobs[std::distance(m_jobs.cbegin(), it)];
    changed.isEnabled = enabled;
    if (enabled)
        changed.nextRunAt = nextRunAfterNow(changed.rule);
    setJobs(std::move(jobs));
    saveJobs();
}

void AppState::removeJobs(QList<int> positions)
{
    std::sort(positions.begin(), positions.end());
    QList<ScheduledJob> jobs = m_jobs;
    for (const int position : std::as_const(positions)) {
        if (position < 0 || position >= jobs.size())
            continue;
        const QUuid id = jobs.at(position).id;
        jobs.removeIf([&id](const ScheduledJob &job) { return job.id == id; });
    }
    setJobs(std::move(jobs));
    saveJobs();
}

void AppState::recordRun(const ScheduledJob &ran)
{
    const auto it = std::find_if(m_jobs.cbegin(), m_jobs.cend(),
                                 [&ran](const ScheduledJob &existing) { return existing.id == ran.id; });
    if (it == m_jobs.cend())
        return; // deleted while it ran: it stays deleted
    const QDateTime now = m_clock.now();
    QList<ScheduledJob> jobs = m_jobs;
    ScheduledJob &job = jobs[std::distance(m_jobs.cbegin(), it)];
    job.lastRunAt = now;
    if (ran.rule.kind() == RecurrenceRule::Kind::once) {
        job.isEnabled = false;
        job.nextRunAt = std::nullopt;
    } else {
        // From the end of the run, with the rule of the copy that ran.
        job.nextRunAt = nextRun(ran.rule, now, m_clock.calendar());
    }
    setJobs(std::move(jobs));
    saveJobs();
}

} // namespace lanternfold
