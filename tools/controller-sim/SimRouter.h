// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "HttpMessage.h"
#include "SimState.h"

#include <QJsonObject>
#include <QString>

namespace lanternfold::sim {

/// The controller's web API: which path answers what, in the order a console checks things
/// (session, then CSRF token, then path). Faults are applied around it, not in it, except for the
/// inventory shapes, which change how a body is written.
class SimRouter
{
public:
    explicit SimRouter(SimState &state) : m_state(state) {}

    /// The answer to one request. Adds "created" and "issuedToken" to the log entry when a session
    /// is made or a token rotated.
    HttpResponse route(const HttpRequest &request, const QString &path, QJsonObject &entry);

    static QString loginPath(SimKind kind);
    static QString logoutPath(SimKind kind);
    static QByteArray cookieName(SimKind kind);
    /// stat/device (also with a trailing slash or one MAC) and the Protect camera list: the answers
    /// the malformed and wrongtype faults reshape.
    static bool isInventoryPath(const QString &path);

private:
    /// Whether tokens travel as the "csrf_token" cookie (classic only).
    [[nodiscard]] bool tokenInCookie() const;
    static void setCsrfCookie(HttpResponse &response, const QString &token);
    HttpResponse login(const HttpRequest &request, QJsonObject &entry);
    /// The refusal of a right password when the account wants a second factor.
    [[nodiscard]] HttpResponse twoFactorChallenge() const;
    HttpResponse logout(const QByteArray &cookieValue);
    HttpResponse siteEndpoint(const HttpRequest &request, const QString &path, const QString &rest);
    HttpResponse devices(const QString &path, const QString &mac, const SimulatedSite &site);
    HttpResponse cameras(const QString &path);
    HttpResponse camera(const QString &path, const QString &id);
    HttpResponse restartDevice(const HttpRequest &request, SimulatedSite &site);
    HttpResponse rebootCamera(const QString &cameraId);
    HttpResponse self(const SimSession &session) const;
    HttpResponse sites() const;
    [[nodiscard]] SimulatedSite::Shape shapeFor(const QString &path) const;
    [[nodiscard]] bool truncates(const QString &path) const;

    SimState &m_state;
};

} // namespace lanternfold::sim
