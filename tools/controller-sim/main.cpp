// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// lanternfold-sim: a simulated UniFi controller for demos and tests. See README.md.
#include "ControllerSimulator.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QSocketNotifier>
#include <QTextStream>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using lanternfold::sim::ControllerSimulator;
using lanternfold::sim::TlsIdentity;

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char byte = 1;
    // Only async-signal-safe work here; the event loop picks the byte up.
    [[maybe_unused]] const auto written = ::write(signalPipe[0], &byte, 1);
}

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

[[noreturn]] void die(const QString &message)
{
    QTextStream(stderr) << "lanternfold-sim: " << message << Qt::endl;
    std::exit(2);
}

std::chrono::milliseconds seconds(const QCommandLineParser &parser, const QString &option)
{
    bool ok = false;
    const double value = parser.value(option).toDouble(&ok);
    if (!ok || value < 0)
        die(u"--%1 wants a number of seconds"_s.arg(option));
    return std::chrono::milliseconds(std::llround(value * 1000.0));
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        die(path + u": "_s + file.errorString());
    return file.readAll();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        die(path + u": "_s + file.errorString());
}

/// Turns "KIND[:PREFIX]" (or "MS[:PREFIX]" for latency) into a run-time command line.
QString faultCommand(const QString &kind, const QString &argument)
{
    const qsizetype colon = argument.indexOf(u':');
    const QString head = colon < 0 ? argument : argument.left(colon);
    const QString prefix = colon < 0 ? QString() : argument.mid(colon + 1);
    return kind.isEmpty() ? u"fault %1 %2"_s.arg(head, prefix) : u"fault %1 %2 %3"_s.arg(kind, head, prefix);
}

