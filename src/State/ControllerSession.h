// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Controller/UnifiAPIClient.h"
#include "Models/ControllerConfig.h"
#include "Models/RestartTarget.h"

#include <QObject>
#include <QPointer>

#include <QCoroTask>

#include <chrono>
#include <memory>

namespace lanternfold {

class FirstUseTrust;
class KeychainService;
class Latch;

/// What one operation (a refresh, a restart, a scheduled run) may spend on renewing an expired
/// session: one login, however many of its requests the controller turns away.
struct RenewalBudget
{
    bool used = false;
};

/// One connection to a controller: its client, the renewal of a session that the controller has
/// ended, the restart commands in flight, and the connection's end.
///
/// A controller ends a session after a while and answers 401 from then on; the session then logs
/// in again with the keyring's password, once per operation (a refresh, a restart, a scheduled
/// run), and requests that fail together wait for the same login. Ending is in two steps: retire()
/// lets a restart command already sent get its answer (the controller may have acted on it) while
/// nothing new starts, then logs out and closes; close() ends every wait at once. The session may
/// also be destroyed while its operations are suspended: they then resume with the error of a
/// closed client and touch nothing of it.
class ControllerSession final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ControllerSession)

public:
    ControllerSession(ControllerConfig config, FirstUseTrust &trust, KeychainService &keychain,
                      QObject *parent = nullptr);
    /// Closes first.
    ~ControllerSession() override;

    [[nodiscard]] const ControllerConfig &config() const { return m_config; }
    /// How long the controller may keep one request waiting (tests shorten it).
    void setTransferTimeout(std::chrono::milliseconds timeout);
    /// How long one request may take from its start (tests shorten it).
    void setRequestDeadline(std::chrono::milliseconds deadline);
    /// A session nobody watches never asks about a first-seen key: its login fails at once.
    void setMayAskAboutKeys(bool mayAsk);
    /// How long retire() waits for commands in flight beyond a request's deadline.
    static constexpr std::chrono::milliseconds retireGrace{5'000};

    /// Whether a login that failed with error says the saved password is no good any more: a
    /// refused password, or an account that now wants a second factor.
    static bool refusesThePassword(const UnifiAPIError &error);

    /// The first login, with the password the person typed or the keyring gave.
    QCoro::Task<APIResult<Done>> login(QString password);

    QCoro::Task<APIResult<QList<ControllerSite>>> fetchSites(std::shared_ptr<RenewalBudget> budget);
    // Access points live on a site (a short id); cameras belong to the console.
    QCoro::Task<APIResult<QList<UnifiDevice>>> fetchAccessPoints(std::shared_ptr<RenewalBudget> budget, QString site);
    QCoro::Task<APIResult<QList<ProtectCamera>>> fetchCameras(std::shared_ptr<RenewalBudget> budget);
    /// Restarts an access point or reboots a camera. Counted as in flight from the moment the
    /// command leaves until its answer, which retire() waits for.
    QCoro::Task<APIResult<Done>> restart(RestartTarget target, std::shared_ptr<RenewalBudget> budget, QString site);
    /// The target's record as the controller has it now, to watch it reboot.
    QCoro::Task<APIResult<DeviceReading>> read(RestartTarget target, std::shared_ptr<RenewalBudget> budget,
                                               QString site);

    /// Ends the session: it is ending at once (pauses that watch ending() stop), restart commands
    /// already sent get their answer, then the client logs out (when asked) and closes.
    QCoro::Task<void> retire(bool logOut);
    /// Returns once the restart commands already sent have been answered (or a request's deadline
    /// and retireGrace have passed, or the session is gone); sends nothing itself.
    QCoro::Task<void> settleCommands();
    /// Ends every wait at once with the error of a closed client; nothing more is sent.
    void close();

    /// Set once the session is ending (retired or closed): batches stop at their next pause.
    [[nodiscard]] const std::shared_ptr<Latch> &ending() const { return m_ending; }
    [[nodiscard]] bool isEnding() const;
    /// What operations that the session's end cut short fail with: a closed connection, unless the
    /// session ended because it could not be renewed (markUnrenewable), which is "Not logged in.".
    [[nodiscard]] const UnifiAPIError &endedBecause() const { return m_endedBecause; }
    void markUnrenewable() { m_endedBecause = UnifiAPIError::notLoggedIn(); }
    [[nodiscard]] bool isClosed() const;

    /// Refreshes of this session's devices: how many started, and a latch set when those under
    /// way have all ended (none while none is under way). A connect that finds the device list
    /// already fetching waits for those answers rather than asking again.
    void beginRefresh();
    void endRefresh();
    [[nodiscard]] int refreshesStarted() const { return m_refreshesStarted; }
    [[nodiscard]] std::shared_ptr<Latch> refreshesUnderWay() const { return m_refreshed; }

Q_SIGNALS:
    /// The login that was to renew an expired session failed with error. When the error refuses
    /// the password, the session will not try again.
    void renewalFailed(const lanternfold::UnifiAPIError &error);
    /// An expired session could not log in again because the keyring has no password for it.
    void renewalImpossible();
    /// The controller presented a key other than the pinned one; nothing was sent over it.
    void certificateMismatch(const QString &host, const QString &expected, const QString &presented);

private:
    struct Renewal;

    /// Runs call on the client; when the controller says the session expired, logs in again once
    /// (shared with concurrent failures, once per budget) and runs call once more.
    template <typename T, typename Call>
    QCoro::Task<APIResult<T>> callWithRenewal(std::shared_ptr<RenewalBudget> budget, Call call);
    QCoro::Task<bool> renew(std::shared_ptr<RenewalBudget> budget);
    QCoro::Task<bool> performRenewal(std::shared_ptr<Renewal> renewal);
    QCoro::Task<APIResult<Done>> sendRestart(RestartTarget target, QString site);

    ControllerConfig m_config;
    KeychainService &m_keychain;
    QPointer<UnifiAPIClient> m_client;
    /// Set by the destructor; every suspended operation checks it before touching the session.
    std::shared_ptr<Latch> m_gone;
    std::shared_ptr<Latch> m_ending;

    int m_commandsInFlight = 0;
    /// Set when the commands in flight have all been answered.
    std::shared_ptr<Latch> m_settled;

    /// Counts the logins that renewed an expired session, so that a request sent before a renewal
    /// is simply retried instead of logging in again.
    int m_generation = 0;
    /// The renewal under way, which concurrent failures share.
    std::shared_ptr<Renewal> m_renewal;
    /// The controller refused the password of a renewal (wrong credentials, a second factor): no
    /// automatic login on this session again. A rate limit or a network failure only ends the
    /// operation that met it; the next one may try once more.
    bool m_renewalRefused = false;
    UnifiAPIError m_endedBecause = UnifiAPIError::closed();

    int m_refreshesStarted = 0;
    int m_refreshesUnderWay = 0;
    std::shared_ptr<Latch> m_refreshed;
};

} // namespace lanternfold
