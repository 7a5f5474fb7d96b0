// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "StateFixture.h"

#include "State/SchedulerEngine.h"

#include <QJsonDocument>
#include <QSettings>
#include <QSignalSpy>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// The application state's connection life against the simulated controller, its activity log,
/// the saved configuration and the certificate question.
class TestAppState final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { StateFixture::init(); }
    void cleanup() { StateFixture::cleanup(); }

    void startsEmptyAndSchedules();
    void loadsJobsAndSavedConfig();
    void unreadableConfigIsNoConfig_data();
    void unreadableConfigIsNoConfig();
    void connectRefreshRestartDisconnect_data();
    void connectRefreshRestartDisconnect();
    void savedConfigLoadsEqual();
    void reconnectWithoutConfigOrPasswordDoesNothing();
    void reconnectUsesSavedConfigAndKeyring();
    void failedConnectWhileConnectedKeepsTheClient();
    void notRememberingLeavesTheOldPassword();
    void logKeepsTwoHundredNewestLines();
    void logLineHasTheLocaleStamp();
    void approvalTexts();
    void firstConnectAsksTheApprover();
    void declinedOrUnaskedKeyFailsTheConnect();
    void changedKeyShowsOneText();
    void refreshWithoutClientChangesNothing();
    void refreshFailureKeepsWhatArrived();
    void oneConnectAttemptAtATime();
};

void TestAppState::startsEmptyAndSchedules()
{
    AppState &state = makeState();
    QVERIFY(!state.config());
    QVERIFY(!state.isLoggedIn());
    QVERIFY(!state.isConnecting());
    QVERIFY(state.accessPoints().isEmpty());
    QVERIFY(state.cameras().isEmpty());
    QVERIFY(state.jobs().isEmpty());
    QVERIFY(!state.lastError());
    QVERIFY(state.activityLog().isEmpty());
    QVERIFY(scheduler().isStarted());
    QCOMPARE(AppState::configDefaultsKey, u"com.lanternfold.controllerConfig"_s);
}

void TestAppState::loadsJobsAndSavedConfig()
{
    const ScheduledJob saved = job(u"Nightly"_s, {}, RecurrenceRule::dailyAt(3, 0));
    store->save({saved});
    const ControllerConfig config{u"unifi.lan"_s, 8443, ControllerKind::classic, u"admin"_s, u"default"_s};
    {
        QSettings settings(settingsPath(), QSettings::NativeFormat);
        settings.setValue(AppState::configDefaultsKey, QJsonDocument(config.toJson()).toJson(QJsonDocument::Compact));
    }
    AppState &state = makeState();
    QCOMPARE(state.jobs(), QList<ScheduledJob>{saved});
    QCOMPARE(state.config(), std::optional<ControllerConfig>(config));
    QVERIFY(!state.isLoggedIn()); // no login at start
    QVERIFY(requests(startSim()).isEmpty());
}

void TestAppState::unreadableConfigIsNoConfig_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::newRow("garbage bytes") << QVariant(QByteArray("\xff\x00not json", 10));
    QTest::newRow("text, not data") << QVariant(u"{\"host\":\"h\"}"_s);
    QTest::newRow("JSON of another shape") << QVariant(QByteArray(R"({"host":"h","port":"443"})"));
    QTest::newRow("an array") << QVariant(QByteArray("[]"));
}

void TestAppState::unreadableConfigIsNoConfig()
{
    QFETCH(QVariant, stored);
    {
        QSettings settings(settingsPath(), QSettings::NativeFormat);
        settings.setValue(AppState::configDefaultsKey, stored);
    }
    AppState &state = makeState();
    QVERIFY(!state.config());
    QVERIFY(!state.lastError());
    QVERIFY(state.activityLog().isEmpty());
    const QSettings settings(settingsPath(), QSettings::NativeFormat);
    QCOMPARE(settings.value(AppState::configDefaultsKey), stored); // left as it was
}

void TestAppState::connectRefreshRestartDisconnect_data()
{
    QTest::addColumn<bool>("classic");
    QTest::newRow("unifiOS") << false;
    QTest::newRow("classic") << true;
}

