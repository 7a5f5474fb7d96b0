// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/UnifiAPIClient.h"

#include "Async/Latch.h"
#include "Controller/ControllerLog.h"
#include "Controller/HttpTransport.h"
#include "Controller/Inventory.h"
#include "Controller/Trust/CertTrustService.h"
#include "Controller/Trust/FirstUseTrust.h"
#include "Controller/Trust/PinningSessionDelegate.h"
#include "Models/FastJson.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QStringDecoder>

#include <memory>

namespace lanternfold {

using namespace Qt::StringLiterals;

/// The client's private cookie store, with the means to empty it.
class ClientCookieJar final : public QNetworkCookieJar
{
public:
    using QNetworkCookieJar::allCookies;
    using QNetworkCookieJar::QNetworkCookieJar;
};

namespace {

/// The session cookies for url, as a Cookie header value; empty when there are none.
QByteArray cookieHeader(const QList<QNetworkCookie> &cookies)
{
    QByteArray header;
    for (const QNetworkCookie &cookie : cookies) {
        if (!header.isEmpty())
            header += "; ";
        header += cookie.toRawForm(QNetworkCookie::NameAndValueOnly);
    }
    return header;
}

} // namespace

/// A login in progress; logins that overlap it wait for its outcome.
struct UnifiAPIClient::LoginAttempt
{
    Latch finished;
    std::optional<APIResult<Done>> result;
};

namespace {

/// The start of an error answer's body as text, when it is UTF-8; empty otherwise. Only as much
/// is decoded as an error text shows: a character is at most four bytes, and a sequence that the
/// cut splits is left out rather than counted as an error.
QString utf8OrEmpty(const QByteArray &bytes)
{
    constexpr qsizetype decoded = 4 * (UnifiAPIError::bodyShownLimit + 1);
    // A body read whole must be UTF-8 to its end; a cut one may end inside a character.
    const bool whole = bytes.size() <= decoded;
    QStringDecoder decoder(QStringDecoder::Utf8,
                           whole ? QStringDecoder::Flag::Stateless : QStringDecoder::Flag::Default);
    QString text = decoder.decode(QByteArrayView(bytes).first(std::min(bytes.size(), decoded)));
    return decoder.hasError() ? QString() : text;
}

/// What a failed request's error says, without a body the controller sent, for diagnostics.
QString outcomeWithoutBody(const UnifiAPIError &error)
{
    if (error.kind() == UnifiAPIError::Case::server)
        return u"HTTP "_s + QString::number(error.status());
    if (error.kind() == UnifiAPIError::Case::network)
        return error.description();
    return u"refused by the pin check"_s;
}

bool isSuccess(int status)
{
    return status >= 200 && status <= 299;
}

/// Why a login answer refuses the login, if it does. The error envelope counts whatever the status:
/// controllers send it with 200 too, and a 200 that carries it made no session. The status comes
/// second: a console asks for a second factor with 499, and a refused password is 400 or 401.
std::optional<UnifiAPIError> loginRefusal(int status, const QByteArray &body)
{
    // Read leniently: a stray byte that is not UTF-8 inside some string must not hide the envelope
    // and turn a refusal into a success. The text shown is still the body only if it is all UTF-8.
    const QJsonObject object = QJsonDocument::fromJson(QString::fromUtf8(body).toUtf8()).object();
    const QJsonObject meta = object.value(u"meta"_s).toObject();
    if (meta.value(u"rc"_s).toString() == u"error"_s) {
        const QString message = meta.value(u"msg"_s).toString();
        if (message == u"api.err.Ubic2faTokenRequired"_s)
            return UnifiAPIError::twoFactorRequired();
        if (message == u"api.err.Invalid"_s)
            return UnifiAPIError::invalidCredentials();
        return UnifiAPIError::server(status, utf8OrEmpty(body));
    }
    // 499 is the console's challenge whatever its body; the body's code says the same at any status.
    if (status == 499 || object.value(u"code"_s).toString() == u"MFA_AUTH_REQUIRED"_s)
        return UnifiAPIError::twoFactorRequired();
    if (status == 401 || status == 400)
        return UnifiAPIError::invalidCredentials();
    if (!isSuccess(status))
        return UnifiAPIError::server(status, utf8OrEmpty(body));
    return std::nullopt;
}

/// The pieces of a body as one block; the one piece itself when there is only one.
QByteArray join(const QList<QByteArray> &pieces)
{
    if (pieces.size() == 1)
        return pieces.first();
    qsizetype size = 0;
    for (const QByteArray &piece : pieces)
        size += piece.size();
    QByteArray whole;
    whole.reserve(size);
    for (const QByteArray &piece : pieces)
        whole.append(piece);
    return whole;
}

} // namespace

QByteArray UnifiAPIClient::Response::joined() const
{
    return join(body);
}

UnifiAPIClient::UnifiAPIClient(ControllerConfig config, FirstUseTrust &trust, QObject *parent)
    : QObject(parent),
      m_config(std::move(config)),
      m_trust(trust),
      m_cookieJar(std::make_unique<ClientCookieJar>()),
      m_delegate(new PinningSessionDelegate(m_config.host, m_trust.pins(), this)),
      m_transport(new HttpTransport(*m_delegate, idleConnectionKeep, this)),
      m_closed(std::make_shared<Latch>())
{
    connect(&m_trust.pins(), &CertTrustService::pinChanged, this, &UnifiAPIClient::onPinChanged);
}

UnifiAPIClient::~UnifiAPIClient()
{
    close();
}

void UnifiAPIClient::close()
{
    if (m_closed->isSet())
        return;
    // Waiters resume from the event loop, after this returns, and find the latch set.
    m_closed->set();
    m_transport->close();
    forgetSession();
}

bool UnifiAPIClient::isClosed() const
{
    return m_closed->isSet();
}

void UnifiAPIClient::forgetSession()
{
    for (const QNetworkCookie &cookie : m_cookieJar->allCookies())
        m_cookieJar->deleteCookie(cookie);
    m_csrfToken.reset();
    m_csrfFromCookie = false;
}

bool UnifiAPIClient::holdsSessionSecrets() const
{
    return m_csrfToken.has_value() || !m_cookieJar->allCookies().isEmpty();
}

void UnifiAPIClient::onPinChanged(const QString &host)
{
    if (host != m_config.host || m_closed->isSet())
        return;
    // A connection approved under the old pin carries no further request.
    m_transport->dropConnections();
}

QString UnifiAPIClient::siteOrConfigured(const QString &site) const
{
    return site.isEmpty() ? m_config.site : site;
}

QString UnifiAPIClient::networkPath(const QString &site, const QString &suffix) const
{
    const QString prefix = m_config.kind == ControllerKind::unifiOS ? u"/proxy/network"_s : QString();
    return prefix + u"/api/s/"_s + site + suffix;
}

APIResult<HttpRequest> UnifiAPIClient::makeRequest(const QString &path, bool sendsCsrfToken,
                                                   std::optional<QByteArray> body) const
{
    QUrl url = m_config.baseURL();
    url.setPath(path, QUrl::DecodedMode);
    HttpRequest request{body ? QByteArray("POST") : QByteArray("GET"), url, {}, std::move(body)};
    if (request.body)
        request.headers.append({QByteArrayLiteral("Content-Type"), QByteArrayLiteral("application/json")});
    if (const QByteArray cookies = cookieHeader(m_cookieJar->cookiesForUrl(url)); !cookies.isEmpty())
        request.headers.append({QByteArrayLiteral("Cookie"), cookies});
    if (sendsCsrfToken) {
        if (const auto token = csrfTokenFor(url)) {
            // A header's or a claim's token was checked when it came; a cookie changes at any time.
            const auto safe = headerSafeToken(token->toUtf8());
            if (!safe.ok())
                return safe.error();
            request.headers.append({QByteArrayLiteral("X-CSRF-Token"), token->toUtf8()});
        }
    }
    return request;
}

QCoro::Task<APIResult<UnifiAPIClient::Response>> UnifiAPIClient::send(HttpRequest request, qint64 limit)
{
    const std::shared_ptr<Latch> closed = m_closed;
    if (closed->isSet())
        co_return UnifiAPIError::closed();
    const QByteArray verb = request.method;
    const QUrl url = request.url;
    QElapsedTimer clock;
    clock.start();
    // The transfer timeout notices silence; the deadline a controller that sends a byte now and
    // then, which would keep the request, and everything waiting behind it, alive for ever.
    const HttpLimits limits{limit, m_transferTimeout, m_requestDeadline};
    auto exchanged = co_await m_transport->exchange(std::move(request), limits);
    if (closed->isSet())
        co_return UnifiAPIError::closed();
    std::optional<PinRefusal> mismatch;
    if (!exchanged.ok()) {
        const std::optional<PinRefusal> &refusal = exchanged.error().refusal;
        if (refusal && refusal->reason == PinRefusal::Reason::mismatch)
            mismatch = refusal;
    }
    APIResult<Response> result = exchanged.ok() ? interpret(url, std::move(exchanged).value())
                                                : APIResult<Response>(failureError(exchanged.error()));
    // The method, the path and the outcome only: headers and bodies carry the password, the
    // session cookie and the CSRF token.
    qCDebug(lcController).noquote() << verb.constData() << url.path() << "->"
                                    << (result.ok() ? QString::number(result.value().status)
                                                    : outcomeWithoutBody(result.error()))
                                    << "in" << clock.elapsed() << "ms";
    // Last, because the handler may close the client: a changed key, seen by the check itself.
    if (mismatch)
        Q_EMIT certificateMismatch(m_config.host, mismatch->expected, mismatch->presented);
    co_return result;
}

UnifiAPIError UnifiAPIClient::failureError(const HttpFailure &failure)
{
    switch (failure.kind) {
    case HttpFailure::Kind::refused:
        if (failure.refusal && failure.refusal->reason == PinRefusal::Reason::mismatch)
            return UnifiAPIError::certificateMismatch(failure.refusal->expected, failure.refusal->presented);
        return UnifiAPIError::certificateRejected();
    case HttpFailure::Kind::closed:
        return UnifiAPIError::closed();
    case HttpFailure::Kind::network:
    case HttpFailure::Kind::timedOut:
    case HttpFailure::Kind::tooLarge:
        break;
    }
    return UnifiAPIError::network(failure.text);
}

APIResult<UnifiAPIClient::Response> UnifiAPIClient::interpret(const QUrl &url, HttpAnswer answer)
{
    Response response{answer.status, std::move(answer.body), {}};
    for (const auto &[name, value] : std::as_const(answer.headers)) {
        if (name == "set-cookie")
            m_cookieJar->setCookiesFromUrl(QNetworkCookie::parseCookies(value), url);
        // Repeated fields are one list; a controller repeats none that is read here.
        if (!response.headers.contains(name))
            response.headers.insert(name, value);
    }
    if (const auto rotated = response.headers.constFind("x-updated-csrf-token");
        rotated != response.headers.constEnd()) {
        auto token = headerSafeToken(rotated.value());
        if (!token.ok())
            return token.error();
        m_csrfToken = std::move(token).value();
    }
    return response;
}

QCoro::Task<APIResult<UnifiAPIClient::Response>> UnifiAPIClient::get(QString path, qint64 limit)
{
    auto request = makeRequest(path, /*sendsCsrfToken=*/true, std::nullopt);
    if (!request.ok())
        co_return request.error();
    co_return co_await send(std::move(request).value(), limit);
}

QCoro::Task<APIResult<UnifiAPIClient::Response>> UnifiAPIClient::post(QString path, std::optional<QJsonObject> body)
{
    const QByteArray bytes = body ? QJsonDocument(*body).toJson(QJsonDocument::Compact) : QByteArray();
    auto request = makeRequest(path, /*sendsCsrfToken=*/true, bytes);
    if (!request.ok())
        co_return request.error();
    co_return co_await send(std::move(request).value(), answerLimit);
}

QString UnifiAPIClient::envelopeError(const QByteArray &body)
{
    if (body.size() > 4096)
        return {};
    const QJsonObject meta = QJsonDocument::fromJson(body).object().value(u"meta"_s).toObject();
    if (meta.value(u"rc"_s).toString() != u"error"_s)
        return {};
    return meta.value(u"msg"_s).toString();
}

APIResult<Done> UnifiAPIClient::assertOK(const Response &response, const QString &site)
{
    if (isSuccess(response.status))
        return Done{};
    // A site the account may not use is answered 401 (400 by older versions), exactly as an
    // expired session's requests are, and only the envelope tells them apart.
    if (!site.isEmpty() && (response.status == 401 || response.status == 400) &&
        envelopeError(response.joined()) == u"api.err.NoSiteContext"_s)
        return UnifiAPIError::noSiteContext(site);
    if (response.status == 401)
        return UnifiAPIError::notLoggedIn();
    return UnifiAPIError::server(response.status, utf8OrEmpty(response.joined()));
}

QCoro::Task<APIResult<Done>> UnifiAPIClient::login(QString password)
{
    if (m_closed->isSet())
        co_return UnifiAPIError::closed();
    if (m_login)
        co_return co_await awaitLogin(m_login, m_closed);
    const auto attempt = std::make_shared<LoginAttempt>();
    m_login = attempt;
    const std::shared_ptr<Latch> closed = m_closed;
    APIResult<Done> result = co_await performLogin(std::move(password));
    attempt->result = result;
    if (!closed->isSet() && m_login == attempt)
        m_login.reset();
    attempt->finished.set();
    co_return result;
}

QCoro::Task<APIResult<Done>> UnifiAPIClient::awaitLogin(std::shared_ptr<LoginAttempt> attempt,
                                                        std::shared_ptr<Latch> closed)
{
    Wakeup wakeup;
    wakeup.watch(attempt->finished);
    wakeup.watch(*closed);
    co_await wakeup.wait();
    if (closed->isSet())
        co_return UnifiAPIError::closed();
    co_return attempt->result.value_or(UnifiAPIError::closed());
}

QCoro::Task<APIResult<Done>> UnifiAPIClient::performLogin(QString password)
{
    const std::shared_ptr<Latch> closed = m_closed;
    // The key is approved before any credential leaves the machine.
    const QUrl address = m_config.baseURL();
    const auto pinned =
        co_await m_trust.ensurePinned(m_config.host, address.host(), static_cast<quint16>(address.port(443)),
                                      m_transferTimeout, closed, m_mayAskAboutKeys);
    if (closed->isSet())
        co_return UnifiAPIError::closed();
    if (!pinned.ok()) {
        const FirstUseRefusal &refusal = pinned.error();
        switch (refusal.reason) {
        case FirstUseRefusal::Reason::declined:
        case FirstUseRefusal::Reason::unattended:
            co_return UnifiAPIError::certificateRejected();
        case FirstUseRefusal::Reason::unreachable:
            co_return UnifiAPIError::network(refusal.detail);
        case FirstUseRefusal::Reason::closed:
            co_return UnifiAPIError::closed();
        }
    }

    const QString path = m_config.kind == ControllerKind::unifiOS ? u"/api/auth/login"_s : u"/api/login"_s;
    QJsonObject body;
    body.insert(u"username"_s, m_config.username);
    body.insert(u"password"_s, password);
    body.insert(u"rememberMe"_s, false);
    auto made = makeRequest(path, /*sendsCsrfToken=*/false, QJsonDocument(body).toJson(QJsonDocument::Compact));
    if (!made.ok())
        co_return made.error();
    const auto response = co_await send(std::move(made).value(), answerLimit);
    if (closed->isSet())
        co_return UnifiAPIError::closed();
    if (!response.ok())
        co_return response.error();
    const Response &answer = response.value();
    const auto token = readLoginAnswer(m_config.kind, answer.status, answer.headers, answer.joined(),
                                       m_cookieJar->cookiesForUrl(m_config.baseURL()));
    if (!token.ok())
        co_return token.error();
    adoptLoginToken(token.value());
    co_return Done{};
}

APIResult<UnifiAPIClient::LoginToken> UnifiAPIClient::readLoginAnswer(ControllerKind kind, int status,
                                                                      const QHash<QByteArray, QByteArray> &headers,
                                                                      const QByteArray &body,
                                                                      const QList<QNetworkCookie> &cookies)
{
    if (auto refusal = loginRefusal(status, body))
        return std::move(*refusal);
    // Header names are compared in lower case, so "x-csrf-token" and "X-CSRF-Token" are one.
    if (const auto header = headers.constFind("x-csrf-token"); header != headers.constEnd()) {
        auto token = headerSafeToken(header.value());
        if (!token.ok())
            return token.error();
        return LoginToken{LoginToken::Source::header, std::move(token).value()};
    }
    if (headers.contains("x-updated-csrf-token"))
        return LoginToken{LoginToken::Source::updatedHeader, std::nullopt};
    if (kind == ControllerKind::unifiOS) {
        // Some console firmware sends no CSRF header at login and carries the token only inside
        // the session cookie, a JWT.
        for (const char *name : {"TOKEN", "UOS_TOKEN"}) {
            for (const QNetworkCookie &cookie : cookies) {
                if (cookie.name() != name)
                    continue;
                if (auto claim = csrfTokenFromJwt(cookie.value())) {
                    auto token = headerSafeToken(claim->toUtf8());
                    if (!token.ok())
                        return token.error();
                    return LoginToken{LoginToken::Source::sessionJwt, std::move(token).value()};
                }
            }
        }
        return LoginToken{};
    }
    // A Network Application may hand the token only as a cookie of its own.
    for (const QNetworkCookie &cookie : cookies) {
        if (cookie.name() == "csrf_token" && !cookie.value().isEmpty())
            return LoginToken{LoginToken::Source::tokenCookie, std::nullopt};
    }
    return LoginToken{};
}

void UnifiAPIClient::adoptLoginToken(const LoginToken &token)
{
    switch (token.source) {
    case LoginToken::Source::header:
    case LoginToken::Source::sessionJwt:
        m_csrfToken = token.value;
        m_csrfFromCookie = false;
        return;
    case LoginToken::Source::updatedHeader:
        m_csrfFromCookie = false; // interpret() took the token
        return;
    case LoginToken::Source::tokenCookie:
        // The cookie stands in while no token is held. A token an earlier header gave is kept, as
        // after any login without a header; one rotated during an earlier cookie session belonged
        // to that session, and the new login's cookie replaces it.
        if (m_csrfFromCookie)
            m_csrfToken.reset();
        else if (!m_csrfToken)
            m_csrfFromCookie = true;
        return;
    case LoginToken::Source::none:
        return;
    }
}

std::optional<QString> UnifiAPIClient::tokenCookieValue(const QUrl &url) const
{
    for (const QNetworkCookie &cookie : m_cookieJar->cookiesForUrl(url)) {
        if (cookie.name() == "csrf_token" && !cookie.value().isEmpty())
            return QString::fromUtf8(cookie.value());
    }
    return std::nullopt;
}

std::optional<QString> UnifiAPIClient::csrfTokenFor(const QUrl &url) const
{
    // A token the controller handed in a header, at login or rotated since, always wins; the
    // cookie stands in only while there is none.
    if (m_csrfToken)
        return m_csrfToken;
    return tokenCookieValue(url);
}

APIResult<QString> UnifiAPIClient::headerSafeToken(const QByteArray &value)
{
    for (const char c : value) {
        if (c < 0x20 || c > 0x7e)
            return UnifiAPIError::decoding(
                tr("The controller's CSRF token holds characters a request header cannot carry."));
    }
    return QString::fromLatin1(value);
}

std::optional<QString> UnifiAPIClient::csrfTokenFromJwt(const QByteArray &cookieValue)
{
    const QList<QByteArray> parts = cookieValue.split('.');
    if (parts.size() != 3)
        return std::nullopt;
    QByteArray payload = parts.at(1);
    while (payload.size() % 4 != 0)
        payload.append('=');
    const auto decoded = QByteArray::fromBase64Encoding(payload, QByteArray::Base64UrlEncoding |
                                                                     QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(*decoded);
    if (!document.isObject())
        return std::nullopt;
    const QJsonValue token = document.object().value(u"csrfToken"_s);
    if (!token.isString())
        return std::nullopt;
    return token.toString();
}

QCoro::Task<void> UnifiAPIClient::logout()
{
    if (m_closed->isSet())
        co_return;
    const std::shared_ptr<Latch> closed = m_closed;
    const QString path = m_config.kind == ControllerKind::unifiOS ? u"/api/auth/logout"_s : u"/api/logout"_s;
    (void)co_await post(path, std::nullopt);
    // Whatever the controller answered, or if it never did, the session ends here.
    if (!closed->isSet())
        close();
}

} // namespace lanternfold
