// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "StateFixture.h"

#include "SimClock.h"
#include "State/SchedulerEngine.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QSignalSpy>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// Due jobs run by themselves: which job, when, what is logged and announced, and how the schedule
/// moves on. The state's clock stands still unless a test moves it; ticks are called directly.
class TestSchedulerEngine final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void startsWithTheTwentySecondTimerAndOneTickAtOnce();
    void dueJobsRunInListOrderOneAtATime();
    void skippedRunIsLoggedAnnouncedAndMovesOn();
    void disabledJobWithAPassedRunNeverRuns();
    void onceJobIsDisabledAfterItsRun();
    void jobDeletedWhileRunningStaysDeleted();
    void intervalCountsFromTheEndOfTheRun();
    void editDuringARunKeepsTheEditAndItsNextRun();
    void clockSetForwardAndBackRunsNothingAtTheWrongHour();
    void suspendAndResumeIsNotAClockChange();
    void nextRunComputedUnderAWrongClockIsRecomputed();
    void interruptedRunResumesWithTheDevicesNotReached();
    void interruptedRunOvertakenByTheNextOccurrenceIsMissed();
    void ruleKindChangedDuringARun_data();
    void ruleKindChangedDuringARun();
    void outcomeNotificationNamesTheFailures();
    void dueJobRestartsEverythingByItself();
    void expiredSessionIsRenewedOnceForARun();
    void sessionThatOutlivedItsLifetimeIsRenewedOnce();

private:
    void waitForRuns(QSignalSpy &finished, int count);
    /// Runs the job due at nine, then expects all three devices restarted after exactly one
    /// login beyond the logins counted before.
    void runAtNineRestartsAllWithOneMoreLogin(const Sim &sim, qsizetype logins);
    /// A state logged in to a simulated controller whose pauses last until pauseRelease is set.
    AppState &connectedWithHeldPauses();
    static QDateTime utc(int year, int month, int day, int hour, int minute = 0, int second = 0)
    {
        return QDateTime(QDate(year, month, day), QTime(hour, minute, second), QTimeZone::utc());
    }
};

void TestSchedulerEngine::init()
{
    StateFixture::init();
}

void TestSchedulerEngine::cleanup()
{
    StateFixture::cleanup();
}

void TestSchedulerEngine::waitForRuns(QSignalSpy &finished, int count)
{
    QTRY_COMPARE_WITH_TIMEOUT(finished.size(), count, 30000);
}

void TestSchedulerEngine::runAtNineRestartsAllWithOneMoreLogin(const Sim &sim, qsizetype logins)
{
    now = utc(2025, 3, 14, 9);
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    waitForRuns(finished, 1);
    QTRY_COMPARE(notified().size(), 1);
    QCOMPARE(notified().first().body, u"Restarted 3 device(s) successfully."_s);
    QCOMPARE(requestsTo(sim, u"/api/auth/login"_s).size(), logins + 1);
}

AppState &TestSchedulerEngine::connectedWithHeldPauses()
{
    const Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    holdPauses = true;
    return state;
}

void TestSchedulerEngine::startsWithTheTwentySecondTimerAndOneTickAtOnce()
{
    QCOMPARE(SchedulerEngine::interval, 20s);
    ScheduledJob overdue = job(u"Overdue"_s, {}, RecurrenceRule::dailyAt(7, 0));
    overdue.nextRunAt = utc(2025, 3, 14, 7); // missed while the program was not running
    store->save({overdue});
    AppState &state = makeState();
    QVERIFY(scheduler().isStarted());
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    waitForRuns(finished, 1); // without anyone calling tick()
    QCOMPARE(state.jobs().first().lastRunAt, std::optional<QDateTime>(now));
}

void TestSchedulerEngine::dueJobsRunInListOrderOneAtATime()
{
    ScheduledJob first = job(u"First"_s, {}, RecurrenceRule::dailyAt(7, 0));
    ScheduledJob second = job(u"Second"_s, {}, RecurrenceRule::dailyAt(6, 0));
    first.nextRunAt = now;
    second.nextRunAt = now.addSecs(-3600); // due earlier, but later in the list
    store->save({first, second});
    AppState &state = makeState();
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    waitForRuns(finished, 1);
    QCOMPARE(finished.at(0).first().toUuid(), first.id);
    QTest::qWait(50);
    QCOMPARE(finished.size(), 1); // one job per tick
    QVERIFY(state.jobs().at(1).nextRunAt <= now);
    scheduler().tick();
    waitForRuns(finished, 2);
    QCOMPARE(finished.at(1).first().toUuid(), second.id);
    QCOMPARE(logMessages().size(), 2);
    QVERIFY(logMessages().at(1).startsWith(u"Scheduled job 'First' skipped"_s));
    QVERIFY(logMessages().at(0).startsWith(u"Scheduled job 'Second' skipped"_s));
}

