// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "State/RunNotifier.h"

#include "Platform/NotificationService.h"
#include "State/SchedulerEngine.h"

#include <QTimer>

namespace lanternfold {

using namespace Qt::StringLiterals;

QString RunNotifier::passwordRefusedText()
{
    return tr("Lanternfold needs the controller password again: the saved one was refused.");
}

RunNotifier::RunNotifier(AppState &state, SchedulerEngine &engine, NotificationService &notifications)
    : QObject(&engine), m_notifications(notifications)
{
    connect(&engine, &SchedulerEngine::jobSkipped, this,
            [this](const ScheduledJob &job, SchedulerEngine::SkipReason reason) { jobSkipped(job, int(reason)); });
    connect(&state, &AppState::savedPasswordRefused, this,
            [this] { m_notifications.post(u"Lanternfold"_s, passwordRefusedText()); });
    connect(&engine, &SchedulerEngine::jobRan, this, &RunNotifier::jobRan);
    // From the event loop: the first use of the session bus waits for the connection to it, and
    // the window need not wait for that. Nothing depends on the answer.
    QTimer::singleShot(0, this, [this] { m_notifications.requestAuthorization(); });
}

QString RunNotifier::outcomeText(const AppState::BatchOutcome &outcome)
{
    return outcome.summary();
}

void RunNotifier::jobSkipped(const ScheduledJob &job, int reason)
{
    if (SchedulerEngine::SkipReason(reason) == SchedulerEngine::SkipReason::certificateUnconfirmed) {
        //: %1 is the name of the scheduled job.
        m_notifications.post(
            u"Lanternfold"_s,
            tr("Scheduled job '%1' skipped \u2014 confirm the controller's certificate in Lanternfold first.")
                .arg(job.name));
        return;
    }
    //: %1 is the name of the scheduled job.
    m_notifications.post(u"Lanternfold"_s, tr("Couldn't run '%1': not connected to the controller.").arg(job.name));
}

void RunNotifier::jobRan(const ScheduledJob &job, const AppState::BatchOutcome &outcome)
{
    //: A notification's title: the program's name, then the name of the job that ran.
    m_notifications.post(tr("Lanternfold \u2014 %1").arg(job.name), outcomeText(outcome));
}

} // namespace lanternfold
