// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "HttpMessage.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include <chrono>

namespace lanternfold::sim {

struct SimSession
{
    /// 1, 2, 3… in the order logins created them; never reused, not even after expireSessions().
    int number = 0;
    QString username;
    QString userId;
    QString csrfToken;
    std::chrono::steady_clock::time_point expiresAt;
};

/// The sessions logins created, keyed by cookie value, and the login rate limit. Every method that
/// depends on the time is handed it, so the simulator's clock decides.
class SimSessions
{
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    SimSessions();

    /// Sessions end this long after login, however busy they are.
    void setLifetime(std::chrono::milliseconds lifetime) { m_lifetime = lifetime; }
    [[nodiscard]] std::chrono::milliseconds lifetime() const { return m_lifetime; }

    /// Makes a session for username. The cookie value is random, or with jwt a signed JWT whose
    /// "csrfToken" claim carries the session's token.
    SimSession &create(const QString &username, bool jwt, TimePoint now, QByteArray *cookieValue);
    /// The live session the request's cookieName cookie names, or null. Expired sessions are
    /// forgotten on the way.
    SimSession *find(const HttpRequest &request, const QByteArray &cookieName, TimePoint now,
                     QByteArray *cookieValue = nullptr);
    void remove(const QByteArray &cookieValue) { m_sessions.remove(cookieValue); }
    void clear() { m_sessions.clear(); }
    [[nodiscard]] int liveCount(TimePoint now) const;

    /// After maxLogins login attempts within window, further ones are refused until the window has
    /// room again. maxLogins 0 turns the limit off.
    void setRateLimit(int maxLogins, std::chrono::milliseconds window);
    [[nodiscard]] int rateLimitLogins() const { return m_rateLimitLogins; }
    [[nodiscard]] std::chrono::milliseconds rateLimitWindow() const { return m_rateLimitWindow; }
    /// Counts one login attempt; false (and not counted) when the limit refuses it.
    bool admitLogin(TimePoint now);

    static QString newCsrfToken();
    static QString randomHex(int bytes);

private:
    QByteArray newJwt(const SimSession &session) const;

    QHash<QByteArray, SimSession> m_sessions;
    int m_nextNumber = 1;
    std::chrono::milliseconds m_lifetime{std::chrono::hours(2)};
    QByteArray m_jwtSecret;
    int m_rateLimitLogins = 0;
    std::chrono::milliseconds m_rateLimitWindow{std::chrono::minutes(1)};
    QList<TimePoint> m_recentLogins;
};

} // namespace lanternfold::sim
