#pragma once

#include "SimClock.h"
#include "SimFaults.h"
#include "SimSessions.h"
#include "SimulatedSite.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

#include <cstdint>
#include <optional>

namespace lanternfold::sim {

enum class SimKind : std::uint8_t { UnifiOS, Classic };

/// An answer every login gets instead of the controller's own, for client tests.
struct SimLoginAnswer
{
    int status = 200;
    QByteArray body;
};

/// Everything the simulated controller knows and is switched to, shared by the facade, the
/// router and the command language. Plain data: the units that use it hold the behaviour.
struct SimState
{
    SimKind kind = SimKind::UnifiOS;
    QString username;
    QString password;
    QString siteName = QStringLiteral("default");
    SimulatedSite site;
    SimSessions sessions;
    SimFaults faults;
    bool csrfRotation = false;
    bool jwtCookie = false;
    bool csrfHeaderAtLogin = true;
    bool csrfCookie = false;
    bool twoFactor = false;
    std::optional<SimLoginAnswer> loginAnswer;
    QList<QPair<QByteArray, QByteArray>> extraHeaders;
    SimClockFunction clock; ///< empty: the real steady clock

    [[nodiscard]] std::chrono::steady_clock::time_point now() const
    {
        return clock ? clock() : std::chrono::steady_clock::now();
    }
};

} // namespace lanternfold::sim
