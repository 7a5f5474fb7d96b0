// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QObject>

#include <QCoroTask>

#include <memory>

namespace lanternfold {

/// A one-shot event that remembers it happened: a client closing, a shared attempt finishing.
/// Held by std::shared_ptr, it outlives the object it speaks for, so a suspended coroutine can learn
/// on resumption that its object closed (or died) without touching that object.
class Latch final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Latch)

public:
    Latch() = default;
    ~Latch() override = default;

    [[nodiscard]] bool isSet() const { return m_set; }
    /// Sets the latch once; later calls do nothing.
    void set();

Q_SIGNALS:
    void wasSet();

private:
    bool m_set = false;
};

/// Suspends one coroutine until any of the latches or signals it watches fires. It lives in the
/// waiting coroutine's frame, so it exists exactly as long as the wait; the coroutine resumes from
/// the event loop, never from inside whoever fired, so it may destroy what it waited on.
class Wakeup final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Wakeup)

public:
    Wakeup() = default;
    ~Wakeup() override = default;

    /// Fires at once if the latch is already set.
    void watch(const Latch &latch);
    template <typename Sender, typename Signal>
    void watch(const Sender *sender, Signal signal)
    {
        connect(sender, signal, this, &Wakeup::fire);
    }

    void fire();
    [[nodiscard]] bool hasFired() const { return m_fired; }

    /// Returns once the wakeup has fired (at once if it already has).
    QCoro::Task<void> wait();

Q_SIGNALS:
    void fired();

private:
    bool m_fired = false;
};

/// Returns once latch is set (at once when it already is), from the event loop.
QCoro::Task<void> untilSet(std::shared_ptr<Latch> latch);

/// A latch set as soon as one of first and second is (at once when one already is).
std::shared_ptr<Latch> firstOf(const std::shared_ptr<Latch> &first, const std::shared_ptr<Latch> &second);

} // namespace lanternfold
