// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Faults of the desktop around the program: a keyring that is missing, locked or silent, no
// notification service, no tray. The program keeps running and responding, does what the
// behaviour of each piece says (keyring and notification failures are silent; a scheduled run that
// cannot log in is skipped and announced), and loses nothing.
//
// The keyring cases are rows named after the keyring's state. CTest runs this program twice, on
// two private buses: the rows "missing" and "silent" and the other cases on a bus without any
// service, the rows "locked" on a bus with a gnome-keyring (tests/CMakeLists.txt). A row run on the
// wrong bus fails rather than proving nothing.

#include "Keyrings.h"
#include "NotificationWatcher.h"
#include "StateFixture.h"

#include "App/AppDelegate.h"
#include "App/LanternfoldApp.h"
#include "Platform/AutostartLoginItem.h"
#include "Platform/DesktopNotifications.h"
#include "Platform/SecretServiceKeychain.h"
#include "State/SchedulerEngine.h"
#include "Views/ContentView.h"

#include <QAction>
#include <QApplication>
#include <QSignalSpy>
#include <QSystemTrayIcon>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString host = u"127.0.0.1"_s;
const QString loginPath = u"/api/auth/login"_s;
const QString notificationsName = u"org.freedesktop.Notifications"_s;

/// How long a keyring call waits here before it gives up: long against a 20 ms timer, short
/// against the test's budget.
constexpr std::chrono::milliseconds keyringTimeout = 300ms;

bool ownedOnTheBus(const QString &name)
{
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(name).value();
}

QDateTime utc(int day, int hour)
{
    return QDateTime(QDate(2025, 3, day), QTime(hour, 0), QTimeZone::utc());
}

} // namespace

class TestFaultsPlatform final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void connectRememberingWithoutAKeyring_data() { keyringStates(); }
    void connectRememberingWithoutAKeyring();
    void scheduledReconnectWithoutAKeyring_data() { keyringStates(); }
    void scheduledReconnectWithoutAKeyring();
    void scheduledRunsWithoutANotificationService();
    void programWithoutATray();

private:
    static void keyringStates();
    /// Puts the keyring of the current row in place: none, one that never answers, or the
    /// gnome-keyring of the bus, locked with the account's password in it.
    void setUpKeyring(const ControllerConfig &config);
    /// The keyring as the row left it: nothing to read, or the item saved before locking, neither
    /// deleted nor replaced.
    void expectKeyringUnchanged(const ControllerConfig &config);
    /// A simulated controller whose key the program trusted before.
    Sim &pinnedSim()
    {
        Sim &sim = startSim();
        trust->pin(host, sim.fingerprint());
        return sim;
    }

    /// The real desktop services: what is being tested here is how the program meets their faults.
    std::unique_ptr<SecretServiceKeychain> m_keychain;
    DesktopNotifications m_desktopNotifications;
    AutostartLoginItem m_loginItem;
    std::unique_ptr<SilentKeyring> m_silentKeyring;
    std::unique_ptr<NotificationWatcher> m_notifications;
    bool m_lockedKeyringReady = false;
};

void TestFaultsPlatform::initTestCase()
{
    QApplication::setQuitOnLastWindowClosed(false);
    QVERIFY2(QDBusConnection::sessionBus().isConnected(), "this test needs the private bus of run-session-bus.sh");
}

void TestFaultsPlatform::init()
{
    StateFixture::init();
    // A keyring that never answers is waited for only briefly here.
    const bool silent = QByteArrayView(QTest::currentDataTag()) == "silent";
    m_keychain = std::make_unique<SecretServiceKeychain>(
        silent ? keyringTimeout : std::chrono::milliseconds(SecretServiceKeychain::defaultTimeout));
    keychainInUse = m_keychain.get();
    notificationsInUse = &m_desktopNotifications;
}

void TestFaultsPlatform::cleanup()
{
    state.reset();
    if (m_silentKeyring) {
        // Jobs that gave up still wait on it: they end once it answers, and only then does the
        // next keyring call start.
        m_silentKeyring->answerEverything();
        QTRY_COMPARE_WITH_TIMEOUT(SecretServiceKeychain::liveJobCount(), 0, 30000);
        m_silentKeyring.reset();
    }
    m_notifications.reset();
    StateFixture::cleanup();
    m_keychain.reset();
}

void TestFaultsPlatform::keyringStates()
{
    QTest::addColumn<QString>("keyring");
    QTest::newRow("missing") << u"missing"_s;
    QTest::newRow("silent") << u"silent"_s;
    QTest::newRow("locked") << u"locked"_s;
}

