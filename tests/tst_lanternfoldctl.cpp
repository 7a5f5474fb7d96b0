// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// lanternfoldctl as a person or a script runs it: a separate process over its own HOME, against the
// simulated controller of this test, with no keyring on any bus. Its exit codes, its JSON, where it
// takes the password from, the key question on a pseudo-terminal, and the service with its lock
// and its end on SIGTERM.
#include "ClientFixture.h"

#include "Models/ScheduledJob.h"
#include "Platform/FileLock.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimeZone>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

namespace {

struct Ran
{
    int code = -1;
    QString out;
    QString err;
};

} // namespace

class TestLanternfoldCtl final : public QObject, public ClientFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void helpAndUsage();
    void trustWithoutATerminal();
    void trustOnAPseudoTerminal_data();
    void trustOnAPseudoTerminal();
    void connectReadsThePasswordOnATerminalWithoutEcho();
    void connectReadsThePasswordFromStandardInput();
    void passwordSources();
    void devicesAsTextAndJson();
    void jobsAsJson();
    void restartByNameMacAndId();
    void restartThatFailsSaysSo();
    void runAJobNow();
    void serviceRunsADueJobAndStopsOnSigterm();
    void secondServiceLeavesTheSchedulesToTheFirst();
    void sigtermDuringARunKeepsItsProgress();
    void statusSaysWhoRunsTheSchedules();

private:
    struct Terminal
    {
        int code = -1;
        QByteArray screen;
    };
    /// Runs lanternfoldctl on a pseudo-terminal of its own (its controlling terminal), types
    /// answer once prompt is on the screen, and reads the screen to the end.
    Terminal onTerminal(const QStringList &arguments, const QByteArray &prompt, const QByteArray &answer) const;
    [[nodiscard]] QProcessEnvironment environment() const;
    /// Runs lanternfoldctl with arguments to its end, the simulator answering meanwhile.
    Ran ctl(const QStringList &arguments, const QByteArray &input = {},
            const QProcessEnvironment &extra = QProcessEnvironment()) const;
    /// Starts lanternfoldctl and leaves it running.
    std::unique_ptr<QProcess> start(const QStringList &arguments) const;
    /// The simulator's key trusted and the configuration saved, as connect leaves them.
    void connectTo(const Sim &sim);
    [[nodiscard]] QString passwordFile(const QString &password, QFile::Permissions permissions) const;
    [[nodiscard]] QString jobsFile() const { return m_home->filePath(u"data/Lanternfold/schedules.json"_s); }
    void writeJobs(const QList<ScheduledJob> &jobs) const;
    [[nodiscard]] QJsonArray savedJobs() const;
    [[nodiscard]] static QStringList restartedMacs(const Sim &sim);
    /// Reads process's standard output into output until it holds marker, the simulator answering
    /// meanwhile; false when the process ended or a minute passed first.
    static bool readUntil(QProcess &process, QByteArray &output, const QByteArray &marker);
    /// SIGTERM, as the service manager stops a unit; true once the process has ended.
    static bool terminate(QProcess &process);
    static QString portOf(const Sim &sim) { return QString::number(sim.port()); }

    std::unique_ptr<QTemporaryDir> m_home;
    QString m_passwordFile;
};

void TestLanternfoldCtl::init()
{
    ClientFixture::init();
    m_home = std::make_unique<QTemporaryDir>();
    for (const QString &folder : {u"home"_s, u"config"_s, u"data"_s, u"runtime"_s})
        QDir().mkpath(m_home->filePath(folder));
    m_passwordFile.clear();
}

void TestLanternfoldCtl::cleanup()
{
    m_home.reset();
    ClientFixture::cleanup();
}

QProcessEnvironment TestLanternfoldCtl::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, m_home->filePath(u"home"_s));
    environment.insert(u"XDG_CONFIG_HOME"_s, m_home->filePath(u"config"_s));
    environment.insert(u"XDG_DATA_HOME"_s, m_home->filePath(u"data"_s));
    environment.insert(u"XDG_RUNTIME_DIR"_s, m_home->filePath(u"runtime"_s));
    // No keyring answers: the password comes from the other sources, or from nowhere.
    environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
    environment.remove(u"CREDENTIALS_DIRECTORY"_s);
    return environment;
}

