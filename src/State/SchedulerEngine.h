// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/ScheduledJob.h"
#include "State/AppState.h"

#include <QObject>
#include <QPointer>
#include <QUuid>

#include <QCoroTask>

#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>

class QTimer;

namespace lanternfold {

/// Runs due jobs by themselves while the program runs: a 20-second timer wakes it, it takes the
/// first due job in list order, makes sure the state is logged in (reconnecting if it can),
/// restarts the job's devices one after the other and moves the job's schedule on. One job at a
/// time; jobs missed while the program was not running run once at the first tick after the next
/// start. It says what happened through its signals; it does not word notifications.
class SchedulerEngine final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SchedulerEngine)

public:
    static constexpr std::chrono::seconds interval{20};
    /// Between two looks, the wall clock and the time since boot may drift apart by this much
    /// before it counts as somebody setting the clock.
    static constexpr std::chrono::minutes clockChangeThreshold{2};

    /// Why a due job could not run.
    enum class SkipReason : std::uint8_t {
        /// Not logged in, and reconnecting failed.
        notConnected,
        /// Reconnecting met a key that nobody has confirmed: a run nobody watches does not ask.
        certificateUnconfirmed,
    };
    Q_ENUM(SkipReason)

    /// Runs the jobs of appState, and dies with it.
    explicit SchedulerEngine(AppState &appState);
    ~SchedulerEngine() override;

    /// Starts (or restarts) the timer, and looks for a due job at once.
    void start();
    /// No more looks for due jobs; a run under way goes on.
    void stop();
    /// One look for a due job at the state's current time. The timer calls it; tests call it with
    /// the state's clock set to fixed instants.
    void tick();

    [[nodiscard]] bool isRunningJob() const { return m_isRunningJob; }
    [[nodiscard]] bool isStarted() const;

Q_SIGNALS:
    /// job was due but could not run, for reason.
    void jobSkipped(const lanternfold::ScheduledJob &job, lanternfold::SchedulerEngine::SkipReason reason);
    /// job ran: its devices were restarted, or failed to be, as outcome says.
    void jobRan(const lanternfold::ScheduledJob &job, const lanternfold::AppState::BatchOutcome &outcome);
    /// A picked job's run has ended, on every path.
    void runFinished(const QUuid &jobId);

private:
    static QCoro::Task<void> runAndRelease(QPointer<SchedulerEngine> self, ScheduledJob job);
    static QCoro::Task<void> run(QPointer<SchedulerEngine> self, ScheduledJob job);
    /// A failed or skipped run moves the schedule on exactly like a successful one.
    void markRan(const ScheduledJob &job, bool success);

    /// Recomputes the next runs when the wall clock was set since the last look, or when a next run
    /// lies further ahead than its rule allows; before any job is taken.
    void noticeClockChanges(const QDateTime &now);

    QPointer<AppState> m_appState;
    QTimer *m_timer = nullptr;
    /// The wall clock and the time since boot at the last look.
    std::optional<std::pair<QDateTime, std::chrono::milliseconds>> m_lastLook;
    bool m_isRunningJob = false;
};

} // namespace lanternfold
