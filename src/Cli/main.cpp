// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Cli/ControlCommands.h"
#include "Cli/ControlService.h"
#include "Controller/Trust/CertTrustService.h"
#include "Platform/SecretServiceKeychain.h"
#include "Platform/ServerPasswords.h"
#include "Platform/TerminationSignals.h"
#include "Schedules/ScheduleStore.h"
#include "State/AppState.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

const QString exitCodesText = uR"(Exit status:
  0  success
  1  some targets failed or did not come back, or what was asked could not be read
  2  usage error (an unknown or ambiguous device or job included)
  3  not connected: no controller configured, no password, or the login was refused
  4  the controller's key is not trusted, or it changed
  5  another process runs the schedules (service))"_s;

const QString overviewText =
    uR"(Restarts the access points and cameras of a UniFi controller from a terminal, a script or a
service, with the configuration, trusted keys and jobs of the desktop program Lanternfold.

"lanternfoldctl COMMAND --help" describes a command.

The password is read, in this order, from the desktop's keyring (Secret Service), from a systemd
credential ($CREDENTIALS_DIRECTORY/password), or from the file given with --password-file, which
must belong to the user and be readable by nobody else. It is never taken from the command line
or the environment.)"_s;

/// One subcommand's parser: its description and options, and --help.
struct Command
{
    QString name;
    /// What it does, in a line of the overview.
    QString summary;
    QString synopsis;
    QString description;
    QList<QCommandLineOption> options;
    bool needsPasswords = false;
};

QCommandLineOption passwordFileOption()
{
    return {u"password-file"_s,
            u"Read the password from this file (yours alone, mode 600) when neither the keyring "
            u"nor a systemd credential has it."_s,
            u"path"_s};
}

QCommandLineOption jsonOption()
{
    return {u"json"_s, u"Print one JSON document (field names as in lanternfoldctl(1))."_s};
}

QList<Command> commands()
{
    return {
        {u"service"_s,
         u"run the jobs by their schedules until stopped (SIGTERM)"_s,
         u"service [--password-file PATH]"_s,
         u"Runs the jobs by their schedules until SIGTERM. Activity goes to standard output, one line each, with "
         u"the journal's priority prefix (<6>, <4>, <3>). Only one process runs the schedules: a second service, or "
         u"the desktop program, leaves them to the first."_s,
         {passwordFileOption()},
         true},
        {u"connect"_s,
         u"log in once to check, then save the controller's configuration"_s,
         u"connect --host H [--port P] [--kind unifios|classic] --user U [--site S] [--password-stdin]"_s,
         u"Logs in once to check, then saves the configuration (and the password in the keyring, when one answers). "
         u"The password is typed on the terminal without echo, or read from standard input with --password-stdin."_s,
         {{u"host"_s, u"The controller's address."_s, u"host"_s},
          {u"port"_s, u"Its HTTPS port (UniFi OS 443, classic 8443)."_s, u"port"_s},
          {u"kind"_s, u"unifios (a console) or classic (a Network Application); unifios when not given."_s, u"kind"_s},
          {u"user"_s, u"A local account of the controller."_s, u"name"_s},
          {u"site"_s, u"The site's short name; \"default\" when not given."_s, u"site"_s},
          {u"password-stdin"_s, u"Read the password from standard input."_s}},
         false},
        {u"trust"_s,
         u"fetch the controller's key and trust it"_s,
         u"trust [--host H] [--port P] [--fingerprint HEX] [--forget]"_s,
         u"Fetches the controller's key, prints its fingerprint and asks \"Trust this key? [y/N]\" on the terminal. "
         u"With --fingerprint the key is trusted without a question when it has exactly that fingerprint. A key "
         u"that differs from the one trusted before is refused; after resetting or replacing the controller, "
         u"--forget forgets the old key first."_s,
         {{u"host"_s, u"The controller's address; the configured one when not given."_s, u"host"_s},
          {u"port"_s, u"Its HTTPS port; the configured one when not given."_s, u"port"_s},
          {u"fingerprint"_s, u"The SHA-256 fingerprint of the key to trust (hexadecimal; spaces and colons allowed)."_s,
           u"hex"_s},
          {u"forget"_s, u"Forget the key trusted so far first."_s}},
         false},
        {u"devices"_s,
         u"list the access points and cameras"_s,
         u"devices [--json] [--password-file PATH]"_s,
         u"Lists the access points of the configured site and the cameras."_s,
         {jsonOption(), passwordFileOption()},
         true},
        {u"jobs"_s, u"list the jobs"_s, u"jobs [--json]"_s, u"Lists the jobs."_s, {jsonOption()}, false},
        {u"status"_s,
         u"say whether the controller answers, the next job, and who runs the schedules"_s,
         u"status [--json] [--password-file PATH]"_s,
         u"Says whether the controller answers, which job runs next, and whether a process runs the schedules."_s,
         {jsonOption(), passwordFileOption()},
         true},
        {u"restart"_s,
         u"restart devices by name, MAC or camera id, one after the other"_s,
         u"restart TARGET... [--stagger SECONDS] [--wait [--wait-minutes N]] [--password-file PATH]"_s,
         u"Restarts the devices named, one after the other. A TARGET is a device's name, its MAC, or a camera's "
         u"id; a name that fits several devices is an error that lists them."_s,
         {{u"stagger"_s, u"Seconds between two devices (0)."_s, u"seconds"_s, u"0"_s},
          {u"wait"_s, u"Wait for each device to come back online before the next one."_s},
          {u"wait-minutes"_s, u"How long one device may take to come back (1 to 30; 10)."_s, u"minutes"_s, u"10"_s},
          passwordFileOption()},
         true},
        {u"run"_s,
         u"run a job now, by name or id"_s,
         u"run JOB [--password-file PATH]"_s,
         u"Runs a job now, by its name or id, with its own pause, waiting and site."_s,
         {passwordFileOption()},
         true},
    };
}

