// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Faults of the controller, seen from the whole application core: a controller that dies in the
// middle of a staggered run and comes back, one that accepts connections and never answers, and
// one that comes back with another key. Every case ends with what the person is told (activity
// log, lastError, notification), with the engine still going, and with nothing lost: the jobs file
// holds what the state holds, and the pin, the saved controller and the keyring's password are
// what they were.

#include "StateFixture.h"

#include "State/SchedulerEngine.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString host = u"127.0.0.1"_s;
const QString loginPath = u"/api/auth/login"_s;
const QString restartPath = u"/proxy/network/api/s/default/cmd/devmgr"_s;
const QString timedOut = u"The request timed out."_s;

/// Short enough that a controller that never answers costs a test about a second, long enough that
/// an answering one is never cut off on a busy machine.
constexpr std::chrono::milliseconds shortTimeout = 1s;

QDateTime utc(int day, int hour)
{
    return QDateTime(QDate(2025, 3, day), QTime(hour, 0), QTimeZone::utc());
}

/// Accepts TCP connections and never says a word: not even the TLS handshake starts.
class SilentServer final
{
public:
    SilentServer()
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection())
                m_accepted.append(socket); // kept open, never read, never written
        });
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("silent server did not listen: %s", qPrintable(m_server.errorString()));
    }

    [[nodiscard]] quint16 port() const { return m_server.serverPort(); }
    [[nodiscard]] qsizetype acceptedCount() const { return m_accepted.size(); }

private:
    QTcpServer m_server;
    QList<QTcpSocket *> m_accepted; // children of the server
};

} // namespace

class TestFaultsController final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    // The controller dies in the middle of a staggered batch and is started again.
    void controllerKilledDuringAScheduledRun_data();
    void controllerKilledDuringAScheduledRun();
    void controllerKilledDuringAManualBatch();
    // The controller accepts connections and never answers.
    void connectToASilentController_data();
    void connectToASilentController();
    void refreshFromASilentController();
    void scheduledRunAgainstASilentController_data();
    void scheduledRunAgainstASilentController();
    // The controller comes back with another key.
    void newKeyFailsTheRunsOfALoggedInState();
    void newKeyFailsTheScheduledReconnect();
    void unpinnedKeyIsNotAskedAboutByAScheduledRun();
    // The controller answers a byte at a time.
    void drippingControllerCannotHoldTheScheduler();

private:
    /// A new state logged in to sim for the first time: its key pinned, the password remembered.
    /// Its clients give up on a request after transferTimeout.
    AppState &connected(const Sim &sim, std::optional<std::chrono::milliseconds> transferTimeout = std::nullopt);
    /// Stops the controller as if its process died: listening ends, every connection drops.
    static void kill(Sim &sim) { sim.stop(); }
    /// The controller of the first connect started again on its port, with its old key or a new one.
    Sim &restart(const Sim &old, bool sameKey)
    {
        return startSim(old.kind(), sameKey ? std::optional(old.identity()) : std::nullopt,
                        static_cast<quint16>(m_controller.port));
    }
    /// Runs the first due job at the state's current time and waits until the run has ended.
    void runDueJob(int runsBefore);
    /// The jobs file holds exactly the state's jobs; pin, saved controller and keyring password are
    /// the ones the first connect left.
    void expectNothingLost();
    [[nodiscard]] const FakeNotifications::Notification &lastNotification() const { return notified().constLast(); }

    std::unique_ptr<QSignalSpy> m_runs;
    ControllerConfig m_controller;
    QString m_pinned;
    QString m_password;
};

void TestFaultsController::init()
{
    StateFixture::init();
}

void TestFaultsController::cleanup()
{
    m_runs.reset();
    StateFixture::cleanup();
}

AppState &TestFaultsController::connected(const Sim &sim, std::optional<std::chrono::milliseconds> transferTimeout)
{
    AppState &state = makeState();
    if (transferTimeout)
        state.setTransferTimeout(*transferTimeout);
    connectTo(sim);
    if (!state.isLoggedIn())
        qFatal("the first connect failed: %s", qPrintable(state.lastError().value_or(QString())));
    m_controller = configFor(sim);
    m_pinned = sim.fingerprint();
    m_password = sim.password();
    m_runs = std::make_unique<QSignalSpy>(&scheduler(), &SchedulerEngine::runFinished);
    return state;
}

void TestFaultsController::runDueJob(int runsBefore)
{
    scheduler().tick();
    QTRY_COMPARE_WITH_TIMEOUT(m_runs->size(), runsBefore + 1, 30000);
    QVERIFY(!scheduler().isRunningJob());
    QVERIFY(scheduler().isStarted());
}

