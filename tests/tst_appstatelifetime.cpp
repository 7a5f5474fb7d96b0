// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "StateFixture.h"

#include "State/SchedulerEngine.h"

#include <QSignalSpy>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {
// The simulator plays a UniFi OS console unless told otherwise.
const QString loginPath = u"/api/auth/login"_s;
const QString logoutPath = u"/api/auth/logout"_s;
} // namespace

/// The program quits, or the person disconnects, while an operation is suspended: on the
/// certificate question, in a login, in a device refresh, in the pause between two restarts, in a
/// renewal of an expired session, in a scheduled run. Every operation ends, nothing touches freed
/// memory (the sanitizer build runs these too), and nothing more reaches the controller.
///
/// Every test has two rows: "quit" destroys the state, "disconnect" awaits a disconnect.
class TestAppStateLifetime final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void endDuringTheCertificateQuestion_data() { endings(); }
    void endDuringTheCertificateQuestion();
    void endDuringTheLogin_data() { endings(); }
    void endDuringTheLogin();
    void endDuringARefresh_data() { endings(); }
    void endDuringARefresh();
    void endDuringAStaggerPause_data() { endings(); }
    void endDuringAStaggerPause();
    void endDuringASessionRenewal_data() { endings(); }
    void endDuringASessionRenewal();
    void endDuringAScheduledRun_data() { endings(); }
    void endDuringAScheduledRun();
    void endDuringAScheduledReconnect_data() { endings(); }
    void endDuringAScheduledReconnect();
    void newConnectRetiresTheOldClientAfterItsCommand();
    // Disconnect and connect are one thing at a time.
    void loggedOutBeforeTheLogoutIsAnswered();
    void disconnectCallsOffAReconnectReadingTheKeyring();
    void connectByHandCallsOffAScheduledReconnect();
    void noConnectedLineAfterADisconnect();

private:
    static void endings();
    /// Ends the state the way the current row says, and returns how many requests the simulator
    /// had received once the ending was over (a disconnect's logout included).
    qsizetype end(const Sim &sim);
    [[nodiscard]] static bool quitting();
    /// Gives a stray operation the chance to send something, then checks that nothing arrived.
    static void expectNothingMoreThan(const Sim &sim, qsizetype count);
};

void TestAppStateLifetime::init()
{
    StateFixture::init();
}

void TestAppStateLifetime::cleanup()
{
    StateFixture::cleanup();
}

void TestAppStateLifetime::endings()
{
    QTest::addColumn<bool>("quit");
    QTest::newRow("quit") << true;
    QTest::newRow("disconnect") << false;
}

bool TestAppStateLifetime::quitting()
{
    return QTest::currentDataTag() == "quit"_ba;
}

qsizetype TestAppStateLifetime::end(const Sim &sim)
{
    if (quitting())
        state.reset();
    else
        await(state->disconnect());
    return requests(sim).size();
}

void TestAppStateLifetime::expectNothingMoreThan(const Sim &sim, qsizetype count)
{
    // Long enough for every timer and reply the ending left behind to fire, on any machine:
    // everything those do is queued at once, nothing waits for time.
    QTest::qWait(300);
    const auto sent = requests(sim);
    QVERIFY2(sent.size() == count,
             qPrintable(u"sent afterwards: "_s + sent.mid(count).value(0).value(u"path"_s).toString()));
}

void TestAppStateLifetime::endDuringTheCertificateQuestion()
{
    Sim &sim = startSim();
    approver->held = true;
    AppState &state = makeState();
    const ControllerConfig config = configFor(sim);
    auto connect = start(state.connect(config, sim.password(), true));
    QTRY_COMPARE(approver->asked.size(), 1);

    const qsizetype sent = end(sim);
    QTRY_VERIFY(connect->has_value());
    QCOMPARE(sent, 0);         // no login: the key was never approved
    approver->released->set(); // the person answers "Trust" after all
    expectNothingMoreThan(sim, 0);
    QCOMPARE(trust->pinnedFingerprint(config.host), std::nullopt);
    if (!quitting()) {
        QVERIFY(!state.isLoggedIn());
        QVERIFY(!state.isConnecting());
        QCOMPARE(state.lastError(), std::nullopt); // called off, not failed
        QCOMPARE(state.config(), std::nullopt);
    }
}

void TestAppStateLifetime::endDuringTheLogin()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    const ControllerConfig config = configFor(sim);
    sim.setFault({Sim::FaultKind::Hang, loginPath, 0ms});
    auto connect = start(state.connect(config, sim.password(), true));
    QTRY_COMPARE(requests(sim).size(), 1); // the login, never answered

    const qsizetype sent = end(sim);
    QTRY_VERIFY(connect->has_value());
    QCOMPARE(sent, 1);
    expectNothingMoreThan(sim, 1);
    if (!quitting()) {
        QVERIFY(!state.isLoggedIn());
        QVERIFY(!state.isConnecting());
        QCOMPARE(state.lastError(), std::nullopt);
    }
}

