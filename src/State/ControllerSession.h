#pragma once

// What the application state's source files share about a controller session: kept out of
// AppState.h, which the windows include.

#include "Async/Latch.h"
#include "Controller/UnifiAPIClient.h"
#include "Platform/KeychainService.h"
#include "State/AppState.h"

#include <QPointer>

#include <memory>

namespace lanternfold {

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
    /// Refreshes of this session's devices: how many started, how many are under way, and the
    /// latch set when those under way have all ended (absent while none is).
    int refreshesStarted = 0;
    int refreshesUnderWay = 0;
    std::shared_ptr<Latch> refreshed;
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

/// The keyring account of a configuration's password.
inline QString keyringAccount(const ControllerConfig &config)
{
    return KeychainService::account(config.host, config.username);
}

} // namespace lanternfold
