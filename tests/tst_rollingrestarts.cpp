// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Restarts that wait for each device to come back online before the next goes down, against the
// simulated controller's reboot model, with a clock that moves only when a pause lets time pass.

#include "StateFixture.h"

#include "SimClock.h"

#include <QSignalSpy>
#include <QTest>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using WaitForOnline = ScheduledJob::WaitForOnline;

class TestRollingRestarts final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { StateFixture::cleanup(); }

    void quickRebootNeverSeenOfflineIsBack();
    void longRebootIsWaitedFor();
    void deviceThatNeverComesBackStopsTheJob();
    void deviceThatNeverComesBackLetsTheJobContinue();
    void readingsThatFailForAWhileRenewTheSession();
    void cameraIsWaitedFor();
    void callingOffDuringTheWaitEndsAtTheNextCheck();
    void scheduledJobWaitsAndSaysSo();
    void durationTexts();
    void tenAccessPointsAreNeverDownTogether();

private:
    /// Connected to a simulator whose clock moves with every pause the state takes.
    Sim &connectedSim(AppState *&state)
    {
        Sim &sim = startSim();
        sim.setClock(simClock);
        onPause = [this](std::chrono::seconds duration) {
            simClock.advance(duration);
            now = now.addSecs(duration.count());
        };
        state = &makeState();
        connectTo(sim);
        return sim;
    }
    static AppState::BatchOptions waiting(qint64 minutes, WaitForOnline::WhenNotBack whenNotBack,
                                          std::chrono::seconds pause = 15s)
    {
        AppState::BatchOptions options;
        options.pause = pause;
        options.waitForOnline = WaitForOnline{minutes, whenNotBack};
        return options;
    }
    static void setTiming(Sim &sim, const QString &id, std::chrono::seconds boot, std::chrono::seconds detection)
    {
        QVERIFY(sim.setRebootTiming(id, Sim::RebootTiming{boot, detection, true}));
    }

    sim::ManualClock simClock;
};

void TestRollingRestarts::init()
{
    StateFixture::init();
    simClock = sim::ManualClock();
}

void TestRollingRestarts::quickRebootNeverSeenOfflineIsBack()
{
    AppState *state = nullptr;
    Sim &sim = connectedSim(state);
    const QList<RestartTarget> targets = firstAccessPoints(1);
    // Back after 20 s; the controller would only notice it missing after a minute.
    setTiming(sim, targets[0].identifier, 20s, 60s);
    const auto outcome = await(state->restartBatch(targets, waiting(10, WaitForOnline::WhenNotBack::stopTheJob)));
    QCOMPARE(outcome.backOnline, targets);
    QVERIFY(outcome.notBack.isEmpty());
    QCOMPARE(pauses, (QList<std::chrono::seconds>{5s, 5s, 5s, 5s}));
    QVERIFY(state->activityLog().first().endsWith(u"] "_s + targets[0].displayName + u" back online after 20 s"_s));
    QCOMPARE(outcome.summary(), u"Restarted 1 device(s); all back online in 20 s."_s);
}

void TestRollingRestarts::longRebootIsWaitedFor()
{
    AppState *state = nullptr;
    Sim &sim = connectedSim(state);
    const QList<RestartTarget> targets = firstAccessPoints(2);
    setTiming(sim, targets[0].identifier, 108s, 30s);
    setTiming(sim, targets[1].identifier, 62s, 0s);
    const auto outcome = await(state->restartBatch(targets, waiting(10, WaitForOnline::WhenNotBack::stopTheJob)));
    QCOMPARE(outcome.backOnline, targets);
    const QStringList log = state->activityLog();
    QVERIFY(log.at(2).endsWith(u"] "_s + targets[0].displayName + u" back online after 1 min 50 s"_s));
    QVERIFY(log.first().endsWith(targets[1].displayName + u" back online after 1 min 5 s"_s));
    // The second went down only after the first was back and the pause had passed.
    const QStringList order = restartedMacs(sim);
    QCOMPARE(order, (QStringList{targets[0].identifier, targets[1].identifier}));
    QCOMPARE(outcome.summary(), u"Restarted 2 device(s); all back online in 3 min 10 s."_s);
}

