#include "Services/AppState.h"

#include "Services/CertTrustService.h"
#include "Services/CertificateApprover.h"
#include "Services/KeychainService.h"
#include "Services/Latch.h"
#include "Services/NotificationService.h"
#include "Services/Preferences.h"
#include "Services/RecurrenceRuleNextRun.h"
#include "Services/ScheduleStore.h"
#include "Services/SchedulerEngine.h"
#include "Services/UnifiAPIClient.h"

#include <QJsonDocument>
#include <QSettings>

#include <algorithm>
#include <utility>

namespace lanternfold {

using namespace Qt::StringLiterals;

const QString AppState::configDefaultsKey = u"com.lanternfold.controllerConfig"_s;

/// A login that renews an expired session; concurrent failures wait for the same one.
struct SessionRenewal
{
    Latch finished;
    bool succeeded = false;
};

/// One client and what its retirement must respect: once it is ending, batches stop at their next
/// pause, and a restart command already sent is answered before the client closes, because the
/// controller may have acted on it.
class ControllerSession
{
public:
    explicit ControllerSession(UnifiAPIClient *client) : client(client) {}

    void beginCommand()
    {
        if (commandsInFlight++ == 0)
            settled = std::make_shared<Latch>();
    }
    void endCommand()
    {
        if (--commandsInFlight == 0)
            settled->set();
    }

