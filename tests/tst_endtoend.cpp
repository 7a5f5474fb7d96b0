// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ClientFixture.h"

#include "Schedules/ScheduleStore.h"

#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>

#include <csignal>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

namespace {
constexpr QSize screenSize(1280, 800);
constexpr int trayIconSize = 28;
} // namespace

/// The real program, as a new user meets it: started on a virtual display with an empty home, a
/// private session bus and keyring, and the simulated controller. Everything is done from outside
/// the process, by finding controls by their names (AT-SPI) and clicking and typing (xdotool):
/// connect, trust the key, restart a device, create a schedule, quit, start again.
class TestEndToEnd final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void aNewUserConnectsRestartsSchedulesAndComesBack();
    void inGermanTheWindowSpeaksGerman();
    void onWaylandItConnectsRestartsAndQuits();
    void theDemoNeedsNoTyping();

private:
    /// Runs one step of tests/support/ui.py; its standard output, or nullopt when it failed.
    std::optional<QString> ui(const QStringList &arguments, int timeoutSeconds = 30);
    bool startLanternfold(const QProcessEnvironment &environment);
    bool startLanternfold() { return startLanternfold(m_environment); }
    /// Quits through the tray menu, as a person does; the program's exit status.
    int quitFromTheTray();
    bool startTray();
    void stopTray();
    /// Ends the program the way the session does at logout; its exit status.
    int stopLanternfold();
    QImage screenshot(const QString &name);
    /// The first access point of the demo site that the device list shows by name; empty if none.
    QString firstAccessPointShown();

    QString m_tmp;
    std::unique_ptr<QProcess> m_display;
    std::unique_ptr<QProcess> m_accessibility;
    std::unique_ptr<QProcess> m_tray;
    std::unique_ptr<QProcess> m_lanternfold;
    std::unique_ptr<Sim> m_sim;
    QProcessEnvironment m_environment;
};

