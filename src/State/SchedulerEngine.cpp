// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "State/SchedulerEngine.h"

#include "Schedules/RecurrenceRuleNextRun.h"
#include "State/JobList.h"
#include "State/StateLog.h"

#include <QTimer>

#include <algorithm>
#include <cstdlib>

namespace lanternfold {

SchedulerEngine::SchedulerEngine(AppState &appState) : QObject(&appState), m_appState(&appState) {}

SchedulerEngine::~SchedulerEngine() = default;

bool SchedulerEngine::isStarted() const
{
    return m_timer && m_timer->isActive();
}

void SchedulerEngine::stop()
{
    delete m_timer;
    m_timer = nullptr;
}

void SchedulerEngine::start()
{
    delete m_timer;
    m_timer = new QTimer(this);
    m_timer->setInterval(interval);
    connect(m_timer, &QTimer::timeout, this, &SchedulerEngine::tick);
    m_timer->start();
    // A job already overdue at start should not wait for the first interval.
    QTimer::singleShot(0, this, &SchedulerEngine::tick);
}

void SchedulerEngine::tick()
{
    if (!m_appState)
        return;
    const QDateTime now = m_appState->now();
    noticeClockChanges(now);
    if (m_isRunningJob)
        return; // one job at a time: this look is lost, the next tick looks again
    for (const ScheduledJob &job : m_appState->jobs()) {
        // A job without a next run is due at the most distant future, which is never.
        if (job.isEnabled && job.nextRunAt && *job.nextRunAt <= now) {
            qCDebug(lcScheduler) << "job" << job.id.toString(QUuid::WithoutBraces) << "is due";
            m_isRunningJob = true;
            (void)runAndRelease(this, job);
            return;
        }
    }
}

void SchedulerEngine::noticeClockChanges(const QDateTime &now)
{
    const std::chrono::milliseconds sinceBoot = m_appState->sinceBoot();
    const auto last = std::exchange(m_lastLook, std::make_pair(now, sinceBoot));
    // A suspend moves both clocks alike: overdue jobs then run once each, as after any pause.
    if (last) {
        const qint64 wallMoved = last->first.msecsTo(now);
        const qint64 bootMoved = (sinceBoot - last->second).count();
        if (std::abs(wallMoved - bootMoved) > std::chrono::milliseconds(clockChangeThreshold).count()) {
            qCInfo(lcScheduler) << "wall clock moved" << wallMoved << "ms while" << bootMoved << "ms passed";
            m_appState->log(tr("System clock changed; next runs recomputed."));
            m_appState->jobList().recomputeNextRuns();
            return;
        }
    }
    // Computed while the clock was wrong (ahead, before the network set it), a next run may lie
    // further ahead than its rule can produce: it would not come for weeks.
    if (m_appState->jobList().recomputeImplausibleNextRuns())
        qCInfo(lcScheduler) << "next runs further ahead than their rules allow were recomputed";
}

QCoro::Task<void> SchedulerEngine::runAndRelease(QPointer<SchedulerEngine> self, ScheduledJob job)
{
    co_await run(self, job);
    if (!self)
        co_return;
    self->m_isRunningJob = false;
    Q_EMIT self->runFinished(job.id);
}

QCoro::Task<void> SchedulerEngine::run(QPointer<SchedulerEngine> self, ScheduledJob job)
{
    const QPointer<AppState> appState = self ? self->m_appState : nullptr;
    if (!appState)
        co_return;
    if (!appState->isLoggedIn()) {
        const bool loggedIn = co_await appState->reconnectIfPossible();
        if (!self || !appState)
            co_return;
        if (!loggedIn) {
            const bool certificate = appState->reconnectNeedsCertificate();
            //: %1 is the name of the scheduled job.
            const QString skippedForCertificate =
                tr("Scheduled job '%1' skipped \u2014 confirm the controller's certificate in Lanternfold first.");
            //: %1 is the name of the scheduled job.
            const QString skippedNotLoggedIn =
                tr("Scheduled job '%1' skipped \u2014 not logged in and auto-reconnect failed.");
            appState->log((certificate ? skippedForCertificate : skippedNotLoggedIn).arg(job.name),
                          AppState::LogLevel::warning);
            Q_EMIT self->jobSkipped(job, certificate ? SkipReason::certificateUnconfirmed : SkipReason::notConnected);
            self->markRan(job, false);
            co_return;
        }
    }
    // A run cut short (the program quit, the machine went down) resumes with the devices it had not
    // reached, unless the job's next occurrence has come since: then it was missed.
    QList<RestartTarget> targets = job.targets;
    std::optional<QDateTime> occurrence = job.nextRunAt;
    if (const auto &interrupted = job.runInProgress) {
        const std::optional<QDateTime> following = nextRun(job.rule, interrupted->occurrence, appState->calendar());
        if (following && *following <= appState->now()) {
            //: %1 is the name of the scheduled job.
            appState->log(tr("Interrupted run of '%1' closed as missed.").arg(job.name), AppState::LogLevel::warning);
            appState->jobList().closeInterruptedRun(job.id);
        } else {
            occurrence = interrupted->occurrence;
            targets.removeIf(
                [&interrupted](const RestartTarget &target) { return interrupted->restarted.contains(target.id()); });
            //: %1 is the name of the scheduled job; %2 of its %3 devices were restarted before the interruption.
            appState->log(tr("Resumed '%1' after an interruption: %2 of %3 device(s) were already restarted.")
                              .arg(job.name, QString::number(job.targets.size() - targets.size()),
                                   QString::number(job.targets.size())));
        }
    }
    if (occurrence)
        appState->jobList().beginRun(job.id, *occurrence);
    //: %1 is the name of the scheduled job, %2 the number of devices it restarts now.
    appState->log(tr("Running scheduled job '%1' (%2 device(s))").arg(job.name, QString::number(targets.size())));
    AppState::BatchOptions options;
    options.pause =
        std::chrono::seconds(std::clamp<qint64>(job.staggerSeconds, 0, ScheduledJob::staggerSecondsMaximum));
    options.sending = [appState, id = job.id](const RestartTarget &target) {
        if (appState)
            appState->jobList().recordRestartSent(id, target.id());
    };
    options.waitForOnline = job.waitForOnline;
    // The job's own site, whichever one the window shows now.
    options.site = job.site;
    const AppState::BatchOutcome outcome = co_await appState->restartBatch(std::move(targets), std::move(options));
    if (!self || !appState)
        co_return;
    // A run that waited took minutes: its end is worth a line of its own.
    if (outcome.waitMinutes) {
        const bool whole = outcome.failed.isEmpty() && outcome.notBack.isEmpty() && outcome.notRestarted.isEmpty();
        //: %1 is the name of the scheduled job, %2 what its run did.
        appState->log(tr("Scheduled job '%1': %2").arg(job.name, outcome.summary()),
                      whole ? AppState::LogLevel::info : AppState::LogLevel::warning);
    }
    qCDebug(lcScheduler) << "job" << job.id.toString(QUuid::WithoutBraces) << "ran:" << outcome.succeeded.size()
                         << "restarted," << outcome.failed.size() << "failed";
    Q_EMIT self->jobRan(job, outcome);
    self->markRan(job, outcome.failed.isEmpty());
}

void SchedulerEngine::markRan(const ScheduledJob &job, bool success)
{
    (void)success;
    if (m_appState)
        m_appState->jobList().recordRun(job);
}

} // namespace lanternfold