    QPointer<UnifiAPIClient> client;
    std::shared_ptr<Latch> ending = std::make_shared<Latch>();
    int commandsInFlight = 0;
    std::shared_ptr<Latch> settled = std::make_shared<Latch>();
    /// Counts the logins that renewed an expired session, so that a request sent before a renewal
    /// is simply retried instead of logging in again.
    int generation = 0;
    /// The renewal under way, which concurrent failures share.
    std::shared_ptr<SessionRenewal> renewal;
    /// The controller refused a renewal for good (wrong credentials, a second factor, too many
    /// logins): no automatic login on this client again.
    bool renewalRefused = false;
};

/// A connect under way; reconnects wait for it instead of starting another.
struct AppState::ConnectAttempt
{
    Latch finished;
};

/// One renewal of an expired session per scheduled run, refresh or restart.
struct AppState::RenewalBudget
{
    bool used = false;
};

namespace {

QString account(const ControllerConfig &config)
{
    return KeychainService::account(config.host, config.username);
}

} // namespace

QCoro::Task<bool> realPause(std::chrono::seconds duration, std::shared_ptr<Latch> cancel)
{
    // In steps a timer can hold: a stagger may be any number of seconds the jobs file holds.
    constexpr std::chrono::seconds step = std::chrono::hours(24);
    while (duration.count() > 0 && !cancel->isSet()) {
        const std::chrono::seconds chunk = std::min(duration, step);
        if (!co_await sleepFor(chunk, cancel))
            co_return false;
        duration -= chunk;
    }
    co_return !cancel->isSet();
}

AppState::AppState(ScheduleStore &store, CertTrustService &trust, QString settingsPath, Clock clock, QObject *parent)
    : QObject(parent),
      m_store(store),
      m_trust(trust),
      m_settingsPath(std::move(settingsPath)),
      m_clock(std::move(clock)),
      m_gone(std::make_shared<Latch>())
{
    m_jobs = m_store.load();
    loadSavedConfig();
    m_scheduler = new SchedulerEngine(*this);
    m_scheduler->start();
    NotificationService::requestAuthorization();
}

AppState::~AppState()
{
    m_gone->set();
    // Suspended operations resume from the event loop with the clients' errors and find the state
    // gone; nothing more is sent. The clients themselves go with this object, their parent.
    const auto closeSession = [](const std::shared_ptr<ControllerSession> &session) {
        session->ending->set();
        if (session->client)
            session->client->close();
    };
    if (m_session)
        closeSession(m_session);
    for (const auto &pending : std::as_const(m_pending)) {
        if (const auto session = pending.lock())
            closeSession(session);
    }
}

QString AppState::defaultSettingsPath()
{
    return preferencesFilePath();
}

void AppState::setCertificateApprover(CertificateApprover *approver)
{
    m_approver = approver;
}

QString AppState::mismatchText(const QString &host, const QString &expected, const QString &presented)
{
    return u"Certificate mismatch for "_s + host + u".\nExpected "_s + expected.left(16) + u"\u2026, got "_s +
           presented.left(16) + u"\u2026\nRemove the pin in Settings if you re-adopted or reset the controller."_s;
}

// Published fields: each assignment is announced, as the views redraw on every one.

void AppState::setConfig(std::optional<ControllerConfig> config)
{
    m_config = std::move(config);
    Q_EMIT configChanged();
}

void AppState::setLoggedIn(bool loggedIn)
{
    m_isLoggedIn = loggedIn;
    Q_EMIT isLoggedInChanged();
}

void AppState::setConnecting(bool connecting)
{
    m_isConnecting = connecting;
    Q_EMIT isConnectingChanged();
}

void AppState::setAccessPoints(QList<UnifiDevice> devices)
{
    m_accessPoints = std::move(devices);
    Q_EMIT accessPointsChanged();
}

void AppState::setCameras(QList<ProtectCamera> cameras)
{
    m_cameras = std::move(cameras);
    Q_EMIT camerasChanged();
}

void AppState::setJobs(QList<ScheduledJob> jobs)
{
    m_jobs = std::move(jobs);
    Q_EMIT jobsChanged();
}

void AppState::setLastError(std::optional<QString> error)
{
    m_lastError = std::move(error);
    Q_EMIT lastErrorChanged();
}

void AppState::log(const QString &message)
{
    const QString stamp =
        formatDateTime(m_clock.now(), m_clock.calendar(), FormatStyle::shortStyle, FormatStyle::mediumStyle);
    m_activityLog.prepend(u"["_s + stamp + u"] "_s + message);
    if (m_activityLog.size() > activityLogLimit)
        m_activityLog.resize(activityLogLimit);
    Q_EMIT activityLogChanged();
}

// The saved configuration.

void AppState::loadSavedConfig()
{
    const QSettings settings(m_settingsPath, QSettings::NativeFormat);
    const QVariant value = settings.value(configDefaultsKey);
    if (value.typeId() != QMetaType::QByteArray)
        return;
    const auto json = json::parse(value.toByteArray());
    if (!json.ok())
        return;
    auto config = ControllerConfig::fromJson(json.value());
    if (config.ok())
        m_config = std::move(config).value();
}

void AppState::persistConfig()
{
    QSettings settings(m_settingsPath, QSettings::NativeFormat);
    if (m_config)
        settings.setValue(configDefaultsKey, QJsonDocument(m_config->toJson()).toJson(QJsonDocument::Compact));
    else
        settings.remove(configDefaultsKey);
    settings.sync();
}

// Connection life.

std::shared_ptr<ControllerSession> AppState::openSession(const ControllerConfig &config)
{
    auto *client = new UnifiAPIClient(config, m_trust, this);
    const QPointer<AppState> self(this);
    client->setCertificateApprovalHandler([self](QString host, QString fingerprint) {
        return promptCertificateApproval(self, std::move(host), std::move(fingerprint));
    });
    // The client calls it on the main thread, after the refused request has ended; the failed
    // operation's own error then replaces the text.
    client->setCertificateMismatchHandler(
        [self](const QString &host, const QString &expected, const QString &presented) {
            if (self)
                self->setLastError(mismatchText(host, expected, presented));
        });
    return std::make_shared<ControllerSession>(client);
}

QCoro::Task<bool> AppState::promptCertificateApproval(QPointer<AppState> self, QString host, QString fingerprint)
{
    if (!self || !self->m_approver)
        co_return false; // nobody to ask: a key nobody approved is not trusted
    const QPointer<CertificateApprover> approver = self->m_approver;
    co_return co_await approver->approve(std::move(host), std::move(fingerprint));
}

QCoro::Task<void> AppState::retire(std::shared_ptr<ControllerSession> session, bool logOut)
{
    session->ending->set();
    while (session->commandsInFlight > 0) {
        const std::shared_ptr<Latch> settled = session->settled;
        Wakeup wakeup;
        wakeup.watch(*settled);
        co_await wakeup.wait();
    }
    const QPointer<UnifiAPIClient> client = session->client;
    if (client && logOut)
        co_await client->logout();
    if (client) {
        client->close();
        client->deleteLater();
    }
}

QCoro::Task<Done> AppState::connect(QString host, qint64 port, ControllerKind kind, QString username, QString password,
                                    QString site, bool rememberPassword)
{
    auto attempt = std::make_shared<ConnectAttempt>();
    m_connectAttempt = attempt;
    ControllerConfig config{std::move(host), port, kind, std::move(username), std::move(site)};
    co_return co_await performConnect(std::move(config), std::move(password), rememberPassword, attempt);
}

QCoro::Task<Done> AppState::performConnect(ControllerConfig config, QString password, bool rememberPassword,
                                           std::shared_ptr<ConnectAttempt> attempt)
{
    const std::shared_ptr<Latch> gone = m_gone;
    setConnecting(true);
    setLastError(std::nullopt);
    const auto session = openSession(config);
    m_pending.append(session);
    const QPointer<UnifiAPIClient> client = session->client;
    const auto login = co_await client->login(password);
    if (gone->isSet())
        co_return Done{};
    m_pending.removeIf([&session](const std::weak_ptr<ControllerSession> &pending) {
        const auto locked = pending.lock();
        return !locked || locked == session;
    });
    const auto finish = [this, &attempt] {
        if (m_connectAttempt == attempt)
            m_connectAttempt.reset();
        attempt->finished.set();
        setConnecting(!m_pending.isEmpty());
    };

    if (!login.ok()) {
        // A connect that a disconnect called off ends quietly: there is nothing to report.
        if (!client->isClosed()) {
            setLastError(login.error().description());
            log(u"Connect failed: "_s + login.error().description());
        }
        (void)retire(session, /*logOut=*/false);
        finish();
        co_return Done{};
    }

    if (const auto previous = std::exchange(m_session, session))
        (void)retire(previous, /*logOut=*/false);
    setConfig(config);
    setLoggedIn(true);
    persistConfig();
    if (rememberPassword) {
        // Deliberately nothing when not asked: a password saved earlier stays where it is.
        co_await KeychainService::savePassword(password, account(config));
        if (gone->isSet())
            co_return Done{};
    }
    co_await refreshDevices();
    if (gone->isSet())
        co_return Done{};
    log(u"Connected to "_s + config.host);
    finish();
    co_return Done{};
}

QCoro::Task<bool> AppState::reconnectIfPossible()
{
    const std::shared_ptr<Latch> gone = m_gone;
    // One attempt at a time: a tick while the person still reads a certificate question must
    // neither ask again nor send a second login.
    if (const auto attempt = m_connectAttempt) {
        Wakeup wakeup;
        wakeup.watch(attempt->finished);
        wakeup.watch(*gone);
        co_await wakeup.wait();
        co_return !gone->isSet() && m_isLoggedIn;
    }
    if (!m_config)
        co_return false;
    const ControllerConfig config = *m_config;
    // Claimed before the keyring is read, so that a second reconnect waits for this one.
    auto attempt = std::make_shared<ConnectAttempt>();
    m_connectAttempt = attempt;
    const auto password = co_await KeychainService::readPassword(account(config));
    if (gone->isSet())
        co_return false;
    if (!password) {
        if (m_connectAttempt == attempt)
            m_connectAttempt.reset();
        attempt->finished.set();
        co_return false;
    }
    co_await performConnect(config, *password, /*rememberPassword=*/true, attempt);
    co_return !gone->isSet() && m_isLoggedIn;
}

QCoro::Task<Done> AppState::disconnect()
{
    const std::shared_ptr<Latch> gone = m_gone;
    // Connects under way are called off too: nothing more goes to the controller.
    for (const auto &pending : std::as_const(m_pending)) {
        if (const auto session = pending.lock(); session && session->client)
            session->client->close();
    }
    if (const auto session = std::exchange(m_session, nullptr))
        co_await retire(session, /*logOut=*/true);
    if (gone->isSet())
        co_return Done{};
    setLoggedIn(false);
    setAccessPoints({});
    setCameras({});
    log(u"Disconnected"_s);
    co_return Done{};
}

// Expired sessions: a controller ends a session after a while and answers 401 from then on.

bool AppState::mayRenew(const UnifiAPIError &error)
{
    // Repeated logins lock the account on a console: stop at the first sign of that.
    switch (error.kind()) {
    case UnifiAPIError::Case::invalidCredentials:
    case UnifiAPIError::Case::twoFactorRequired:
        return false;
    case UnifiAPIError::Case::server:
        return error.status() != 429;
    default:
        return true;
    }
}

QCoro::Task<bool> AppState::renewSession(std::shared_ptr<ControllerSession> session,
                                         std::shared_ptr<RenewalBudget> budget)
{
    if (const auto running = session->renewal) {
        // Concurrent failures share the login under way.
        budget->used = true;
        const std::shared_ptr<Latch> gone = m_gone;
        Wakeup wakeup;
        wakeup.watch(running->finished);
        wakeup.watch(*gone);
        co_await wakeup.wait();
        co_return !gone->isSet() && running->succeeded;
    }
    if (budget->used || session->renewalRefused || session != m_session || !session->client ||
        session->client->isClosed())
        co_return false;
    budget->used = true;
    auto renewal = std::make_shared<SessionRenewal>();
    session->renewal = renewal;
    co_return co_await performRenewal(std::move(session), std::move(renewal));
}

QCoro::Task<bool> AppState::performRenewal(std::shared_ptr<ControllerSession> session,
                                           std::shared_ptr<SessionRenewal> renewal)
{
    const std::shared_ptr<Latch> gone = m_gone;
    const QPointer<UnifiAPIClient> client = session->client;
    const auto finish = [&session, &renewal](bool succeeded) {
        renewal->succeeded = succeeded;
        if (session->renewal == renewal)
            session->renewal.reset();
        renewal->finished.set();
        return succeeded;
    };
    const auto password = co_await KeychainService::readPassword(account(client->config()));
    if (gone->isSet() || !client || client->isClosed() || !password)
        co_return finish(false);
    const auto login = co_await client->login(*password);
    if (gone->isSet() || !client || client->isClosed())
        co_return finish(false);
    if (!login.ok()) {
        setLastError(login.error().description());
        log(u"Connect failed: "_s + login.error().description());
        if (!mayRenew(login.error()))
            session->renewalRefused = true;
        co_return finish(false);
    }
    ++session->generation;
    co_return finish(true);
}

template <typename T>
QCoro::Task<Result<T, UnifiAPIError>>
AppState::callWithRenewal(std::shared_ptr<ControllerSession> session, std::shared_ptr<RenewalBudget> budget,
                          std::function<QCoro::Task<Result<T, UnifiAPIError>>(UnifiAPIClient &)> call)
{
    const std::shared_ptr<Latch> gone = m_gone;
    QPointer<UnifiAPIClient> client = session->client;
    if (!client)
        co_return UnifiAPIError::notLoggedIn();
    const int generation = session->generation;
    auto result = co_await call(*client);
    if (gone->isSet() || result.ok() || !(result.error() == UnifiAPIError::notLoggedIn()) || !client ||
        client->isClosed())
        co_return result;
    // Renewed since this request left: the new session only needs the request again.
    bool renewed = session->generation != generation;
    if (!renewed && !session->ending->isSet())
        renewed = co_await renewSession(session, budget);
    if (gone->isSet())
        co_return result;
    // A session that ended meanwhile sends nothing more, renewed or not.
    if (session->ending->isSet() || !client || client->isClosed())
        co_return UnifiAPIError::closed();
    if (!renewed)
        co_return result;
    co_return co_await call(*client);
}

// Devices.

QCoro::Task<Done> AppState::refreshDevices()
{
    const std::shared_ptr<Latch> gone = m_gone;
    const auto session = m_session;
    if (!session)
        co_return Done{};
    const auto budget = std::make_shared<RenewalBudget>();
    // Both fetches start at once; the access points are awaited first.
    auto accessPoints = callWithRenewal<QList<UnifiDevice>>(
        session, budget, [](UnifiAPIClient &client) { return client.fetchAccessPoints(); });
    auto cameras = callWithRenewal<QList<ProtectCamera>>(session, budget,
                                                         [](UnifiAPIClient &client) { return client.fetchCameras(); });
    auto devices = co_await std::move(accessPoints);
    const bool devicesArrived = devices.ok();
    // A session that a disconnect or a new connect ended has nothing more to report.
    const auto over = [&gone, &session] { return gone->isSet() || session->ending->isSet(); };
    if (!over()) {
        if (devicesArrived) {
            setAccessPoints(std::move(devices).value());
        } else {
            setLastError(devices.error().description());
            log(u"Device refresh failed: "_s + devices.error().description());
        }
    }
    auto protect = co_await std::move(cameras);
    if (over() || !devicesArrived)
        co_return Done{};
    if (protect.ok()) {
        setCameras(std::move(protect).value());
    } else {
        setLastError(protect.error().description());
        log(u"Device refresh failed: "_s + protect.error().description());
    }
    co_return Done{};
}

// Restarts.

QCoro::Task<Result<Done, UnifiAPIError>> AppState::restart(RestartTarget target)
{
    co_return co_await restartOn(m_session, std::move(target), std::make_shared<RenewalBudget>());
}

QCoro::Task<Result<Done, UnifiAPIError>> AppState::restartOn(std::shared_ptr<ControllerSession> session,
                                                             RestartTarget target,
                                                             std::shared_ptr<RenewalBudget> budget)
{
    if (!session || !session->client)
        co_return UnifiAPIError::notLoggedIn();
    const std::shared_ptr<Latch> gone = m_gone;
    // A local, not a temporary inside the await: GCC 12 miscompiles lambda temporaries there.
    std::function<QCoro::Task<Result<Done, UnifiAPIError>>(UnifiAPIClient &)> command =
        [session, target](UnifiAPIClient &client) { return sendRestart(session, &client, target); };
    const Result<Done, UnifiAPIError> result = co_await callWithRenewal<Done>(session, budget, std::move(command));
    if (gone->isSet())
        co_return result;
    if (result.ok())
        log(u"Restarted "_s + target.displayName);
    else
        log(u"Restart failed for "_s + target.displayName + u": "_s + result.error().description());
    co_return result;
}

QCoro::Task<Result<Done, UnifiAPIError>> AppState::sendRestart(std::shared_ptr<ControllerSession> session,
                                                               QPointer<UnifiAPIClient> client, RestartTarget target)
{
    if (session->ending->isSet() || !client)
        co_return UnifiAPIError::closed();
    // Counted from the moment the command leaves until its answer: the session's retirement waits
    // for exactly these, and not for a renewal's login that may never be answered.
    session->beginCommand();
    Result<Done, UnifiAPIError> result = UnifiAPIError::closed();
    if (target.kind == RestartTargetKind::accessPoint)
        result = co_await client->restartAccessPoint(target.identifier);
    else
        result = co_await client->rebootCamera(target.identifier);
    session->endCommand();
    co_return result;
}

QCoro::Task<AppState::BatchOutcome> AppState::restartBatch(QList<RestartTarget> targets, qint64 staggerSeconds)
{
    const std::shared_ptr<Latch> gone = m_gone;
    // The batch belongs to the client logged in when it starts, never to a later one.
    const auto session = m_session;
    const std::shared_ptr<Latch> ended = session ? session->ending : gone;
    const auto budget = std::make_shared<RenewalBudget>();
    BatchOutcome outcome;
    for (qsizetype index = 0; index < targets.size(); ++index) {
        if (index > 0 && staggerSeconds >= 1 && !co_await m_clock.pause(std::chrono::seconds(staggerSeconds), ended)) {
            // Ended at this pause: the targets not reached are reported, nothing more is sent.
            if (gone->isSet())
                co_return outcome;
            for (qsizetype rest = index; rest < targets.size(); ++rest) {
                const RestartTarget &target = targets.at(rest);
                outcome.failed.append(target);
                log(u"Restart failed for "_s + target.displayName + u": "_s + UnifiAPIError::closed().description());
            }
            co_return outcome;
        }
        const RestartTarget &target = targets.at(index);
        const auto result = co_await restartOn(session, target, budget);
        if (gone->isSet())
            co_return outcome;
        (result.ok() ? outcome.succeeded : outcome.failed).append(target);
    }
    co_return outcome;
}

// Jobs.

std::optional<QDateTime> AppState::nextRunAfterNow(const RecurrenceRule &rule) const
{
    return nextRun(rule, m_clock.now(), m_clock.calendar());
}

void AppState::saveJobs()
{
    m_store.save(m_jobs);
}

void AppState::addJob(ScheduledJob job)
{
    job.nextRunAt = nextRunAfterNow(job.rule);
    QList<ScheduledJob> jobs = m_jobs;
    jobs.append(std::move(job));
    setJobs(std::move(jobs));
    saveJobs();
}

void AppState::updateJob(ScheduledJob job)
{
    const auto it = std::find_if(m_jobs.cbegin(), m_jobs.cend(),
                                 [&job](const ScheduledJob &existing) { return existing.id == job.id; });
    if (it == m_jobs.cend())
        return;
    if (job.isEnabled)
        job.nextRunAt = nextRunAfterNow(job.rule);
    QList<ScheduledJob> jobs = m_jobs;
    jobs[std::distance(m_jobs.cbegin(), it)] = std::move(job);
    setJobs(std::move(jobs));
    saveJobs();
}

void AppState::setJob(const ScheduledJob &job, bool enabled)
{
    const auto it = std::find_if(m_jobs.cbegin(), m_jobs.cend(),
                                 [&job](const ScheduledJob &existing) { return existing.id == job.id; });
    if (it == m_jobs.cend())
        return;
    QList<ScheduledJob> jobs = m_jobs;
    ScheduledJob &changed = jobs[std::distance(m_jobs.cbegin(), it)];
    changed.isEnabled = enabled;
    if (enabled)
        changed.nextRunAt = nextRunAfterNow(changed.rule);
    setJobs(std::move(jobs));
    saveJobs();
}

void AppState::removeJobs(QList<int> positions)
{
    std::sort(positions.begin(), positions.end());
    QList<ScheduledJob> jobs = m_jobs;
    for (const int position : std::as_const(positions)) {
        if (position < 0 || position >= jobs.size())
            continue;
        const QUuid id = jobs.at(position).id;
        jobs.removeIf([&id](const ScheduledJob &job) { return job.id == id; });
    }
    setJobs(std::move(jobs));
    saveJobs();
}

void AppState::recordRun(const ScheduledJob &ran)
{
    const auto it = std::find_if(m_jobs.cbegin(), m_jobs.cend(),
                                 [&ran](const ScheduledJob &existing) { return existing.id == ran.id; });
    if (it == m_jobs.cend())
        return; // deleted while it ran: it stays deleted
    const QDateTime now = m_clock.now();
    QList<ScheduledJob> jobs = m_jobs;
    ScheduledJob &job = jobs[std::distance(m_jobs.cbegin(), it)];
    job.lastRunAt = now;
    if (ran.rule.kind() == RecurrenceRule::Kind::once) {
        job.isEnabled = false;
        job.nextRunAt = std::nullopt;
    } else {
        // From the end of the run, with the rule of the copy that ran.
        job.nextRunAt = nextRun(ran.rule, now, m_clock.calendar());
    }
    setJobs(std::move(jobs));
    saveJobs();
}

} // namespace lanternfold