void TestFaultsController::expectNothingLost()
{
    QCOMPARE(savedJobs(), state->jobs());
    QCOMPARE(trust->pinnedFingerprint(host), std::optional<QString>(m_pinned));
    QCOMPARE(savedConfig(), std::optional<ControllerConfig>(m_controller));
    QCOMPARE(keyringPassword(m_controller), m_password);
}

void TestFaultsController::controllerKilledDuringAScheduledRun_data()
{
    QTest::addColumn<bool>("duringACommand");
    QTest::newRow("in the pause") << false;
    QTest::newRow("while a restart waits for its answer") << true;
}

void TestFaultsController::controllerKilledDuringAScheduledRun()
{
    QFETCH(bool, duringACommand);
    Sim &sim = startSim();
    AppState &state = connected(sim);
    holdPauses = true;
    const QList<RestartTarget> targets = firstAccessPoints(3);
    state.addJob(job(u"Nightly"_s, targets, RecurrenceRule::dailyAt(9, 0), 30));
    now = utc(14, 9);
    scheduler().tick();
    QTRY_COMPARE(pauses.size(), 1); // the first device restarted, the second one is next
    QCOMPARE(restartedMacs(sim), QStringList{targets.at(0).identifier});
    if (duringACommand) {
        sim.setFault({Sim::FaultKind::Hang, restartPath, 0ms});
        pauseRelease->set();
        QTRY_COMPARE(requestsTo(sim, restartPath).size(), 2); // sent, and never to be answered
    }
    kill(sim);
    pauseRelease->set();
    QTRY_COMPARE_WITH_TIMEOUT(m_runs->size(), 1, 30000);

    // Every device after the death is reported as failed, with the transport's own words.
    const QStringList messages = logMessages();
    QCOMPARE(messages.size(), 5);
    QCOMPARE(messages.at(4), u"Connected to 127.0.0.1"_s);
    QCOMPARE(messages.at(3), u"Running scheduled job 'Nightly' (3 device(s))"_s);
    QCOMPARE(messages.at(2), u"Restarted "_s + targets.at(0).displayName);
    for (int index = 1; index <= 2; ++index) {
        const QString prefix = u"Restart failed for "_s + targets.at(index).displayName + u": "_s;
        const QString &line = messages.at(2 - index);
        QVERIFY2(line.startsWith(prefix) && line.size() > prefix.size(), qPrintable(line));
        QVERIFY2(!line.endsWith(timedOut), qPrintable(line)); // it failed at once, not by waiting
    }
    QTRY_COMPARE(notified().size(), 1);
    QCOMPARE(lastNotification().summary, u"Lanternfold \u2014 Nightly"_s);
    QCOMPARE(lastNotification().body,
             u"1 succeeded, 2 failed: "_s + targets.at(1).displayName + u", "_s + targets.at(2).displayName);
    QCOMPARE(state.lastError(), std::nullopt); // restarts report in the log, not in lastError
    QVERIFY(state.isLoggedIn());               // a failed restart is no logout
    QCOMPARE(state.jobs().first().lastRunAt, std::optional<QDateTime>(now));
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(15, 9)));
    expectNothingLost();

    // The controller is back, same port, same key, no sessions: the next run logs in again with
    // the keyring's password and restarts everything.
    Sim &back = restart(sim, /*sameKey=*/true);
    now = utc(15, 9);
    runDueJob(1);
    QTRY_COMPARE(notified().size(), 2);
    QCOMPARE(lastNotification().body, u"Restarted 3 device(s) successfully."_s);
    QCOMPARE(restartedMacs(back),
             (QStringList{targets.at(0).identifier, targets.at(1).identifier, targets.at(2).identifier}));
    QCOMPARE(requestsTo(back, loginPath).size(), 1);
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(16, 9)));
    expectNothingLost();
}