/// Reads commands from standard input, one per line, and answers each on standard output.
void watchStandardInput(ControllerSimulator &simulator, QCoreApplication &app)
{
    auto *notifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, &app);
    auto *pending = new QByteArray;
    QObject::connect(&app, &QObject::destroyed, [pending] { delete pending; });
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [&simulator, &app, notifier, pending] {
        char buffer[4096];
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count <= 0) {
            // End of input (or a closed pipe) is not a request to stop: a demo may run detached.
            notifier->setEnabled(false);
            return;
        }
        pending->append(buffer, count);
        qsizetype newline = 0;
        while ((newline = pending->indexOf('\n')) >= 0) {
            const QString line = QString::fromUtf8(pending->left(newline)).trimmed();
            pending->remove(0, newline + 1);
            if (line.isEmpty() || line.startsWith(u'#'))
                continue;
            if (line == u"quit"_s || line == u"exit"_s) {
                out() << "OK quit" << Qt::endl;
                app.quit();
                return;
            }
            out() << simulator.applyCommand(line) << Qt::endl;
        }
        if (pending->size() > qsizetype{64} * 1024)
            pending->clear(); // a line that long is not a command
    });
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"lanternfold-sim"_s);

    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Simulated UniFi controller (UniFi OS console or classic Network Application) over HTTPS on "
        "127.0.0.1, for demonstrating and testing Lanternfold.\n\n"_s +
        ControllerSimulator::commandHelp());
    parser.addHelpOption();
    parser.addOptions({
        {u"kind"_s, u"Controller kind: unifiOS or classic (default unifiOS)."_s, u"kind"_s, u"unifiOS"_s},
        {u"port"_s, u"Port on 127.0.0.1; 0 picks a free one (default 0)."_s, u"port"_s, u"0"_s},
        {u"username"_s, u"Account user name (default demo)."_s, u"name"_s,
         QString::fromLatin1(ControllerSimulator::defaultUsername)},
        {u"password"_s, u"Account password (default lanternfold-demo)."_s, u"password"_s,
         QString::fromLatin1(ControllerSimulator::defaultPassword)},
        {u"site"_s, u"Short id of the first site served (default default)."_s, u"site"_s, u"default"_s},
        {u"single-site"_s, u"Serve the first site only, without the demo's second site, Warehouse."_s},
        {u"read-only"_s, u"The account may read every site but not restart devices."_s},
        {u"devices"_s,
         u"Serve the devices of this stat/device answer ({\"meta\":…,\"data\":[…]}) instead of the demo site."_s,
         u"file"_s},
        {u"cameras"_s, u"Serve the cameras of this Protect camera list (bare array) instead of the demo site."_s,
         u"file"_s},
        {u"offline-seconds"_s,
         u"How long every restarted device or camera stays offline. Without it, reboots take as long as on "
         u"hardware: access points 60-180 s, cameras 30-60 s, noticed by the controller after 0-60 s."_s,
         u"seconds"_s},
        {u"reboot-seed"_s, u"Seed of the drawn reboot times (default 1)."_s, u"number"_s, u"1"_s},
        {u"session-seconds"_s, u"Session lifetime after login, not sliding (default 7200)."_s, u"seconds"_s, u"7200"_s},
        {u"rotate-csrf"_s, u"Give every POST answer a new token in X-Updated-CSRF-Token."_s},
        {u"jwt-cookie"_s, u"UniFi OS: carry the CSRF token only inside the JWT session cookie."_s},
        {u"csrf-cookie"_s, u"Classic: carry the CSRF token only in a csrf_token cookie, no header at login."_s},
        {u"two-factor"_s, u"The account wants a second factor: logins with the right password are refused."_s},
        {u"rate-limit"_s, u"Answer 429 once this many logins arrived within the window (default off)."_s, u"count"_s,
         u"0"_s},
        {u"rate-window"_s, u"Window of --rate-limit (default 60)."_s, u"seconds"_s, u"60"_s},
        {u"key-type"_s, u"Generated key: rsa (2048 bits) or ec (P-256) (default rsa)."_s, u"type"_s, u"rsa"_s},
        {u"cert"_s, u"Present this PEM certificate (with --key) instead of a generated one."_s, u"file"_s},
        {u"key"_s, u"Unencrypted PEM private key for --cert (RSA or EC)."_s, u"file"_s},
        {u"key-flip"_s, u"Present a second key on every connection after the first."_s},
        {u"export-cert"_s, u"Write the certificate presented first (PEM) to this file."_s, u"file"_s},
        {u"export-flip-cert"_s, u"Write the second certificate of --key-flip (PEM) to this file."_s, u"file"_s},
        {u"log"_s, u"Append the JSON-lines log of handshakes and requests to this file."_s, u"file"_s},
        {u"latency"_s, u"Fault: answer late, MS[:PREFIX]."_s, u"ms"_s},
        {u"fault"_s,
         u"Fault KIND[:PREFIX], repeatable; KIND is error500, malformed, wrongtype, drop, hang, stall or reset."_s,
         u"fault"_s},
        {u"no-stdin"_s, u"Do not read run-time commands from standard input."_s},
    });
    parser.process(app);
    if (!parser.positionalArguments().isEmpty())
        die(u"unexpected argument "_s + parser.positionalArguments().first());

    ControllerSimulator simulator;
    const auto kind = ControllerSimulator::kindFromName(parser.value(u"kind"_s));
    if (!kind)
        die(u"--kind must be unifiOS or classic"_s);
    simulator.setKind(*kind);

    bool ok = false;
    const uint port = parser.value(u"port"_s).toUInt(&ok);
    if (!ok || port > 65535)
        die(u"--port must be 0 to 65535"_s);
    simulator.setListenPort(static_cast<quint16>(port));
    simulator.setCredentials(parser.value(u"username"_s), parser.value(u"password"_s));
    simulator.setSite(parser.value(u"site"_s));
    if (!parser.isSet(u"single-site"_s))
        simulator.addDemoWarehouse();
    simulator.setReadOnly(parser.isSet(u"read-only"_s));

    QString error;
    if (parser.isSet(u"devices"_s) && !simulator.setDevicesJson(readFile(parser.value(u"devices"_s)), &error))
        die(error);
    if (parser.isSet(u"cameras"_s) && !simulator.setCamerasJson(readFile(parser.value(u"cameras"_s)), &error))
        die(error);
    if (parser.isSet(u"offline-seconds"_s)) {
        simulator.setOfflineDuration(seconds(parser, u"offline-seconds"_s));
    } else {
        // The demo reboots as real hardware does, so that waiting for each device shows what it is for.
        using namespace std::chrono_literals;
        simulator.setRebootRanges(parser.value(u"reboot-seed"_s).toUInt(), {60s, 180s}, {30s, 60s}, {0s, 60s});
    }
    simulator.setSessionLifetime(seconds(parser, u"session-seconds"_s));
    simulator.setCsrfRotation(parser.isSet(u"rotate-csrf"_s));
    simulator.setJwtCookie(parser.isSet(u"jwt-cookie"_s));
    simulator.setCsrfCookie(parser.isSet(u"csrf-cookie"_s));
    simulator.setTwoFactorRequired(parser.isSet(u"two-factor"_s));
    const int rateLimit = parser.value(u"rate-limit"_s).toInt(&ok);
    if (!ok || rateLimit < 0)
        die(u"--rate-limit must be a count"_s);
    simulator.setLoginRateLimit(rateLimit, seconds(parser, u"rate-window"_s));

    const QString keyType = parser.value(u"key-type"_s).toLower();
    if (keyType != u"rsa"_s && keyType != u"ec"_s)
        die(u"--key-type must be rsa or ec"_s);
    simulator.setKeyType(keyType == u"ec"_s ? TlsIdentity::KeyType::Ec : TlsIdentity::KeyType::Rsa);
    if (parser.isSet(u"cert"_s) != parser.isSet(u"key"_s))
        die(u"--cert and --key go together"_s);
    if (parser.isSet(u"cert"_s)) {
        const auto identity = TlsIdentity::fromFiles(parser.value(u"cert"_s), parser.value(u"key"_s), &error);
        if (!identity)
            die(error);
        simulator.setIdentity(*identity);
    }
    simulator.setKeyFlip(parser.isSet(u"key-flip"_s));
    if (parser.isSet(u"log"_s) && !simulator.setLogFile(parser.value(u"log"_s), &error))
        die(error);

    QStringList faultCommands;
    if (parser.isSet(u"latency"_s))
        faultCommands.append(faultCommand(u"latency"_s, parser.value(u"latency"_s)));
    for (const QString &argument : parser.values(u"fault"_s))
        faultCommands.append(faultCommand({}, argument));
    for (const QString &command : std::as_const(faultCommands)) {
        const QString reply = simulator.applyCommand(command);
        if (!reply.startsWith(u"OK"_s))
            die(reply.mid(6));
    }

    if (!simulator.start(&error))
        die(error);
    if (parser.isSet(u"export-cert"_s))
        writeFile(parser.value(u"export-cert"_s), simulator.identity().certificatePem);
    if (parser.isSet(u"export-flip-cert"_s)) {
        if (simulator.flipIdentity().isNull())
            die(u"--export-flip-cert needs --key-flip"_s);
        writeFile(parser.value(u"export-flip-cert"_s), simulator.flipIdentity().certificatePem);
    }

    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        die(u"cannot create the signal pipe"_s);
    QSocketNotifier signalNotifier(signalPipe[1], QSocketNotifier::Read);
    QObject::connect(&signalNotifier, &QSocketNotifier::activated, &app, [&] {
        char byte = 0;
        [[maybe_unused]] const auto count = ::read(signalPipe[1], &byte, 1);
        app.quit();
    });
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    if (!parser.isSet(u"no-stdin"_s))
        watchStandardInput(simulator, app);

    const QString keyText = simulator.identity().keyType == TlsIdentity::KeyType::Ec ? u"EC P-256"_s : u"RSA"_s;
    out() << "Lanternfold controller simulator (" << ControllerSimulator::kindName(simulator.kind()) << ")\n"
          << "  Address:     https://127.0.0.1:" << simulator.port() << "/\n"
          << "  Host:        127.0.0.1\n"
          << "  Port:        " << simulator.port() << "\n"
          << "  Sites:       " << simulator.siteNames().join(u", "_s) << "\n"
          << "  User name:   " << simulator.username() << "\n"
          << "  Password:    " << simulator.password() << "\n"
          << "  Key:         " << keyText << ", SHA-256 of the public key:\n"
          << "               " << simulator.fingerprint() << "\n";
    if (!simulator.flipIdentity().isNull())
        out() << "  Second key:  " << simulator.flipFingerprint() << " (every connection after the first)\n";
    out() << "  Devices:     " << simulator.simulatedSite().deviceCount()
          << ", cameras: " << simulator.simulatedSite().cameraCount() << "\n"
          << "Type \"help\" for run-time commands; Ctrl-C stops.\n"
          << "LISTENING 127.0.0.1 " << simulator.port() << ' ' << simulator.fingerprint() << Qt::endl;

    const int status = app.exec();
    simulator.stop();
    out() << "STOPPED" << Qt::endl;
    return status;
}