void TestFaultsPlatform::setUpKeyring(const ControllerConfig &config)
{
    QFETCH(QString, keyring);
    if (keyring == u"locked"_s) {
        QVERIFY2(ownedOnTheBus(secretsName()),
                 "the rows \"locked\" need the gnome-keyring of run-session-bus.sh --keyring");
        if (!m_lockedKeyringReady) {
            // The password of an earlier session, then the screen locks.
            (void)await(m_keychain->savePassword(u"saved before locking"_s,
                                                 KeychainService::account(config.host, config.username)));
            QCOMPARE(keyringItemCounts(SecretServiceKeychain::service,
                                       KeychainService::account(config.host, config.username)),
                     std::pair(1, 0));
            QVERIFY(!lockDefaultKeyring().isEmpty());
            m_lockedKeyringReady = true;
        }
        QCOMPARE(
            keyringItemCounts(SecretServiceKeychain::service, KeychainService::account(config.host, config.username)),
            std::pair(0, 1));
        return;
    }
    QVERIFY2(!ownedOnTheBus(secretsName()), "the rows \"missing\" and \"silent\" need a bus without a keyring");
    if (keyring == u"silent"_s) {
        m_silentKeyring = std::make_unique<SilentKeyring>();
        QVERIFY(m_silentKeyring->start());
    }
}

void TestFaultsPlatform::expectKeyringUnchanged(const ControllerConfig &config)
{
    QFETCH(QString, keyring);
    if (keyring == u"locked"_s)
        QCOMPARE(
            keyringItemCounts(SecretServiceKeychain::service, KeychainService::account(config.host, config.username)),
            std::pair(0, 1));
    else
        QCOMPARE(keyringPassword(config), QString());
    if (m_silentKeyring)
        QVERIFY(m_silentKeyring->callCount() >= 1); // it was asked, and kept silent
}

void TestFaultsPlatform::connectRememberingWithoutAKeyring()
{
    const Sim &sim = pinnedSim();
    const ControllerConfig config = configFor(sim);
    setUpKeyring(config);
    AppState &state = makeState();
    const TickCounter ticks(20ms);
    connectTo(sim, /*rememberPassword=*/true);

    // The password is simply not kept; the connection itself is whole.
    QVERIFY(state.isLoggedIn());
    QVERIFY(!state.isConnecting());
    QCOMPARE(state.lastError(), std::nullopt);
    QCOMPARE(logMessages(), QStringList{u"Connected to 127.0.0.1"_s});
    QVERIFY(!state.accessPoints().isEmpty());
    QCOMPARE(savedConfig(), std::optional<ControllerConfig>(config));
    QCOMPARE(trust->pinnedFingerprint(host), std::optional<QString>(sim.fingerprint()));
    if (m_silentKeyring)
        QVERIFY(ticks.ticks() >= 1); // the event loop ran while the keyring kept silent
    expectKeyringUnchanged(config);
}

void TestFaultsPlatform::scheduledReconnectWithoutAKeyring()
{
    const Sim &sim = pinnedSim();
    const ControllerConfig config = configFor(sim);
    m_notifications = std::make_unique<NotificationWatcher>();
    QVERIFY(m_notifications->start());
    AppState &state = makeState();
    connectTo(sim, /*rememberPassword=*/false);
    QVERIFY(state.isLoggedIn());
    state.addJob(job(u"Nightly"_s, firstAccessPoints(2), RecurrenceRule::dailyAt(9, 0)));
    await(state.disconnect());
    setUpKeyring(config);
    const qsizetype logins = requestsTo(sim, loginPath).size();

    QSignalSpy runs(&scheduler(), &SchedulerEngine::runFinished);
    const TickCounter ticks(20ms);
    now = utc(14, 9);
    scheduler().tick();
    QTRY_COMPARE_WITH_TIMEOUT(runs.size(), 1, 30000);

    QCOMPARE(logMessages().first(),
             u"Scheduled job 'Nightly' skipped \u2014 not logged in and auto-reconnect failed."_s);
    QCOMPARE(logMessages().at(1), u"Disconnected"_s); // nothing in between: no password, no attempt
    QCOMPARE(state.lastError(), std::nullopt);
    QTRY_COMPARE(m_notifications->notifications().size(), 1);
    QCOMPARE(m_notifications->notifications().first().body,
             u"Couldn't run 'Nightly': not connected to the controller."_s);
    QCOMPARE(requestsTo(sim, loginPath).size(), logins);
    QVERIFY(!state.isLoggedIn());
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(15, 9)));
    QCOMPARE(savedJobs(), state.jobs());
    QCOMPARE(savedConfig(), std::optional<ControllerConfig>(config));
    if (m_silentKeyring)
        QVERIFY(ticks.ticks() >= 1);
    expectKeyringUnchanged(config);
}

