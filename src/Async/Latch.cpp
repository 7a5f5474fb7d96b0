// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Async/Latch.h"

#include <QCoroSignal>

namespace lanternfold {

void Latch::set()
{
    if (m_set)
        return;
    m_set = true;
    Q_EMIT wasSet();
}

void Wakeup::watch(const Latch &latch)
{
    if (latch.isSet())
        fire();
    else
        connect(&latch, &Latch::wasSet, this, &Wakeup::fire);
}

void Wakeup::fire()
{
    if (m_fired)
        return;
    m_fired = true;
    Q_EMIT fired();
}

QCoro::Task<void> Wakeup::wait()
{
    // qCoro resumes through a queued connection: the waiter never runs inside the emitter.
    if (!m_fired)
        co_await qCoro(this, &Wakeup::fired);
}

QCoro::Task<void> untilSet(std::shared_ptr<Latch> latch)
{
    Wakeup wakeup;
    wakeup.watch(*latch);
    co_await wakeup.wait();
}

std::shared_ptr<Latch> firstOf(const std::shared_ptr<Latch> &first, const std::shared_ptr<Latch> &second)
{
    auto either = std::make_shared<Latch>();
    for (const std::shared_ptr<Latch> &latch : {first, second}) {
        if (latch->isSet())
            either->set();
        else
            QObject::connect(latch.get(), &Latch::wasSet, either.get(), &Latch::set);
    }
    return either;
}

} // namespace lanternfold
