// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "State/AppState.h"

#include "Async/Latch.h"
#include "Models/DeviceReading.h"
#include "State/ControllerSession.h"

#include <utility>

// The batch: one target after the other, with a pause between them and, when asked, a watch on
// each device until it is back. Kept apart from the connection's life in AppState.cpp.

namespace lanternfold {

using namespace Qt::StringLiterals;

QCoro::Task<AppState::BatchOutcome> AppState::restartBatch(QList<RestartTarget> targets, qint64 staggerSeconds)
{
    BatchOptions options;
    options.pause = std::chrono::seconds(std::max<qint64>(staggerSeconds, 0));
    co_return co_await restartBatch(std::move(targets), std::move(options));
}

QCoro::Task<AppState::BatchOutcome> AppState::restartBatch(QList<RestartTarget> targets, BatchOptions options)
{
    const std::shared_ptr<Latch> gone = m_gone;
    // A scheduled batch belongs to the session logged in when it starts, never to a later one.
    const QPointer<ControllerSession> started = m_session;
    const auto budget = std::make_shared<RenewalBudget>();
    // What ends the batch at a pause: its owner calling it off and, unless it follows the login,
    // the end of its session.
    std::shared_ptr<Latch> stop = options.cancel ? options.cancel : gone;
    if (!options.followsTheLogin)
        stop = options.cancel ? firstOf(options.cancel, started ? started->ending() : gone)
                              : (started ? started->ending() : gone);
    const auto wait = options.waitForOnline;
    BatchOutcome outcome;
    if (wait)
        outcome.waitMinutes = wait->minutes;
    // Time as the pauses count it, and as the boot-time clock does: the larger is the truth (the
    // requests take time too; a test's pauses take none).
    const std::chrono::milliseconds batchStart = m_clock.sinceBoot();
    std::chrono::milliseconds paused{0};
    const auto elapsedSince = [this, &paused](std::chrono::milliseconds bootAt, std::chrono::milliseconds pausedAt) {
        return std::max(paused - pausedAt, m_clock.sinceBoot() - bootAt);
    };
    // Ended at a pause: nothing more is sent. Called off by its owner, nothing is reported; ended
    // with its session, the targets from `from` on are.
    const auto endedAtPause = [&](qsizetype from) {
        if (gone->isSet() || (options.cancel && options.cancel->isSet()))
            return;
        const UnifiAPIError why = started ? started->endedBecause() : UnifiAPIError::closed();
        for (qsizetype rest = from; rest < targets.size(); ++rest) {
            const RestartTarget &target = targets.at(rest);
            outcome.failed.append(target);
            //: %1 is the device's name, %2 says why.
            log(tr("Restart failed for %1: %2").arg(target.displayName, why.description()), LogLevel::error);
        }
    };
    for (qsizetype index = 0; index < targets.size(); ++index) {
        if (index > 0 && options.pause.count() >= 1) {
            const bool pausedWhole = co_await m_clock.pause(options.pause, stop);
            if (!pausedWhole) {
                endedAtPause(index);
                co_return outcome;
            }
            paused += options.pause;
        }
        const RestartTarget &target = targets.at(index);
        const QString site = options.site.value_or(this->site());
        // The session each step goes through: the one logged in now, or the batch's own.
        const auto session = [&]() -> QPointer<ControllerSession> {
            return options.followsTheLogin ? m_session : started;
        };
        std::optional<DeviceReading> before;
        if (wait && session()) {
            // What the device says before the command, so that its reboot can be told.
            auto reading = co_await session()->read(target, budget, site);
            if (gone->isSet())
                co_return outcome;
            if (reading.ok())
                before = reading.value();
        }
        if (m_quitting) {
            // The state is about to go: this target is neither sent nor recorded as sent.
            co_await untilSet(gone);
            co_return outcome;
        }
        if (options.sending)
            options.sending(target);
        // Not a conditional expression around the awaits: GCC 12 miscompiles co_await inside one.
        Result<Done, UnifiAPIError> result = UnifiAPIError::closed();
        if (options.followsTheLogin)
            result = co_await restartOn(m_session, target, std::make_shared<RenewalBudget>(), site);
        else
            result = co_await restartOn(started, target, budget, site);
        if (gone->isSet())
            co_return outcome;
        (result.ok() ? outcome.succeeded : outcome.failed).append(target);
        if (!wait || !result.ok())
            continue;

        RebootWatch watch(before);
        const std::chrono::milliseconds commandAt = m_clock.sinceBoot();
        const std::chrono::milliseconds pausedAtCommand = paused;
        const std::chrono::minutes limit(wait->minutes);
        bool back = false;
        std::chrono::milliseconds waited{0};
        while (waited < limit) {
            const bool checked = co_await m_clock.pause(checkInterval, stop);
            if (!checked) {
                endedAtPause(index + 1);
                co_return outcome;
            }
            paused += checkInterval;
            waited = elapsedSince(commandAt, pausedAtCommand);
            if (!session())
                continue;
            // A reading that fails (the controller busy, a session renewed meanwhile) is only a
            // check that told nothing; the limit still ends the wait.
            auto reading = co_await session()->read(target, budget, site);
            if (gone->isSet())
                co_return outcome;
            if (reading.ok() && watch.isBack(reading.value(), waited)) {
                back = true;
                break;
            }
        }
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(waited);
        if (back) {
            outcome.backOnline.append(target);
            outcome.duration = std::chrono::duration_cast<std::chrono::seconds>(elapsedSince(batchStart, {}));
            //: %1 is the device's name, %2 how long it took (such as "1 min 48 s").
            log(tr("%1 back online after %2").arg(target.displayName, durationText(seconds)));
            continue;
        }
        outcome.notBack.append(target);
        //: %1 is the device's name, %2 how long it was waited for (such as "10 min").
        log(tr("%1 not back after %2").arg(target.displayName, durationText(limit)), LogLevel::warning);
        if (wait->whenNotBack == ScheduledJob::WaitForOnline::WhenNotBack::stopTheJob) {
            // Coverage is already missing here: the next device is not taken down too.
            outcome.notRestarted = targets.mid(index + 1);
            break;
        }
    }
    co_return outcome;
}

QString AppState::durationText(std::chrono::seconds duration)
{
    const qint64 minutes = duration.count() / 60;
    const qint64 seconds = duration.count() % 60;
    if (minutes == 0)
        //: A duration in seconds, abbreviated.
        return tr("%1 s").arg(seconds);
    if (seconds == 0)
        //: A duration in minutes, abbreviated.
        return tr("%1 min").arg(minutes);
    //: A duration in minutes (%1) and seconds (%2), abbreviated.
    return tr("%1 min %2 s").arg(QString::number(minutes), QString::number(seconds));
}

QString AppState::BatchOutcome::summary() const
{
    const auto names = [](const QList<RestartTarget> &targets) {
        QStringList list;
        for (const RestartTarget &target : targets)
            list.append(target.displayName);
        return list.join(u", "_s);
    };
    if (!waitMinutes) {
        if (failed.isEmpty())
            //: %1 is a number of devices.
            return AppState::tr("Restarted %1 device(s) successfully.").arg(succeeded.size());
        //: %1 and %2 are numbers of devices, %3 the names of those that failed.
        return AppState::tr("%1 succeeded, %2 failed: %3")
            .arg(QString::number(succeeded.size()), QString::number(failed.size()), names(failed));
    }
    if (failed.isEmpty() && notBack.isEmpty() && notRestarted.isEmpty())
        //: %1 is a number of devices, %2 how long the whole run took (such as "3 min 10 s").
        return AppState::tr("Restarted %1 device(s); all back online in %2.")
            .arg(QString::number(succeeded.size()), durationText(duration));
    // The items below make one line, joined with commas and ended with a full stop.
    //: One item of a run's outcome; %1 is a number of devices.
    QStringList parts{AppState::tr("%1 back online").arg(backOnline.size())};
    if (!notBack.isEmpty())
        //: One item of a run's outcome; %1 is a number of devices, %2 the wait (such as "10 min"), %3 their names.
        parts.append(AppState::tr("%1 not back after %2: %3")
                         .arg(QString::number(notBack.size()), durationText(std::chrono::minutes(*waitMinutes)),
                              names(notBack)));
    if (!failed.isEmpty())
        //: One item of a run's outcome; %1 is a number of devices, %2 their names.
        parts.append(AppState::tr("%1 failed: %2").arg(QString::number(failed.size()), names(failed)));
    if (!notRestarted.isEmpty())
        //: One item of a run's outcome; %1 is a number of devices, %2 their names.
        parts.append(
            AppState::tr("%1 not restarted: %2").arg(QString::number(notRestarted.size()), names(notRestarted)));
    return parts.join(u", "_s) + u"."_s;
}

} // namespace lanternfold
