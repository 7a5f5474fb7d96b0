// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Cli/ControlCommands.h"

#include "Async/Latch.h"
#include "Cli/Terminal.h"
#include "Cli/TerminalApprover.h"
#include "Controller/Trust/CertTrustService.h"
#include "Controller/Trust/CertificateApprover.h"
#include "Controller/Trust/FirstUseTrust.h"
#include "Controller/UnifiAPIClient.h"
#include "Models/JsonDate.h"
#include "Platform/FileLock.h"
#include "Platform/KeychainService.h"
#include "Schedules/RecurrenceRuleNextRun.h"
#include "Schedules/ScheduleStore.h"
#include "State/JobList.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace lanternfold {

using namespace Qt::StringLiterals;

void printLine(const QString &text)
{
    std::fputs((text + u'\n').toLocal8Bit().constData(), stdout);
    std::fflush(stdout);
}

void printError(const QString &text)
{
    std::fputs((text + u'\n').toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
}

namespace {

/// How long the handshake that fetches a controller's key may take.
constexpr std::chrono::seconds keyFetchTimeout{15};

void printJson(const QJsonObject &object)
{
    std::fputs(QJsonDocument(object).toJson(QJsonDocument::Indented).constData(), stdout);
    std::fflush(stdout);
}

QJsonValue orNull(const std::optional<QString> &value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QJsonValue dateOrNull(const std::optional<QDateTime> &date)
{
    if (!date)
        return QJsonValue::Null;
    return orNull(json::formatDate(*date));
}

bool isCertificateError(const QString &error)
{
    return error == UnifiAPIError::certificateRejected().description() ||
           error.startsWith(UnifiAPIError::certificateMismatch({}, {}).description().section(u'\n', 0, 0));
}

QString siteName(const AppState &state)
{
    return siteDisplayName(state.sites(), state.site());
}

/// Whether a batch did all it was asked.
bool complete(const AppState::BatchOutcome &outcome)
{
    return outcome.failed.isEmpty() && outcome.notBack.isEmpty() && outcome.notRestarted.isEmpty();
}

} // namespace

ControlCommands::ControlCommands(ScheduleStore &store, CertTrustService &pins, KeychainService &passwords,
                                 KeychainService &keyring, const QString &settingsPath)
    : m_store(store),
      m_pins(pins),
      m_keyring(keyring),
      m_firstUse(std::make_unique<FirstUseTrust>(pins)),
      m_approver(std::make_unique<TerminalApprover>()),
      m_state(std::make_unique<AppState>(store, *m_firstUse, passwords, settingsPath))
{
    m_firstUse->setApprover(m_approver.get());
}

ControlCommands::~ControlCommands()
{
    m_state.reset();
    m_firstUse->setApprover(nullptr);
}

void ControlCommands::echoActivity()
{
    QObject::connect(m_state.get(), &AppState::logged, m_state.get(),
                     [](AppState::LogLevel /*level*/, const QString &message) { printLine(message); });
}

QCoro::Task<std::optional<ExitCode>> ControlCommands::ensureConnected()
{
    const std::optional<ControllerConfig> saved = m_state->config();
    if (!saved) {
        printError(u"No controller is configured: run lanternfoldctl connect first."_s);
        co_return ExitCode::notConnected;
    }
    const ControllerConfig &config = *saved;
    if (co_await m_state->reconnectIfPossible())
        co_return std::nullopt;
    if (m_state->reconnectNeedsCertificate()) {
        if (const std::optional<QString> &error = m_state->lastError(); error && error->contains(u'\n'))
            printError(*error);
        else
            printError(u"The key of %1 is not trusted yet: run lanternfoldctl trust."_s.arg(config.host));
        co_return ExitCode::certificate;
    }
    if (m_state->isSavedPasswordRefused())
        printError(u"The controller refused the saved password of %1. Run lanternfoldctl connect again."_s.arg(
            KeychainService::account(config.host, config.username)));
    else if (const std::optional<QString> &error = m_state->lastError())
        printError(u"Could not connect to "_s + config.host + u": "_s + *error);
    else
        printError(u"No password for %1: none in the keyring, no systemd credential, no --password-file."_s.arg(
            KeychainService::account(config.host, config.username)));
    co_return ExitCode::notConnected;
}

QCoro::Task<ExitCode> ControlCommands::connect(ConnectRequest request)
{
    std::optional<QString> password;
    if (request.passwordFromStandardInput)
        password = terminal::readLine({});
    else if (terminal::inputIsTerminal())
        password = terminal::readSecretLine(u"Password for %1: "_s.arg(request.config.username));
    else {
        printError(u"No password: type it on a terminal, or give it on standard input with --password-stdin."_s);
        co_return ExitCode::usage;
    }
    if (!password || password->isEmpty()) {
        printError(u"No password was given."_s);
        co_return ExitCode::usage;
    }
    // Standard input carries the password: nobody could answer a question about the key on it.
    m_approver->setMayAsk(!request.passwordFromStandardInput);
    const ControllerConfig config = request.config;
    co_await m_state->connect(config, *password, /*rememberPassword=*/true);
    if (!m_state->isLoggedIn()) {
        const QString error = m_state->lastError().value_or(u"The controller could not be reached."_s);
        if (m_approver->lastUnasked())
            printError(
                u"The key of %1 is not trusted yet: run lanternfoldctl trust first, or connect on a terminal."_s.arg(
                    config.host));
        else
            printError(u"Could not connect to "_s + config.host + u": "_s + error);
        co_return isCertificateError(error) ? ExitCode::certificate : ExitCode::notConnected;
    }
    printLine(u"Connected to %1 as %2; site %3. The configuration is saved."_s.arg(config.host, config.username,
                                                                                   siteName(*m_state)));
    const QString account = KeychainService::account(config.host, config.username);
    const std::optional<QString> kept = co_await m_keyring.readPassword(account);
    if (kept == password)
        printLine(u"The password is kept in the keyring."_s);
    else
        printLine(u"No keyring took the password. Give it to the service as a systemd credential "
                  u"($CREDENTIALS_DIRECTORY/password) or with --password-file."_s);
    co_await m_state->disconnect();
    co_return ExitCode::success;
}

QCoro::Task<ExitCode> ControlCommands::trust(std::optional<QString> host, std::optional<qint64> port,
                                             std::optional<QString> fingerprint, bool forget)
{
    ControllerConfig config = m_state->config().value_or(ControllerConfig{});
    if (host)
        config.host = *host;
    if (port)
        config.port = *port;
    if (config.host.isEmpty()) {
        printError(u"No controller is configured: give --host (and --port)."_s);
        co_return ExitCode::usage;
    }
    if (fingerprint)
        m_approver->setExpectedFingerprint(*fingerprint);
    if (forget && m_pins.pinnedFingerprint(config.host)) {
        m_pins.removePin(config.host);
        printLine(u"Forgot the key trusted for %1."_s.arg(config.host));
    }
    if (const std::optional<QString> pinned = m_pins.pinnedFingerprint(config.host)) {
        // Pinned already: the controller must still present that key.
        if (fingerprint && TerminalApprover::normalised(*fingerprint) != *pinned) {
            printError(
                UnifiAPIError::certificateMismatch(*pinned, TerminalApprover::normalised(*fingerprint)).description());
            co_return ExitCode::certificate;
        }
        UnifiAPIClient probe(config, *m_firstUse);
        probe.setMayAskAboutKeys(false);
        probe.setRequestDeadline(keyFetchTimeout);
        const auto answer = co_await probe.fetchSites();
        if (!answer.ok() && answer.error().kind() == UnifiAPIError::Case::certificateMismatch) {
            printError(answer.error().description());
            co_return ExitCode::certificate;
        }
        if (!answer.ok() && answer.error().kind() == UnifiAPIError::Case::network) {
            printError(u"Could not reach "_s + config.host + u": "_s + answer.error().description());
            co_return ExitCode::notConnected;
        }
        printLine(u"The key of %1 is trusted:\n  %2"_s.arg(config.host, CertificateApprover::formatted(*pinned)));
        co_return ExitCode::success;
    }
    if (!fingerprint && !terminal::inputIsTerminal()) {
        printError(u"No terminal to ask on: give the key's fingerprint with --fingerprint."_s);
        co_return ExitCode::certificate;
    }
    const auto closed = std::make_shared<Latch>();
    const auto pinned = co_await m_firstUse->ensurePinned(config.host, config.host, static_cast<quint16>(config.port),
                                                          keyFetchTimeout, closed, /*mayAsk=*/true);
    if (pinned.ok()) {
        printLine(u"Trusted the key of %1:\n  %2"_s.arg(
            config.host, CertificateApprover::formatted(m_pins.pinnedFingerprint(config.host).value_or(QString()))));
        co_return ExitCode::success;
    }
    if (pinned.error().reason == FirstUseRefusal::Reason::unreachable) {
        printError(u"Could not reach "_s + config.host + u": "_s + pinned.error().detail);
        co_return ExitCode::notConnected;
    }
    if (m_approver->lastDiffered())
        printError(u"The controller presents another key than the one given.\nGiven: %1\nPresented: %2"_s.arg(
            TerminalApprover::normalised(fingerprint.value_or(QString())), m_approver->lastPresented()));
    else
        printError(u"The key of %1 was not trusted."_s.arg(config.host));
    co_return ExitCode::certificate;
}

QJsonObject ControlCommands::devicesJson(const AppState &state)
{
    QJsonArray accessPoints;
    for (const UnifiDevice &device : state.accessPoints()) {
        accessPoints.append(QJsonObject{
            {u"name"_s, device.name},
            {u"mac"_s, device.mac},
            {u"model"_s, device.model},
            {u"online"_s, device.isOnline()},
            {u"state"_s, device.state ? QJsonValue(*device.state) : QJsonValue(QJsonValue::Null)},
            {u"ip"_s, orNull(device.ip)},
        });
    }
    QJsonArray cameras;
    for (const ProtectCamera &camera : state.cameras()) {
        cameras.append(QJsonObject{
            {u"name"_s, camera.name},
            {u"id"_s, camera.id},
            {u"type"_s, camera.type},
            {u"online"_s, camera.isOnline()},
            {u"state"_s, orNull(camera.state)},
        });
    }
    return QJsonObject{
        {u"site"_s, QJsonObject{{u"name"_s, state.site()}, {u"desc"_s, siteName(state)}}},
        {u"accessPoints"_s, accessPoints},
        {u"cameras"_s, cameras},
    };
}

QCoro::Task<ExitCode> ControlCommands::devices(bool json)
{
    if (const auto failed = co_await ensureConnected())
        co_return *failed;
    const std::optional<QString> error = m_state->lastError();
    if (error) {
        printError(u"Could not read the devices: "_s + *error);
    } else if (json) {
        printJson(devicesJson(*m_state));
    } else {
        printLine(u"Access points of site "_s + siteName(*m_state) + u':');
        for (const UnifiDevice &device : m_state->accessPoints())
            printLine(u"  %1  %2  %3  %4"_s.arg(device.name, device.mac, device.model,
                                                device.isOnline() ? u"online"_s : u"offline"_s));
        printLine(u"Cameras:"_s);
        for (const ProtectCamera &camera : m_state->cameras())
            printLine(u"  %1  %2  %3"_s.arg(camera.name, camera.id, camera.isOnline() ? u"online"_s : u"offline"_s));
    }
    co_await m_state->disconnect();
    co_return error ? ExitCode::failed : ExitCode::success;
}

QJsonObject ControlCommands::jobsJson(const AppState &state)
{
    QJsonArray jobs;
    for (const ScheduledJob &job : state.jobs()) {
        QJsonArray targets;
        for (const RestartTarget &target : job.targets)
            targets.append(target.toJson());
        QJsonValue wait = QJsonValue::Null;
        if (job.waitForOnline) {
            wait = QJsonObject{{u"minutes"_s, job.waitForOnline->minutes},
                               {u"whenNotBack"_s,
                                job.waitForOnline->whenNotBack == ScheduledJob::WaitForOnline::WhenNotBack::stopTheJob
                                    ? u"stop"_s
                                    : u"continue"_s}};
        }
        jobs.append(QJsonObject{
            {u"id"_s, uuidText(job.id)},
            {u"name"_s, job.name},
            {u"enabled"_s, job.isEnabled},
            {u"summary"_s, summary(job.rule, state.calendar())},
            {u"rule"_s, job.rule.toJson().value_or(QJsonObject{})},
            {u"site"_s, job.site},
            {u"targets"_s, targets},
            {u"staggerSeconds"_s, job.staggerSeconds},
            {u"waitForOnline"_s, wait},
            {u"nextRunAt"_s, dateOrNull(job.nextRunAt)},
            {u"lastRunAt"_s, dateOrNull(job.lastRunAt)},
        });
    }
    return QJsonObject{{u"jobs"_s, jobs}};
}

ExitCode ControlCommands::jobs(bool json) const
{
    if (json) {
        printJson(jobsJson(*m_state));
        return ExitCode::success;
    }
    if (m_state->jobs().isEmpty())
        printLine(u"No jobs."_s);
    for (const ScheduledJob &job : m_state->jobs()) {
        QString line = job.name + u" \u2014 "_s + summary(job.rule, m_state->calendar()) + u" \u2014 "_s +
                       QString::number(job.targets.size()) + u" device(s)"_s;
        if (!job.isEnabled)
            line += u" \u2014 off"_s;
        else if (job.nextRunAt)
            line += u" \u2014 next "_s + formatDateTime(*job.nextRunAt, m_state->calendar(), FormatStyle::mediumStyle,
                                                        FormatStyle::shortStyle);
        printLine(line + u"  ["_s + uuidText(job.id) + u']');
    }
    return ExitCode::success;
}

QCoro::Task<ExitCode> ControlCommands::status(bool json)
{
    const std::optional<QByteArray> holder = FileLock::holderNote(m_store.schedulerLockPath());
    const ScheduledJob *next = nullptr;
    std::optional<QDateTime> soonest;
    for (const ScheduledJob &job : m_state->jobs()) {
        if (job.isEnabled && job.nextRunAt && (!soonest || *job.nextRunAt < *soonest)) {
            soonest = job.nextRunAt;
            next = &job;
        }
    }
    const std::optional<ScheduledJob> nextJob = next ? std::optional<ScheduledJob>(*next) : std::nullopt;
    bool connected = false;
    std::optional<QString> error;
    if (m_state->config()) {
        // Quietly: the outcome is part of the status, not a failure of its own.
        connected = co_await m_state->reconnectIfPossible();
        if (!connected)
            error = m_state->lastError().value_or(u"No password for the configured account."_s);
    }
    const std::optional<ControllerConfig> config = m_state->config();
    if (json) {
        QJsonValue controller = QJsonValue::Null;
        if (config) {
            controller = QJsonObject{{u"host"_s, config->host},
                                     {u"port"_s, config->port},
                                     {u"kind"_s, toRawValue(config->kind)},
                                     {u"username"_s, config->username},
                                     {u"site"_s, config->site}};
        }
        QJsonValue nextValue = QJsonValue::Null;
        if (nextJob) {
            nextValue = QJsonObject{{u"id"_s, uuidText(nextJob->id)},
                                    {u"name"_s, nextJob->name},
                                    {u"nextRunAt"_s, dateOrNull(nextJob->nextRunAt)}};
        }
        printJson(QJsonObject{
            {u"controller"_s, controller},
            {u"connected"_s, connected},
            {u"error"_s, orNull(error)},
            {u"nextJob"_s, nextValue},
            {u"scheduler"_s, QJsonObject{{u"running"_s, holder.has_value()},
                                         {u"process"_s, holder ? QJsonValue(QString::fromUtf8(*holder))
                                                               : QJsonValue(QJsonValue::Null)}}},
        });
    } else {
        if (!config)
            printLine(u"Controller: none configured"_s);
        else
            printLine(u"Controller: %1:%2 (%3) as %4, site %5"_s.arg(
                config->host, QString::number(config->port), toRawValue(config->kind), config->username, config->site));
        printLine(connected ? u"Connected: yes"_s : u"Connected: no"_s + (error ? u" \u2014 "_s + *error : QString()));
        if (nextJob && nextJob->nextRunAt)
            printLine(u"Next job: %1 at %2"_s.arg(nextJob->name,
                                                  formatDateTime(*nextJob->nextRunAt, m_state->calendar(),
                                                                 FormatStyle::mediumStyle, FormatStyle::shortStyle)));
        else
            printLine(u"Next job: none"_s);
        printLine(holder ? u"Scheduler: running in "_s +
                               (holder->isEmpty() ? u"another process"_s : QString::fromUtf8(*holder))
                         : u"Scheduler: not running"_s);
    }
    if (connected)
        co_await m_state->disconnect();
    co_return config && !connected ? ExitCode::notConnected : ExitCode::success;
}

Result<QList<RestartTarget>, QString> ControlCommands::resolveTargets(const QStringList &identifiers,
                                                                      const QList<UnifiDevice> &accessPoints,
                                                                      const QList<ProtectCamera> &cameras)
{
    QList<RestartTarget> targets;
    for (const QString &identifier : identifiers) {
        QList<RestartTarget> matches;
        for (const UnifiDevice &device : accessPoints) {
            if (device.mac.compare(identifier, Qt::CaseInsensitive) == 0)
                matches.append({RestartTargetKind::accessPoint, device.mac, device.name});
        }
        for (const ProtectCamera &camera : cameras) {
            if (camera.id == identifier)
                matches.append({RestartTargetKind::camera, camera.id, camera.name});
        }
        if (matches.isEmpty()) {
            for (const UnifiDevice &device : accessPoints) {
                if (device.name.compare(identifier, Qt::CaseInsensitive) == 0)
                    matches.append({RestartTargetKind::accessPoint, device.mac, device.name});
            }
            for (const ProtectCamera &camera : cameras) {
                if (camera.name.compare(identifier, Qt::CaseInsensitive) == 0)
                    matches.append({RestartTargetKind::camera, camera.id, camera.name});
            }
        }
        if (matches.isEmpty())
            return u"No access point or camera is called '%1'."_s.arg(identifier);
        if (matches.size() > 1) {
            QStringList listed;
            for (const RestartTarget &match : matches)
                listed.append(match.displayName + u" ("_s +
                              (match.kind == RestartTargetKind::camera ? u"camera "_s : QString()) + match.identifier +
                              u')');
            return u"'%1' names %2 devices: %3. Give a MAC or a camera id instead."_s.arg(
                identifier, QString::number(matches.size()), listed.join(u", "_s));
        }
        if (!targets.contains(matches.first()))
            targets.append(matches.first());
    }
    return targets;
}

QCoro::Task<ExitCode> ControlCommands::restartBatch(QList<RestartTarget> targets, AppState::BatchOptions options)
{
    echoActivity();
    const AppState::BatchOutcome outcome = co_await m_state->restartBatch(std::move(targets), std::move(options));
    printLine(outcome.summary());
    // The logout that follows is not part of what the person asked for.
    QObject::disconnect(m_state.get(), &AppState::logged, nullptr, nullptr);
    co_await m_state->disconnect();
    co_return complete(outcome) ? ExitCode::success : ExitCode::failed;
}

QCoro::Task<ExitCode> ControlCommands::restart(RestartRequest request)
{
    if (const auto failed = co_await ensureConnected())
        co_return *failed;
    if (const std::optional<QString> &error = m_state->lastError()) {
        printError(u"Could not read the devices: "_s + *error);
        co_await m_state->disconnect();
        co_return ExitCode::failed;
    }
    const auto targets = resolveTargets(request.targets, m_state->accessPoints(), m_state->cameras());
    if (!targets.ok()) {
        printError(targets.error());
        co_await m_state->disconnect();
        co_return ExitCode::usage;
    }
    AppState::BatchOptions options;
    options.pause = std::chrono::seconds(std::clamp<qint64>(request.staggerSeconds, 0, 3600));
    if (request.waitMinutes) {
        ScheduledJob::WaitForOnline wait;
        wait.minutes =
            std::clamp(*request.waitMinutes, ScheduledJob::waitMinutesMinimum, ScheduledJob::waitMinutesMaximum);
        options.waitForOnline = wait;
    }
    co_return co_await restartBatch(targets.value(), std::move(options));
}

QCoro::Task<ExitCode> ControlCommands::run(QString job)
{
    QList<ScheduledJob> matches;
    const std::optional<QUuid> id = uuidFromText(job);
    for (const ScheduledJob &candidate : m_state->jobs()) {
        if ((id && candidate.id == *id) || candidate.name.compare(job, Qt::CaseInsensitive) == 0)
            matches.append(candidate);
    }
    if (matches.isEmpty()) {
        printError(u"No job is called '%1'."_s.arg(job));
        co_return ExitCode::usage;
    }
    if (matches.size() > 1) {
        QStringList ids;
        for (const ScheduledJob &match : matches)
            ids.append(uuidText(match.id));
        printError(u"'%1' names %2 jobs: %3. Give its id instead."_s.arg(job, QString::number(matches.size()),
                                                                         ids.join(u", "_s)));
        co_return ExitCode::usage;
    }
    const ScheduledJob chosen = matches.first();
    if (const auto failed = co_await ensureConnected())
        co_return *failed;
    AppState::BatchOptions options;
    options.pause =
        std::chrono::seconds(std::clamp<qint64>(chosen.staggerSeconds, 0, ScheduledJob::staggerSecondsMaximum));
    options.waitForOnline = chosen.waitForOnline;
    options.site = chosen.site;
    printLine(u"Running '%1' now (%2 device(s))."_s.arg(chosen.name, QString::number(chosen.targets.size())));
    co_return co_await restartBatch(chosen.targets, std::move(options));
}

} // namespace lanternfold
