// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "State/ControllerSession.h"

#include "Async/Latch.h"
#include "Platform/KeychainService.h"
#include "State/StateLog.h"

#include <QTimer>

#include <utility>

namespace lanternfold {

/// A login that renews an expired session; concurrent failures wait for the same one.
struct ControllerSession::Renewal
{
    Latch finished;
    bool succeeded = false;
};

ControllerSession::ControllerSession(ControllerConfig config, FirstUseTrust &trust, KeychainService &keychain,
                                     QObject *parent)
    : QObject(parent),
      m_config(std::move(config)),
      m_keychain(keychain),
      m_gone(std::make_shared<Latch>()),
      m_ending(std::make_shared<Latch>()),
      m_settled(std::make_shared<Latch>())
{
    m_client = new UnifiAPIClient(m_config, trust, this);
    connect(m_client, &UnifiAPIClient::certificateMismatch, this, &ControllerSession::certificateMismatch);
}

ControllerSession::~ControllerSession()
{
    m_gone->set();
    close();
}

void ControllerSession::setTransferTimeout(std::chrono::milliseconds timeout)
{
    if (m_client)
        m_client->setTransferTimeout(timeout);
}

void ControllerSession::setRequestDeadline(std::chrono::milliseconds deadline)
{
    if (m_client)
        m_client->setRequestDeadline(deadline);
}

void ControllerSession::setMayAskAboutKeys(bool mayAsk)
{
    if (m_client)
        m_client->setMayAskAboutKeys(mayAsk);
}

bool ControllerSession::isEnding() const
{
    return m_ending->isSet();
}

bool ControllerSession::isClosed() const
{
    return !m_client || m_client->isClosed();
}

void ControllerSession::close()
{
    m_ending->set();
    if (m_client)
        m_client->close();
}

QCoro::Task<APIResult<Done>> ControllerSession::login(QString password)
{
    if (!m_client)
        co_return UnifiAPIError::closed();
    const QPointer<UnifiAPIClient> client = m_client;
    co_return co_await client->login(std::move(password));
}

// Expired sessions.

bool ControllerSession::refusesThePassword(const UnifiAPIError &error)
{
    return error.kind() == UnifiAPIError::Case::invalidCredentials ||
           error.kind() == UnifiAPIError::Case::twoFactorRequired;
}

template <typename T, typename Call>
QCoro::Task<APIResult<T>> ControllerSession::callWithRenewal(std::shared_ptr<RenewalBudget> budget, Call call)
{
    const std::shared_ptr<Latch> gone = m_gone;
    const std::shared_ptr<Latch> ending = m_ending;
    const QPointer<UnifiAPIClient> client = m_client;
    if (!client)
        co_return UnifiAPIError::closed();
    const int generation = m_generation;
    auto result = co_await call(*client);
    if (gone->isSet() || result.ok() || !(result.error() == UnifiAPIError::notLoggedIn()) || !client ||
        client->isClosed())
        co_return result;
    // Renewed since this request left: the new session only needs the request again.
    bool renewed = m_generation != generation;
    if (!renewed && !ending->isSet())
        renewed = co_await renew(budget);
    if (gone->isSet())
        co_return result;
    // A session that ended meanwhile sends nothing more, renewed or not.
    if (ending->isSet() || !client || client->isClosed())
        co_return m_endedBecause;
    if (!renewed)
        co_return result;
    co_return co_await call(*client);
}

QCoro::Task<bool> ControllerSession::renew(std::shared_ptr<RenewalBudget> budget)
{
    if (const std::shared_ptr<Renewal> running = m_renewal) {
        // Concurrent failures share the login under way.
        budget->used = true;
        const std::shared_ptr<Latch> gone = m_gone;
        Wakeup wakeup;
        wakeup.watch(running->finished);
        wakeup.watch(*gone);
        co_await wakeup.wait();
        co_return !gone->isSet() && running->succeeded;
    }
    if (budget->used || m_renewalRefused || isEnding() || isClosed())
        co_return false;
    budget->used = true;
    auto renewal = std::make_shared<Renewal>();
    m_renewal = renewal;
    co_return co_await performRenewal(std::move(renewal));
}

QCoro::Task<bool> ControllerSession::performRenewal(std::shared_ptr<Renewal> renewal)
{
    const std::shared_ptr<Latch> gone = m_gone;
    const QPointer<UnifiAPIClient> client = m_client;
    const auto finish = [this, &gone, &renewal](bool succeeded) {
        renewal->succeeded = succeeded;
        if (!gone->isSet() && m_renewal == renewal)
            m_renewal.reset();
        renewal->finished.set();
        return succeeded;
    };
    qCDebug(lcState) << "session of" << m_config.host << "expired: logging in again";
    KeychainService &keychain = m_keychain;
    const auto password = co_await keychain.readPassword(KeychainService::account(m_config.host, m_config.username));
    if (gone->isSet() || !client || client->isClosed())
        co_return finish(false);
    if (!password) {
        Q_EMIT renewalImpossible();
        co_return finish(false);
    }
    const auto login = co_await client->login(*password);
    if (gone->isSet() || !client || client->isClosed())
        co_return finish(false);
    if (!login.ok()) {
        // Repeated logins with a refused password lock the account on a console: stop at once.
        if (refusesThePassword(login.error()))
            m_renewalRefused = true;
        Q_EMIT renewalFailed(login.error());
        co_return finish(false);
    }
    ++m_generation;
    co_return finish(true);
}

// Devices.

QCoro::Task<APIResult<QList<ControllerSite>>> ControllerSession::fetchSites(std::shared_ptr<RenewalBudget> budget)
{
    const auto call = [](UnifiAPIClient &client) { return client.fetchSites(); };
    return callWithRenewal<QList<ControllerSite>>(std::move(budget), call);
}

QCoro::Task<APIResult<QList<UnifiDevice>>> ControllerSession::fetchAccessPoints(std::shared_ptr<RenewalBudget> budget,
                                                                                QString site)
{
    const auto call = [site = std::move(site)](UnifiAPIClient &client) { return client.fetchAccessPoints(site); };
    return callWithRenewal<QList<UnifiDevice>>(std::move(budget), call);
}

QCoro::Task<APIResult<QList<ProtectCamera>>> ControllerSession::fetchCameras(std::shared_ptr<RenewalBudget> budget)
{
    const auto call = [](UnifiAPIClient &client) { return client.fetchCameras(); };
    return callWithRenewal<QList<ProtectCamera>>(std::move(budget), call);
}

QCoro::Task<APIResult<Done>> ControllerSession::restart(RestartTarget target, std::shared_ptr<RenewalBudget> budget,
                                                        QString site)
{
    const auto command = [this, target = std::move(target), site = std::move(site)](UnifiAPIClient & /*client*/) {
        return sendRestart(target, site);
    };
    return callWithRenewal<Done>(std::move(budget), command);
}

QCoro::Task<APIResult<DeviceReading>> ControllerSession::read(RestartTarget target,
                                                              std::shared_ptr<RenewalBudget> budget, QString site)
{
    const auto call = [target = std::move(target), site = std::move(site)](UnifiAPIClient &client) {
        return target.kind == RestartTargetKind::accessPoint ? client.readAccessPoint(target.identifier, site)
                                                             : client.readCamera(target.identifier);
    };
    return callWithRenewal<DeviceReading>(std::move(budget), call);
}

QCoro::Task<APIResult<Done>> ControllerSession::sendRestart(RestartTarget target, QString site)
{
    if (isEnding() || !m_client)
        co_return m_endedBecause;
    const std::shared_ptr<Latch> gone = m_gone;
    const QPointer<UnifiAPIClient> client = m_client;
    // Counted from the moment the command leaves until its answer: retirement waits for exactly
    // these, and not for a renewal's login that may never be answered.
    if (m_commandsInFlight++ == 0)
        m_settled = std::make_shared<Latch>();
    APIResult<Done> result = UnifiAPIError::closed();
    if (target.kind == RestartTargetKind::accessPoint)
        result = co_await client->restartAccessPoint(target.identifier, site);
    else
        result = co_await client->rebootCamera(target.identifier);
    if (!gone->isSet() && --m_commandsInFlight == 0)
        m_settled->set();
    co_return result;
}

void ControllerSession::beginRefresh()
{
    ++m_refreshesStarted;
    if (m_refreshesUnderWay++ == 0)
        m_refreshed = std::make_shared<Latch>();
}

void ControllerSession::endRefresh()
{
    if (--m_refreshesUnderWay == 0)
        std::exchange(m_refreshed, nullptr)->set();
}

// The end.

QCoro::Task<void> ControllerSession::settleCommands()
{
    const std::shared_ptr<Latch> gone = m_gone;
    // Each command ends by its request's deadline at the latest; the grace covers the answer's
    // way back, and a command that outlives both is abandoned when the client closes.
    QTimer patience;
    patience.setSingleShot(true);
    patience.start(m_client ? m_client->requestDeadline() + retireGrace : retireGrace);
    while (!gone->isSet() && m_commandsInFlight > 0 && patience.isActive()) {
        const std::shared_ptr<Latch> settled = m_settled;
        Wakeup wakeup;
        wakeup.watch(*settled);
        wakeup.watch(*gone);
        wakeup.watch(&patience, &QTimer::timeout);
        co_await wakeup.wait();
    }
}

QCoro::Task<void> ControllerSession::retire(bool logOut)
{
    const std::shared_ptr<Latch> gone = m_gone;
    m_ending->set();
    qCDebug(lcState) << "session of" << m_config.host << "ending;" << m_commandsInFlight << "command(s) in flight";
    co_await settleCommands();
    if (gone->isSet())
        co_return;
    const QPointer<UnifiAPIClient> client = m_client;
    if (client && logOut)
        co_await client->logout();
    if (gone->isSet())
        co_return;
    close();
}

} // namespace lanternfold