void TestFaultsController::controllerKilledDuringAManualBatch()
{
    Sim &sim = startSim();
    AppState &state = connected(sim);
    holdPauses = true;
    const QList<RestartTarget> targets = firstAccessPoints(3);
    const auto outcome = start(state.restartBatch(targets, 5));
    QTRY_COMPARE(pauses.size(), 1);
    kill(sim);
    pauseRelease->set();
    QTRY_VERIFY_WITH_TIMEOUT(outcome->has_value(), 30000);
    QCOMPARE((*outcome)->succeeded, targets.first(1));
    QCOMPARE((*outcome)->failed, targets.mid(1));
    QCOMPARE(pauses, (QList<std::chrono::seconds>{5s, 5s}));
    QVERIFY(logMessages().at(0).startsWith(u"Restart failed for "_s + targets.at(2).displayName + u": "_s));
    QVERIFY(logMessages().at(1).startsWith(u"Restart failed for "_s + targets.at(1).displayName + u": "_s));

    Sim &back = restart(sim, /*sameKey=*/true);
    const auto again = await(state.restartBatch(targets, 5));
    QCOMPARE(again.succeeded, targets);
    QVERIFY(again.failed.isEmpty());
    QCOMPARE(restartedMacs(back).size(), 3);
    expectNothingLost();
}

void TestFaultsController::connectToASilentController_data()
{
    QTest::addColumn<bool>("tlsAnswers");
    QTest::addColumn<bool>("pinned");
    QTest::newRow("login never answered") << true << true;
    QTest::newRow("handshake never answered, key pinned") << false << true;
    QTest::newRow("handshake never answered, first use") << false << false;
}

void TestFaultsController::connectToASilentController()
{
    QFETCH(bool, tlsAnswers);
    QFETCH(bool, pinned);
    std::optional<SilentServer> silent;
    quint16 port = 0;
    QString pin = QString(64, u'c'); // a key nobody presents: the handshake never gets that far
    if (tlsAnswers) {
        Sim &sim = startSim();
        sim.setFault({Sim::FaultKind::Hang, loginPath, 0ms});
        port = sim.port();
        pin = sim.fingerprint();
    } else {
        silent.emplace();
        port = silent->port();
    }
    if (pinned)
        trust->pin(host, pin);
    AppState &state = makeState();
    state.setTransferTimeout(shortTimeout);
    QSignalSpy connecting(&state, &AppState::isConnectingChanged);
    await(state.connect(ControllerConfig{host, port, ControllerKind::unifiOS, u"demo"_s, u"default"_s}, u"secret"_s,
                        true));

    QCOMPARE(state.lastError(), std::optional<QString>(timedOut));
    QCOMPARE(logMessages(), QStringList{u"Connect failed: "_s + timedOut});
    QVERIFY(!state.isConnecting());
    QVERIFY(!state.isLoggedIn());
    QCOMPARE(state.config(), std::nullopt);
    QCOMPARE(savedConfig(), std::nullopt);
    QVERIFY(approver->asked.isEmpty()); // no key was ever seen
    QCOMPARE(trust->pinnedFingerprint(host), pinned ? std::optional<QString>(pin) : std::nullopt);
    QCOMPARE(keyringPassword(ControllerConfig{host, port, ControllerKind::unifiOS, u"demo"_s, u"default"_s}),
             QString());
    if (silent)
        QVERIFY(silent->acceptedCount() >= 1);
    else
        QCOMPARE(requestsTo(*sims.front(), loginPath).size(), 1);
}

void TestFaultsController::refreshFromASilentController()
{
    Sim &sim = startSim();
    AppState &state = connected(sim, shortTimeout);
    const QList<UnifiDevice> accessPoints = state.accessPoints();
    const QList<ProtectCamera> cameras = state.cameras();
    sim.setFault({Sim::FaultKind::Hang, u"/proxy/"_s, 0ms});
    await(state.refreshDevices());

    QCOMPARE(state.lastError(), std::optional<QString>(timedOut));
    QCOMPARE(logMessages().first(), u"Device refresh failed: "_s + timedOut);
    QCOMPARE(logMessages().size(), 2); // the cameras' failure is not reported twice
    QCOMPARE(state.accessPoints(), accessPoints);
    QCOMPARE(state.cameras(), cameras);
    QVERIFY(state.isLoggedIn());
    expectNothingLost();
}

void TestFaultsController::scheduledRunAgainstASilentController_data()
{
    QTest::addColumn<bool>("loggedIn");
    QTest::newRow("restart never answered") << true;
    QTest::newRow("reconnect's login never answered") << false;
}

