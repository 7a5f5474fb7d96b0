#pragma once

#include "State/AppState.h"

#include <QObject>

namespace lanternfold {

class NotificationService;
class SchedulerEngine;

/// The one place that turns what the scheduler reports into the notifications a person reads: a
/// run's outcome under the job's name, a skipped run under the program's. It also asks, once at
/// start, to be allowed to notify.
class RunNotifier final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(RunNotifier)

public:
    /// Lives as long as engine, whose child it becomes.
    RunNotifier(SchedulerEngine &engine, NotificationService &notifications);
    ~RunNotifier() override = default;

    /// "Restarted 3 device(s) successfully." or "2 succeeded, 1 failed: Garage AP".
    static QString outcomeText(const AppState::BatchOutcome &outcome);

private:
    void jobSkipped(const ScheduledJob &job);
    void jobRan(const ScheduledJob &job, const AppState::BatchOutcome &outcome);

    NotificationService &m_notifications;
};

} // namespace lanternfold
