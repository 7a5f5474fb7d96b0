// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ClientFixture.h"
#include "FakePlatform.h"

#include "App/AppDelegate.h"
#include "App/LanternfoldApp.h"
#include "App/SingleInstance.h"
#include "Controller/Trust/CertTrustService.h"
#include "Schedules/ScheduleStore.h"
#include "State/AppState.h"
#include "State/SchedulerEngine.h"
#include "Views/ContentView.h"
#include "Views/LoginView.h"
#include "Views/SettingsView.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QThread>

#include <csignal>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

/// The program's shell: the window that closing only hides, the tray's way back to it, the
/// second launch's request, and the login form swapped for the tabs in the same window.
class TestLanternfoldApp final : public QObject, public ClientFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }
    void init();
    void cleanup();

    void startShowsTheWindowAtLeastItsMinimumSize();
    void closingTheWindowKeepsTheProgramAndOpenBringsItBack();
    void withoutATrayTheFirstCloseSaysTheProgramKeepsRunning();
    void withATrayClosingTheWindowIsQuiet();
    void openRaisesAWindowThatIsAlreadyShown();
    void aSecondLaunchOpensTheWindow();
    void onlyOneProcessRunsTheSchedules();
    void loggingInSwapsTheFormForTheTabsInTheSameWindow();
    void standsBackWhileTheServiceRunsAndSharesTheJobs();

private:
    std::unique_ptr<ScheduleStore> m_store;
    FakeKeychain m_keychain;
    FakeNotifications m_notifications;
    FakeLoginItem m_loginItem;
    std::unique_ptr<LanternfoldApp> m_app;
};

void TestLanternfoldApp::init()
{
    ClientFixture::init();
    m_notifications.posted.clear();
    m_store = std::make_unique<ScheduleStore>(dir->path());
    m_app = std::make_unique<LanternfoldApp>(*m_store, *trust, dir->filePath(u"Lanternfold.conf"_s),
                                             PlatformServices{m_keychain, m_notifications, m_loginItem});
    m_app->start();
}

void TestLanternfoldApp::cleanup()
{
    m_app.reset();
    m_store.reset();
    ClientFixture::cleanup();
}

void TestLanternfoldApp::startShowsTheWindowAtLeastItsMinimumSize()
{
    ContentView &window = m_app->window();
    QVERIFY(window.isVisible());
    QCOMPARE(window.minimumSize(), QSize(620, 560));
    QVERIFY(window.width() >= 620 && window.height() >= 560);
    QTRY_VERIFY(!window.windowIcon().isNull()); // set after the first paint
    QCOMPARE(window.loginView()->isVisible(), true);
    QVERIFY(!window.tabs());
}

void TestLanternfoldApp::closingTheWindowKeepsTheProgramAndOpenBringsItBack()
{
    ContentView &window = m_app->window();
    QSignalSpy aboutToQuit(qApp, &QCoreApplication::aboutToQuit);
    QVERIFY(window.close());
    QVERIFY(!window.isVisible());
    QCoreApplication::processEvents();
    QCOMPARE(aboutToQuit.size(), 0);
    QVERIFY(m_app->scheduler().isStarted());   // schedules go on with the window closed
    m_app->delegate().openAction()->trigger(); // "Open Lanternfold" in the tray menu
    QVERIFY(window.isVisible());
    QCOMPARE(&m_app->window(), &window);
}

void TestLanternfoldApp::withoutATrayTheFirstCloseSaysTheProgramKeepsRunning()
{
    m_app->delegate().setTrayAvailability([] { return false; }); // a stock GNOME session
    ContentView &window = m_app->window();
    QTRY_VERIFY(!window.windowIcon().isNull()); // the tray was looked for
    QVERIFY(!m_app->delegate().isInTray());
    QVERIFY(window.actions().contains(m_app->delegate().quitAction())); // Ctrl+Q works in the window
    QVERIFY(window.close());
    QCOMPARE(m_notifications.notifications().size(), 1);
    QCOMPARE(m_notifications.notifications().at(0).summary, u"Lanternfold"_s);
    QCOMPARE(m_notifications.notifications().at(0).body,
             u"Lanternfold keeps running in the background. Launch it again to open the window."_s);
    // Once a run: the second close is no news.
    m_app->openMainWindow();
    QVERIFY(window.close());
    QCOMPARE(m_notifications.notifications().size(), 1);
}

void TestLanternfoldApp::withATrayClosingTheWindowIsQuiet()
{
    m_app->delegate().setTrayAvailability([] { return true; });
    ContentView &window = m_app->window();
    QTRY_VERIFY(m_app->delegate().isInTray());
    QVERIFY(window.close());
    QVERIFY(m_notifications.notifications().isEmpty());
}