void TestAppState::connectRefreshRestartDisconnect()
{
    QFETCH(bool, classic);
    Sim &sim = startSim(classic ? Sim::Kind::Classic : Sim::Kind::UnifiOS);
    sim.setCsrfRotation(true); // every POST rotates the token; a stale one gets 403
    AppState &state = makeState();
    QSignalSpy connecting(&state, &AppState::isConnectingChanged);
    connectTo(sim);

    QVERIFY2(!state.lastError(), qPrintable(state.lastError().value_or(QString())));
    QVERIFY(state.isLoggedIn());
    QVERIFY(!state.isConnecting());
    QCOMPARE(connecting.size(), 2); // true while it ran, then false
    QCOMPARE(state.config(), std::optional<ControllerConfig>(configFor(sim)));
    QCOMPARE(keyringPassword(configFor(sim)), sim.password());
    QVERIFY(state.accessPoints().size() >= 8);
    QCOMPARE(state.cameras().isEmpty(), classic);
    QVERIFY(state.activityLog().first().endsWith(u"] Connected to 127.0.0.1"_s));
    QCOMPARE(approver->asked.size(), 1);

    const UnifiDevice ap = state.accessPoints().first();
    const auto restarted = await(state.restart({RestartTargetKind::accessPoint, ap.mac, ap.name}));
    QVERIFY2(restarted.ok(), restarted.ok() ? "" : qPrintable(restarted.error().description()));
    QVERIFY(state.activityLog().first().endsWith(u"] Restarted "_s + ap.name));
    await(state.refreshDevices());
    QCOMPARE(state.accessPoints().first().state, std::optional<qint64>(0)); // restarting
    const auto again = await(state.restart({RestartTargetKind::accessPoint, ap.mac, ap.name}));
    QVERIFY(again.ok()); // the rotated token was used

    const QList<ScheduledJob> jobs{job(u"j"_s, {}, RecurrenceRule::dailyAt(1, 0))};
    state.addJob(jobs.first());
    await(state.disconnect());
    QVERIFY(!state.isLoggedIn());
    QVERIFY(state.accessPoints().isEmpty());
    QVERIFY(state.cameras().isEmpty());
    QVERIFY(state.activityLog().first().endsWith(u"] Disconnected"_s));
    QCOMPARE(state.config(), std::optional<ControllerConfig>(configFor(sim)));
    QCOMPARE(state.jobs().size(), 1);
    QCOMPARE(keyringPassword(configFor(sim)), sim.password());
    QCOMPARE(requests(sim).last().value(u"path"_s).toString(), classic ? u"/api/logout"_s : u"/api/auth/logout"_s);
    QCOMPARE(sim.liveSessionCount(), 0);
    QCOMPARE(trust->pinnedFingerprint(u"127.0.0.1"_s), std::optional<QString>(sim.fingerprint()));

    // Nothing goes out after a disconnect.
    const auto sent = requests(sim).size();
    await(state.refreshDevices());
    QCOMPARE(await(state.restart({RestartTargetKind::accessPoint, ap.mac, ap.name})).error(),
             UnifiAPIError::notLoggedIn());
    QCOMPARE(requests(sim).size(), sent);

    // And back, from the saved configuration and the keyring's password, as the scheduler does.
    QVERIFY(await(state.reconnectIfPossible()));
    QVERIFY(state.isLoggedIn());
    QVERIFY(state.accessPoints().size() >= 8);
    QCOMPARE(approver->asked.size(), 1); // the pin holds
    QVERIFY(await(state.restart({RestartTargetKind::accessPoint, ap.mac, ap.name})).ok());
}

void TestAppState::savedConfigLoadsEqual()
{
    Sim &sim = startSim();
    makeState();
    connectTo(sim);
    QVERIFY(state->isLoggedIn());
    state.reset();
    AppState &later = makeState();
    QCOMPARE(later.config(), std::optional<ControllerConfig>(configFor(sim)));
}

void TestAppState::reconnectWithoutConfigOrPasswordDoesNothing()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    QVERIFY(!await(state.reconnectIfPossible()));
    QVERIFY(state.activityLog().isEmpty());

    connectTo(sim, /*rememberPassword=*/false);
    QVERIFY(state.isLoggedIn());
    QVERIFY(keyringPassword(configFor(sim)).isEmpty());
    StateFixture::state.reset();
    AppState &later = makeState();
    QVERIFY(later.config());
    const auto sent = requests(sim).size();
    QVERIFY(!await(later.reconnectIfPossible()));
    QVERIFY(later.activityLog().isEmpty());
    QVERIFY(!later.lastError());
    QCOMPARE(requests(sim).size(), sent);
}

void TestAppState::reconnectUsesSavedConfigAndKeyring()
{
    Sim &sim = startSim();
    makeState();
    connectTo(sim);
    state.reset();
    AppState &later = makeState();
    QVERIFY(!later.isLoggedIn());
    QVERIFY(await(later.reconnectIfPossible()));
    QVERIFY(later.isLoggedIn());
    QVERIFY(later.accessPoints().size() >= 8);
    QVERIFY(later.activityLog().first().endsWith(u"] Connected to 127.0.0.1"_s));
    QCOMPARE(approver->asked.size(), 1); // the pin from the first connect holds
}

