// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "State/AppState.h"

#include "Async/Latch.h"
#include "Models/FastJson.h"
#include "Platform/KeychainService.h"
#include "Platform/MemoryRelease.h"
#include "Platform/Preferences.h"
#include "State/ControllerSession.h"
#include "State/JobList.h"
#include "State/StateLog.h"

#include <QJsonDocument>
#include <QSettings>

#include <utility>

namespace lanternfold {

using namespace Qt::StringLiterals;

const QString AppState::configDefaultsKey = u"com.lanternfold.controllerConfig"_s;
const QString AppState::passwordRefusedKey = u"com.lanternfold.savedPasswordRefused"_s;
const QString AppState::devicesTabWaitsKey = u"com.lanternfold.devicesTabWaitsForOnline"_s;

/// A connect under way; reconnects wait for it instead of starting another.
struct AppState::ConnectAttempt
{
    Latch finished;
    /// An automatic reconnect, which a connect by hand or a disconnect calls off.
    bool unattended = false;
    /// Called off: it ends quietly at its next step and changes nothing.
    bool cancelled = false;
    /// Its session, once it has one.
    QPointer<ControllerSession> session;

    void cancel()
    {
        cancelled = true;
        if (session)
            session->close();
    }
};

namespace {

QString keyringAccount(const ControllerConfig &config)
{
    return KeychainService::account(config.host, config.username);
}

/// Counts one refresh of a session from its start to its end, on every path out of it.
class RefreshUnderWay
{
public:
    explicit RefreshUnderWay(QPointer<ControllerSession> session) : m_session(std::move(session))
    {
        m_session->beginRefresh();
    }
    ~RefreshUnderWay()
    {
        if (m_session)
            m_session->endRefresh();
        releaseFreedMemorySoon();
    }
    Q_DISABLE_COPY_MOVE(RefreshUnderWay)

private:
    QPointer<ControllerSession> m_session;
};

} // namespace

AppState::AppState(ScheduleStore &store, FirstUseTrust &trust, KeychainService &keychain, QString settingsPath,
                   Clock clock, QObject *parent)
    : QObject(parent),
      m_trust(trust),
      m_keychain(keychain),
      m_settingsPath(std::move(settingsPath)),
      m_clock(std::move(clock)),
      m_jobList(new JobList(store, m_clock, this)),
      m_gone(std::make_shared<Latch>())
{
    QObject::connect(m_jobList, &JobList::jobsChanged, this, &AppState::jobsChanged);
    loadSavedConfig();
}

AppState::~AppState()
{
    m_gone->set();
    // Suspended operations resume from the event loop with the sessions' errors and find the state
    // gone; nothing more is sent. The sessions themselves go with this object, their parent.
    if (m_session)
        m_session->close();
    for (const QPointer<ControllerSession> &pending : std::as_const(m_pending)) {
        if (pending)
            pending->close();
    }
}

QString AppState::defaultSettingsPath()
{
    return preferencesFilePath();
}

const QList<ScheduledJob> &AppState::jobs() const
{
    return m_jobList->jobs();
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

void AppState::setSites(QList<ControllerSite> sites)
{
    m_sites = std::move(sites);
    Q_EMIT sitesChanged();
}

void AppState::setSchedulesRunElsewhere(bool elsewhere)
{
    if (m_schedulesRunElsewhere == elsewhere)
        return;
    m_schedulesRunElsewhere = elsewhere;
    Q_EMIT schedulesRunElsewhereChanged();
}

QString AppState::site() const
{
    return m_config ? m_config->site : defaultSiteName.toString();
}

void AppState::setLastError(std::optional<QString> error)
{
    m_lastError = std::move(error);
    Q_EMIT lastErrorChanged();
}

void AppState::log(const QString &message, LogLevel level)
{
    const QString stamp =
        formatDateTime(m_clock.now(), m_clock.calendar(), FormatStyle::shortStyle, FormatStyle::mediumStyle);
    m_activityLog.prepend(u"["_s + stamp + u"] "_s + message);
    if (m_activityLog.size() > activityLogLimit)
        m_activityLog.resize(activityLogLimit);
    Q_EMIT activityLogChanged();
    Q_EMIT logged(level, message);
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

ControllerSession *AppState::openSession(const ControllerConfig &config)
{
    auto *session = new ControllerSession(config, m_trust, m_keychain, this);
    if (m_transferTimeout)
        session->setTransferTimeout(*m_transferTimeout);
    if (m_requestDeadline)
        session->setRequestDeadline(*m_requestDeadline);
    // Reported after the refused request has ended; the failed operation's own error then follows
    // with the same text.
    QObject::connect(session, &ControllerSession::certificateMismatch, this,
                     [this](const QString & /*host*/, const QString &expected, const QString &presented) {
                         setLastError(UnifiAPIError::certificateMismatch(expected, presented).description());
                     });
    QObject::connect(session, &ControllerSession::renewalFailed, this, [this, session](const UnifiAPIError &error) {
        setLastError(error.description());
        //: %1 says why, as the controller or the connection told it.
        log(tr("Connect failed: %1").arg(error.description()), LogLevel::error);
        if (ControllerSession::refusesThePassword(error)) {
            markPasswordRefused(session->config());
            endSession(session);
        }
    });
    QObject::connect(session, &ControllerSession::renewalImpossible, this, [this, session] { endSession(session); });
    return session;
}

void AppState::endSession(ControllerSession *session)
{
    if (m_session != session)
        return;
    // The operations that met the expiry end with the session; the scheduler's next run finds
    // the state logged out and reconnects or skips.
    session->markUnrenewable();
    (void)retire(std::exchange(m_session, nullptr), /*logOut=*/false);
    setLoggedIn(false);
    setAccessPoints({});
    setCameras({});
    setSites({});
}

bool AppState::isSavedPasswordRefused() const
{
    if (!m_config)
        return false;
    const QSettings settings(m_settingsPath, QSettings::NativeFormat);
    return settings.value(passwordRefusedKey).toString() == keyringAccount(*m_config);
}

bool AppState::devicesTabWaits() const
{
    const QSettings settings(m_settingsPath, QSettings::NativeFormat);
    return settings.value(devicesTabWaitsKey, false).toBool();
}

void AppState::setDevicesTabWaits(bool waits)
{
    QSettings settings(m_settingsPath, QSettings::NativeFormat);
    settings.setValue(devicesTabWaitsKey, waits);
    settings.sync();
}

void AppState::markPasswordRefused(const ControllerConfig &config)
{
    QSettings settings(m_settingsPath, QSettings::NativeFormat);
    if (settings.value(passwordRefusedKey).toString() == keyringAccount(config))
        return; // said already
    settings.setValue(passwordRefusedKey, keyringAccount(config));
    settings.sync();
    qCWarning(lcState) << "the controller refused the saved password: no automatic login until the person connects";
    log(tr("Lanternfold needs the controller password again: the saved one was refused."), LogLevel::error);
    Q_EMIT savedPasswordRefused();
}

void AppState::clearPasswordRefused()
{
    QSettings settings(m_settingsPath, QSettings::NativeFormat);
    if (!settings.contains(passwordRefusedKey))
        return;
    settings.remove(passwordRefusedKey);
    settings.sync();
}

QCoro::Task<void> AppState::retire(QPointer<ControllerSession> session, bool logOut)
{
    if (!session)
        co_return;
    co_await session->retire(logOut);
    if (session)
        session->deleteLater();
}

QCoro::Task<Done> AppState::connect(ControllerConfig config, QString password, bool rememberPassword)
{
    // The person's choice wins over a reconnect the scheduler started: that one is called off.
    if (const std::shared_ptr<ConnectAttempt> running = m_connectAttempt; running && running->unattended)
        running->cancel();
    auto attempt = std::make_shared<ConnectAttempt>();
    m_connectAttempt = attempt;
    co_return co_await performConnect(std::move(config), std::move(password), rememberPassword, attempt,
                                      /*unattended=*/false);
}

QCoro::Task<Done> AppState::performConnect(ControllerConfig config, QString password, bool rememberPassword,
                                           std::shared_ptr<ConnectAttempt> attempt, bool unattended)
{
    const std::shared_ptr<Latch> gone = m_gone;
    setConnecting(true);
    setLastError(std::nullopt);
    const QPointer<ControllerSession> session = openSession(config);
    session->setMayAskAboutKeys(!unattended);
    attempt->session = session;
    m_pending.append(session);
    qCDebug(lcState) << "connecting to" << config.host << "port" << config.port;
    const auto login = co_await session->login(password);
    if (gone->isSet())
        co_return Done{};
    m_pending.removeIf(
        [&session](const QPointer<ControllerSession> &pending) { return !pending || pending == session; });
    const auto finish = [this, &attempt] {
        if (m_connectAttempt == attempt)
            m_connectAttempt.reset();
        attempt->finished.set();
        setConnecting(!m_pending.isEmpty());
    };

    if (!login.ok() || attempt->cancelled) {
        // A connect that a disconnect called off ends quietly: there is nothing to report.
        if (!login.ok() && !attempt->cancelled && session && !session->isClosed()) {
            setLastError(login.error().description());
            //: %1 says why, as the controller or the connection told it.
            log(tr("Connect failed: %1").arg(login.error().description()), LogLevel::error);
            if (unattended) {
                const UnifiAPIError::Case kind = login.error().kind();
                m_reconnectNeedsCertificate = kind == UnifiAPIError::Case::certificateRejected ||
                                              kind == UnifiAPIError::Case::certificateMismatch;
                if (ControllerSession::refusesThePassword(login.error()))
                    markPasswordRefused(config);
            }
        }
        (void)retire(session, /*logOut=*/false);
        finish();
        co_return Done{};
    }

    config = co_await learnSites(session, std::move(config));
    if (gone->isSet())
        co_return Done{};
    if (attempt->cancelled || !session || session->isClosed()) {
        (void)retire(session, /*logOut=*/false);
        finish();
        co_return Done{};
    }
    if (const QPointer<ControllerSession> previous = std::exchange(m_session, session))
        (void)retire(previous, /*logOut=*/false);
    setConfig(config);
    setLoggedIn(true);
    persistConfig();
    // The person typed a password that worked: automatic logins may use the saved one again.
    if (!unattended)
        clearPasswordRefused();
    if (rememberPassword) {
        // Deliberately nothing when not asked: a password saved earlier stays where it is.
        co_await m_keychain.savePassword(password, keyringAccount(config));
        if (gone->isSet())
            co_return Done{};
    }
    if (session && session->refreshesStarted() == 0) {
        co_await refreshDevices();
    } else if (const std::shared_ptr<Latch> refreshed = session ? session->refreshesUnderWay() : nullptr) {
        // The device list, shown the moment the login succeeded, already asked for this session's
        // devices: its answers will do, and a second pair of fetches would only delay them.
        Wakeup wakeup;
        wakeup.watch(*refreshed);
        wakeup.watch(*gone);
        co_await wakeup.wait();
    }
    if (gone->isSet())
        co_return Done{};
    // A disconnect (or another connect) that came meanwhile ended this session: nothing to announce.
    if (!attempt->cancelled && session && m_session == session && !session->isEnding())
        //: %1 is the controller's host name or address.
        log(tr("Connected to %1").arg(config.host));
    finish();
    co_return Done{};
}

QCoro::Task<ControllerConfig> AppState::learnSites(QPointer<ControllerSession> session, ControllerConfig config)
{
    const std::shared_ptr<Latch> gone = m_gone;
    if (!session)
        co_return config;
    const auto sites = co_await session->fetchSites(std::make_shared<RenewalBudget>());
    if (gone->isSet())
        co_return config;
    if (!sites.ok()) {
        // The devices may still be there: the connect goes on with the site it was given, and the
        // device fetch says what is wrong with it, if anything.
        qCWarning(lcState) << "the controller did not list its sites:" << sites.error().description();
        //: %1 says why.
        log(tr("Could not read the controller's sites: %1").arg(sites.error().description()), LogLevel::warning);
        setSites({});
        co_return config;
    }
    const QList<ControllerSite> &listed = sites.value();
    if (!listed.isEmpty() && !findSite(listed, config.site)) {
        const ControllerSite &first = listed.first();
        //: %1 is the site taken instead, %2 the site that was asked for.
        log(tr("Site '%1' chosen: the controller has no site '%2' for this account.")
                .arg(first.displayName(), config.site));
        config.site = first.name;
    }
    setSites(listed);
    co_return config;
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
    m_reconnectNeedsCertificate = false;
    // A refused password is not tried again: repeated failed logins lock accounts.
    if (!m_config || isSavedPasswordRefused())
        co_return false;
    const ControllerConfig config = *m_config;
    // Claimed before the keyring is read, so that a second reconnect waits for this one.
    auto attempt = std::make_shared<ConnectAttempt>();
    attempt->unattended = true;
    m_connectAttempt = attempt;
    const auto password = co_await m_keychain.readPassword(keyringAccount(config));
    if (gone->isSet())
        co_return false;
    if (!password || attempt->cancelled) {
        if (m_connectAttempt == attempt)
            m_connectAttempt.reset();
        attempt->finished.set();
        co_return false;
    }
    co_await performConnect(config, *password, /*rememberPassword=*/true, attempt, /*unattended=*/true);
    co_return !gone->isSet() && m_isLoggedIn;
}

QCoro::Task<std::optional<QString>> AppState::rememberedPassword()
{
    if (!m_config || isSavedPasswordRefused())
        co_return std::nullopt;
    // Only the keyring, which outlives the state, is used once the read is under way.
    KeychainService &keychain = m_keychain;
    const QString account = keyringAccount(*m_config);
    co_return co_await keychain.readPassword(account);
}

QCoro::Task<Done> AppState::disconnect()
{
    const std::shared_ptr<Latch> gone = m_gone;
    // Connects under way are called off too, a reconnect still reading the keyring included:
    // nothing more goes to the controller.
    if (const std::shared_ptr<ConnectAttempt> running = m_connectAttempt)
        running->cancel();
    for (const QPointer<ControllerSession> &pending : std::as_const(m_pending)) {
        if (pending)
            pending->close();
    }
    // Logged out from this moment: nothing may start on the session while its logout is awaited.
    const QPointer<ControllerSession> session = std::exchange(m_session, nullptr);
    setLoggedIn(false);
    setAccessPoints({});
    setCameras({});
    setSites({});
    if (session)
        co_await retire(session, /*logOut=*/true);
    if (gone->isSet())
        co_return Done{};
    //: Activity log line: the person disconnected from the controller.
    log(tr("Disconnected"));
    co_return Done{};
}

QCoro::Task<Done> AppState::prepareToQuit()
{
    m_quitting = true;
    if (const QPointer<ControllerSession> session = m_session)
        co_await session->settleCommands();
    co_return Done{};
}

// Devices.

QCoro::Task<Done> AppState::refreshDevices()
{
    const std::shared_ptr<Latch> gone = m_gone;
    const QPointer<ControllerSession> session = m_session;
    if (!session)
        co_return Done{};
    const RefreshUnderWay underWay(session);
    const auto budget = std::make_shared<RenewalBudget>();
    // Both fetches start at once; the access points are awaited first.
    // The site asked for, so that answers for a site chosen since are not shown.
    const QString site = this->site();
    auto accessPoints = session->fetchAccessPoints(budget, site);
    auto cameras = session->fetchCameras(budget);
    auto devices = co_await std::move(accessPoints);
    const bool devicesArrived = devices.ok();
    // A session that a disconnect or a new connect ended has nothing more to report.
    const auto over = [this, &gone, &session, &site] {
        return gone->isSet() || !session || session->isEnding() || this->site() != site;
    };
    if (!over()) {
        if (devicesArrived) {
            setAccessPoints(std::move(devices).value());
        } else {
            setLastError(devices.error().description());
            //: %1 says why.
            log(tr("Device refresh failed: %1").arg(devices.error().description()), LogLevel::warning);
        }
    }
    auto protect = co_await std::move(cameras);
    if (over() || !devicesArrived)
        co_return Done{};
    if (protect.ok()) {
        setCameras(std::move(protect).value());
    } else {
        setLastError(protect.error().description());
        //: %1 says why.
        log(tr("Device refresh failed: %1").arg(protect.error().description()), LogLevel::warning);
    }
    co_return Done{};
}

QCoro::Task<Done> AppState::chooseSite(QString name)
{
    if (!m_config || m_config->site == name)
        co_return Done{};
    ControllerConfig config = *m_config;
    config.site = name;
    setConfig(config);
    persistConfig();
    // The devices of the site left are not shown under the one chosen, not even for a moment.
    setAccessPoints({});
    co_await refreshDevices();
    co_return Done{};
}

// Restarts.

QCoro::Task<Result<Done, UnifiAPIError>> AppState::restart(RestartTarget target)
{
    co_return co_await restartOn(m_session, std::move(target), std::make_shared<RenewalBudget>(), site());
}

QCoro::Task<Result<Done, UnifiAPIError>> AppState::restartOn(QPointer<ControllerSession> session, RestartTarget target,
                                                             std::shared_ptr<RenewalBudget> budget, QString site)
{
    if (!session)
        co_return UnifiAPIError::notLoggedIn();
    const std::shared_ptr<Latch> gone = m_gone;
    if (m_quitting) {
        // Neither sent nor failed: whoever asked learns nothing more before the state is gone, so a
        // scheduled run records nothing and resumes with this device at the next start.
        co_await untilSet(gone);
        co_return UnifiAPIError::closed();
    }
    const Result<Done, UnifiAPIError> result = co_await session->restart(target, std::move(budget), std::move(site));
    if (gone->isSet())
        co_return result;
    if (result.ok())
        //: Activity log line; %1 is the device's name.
        log(tr("Restarted %1").arg(target.displayName));
    else
        //: %1 is the device's name, %2 says why.
        log(tr("Restart failed for %1: %2").arg(target.displayName, result.error().description()), LogLevel::error);
    co_return result;
}

// Jobs.

void AppState::addJob(ScheduledJob job)
{
    m_jobList->add(std::move(job));
}

void AppState::updateJob(ScheduledJob job)
{
    m_jobList->update(std::move(job));
}

void AppState::setJob(const ScheduledJob &job, bool enabled)
{
    m_jobList->setEnabled(job, enabled);
}

void AppState::removeJobs(QList<int> positions)
{
    m_jobList->remove(std::move(positions));
}

} // namespace lanternfold