void TestSchedulerEngine::skippedRunIsLoggedAnnouncedAndMovesOn()
{
    ScheduledJob daily =
        job(u"Mornings"_s, {{RestartTargetKind::accessPoint, u"aa"_s, u"AP"_s}}, RecurrenceRule::dailyAt(7, 0));
    daily.nextRunAt = utc(2025, 3, 14, 7);
    store->save({daily});
    AppState &state = makeState(); // no saved controller: reconnecting cannot work
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    waitForRuns(finished, 1);
    QCOMPARE(logMessages().first(),
             u"Scheduled job 'Mornings' skipped \u2014 not logged in and auto-reconnect failed."_s);
    QTRY_COMPARE(notified().size(), 1);
    QCOMPARE(notified().first().summary, u"Lanternfold"_s);
    QCOMPARE(notified().first().body, u"Couldn't run 'Mornings': not connected to the controller."_s);
    // The missed run is not retried: tomorrow, measured from now.
    const ScheduledJob ran = state.jobs().first();
    QCOMPARE(ran.lastRunAt, std::optional<QDateTime>(now));
    QCOMPARE(ran.nextRunAt, std::optional<QDateTime>(utc(2025, 3, 15, 7)));
    QVERIFY(ran.isEnabled);
    QCOMPARE(savedJobs().first().nextRunAt, ran.nextRunAt);
    scheduler().tick();
    QTest::qWait(50);
    QCOMPARE(finished.size(), 1);
}

void TestSchedulerEngine::disabledJobWithAPassedRunNeverRuns()
{
    ScheduledJob off = job(u"Off"_s, {}, RecurrenceRule::dailyAt(7, 0));
    off.isEnabled = false;
    off.nextRunAt = utc(2025, 3, 1, 7);
    store->save({off});
    AppState &state = makeState();
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    QTest::qWait(50);
    QCOMPARE(finished.size(), 0);
    // Enabling computes the next run from now: the missed time does not fire at once.
    state.setJob(off, true);
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 15, 7)));
    scheduler().tick();
    QTest::qWait(50);
    QCOMPARE(finished.size(), 0);
    QVERIFY(state.activityLog().isEmpty());
}

void TestSchedulerEngine::onceJobIsDisabledAfterItsRun()
{
    ScheduledJob once = job(u"Just once"_s, {}, RecurrenceRule::once(utc(2025, 3, 14, 8)));
    once.nextRunAt = utc(2025, 3, 14, 8);
    store->save({once});
    AppState &state = makeState(); // skipped for want of a connection: the same as having run
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    waitForRuns(finished, 1);
    QCOMPARE(state.jobs().size(), 1);
    QVERIFY(!state.jobs().first().isEnabled);
    QCOMPARE(state.jobs().first().nextRunAt, std::nullopt);
    QCOMPARE(state.jobs().first().lastRunAt, std::optional<QDateTime>(now));
    QCOMPARE(savedJobs(), state.jobs());
}

void TestSchedulerEngine::jobDeletedWhileRunningStaysDeleted()
{
    AppState &state = connectedWithHeldPauses();
    const QList<RestartTarget> targets = firstAccessPoints(2);
    state.addJob(job(u"Doomed"_s, targets, RecurrenceRule::dailyAt(9, 0), 10));
    now = utc(2025, 3, 14, 9);
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    QTRY_COMPARE(pauses.size(), 1); // between the two devices
    QVERIFY(scheduler().isRunningJob());
    state.removeJobs({0});
    const QByteArray afterRemoval = [this] {
        QFile file(jobsFilePath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }();
    pauseRelease->set();
    waitForRuns(finished, 1);
    QVERIFY(state.jobs().isEmpty());
    QVERIFY(savedJobs().isEmpty());
    QFile file(jobsFilePath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), afterRemoval);
}