void TestAppStateLifetime::endDuringARefresh()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    QVERIFY(state.isLoggedIn());
    const qsizetype before = requests(sim).size();
    // Only the fetches: a disconnect awaits its logout, which would wait out the request timeout.
    sim.setFault({Sim::FaultKind::Hang, u"/proxy/"_s, 0ms});
    auto refresh = start(state.refreshDevices());
    QTRY_COMPARE(requests(sim).size(), before + 2); // both fetches, never answered

    const qsizetype sent = end(sim);
    QTRY_VERIFY(refresh->has_value());
    expectNothingMoreThan(sim, sent);
    if (!quitting()) {
        QCOMPARE(requests(sim).last().value(u"path"_s).toString(), logoutPath);
        QVERIFY(state.accessPoints().isEmpty());
        QVERIFY(state.cameras().isEmpty());
        QCOMPARE(state.lastError(), std::nullopt); // nothing reported for a session that ended
        QVERIFY(state.activityLog().first().endsWith(u"] Disconnected"_s));
    }
}

void TestAppStateLifetime::endDuringAStaggerPause()
{
    Sim &sim = startSim();
    realPauses = true;
    AppState &state = makeState();
    connectTo(sim);
    const QList<RestartTarget> targets = firstAccessPoints(3);
    auto batch = start(state.restartBatch(targets, 600));
    QTRY_COMPARE(restartedMacs(sim).size(), 1);
    QVERIFY(!batch->has_value()); // in the first ten-minute pause

    const qsizetype sent = end(sim);
    QTRY_VERIFY(batch->has_value());
    expectNothingMoreThan(sim, sent);
    QCOMPARE(restartedMacs(sim), QStringList{targets.first().identifier});
    if (!quitting()) {
        QCOMPARE((*batch)->succeeded, QList<RestartTarget>{targets[0]});
        QCOMPARE((*batch)->failed, (QList<RestartTarget>{targets[1], targets[2]}));
        QVERIFY(logHasLineEndingWith(u"] Restart failed for "_s + targets[2].displayName + u": "_s +
                                     UnifiAPIError::closed().description()));
    }
}

void TestAppStateLifetime::endDuringASessionRenewal()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const RestartTarget target = firstAccessPoints(1).first();
    sim.expireSessions();
    sim.setFault({Sim::FaultKind::Hang, loginPath, 0ms});
    const qsizetype logins = requestsTo(sim, loginPath).size();
    auto restart = start(state.restart(target));
    QTRY_COMPARE(requestsTo(sim, loginPath).size(), logins + 1); // the renewal's login, never answered

    const qsizetype sent = end(sim);
    QTRY_VERIFY(restart->has_value());
    QVERIFY(!(*restart)->ok());
    expectNothingMoreThan(sim, sent);
    QVERIFY(restartedMacs(sim).isEmpty()); // the first try was refused, and none followed
}

void TestAppStateLifetime::endDuringAScheduledRun()
{
    Sim &sim = startSim();
    realPauses = true;
    AppState &state = makeState();
    connectTo(sim);
    ScheduledJob nightly = job(u"Nightly"_s, firstAccessPoints(3), RecurrenceRule::dailyAt(9, 0), 600);
    state.addJob(nightly);
    now = QDateTime(QDate(2025, 3, 14), QTime(9, 0), QTimeZone::utc());
    const QList<ScheduledJob> before = savedJobs();
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    QTRY_COMPARE(restartedMacs(sim).size(), 1); // then the ten-minute pause

    const qsizetype sent = end(sim);
    expectNothingMoreThan(sim, sent);
    QCOMPARE(restartedMacs(sim).size(), 1);
    if (quitting()) {
        // The run never finished: the file still says it is due, and which device it reached, so
        // the next start resumes with the other two.
        QList<ScheduledJob> interrupted = before;
        interrupted.first().runInProgress = ScheduledJob::RunInProgress{now, {nightly.targets.first().id()}};
        QCOMPARE(savedJobs(), interrupted);
        QVERIFY(notified().isEmpty());
        return;
    }
    QTRY_COMPARE(finished.size(), 1);
    QTRY_COMPARE(notified().size(), 1);
    const auto &targets = nightly.targets;
    QCOMPARE(notified().first().body,
             u"1 succeeded, 2 failed: "_s + targets[1].displayName + u", "_s + targets[2].displayName);
    QCOMPARE(savedJobs().value(0).lastRunAt, std::optional<QDateTime>(now));
    QVERIFY(!scheduler().isRunningJob());
}

