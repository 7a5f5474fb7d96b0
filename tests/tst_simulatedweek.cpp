// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// A week of nightly restarts without anybody watching, against the simulated controller with a
// clock the test sets: a healthy night; a renewal answered 429; healthy again; a wall clock set a
// year ahead for one tick and back; a restart answered one byte at a time; the password changed on
// the controller; and a quit in the middle of a run. Every night is judged by the controller's own
// log: which devices it restarted, and how many logins it saw.

#include "StateFixture.h"

#include "State/SchedulerEngine.h"

#include <QSignalSpy>

#include <algorithm>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString loginPath = u"/api/auth/login"_s;
const QString restartPath = u"/proxy/network/api/s/default/cmd/devmgr"_s;

QDateTime at(int day, int hour, int minute = 0)
{
    return QDateTime(QDate(2025, 3, day), QTime(hour, minute), QTimeZone::utc());
}

} // namespace

class TestSimulatedWeek final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { StateFixture::init(); }
    void cleanup()
    {
        m_finished.reset();
        StateFixture::cleanup();
    }

    void aWeekOfNightsNobodyWatches();

private:
    /// Starts the state as the program does, logged out, with its scheduler watched.
    AppState &startProgram()
    {
        AppState &started = makeState();
        started.setRequestDeadline(1500ms);
        m_finished = std::make_unique<QSignalSpy>(&scheduler(), &SchedulerEngine::runFinished);
        return started;
    }
    /// The night's tick at 03:00:10 and the whole run it starts.
    void runTheNight(int day)
    {
        now = at(day, 3).addSecs(10);
        const qsizetype runs = m_finished->size();
        scheduler().tick();
        QTRY_COMPARE_WITH_TIMEOUT(m_finished->size(), runs + 1, 30000);
    }
    /// How often each target was restarted since the last call.
    QList<int> restartsSinceLastNight(const Sim &sim, const QList<RestartTarget> &targets)
    {
        const QStringList all = restartedMacs(sim);
        const QStringList tonight = all.mid(m_restartsCounted);
        m_restartsCounted = all.size();
        QList<int> counts;
        for (const RestartTarget &target : targets)
            counts.append(int(tonight.count(target.identifier)));
        return counts;
    }
    qsizetype loginsSinceLastNight(const Sim &sim)
    {
        const qsizetype all = requestsTo(sim, loginPath).size();
        return all - std::exchange(m_loginsCounted, all);
    }

    std::unique_ptr<QSignalSpy> m_finished;
    qsizetype m_restartsCounted = 0;
    qsizetype m_loginsCounted = 0;
};

