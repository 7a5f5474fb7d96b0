// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

// Helpers shared by the test programs.

#include <QCoroTask>
#include <QProcess>
#include <QString>
#include <QTimer>

#include <chrono>
#include <memory>
#include <optional>

namespace lanternfold::test {

/// Runs a bash script in folder and returns its standard output; stops the test program when the
/// script fails, since every caller needs its result.
inline QString runShell(const QString &script, const QString &folder)
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(QStringLiteral("/bin/bash"), {QStringLiteral("-c"), QStringLiteral("set -o pipefail; ") + script});
    if (!process.waitForFinished(60'000) || process.exitCode() != 0)
        qFatal("command failed: %s\n%s", qPrintable(script), process.readAllStandardError().constData());
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

/// Counts the ticks of a timer: proof that the event loop kept running during a wait.
class TickCounter final
{
public:
    explicit TickCounter(std::chrono::milliseconds interval = std::chrono::milliseconds(100))
    {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { ++m_ticks; });
        m_timer.start(interval);
    }
    [[nodiscard]] int ticks() const { return m_ticks; }

private:
    QTimer m_timer;
    int m_ticks = 0;
};

template <typename T>
using Outcome = std::shared_ptr<std::optional<T>>;

template <typename T>
QCoro::Task<void> storeResult(QCoro::Task<T> task, Outcome<T> out)
{
    out->emplace(co_await std::move(task));
}

/// Lets task run on its own; its result appears in the returned outcome once it is done.
template <typename T>
Outcome<T> start(QCoro::Task<T> task)
{
    auto out = std::make_shared<std::optional<T>>();
    (void)storeResult(std::move(task), out);
    return out;
}

/// Runs the event loop until task is done; results need not be default-constructible.
template <typename T>
T await(QCoro::Task<T> task)
{
    auto result = std::make_shared<std::optional<T>>();
    QCoro::waitFor(storeResult(std::move(task), result));
    return std::move(**result);
}

inline void await(QCoro::Task<void> task)
{
    QCoro::waitFor(std::move(task));
}

} // namespace lanternfold::test