void TestFaultsController::scheduledRunAgainstASilentController()
{
    QFETCH(bool, loggedIn);
    Sim &sim = startSim();
    connected(sim, shortTimeout);
    const QList<RestartTarget> targets = firstAccessPoints(2);
    state->addJob(job(u"Nightly"_s, targets, RecurrenceRule::dailyAt(9, 0), 10));
    if (!loggedIn) {
        // The program started again since: the state must log in by itself.
        state.reset();
        makeState();
        state->setTransferTimeout(shortTimeout);
        sim.setFault({Sim::FaultKind::Hang, loginPath, 0ms});
    } else {
        sim.setFault({Sim::FaultKind::Hang, restartPath, 0ms});
    }
    m_runs = std::make_unique<QSignalSpy>(&scheduler(), &SchedulerEngine::runFinished);
    now = utc(14, 9);
    runDueJob(0);

    const QStringList messages = logMessages();
    QTRY_COMPARE(notified().size(), 1);
    if (loggedIn) {
        QCOMPARE(messages.mid(0, 3),
                 (QStringList{u"Restart failed for "_s + targets.at(1).displayName + u": "_s + timedOut,
                              u"Restart failed for "_s + targets.at(0).displayName + u": "_s + timedOut,
                              u"Running scheduled job 'Nightly' (2 device(s))"_s}));
        QCOMPARE(lastNotification().summary, u"Lanternfold \u2014 Nightly"_s);
        QCOMPARE(lastNotification().body,
                 u"0 succeeded, 2 failed: "_s + targets.at(0).displayName + u", "_s + targets.at(1).displayName);
        QCOMPARE(pauses.size(), 1);
    } else {
        QCOMPARE(messages,
                 (QStringList{u"Scheduled job 'Nightly' skipped \u2014 not logged in and auto-reconnect failed."_s,
                              u"Connect failed: "_s + timedOut}));
        QCOMPARE(state->lastError(), std::optional<QString>(timedOut));
        QCOMPARE(lastNotification().summary, u"Lanternfold"_s);
        QCOMPARE(lastNotification().body, u"Couldn't run 'Nightly': not connected to the controller."_s);
        QVERIFY(restartedMacs(sim).isEmpty());
    }
    QVERIFY(!state->isConnecting());
    QCOMPARE(state->jobs().first().lastRunAt, std::optional<QDateTime>(now));
    QCOMPARE(state->jobs().first().nextRunAt, std::optional<QDateTime>(utc(15, 9)));
    expectNothingLost();
}

void TestFaultsController::newKeyFailsTheRunsOfALoggedInState()
{
    Sim &sim = startSim();
    AppState &state = connected(sim);
    const QString pinned = sim.fingerprint();
    const QList<RestartTarget> targets = firstAccessPoints(2);
    state.addJob(job(u"Nightly"_s, targets, RecurrenceRule::dailyAt(9, 0), 10));
    kill(sim);
    Sim &reset = restart(sim, /*sameKey=*/false); // a reset or replaced console
    QVERIFY(reset.fingerprint() != pinned);

    for (int day = 14; day <= 15; ++day) {
        now = utc(day, 9);
        runDueJob(day - 14);
        const QString refused = UnifiAPIError::certificateMismatch(pinned, reset.fingerprint()).description();
        QCOMPARE(logMessages().mid(0, 3),
                 (QStringList{u"Restart failed for "_s + targets.at(1).displayName + u": "_s + refused,
                              u"Restart failed for "_s + targets.at(0).displayName + u": "_s + refused,
                              u"Running scheduled job 'Nightly' (2 device(s))"_s}));
        QCOMPARE(state.lastError(), std::optional<QString>(refused));
        QTRY_COMPARE(notified().size(), day - 13);
        QCOMPARE(lastNotification().body,
                 u"0 succeeded, 2 failed: "_s + targets.at(0).displayName + u", "_s + targets.at(1).displayName);
        // The job moves on as after any failed run.
        QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(day + 1, 9)));
    }

    // The new key was refused at every handshake, before a byte of a request: no command, no login.
    QVERIFY(!handshakes(reset).isEmpty());
    for (const QJsonObject &handshake : handshakes(reset)) {
        QCOMPARE(handshake.value(u"fingerprint"_s).toString(), reset.fingerprint());
        QCOMPARE(handshake.value(u"result"_s).toString(), u"failed"_s);
    }
    QVERIFY(requests(reset).isEmpty());
    expectNothingLost(); // the old key stays pinned: nothing replaces it silently
}