void TestAppState::failedConnectWhileConnectedKeepsTheClient()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    QVERIFY(state.isLoggedIn());
    connectTo(sim, true, u"wrong password"_s);
    QCOMPARE(state.lastError(), std::optional<QString>(u"Invalid username or password."_s));
    QVERIFY(state.activityLog().first().endsWith(u"] Connect failed: Invalid username or password."_s));
    QVERIFY(state.isLoggedIn());
    QVERIFY(!state.isConnecting());
    QCOMPARE(keyringPassword(configFor(sim)), sim.password()); // a failed login saves nothing
    const UnifiDevice ap = state.accessPoints().first();
    QVERIFY(await(state.restart({RestartTargetKind::accessPoint, ap.mac, ap.name})).ok()); // the old client works
}

void TestAppState::notRememberingLeavesTheOldPassword()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    QCOMPARE(keyringPassword(configFor(sim)), sim.password());
    sim.setCredentials(sim.username(), u"a new password"_s);
    connectTo(sim, /*rememberPassword=*/false, u"a new password"_s);
    QVERIFY(state.isLoggedIn());
    QCOMPARE(keyringPassword(configFor(sim)), QString::fromLatin1(Sim::defaultPassword));
}

void TestAppState::logKeepsTwoHundredNewestLines()
{
    AppState &state = makeState();
    for (int i = 1; i <= 201; ++i)
        state.log(u"line %1"_s.arg(i));
    QCOMPARE(state.activityLog().size(), 200);
    QVERIFY(state.activityLog().first().endsWith(u"] line 201"_s));
    QVERIFY(state.activityLog().last().endsWith(u"] line 2"_s)); // the oldest went
    state.log(u"one more"_s);
    QCOMPARE(state.activityLog().size(), 200);
}

void TestAppState::logLineHasTheLocaleStamp()
{
    AppState &state = makeState();
    state.log(u"hello"_s);
    // Short date, medium time, English (United States): ICU puts a narrow no-break space before AM.
    QCOMPARE(state.activityLog().first(), u"[3/14/25, 8:30:00\u202FAM] hello"_s);
    QCOMPARE(state.activityLog().first(),
             u"["_s + formatDateTime(now, calendar(), FormatStyle::shortStyle, FormatStyle::mediumStyle) +
                 u"] hello"_s);
}

void TestAppState::approvalTexts()
{
    const QString fingerprint = u"0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef"_s;
    const QString grouped = CertificateApprover::formatted(fingerprint);
    QCOMPARE(grouped.split(u' ').size(), 16);
    QCOMPARE(grouped, u"0123 4567 89ab cdef 0123 4567 89ab cdef 0123 4567 89ab cdef 0123 4567 89ab cdef"_s);
    QCOMPARE(CertificateApprover::formatted(QString()), QString());
    QCOMPARE(CertificateApprover::formatted(u"abcdefg"_s), u"abcd efg"_s);
    QCOMPARE(CertificateApprover::messageText(), u"Verify Controller Certificate"_s);
    QCOMPARE(CertificateApprover::informativeText(u"10.0.0.1"_s, u"abcd1234"_s),
             u"Lanternfold hasn't connected to 10.0.0.1 before.\n\nCertificate fingerprint (SHA-256 of public "
             u"key):\nabcd 1234\n\nConfirm this matches your controller (check the same fingerprint in UniFi OS "
             u"\u25B8 Settings \u25B8 System, or via `openssl` locally) before trusting it. This value is pinned "
             u"\u2014 future connections will be rejected if it ever changes unexpectedly."_s);
    QCOMPARE(CertificateApprover::trustButtonText(), u"Trust & Continue"_s);
    QCOMPARE(CertificateApprover::cancelButtonText(), u"Cancel"_s);
}

void TestAppState::firstConnectAsksTheApprover()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    QCOMPARE(approver->asked.size(), 1);
    QCOMPARE(approver->asked.first().first, u"127.0.0.1"_s);
    QCOMPARE(approver->asked.first().second, sim.fingerprint());
    QVERIFY(state.isLoggedIn());
}

void TestAppState::declinedOrUnaskedKeyFailsTheConnect()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    approver->answer = false;
    connectTo(sim);
    const QString rejected = u"The controller's certificate was not approved."_s;
    QCOMPARE(state.lastError(), std::optional<QString>(rejected));
    QVERIFY(state.activityLog().first().endsWith(u"] Connect failed: "_s + rejected));
    QVERIFY(!state.isLoggedIn());
    QVERIFY(!state.config());
    QVERIFY(requests(sim).isEmpty());

    firstUse->setApprover(nullptr); // nobody to ask: declined
    connectTo(sim);
    QCOMPARE(state.lastError(), std::optional<QString>(rejected));
    QCOMPARE(approver->asked.size(), 1);
    QVERIFY(requests(sim).isEmpty());
    QVERIFY(trust->pins().isEmpty());
}