void printUsage(const QString &text)
{
    std::fputs((text + u'\n').toLocal8Bit().constData(), stdout);
}

/// Runs task to its end in the event loop and answers its exit code.
int runToEnd(QCoro::Task<ExitCode> task)
{
    int code = 0;
    bool done = false;
    auto finish = [](QCoro::Task<ExitCode> work, int *result, bool *finished) -> QCoro::Task<void> {
        *result = static_cast<int>(co_await std::move(work));
        *finished = true;
        QCoreApplication::exit(*result);
    };
    (void)finish(std::move(task), &code, &done);
    if (!done)
        QCoreApplication::exec();
    return code;
}

} // namespace

int main(int argc, char *argv[])
{
    // Lines reach the journal (or a pipe) as they are written, not when a buffer fills.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(u"Lanternfold"_s);
    QCoreApplication::setApplicationName(u"Lanternfold"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(LANTERNFOLD_VERSION));

    const QStringList arguments = QCoreApplication::arguments();
    const QString first = arguments.value(1);
    if (first.isEmpty() || first == u"--help"_s || first == u"-h"_s || first == u"help"_s) {
        // Every command with its options by name: the man page is made from this text.
        QString list;
        for (const Command &command : commands())
            list += u"  "_s + command.synopsis + u"\n      "_s + command.summary + u'\n';
        const QString overview = overviewText;
        const qsizetype split = overview.indexOf(u"\"lanternfoldctl COMMAND --help\""_s);
        printUsage(u"Usage: lanternfoldctl COMMAND [OPTIONS]\n\n"_s + overview.left(split) + u"Commands:\n"_s + list +
                   u'\n' + overview.mid(split) + u"\n\n"_s + exitCodesText);
        return first.isEmpty() ? static_cast<int>(ExitCode::usage) : 0;
    }
    if (first == u"--version"_s || first == u"-v"_s) {
        printUsage(u"lanternfoldctl "_s + QCoreApplication::applicationVersion());
        return 0;
    }
    const QList<Command> all = commands();
    const auto found = std::find_if(all.cbegin(), all.cend(), [&first](const Command &c) { return c.name == first; });
    if (found == all.cend()) {
        printError(u"lanternfoldctl: unknown command '%1'; see lanternfoldctl --help."_s.arg(first));
        return static_cast<int>(ExitCode::usage);
    }
    const Command &command = *found;
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption help(QStringList{u"h"_s, u"help"_s}, u"Describe this command."_s);
    parser.addOption(help);
    parser.addOptions(command.options);
    QStringList rest = arguments;
    rest.removeAt(1);
    if (!parser.parse(rest)) {
        printError(u"lanternfoldctl %1: %2"_s.arg(command.name, parser.errorText()));
        return static_cast<int>(ExitCode::usage);
    }
    if (parser.isSet(help)) {
        QString text =
            u"Usage: lanternfoldctl "_s + command.synopsis + u"\n\n"_s + command.description + u"\n\nOptions:\n"_s;
        for (const QCommandLineOption &option : command.options) {
            const QString value = option.valueName().isEmpty() ? QString() : u" "_s + option.valueName().toUpper();
            text += u"  --"_s + option.names().constLast() + value + u"\n      "_s + option.description() + u'\n';
        }
        text += u"  --help\n      Describe this command.\n\n"_s + exitCodesText;
        printUsage(text);
        return 0;
    }
    const QStringList positional = parser.positionalArguments();
    const auto usage = [&command](const QString &why) {
        printError(u"lanternfoldctl %1: %2\nUsage: lanternfoldctl %3"_s.arg(command.name, why, command.synopsis));
        return static_cast<int>(ExitCode::usage);
    };

    // The password file is checked before anything else runs: a refused one is a usage error.
    QString passwordFile;
    if (command.needsPasswords && parser.isSet(u"password-file"_s)) {
        passwordFile = parser.value(u"password-file"_s);
        const auto readable = ServerPasswords::readPasswordFile(passwordFile);
        if (!readable.ok()) {
            printError(readable.error().text);
            return static_cast<int>(ExitCode::usage);
        }
    }
    SecretServiceKeychain keyring;
    ServerPasswords passwords(keyring, passwordFile, qEnvironmentVariable("CREDENTIALS_DIRECTORY"));
    ControlCommands control(ScheduleStore::shared(), CertTrustService::shared(), passwords, keyring,
                            AppState::defaultSettingsPath());

    const bool json = std::any_of(command.options.cbegin(), command.options.cend(),
                                  [](const QCommandLineOption &o) { return o.names().contains(u"json"_s); }) &&
                      parser.isSet(u"json"_s);
    if (command.name == u"service"_s) {
        if (!positional.isEmpty())
            return usage(u"unexpected argument '%1'"_s.arg(positional.first()));
        ControlService service(ScheduleStore::shared(), control.state());
        if (!service.start())
            return static_cast<int>(ExitCode::schedulerBusy);
        onTerminationSignals(&app, [&service] {
            auto stopThenQuit = [](ControlService *running) -> QCoro::Task<void> {
                co_await running->stop();
                QCoreApplication::exit(0);
            };
            (void)stopThenQuit(&service);
        });
        return QCoreApplication::exec();
    }
    if (command.name == u"connect"_s) {
        if (!positional.isEmpty())
            return usage(u"unexpected argument '%1'"_s.arg(positional.first()));
        if (!parser.isSet(u"host"_s) || !parser.isSet(u"user"_s))
            return usage(u"--host and --user are needed"_s);
        const QString kindName = parser.value(u"kind"_s).toLower();
        std::optional<ControllerKind> kind = ControllerKind::unifiOS;
        if (kindName == u"classic"_s)
            kind = ControllerKind::classic;
        else if (!kindName.isEmpty() && kindName != u"unifios"_s)
            return usage(u"--kind is unifios or classic"_s);
        qint64 port = *kind == ControllerKind::unifiOS ? 443 : 8443;
        if (parser.isSet(u"port"_s)) {
            bool ok = false;
            port = parser.value(u"port"_s).toLongLong(&ok);
            if (!ok || port < 1 || port > 65535)
                return usage(u"--port is a number from 1 to 65535"_s);
        }
        ControlCommands::ConnectRequest request;
        request.config = ControllerConfig{parser.value(u"host"_s), port, *kind, parser.value(u"user"_s),
                                          parser.isSet(u"site"_s) ? parser.value(u"site"_s) : u"default"_s};
        request.passwordFromStandardInput = parser.isSet(u"password-stdin"_s);
        return runToEnd(control.connect(std::move(request)));
    }
    if (command.name == u"trust"_s) {
        if (!positional.isEmpty())
            return usage(u"unexpected argument '%1'"_s.arg(positional.first()));
        std::optional<qint64> port;
        if (parser.isSet(u"port"_s)) {
            bool ok = false;
            port = parser.value(u"port"_s).toLongLong(&ok);
            if (!ok || *port < 1 || *port > 65535)
                return usage(u"--port is a number from 1 to 65535"_s);
        }
        const auto option = [&parser](const QString &name) {
            return parser.isSet(name) ? std::optional<QString>(parser.value(name)) : std::nullopt;
        };
        return runToEnd(control.trust(option(u"host"_s), port, option(u"fingerprint"_s), parser.isSet(u"forget"_s)));
    }
    if (command.name == u"devices"_s || command.name == u"status"_s || command.name == u"jobs"_s) {
        if (!positional.isEmpty())
            return usage(u"unexpected argument '%1'"_s.arg(positional.first()));
        if (command.name == u"jobs"_s)
            return static_cast<int>(control.jobs(json));
        return runToEnd(command.name == u"devices"_s ? control.devices(json) : control.status(json));
    }
    if (command.name == u"restart"_s) {
        if (positional.isEmpty())
            return usage(u"name at least one device"_s);
        ControlCommands::RestartRequest request;
        request.targets = positional;
        bool ok = false;
        request.staggerSeconds = parser.value(u"stagger"_s).toLongLong(&ok);
        if (!ok || request.staggerSeconds < 0)
            return usage(u"--stagger is a number of seconds"_s);
        if (parser.isSet(u"wait"_s)) {
            const qint64 minutes = parser.value(u"wait-minutes"_s).toLongLong(&ok);
            if (!ok || minutes < ScheduledJob::waitMinutesMinimum || minutes > ScheduledJob::waitMinutesMaximum)
                return usage(u"--wait-minutes is a number from 1 to 30"_s);
            request.waitMinutes = minutes;
        } else if (parser.isSet(u"wait-minutes"_s)) {
            return usage(u"--wait-minutes goes with --wait"_s);
        }
        return runToEnd(control.restart(std::move(request)));
    }
    // run
    if (positional.size() != 1)
        return usage(u"name one job"_s);
    return runToEnd(control.run(positional.first()));
}
