// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "State/AppState.h"

#include <QObject>
#include <QPointer>

#include <QCoroTask>

#include <memory>

namespace lanternfold {

class FileLock;
class ScheduleStore;
class SchedulerEngine;

/// `lanternfoldctl service`: runs the user's jobs by their schedules until told to stop, holding
/// the scheduler lock so that no other process (a second service, the desktop program) runs them
/// too. Every activity line goes to standard output, one per line, with the priority prefix the
/// journal reads ("<6>" information, "<4>" warning, "<3>" error).
class ControlService final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ControlService)

public:
    ControlService(ScheduleStore &store, AppState &state, QObject *parent = nullptr);
    ~ControlService() override;

    /// Takes the lock and starts the schedules; false (having said why) when another process
    /// holds the lock.
    bool start();
    /// No job starts any more; a restart command already sent is answered; a run under way stops
    /// where it is, its progress kept for the next start. The state may then be destroyed.
    QCoro::Task<void> stop();

    /// message with the journal's priority prefix for level.
    static QString journalLine(AppState::LogLevel level, const QString &message);

private:
    ScheduleStore &m_store;
    AppState &m_state;
    std::unique_ptr<FileLock> m_lock;
    QPointer<SchedulerEngine> m_engine;
};

} // namespace lanternfold