void TestRollingRestarts::deviceThatNeverComesBackStopsTheJob()
{
    AppState *state = nullptr;
    Sim &sim = connectedSim(state);
    const QList<RestartTarget> targets = firstAccessPoints(3);
    QVERIFY(sim.setNeverComesBack(targets[0].identifier, true));
    const auto outcome = await(state->restartBatch(targets, waiting(1, WaitForOnline::WhenNotBack::stopTheJob)));
    QCOMPARE(outcome.succeeded, targets.mid(0, 1));
    QCOMPARE(outcome.notBack, targets.mid(0, 1));
    QCOMPARE(outcome.notRestarted, targets.mid(1));
    QCOMPARE(restartedMacs(sim), QStringList{targets[0].identifier});
    QVERIFY(state->activityLog().first().endsWith(u"] "_s + targets[0].displayName + u" not back after 1 min"_s));
    QCOMPARE(outcome.summary(), u"0 back online, 1 not back after 1 min: "_s + targets[0].displayName +
                                    u", 2 not restarted: "_s + targets[1].displayName + u", "_s +
                                    targets[2].displayName + u"."_s);
    // Twelve checks, five seconds apart, and not one more.
    QCOMPARE(pauses.size(), 12);
}

void TestRollingRestarts::deviceThatNeverComesBackLetsTheJobContinue()
{
    AppState *state = nullptr;
    Sim &sim = connectedSim(state);
    const QList<RestartTarget> targets = firstAccessPoints(3);
    QVERIFY(sim.setNeverComesBack(targets[0].identifier, true));
    for (const RestartTarget &target : targets.mid(1))
        setTiming(sim, target.identifier, 30s, 10s);
    const auto outcome =
        await(state->restartBatch(targets, waiting(1, WaitForOnline::WhenNotBack::continueWithNextDevice)));
    QCOMPARE(outcome.notBack, targets.mid(0, 1));
    QCOMPARE(outcome.backOnline, targets.mid(1));
    QVERIFY(outcome.notRestarted.isEmpty());
    QCOMPARE(outcome.summary(), u"2 back online, 1 not back after 1 min: "_s + targets[0].displayName + u"."_s);
}

void TestRollingRestarts::readingsThatFailForAWhileRenewTheSession()
{
    AppState *state = nullptr;
    Sim &sim = connectedSim(state);
    const QList<RestartTarget> targets = firstAccessPoints(1);
    setTiming(sim, targets[0].identifier, 40s, 5s);
    const QString devicePath = u"/proxy/network/api/s/default/stat/device/"_s + targets[0].identifier.toLower();
    int checks = 0;
    onPause = [this, &sim, &checks, devicePath](std::chrono::seconds duration) {
        simClock.advance(duration);
        now = now.addSecs(duration.count());
        ++checks;
        // The controller fails the readings for a while, then forgets the session.
        if (checks == 2)
            sim.setFault({Sim::FaultKind::ServerError, devicePath, 0ms});
        if (checks == 4) {
            sim.clearFaults();
            sim.expireSessions();
        }
    };
    const qsizetype logins = requestsTo(sim, u"/api/auth/login"_s).size();
    const auto outcome = await(state->restartBatch(targets, waiting(10, WaitForOnline::WhenNotBack::stopTheJob)));
    QCOMPARE(outcome.backOnline, targets);
    QCOMPARE(requestsTo(sim, u"/api/auth/login"_s).size(), logins + 1);
    QVERIFY(state->isLoggedIn());
}

void TestRollingRestarts::cameraIsWaitedFor()
{
    AppState *state = nullptr;
    Sim &sim = connectedSim(state);
    const ProtectCamera camera = state->cameras().first();
    const RestartTarget target{RestartTargetKind::camera, camera.id, camera.name};
    setTiming(sim, camera.id, 42s, 20s);
    const auto outcome = await(state->restartBatch({target}, waiting(10, WaitForOnline::WhenNotBack::stopTheJob)));
    QCOMPARE(outcome.backOnline, QList<RestartTarget>{target});
    QVERIFY(state->activityLog().first().endsWith(camera.name + u" back online after 45 s"_s));
    QVERIFY(!requestsTo(sim, u"/proxy/protect/api/cameras/"_s + camera.id).isEmpty());
}

void TestRollingRestarts::callingOffDuringTheWaitEndsAtTheNextCheck()
{
    AppState *state = nullptr;
    Sim &sim = connectedSim(state);
    const QList<RestartTarget> targets = firstAccessPoints(2);
    setTiming(sim, targets[0].identifier, 120s, 0s);
    AppState::BatchOptions options = waiting(10, WaitForOnline::WhenNotBack::stopTheJob);
    options.cancel = std::make_shared<Latch>();
    onPause = [this, cancel = options.cancel](std::chrono::seconds duration) {
        simClock.advance(duration);
        if (pauses.size() == 3)
            cancel->set();
    };
    const auto outcome = await(state->restartBatch(targets, options));
    QCOMPARE(pauses.size(), 3);
    QCOMPARE(outcome.succeeded, targets.mid(0, 1));
    QVERIFY(outcome.backOnline.isEmpty() && outcome.notBack.isEmpty());
    QCOMPARE(restartedMacs(sim), QStringList{targets[0].identifier});
}

