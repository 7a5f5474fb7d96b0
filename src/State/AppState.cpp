// The application state: its published fields, the saved configuration, the activity log and the
// connection's life. Device operations are in AppStateDevices.cpp, the job list in AppStateJobs.cpp.
#include "State/AppState.h"

#include "Controller/Trust/CertTrustService.h"
#include "Controller/Trust/CertificateApprover.h"
#include "Platform/NotificationService.h"
#include "Platform/Preferences.h"
#include "Schedules/ScheduleStore.h"
#include "State/ControllerSession.h"
#include "State/SchedulerEngine.h"

#include <QJsonDocument>
#include <QSettings>
#include <QTimer>

#include <utility>

namespace lanternfold {

using namespace Qt::StringLiterals;

const QString AppState::configDefaultsKey = u"com.lanternfold.controllerConfig"_s;

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
    // From the event loop: the first use of the session bus waits for the connection to it, and
    // the window need not wait for that. Nothing depends on the answer.
    QTimer::singleShot(0, this, [] { NotificationService::requestAuthorization(); });
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
    if (m_transferTimeout)
        client->setTransferTimeout(*m_transferTimeout);
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
        co_await KeychainService::savePassword(password, keyringAccount(config));
        if (gone->isSet())
            co_return Done{};
    }
    if (session->refreshesStarted == 0) {
        co_await refreshDevices();
    } else if (const std::shared_ptr<Latch> refreshed = session->refreshed) {
        // The device list, shown the moment the login succeeded, already asked for this session's
        // devices: its answers will do, and a second pair of fetches would only delay them.
        Wakeup wakeup;
        wakeup.watch(*refreshed);
        wakeup.watch(*gone);
        co_await wakeup.wait();
    }
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
    const auto password = co_await KeychainService::readPassword(keyringAccount(config));
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

} // namespace lanternfold