void TestAppState::changedKeyShowsOneText()
{
    Sim &sim = startSim();
    const QString pinned = QString(64, u'a');
    trust->pin(u"127.0.0.1"_s, pinned);
    AppState &state = makeState();
    QList<std::optional<QString>> shown;
    QObject::connect(&state, &AppState::lastErrorChanged, &state, [&] { shown.append(state.lastError()); });
    connectTo(sim);
    // Seen by the pin check, then as the failed login's error: the same words both times.
    const QString changed = UnifiAPIError::certificateMismatch(pinned, sim.fingerprint()).description();
    QCOMPARE(shown, (QList<std::optional<QString>>{std::nullopt, changed, changed}));
    QVERIFY(state.activityLog().first().endsWith(u"] Connect failed: "_s + changed));
    QCOMPARE(state.activityLog().size(), 1); // the mismatch itself is not logged
    QVERIFY(requests(sim).isEmpty());
}

void TestAppState::refreshWithoutClientChangesNothing()
{
    AppState &state = makeState();
    QSignalSpy devices(&state, &AppState::accessPointsChanged);
    QSignalSpy cameras(&state, &AppState::camerasChanged);
    QSignalSpy errors(&state, &AppState::lastErrorChanged);
    await(state.refreshDevices());
    QCOMPARE(devices.size(), 0);
    QCOMPARE(cameras.size(), 0);
    QCOMPARE(errors.size(), 0);
    QVERIFY(state.activityLog().isEmpty());
}

void TestAppState::refreshFailureKeepsWhatArrived()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const QList<ProtectCamera> camerasBefore = state.cameras();
    QVERIFY(!camerasBefore.isEmpty());
    const UnifiDevice ap = state.accessPoints().first();
    QVERIFY(await(state.restart({RestartTargetKind::accessPoint, ap.mac, ap.name})).ok());

    // Only the cameras fail: the new access points stay, the cameras keep what they were.
    sim.setFault({Sim::FaultKind::MalformedJson, u"/proxy/protect/"_s, 0ms});
    await(state.refreshDevices());
    QCOMPARE(state.accessPoints().first().state, std::optional<qint64>(0));
    QCOMPARE(state.cameras(), camerasBefore);
    QVERIFY(state.lastError()->startsWith(u"Failed to parse controller response: "_s));
    QVERIFY(state.activityLog().first().contains(u"] Device refresh failed: Failed to parse controller response: "_s));

    // The access points fail: neither list changes.
    sim.clearFaults();
    sim.setFault({Sim::FaultKind::ServerError, u"/proxy/network/"_s, 0ms});
    const QList<UnifiDevice> devicesBefore = state.accessPoints();
    sim.setOfflineDuration(0ms);
    await(state.refreshDevices());
    QCOMPARE(state.accessPoints(), devicesBefore);
    QCOMPARE(state.cameras(), camerasBefore);
    QCOMPARE(state.lastError(), std::optional<QString>(u"Controller returned HTTP 500: "_s));
    QVERIFY(state.activityLog().first().endsWith(u"] Device refresh failed: Controller returned HTTP 500: "_s));
    QVERIFY(state.isLoggedIn()); // a refresh never changes it

    // A successful refresh does not clear the last error.
    sim.clearFaults();
    await(state.refreshDevices());
    QVERIFY(state.lastError());
}

void TestAppState::oneConnectAttemptAtATime()
{
    Sim &sim = startSim();
    makeState();
    connectTo(sim); // saves the configuration and the password
    state.reset();
    trust->removePin(u"127.0.0.1"_s); // the next connect asks again
    approver->asked.clear();
    approver->held = true;

    AppState &state = makeState();
    const auto loginsBefore = requestsTo(sim, u"/api/auth/login"_s).size();
    const ControllerConfig config = configFor(sim);
    auto connecting = start(state.connect(config, sim.password(), true));
    QTRY_COMPARE(approver->asked.size(), 1);
    // Reconnects (a scheduler tick each) while the person still reads the question.
    auto second = start(state.reconnectIfPossible());
    auto third = start(state.reconnectIfPossible());
    scheduler().tick();
    QTest::qWait(100);
    QCOMPARE(approver->asked.size(), 1);
    QCOMPARE(requestsTo(sim, u"/api/auth/login"_s).size(), loginsBefore);

    approver->released->set();
    QTRY_VERIFY(connecting->has_value() && second->has_value() && third->has_value());
    QVERIFY(**second);
    QVERIFY(**third);
    QVERIFY(state.isLoggedIn());
    QCOMPARE(approver->asked.size(), 1);
    QCOMPARE(requestsTo(sim, u"/api/auth/login"_s).size(), loginsBefore + 1);
}

QTEST_GUILESS_MAIN(TestAppState)
#include "tst_appstate.moc"
