#include "Async/Latch.h"

#include <QCoroSignal>
#include <QTimer>

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

QCoro::Task<bool> sleepFor(std::chrono::milliseconds duration, std::shared_ptr<Latch> cancel)
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    Wakeup wakeup;
    wakeup.watch(*cancel);
    wakeup.watch(&timer, &QTimer::timeout);
    timer.start(duration);
    co_await wakeup.wait();
    co_return !cancel->isSet();
}

} // namespace lanternfold
