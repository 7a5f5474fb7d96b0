// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "StateFixture.h"

#include <QJsonDocument>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// Restarting devices through the application state: one target, batches with their pauses, and
/// sessions that the controller ended in the meantime.
class TestAppStateRestarts final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { StateFixture::init(); }
    void cleanup() { StateFixture::cleanup(); }

    void restartWithoutClientFailsQuietly();
    void batchPausesBeforeEveryTargetButTheFirst();
    void batchWithoutStaggerRunsBackToBack_data();
    void batchWithoutStaggerRunsBackToBack();
    void emptyBatchEndsAtOnce();
    void failureInTheMiddleDoesNotStopTheBatch();
    void cameraRebootAndRefusedIds();
    void batchWhileLoggedOutSendsNothing();
    void expiredSessionRenewsOnceForABatch();
    void expiredSessionRefreshSharesOneLogin();
    void failedRenewalMakesNoFurtherLogins();
    void rateLimitedRenewalGivesUpForThisOperationOnly();
    void refusedPasswordStopsAutomaticLoginsUntilAConnectByHand();
    void noRenewalWithoutKeyringPassword();
    void disconnectLetsASentRestartFinish();

private:
    [[nodiscard]] static qsizetype loginCount(const Sim &sim);
};

qsizetype TestAppStateRestarts::loginCount(const Sim &sim)
{
    return requestsTo(sim, u"/api/auth/login"_s).size();
}

void TestAppStateRestarts::restartWithoutClientFailsQuietly()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    const auto result = await(state.restart({RestartTargetKind::accessPoint, u"aa:bb:cc:dd:ee:ff"_s, u"AP"_s}));
    QCOMPARE(result.error(), UnifiAPIError::notLoggedIn());
    QVERIFY(state.activityLog().isEmpty());
    QVERIFY(!state.lastError());
    QVERIFY(requests(sim).isEmpty());
}

void TestAppStateRestarts::batchPausesBeforeEveryTargetButTheFirst()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const QList<RestartTarget> targets = firstAccessPoints(3);
    const auto outcome = await(state.restartBatch(targets, 30));
    QCOMPARE(outcome.succeeded, targets);
    QVERIFY(outcome.failed.isEmpty());
    QCOMPARE(pauses, (QList<std::chrono::seconds>{30s, 30s}));
    QCOMPARE(restartedMacs(sim), (QStringList{targets[0].identifier, targets[1].identifier, targets[2].identifier}));
    // The batch adds nothing but the per-target lines.
    QVERIFY(state.activityLog().at(0).endsWith(u"] Restarted "_s + targets[2].displayName));
    QVERIFY(state.activityLog().at(1).endsWith(u"] Restarted "_s + targets[1].displayName));
    QVERIFY(state.activityLog().at(2).endsWith(u"] Restarted "_s + targets[0].displayName));
}

void TestAppStateRestarts::batchWithoutStaggerRunsBackToBack_data()
{
    QTest::addColumn<qint64>("stagger");
    QTest::newRow("0") << qint64(0);
    QTest::newRow("negative") << qint64(-5);
}

void TestAppStateRestarts::batchWithoutStaggerRunsBackToBack()
{
    QFETCH(qint64, stagger);
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const auto outcome = await(state.restartBatch(firstAccessPoints(3), stagger));
    QCOMPARE(outcome.succeeded.size(), 3);
    QVERIFY(pauses.isEmpty());
}

void TestAppStateRestarts::emptyBatchEndsAtOnce()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const auto sent = requests(sim).size();
    const auto outcome = await(state.restartBatch({}, 30));
    QVERIFY(outcome.succeeded.isEmpty() && outcome.failed.isEmpty());
    QVERIFY(pauses.isEmpty());
    QCOMPARE(requests(sim).size(), sent);
}

void TestAppStateRestarts::failureInTheMiddleDoesNotStopTheBatch()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    QList<RestartTarget> targets = firstAccessPoints(2);
    const RestartTarget ghost{RestartTargetKind::accessPoint, u"00:00:00:00:00:00"_s, u"Ghost AP"_s};
    targets.insert(1, ghost);
    const auto outcome = await(state.restartBatch(targets, 5));
    QCOMPARE(outcome.succeeded, (QList<RestartTarget>{targets[0], targets[2]}));
    QCOMPARE(outcome.failed, QList<RestartTarget>{ghost});
    QCOMPARE(pauses.size(), 2);
    // An unknown device ends its line with the client's error text.
    QVERIFY(state.activityLog().at(1).endsWith(
        u"] Restart failed for Ghost AP: Controller returned HTTP 400: "
        u"{\"meta\":{\"rc\":\"error\",\"msg\":\"api.err.UnknownDevice\"},\"data\":[]}"_s));
    QVERIFY(!state.lastError()); // restarts report in the log only
}