void TestLanternfoldApp::openRaisesAWindowThatIsAlreadyShown()
{
    ContentView &window = m_app->window();
    window.showMinimized();
    m_app->openMainWindow();
    QVERIFY(window.isVisible());
    QVERIFY(!window.isMinimized());
    const QWidgetList windows = QApplication::topLevelWidgets();
    QCOMPARE(std::count_if(windows.cbegin(), windows.cend(),
                           [](const QWidget *widget) { return qobject_cast<const ContentView *>(widget); }),
             1); // never a second main window
}

void TestLanternfoldApp::aSecondLaunchOpensTheWindow()
{
    SingleInstance instance(dir->filePath(u"lanternfold.socket"_s));
    QCOMPARE(instance.claim(), SingleInstance::Claim::primary);
    connect(&instance, &SingleInstance::openRequested, m_app.get(), &LanternfoldApp::openMainWindow);
    QSignalSpy requests(&instance, &SingleInstance::openRequested);
    m_app->window().close();

    // Launched by a Wayland desktop, the launch brings the compositor's token for the running
    // window; a token that could not be one (spaces, control characters) is not passed on.
    const auto launchWith = [this](const QByteArray &token) {
        SingleInstance::Claim second = SingleInstance::Claim::failed;
        std::unique_ptr<QThread> launch(QThread::create([this, &second, token] {
            SingleInstance later(dir->filePath(u"lanternfold.socket"_s));
            later.setActivationToken(token);
            second = later.claim();
        }));
        launch->start();
        QTRY_VERIFY(launch->isFinished());
        QCOMPARE(second, SingleInstance::Claim::handedOver);
    };
    launchWith("weston-7f3a_1:2");
    QTRY_VERIFY(m_app->window().isVisible());
    QTRY_COMPARE(requests.size(), 1);
    QCOMPARE(requests.at(0).at(0).toString(), u"weston-7f3a_1:2"_s);
    launchWith({});
    QTRY_COMPARE(requests.size(), 2);
    QCOMPARE(requests.at(1).at(0).toString(), QString());
    launchWith("two words\tand a tab");
    QTRY_COMPARE(requests.size(), 3);
    QCOMPARE(requests.at(2).at(0).toString(), QString());
}

void TestLanternfoldApp::loggingInSwapsTheFormForTheTabsInTheSameWindow()
{
    Sim &sim = startSim();
    trust->pin(u"127.0.0.1"_s, sim.fingerprint()); // trusted before: no question
    ContentView &window = m_app->window();
    AppState &state = m_app->appState();
    const ControllerConfig config = configFor(sim);
    QSignalSpy loggedIn(&state, &AppState::isLoggedInChanged);
    (void)state.connect(config, sim.password(), false);
    QTRY_VERIFY_WITH_TIMEOUT(state.isLoggedIn(), 20000);
    QVERIFY(window.isVisible());
    QVERIFY(window.tabs());
    QVERIFY(window.tabs()->isVisible());
    QVERIFY(!window.loginView()->isVisible());
    QTRY_COMPARE(window.tabs()->count(), 3);
    QCOMPARE(window.tabs()->tabText(0), u"Devices"_s);
    QCOMPARE(window.tabs()->tabText(1), u"Schedules"_s);
    QCOMPARE(window.tabs()->tabText(2), u"Settings"_s);
    for (int index = 0; index < 3; ++index)
        QVERIFY(!window.tabs()->tabIcon(index).isNull());
    // No tray here (offscreen): Settings offers the program's Quit; once a tray comes, the menu does.
    SettingsView *settings = window.settingsView();
    QVERIFY(settings);
    QVERIFY(settings->quitButton()->isVisibleTo(settings));
    QCOMPARE(settings->quitButton()->text(), u"Quit Lanternfold"_s);
    m_app->delegate().setTrayAvailability([] { return true; });
    m_app->delegate().checkTray();
    QVERIFY(!settings->quitButton()->isVisibleTo(settings));

    const QPointer<QTabWidget> tabs = window.tabs();
    (void)state.disconnect();
    QTRY_VERIFY_WITH_TIMEOUT(!state.isLoggedIn(), 20000);
    QVERIFY(window.loginView()->isVisible());
    QTRY_VERIFY(!tabs); // the tabs of that session are gone
    QVERIFY(window.isVisible());
}

void TestLanternfoldApp::onlyOneProcessRunsTheSchedules()
{
    // The first program holds the scheduler lock; a second one over the same files (the socket
    // guard failed, or a background service runs) shows its window but leaves the schedules alone.
    QVERIFY(m_app->scheduler().isStarted());
    QTest::ignoreMessage(QtWarningMsg,
                         "Another Lanternfold process of this user runs the schedules; this one leaves them to it.");
    LanternfoldApp second(*m_store, *trust, dir->filePath(u"Lanternfold.conf"_s),
                          PlatformServices{m_keychain, m_notifications, m_loginItem});
    QVERIFY(!second.scheduler().isStarted());
    QVERIFY(QFileInfo::exists(m_store->schedulerLockPath()));
    // Once the first has ended, the lock is free for the next.
    m_app.reset();
    LanternfoldApp third(*m_store, *trust, dir->filePath(u"Lanternfold.conf"_s),
                         PlatformServices{m_keychain, m_notifications, m_loginItem});
    QVERIFY(third.scheduler().isStarted());
}

