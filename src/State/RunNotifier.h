// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "State/AppState.h"

#include <QObject>

namespace lanternfold {

class NotificationService;
class SchedulerEngine;

/// The one place that turns what the scheduler and the state report into the notifications a person
/// reads: a run's outcome under the job's name, a skipped run and a refused saved password under
/// the program's. It also asks, once at start, to be allowed to notify.
class RunNotifier final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(RunNotifier)

public:
    /// Lives as long as engine, whose child it becomes; state is the engine's.
    RunNotifier(AppState &state, SchedulerEngine &engine, NotificationService &notifications);

    /// Said once, when the saved password stops working for automatic logins.
    static QString passwordRefusedText();
    ~RunNotifier() override = default;

    /// "Restarted 3 device(s) successfully." or "2 succeeded, 1 failed: Garage AP".
    static QString outcomeText(const AppState::BatchOutcome &outcome);

private:
    void jobSkipped(const ScheduledJob &job, int reason);
    void jobRan(const ScheduledJob &job, const AppState::BatchOutcome &outcome);

    NotificationService &m_notifications;
};

} // namespace lanternfold
