#include "State/SchedulerEngine.h"

#include "Platform/NotificationService.h"
#include "State/AppState.h"

#include <QStringList>
#include <QTimer>

namespace lanternfold {

using namespace Qt::StringLiterals;

SchedulerEngine::SchedulerEngine(AppState &appState) : QObject(&appState), m_appState(&appState) {}

SchedulerEngine::~SchedulerEngine() = default;

bool SchedulerEngine::isStarted() const
{
    return m_timer && m_timer->isActive();
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
    if (!m_appState || m_isRunningJob)
        return; // one job at a time: this look is lost, the next tick looks again
    const QDateTime now = m_appState->now();
    for (const ScheduledJob &job : m_appState->jobs()) {
        // A job without a next run is due at the most distant future, which is never.
        if (job.isEnabled && job.nextRunAt && *job.nextRunAt <= now) {
            m_isRunningJob = true;
            (void)runAndRelease(this, job);
            return;
        }
    }
}

QCoro::Task<void> SchedulerEngine::runAndRelease(QPointer<SchedulerEngine> self, ScheduledJob job)
{
    const QPointer<AppState> appState = self->m_appState;
    co_await run(appState, job);
    if (!self)
        co_return;
    self->m_isRunningJob = false;
    Q_EMIT self->runFinished(job.id);
}

QCoro::Task<void> SchedulerEngine::run(QPointer<AppState> appState, ScheduledJob job)
{
    if (!appState)
        co_return;
    if (!appState->isLoggedIn()) {
        const bool loggedIn = co_await appState->reconnectIfPossible();
        if (!appState)
            co_return;
        if (!loggedIn) {
            appState->log(u"Scheduled job '"_s + job.name +
                          u"' skipped \u2014 not logged in and auto-reconnect failed."_s);
            NotificationService::post(u"Lanternfold"_s,
                                      u"Couldn't run '"_s + job.name + u"': not connected to the controller."_s);
            markRan(*appState, job, false);
            co_return;
        }
    }
    appState->log(u"Running scheduled job '"_s + job.name + u"' ("_s + QString::number(job.targets.size()) +
                  u" device(s))"_s);
    const AppState::BatchOutcome outcome = co_await appState->restartBatch(job.targets, job.staggerSeconds);
    if (!appState)
        co_return;
    QString body;
    if (outcome.failed.isEmpty()) {
        body = u"Restarted "_s + QString::number(outcome.succeeded.size()) + u" device(s) successfully."_s;
    } else {
        QStringList names;
        for (const RestartTarget &target : outcome.failed)
            names.append(target.displayName);
        body = QString::number(outcome.succeeded.size()) + u" succeeded, "_s + QString::number(outcome.failed.size()) +
               u" failed: "_s + names.join(u", "_s);
    }
    NotificationService::post(u"Lanternfold \u2014 "_s + job.name, body);
    markRan(*appState, job, outcome.failed.isEmpty());
}

void SchedulerEngine::markRan(AppState &appState, const ScheduledJob &job, bool success)
{
    (void)success;
    appState.recordRun(job);
}

} // namespace lanternfold