void TestFaultsController::newKeyFailsTheScheduledReconnect()
{
    Sim &sim = startSim();
    connected(sim);
    const QString pinned = sim.fingerprint();
    state->addJob(job(u"Nightly"_s, firstAccessPoints(2), RecurrenceRule::dailyAt(9, 0)));
    // The program starts again, not logged in, and the controller now has another key.
    state.reset();
    kill(sim);
    Sim &reset = restart(sim, /*sameKey=*/false);
    AppState &state = makeState();
    m_runs = std::make_unique<QSignalSpy>(&scheduler(), &SchedulerEngine::runFinished);
    QList<std::optional<QString>> shown;
    QObject::connect(&state, &AppState::lastErrorChanged, &state, [&] { shown.append(state.lastError()); });
    now = utc(14, 9);
    runDueJob(0);

    const QString refused = UnifiAPIError::certificateMismatch(pinned, reset.fingerprint()).description();
    QCOMPARE(logMessages(),
             (QStringList{
                 u"Scheduled job 'Nightly' skipped \u2014 confirm the controller's certificate in Lanternfold first."_s,
                 u"Connect failed: "_s + refused}));
    // The pin check's report shows first, then the failed login's: the same words.
    QCOMPARE(shown, (QList<std::optional<QString>>{std::nullopt, refused, refused}));
    QTRY_COMPARE(notified().size(), 1);
    QCOMPARE(lastNotification().summary, u"Lanternfold"_s);
    QCOMPARE(lastNotification().body,
             u"Scheduled job 'Nightly' skipped \u2014 confirm the controller's certificate in Lanternfold first."_s);
    QVERIFY(!state.isLoggedIn());
    QVERIFY(approver->asked.size() == 1); // only the first connect's question, none for the new key
    // Nothing went to the new key, least of all the password.
    QVERIFY(!handshakes(reset).isEmpty());
    QVERIFY(requests(reset).isEmpty());
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(15, 9)));
    expectNothingLost();
}

void TestFaultsController::unpinnedKeyIsNotAskedAboutByAScheduledRun()
{
    Sim &sim = startSim();
    connected(sim);
    now = utc(13, 12);
    state->addJob(job(u"Nightly"_s, firstAccessPoints(2), RecurrenceRule::dailyAt(3, 0)));
    // The program starts again, and the pin is gone (removed in Settings): at 03:00 nobody is
    // there to compare fingerprints, and every later job would wait behind the question.
    state.reset();
    trust->removePin(host);
    approver->held = true;
    AppState &state = makeState();
    m_runs = std::make_unique<QSignalSpy>(&scheduler(), &SchedulerEngine::runFinished);
    const qsizetype asked = approver->asked.size();
    const qsizetype handshakesBefore = handshakes(sim).size();
    now = utc(14, 3);
    runDueJob(0);

    QCOMPARE(approver->asked.size(), asked);
    QCOMPARE(handshakes(sim).size(), handshakesBefore); // not even the key was fetched
    QVERIFY(!state.isLoggedIn());
    QCOMPARE(logMessages().first(),
             u"Scheduled job 'Nightly' skipped \u2014 confirm the controller's certificate in Lanternfold first."_s);
    QTRY_COMPARE(notified().size(), 1);
    QCOMPARE(lastNotification().summary, u"Lanternfold"_s);
    QCOMPARE(lastNotification().body,
             u"Scheduled job 'Nightly' skipped \u2014 confirm the controller's certificate in Lanternfold first."_s);
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(15, 3)));
    // The person connects and confirms the key: the next run goes ahead.
    approver->held = false;
    connectTo(sim);
    QVERIFY(state.isLoggedIn());
    QCOMPARE(approver->asked.size(), asked + 1);
}

void TestFaultsController::drippingControllerCannotHoldTheScheduler()
{
    Sim &sim = startSim();
    AppState &state = connected(sim);
    // A byte every 100 ms: no inactivity timeout ever fires; only the request's deadline does.
    state.setRequestDeadline(1500ms);
    connectTo(sim); // a session with the short deadline
    const QList<RestartTarget> targets = firstAccessPoints(2);
    state.addJob(job(u"Nightly"_s, targets, RecurrenceRule::dailyAt(9, 0)));
    sim.setFault({Sim::FaultKind::Drip, restartPath, 100ms});
    now = utc(14, 9);
    runDueJob(0);
    QCOMPARE(logMessages().mid(0, 2),
             (QStringList{u"Restart failed for "_s + targets.at(1).displayName + u": "_s + timedOut,
                          u"Restart failed for "_s + targets.at(0).displayName + u": "_s + timedOut}));
    // The next day runs, and a disconnect in the middle of a dripping command ends too.
    now = utc(15, 9);
    runDueJob(1);
    auto restart = start(state.restart(targets.first()));
    QTRY_COMPARE(requestsTo(sim, restartPath).size(), 5);
    await(state.disconnect());
    QVERIFY(restart->has_value());
    QVERIFY(!state.isLoggedIn());
}

QTEST_GUILESS_MAIN(TestFaultsController)
#include "tst_faultscontroller.moc"
