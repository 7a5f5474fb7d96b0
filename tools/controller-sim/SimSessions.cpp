// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "SimSessions.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMessageAuthenticationCode>
#include <QRandomGenerator>
#include <QUuid>

namespace lanternfold::sim {

using namespace Qt::StringLiterals;

namespace {

QByteArray base64Url(const QByteArray &bytes)
{
    return bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

} // namespace

SimSessions::SimSessions() : m_jwtSecret(randomHex(32).toLatin1()) {}

QString SimSessions::randomHex(int bytes)
{
    QByteArray data(bytes, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(data.data()), bytes / 4);
    return QString::fromLatin1(data.toHex());
}

QString SimSessions::newCsrfToken()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

SimSession &SimSessions::create(const QString &username, bool jwt, TimePoint now, QByteArray *cookieValue)
{
    SimSession session;
    session.number = m_nextNumber++;
    session.username = username;
    session.userId = QUuid::createUuidV5(QUuid(), username).toString(QUuid::WithoutBraces);
    session.csrfToken = newCsrfToken();
    session.expiresAt = now + m_lifetime;
    const QByteArray value = jwt ? newJwt(session) : randomHex(32).toLatin1();
    if (cookieValue)
        *cookieValue = value;
    return *m_sessions.insert(value, session);
}

QByteArray SimSessions::newJwt(const SimSession &session) const
{
    // The claims are wall-clock seconds, as a console writes them; expiry itself is decided by the
    // simulator's clock through expiresAt.
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    const qint64 lifetimeSeconds = std::chrono::duration_cast<std::chrono::seconds>(m_lifetime).count();
    const QByteArray header = base64Url(QByteArrayLiteral(R"({"alg":"HS256","typ":"JWT"})"));
    const QByteArray payload = base64Url(QJsonDocument(QJsonObject{{u"userId"_s, session.userId},
                                                                   {u"passwordRevision"_s, 0},
                                                                   {u"isRemembered"_s, false},
                                                                   {u"csrfToken"_s, session.csrfToken},
                                                                   {u"iat"_s, now},
                                                                   {u"exp"_s, now + lifetimeSeconds},
                                                                   {u"jti"_s, newCsrfToken()}})
                                             .toJson(QJsonDocument::Compact));
    const QByteArray signature =
        base64Url(QMessageAuthenticationCode::hash(header + '.' + payload, m_jwtSecret, QCryptographicHash::Sha256));
    return header + '.' + payload + '.' + signature;
}

SimSession *SimSessions::find(const HttpRequest &request, const QByteArray &cookieName, TimePoint now,
                              QByteArray *cookieValue)
{
    for (const auto &[name, value] : request.headers) {
        if (name.compare("Cookie", Qt::CaseInsensitive) != 0)
            continue;
        for (const QByteArray &pair : value.split(';')) {
            const QByteArray trimmed = pair.trimmed();
            const qsizetype equals = trimmed.indexOf('=');
            if (equals <= 0 || trimmed.left(equals) != cookieName)
                continue;
            const QByteArray token = trimmed.mid(equals + 1);
            const auto it = m_sessions.find(token);
            if (it == m_sessions.end())
                continue;
            if (now >= it->expiresAt) {
                m_sessions.erase(it);
                continue;
            }
            if (cookieValue)
                *cookieValue = token;
            return &*it;
        }
    }
    return nullptr;
}

int SimSessions::liveCount(TimePoint now) const
{
    int count = 0;
    for (const SimSession &session : m_sessions)
        count += now < session.expiresAt ? 1 : 0;
    return count;
}

void SimSessions::setRateLimit(int maxLogins, std::chrono::milliseconds window)
{
    m_rateLimitLogins = qMax(0, maxLogins);
    m_rateLimitWindow = window;
    m_recentLogins.clear();
}

bool SimSessions::admitLogin(TimePoint now)
{
    if (m_rateLimitLogins <= 0)
        return true;
    m_recentLogins.removeIf([&](TimePoint at) { return now - at >= m_rateLimitWindow; });
    if (m_recentLogins.size() >= m_rateLimitLogins)
        return false;
    m_recentLogins.append(now);
    return true;
}

} // namespace lanternfold::sim