void TestEndToEnd::initTestCase()
{
    m_tmp = qEnvironmentVariable("LANTERNFOLD_TEST_TMP");
    QVERIFY(!m_tmp.isEmpty());
    m_display = std::make_unique<QProcess>();
    m_display->start(u"Xvfb"_s,
                     {u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s,
                      QString::number(screenSize.width()) + u'x' + QString::number(screenSize.height()) + u"x24"_s,
                      u"-nolisten"_s, u"tcp"_s});
    QVERIFY(m_display->waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(m_display->canReadLine(), 20000);
    const QString display = u":"_s + QString::fromUtf8(m_display->readLine()).trimmed();

    m_environment = QProcessEnvironment::systemEnvironment();
    m_environment.insert(u"DISPLAY"_s, display);
    m_environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
    m_environment.insert(u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, u"1"_s);
    // libxkbcommon-x11 copies X atom names with strndup from buffers that are not NUL-terminated,
    // which strndup allows; AddressSanitizer's strict string checks call that an overflow. The
    // program's own code keeps every other check.
    if (m_environment.contains(u"ASAN_OPTIONS"_s)) {
        m_environment.insert(
            u"ASAN_OPTIONS"_s,
            m_environment.value(u"ASAN_OPTIONS"_s).replace(u"strict_string_checks=1"_s, u"strict_string_checks=0"_s));
    }
    m_accessibility = std::make_unique<QProcess>();
    m_accessibility->setProcessEnvironment(m_environment);
    m_accessibility->start(u"/usr/libexec/at-spi-bus-launcher"_s, {u"--launch-immediately"_s});
    QVERIFY(m_accessibility->waitForStarted());

    QVERIFY(startTray());

    m_sim = std::make_unique<Sim>();
    m_sim->setOfflineDuration(std::chrono::seconds(60));
    QString error;
    QVERIFY2(m_sim->start(&error), qPrintable(error));
}

void TestEndToEnd::cleanupTestCase()
{
    if (m_lanternfold && m_lanternfold->state() != QProcess::NotRunning)
        stopLanternfold();
    for (auto *process : {m_tray.get(), m_accessibility.get(), m_display.get()}) {
        if (process) {
            process->terminate();
            process->waitForFinished(5000);
        }
    }
}

std::optional<QString> TestEndToEnd::ui(const QStringList &arguments, int timeoutSeconds)
{
    QProcess step;
    step.setProcessEnvironment(m_environment);
    step.start(u"/usr/bin/python3"_s, QStringList{QStringLiteral(LANTERNFOLD_SOURCE_DIR "/tests/support/ui.py"),
                                                  u"--timeout"_s, QString::number(timeoutSeconds)} +
                                          arguments);
    // The controller runs in this process: keep its event loop turning while the step works.
    QSignalSpy finished(&step, &QProcess::finished);
    if (!finished.wait((timeoutSeconds + 30) * 1000)) {
        step.kill();
        step.waitForFinished();
    }
    if (step.exitStatus() != QProcess::NormalExit || step.exitCode() != 0) {
        qWarning("ui.py %s: %s", qPrintable(arguments.join(u' ')), step.readAllStandardError().constData());
        return std::nullopt;
    }
    return QString::fromUtf8(step.readAllStandardOutput()).trimmed();
}

bool TestEndToEnd::startLanternfold(const QProcessEnvironment &environment)
{
    m_lanternfold = std::make_unique<QProcess>();
    m_lanternfold->setProcessEnvironment(environment);
    m_lanternfold->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_lanternfold->start(QStringLiteral(LANTERNFOLD_EXECUTABLE), {});
    return m_lanternfold->waitForStarted();
}

int TestEndToEnd::stopLanternfold()
{
    ::kill(static_cast<pid_t>(m_lanternfold->processId()), SIGTERM);
    QSignalSpy finished(m_lanternfold.get(), &QProcess::finished);
    if (m_lanternfold->state() != QProcess::NotRunning && !finished.wait(20000)) {
        m_lanternfold->kill();
        m_lanternfold->waitForFinished();
        return -1;
    }
    return m_lanternfold->exitStatus() == QProcess::NormalExit ? m_lanternfold->exitCode() : -1;
}

int TestEndToEnd::quitFromTheTray()
{
    const int x = screenSize.width() - trayIconSize / 2;
    const int y = screenSize.height() - trayIconSize / 2;
    // The icon may not be in the tray yet (a tray that started after the program is looked for
    // again every few seconds): try again until the menu quits the program.
    QSignalSpy finished(m_lanternfold.get(), &QProcess::finished);
    for (int attempt = 0; attempt < 20 && m_lanternfold->state() != QProcess::NotRunning; ++attempt) {
        if (!ui({u"clickat"_s, QString::number(x), QString::number(y), u"3"_s})) // the icon's menu
            return -1;
        QTest::qWait(500); // the menu opens
        if (attempt == 0)
            screenshot(u"tray-menu"_s);
        if (!ui({u"key"_s, u"Up"_s, u"Return"_s})) // the last entry: "Quit Lanternfold"
            return -1;
        finished.wait(3000);
    }
    if (m_lanternfold->state() != QProcess::NotRunning)
        return -1;
    return m_lanternfold->exitStatus() == QProcess::NormalExit ? m_lanternfold->exitCode() : -1;
}

bool TestEndToEnd::startTray()
{
    // An XEmbed panel of one icon's size in the screen's lower right corner.
    m_tray = std::make_unique<QProcess>();
    m_tray->setProcessEnvironment(m_environment);
    m_tray->start(u"trayer"_s, {u"--edge"_s, u"bottom"_s, u"--align"_s, u"right"_s, u"--widthtype"_s, u"pixel"_s,
                                u"--width"_s, QString::number(trayIconSize), u"--heighttype"_s, u"pixel"_s,
                                u"--height"_s, QString::number(trayIconSize), u"--transparent"_s, u"false"_s});
    return m_tray->waitForStarted();
}

void TestEndToEnd::stopTray()
{
    m_tray->terminate();
    m_tray->waitForFinished(5000);
}

QImage TestEndToEnd::screenshot(const QString &name)
{
    const QString file = m_tmp + u"/"_s + name + u".png"_s;
    QProcess import;
    import.setProcessEnvironment(m_environment);
    import.start(u"import"_s, {u"-window"_s, u"root"_s, file});
    QSignalSpy finished(&import, &QProcess::finished);
    finished.wait(20000);
    const QString keep = qEnvironmentVariable("LANTERNFOLD_E2E_SHOTS");
    if (!keep.isEmpty())
        QFile::copy(file, keep + u"/"_s + name + u".png"_s);
    return QImage(file);
}

namespace {

/// How many pixels of the picture are neither the empty screen's black nor one flat colour.
QStringList demoAccessPointNames()
{
    QFile file(QStringLiteral(LANTERNFOLD_SOURCE_DIR "/tools/controller-sim/demo/devices.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList names;
    for (const auto &device : QJsonDocument::fromJson(file.readAll()).object().value(u"data"_s).toArray()) {
        if (device[u"type"_s].toString() == u"uap"_s && device[u"name"_s].isString())
            names.append(device[u"name"_s].toString());
    }
    return names;
}

int paintedPixels(const QImage &image)
{
    int painted = 0;
    for (int y = 0; y < image.height(); y += 4)
        for (int x = 0; x < image.width(); x += 4)
            painted += (image.pixel(x, y) & 0xffffff) != 0 ? 1 : 0;
    return painted;
}

} // namespace

QString TestEndToEnd::firstAccessPointShown()
{
    const QStringList shown = ui({u"names"_s, u"list item"_s}).value_or(QString()).split(u'\n');
    for (const QString &name : demoAccessPointNames()) {
        if (shown.contains(name))
            return name;
    }
    return {};
}

void TestEndToEnd::aNewUserConnectsRestartsSchedulesAndComesBack()
{
    QVERIFY(startLanternfold());
    const QString port = QString::number(m_sim->port());

    // The login form: host, port, user name, password, Return.
    QVERIFY(ui({u"focus"_s, u"text"_s, u"Controller IP or hostname"_s}));
    QVERIFY(ui({u"type"_s, u"127.0.0.1"_s}));
    QVERIFY(ui({u"focus"_s, u"text"_s, u"Port"_s}));
    QVERIFY(ui({u"type"_s, port}));
    QVERIFY(ui({u"focus"_s, u"text"_s, u"Username"_s}));
    QVERIFY(ui({u"type"_s, m_sim->username()}));
    QVERIFY(ui({u"focus"_s, u"password text"_s, u"Password"_s}));
    QVERIFY(ui({u"type"_s, m_sim->password()}));
    QVERIFY(paintedPixels(screenshot(u"login"_s)) > 1000);
    QVERIFY(ui({u"key"_s, u"Return"_s}));

    // The certificate question, with this controller's fingerprint grouped for reading.
    QVERIFY(ui({u"wait"_s, u"alert"_s, u"Verify Controller Certificate"_s}));
    screenshot(u"certificate"_s);
    QVERIFY(ClientFixture::requestsTo(*m_sim, u"/api/auth/login"_s).isEmpty()); // nothing sent before the answer
    QVERIFY(ui({u"click"_s, u"push button"_s, u"Trust & Continue"_s}));

    // The devices, then one restarted by hand.
    QVERIFY(ui({u"wait"_s, u"page tab"_s, u"Devices"_s}));
    QVERIFY(ui({u"gone"_s, u"label"_s, u"Access Points (0)"_s}));
    QCOMPARE(ClientFixture::requestsTo(*m_sim, u"/api/auth/login"_s).size(), 1);
    const QString firstDevice = firstAccessPointShown();
    QVERIFY(!firstDevice.isEmpty());
    QVERIFY(ui({u"click"_s, u"list item"_s, firstDevice}));
    QVERIFY(ui({u"wait"_s, u"label"_s, u"1 selected"_s}));
    QVERIFY(ui({u"click"_s, u"push button"_s, u"Restart Selected"_s}));
    QVERIFY(ui({u"wait"_s, u"label"_s, u"Restarted 1 device(s)."_s}));
    screenshot(u"devices"_s);
    QCOMPARE(ClientFixture::requestsTo(*m_sim, u"/proxy/network/api/s/default/cmd/devmgr"_s).size(), 1);

    // A daily schedule for that device.
    QVERIFY(ui({u"click"_s, u"page tab"_s, u"Schedules"_s}));
    QVERIFY(ui({u"click"_s, u"push button"_s, u"New Schedule"_s}));
    QVERIFY(ui({u"click"_s, u"check box"_s, firstDevice}));
    QVERIFY(ui({u"click"_s, u"*"_s, u"Daily"_s})); // a segment of the Frequency bar
    screenshot(u"editor"_s);
    QVERIFY(ui({u"click"_s, u"push button"_s, u"Create"_s}));
    QVERIFY(ui({u"gone"_s, u"push button"_s, u"Create"_s}));
    screenshot(u"schedules"_s);
    const QString dataFolder = m_tmp + u"/data"_s;
    QTRY_COMPARE_WITH_TIMEOUT(ScheduleStore(dataFolder).load().size(), 1, 10000);
    const QList<ScheduledJob> jobs = ScheduleStore(dataFolder).load();
    QCOMPARE(jobs.first().name, u"Restart Devices"_s);
    QCOMPARE(jobs.first().rule.kind(), RecurrenceRule::Kind::dailyAt);
    QCOMPARE(jobs.first().targets.size(), 1);
    QCOMPARE(jobs.first().targets.first().displayName, firstDevice);

    // Quit from the tray, and start again: the schedule and the controller are still there.
    QCOMPARE(quitFromTheTray(), 0);
    // At the next login the panel starts after the program: the icon must still arrive.
    stopTray();
    const QSettings preferences(m_tmp + u"/config/Lanternfold/Lanternfold.conf"_s, QSettings::NativeFormat);
    QVERIFY(preferences.value(u"com.lanternfold.controllerConfig"_s).toByteArray().contains("\"127.0.0.1\""));
    QVERIFY(startLanternfold());
    QCOMPARE(ui({u"value"_s, u"text"_s, u"Controller IP or hostname"_s}), std::optional<QString>(u"127.0.0.1"_s));
    QCOMPARE(ui({u"value"_s, u"text"_s, u"Port"_s}), std::optional<QString>(port));
    QVERIFY(startTray()); // now that the program runs without one
    screenshot(u"second-start"_s);

    // Launched once more while it runs: the running one takes the request, the new one ends.
    QProcess again;
    again.setProcessEnvironment(m_environment);
    again.start(QStringLiteral(LANTERNFOLD_EXECUTABLE), {});
    QSignalSpy againFinished(&again, &QProcess::finished);
    QVERIFY(againFinished.wait(20000));
    QCOMPARE(again.exitStatus(), QProcess::NormalExit);
    QCOMPARE(again.exitCode(), 0);
    QCOMPARE(m_lanternfold->state(), QProcess::Running);
    QVERIFY(ui({u"wait"_s, u"text"_s, u"Controller IP or hostname"_s}));
    QCOMPARE(ScheduleStore(dataFolder).load().size(), 1);
    QCOMPARE(quitFromTheTray(), 0); // from the tray that came late
}

void TestEndToEnd::inGermanTheWindowSpeaksGerman()
{
    // A German desktop: the login form and its controls read German to a screen reader too.
    QProcessEnvironment german = m_environment;
    german.remove(u"LC_ALL"_s);
    german.remove(u"LANGUAGE"_s);
    german.insert(u"LANG"_s, u"de_DE.UTF-8"_s);
    QVERIFY(startLanternfold(german));
    QVERIFY(ui({u"wait"_s, u"text"_s, u"Controller-IP oder Hostname"_s}));
    QVERIFY(ui({u"wait"_s, u"text"_s, u"Benutzername"_s}));
    QVERIFY(ui({u"wait"_s, u"password text"_s, u"Passwort"_s}));
    QVERIFY(ui({u"wait"_s, u"push button"_s, u"Verbinden"_s}));
    QVERIFY(!ui({u"names"_s, u"push button"_s}).value_or(QString()).split(u'\n').contains(u"Connect"_s));
    screenshot(u"login-de"_s);
    QCOMPARE(stopLanternfold(), 0);
}

void TestEndToEnd::onWaylandItConnectsRestartsAndQuits()
{
    // A headless weston: a Wayland session with no X server, no tray and no xdotool. Everything
    // goes through accessibility, as a screen reader would do it.
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    QVERIFY(!runtime.isEmpty());
    const QString socket = u"lanternfold-test-wayland"_s;
    QProcess weston;
    weston.setProcessChannelMode(QProcess::MergedChannels);
    weston.start(u"weston"_s,
                 {u"--backend=headless-backend.so"_s, u"--socket="_s + socket, u"--idle-time=0"_s, u"--no-config"_s});
    QVERIFY(weston.waitForStarted());
    const auto stopWeston = qScopeGuard([&weston] {
        weston.terminate();
        weston.waitForFinished(5000);
    });
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(runtime + u"/"_s + socket), 20000);

    // A home of its own: no key pinned, nothing saved, so the whole first connection happens here.
    QProcessEnvironment wayland = m_environment;
    wayland.remove(u"DISPLAY"_s);
    wayland.insert(u"WAYLAND_DISPLAY"_s, socket);
    wayland.insert(u"QT_QPA_PLATFORM"_s, u"wayland"_s);
    wayland.insert(u"XDG_SESSION_TYPE"_s, u"wayland"_s);
    wayland.insert(u"XDG_CONFIG_HOME"_s, m_tmp + u"/wayland-config"_s);
    wayland.insert(u"XDG_DATA_HOME"_s, m_tmp + u"/wayland-data"_s);
    QVERIFY(startLanternfold(wayland));
    QVERIFY(ui({u"settext"_s, u"text"_s, u"Controller IP or hostname"_s, u"127.0.0.1"_s}));
    QVERIFY(ui({u"settext"_s, u"text"_s, u"Port"_s, QString::number(m_sim->port())}));
    QVERIFY(ui({u"settext"_s, u"text"_s, u"Username"_s, m_sim->username()}));
    QVERIFY(ui({u"settext"_s, u"password text"_s, u"Password"_s, m_sim->password()}));
    QVERIFY(ui({u"act"_s, u"push button"_s, u"Connect"_s, u"Press"_s}));
    QVERIFY(ui({u"wait"_s, u"alert"_s, u"Verify Controller Certificate"_s}));
    QVERIFY(ui({u"act"_s, u"push button"_s, u"Trust & Continue"_s, u"Press"_s}));

    QVERIFY(ui({u"wait"_s, u"page tab"_s, u"Devices"_s}));
    QVERIFY(ui({u"gone"_s, u"label"_s, u"Access Points (0)"_s}));
    const QString restarts = u"/proxy/network/api/s/default/cmd/devmgr"_s;
    const qsizetype before = ClientFixture::requestsTo(*m_sim, restarts).size();
    const QString device = firstAccessPointShown();
    QVERIFY(!device.isEmpty());
    QVERIFY(ui({u"act"_s, u"list item"_s, device, u"Toggle"_s}));
    QVERIFY(ui({u"wait"_s, u"label"_s, u"1 selected"_s}));
    QVERIFY(ui({u"act"_s, u"push button"_s, u"Restart Selected"_s, u"Press"_s}));
    QVERIFY(ui({u"wait"_s, u"label"_s, u"Restarted 1 device(s)."_s}));
    QCOMPARE(ClientFixture::requestsTo(*m_sim, restarts).size(), before + 1);

    // Launched again, as a launcher does, with an activation token (weston offers none of its
    // own): the running window takes the request and the new process ends.
    QProcessEnvironment launcher = wayland;
    launcher.insert(u"XDG_ACTIVATION_TOKEN"_s, u"lanternfold-test-token"_s);
    QProcess again;
    again.setProcessEnvironment(launcher);
    again.start(QStringLiteral(LANTERNFOLD_EXECUTABLE), {});
    QSignalSpy againFinished(&again, &QProcess::finished);
    QVERIFY(againFinished.wait(20000));
    QCOMPARE(again.exitCode(), 0);
    QCOMPARE(m_lanternfold->state(), QProcess::Running);

    // No tray on this desktop: Settings holds the way out.
    QVERIFY(ui({u"act"_s, u"page tab"_s, u"Settings"_s, u"Press"_s}));
    QVERIFY(ui({u"act"_s, u"push button"_s, u"Quit Lanternfold"_s, u"Press"_s}));
    QSignalSpy finished(m_lanternfold.get(), &QProcess::finished);
    QVERIFY(m_lanternfold->state() == QProcess::NotRunning || finished.wait(20000));
    QCOMPARE(m_lanternfold->exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_lanternfold->exitCode(), 0);
}

void TestEndToEnd::theDemoNeedsNoTyping()
{
    // scripts/run.sh without its install and build: the demo controller and Lanternfold on a demo
    // profile, on this test's own bus and keyring.
    QProcessEnvironment environment = m_environment;
    environment.insert(u"LANTERNFOLD_DEMO_BUS"_s, u"current"_s);
    environment.insert(u"LANTERNFOLD_DEMO_PORT"_s, u"0"_s);
    QProcess demo;
    demo.setProcessEnvironment(environment);
    demo.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    demo.start(u"bash"_s,
               {QStringLiteral(LANTERNFOLD_SOURCE_DIR "/scripts/demo.sh"), QStringLiteral(LANTERNFOLD_BUILD_DIR)});
    QVERIFY(demo.waitForStarted());
    QString printed;
    const auto printedAll = [&demo, &printed] {
        printed += QString::fromUtf8(demo.readAllStandardOutput());
        return printed.contains(u"goes when it ends"_s);
    };
    QTRY_VERIFY_WITH_TIMEOUT(printedAll(), 30000);
    static const QRegularExpression profileLine(u"Everything the demo saves is in (\\S+) and"_s);
    const QString profile = profileLine.match(printed).captured(1);
    QVERIFY2(!profile.isEmpty(), qPrintable(printed));
    QVERIFY(printed.contains(u"press Connect"_s));

    // Filled in: the address and user from the saved profile, the password from its keyring. The
    // one press is enough; the key is asked about before anything is sent.
    QCOMPARE(ui({u"value"_s, u"text"_s, u"Controller IP or hostname"_s}), std::optional<QString>(u"127.0.0.1"_s));
    QCOMPARE(ui({u"value"_s, u"text"_s, u"Username"_s}), std::optional<QString>(u"demo"_s));
    // A password field keeps its text from accessibility; Connect is offered only once the
    // keyring's answer has filled it (pressed before, it does nothing), and then the question comes.
    bool asked = false;
    for (int attempt = 0; attempt < 10 && !asked; ++attempt) {
        QVERIFY(ui({u"act"_s, u"push button"_s, u"Connect"_s, u"Press"_s}));
        asked = ui({u"wait"_s, u"alert"_s, u"Verify Controller Certificate"_s}, 3).has_value();
    }
    QVERIFY(asked);
    QVERIFY(ui({u"act"_s, u"push button"_s, u"Trust & Continue"_s, u"Press"_s}));
    QVERIFY(ui({u"wait"_s, u"page tab"_s, u"Devices"_s}));
    QVERIFY(ui({u"gone"_s, u"label"_s, u"Access Points (0)"_s}));
    screenshot(u"demo"_s);

    // Ended like Ctrl-C in its terminal: the program, the controller and the profile go.
    demo.terminate();
    QVERIFY(demo.waitForFinished(20000));
    QVERIFY2(!QFileInfo::exists(profile), qPrintable(profile));
    QVERIFY(!ui({u"wait"_s, u"text"_s, u"Controller IP or hostname"_s}, 2));
}

QTEST_GUILESS_MAIN(TestEndToEnd)
#include "tst_endtoend.moc"
