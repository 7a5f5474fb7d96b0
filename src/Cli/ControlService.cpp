// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Cli/ControlService.h"

#include "Cli/ControlCommands.h"
#include "Platform/FileLock.h"
#include "Schedules/ScheduleStore.h"
#include "State/JobList.h"
#include "State/SchedulerEngine.h"

#include <QCoreApplication>

namespace lanternfold {

using namespace Qt::StringLiterals;

ControlService::ControlService(ScheduleStore &store, AppState &state, QObject *parent)
    : QObject(parent), m_store(store), m_state(state)
{
}

ControlService::~ControlService()
{
    delete m_engine;
}

QString ControlService::journalLine(AppState::LogLevel level, const QString &message)
{
    QString prefix = u"<6>"_s;
    if (level == AppState::LogLevel::error)
        prefix = u"<3>"_s;
    else if (level == AppState::LogLevel::warning)
        prefix = u"<4>"_s;
    // The journal reads each line on its own: every line of a message carries the priority.
    QStringList lines = message.split(u'\n');
    lines.removeAll(QString());
    for (QString &line : lines)
        line.prepend(prefix);
    return lines.join(u'\n');
}

bool ControlService::start()
{
    m_lock = std::make_unique<FileLock>(m_store.schedulerLockPath());
    if (!m_lock->tryLock()) {
        const std::optional<QByteArray> holder = FileLock::holderNote(m_store.schedulerLockPath());
        printLine(journalLine(AppState::LogLevel::error,
                              u"Another process runs the schedules ("_s +
                                  (holder && !holder->isEmpty() ? QString::fromUtf8(*holder) : u"unknown"_s) +
                                  u"); this one leaves them to it."_s));
        return false;
    }
    m_lock->setHolderNote("lanternfoldctl service (pid " + QByteArray::number(QCoreApplication::applicationPid()) +
                          ")");
    connect(&m_state, &AppState::logged, this,
            [](AppState::LogLevel level, const QString &message) { printLine(journalLine(level, message)); });
    // Jobs added or changed in the window reach the schedules without a restart.
    m_state.jobList().followFile();
    m_engine = new SchedulerEngine(m_state);
    printLine(journalLine(AppState::LogLevel::info, u"Running the schedules of %1: %2 job(s)."_s.arg(
                                                        m_store.filePath(), QString::number(m_state.jobs().size()))));
    m_engine->start();
    return true;
}

QCoro::Task<void> ControlService::stop()
{
    if (m_engine)
        m_engine->stop();
    printLine(journalLine(AppState::LogLevel::info, u"Stopping."_s));
    co_await m_state.prepareToQuit();
}

} // namespace lanternfold