void TestLanternfoldApp::standsBackWhileTheServiceRunsAndSharesTheJobs()
{
    // The background service and the window over the same files: the service's HOME is this
    // test's folder, and the window's store, pins and preferences are the service's.
    m_app.reset();
    Sim &sim = startSim();
    const QString data = dir->filePath(u"data"_s);
    const QString config = dir->filePath(u"config"_s);
    QDir().mkpath(data);
    QDir().mkpath(config);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, dir->path());
    environment.insert(u"XDG_DATA_HOME"_s, data);
    environment.insert(u"XDG_CONFIG_HOME"_s, config);
    environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
    const auto ctl = [&environment](const QStringList &arguments, const QByteArray &input) {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(LANTERNFOLD_CTL_EXECUTABLE), arguments);
        process.write(input);
        process.closeWriteChannel();
        const bool ended = QTest::qWaitFor([&process] { return process.state() == QProcess::NotRunning; }, 60'000);
        return ended ? process.exitCode() : -1;
    };
    const QString port = QString::number(sim.port());
    QCOMPARE(
        ctl({u"trust"_s, u"--host"_s, u"127.0.0.1"_s, u"--port"_s, port, u"--fingerprint"_s, sim.fingerprint()}, {}),
        0);
    QCOMPARE(ctl({u"connect"_s, u"--host"_s, u"127.0.0.1"_s, u"--port"_s, port, u"--user"_s, sim.username(),
                  u"--password-stdin"_s},
                 sim.password().toUtf8() + '\n'),
             0);
    const QString passwordFile = dir->filePath(u"password"_s);
    QFile file(passwordFile);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(sim.password().toUtf8());
    file.close();
    QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner));
    QProcess service;
    service.setProcessEnvironment(environment);
    service.start(QStringLiteral(LANTERNFOLD_CTL_EXECUTABLE), {u"service"_s, u"--password-file"_s, passwordFile});
    QByteArray output;
    QVERIFY(QTest::qWaitFor(
        [&] {
            output += service.readAllStandardOutput();
            return output.contains("<6>Running the schedules");
        },
        30'000));

    // The window stands back and says so.
    m_store = std::make_unique<ScheduleStore>(data);
    CertTrustService pins(config + u"/Lanternfold/Lanternfold.conf"_s);
    QTest::ignoreMessage(QtWarningMsg,
                         "Another Lanternfold process of this user runs the schedules; this one leaves them to it.");
    LanternfoldApp window(*m_store, pins, config + u"/Lanternfold/Lanternfold.conf"_s,
                          PlatformServices{m_keychain, m_notifications, m_loginItem});
    QVERIFY(!window.scheduler().isStarted());
    QVERIFY(window.appState().schedulesRunElsewhere());
    QVERIFY(window.lockRetry() && window.lockRetry()->isActive());
    QCOMPARE(std::chrono::milliseconds(window.lockRetry()->interval()), SchedulerEngine::interval);
    QVERIFY(!window.takeOverSchedules());

    // A job added in the window is run by the service, which the window then sees.
    ScheduledJob job;
    job.id = QUuid::createUuid();
    job.name = u"From the window"_s;
    job.targets = {{RestartTargetKind::accessPoint, u"78:45:58:a1:10:20"_s, u"Lobby"_s}};
    job.rule = RecurrenceRule::once(QDateTime::currentDateTimeUtc().addSecs(1));
    window.appState().addJob(job);
    QVERIFY(QTest::qWaitFor(
        [&] {
            output += service.readAllStandardOutput();
            return output.contains("<6>Restarted Lobby\n");
        },
        60'000));
    QVERIFY(output.contains("<6>Running scheduled job 'From the window' (1 device(s))"));
    QTRY_VERIFY_WITH_TIMEOUT(window.appState().jobs().first().lastRunAt.has_value(), 10'000);

    // Once the service stops, the window takes the schedules over at its next look.
    ::kill(static_cast<pid_t>(service.processId()), SIGTERM);
    QVERIFY(QTest::qWaitFor([&service] { return service.state() == QProcess::NotRunning; }, 30'000));
    QCOMPARE(service.exitCode(), 0);
    QVERIFY(window.takeOverSchedules());
    QVERIFY(window.scheduler().isStarted());
    QVERIFY(!window.appState().schedulesRunElsewhere());
}

QTEST_MAIN(TestLanternfoldApp)
#include "tst_lanternfoldapp.moc"