void TestAppStateLifetime::endDuringAScheduledReconnect()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim); // saves the configuration and the password
    const QList<RestartTarget> targets = firstAccessPoints(2);
    await(state.disconnect());
    state.addJob(job(u"Nightly"_s, targets, RecurrenceRule::dailyAt(9, 0)));
    now = QDateTime(QDate(2025, 3, 14), QTime(9, 0), QTimeZone::utc());
    sim.setFault({Sim::FaultKind::Hang, loginPath, 0ms});
    const qsizetype logins = requestsTo(sim, loginPath).size();
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    QTRY_COMPARE(requestsTo(sim, loginPath).size(), logins + 1); // the engine's reconnect

    const qsizetype sent = end(sim);
    expectNothingMoreThan(sim, sent);
    QVERIFY(restartedMacs(sim).isEmpty());
    if (!quitting()) {
        // The reconnect was called off: the run is skipped as when it fails.
        QTRY_COMPARE(finished.size(), 1);
        QVERIFY(!state.isLoggedIn());
        QVERIFY(state.activityLog().first().endsWith(
            u"] Scheduled job 'Nightly' skipped \u2014 not logged in and auto-reconnect failed."_s));
    }
}

void TestAppStateLifetime::newConnectRetiresTheOldClientAfterItsCommand()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const RestartTarget target = firstAccessPoints(1).first();
    sim.setFault({Sim::FaultKind::Latency, u"/proxy/network/api/s/default/cmd/"_s, 500ms});
    auto restart = start(state.restart(target));
    QTRY_COMPARE(restartedMacs(sim).size(), 1);

    connectTo(sim); // a second login while the first client's command is out
    QVERIFY(state.isLoggedIn());
    QTRY_VERIFY(restart->has_value());
    QVERIFY2((*restart)->ok(), "the command already sent is answered, not abandoned");
    // The new client works; the old one went without logging out the session that replaced it.
    await(state.refreshDevices());
    QCOMPARE(state.lastError(), std::nullopt);
    QVERIFY(requestsTo(sim, logoutPath).isEmpty());
}

void TestAppStateLifetime::loggedOutBeforeTheLogoutIsAnswered()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const RestartTarget target = firstAccessPoints(1).first();
    sim.setFault({Sim::FaultKind::Latency, logoutPath, 400ms});
    auto disconnect = start(state.disconnect());
    // Nothing may start on the session while its logout is under way.
    QVERIFY(!state.isLoggedIn());
    QVERIFY(state.accessPoints().isEmpty());
    QVERIFY(!await(state.restart(target)).ok());
    QTRY_VERIFY(disconnect->has_value());
    QVERIFY(state.activityLog().first().endsWith(u"] Disconnected"_s));
}

void TestAppStateLifetime::disconnectCallsOffAReconnectReadingTheKeyring()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    await(state.disconnect());
    const auto logins = requestsTo(sim, loginPath).size();
    keychain->readsHeld = std::make_shared<Latch>();
    auto reconnect = start(state.reconnectIfPossible());
    QTRY_COMPARE(keychain->reads, 1);
    await(state.disconnect());
    keychain->readsHeld->set();
    QTRY_VERIFY(reconnect->has_value());
    QVERIFY(!**reconnect);
    QVERIFY(!state.isLoggedIn());
    QCOMPARE(requestsTo(sim, loginPath).size(), logins);
    QVERIFY(logMessages().filter(u"Connected to"_s).size() == 1); // the first connect's only
}

void TestAppStateLifetime::connectByHandCallsOffAScheduledReconnect()
{
    // The saved controller is the old one; the person connects to another while the scheduler is
    // reconnecting to the old one.
    Sim &old = startSim();
    Sim &chosen = startSim(old.kind(), old.identity()); // the same key: one pin for the host
    AppState &state = makeState();
    connectTo(old);
    await(state.disconnect());
    old.setFault({Sim::FaultKind::Latency, loginPath, 400ms});
    auto reconnect = start(state.reconnectIfPossible());
    QTRY_COMPARE(requestsTo(old, loginPath).size(), 2); // the reconnect's login is out
    connectTo(chosen);
    QTRY_VERIFY(reconnect->has_value());
    QTest::qWait(500); // the old controller's answer would have come by now
    QVERIFY(state.isLoggedIn());
    QCOMPARE(state.config()->port, chosen.port());
    QCOMPARE(savedConfig()->port, chosen.port());
    const QStringList connected = logMessages().filter(u"Connected to"_s);
    QCOMPARE(connected.size(), 2); // the first connect to the old one, and the person's
    await(state.refreshDevices());
    QCOMPARE(state.lastError(), std::nullopt);
}

void TestAppStateLifetime::noConnectedLineAfterADisconnect()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    sim.setFault({Sim::FaultKind::Latency, u"/proxy/"_s, 400ms});
    auto connect = start(state.connect(configFor(sim), sim.password(), true));
    QTRY_VERIFY(state.isLoggedIn()); // the login is done, the device lists are on their way
    await(state.disconnect());
    QTRY_VERIFY(connect->has_value());
    QVERIFY(logMessages().filter(u"Connected to"_s).isEmpty());
    QCOMPARE(logMessages().first(), u"Disconnected"_s);
    QVERIFY(!state.isLoggedIn());
    QVERIFY(!state.isConnecting());
}

QTEST_GUILESS_MAIN(TestAppStateLifetime)
#include "tst_appstatelifetime.moc"