std::unique_ptr<QProcess> TestLanternfoldCtl::start(const QStringList &arguments) const
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(environment());
    process->start(QStringLiteral(LANTERNFOLD_CTL_EXECUTABLE), arguments);
    if (!process->waitForStarted(30'000))
        qFatal("lanternfoldctl did not start");
    return process;
}

Ran TestLanternfoldCtl::ctl(const QStringList &arguments, const QByteArray &input,
                            const QProcessEnvironment &extra) const
{
    QProcess process;
    QProcessEnvironment environment = this->environment();
    for (const QString &key : extra.keys())
        environment.insert(key, extra.value(key));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(LANTERNFOLD_CTL_EXECUTABLE), arguments);
    if (!process.waitForStarted(30'000))
        return {};
    process.write(input);
    process.closeWriteChannel();
    // Not waitForFinished: the simulator of this process must go on answering.
    if (!QTest::qWaitFor([&process] { return process.state() == QProcess::NotRunning; }, 120'000))
        process.kill();
    return Ran{process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
               QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError())};
}

TestLanternfoldCtl::Terminal TestLanternfoldCtl::onTerminal(const QStringList &arguments, const QByteArray &prompt,
                                                            const QByteArray &answer) const
{
    Terminal result;
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0)
        return result;
    const QByteArray slavePath = ::ptsname(master);
    QProcess process;
    process.setProcessEnvironment(environment());
    // The child's standard streams are the terminal's, and the terminal is its controlling one.
    process.setChildProcessModifier([slavePath] {
        ::setsid();
        const int slave = ::open(slavePath.constData(), O_RDWR);
        ::ioctl(slave, TIOCSCTTY, 0);
        ::dup2(slave, 0);
        ::dup2(slave, 1);
        ::dup2(slave, 2);
    });
    process.start(QStringLiteral(LANTERNFOLD_CTL_EXECUTABLE), arguments);
    if (!process.waitForStarted(30'000)) {
        ::close(master);
        return result;
    }
    ::fcntl(master, F_SETFL, ::fcntl(master, F_GETFL) | O_NONBLOCK);
    const auto readScreen = [&] {
        char buffer[4096];
        ssize_t size = 0;
        while ((size = ::read(master, buffer, sizeof buffer)) > 0)
            result.screen.append(buffer, size);
    };
    const bool asked = QTest::qWaitFor(
        [&] {
            readScreen();
            return result.screen.contains(prompt) || process.state() == QProcess::NotRunning;
        },
        30'000);
    if (asked && process.state() != QProcess::NotRunning)
        (void)::write(master, answer.constData(), static_cast<size_t>(answer.size()));
    (void)QTest::qWaitFor(
        [&] {
            readScreen();
            return process.state() == QProcess::NotRunning;
        },
        30'000);
    readScreen();
    ::close(master);
    result.code = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return result;
}

bool TestLanternfoldCtl::readUntil(QProcess &process, QByteArray &output, const QByteArray &marker)
{
    return QTest::qWaitFor(
               [&] {
                   output += process.readAllStandardOutput();
                   return output.contains(marker) || process.state() == QProcess::NotRunning;
               },
               60'000) &&
           output.contains(marker);
}

bool TestLanternfoldCtl::terminate(QProcess &process)
{
    ::kill(static_cast<pid_t>(process.processId()), SIGTERM);
    return QTest::qWaitFor([&process] { return process.state() == QProcess::NotRunning; }, 30'000);
}

void TestLanternfoldCtl::connectTo(const Sim &sim)
{
    const Ran trusted =
        ctl({u"trust"_s, u"--host"_s, u"127.0.0.1"_s, u"--port"_s, portOf(sim), u"--fingerprint"_s, sim.fingerprint()});
    QCOMPARE(trusted.code, 0);
    const Ran connected = ctl({u"connect"_s, u"--host"_s, u"127.0.0.1"_s, u"--port"_s, portOf(sim), u"--user"_s,
                               sim.username(), u"--password-stdin"_s},
                              sim.password().toUtf8() + '\n');
    QVERIFY2(connected.code == 0, qPrintable(connected.err));
    m_passwordFile = passwordFile(sim.password(), QFile::ReadOwner | QFile::WriteOwner);
}

QString TestLanternfoldCtl::passwordFile(const QString &password, QFile::Permissions permissions) const
{
    const QString path = m_home->filePath(u"password-%1"_s.arg(int(permissions)));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("cannot write the password file");
    file.write(password.toUtf8() + '\n');
    file.close();
    file.setPermissions(permissions);
    return path;
}

void TestLanternfoldCtl::writeJobs(const QList<ScheduledJob> &jobs) const
{
    QJsonArray array;
    for (const ScheduledJob &job : jobs)
        array.append(job.toJson().value());
    QDir().mkpath(QFileInfo(jobsFile()).path());
    QFile file(jobsFile());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("cannot write the jobs file");
    file.write(QJsonDocument(array).toJson());
}

QJsonArray TestLanternfoldCtl::savedJobs() const
{
    QFile file(jobsFile());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).array();
}

QStringList TestLanternfoldCtl::restartedMacs(const Sim &sim)
{
    QStringList macs;
    for (const QJsonObject &request : requests(sim)) {
        if (!request.value(u"path"_s).toString().endsWith(u"/cmd/devmgr"_s) ||
            request.value(u"status"_s).toInt() != 200)
            continue;
        macs.append(
            QJsonDocument::fromJson(request.value(u"body"_s).toString().toUtf8()).object().value(u"mac"_s).toString());
    }
    return macs;
}

namespace {

ScheduledJob dueJob(const QString &name, QList<RestartTarget> targets, qint64 stagger)
{
    ScheduledJob job;
    job.id = QUuid::createUuid();
    job.name = name;
    job.targets = std::move(targets);
    job.rule = RecurrenceRule::everyInterval(24);
    job.staggerSeconds = stagger;
    job.nextRunAt = QDateTime::currentDateTimeUtc().addSecs(-60);
    return job;
}

const RestartTarget lobby{RestartTargetKind::accessPoint, u"78:45:58:a1:10:20"_s, u"Lobby"_s};
const RestartTarget officeEast{RestartTargetKind::accessPoint, u"78:45:58:a1:11:23"_s, u"Office East"_s};

} // namespace

void TestLanternfoldCtl::helpAndUsage()
{
    const Ran help = ctl({u"--help"_s});
    QCOMPARE(help.code, 0);
    for (const QString &command : {u"service"_s, u"connect"_s, u"trust"_s, u"devices"_s, u"jobs"_s, u"status"_s,
                                   u"restart TARGET"_s, u"run JOB"_s})
        QVERIFY2(help.out.contains(u"  "_s + command), qPrintable(command));
    for (const QString &code :
         {u"0  success"_s, u"2  usage"_s, u"3  not connected"_s, u"4  the controller's key"_s, u"5  another process"_s})
        QVERIFY2(help.out.contains(code), qPrintable(code));
    for (const QString &command :
         {u"service"_s, u"connect"_s, u"trust"_s, u"devices"_s, u"jobs"_s, u"status"_s, u"restart"_s, u"run"_s}) {
        const Ran described = ctl({command, u"--help"_s});
        QCOMPARE(described.code, 0);
        QVERIFY(described.out.startsWith(u"Usage: lanternfoldctl "_s + command));
        QVERIFY(described.out.contains(u"Exit status:"_s));
    }
    QCOMPARE(ctl({}).code, 2);
    QCOMPARE(ctl({u"reboot-everything"_s}).code, 2);
    QCOMPARE(ctl({u"restart"_s}).code, 2);
    QCOMPARE(ctl({u"run"_s}).code, 2);
    QCOMPARE(ctl({u"devices"_s, u"--no-such-option"_s}).code, 2);
    QCOMPARE(ctl({u"restart"_s, u"Lobby"_s, u"--wait-minutes"_s, u"5"_s}).code, 2);
    QCOMPARE(ctl({u"connect"_s, u"--host"_s, u"h"_s}).code, 2);
    // No controller configured: nothing to connect to.
    const Ran devices = ctl({u"devices"_s});
    QCOMPARE(devices.code, 3);
    QVERIFY(devices.err.contains(u"lanternfoldctl connect"_s));
    // The password never comes from the command line.
    QCOMPARE(ctl({u"connect"_s, u"--host"_s, u"h"_s, u"--user"_s, u"u"_s, u"--password"_s, u"x"_s}).code, 2);
}

void TestLanternfoldCtl::trustWithoutATerminal()
{
    Sim &sim = startSim();
    const QStringList where{u"trust"_s, u"--host"_s, u"127.0.0.1"_s, u"--port"_s, portOf(sim)};
    const Ran unasked = ctl(where);
    QCOMPARE(unasked.code, 4);
    QVERIFY(unasked.err.contains(u"--fingerprint"_s));
    const Ran wrong = ctl(where + QStringList{u"--fingerprint"_s, u"00"_s.repeated(32)});
    QCOMPARE(wrong.code, 4);
    QVERIFY(wrong.err.contains(u"Presented: "_s + sim.fingerprint()));
    // Grouped, upper case, with colons: the same key.
    QString grouped = sim.fingerprint().toUpper();
    for (qsizetype at = grouped.size() - 2; at > 0; at -= 2)
        grouped.insert(at, u':');
    const Ran trusted = ctl(where + QStringList{u"--fingerprint"_s, grouped});
    QVERIFY2(trusted.code == 0, qPrintable(trusted.err));
    QVERIFY(trusted.out.contains(sim.fingerprint().left(4) + u' ' + sim.fingerprint().mid(4, 4)));
    QVERIFY(QFile::exists(m_home->filePath(u"config/Lanternfold/Lanternfold.conf"_s)));
    // Once trusted, asking again says so; a controller that now presents another key is refused.
    QCOMPARE(ctl(where).code, 0);
    sim.setKeyFlip(true);
    (void)sim.closeConnections();
    QCOMPARE(ctl(where).code, 0); // the first handshake after the switch still presents the old key
    const Ran changed = ctl(where);
    QCOMPARE(changed.code, 4);
    QVERIFY2(changed.err.contains(u"The controller's certificate changed unexpectedly."_s), qPrintable(changed.err));
    QVERIFY(changed.err.contains(u"Presented: "_s + sim.flipFingerprint()));
    // After a reset, the old key is forgotten on purpose.
    const Ran replaced = ctl(where + QStringList{u"--forget"_s, u"--fingerprint"_s, sim.flipFingerprint()});
    QVERIFY2(replaced.code == 0, qPrintable(replaced.err));
}

void TestLanternfoldCtl::trustOnAPseudoTerminal_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("code");
    QTest::newRow("yes") << QByteArray("y\n") << 0;
    QTest::newRow("no") << QByteArray("n\n") << 4;
    QTest::newRow("just return") << QByteArray("\n") << 4;
}

void TestLanternfoldCtl::trustOnAPseudoTerminal()
{
    QFETCH(QByteArray, answer);
    QFETCH(int, code);
    Sim &sim = startSim();
    const Terminal ran = onTerminal({u"trust"_s, u"--host"_s, u"127.0.0.1"_s, u"--port"_s, portOf(sim)},
                                    "Trust this key? [y/N] ", answer);
    QCOMPARE(ran.code, code);
    // The fingerprint in the grouped form of the certificate question, before the question.
    const QByteArray grouped = (sim.fingerprint().left(4) + u' ' + sim.fingerprint().mid(4, 4)).toLatin1();
    QVERIFY2(ran.screen.indexOf(grouped) >= 0 && ran.screen.indexOf(grouped) < ran.screen.indexOf("Trust this key?"),
             ran.screen.constData());
    // Trusted or not, as answered: asked again without a terminal, a trusted key needs no question.
    QCOMPARE(ctl({u"trust"_s, u"--host"_s, u"127.0.0.1"_s, u"--port"_s, portOf(sim)}).code, code);
}

void TestLanternfoldCtl::connectReadsThePasswordOnATerminalWithoutEcho()
{
    Sim &sim = startSim();
    QCOMPARE(
        ctl({u"trust"_s, u"--host"_s, u"127.0.0.1"_s, u"--port"_s, portOf(sim), u"--fingerprint"_s, sim.fingerprint()})
            .code,
        0);
    const Terminal ran =
        onTerminal({u"connect"_s, u"--host"_s, u"127.0.0.1"_s, u"--port"_s, portOf(sim), u"--user"_s, sim.username()},
                   "Password for demo: ", sim.password().toUtf8() + '\n');
    QCOMPARE(ran.code, 0);
    QVERIFY2(ran.screen.contains("Connected to 127.0.0.1 as demo"), ran.screen.constData());
    // Typed after the prompt, never shown.
    QVERIFY2(!ran.screen.contains(sim.password().toUtf8()), ran.screen.constData());
}

void TestLanternfoldCtl::connectReadsThePasswordFromStandardInput()
{
    Sim &sim = startSim();
    const QStringList connect{u"connect"_s, u"--host"_s, u"127.0.0.1"_s, u"--port"_s,
                              portOf(sim),  u"--user"_s, sim.username(), u"--password-stdin"_s};
    // A key nobody trusted yet: standard input carries the password, so nobody is asked.
    const Ran untrusted = ctl(connect, sim.password().toUtf8() + '\n');
    QCOMPARE(untrusted.code, 4);
    QVERIFY(untrusted.err.contains(u"lanternfoldctl trust"_s));
    QVERIFY(requestsTo(sim, u"/api/auth/login"_s).isEmpty());
    QCOMPARE(
        ctl({u"trust"_s, u"--host"_s, u"127.0.0.1"_s, u"--port"_s, portOf(sim), u"--fingerprint"_s, sim.fingerprint()})
            .code,
        0);
    const Ran refused = ctl(connect, "wrong\n");
    QCOMPARE(refused.code, 3);
    QVERIFY(refused.err.contains(u"Invalid username or password."_s));
    const Ran connected = ctl(connect, sim.password().toUtf8() + '\n');
    QVERIFY2(connected.code == 0, qPrintable(connected.err));
    QVERIFY(connected.out.contains(u"Connected to 127.0.0.1 as demo; site Default."_s));
    // No keyring here: the password is not kept anywhere, and the person is told where to put it.
    QVERIFY(connected.out.contains(u"--password-file"_s));
    const QSettings settings(m_home->filePath(u"config/Lanternfold/Lanternfold.conf"_s), QSettings::NativeFormat);
    const QByteArray config = settings.value(u"com.lanternfold.controllerConfig"_s).toByteArray();
    QVERIFY2(config.contains("\"username\":\"demo\""), config.constData());
    QVERIFY(!config.contains(sim.password().toUtf8()));
    // It logged out again.
    QCOMPARE(sim.liveSessionCount(), 0);
    // Without a terminal and without --password-stdin there is no way to give it.
    QCOMPARE(ctl(connect.mid(0, connect.size() - 1)).code, 2);
}

void TestLanternfoldCtl::passwordSources()
{
    Sim &sim = startSim();
    connectTo(sim);
    // None: no keyring, no credential, no file.
    const Ran none = ctl({u"devices"_s});
    QCOMPARE(none.code, 3);
    QVERIFY(none.err.contains(u"No password for 127.0.0.1:demo"_s));
    // A systemd credential.
    QTemporaryDir credentials;
    QFile credential(credentials.filePath(u"password"_s));
    QVERIFY(credential.open(QIODevice::WriteOnly));
    credential.write(sim.password().toUtf8());
    credential.close();
    QProcessEnvironment withCredential;
    withCredential.insert(u"CREDENTIALS_DIRECTORY"_s, credentials.path());
    QCOMPARE(ctl({u"devices"_s}, {}, withCredential).code, 0);
    // A file of the user's alone.
    QCOMPARE(ctl({u"devices"_s, u"--password-file"_s, m_passwordFile}).code, 0);
    // One that others may read is refused before anything is sent.
    const qsizetype before = requests(sim).size();
    const QString open = passwordFile(sim.password(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
    const Ran refused = ctl({u"devices"_s, u"--password-file"_s, open});
    QCOMPARE(refused.code, 2);
    QVERIFY2(refused.err.contains(u"can be read or changed by other users (mode 0604)"_s), qPrintable(refused.err));
    QCOMPARE(requests(sim).size(), before);
    const Ran missing = ctl({u"devices"_s, u"--password-file"_s, m_home->filePath(u"nothing"_s)});
    QCOMPARE(missing.code, 2);
    QVERIFY(missing.err.contains(u"cannot be read"_s));
    // A wrong password in the file: the controller refuses the login.
    const QString wrong = passwordFile(u"not-it"_s, QFile::ReadOwner);
    QCOMPARE(ctl({u"devices"_s, u"--password-file"_s, wrong}).code, 3);
}

void TestLanternfoldCtl::devicesAsTextAndJson()
{
    Sim &sim = startSim();
    connectTo(sim);
    const Ran text = ctl({u"devices"_s, u"--password-file"_s, m_passwordFile});
    QCOMPARE(text.code, 0);
    QVERIFY(text.out.startsWith(u"Access points of site Default:\n  Lobby  78:45:58:a1:10:20"_s));
    const Ran json = ctl({u"devices"_s, u"--json"_s, u"--password-file"_s, m_passwordFile});
    QCOMPARE(json.code, 0);
    QJsonParseError error;
    const QJsonObject document = QJsonDocument::fromJson(json.out.toUtf8(), &error).object();
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(document.value(u"site"_s).toObject().value(u"name"_s).toString(), u"default"_s);
    const QJsonArray accessPoints = document.value(u"accessPoints"_s).toArray();
    QVERIFY(accessPoints.size() > 3);
    const QJsonObject first = accessPoints.first().toObject();
    QCOMPARE(first.keys(), (QStringList{u"ip"_s, u"mac"_s, u"model"_s, u"name"_s, u"online"_s, u"state"_s}));
    QCOMPARE(first.value(u"name"_s).toString(), u"Lobby"_s);
    QCOMPARE(first.value(u"online"_s).toBool(), true);
    const QJsonArray cameras = document.value(u"cameras"_s).toArray();
    QVERIFY(!cameras.isEmpty());
    QCOMPARE(cameras.first().toObject().keys(), (QStringList{u"id"_s, u"name"_s, u"online"_s, u"state"_s, u"type"_s}));
}

void TestLanternfoldCtl::jobsAsJson()
{
    ScheduledJob job = dueJob(u"Nightly"_s, {lobby, officeEast}, 20);
    job.waitForOnline = ScheduledJob::WaitForOnline{};
    writeJobs({job});
    const Ran ran = ctl({u"jobs"_s, u"--json"_s});
    QCOMPARE(ran.code, 0);
    const QJsonArray jobs = QJsonDocument::fromJson(ran.out.toUtf8()).object().value(u"jobs"_s).toArray();
    QCOMPARE(jobs.size(), 1);
    const QJsonObject read = jobs.first().toObject();
    QCOMPARE(read.keys(),
             (QStringList{u"enabled"_s, u"id"_s, u"lastRunAt"_s, u"name"_s, u"nextRunAt"_s, u"rule"_s, u"site"_s,
                          u"staggerSeconds"_s, u"summary"_s, u"targets"_s, u"waitForOnline"_s}));
    QCOMPARE(read.value(u"id"_s).toString(), uuidText(job.id));
    QCOMPARE(read.value(u"summary"_s).toString(), u"Every 24 hours"_s);
    QCOMPARE(read.value(u"site"_s).toString(), u"default"_s);
    QCOMPARE(read.value(u"lastRunAt"_s), QJsonValue(QJsonValue::Null));
    QCOMPARE(read.value(u"waitForOnline"_s).toObject().value(u"whenNotBack"_s).toString(), u"stop"_s);
    QCOMPARE(read.value(u"targets"_s).toArray().size(), 2);
    const Ran text = ctl({u"jobs"_s});
    QVERIFY(text.out.startsWith(u"Nightly \u2014 Every 24 hours \u2014 2 device(s)"_s));
}

void TestLanternfoldCtl::restartByNameMacAndId()
{
    Sim &sim = startSim();
    connectTo(sim);
    const QString camera = sim.simulatedSite().cameraIds().first();
    const Ran ran =
        ctl({u"restart"_s, u"lobby"_s, u"78:45:58:A1:11:23"_s, camera, u"--password-file"_s, m_passwordFile});
    QVERIFY2(ran.code == 0, qPrintable(ran.err));
    QCOMPARE(restartedMacs(sim), (QStringList{lobby.identifier, officeEast.identifier}));
    QCOMPARE(requestsTo(sim, u"/proxy/protect/api/cameras/"_s + camera + u"/reboot"_s).size(), 1);
    QVERIFY(ran.out.contains(u"Restarted Lobby\n"_s));
    QVERIFY(ran.out.contains(u"Restarted 3 device(s) successfully."_s));

    // A name two devices share: nothing is restarted, and both are named.
    QString devices = QString::fromUtf8(sim.simulatedSite().devicesBody(sim.now()));
    devices.replace(u"\"Kitchen\""_s, u"\"Lobby\""_s);
    QVERIFY(sim.setDevicesJson(devices.toUtf8()));
    const Ran ambiguous = ctl({u"restart"_s, u"Lobby"_s, u"--password-file"_s, m_passwordFile});
    QCOMPARE(ambiguous.code, 2);
    QVERIFY2(ambiguous.err.contains(u"'Lobby' names 2 devices: Lobby (78:45:58:a1:10:20), Lobby (78:45:58:a1:12:26)"_s),
             qPrintable(ambiguous.err));
    const Ran unknown = ctl({u"restart"_s, u"Attic"_s, u"--password-file"_s, m_passwordFile});
    QCOMPARE(unknown.code, 2);
    QVERIFY(unknown.err.contains(u"No access point or camera is called 'Attic'."_s));
    QCOMPARE(restartedMacs(sim).size(), 2);
}

void TestLanternfoldCtl::restartThatFailsSaysSo()
{
    Sim &sim = startSim();
    connectTo(sim);
    sim.setFault({Sim::FaultKind::ServerError, u"/proxy/network/api/s/default/cmd"_s, {}});
    const Ran ran = ctl({u"restart"_s, u"Lobby"_s, u"--password-file"_s, m_passwordFile});
    QCOMPARE(ran.code, 1);
    QVERIFY(ran.out.contains(u"0 succeeded, 1 failed: Lobby"_s));
    QCOMPARE(restartedMacs(sim), QStringList());
}

void TestLanternfoldCtl::runAJobNow()
{
    Sim &sim = startSim();
    connectTo(sim);
    ScheduledJob job = dueJob(u"Nightly"_s, {officeEast, lobby}, 0);
    job.nextRunAt = QDateTime::currentDateTimeUtc().addDays(1);
    writeJobs({job});
    const QByteArray before = [this] {
        QFile file(jobsFile());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }();
    const Ran ran = ctl({u"run"_s, u"nightly"_s, u"--password-file"_s, m_passwordFile});
    QVERIFY2(ran.code == 0, qPrintable(ran.err));
    QVERIFY(ran.out.startsWith(u"Running 'Nightly' now (2 device(s))."_s));
    QCOMPARE(restartedMacs(sim), (QStringList{officeEast.identifier, lobby.identifier}));
    // By id too; a run by hand leaves the job's schedule as it was.
    QCOMPARE(ctl({u"run"_s, uuidText(job.id), u"--password-file"_s, m_passwordFile}).code, 0);
    QFile file(jobsFile());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), before);
    QCOMPARE(ctl({u"run"_s, u"Weekly"_s, u"--password-file"_s, m_passwordFile}).code, 2);
}

void TestLanternfoldCtl::serviceRunsADueJobAndStopsOnSigterm()
{
    Sim &sim = startSim();
    connectTo(sim);
    writeJobs({dueJob(u"Nightly"_s, {lobby, officeEast}, 0)});
    const auto service = start({u"service"_s, u"--password-file"_s, m_passwordFile});
    QByteArray output;
    QVERIFY(readUntil(*service, output, "<6>Restarted Office East\n"));
    QVERIFY2(output.startsWith("<6>Running the schedules of "), output.constData());
    QVERIFY(output.contains("<6>Running scheduled job 'Nightly' (2 device(s))\n"));
    QCOMPARE(restartedMacs(sim), (QStringList{lobby.identifier, officeEast.identifier}));
    QVERIFY(terminate(*service));
    QCOMPARE(service->exitStatus(), QProcess::NormalExit);
    QCOMPARE(service->exitCode(), 0);
    output += service->readAllStandardOutput();
    QVERIFY(output.endsWith("<6>Stopping.\n"));
    // The run was recorded: it does not run again.
    const QJsonObject job = savedJobs().first().toObject();
    QVERIFY(job.contains(u"lastRunAt"_s));
    QVERIFY(!job.contains(u"runInProgress"_s));
}

void TestLanternfoldCtl::secondServiceLeavesTheSchedulesToTheFirst()
{
    Sim &sim = startSim();
    connectTo(sim);
    const auto first = start({u"service"_s, u"--password-file"_s, m_passwordFile});
    QByteArray output;
    QVERIFY(readUntil(*first, output, "<6>Running the schedules"));
    const Ran second = ctl({u"service"_s, u"--password-file"_s, m_passwordFile});
    QCOMPARE(second.code, 5);
    QVERIFY2(second.out.startsWith(
                 u"<3>Another process runs the schedules (lanternfoldctl service (pid %1))"_s.arg(first->processId())),
             qPrintable(second.out));
    // restart works beside it.
    QCOMPARE(ctl({u"restart"_s, u"Lobby"_s, u"--password-file"_s, m_passwordFile}).code, 0);
    QVERIFY(terminate(*first));
    QCOMPARE(first->exitCode(), 0);
    // Once it stopped, another may take over.
    const auto third = start({u"service"_s, u"--password-file"_s, m_passwordFile});
    output.clear();
    QVERIFY(QTest::qWaitFor(
        [&] {
            output += third->readAllStandardOutput();
            return output.contains("<6>Running the schedules") || third->state() == QProcess::NotRunning;
        },
        30'000));
    QCOMPARE(third->state(), QProcess::Running);
    QVERIFY(terminate(*third));
}

void TestLanternfoldCtl::sigtermDuringARunKeepsItsProgress()
{
    Sim &sim = startSim();
    connectTo(sim);
    // A long pause after the first device: the signal comes while the run waits in it.
    writeJobs({dueJob(u"Nightly"_s, {lobby, officeEast}, 300)});
    const auto service = start({u"service"_s, u"--password-file"_s, m_passwordFile});
    QByteArray output;
    QVERIFY(readUntil(*service, output, "<6>Restarted Lobby\n"));
    QVERIFY(terminate(*service));
    QCOMPARE(service->exitCode(), 0);
    output += service->readAllStandardOutput();
    // Nothing reported as failed: the run stopped where it was.
    QVERIFY2(!output.contains("<3>"), output.constData());
    QCOMPARE(restartedMacs(sim), QStringList{lobby.identifier});
    const QJsonObject progress = savedJobs().first().toObject().value(u"runInProgress"_s).toObject();
    QCOMPARE(progress.value(u"restarted"_s).toArray(), QJsonArray{lobby.id()});

    // The next start resumes with the rest, and nothing is restarted twice.
    QJsonArray jobs = savedJobs();
    QJsonObject job = jobs.first().toObject();
    job.insert(u"staggerSeconds"_s, 0);
    jobs.replace(0, job);
    QFile file(jobsFile());
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(QJsonDocument(jobs).toJson());
    file.close();
    const auto again = start({u"service"_s, u"--password-file"_s, m_passwordFile});
    output.clear();
    QVERIFY(readUntil(*again, output, "<6>Restarted Office East\n"));
    QVERIFY(output.contains("<6>Resumed 'Nightly' after an interruption: 1 of 2 device(s) were already restarted."));
    QCOMPARE(restartedMacs(sim), (QStringList{lobby.identifier, officeEast.identifier}));
    QVERIFY(terminate(*again));
}

void TestLanternfoldCtl::statusSaysWhoRunsTheSchedules()
{
    Sim &sim = startSim();
    connectTo(sim);
    ScheduledJob later = dueJob(u"Later"_s, {lobby}, 0);
    later.nextRunAt = QDateTime(QDate(2030, 1, 2), QTime(3, 0), QTimeZone::utc());
    ScheduledJob sooner = dueJob(u"Sooner"_s, {lobby}, 0);
    sooner.nextRunAt = QDateTime(QDate(2030, 1, 1), QTime(3, 0), QTimeZone::utc());
    writeJobs({later, sooner});
    const Ran idle = ctl({u"status"_s, u"--json"_s, u"--password-file"_s, m_passwordFile});
    QCOMPARE(idle.code, 0);
    const QJsonObject status = QJsonDocument::fromJson(idle.out.toUtf8()).object();
    QCOMPARE(status.keys(), (QStringList{u"connected"_s, u"controller"_s, u"error"_s, u"nextJob"_s, u"scheduler"_s}));
    QCOMPARE(status.value(u"connected"_s).toBool(), true);
    QCOMPARE(status.value(u"controller"_s).toObject().value(u"username"_s).toString(), u"demo"_s);
    QCOMPARE(status.value(u"nextJob"_s).toObject().value(u"name"_s).toString(), u"Sooner"_s);
    QCOMPARE(status.value(u"nextJob"_s).toObject().value(u"nextRunAt"_s).toString(), u"2030-01-01T03:00:00Z"_s);
    QCOMPARE(status.value(u"scheduler"_s).toObject().value(u"running"_s).toBool(), false);

    const auto service = start({u"service"_s, u"--password-file"_s, m_passwordFile});
    QByteArray output;
    QVERIFY(readUntil(*service, output, "<6>Running the schedules"));
    const QJsonObject busy =
        QJsonDocument::fromJson(ctl({u"status"_s, u"--json"_s, u"--password-file"_s, m_passwordFile}).out.toUtf8())
            .object()
            .value(u"scheduler"_s)
            .toObject();
    QCOMPARE(busy.value(u"running"_s).toBool(), true);
    QCOMPARE(busy.value(u"process"_s).toString(), u"lanternfoldctl service (pid %1)"_s.arg(service->processId()));
    QVERIFY(terminate(*service));
    // Not connected: no password anywhere.
    const Ran offline = ctl({u"status"_s});
    QCOMPARE(offline.code, 3);
    QVERIFY(offline.out.contains(u"Connected: no"_s));
}

QTEST_GUILESS_MAIN(TestLanternfoldCtl)

#include "tst_lanternfoldctl.moc"
