// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "SimRouter.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QUrl>
#include <QUuid>

namespace lanternfold::sim {

using namespace Qt::StringLiterals;

namespace {

constexpr auto jsonType = "application/json; charset=utf-8";

QByteArray compact(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

HttpResponse jsonResponse(int status, const QByteArray &body)
{
    HttpResponse response;
    response.status = status;
    response.setHeader(QByteArrayLiteral("Content-Type"), QByteArray(jsonType));
    response.body = body;
    return response;
}

/// The classic Network Application's envelope, which UniFi OS keeps for the Network API. Written by
/// hand so the member order is the controller's ("meta" first), not QJsonObject's.
HttpResponse okEnvelope(const QByteArray &dataMembers = {})
{
    return jsonResponse(200, QByteArrayLiteral(R"({"meta":{"rc":"ok"},"data":[)") + dataMembers + "]}");
}

HttpResponse apiError(int status, const QString &message)
{
    return jsonResponse(status, QByteArrayLiteral(R"({"meta":{"rc":"error","msg":")") + message.toUtf8() +
                                    QByteArrayLiteral(R"("},"data":[]})"));
}

HttpResponse notFound()
{
    return jsonResponse(404, QByteArrayLiteral(R"({"error":"Not Found"})"));
}

HttpResponse htmlResponse(const QByteArray &title)
{
    HttpResponse response;
    response.setHeader(QByteArrayLiteral("Content-Type"), QByteArrayLiteral("text/html; charset=utf-8"));
    response.body = "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>" + title +
                    "</title></head>\n<body><h1>" + title +
                    "</h1><p>Simulated controller for Lanternfold.</p></body></html>\n";
    return response;
}

QString percentDecoded(const QString &segment)
{
    return QUrl::fromPercentEncoding(segment.toUtf8());
}

} // namespace

QString SimRouter::loginPath(SimKind kind)
{
    return kind == SimKind::UnifiOS ? u"/api/auth/login"_s : u"/api/login"_s;
}

QString SimRouter::logoutPath(SimKind kind)
{
    return kind == SimKind::UnifiOS ? u"/api/auth/logout"_s : u"/api/logout"_s;
}

QByteArray SimRouter::cookieName(SimKind kind)
{
    return kind == SimKind::UnifiOS ? QByteArrayLiteral("TOKEN") : QByteArrayLiteral("unifises");
}

bool SimRouter::isInventoryPath(const QString &path)
{
    if (path == u"/proxy/protect/api/cameras"_s)
        return true;
    const QStringList parts = path.split(u'/');
    const qsizetype n = parts.size();
    const auto statDeviceAt = [&](qsizetype at) {
        return at >= 0 && parts[at] == u"stat"_s && parts[at + 1] == u"device"_s;
    };
    return statDeviceAt(n - 2) || statDeviceAt(n - 3);
}

SimulatedSite::Shape SimRouter::shapeFor(const QString &path) const
{
    return m_state.faults.faultFor(FaultKind::WrongType, path, loginPath(m_state.kind))
               ? SimulatedSite::Shape::WrongType
               : SimulatedSite::Shape::Normal;
}

bool SimRouter::truncates(const QString &path) const
{
    return m_state.faults.faultFor(FaultKind::MalformedJson, path, loginPath(m_state.kind)).has_value();
}

HttpResponse SimRouter::route(const HttpRequest &request, const QString &path, QJsonObject &entry)
{
    const bool isGet = request.method == "GET";
    const bool isPost = request.method == "POST";
    const bool unifiOS = m_state.kind == SimKind::UnifiOS;

    // Paths answered without a session.
    if (path == loginPath(m_state.kind))
        return isPost ? login(request, entry) : notFound();
    if (path == u"/"_s && isGet) {
        if (unifiOS)
            return htmlResponse(QByteArrayLiteral("UniFi OS"));
        HttpResponse redirect;
        redirect.status = 302;
        redirect.setHeader(QByteArrayLiteral("Location"), QByteArrayLiteral("/manage"));
        return redirect;
    }
    if (!unifiOS && (path == u"/manage"_s || path.startsWith(u"/manage/"_s)) && isGet)
        return htmlResponse(QByteArrayLiteral("UniFi Network"));
    // A classic Network Application has no console in front of it: nothing lives under /proxy.
    if (!unifiOS && (path == u"/proxy"_s || path.startsWith(u"/proxy/"_s)))
        return notFound();

    // Everything else needs a live session, checked before anything about the request itself.
    QByteArray cookieValue;
    SimSession *session = m_state.sessions.find(request, cookieName(m_state.kind), m_state.now(), &cookieValue);
    if (!session)
        return apiError(401, u"api.err.LoginRequired"_s);

    if (isPost && request.header(QByteArrayLiteral("X-CSRF-Token")) != session->csrfToken.toUtf8())
        return jsonResponse(403, QByteArrayLiteral(R"({"message":"Invalid CSRF Token"})"));

    const QString networkApi = unifiOS ? u"/proxy/network/api/"_s : u"/api/"_s;
    const QString camerasPath = u"/proxy/protect/api/cameras"_s;
    HttpResponse response = notFound();
    if (path == logoutPath(m_state.kind)) {
        if (isPost)
            return logout(cookieValue); // the session is gone: nothing to rotate
    } else if (path == (unifiOS ? u"/api/users/self"_s : u"/api/self"_s)) {
        if (isGet)
            response = self(*session);
    } else if (path == networkApi + u"self/sites"_s) {
        if (isGet)
            response = sites();
    } else if (path.startsWith(networkApi + u"s/"_s)) {
        response = siteEndpoint(request, path, path.mid(networkApi.size() + 2));
    } else if (unifiOS && path == camerasPath) {
        if (isGet)
            response = cameras(path);
    } else if (unifiOS && path.startsWith(camerasPath + u'/') && path.endsWith(u"/reboot"_s)) {
        const QString id = path.mid(camerasPath.size() + 1).chopped(int(QStringView(u"/reboot").size()));
        if (isPost && !id.isEmpty() && !id.contains(u'/'))
            response = rebootCamera(percentDecoded(id));
    } else if (unifiOS && path.startsWith(camerasPath + u'/')) {
        const QString id = path.mid(camerasPath.size() + 1);
        if (isGet && !id.isEmpty() && !id.contains(u'/'))
            response = camera(path, percentDecoded(id));
    }

    if (isPost && m_state.csrfRotation) {
        session->csrfToken = SimSessions::newCsrfToken();
        response.setHeader(QByteArrayLiteral("X-Updated-CSRF-Token"), session->csrfToken.toUtf8());
        if (tokenInCookie())
            setCsrfCookie(response, session->csrfToken);
        entry.insert(u"issuedToken"_s, session->csrfToken);
    }
    return response;
}

HttpResponse SimRouter::siteEndpoint(const HttpRequest &request, const QString &path, const QString &rest)
{
    const QStringList parts = rest.split(u'/');
    const QString site = percentDecoded(parts.value(0));
    const QStringList endpoint = parts.mid(1);
    // stat/device, stat/device/ (as some clients write it) and stat/device/<mac>.
    const bool devicesList = request.method == "GET" && (endpoint.size() == 2 || endpoint.size() == 3) &&
                             endpoint[0] == u"stat"_s && endpoint[1] == u"device"_s;
    const bool restart = request.method == "POST" && endpoint == QStringList{u"cmd"_s, u"devmgr"_s};
    if (!devicesList && !restart)
        return notFound();
    // A site that does not exist, or that the account may not use: answered as controllers do,
    // with the status of a missing login and only the envelope to tell the two apart.
    SimulatedSite *served = m_state.siteNamed(site);
    if (!served)
        return apiError(401, u"api.err.NoSiteContext"_s);
    if (restart)
        return m_state.readOnly ? apiError(403, u"api.err.NoPermission"_s) : restartDevice(request, *served);
    return devices(path, percentDecoded(endpoint.value(2)), *served);
}

HttpResponse SimRouter::login(const HttpRequest &request, QJsonObject &entry)
{
    if (m_state.loginAnswer)
        return jsonResponse(m_state.loginAnswer->status, m_state.loginAnswer->body);
    const auto now = m_state.now();
    if (!m_state.sessions.admitLogin(now)) {
        return jsonResponse(
            429,
            QByteArrayLiteral(
                R"({"code":"AUTHENTICATION_FAILED_LIMIT_REACHED","message":"You've reached the login attempt limit"})"));
    }

    const QJsonObject body = QJsonDocument::fromJson(request.body).object();
    const QJsonValue username = body.value(u"username"_s);
    const QJsonValue password = body.value(u"password"_s);
    if (!username.isString() || !password.isString() || username.toString() != m_state.username ||
        password.toString() != m_state.password) {
        if (m_state.kind == SimKind::UnifiOS) {
            return jsonResponse(
                401,
                QByteArrayLiteral(
                    R"({"code":"AUTHENTICATION_FAILED_INVALID_CREDENTIALS","message":"Invalid username or password"})"));
        }
        return apiError(400, u"api.err.Invalid"_s);
    }
    // The password is checked first: only someone who knows it learns that a second factor is due.
    if (m_state.twoFactor)
        return twoFactorChallenge();

    const bool jwt = m_state.jwtCookie && m_state.kind == SimKind::UnifiOS;
    QByteArray cookieValue;
    const SimSession session = m_state.sessions.create(m_state.username, jwt, now, &cookieValue);
    entry.insert(u"created"_s, session.number);
    entry.insert(u"issuedToken"_s, session.csrfToken);
    // For the tests that prove the session cookie never reaches a log of the program's.
    entry.insert(u"issuedCookie"_s, QString::fromLatin1(cookieValue));

    HttpResponse response = m_state.kind == SimKind::UnifiOS ? self(session) : okEnvelope();
    response.headers.append({QByteArrayLiteral("Set-Cookie"), cookieName(m_state.kind) + '=' + cookieValue +
                                                                  "; Path=/; HttpOnly; Secure; SameSite=Strict"});
    if (tokenInCookie())
        setCsrfCookie(response, session.csrfToken);
    else if (!jwt && m_state.csrfHeaderAtLogin)
        response.setHeader(QByteArrayLiteral("X-CSRF-Token"), session.csrfToken.toUtf8());
    return response;
}

bool SimRouter::tokenInCookie() const
{
    return m_state.csrfCookie && m_state.kind == SimKind::Classic;
}

void SimRouter::setCsrfCookie(HttpResponse &response, const QString &token)
{
    // Not HttpOnly: the controller's own web page reads it to fill in the header.
    response.headers.append({QByteArrayLiteral("Set-Cookie"), "csrf_token=" + token.toUtf8() + "; Path=/; Secure"});
}

HttpResponse SimRouter::twoFactorChallenge() const
{
    // Shaped after answers controllers were seen to give an account with a second factor: the
    // Network Application's error envelope listing the authenticators the account could use, and a
    // console's 499 saying the same in its own words. The ids come from the user name, so they stay
    // the same from run to run; the challenge cookie is new every time, as it is there.
    const auto id = [&](const QString &what) {
        return QUuid::createUuidV5(QUuid(), what + m_state.username).toString(QUuid::WithoutBraces);
    };
    const QString mfaCookie = SimSessions::randomHex(32);
    const QJsonObject email{{u"id"_s, id(u"email:"_s)},
                            {u"type"_s, u"email"_s},
                            {u"status"_s, u"active"_s},
                            {u"email"_s, u"demo@example.invalid"_s}};
    if (m_state.kind == SimKind::Classic) {
        const QJsonObject backup{
            {u"id"_s, id(u"backup:"_s)}, {u"type"_s, u"backup_code"_s}, {u"status"_s, u"backup"_s}};
        const QJsonObject data{{u"default_mfa"_s, id(u"email:"_s)},
                               {u"mfa_cookie"_s, mfaCookie},
                               {u"authenticators"_s, QJsonArray{backup, email}}};
        return jsonResponse(
            400, QByteArrayLiteral(R"({"meta":{"rc":"error","msg":"api.err.Ubic2faTokenRequired"},"data":[)") +
                     compact(data) + "]}");
    }
    const QJsonObject data{{u"required"_s, u"2fa"_s},
                           {u"mfaCookie"_s, u"UBIC_2FA="_s + mfaCookie},
                           {u"authenticators"_s, QJsonArray{email}},
                           {u"user"_s, QJsonObject{{u"id"_s, id({})}, {u"default_mfa"_s, id(u"email:"_s)}}}};
    return jsonResponse(
        499, QByteArrayLiteral(
                 R"({"code":"MFA_AUTH_REQUIRED","message":"MFA token required to authenticate to SSO","data":)") +
                 compact(data) + "}");
}

HttpResponse SimRouter::logout(const QByteArray &cookieValue)
{
    m_state.sessions.remove(cookieValue);
    HttpResponse response =
        m_state.kind == SimKind::UnifiOS ? jsonResponse(200, QByteArrayLiteral("{}")) : okEnvelope();
    response.headers.append(
        {QByteArrayLiteral("Set-Cookie"),
         cookieName(m_state.kind) + "=; Path=/; HttpOnly; Secure; Max-Age=0; Expires=Thu, 01 Jan 1970 00:00:00 GMT"});
    if (tokenInCookie()) {
        response.headers.append(
            {QByteArrayLiteral("Set-Cookie"),
             QByteArrayLiteral("csrf_token=; Path=/; Secure; Max-Age=0; Expires=Thu, 01 Jan 1970 00:00:00 GMT")});
    }
    return response;
}

HttpResponse SimRouter::devices(const QString &path, const QString &mac, const SimulatedSite &site)
{
    // One MAC that matches no device is not an error: the Network Application answers 200 with the
    // ok envelope and an empty list (a public report of a 7.x controller shows exactly that 30-byte
    // body for stat/device/<mac>), unlike stat/sta/<mac>, which answers api.err.UnknownStation.
    const auto now = m_state.now();
    QByteArray body = mac.isEmpty() ? site.devicesBody(now, shapeFor(path)) : site.deviceBody(mac, now, shapeFor(path));
    if (truncates(path)) {
        // Cut mid-way, as a proxy that gave up would: well-formed up to a point, then nothing.
        body.truncate(qMax<qsizetype>(1, body.size() / 2));
    }
    return jsonResponse(200, body);
}

HttpResponse SimRouter::cameras(const QString &path)
{
    QByteArray body = m_state.site.camerasBody(m_state.now(), shapeFor(path));
    if (truncates(path))
        body.truncate(qMax<qsizetype>(1, body.size() / 2));
    return jsonResponse(200, body);
}

HttpResponse SimRouter::camera(const QString &path, const QString &id)
{
    const auto body = m_state.site.cameraBody(id, m_state.now());
    if (!body)
        return jsonResponse(404, QByteArrayLiteral(R"({"error":"Camera not found","name":"NOT_FOUND"})"));
    QByteArray bytes = *body;
    if (truncates(path))
        bytes.truncate(qMax<qsizetype>(1, bytes.size() / 2));
    return jsonResponse(200, bytes);
}

HttpResponse SimRouter::restartDevice(const HttpRequest &request, SimulatedSite &site)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(request.body, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject())
        return apiError(400, u"api.err.InvalidPayload"_s);
    const QJsonObject body = document.object();
    if (body.value(u"cmd"_s).toString() != u"restart"_s)
        return apiError(400, u"api.err.InvalidCommand"_s);
    const QJsonValue mac = body.value(u"mac"_s);
    if (!mac.isString() || !site.restartDevice(mac.toString(), m_state.now()))
        return apiError(400, u"api.err.UnknownDevice"_s);
    return okEnvelope();
}

HttpResponse SimRouter::rebootCamera(const QString &cameraId)
{
    if (!m_state.site.rebootCamera(cameraId, m_state.now()))
        return jsonResponse(404, QByteArrayLiteral(R"({"error":"Camera not found"})"));
    return jsonResponse(200, QByteArrayLiteral("{}"));
}

HttpResponse SimRouter::self(const SimSession &session) const
{
    if (m_state.kind == SimKind::UnifiOS) {
        return jsonResponse(200, compact(QJsonObject{
                                     {u"unique_id"_s, session.userId},
                                     {u"first_name"_s, u"Demo"_s},
                                     {u"last_name"_s, u"Operator"_s},
                                     {u"full_name"_s, u"Demo Operator"_s},
                                     {u"email"_s, u"demo@example.invalid"_s},
                                     {u"email_status"_s, u"UNVERIFIED"_s},
                                     {u"status"_s, u"ACTIVE"_s},
                                     {u"username"_s, session.username},
                                     {u"local_account_exist"_s, true},
                                     {u"create_time"_s, 1700000000},
                                     {u"isOwner"_s, true},
                                     {u"isSuperAdmin"_s, true},
                                     {u"permissions"_s, QJsonObject{{u"network.management"_s, QJsonArray{u"admin"_s}},
                                                                    {u"protect.management"_s, QJsonArray{u"admin"_s}}}},
                                 }));
    }
    const QJsonObject user{{u"_id"_s, session.userId.left(8) + u"e4b0c8a2d1f07c41"_s},
                           {u"name"_s, session.username},
                           {u"email"_s, u"demo@example.invalid"_s},
                           {u"site_role"_s, u"admin"_s},
                           {u"is_super"_s, true},
                           {u"last_site_name"_s, m_state.siteName},
                           {u"requires_new_password"_s, false},
                           {u"email_alert_enabled"_s, false}};
    return okEnvelope(compact(user));
}

HttpResponse SimRouter::sites() const
{
    // The sites the signed-in account may open, the first one first. Ids are derived from the
    // names so that they stay the same from run to run.
    const QString role = m_state.readOnly ? u"readonly"_s : u"admin"_s;
    const auto entry = [&role](const QString &name, const QString &desc) {
        const QString id =
            QString::fromLatin1(QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha1).toHex().left(24));
        QJsonObject site{
            {u"_id"_s, id}, {u"name"_s, name}, {u"desc"_s, desc}, {u"role"_s, role}, {u"role_hotspot"_s, false}};
        if (name == u"default"_s) {
            // The site every controller is installed with carries these two markers.
            site.insert(u"attr_hidden_id"_s, u"default"_s);
            site.insert(u"attr_no_delete"_s, true);
        }
        return compact(site);
    };
    QByteArray data = entry(m_state.siteName, m_state.siteDesc);
    for (const SimExtraSite &other : m_state.otherSites)
        data += ',' + entry(other.name, other.desc);
    return okEnvelope(data);
}

} // namespace lanternfold::sim
