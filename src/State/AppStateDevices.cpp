// The application state's device operations: refreshing the lists and restarting devices, one
// at a time or as a staggered batch, with one renewal of a session the controller has ended.
#include "State/AppState.h"

#include "Platform/MemoryRelease.h"
#include "State/ControllerSession.h"

#include <utility>

namespace lanternfold {

using namespace Qt::StringLiterals;

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
    const auto password = co_await KeychainService::readPassword(keyringAccount(client->config()));
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

namespace {

/// Counts one refresh of a session from its start to its end, on every path out of it.
class RefreshUnderWay
{
public:
    explicit RefreshUnderWay(std::shared_ptr<ControllerSession> session) : m_session(std::move(session))
    {
        ++m_session->refreshesStarted;
        if (m_session->refreshesUnderWay++ == 0)
            m_session->refreshed = std::make_shared<Latch>();
    }
    ~RefreshUnderWay()
    {
        if (--m_session->refreshesUnderWay == 0) {
            std::exchange(m_session->refreshed, nullptr)->set();
            releaseFreedMemorySoon();
        }
    }
    Q_DISABLE_COPY_MOVE(RefreshUnderWay)

private:
    std::shared_ptr<ControllerSession> m_session;
};

} // namespace

QCoro::Task<Done> AppState::refreshDevices()
{
    const std::shared_ptr<Latch> gone = m_gone;
    const auto session = m_session;
    if (!session)
        co_return Done{};
    const RefreshUnderWay underWay(session);
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

} // namespace lanternfold