void TestAppStateRestarts::cameraRebootAndRefusedIds()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const ProtectCamera camera = state.cameras().first();
    const RestartTarget good{RestartTargetKind::camera, camera.id, camera.name};
    const RestartTarget unsafe{RestartTargetKind::camera, u"a/b"_s, u"Odd Cam"_s};
    const auto outcome = await(state.restartBatch({good, unsafe}, 0));
    QCOMPARE(outcome.succeeded, QList<RestartTarget>{good});
    QCOMPARE(outcome.failed, QList<RestartTarget>{unsafe});
    QVERIFY(state.activityLog().first().endsWith(
        u"] Restart failed for Odd Cam: Failed to parse controller response: Unexpected camera id from controller: a/b"_s));
    QCOMPARE(requestsTo(sim, u"/proxy/protect/api/cameras/"_s + camera.id + u"/reboot"_s).size(), 1);
}

void TestAppStateRestarts::batchWhileLoggedOutSendsNothing()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    const QList<RestartTarget> targets{{RestartTargetKind::accessPoint, u"aa:aa:aa:aa:aa:01"_s, u"One"_s},
                                       {RestartTargetKind::camera, u"cam1"_s, u"Two"_s}};
    const auto outcome = await(state.restartBatch(targets, 3));
    QVERIFY(outcome.succeeded.isEmpty());
    QCOMPARE(outcome.failed, targets);
    QVERIFY(requests(sim).isEmpty());
}

void TestAppStateRestarts::expiredSessionRenewsOnceForABatch()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const QList<RestartTarget> targets = firstAccessPoints(3);
    const auto logins = loginCount(sim);
    sim.expireSessions(); // the controller ended the session; the state still believes it is logged in
    QVERIFY(state.isLoggedIn());
    const auto outcome = await(state.restartBatch(targets, 1));
    QCOMPARE(outcome.succeeded, targets);
    QCOMPARE(loginCount(sim), logins + 1); // exactly one login, not one per device
    QCOMPARE(restartedMacs(sim).size(), 3);
    QVERIFY(!state.lastError());
}

void TestAppStateRestarts::expiredSessionRefreshSharesOneLogin()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const UnifiDevice ap = state.accessPoints().first();
    QVERIFY(await(state.restart({RestartTargetKind::accessPoint, ap.mac, ap.name})).ok());
    const auto logins = loginCount(sim);
    sim.expireSessions();
    await(state.refreshDevices()); // both fetches meet the expired session at once
    QCOMPARE(loginCount(sim), logins + 1);
    QVERIFY(!state.lastError());
    QCOMPARE(state.accessPoints().first().state, std::optional<qint64>(0)); // fresh data arrived
    QVERIFY(!state.cameras().isEmpty());
}

void TestAppStateRestarts::failedRenewalMakesNoFurtherLogins()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const QList<RestartTarget> targets = firstAccessPoints(3);
    const auto logins = loginCount(sim);
    sim.expireSessions();
    sim.setCredentials(sim.username(), u"changed on the console"_s);
    const auto outcome = await(state.restartBatch(targets, 1));
    QCOMPARE(outcome.failed, targets);
    QCOMPARE(loginCount(sim), logins + 1);
    QCOMPARE(state.lastError(), std::optional<QString>(u"Invalid username or password."_s));
    QVERIFY(state.activityLog().filter(u"] Connect failed: Invalid username or password."_s).size() == 1);
    QVERIFY(state.activityLog().first().endsWith(u"] Restart failed for "_s + targets[2].displayName +
                                                 u": Not logged in."_s));
    // Nor later: wrong credentials would soon lock the account.
    (void)await(state.restartBatch(targets, 0));
    await(state.refreshDevices());
    QCOMPARE(loginCount(sim), logins + 1);
}