void TestFaultsPlatform::scheduledRunsWithoutANotificationService()
{
    QVERIFY(!ownedOnTheBus(notificationsName));
    const Sim &sim = pinnedSim();
    AppState &state = makeState();
    connectTo(sim, /*rememberPassword=*/false);
    const QList<RestartTarget> targets = firstAccessPoints(2);
    state.addJob(job(u"Nightly"_s, targets, RecurrenceRule::dailyAt(9, 0), 5));
    QSignalSpy runs(&scheduler(), &SchedulerEngine::runFinished);

    // A run that restarts, whose announcement nobody takes.
    now = utc(14, 9);
    scheduler().tick();
    QTRY_COMPARE_WITH_TIMEOUT(runs.size(), 1, 30000);
    QCOMPARE(logMessages().mid(0, 3),
             (QStringList{u"Restarted "_s + targets.at(1).displayName, u"Restarted "_s + targets.at(0).displayName,
                          u"Running scheduled job 'Nightly' (2 device(s))"_s}));
    QCOMPARE(restartedMacs(sim), (QStringList{targets.at(0).identifier, targets.at(1).identifier}));
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(15, 9)));

    // And a skipped one, whose announcement goes nowhere either.
    await(state.disconnect());
    now = utc(15, 9);
    scheduler().tick();
    QTRY_COMPARE_WITH_TIMEOUT(runs.size(), 2, 30000);
    QCOMPARE(logMessages().first(),
             u"Scheduled job 'Nightly' skipped \u2014 not logged in and auto-reconnect failed."_s);
    QVERIFY(!scheduler().isRunningJob());
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(16, 9)));
    QCOMPARE(savedJobs(), state.jobs());
    QVERIFY(!ownedOnTheBus(notificationsName));
}

void TestFaultsPlatform::programWithoutATray()
{
    const Sim &sim = pinnedSim();
    // A job missed while the program was not running: it runs at the first look after the start.
    const RestartTarget camera{RestartTargetKind::camera, sim.simulatedSite().cameraIds().first(), u"Door"_s};
    ScheduledJob missed = job(u"Missed"_s, {camera}, RecurrenceRule::dailyAt(3, 0));
    missed.nextRunAt = QDateTime::currentDateTimeUtc().addSecs(-3600);
    store->save({missed});

    LanternfoldApp app(*store, *trust, settingsPath(),
                       PlatformServices{*m_keychain, m_desktopNotifications, m_loginItem});
    AppDelegate &delegate = app.delegate();
    delegate.setTrayAvailability([] { return false; });
    AppState &state = app.appState();
    QSignalSpy runs(&app.scheduler(), &SchedulerEngine::runFinished);
    app.start();
    // The person logs in through the window before the first look: the run waits for that login.
    const ControllerConfig config = configFor(sim);
    (void)state.connect(config, sim.password(), false);
    // The status item follows the window's first paint.
    QTRY_VERIFY(delegate.statusItem());

    // The window is the way in.
    ContentView &window = app.window();
    QVERIFY(window.isVisible());
    QVERIFY(!delegate.statusItem()->isVisible());
    QVERIFY(delegate.isWaitingForTray());
    QVERIFY(window.close());
    QVERIFY(!window.isVisible());
    app.openMainWindow(); // what a second launch asks for
    QVERIFY(window.isVisible());

    // Schedules run.
    QTRY_COMPARE_WITH_TIMEOUT(runs.size(), 1, 30000);
    QVERIFY(state.isLoggedIn());
    const auto reboots = requestsTo(sim, u"/proxy/protect/api/cameras/"_s + camera.identifier + u"/reboot"_s);
    QCOMPARE(reboots.size(), 1);
    QCOMPARE(reboots.first().value(u"status"_s).toInt(), 200);
    QVERIFY(std::any_of(state.activityLog().cbegin(), state.activityLog().cend(),
                        [](const QString &line) { return line.endsWith(u"] Restarted Door"_s); }));
    QVERIFY(state.jobs().first().lastRunAt.has_value());
    QVERIFY(*state.jobs().first().nextRunAt > QDateTime::currentDateTimeUtc());
    // The real clock has milliseconds, which the file does not keep.
    QCOMPARE(savedJobs(), ScheduleStore::decode(ScheduleStore::encode(state.jobs()).value()).value());

    // The panel starts after all: the icon appears, and its menu opens the window.
    delegate.setTrayAvailability([] { return true; });
    delegate.checkTray();
    QVERIFY(delegate.statusItem()->isVisible());
    QVERIFY(!delegate.isWaitingForTray());
    window.close();
    delegate.openAction()->trigger();
    QVERIFY(window.isVisible());
}

QTEST_MAIN(TestFaultsPlatform)
#include "tst_faultsplatform.moc"