void TestRollingRestarts::scheduledJobWaitsAndSaysSo()
{
    AppState *state = nullptr;
    Sim &sim = connectedSim(state);
    const QList<RestartTarget> targets = firstAccessPoints(2);
    for (const RestartTarget &target : targets)
        setTiming(sim, target.identifier, 60s, 30s);
    ScheduledJob job = StateFixture::job(u"Nightly"_s, targets, RecurrenceRule::once(now.addSecs(60)), 20);
    job.waitForOnline = WaitForOnline{};
    state->addJob(job);
    now = now.addSecs(61);
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    QVERIFY(finished.size() == 1 || finished.wait(10'000));
    QCOMPARE(notified().size(), 1);
    QCOMPARE(notified().first().body, u"Restarted 2 device(s); all back online in 2 min 20 s."_s);
    QVERIFY(state->activityLog().first().endsWith(
        u"] Scheduled job 'Nightly': Restarted 2 device(s); all back online in 2 min 20 s."_s));
}

void TestRollingRestarts::durationTexts()
{
    QCOMPARE(AppState::durationText(0s), u"0 s"_s);
    QCOMPARE(AppState::durationText(45s), u"45 s"_s);
    QCOMPARE(AppState::durationText(60s), u"1 min"_s);
    QCOMPARE(AppState::durationText(108s), u"1 min 48 s"_s);
    QCOMPARE(AppState::durationText(372s), u"6 min 12 s"_s);
    QCOMPARE(AppState::durationText(600s), u"10 min"_s);
}

void TestRollingRestarts::tenAccessPointsAreNeverDownTogether()
{
    // The figure of the README's benchmark table: ten access points whose boots take 60 to 180 s
    // (drawn from a fixed seed), restarted 20 s apart, once waiting for each and once not. The
    // clock is the simulator's, moved by the pauses: the figure does not depend on the machine.
    AppState *state = nullptr;
    Sim &sim = connectedSim(state);
    sim.setRebootRanges(20261126, {60s, 180s}, {30s, 60s}, {0s, 60s});
    const QList<RestartTarget> targets = firstAccessPoints(10);
    QCOMPARE(targets.size(), 10);
    struct Figure
    {
        qint64 overlapSeconds = 0;
        qint64 jobSeconds = 0;
    };
    const auto measure = [&](bool waits) {
        AppState::BatchOptions options = waiting(10, WaitForOnline::WhenNotBack::stopTheJob, 20s);
        if (!waits)
            options.waitForOnline.reset();
        const auto start = simClock.now();
        const auto outcome = await(state->restartBatch(targets, options));
        if (outcome.succeeded.size() != targets.size())
            qFatal("not every restart was accepted");
        // Every device's time down, from its command to its return; then the time during which two
        // or more were down at once.
        QList<std::pair<sim::ManualClock::time_point, int>> edges;
        auto end = simClock.now();
        for (const RestartTarget &target : targets) {
            const auto window = sim.simulatedSite().rebootWindow(target.identifier);
            if (!window || !window->second)
                qFatal("a device has no reboot window");
            edges.append({window->first, +1});
            edges.append({*window->second, -1});
            end = std::max(end, *window->second);
        }
        std::sort(edges.begin(), edges.end());
        Figure figure;
        int down = 0;
        for (qsizetype i = 0; i < edges.size(); ++i) {
            down += edges.at(i).second;
            if (down >= 2 && i + 1 < edges.size())
                figure.overlapSeconds +=
                    std::chrono::duration_cast<std::chrono::seconds>(edges.at(i + 1).first - edges.at(i).first).count();
        }
        figure.jobSeconds = std::chrono::duration_cast<std::chrono::seconds>(end - start).count();
        // Everything back before the next run.
        simClock.advance(10min);
        return figure;
    };
    const Figure waited = measure(true);
    const Figure staggered = measure(false);
    qInfo("rolling: 10 access points, boots of 60-180 s (seed 20261126): waiting for each: %lld s with two or "
          "more down, all back after %s; a 20 s stagger only: %lld s with two or more down, all back after %s",
          waited.overlapSeconds, qPrintable(AppState::durationText(std::chrono::seconds(waited.jobSeconds))),
          staggered.overlapSeconds, qPrintable(AppState::durationText(std::chrono::seconds(staggered.jobSeconds))));
    QCOMPARE(waited.overlapSeconds, 0);
    QVERIFY(staggered.overlapSeconds > 0);
}

QTEST_GUILESS_MAIN(TestRollingRestarts)
#include "tst_rollingrestarts.moc"