void TestSchedulerEngine::intervalCountsFromTheEndOfTheRun()
{
    AppState &state = connectedWithHeldPauses();
    const QList<RestartTarget> targets = firstAccessPoints(2);
    state.addJob(job(u"Every six hours"_s, targets, RecurrenceRule::everyInterval(6), 40));
    const QDateTime due = *state.jobs().first().nextRunAt;
    now = due;
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    QTRY_COMPARE(pauses.size(), 1);
    // A tick while it runs starts nothing: one job at a time.
    scheduler().tick();
    now = due.addSecs(40); // the run took 40 seconds
    pauseRelease->set();
    waitForRuns(finished, 1);
    QCOMPARE(state.jobs().first().lastRunAt, std::optional<QDateTime>(due.addSecs(40)));
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(due.addSecs(40 + 6 * 3600)));
}

void TestSchedulerEngine::editDuringARunKeepsTheEditAndItsNextRun()
{
    AppState &state = connectedWithHeldPauses();
    const QList<RestartTarget> targets = firstAccessPoints(2);
    state.addJob(job(u"Before"_s, targets, RecurrenceRule::dailyAt(9, 0), 10));
    now = utc(2025, 3, 14, 9);
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    QTRY_COMPARE(pauses.size(), 1);
    ScheduledJob edited = state.jobs().first();
    edited.name = u"After"_s;
    edited.rule = RecurrenceRule::dailyAt(18, 0);
    state.updateJob(edited);
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 14, 18)));
    pauseRelease->set();
    waitForRuns(finished, 1);
    QCOMPARE(state.jobs().first().name, u"After"_s);
    QCOMPARE(state.jobs().first().rule, RecurrenceRule::dailyAt(18, 0));
    // The edit's next run stands; the run only records that it ran.
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 14, 18)));
    QCOMPARE(state.jobs().first().lastRunAt, std::optional<QDateTime>(now));
}

void TestSchedulerEngine::ruleKindChangedDuringARun_data()
{
    QTest::addColumn<bool>("becomesOnce");
    QTest::newRow("daily becomes once") << true;
    QTest::newRow("once becomes daily") << false;
}

void TestSchedulerEngine::ruleKindChangedDuringARun()
{
    QFETCH(bool, becomesOnce);
    const RecurrenceRule before =
        becomesOnce ? RecurrenceRule::dailyAt(9, 0) : RecurrenceRule::once(utc(2025, 3, 14, 9));
    const RecurrenceRule after =
        becomesOnce ? RecurrenceRule::once(utc(2025, 3, 20, 7)) : RecurrenceRule::dailyAt(7, 0);
    const QDateTime nextRun = becomesOnce ? utc(2025, 3, 20, 7) : utc(2025, 3, 15, 7);
    AppState &state = connectedWithHeldPauses();
    now = utc(2025, 3, 13, 12);
    state.addJob(job(u"Changed"_s, firstAccessPoints(2), before, 10));
    now = utc(2025, 3, 14, 9);
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    QTRY_COMPARE(pauses.size(), 1);
    ScheduledJob edited = state.jobs().first();
    edited.rule = after;
    state.updateJob(edited);
    pauseRelease->set();
    waitForRuns(finished, 1);
    // Neither fired at the old time nor disabled by a rule that no longer holds.
    const ScheduledJob &stored = state.jobs().first();
    QVERIFY(stored.isEnabled);
    QCOMPARE(stored.rule, after);
    QCOMPARE(stored.nextRunAt, std::optional<QDateTime>(nextRun));
    QCOMPARE(stored.lastRunAt, std::optional<QDateTime>(now));
    QCOMPARE(savedJobs(), state.jobs());
}

void TestSchedulerEngine::outcomeNotificationNamesTheFailures()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const QList<RestartTarget> targets{{RestartTargetKind::accessPoint, state.accessPoints().at(0).mac, u"Office AP"_s},
                                       {RestartTargetKind::accessPoint, u"00:00:00:00:00:01"_s, u"Garage AP"_s},
                                       {RestartTargetKind::camera, state.cameras().at(0).id, u"Door Cam"_s}};
    state.addJob(job(u"Mixed"_s, targets, RecurrenceRule::dailyAt(9, 0), 1));
    now = utc(2025, 3, 14, 9);
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    waitForRuns(finished, 1);
    QTRY_COMPARE(notified().size(), 1);
    const auto &notification = notified().first();
    QCOMPARE(notification.summary, u"Lanternfold \u2014 Mixed"_s);
    QCOMPARE(notification.body, u"2 succeeded, 1 failed: Garage AP"_s);
    QVERIFY(logMessages().contains(u"Running scheduled job 'Mixed' (3 device(s))"_s));
}

