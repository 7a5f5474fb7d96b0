// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

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

/// A site besides the first: its short id, the name people know, and its devices.
struct SimExtraSite
{
    QString name;
    QString desc;
    SimulatedSite site;
};

/// Everything the simulated controller knows and is switched to, shared by the facade, the
/// router and the command language. Plain data: the units that use it hold the behaviour.
struct SimState
{
    SimKind kind = SimKind::UnifiOS;
    QString username;
    QString password;
    QString siteName = QStringLiteral("default");
    QString siteDesc = QStringLiteral("Default");
    SimulatedSite site;
    /// Further sites, listed after the first; the cameras are the console's and stay with the first.
    QList<SimExtraSite> otherSites;
    /// The account may read every site but restart nothing (role "readonly").
    bool readOnly = false;
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

    /// The site of that short id (case-sensitive, as controllers compare them), if served.
    [[nodiscard]] SimulatedSite *siteNamed(const QString &name)
    {
        if (name == siteName)
            return &site;
        for (SimExtraSite &other : otherSites) {
            if (other.name == name)
                return &other.site;
        }
        return nullptr;
    }
    /// Every site served, the first included, to apply a setting to all of them.
    template <typename Apply>
    void forEachSite(Apply apply)
    {
        apply(site);
        for (SimExtraSite &other : otherSites)
            apply(other.site);
    }

    [[nodiscard]] std::chrono::steady_clock::time_point now() const
    {
        return clock ? clock() : std::chrono::steady_clock::now();
    }
};

} // namespace lanternfold::sim