void TestAppStateRestarts::rateLimitedRenewalGivesUpForThisOperationOnly()
{
    Sim &sim = startSim();
    sim.setLoginRateLimit(1, 10min); // the connect's login is the one allowed
    AppState &state = makeState();
    connectTo(sim);
    QVERIFY(state.isLoggedIn());
    const auto logins = loginCount(sim);
    sim.expireSessions();
    // One login for the whole batch, refused with 429: the batch gives up.
    const auto first = await(state.restartBatch(firstAccessPoints(2), 0));
    QCOMPARE(first.failed.size(), 2);
    QCOMPARE(loginCount(sim), logins + 1);
    QCOMPARE(requestsTo(sim, u"/api/auth/login"_s).last().value(u"status"_s).toInt(), 429);
    QVERIFY(state.lastError()->startsWith(u"Controller returned HTTP 429: "_s));
    QVERIFY(state.isLoggedIn());
    // The next operation may try one login again; once the controller lets it, the session lives on.
    (void)await(state.restartBatch(firstAccessPoints(2), 0));
    QCOMPARE(loginCount(sim), logins + 2);
    sim.setLoginRateLimit(0, 10min);
    const auto later = await(state.restartBatch(firstAccessPoints(2), 0));
    QCOMPARE(loginCount(sim), logins + 3);
    QCOMPARE(later.succeeded.size(), 2);
    QVERIFY(state.isLoggedIn());
    QVERIFY(!state.isSavedPasswordRefused());
}

void TestAppStateRestarts::refusedPasswordStopsAutomaticLoginsUntilAConnectByHand()
{
    Sim &sim = startSim();
    AppState &before = makeState();
    connectTo(sim);
    const auto logins = loginCount(sim);
    sim.expireSessions();
    sim.setCredentials(sim.username(), u"changed on the console"_s);
    await(before.refreshDevices());
    QCOMPARE(loginCount(sim), logins + 1);
    // The session cannot be renewed: the state is logged out, and says why once.
    QVERIFY(!before.isLoggedIn());
    QVERIFY(before.accessPoints().isEmpty());
    QVERIFY(before.isSavedPasswordRefused());
    const QString said = u"] Lanternfold needs the controller password again: the saved one was refused."_s;
    QCOMPARE(before.activityLog().filter(said).size(), 1);
    QCOMPARE(notified().size(), 1);
    QCOMPARE(notified().first().summary, u"Lanternfold"_s);
    QCOMPARE(notified().first().body, u"Lanternfold needs the controller password again: the saved one was refused."_s);
    // No automatic login tries the saved password again, not even after the program restarts.
    QVERIFY(!await(before.reconnectIfPossible()));
    AppState &after = makeState();
    QVERIFY(after.isSavedPasswordRefused());
    QVERIFY(!await(after.reconnectIfPossible()));
    QCOMPARE(loginCount(sim), logins + 1);
    QCOMPARE(after.activityLog().filter(said).size(), 0);
    // The person connects with the new password: automatic logins may use it again.
    connectTo(sim, /*rememberPassword=*/true, u"changed on the console"_s);
    QVERIFY(after.isLoggedIn());
    QVERIFY(!after.isSavedPasswordRefused());
    sim.expireSessions();
    await(after.refreshDevices());
    QCOMPARE(loginCount(sim), logins + 3); // the connect's, then one renewal that worked
    QVERIFY(after.isLoggedIn());
}

void TestAppStateRestarts::noRenewalWithoutKeyringPassword()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim, /*rememberPassword=*/false);
    const auto logins = loginCount(sim);
    sim.expireSessions();
    const auto outcome = await(state.restartBatch(firstAccessPoints(2), 0));
    QCOMPARE(outcome.failed.size(), 2);
    QCOMPARE(loginCount(sim), logins);
    QVERIFY(state.activityLog().first().endsWith(u": Not logged in."_s));
}

void TestAppStateRestarts::disconnectLetsASentRestartFinish()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const RestartTarget target = firstAccessPoints(1).first();
    sim.setFault({Sim::FaultKind::Latency, u"/proxy/network/api/s/default/cmd/"_s, 700ms});
    auto restart = start(state.restart(target));
    QTRY_COMPARE(restartedMacs(sim).size(), 1); // the command reached the controller

    await(state.disconnect());
    QVERIFY(restart->has_value());
    QVERIFY2((*restart)->ok(), "a command already sent is answered, not abandoned");
    QVERIFY(state.activityLog().at(1).endsWith(u"] Restarted "_s + target.displayName));
    QVERIFY(state.activityLog().at(0).endsWith(u"] Disconnected"_s));
    const auto sent = requests(sim);
    QCOMPARE(sent.last().value(u"path"_s).toString(), u"/api/auth/logout"_s);
}

QTEST_GUILESS_MAIN(TestAppStateRestarts)
#include "tst_appstaterestarts.moc"