void TestSchedulerEngine::dueJobRestartsEverythingByItself()
{
    Sim &sim = startSim();
    // What an earlier session left behind: the controller, its pin and the password in the keyring.
    {
        makeState();
        connectTo(sim);
        QVERIFY(state->isLoggedIn());
    }
    const ControllerConfig config = configFor(sim);
    QCOMPARE(keyringPassword(config), sim.password());
    const QList<UnifiDevice> aps = state->accessPoints();
    const QList<ProtectCamera> cameras = state->cameras();
    state.reset();
    sim.log().clear();

    const QList<RestartTarget> targets{{RestartTargetKind::accessPoint, aps.at(2).mac, aps.at(2).name},
                                       {RestartTargetKind::camera, cameras.at(0).id, cameras.at(0).name},
                                       {RestartTargetKind::accessPoint, aps.at(0).mac, aps.at(0).name}};
    ScheduledJob nightly = job(u"Nightly"_s, targets, RecurrenceRule::dailyAt(3, 30), 2);
    nightly.nextRunAt = utc(2025, 3, 14, 3, 30);
    store->save({nightly});
    realPauses = true;

    AppState &state = makeState(); // not logged in at start
    QVERIFY(!state.isLoggedIn());
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    waitForRuns(finished, 1);
    QVERIFY(state.isLoggedIn());

    const QList<QJsonObject> sent = requests(sim);
    QList<QJsonObject> restarts;
    for (const QJsonObject &request : sent) {
        const QString path = request.value(u"path"_s).toString();
        if (path.endsWith(u"/cmd/devmgr"_s) || path.endsWith(u"/reboot"_s))
            restarts.append(request);
    }
    QCOMPARE(restarts.size(), 3);
    const auto macOf = [](const QJsonObject &request) {
        return QJsonDocument::fromJson(request.value(u"body"_s).toString().toUtf8())
            .object()
            .value(u"mac"_s)
            .toString();
    };
    QCOMPARE(macOf(restarts.at(0)), targets.at(0).identifier);
    QCOMPARE(restarts.at(1).value(u"path"_s).toString(),
             u"/proxy/protect/api/cameras/"_s + targets.at(1).identifier + u"/reboot"_s);
    QCOMPARE(macOf(restarts.at(2)), targets.at(2).identifier);
    const auto at = [](const QJsonObject &request) {
        return QDateTime::fromString(request.value(u"time"_s).toString(), Qt::ISODateWithMs);
    };
    QVERIFY(at(restarts.at(0)).msecsTo(at(restarts.at(1))) >= 2000);
    QVERIFY(at(restarts.at(1)).msecsTo(at(restarts.at(2))) >= 2000);

    QTRY_COMPARE(notified().size(), 1);
    const auto &notification = notified().first();
    QCOMPARE(notification.summary, u"Lanternfold \u2014 Nightly"_s);
    QCOMPARE(notification.body, u"Restarted 3 device(s) successfully."_s);

    const ScheduledJob saved = savedJobs().value(0);
    QCOMPARE(saved.id, nightly.id);
    QCOMPARE(saved.lastRunAt, std::optional<QDateTime>(now));
    QCOMPARE(saved.nextRunAt, std::optional<QDateTime>(utc(2025, 3, 15, 3, 30)));
}

void TestSchedulerEngine::expiredSessionIsRenewedOnceForARun()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const QList<RestartTarget> targets{{RestartTargetKind::accessPoint, state.accessPoints().at(0).mac, u"A"_s},
                                       {RestartTargetKind::accessPoint, state.accessPoints().at(1).mac, u"B"_s},
                                       {RestartTargetKind::camera, state.cameras().at(0).id, u"C"_s}};
    state.addJob(job(u"After expiry"_s, targets, RecurrenceRule::dailyAt(9, 0), 1));
    const auto logins = requestsTo(sim, u"/api/auth/login"_s).size();
    sim.expireSessions();
    runAtNineRestartsAllWithOneMoreLogin(sim, logins);
}