void TestSimulatedWeek::aWeekOfNightsNobodyWatches()
{
    Sim &sim = startSim();
    sim.setOfflineDuration(0ms);
    // The controller lets one login through within ten minutes; the connect's is that one, and
    // the limit stays until the third night (the whole week takes seconds of real time).
    sim.setLoginRateLimit(1, 10min);
    now = at(14, 12);
    AppState *program = &startProgram();
    connectTo(sim);
    QVERIFY(program->isLoggedIn());
    const QList<RestartTarget> targets = firstAccessPoints(2);
    program->addJob(job(u"Nightly"_s, targets, RecurrenceRule::dailyAt(3, 0), 30));
    QCOMPARE(loginsSinceLastNight(sim), 1);
    const QList<int> once{1, 1};
    const QList<int> none{0, 0};

    // 1. A healthy night.
    runTheNight(15);
    QCOMPARE(restartsSinceLastNight(sim, targets), once);
    QCOMPARE(loginsSinceLastNight(sim), 0);

    // 2. The session expired, and the controller turns the renewal away with 429: the night is lost,
    // with one login, and the state stays logged in for the next one.
    sim.expireSessions();
    runTheNight(16);
    QCOMPARE(restartsSinceLastNight(sim, targets), none);
    QCOMPARE(loginsSinceLastNight(sim), 1);
    QCOMPARE(requestsTo(sim, loginPath).last().value(u"status"_s).toInt(), 429);
    QVERIFY(program->isLoggedIn());

    // 3. Healthy again: one renewal, both devices.
    sim.setLoginRateLimit(0, 10min);
    runTheNight(17);
    QCOMPARE(restartsSinceLastNight(sim, targets), once);
    QCOMPARE(loginsSinceLastNight(sim), 1);

    // 4. During the day the wall clock is set a year ahead for one tick, then back: nothing runs
    // at the wrong hour, and the next night is on time.
    now = at(17, 12);
    scheduler().tick();
    const std::chrono::milliseconds year(at(17, 12).msecsTo(at(17, 12).addYears(1)));
    now = now.addYears(1);
    wallClockSet += year;
    scheduler().tick();
    wallClockSet -= year;
    now = at(17, 12, 1);
    scheduler().tick();
    QTest::qWait(100);
    QCOMPARE(m_finished->size(), 3);
    QCOMPARE(program->jobs().first().nextRunAt, std::optional<QDateTime>(at(18, 3)));
    runTheNight(18);
    QCOMPARE(restartsSinceLastNight(sim, targets), once);

    // 5. The controller answers the restarts one byte at a time: the run ends by the requests'
    // deadline, and the next night runs.
    sim.setFault({Sim::FaultKind::Drip, restartPath, 100ms});
    runTheNight(19);
    QCOMPARE(restartsSinceLastNight(sim, targets), none);
    sim.clearFaults();
    runTheNight(20);
    QCOMPARE(restartsSinceLastNight(sim, targets), once);
    QCOMPARE(loginsSinceLastNight(sim), 0);

    // 6. The password is changed on the controller: one failed login, then none until the person
    // connects again, whatever the nights and restarts of the program.
    sim.setCredentials(sim.username(), u"changed on the console"_s);
    sim.expireSessions();
    runTheNight(21);
    QCOMPARE(restartsSinceLastNight(sim, targets), none);
    QCOMPARE(loginsSinceLastNight(sim), 1);
    QVERIFY(!program->isLoggedIn());
    runTheNight(22);
    program = &startProgram();
    runTheNight(23);
    QCOMPARE(loginsSinceLastNight(sim), 0);
    const auto refusedNotices = std::count_if(notified().cbegin(), notified().cend(), [](const auto &notification) {
        return notification.body == u"Lanternfold needs the controller password again: the saved one was refused."_s;
    });
    QCOMPARE(refusedNotices, 1); // said once, not again by the restarted program
    now = at(23, 8);
    connectTo(sim, /*rememberPassword=*/true, u"changed on the console"_s);
    QVERIFY(program->isLoggedIn());
    QCOMPARE(loginsSinceLastNight(sim), 1);

    // 7. The program quits in the middle of a run, and starts again: no device twice.
    holdPauses = true;
    now = at(24, 3).addSecs(10);
    scheduler().tick();
    QTRY_COMPARE(restartedMacs(sim).size(), m_restartsCounted + 1);
    program = nullptr;
    state.reset();
    holdPauses = false;
    now = at(24, 3, 2);
    program = &startProgram();
    scheduler().tick();
    QTRY_COMPARE_WITH_TIMEOUT(m_finished->size(), 1, 30000);
    QCOMPARE(restartsSinceLastNight(sim, targets), once);
    QCOMPARE(loginsSinceLastNight(sim), 1); // the new start's reconnect
    QVERIFY(
        logMessages().contains(u"Resumed 'Nightly' after an interruption: 1 of 2 device(s) were already restarted."_s));
    QCOMPARE(program->jobs().first().nextRunAt, std::optional<QDateTime>(at(25, 3)));
}

QTEST_GUILESS_MAIN(TestSimulatedWeek)
#include "tst_simulatedweek.moc"