void TestSchedulerEngine::sessionThatOutlivedItsLifetimeIsRenewedOnce()
{
    // As a console does after a couple of hours: the session simply ends, and the state still
    // believes it is logged in.
    Sim &sim = startSim();
    sim::ManualClock simClock;
    sim.setClock(simClock);
    sim.setSessionLifetime(2s);
    AppState &state = makeState();
    connectTo(sim);
    state.addJob(job(u"Nightly"_s, firstAccessPoints(3), RecurrenceRule::dailyAt(9, 0)));
    const auto logins = requestsTo(sim, u"/api/auth/login"_s).size();
    simClock.advance(3s);
    runAtNineRestartsAllWithOneMoreLogin(sim, logins);
    if (QTest::currentTestFailed())
        return;
    QCOMPARE(restartedMacs(sim).size(), 3);
}

void TestSchedulerEngine::clockSetForwardAndBackRunsNothingAtTheWrongHour()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    now = utc(2025, 3, 14, 12);
    state.addJob(job(u"Nightly"_s, firstAccessPoints(1), RecurrenceRule::dailyAt(3, 0)));
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    const QString changed = u"System clock changed; next runs recomputed."_s;
    // A wrong clock (a year ahead) for one tick: the job is not due at that hour, it moves on.
    now = now.addYears(1);
    wallClockSet += std::chrono::milliseconds(utc(2025, 3, 14, 12).msecsTo(now));
    scheduler().tick();
    QCOMPARE(logMessages().first(), changed);
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(2026, 3, 15, 3)));
    // Set right again: the next run is tomorrow's, not next year's.
    wallClockSet -= std::chrono::milliseconds(utc(2025, 3, 14, 12).msecsTo(now));
    now = utc(2025, 3, 14, 12, 0, 20);
    scheduler().tick();
    QCOMPARE(logMessages().first(), changed);
    QCOMPARE(logMessages().filter(changed).size(), 2);
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 15, 3)));
    QCOMPARE(finished.size(), 0);
    QVERIFY(restartedMacs(sim).isEmpty());
    // And the next day it runs on time, once.
    now = utc(2025, 3, 15, 3, 0, 10);
    scheduler().tick();
    waitForRuns(finished, 1);
    QCOMPARE(restartedMacs(sim).size(), 1);
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 16, 3)));
    QCOMPARE(logMessages().filter(changed).size(), 2);
}

void TestSchedulerEngine::suspendAndResumeIsNotAClockChange()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    now = utc(2025, 3, 14, 12);
    state.addJob(job(u"Nightly"_s, firstAccessPoints(1), RecurrenceRule::dailyAt(3, 0)));
    state.addJob(job(u"Evenings"_s, firstAccessPoints(1), RecurrenceRule::dailyAt(20, 0)));
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    // Asleep for two days: both clocks moved alike, and each overdue job runs once.
    now = utc(2025, 3, 16, 9);
    scheduler().tick();
    waitForRuns(finished, 1);
    scheduler().tick();
    waitForRuns(finished, 2);
    scheduler().tick();
    QTest::qWait(50);
    QCOMPARE(finished.size(), 2);
    QCOMPARE(restartedMacs(sim).size(), 2);
    QVERIFY(logMessages().filter(u"System clock changed"_s).isEmpty());
    QCOMPARE(state.jobs().at(0).nextRunAt, std::optional<QDateTime>(utc(2025, 3, 17, 3)));
    QCOMPARE(state.jobs().at(1).nextRunAt, std::optional<QDateTime>(utc(2025, 3, 16, 20)));
}

void TestSchedulerEngine::nextRunComputedUnderAWrongClockIsRecomputed()
{
    // Saved while the clock read a year ahead (a bad real-time clock before the network set it).
    ScheduledJob daily = job(u"Nightly"_s, {}, RecurrenceRule::dailyAt(3, 0));
    daily.nextRunAt = utc(2026, 3, 15, 3);
    ScheduledJob weekly = job(u"Sundays"_s, {}, RecurrenceRule::weeklyAt({1}, 4, 0));
    weekly.nextRunAt = utc(2025, 3, 30, 4); // three weeks ahead
    ScheduledJob hourly = job(u"Six hours"_s, {}, RecurrenceRule::everyInterval(6));
    hourly.nextRunAt = utc(2025, 3, 14, 15); // within six hours and one: plausible
    ScheduledJob once = job(u"Far away"_s, {}, RecurrenceRule::once(utc(2030, 1, 1, 0)));
    once.nextRunAt = utc(2030, 1, 1, 0);
    store->save({daily, weekly, hourly, once});
    now = utc(2025, 3, 14, 12);
    AppState &state = makeState();
    scheduler().tick();
    QCOMPARE(state.jobs().at(0).nextRunAt, std::optional<QDateTime>(utc(2025, 3, 15, 3)));
    QCOMPARE(state.jobs().at(1).nextRunAt, std::optional<QDateTime>(utc(2025, 3, 16, 4)));
    QCOMPARE(state.jobs().at(2).nextRunAt, std::optional<QDateTime>(utc(2025, 3, 14, 15)));
    QCOMPARE(state.jobs().at(3).nextRunAt, std::optional<QDateTime>(utc(2030, 1, 1, 0)));
    QCOMPARE(savedJobs(), state.jobs());
}

void TestSchedulerEngine::interruptedRunResumesWithTheDevicesNotReached()
{
    Sim &sim = startSim();
    AppState &first = makeState();
    connectTo(sim);
    holdPauses = true;
    now = utc(2025, 3, 13, 12);
    const QList<RestartTarget> targets = firstAccessPoints(3);
    first.addJob(job(u"Nightly"_s, targets, RecurrenceRule::dailyAt(3, 0), 30));
    const QByteArray before = [this] {
        QFile file(jobsFilePath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }();
    now = utc(2025, 3, 14, 3);
    scheduler().tick();
    QTRY_COMPARE(pauses.size(), 1); // the first device restarted, waiting before the second
    QCOMPARE(restartedMacs(sim), QStringList{targets.at(0).identifier});
    QVERIFY(savedJobs().first().runInProgress.has_value());
    QCOMPARE(savedJobs().first().runInProgress->restarted, QStringList{targets.at(0).id()});

    // The program quits in the pause and starts again a little later.
    state.reset();
    holdPauses = false;
    now = utc(2025, 3, 14, 3, 5);
    AppState &again = makeState();
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    waitForRuns(finished, 1);
    QVERIFY(
        logMessages().contains(u"Resumed 'Nightly' after an interruption: 1 of 3 device(s) were already restarted."_s));
    // Every device restarted exactly once for the night.
    QStringList macs = restartedMacs(sim);
    macs.sort();
    QStringList expected{targets.at(0).identifier, targets.at(1).identifier, targets.at(2).identifier};
    expected.sort();
    QCOMPARE(macs, expected);
    // Finished: the file holds no trace of the run but its times.
    QVERIFY(!again.jobs().first().runInProgress);
    QFile file(jobsFilePath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray after = file.readAll();
    QVERIFY(!after.contains("runInProgress"));
    QVERIFY(!before.contains("runInProgress"));
    QCOMPARE(again.jobs().first().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 15, 3)));
}

void TestSchedulerEngine::interruptedRunOvertakenByTheNextOccurrenceIsMissed()
{
    Sim &sim = startSim();
    AppState &first = makeState();
    connectTo(sim);
    holdPauses = true;
    now = utc(2025, 3, 13, 12);
    const QList<RestartTarget> targets = firstAccessPoints(2);
    first.addJob(job(u"Nightly"_s, targets, RecurrenceRule::dailyAt(3, 0), 30));
    now = utc(2025, 3, 14, 3);
    scheduler().tick();
    QTRY_COMPARE(pauses.size(), 1);
    state.reset();
    holdPauses = false;
    // Started again only the next morning: the night of the 15th has come since.
    now = utc(2025, 3, 15, 9);
    AppState &again = makeState();
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    waitForRuns(finished, 1);
    QVERIFY(logMessages().contains(u"Interrupted run of 'Nightly' closed as missed."_s));
    QVERIFY(logMessages().contains(u"Running scheduled job 'Nightly' (2 device(s))"_s));
    // The missed night's one device, then the caught-up night's two.
    QCOMPARE(restartedMacs(sim).size(), 3);
    QVERIFY(!again.jobs().first().runInProgress);
    QCOMPARE(again.jobs().first().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 16, 3)));
}

QTEST_GUILESS_MAIN(TestSchedulerEngine)
#include "tst_schedulerengine.moc"
