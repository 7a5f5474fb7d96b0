#include "Services/UnifiAPIClient.h"

#include "Services/CertTrustService.h"
#include "Services/Inventory.h"
#include "Services/PinningSessionDelegate.h"

#include <QCoroNetworkReply>
#include <QCoroSignal>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkCookieJar>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QStringDecoder>
#include <QTimer>

#include <memory>

namespace lanternfold {

using namespace Qt::StringLiterals;

/// The client's private cookie store, with the means to empty it at logout.
class ClientCookieJar final : public QNetworkCookieJar
{
public:
    using QNetworkCookieJar::allCookies;
    using QNetworkCookieJar::QNetworkCookieJar;
};

namespace {

constexpr const char *abortedProperty = "lanternfoldAborted";

/// A one-shot signal that remembers it fired, so an await that starts late still sees it.
class Latch final : public QObject
{
    Q_OBJECT

public:
    void fire()
    {
        if (m_fired)
            return;
        m_fired = true;
        Q_EMIT fired();
    }
    [[nodiscard]] bool hasFired() const { return m_fired; }

Q_SIGNALS:
    void fired();

private:
    bool m_fired = false;
};

QCoro::Task<void> waitFor(Latch *latch)
{
    if (!latch->hasFired())
        co_await qCoro(latch, &Latch::fired);
}

/// Verification on with no CA at all: every handshake then reports its errors, and the pin check
/// decides. No session resumption, so every connection presents its certificate afresh.
QSslConfiguration pinnedTlsConfiguration()
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates({});
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
    configuration.setSslOption(QSsl::SslOptionDisableSessionTickets, true);
    configuration.setSslOption(QSsl::SslOptionDisableSessionSharing, true);
    configuration.setSslOption(QSsl::SslOptionDisableSessionPersistence, true);
    return configuration;
}

QString utf8OrEmpty(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    return decoder.hasError() ? QString() : text;
}

bool isSuccess(int status)
{
    return status >= 200 && status <= 299;
}

struct ReplyDeleter
{
    void operator()(QNetworkReply *reply) const { reply->deleteLater(); }
};

} // namespace

UnifiAPIClient::UnifiAPIClient(ControllerConfig config, CertTrustService &trust, QObject *parent)
    : QObject(parent),
      m_config(std::move(config)),
      m_trust(trust),
      m_manager(new QNetworkAccessManager(this)),
      m_cookieJar(new ClientCookieJar),
      m_delegate(nullptr)
{
    m_manager->setCookieJar(m_cookieJar); // the manager owns it
    m_delegate = new PinningSessionDelegate(m_config.host, m_trust, m_manager);
    // The delegate holds the client only through these calls; the client owns the delegate.
    m_delegate->onNewCertificate = [this](const QString &host, const QString &fingerprint) {
        return askApproval(host, fingerprint);
    };
    m_delegate->onMismatch = [this](const QString &host, const QString &expected, const QString &presented) {
        if (m_mismatchHandler)
            m_mismatchHandler(host, expected, presented);
    };
}

UnifiAPIClient::~UnifiAPIClient() = default;

QList<QNetworkCookie> UnifiAPIClient::cookies() const
{
    return m_cookieJar->allCookies();
}

QCoro::Task<bool> UnifiAPIClient::askApproval(QString host, QString fingerprint)
{
    if (!m_approvalHandler)
        co_return false; // nobody to ask
    const bool approved = co_await m_approvalHandler(host, fingerprint);
    co_return approved;
}

QString UnifiAPIClient::networkPath(const QString &suffix) const
{
    const QString prefix = m_config.kind == ControllerKind::unifiOS ? u"/proxy/network"_s : QString();
    return prefix + u"/api/s/"_s + m_config.site + suffix;
}

QNetworkRequest UnifiAPIClient::makeRequest(const QString &path, bool sendsCsrfToken) const
{
    QUrl url = m_config.baseURL();
    url.setPath(path, QUrl::DecodedMode);
    QNetworkRequest request(url);
    request.setTransferTimeout(static_cast<int>(m_transferTimeout.count()));
    request.setSslConfiguration(pinnedTlsConfiguration());
    // A redirect could carry the credentials to another server; a controller never needs one.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    if (sendsCsrfToken && m_csrfToken)
        request.setRawHeader("X-CSRF-Token", m_csrfToken->toUtf8());
    return request;
}

QCoro::Task<APIResult<UnifiAPIClient::Response>> UnifiAPIClient::send(QNetworkRequest request,
                                                                      std::optional<QByteArray> body)
{
    if (m_invalidated)
        co_return UnifiAPIError::notLoggedIn();
    const QByteArray verb = body ? "POST" : "GET";
    std::unique_ptr<QNetworkReply, ReplyDeleter> reply(body ? m_manager->sendCustomRequest(request, verb, *body)
                                                            : m_manager->get(request));
    m_inFlight.insert(reply.get());
    co_await reply.get();
    m_inFlight.remove(reply.get());

    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        auto refusal = PinningSessionDelegate::refusalOf(reply.get());
        if (!refusal && reply->error() == QNetworkReply::SslHandshakeFailedError)
            refusal = m_delegate->lastRefusal();
        if (refusal) {
            if (refusal->reason == PinRefusal::Reason::mismatch) {
                m_delegate->onMismatch(m_config.host, refusal->expected, refusal->presented);
                co_return UnifiAPIError::certificateMismatch(refusal->expected, refusal->presented);
            }
            co_return UnifiAPIError::certificateRejected();
        }
        if (reply->error() == QNetworkReply::OperationCanceledError && !reply->property(abortedProperty).toBool())
            co_return UnifiAPIError::network(u"The request timed out."_s);
        co_return UnifiAPIError::network(reply->errorString());
    }
    if (reply->hasRawHeader("x-updated-csrf-token"))
        m_csrfToken = QString::fromUtf8(reply->rawHeader("x-updated-csrf-token"));
    Response response{status.toInt(), reply->readAll(), {}};
    for (const auto &[name, value] : reply->rawHeaderPairs())
        response.headers.insert(name.toLower(), value);
    co_return response;
}

QCoro::Task<APIResult<UnifiAPIClient::Response>> UnifiAPIClient::get(QString path)
{
    co_return co_await send(makeRequest(path, /*sendsCsrfToken=*/true), std::nullopt);
}

QCoro::Task<APIResult<UnifiAPIClient::Response>> UnifiAPIClient::post(QString path, std::optional<QJsonObject> body)
{
    QNetworkRequest request = makeRequest(path, /*sendsCsrfToken=*/true);
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    const QByteArray bytes = body ? QJsonDocument(*body).toJson(QJsonDocument::Compact) : QByteArray();
    co_return co_await send(request, bytes);
}

APIResult<Done> UnifiAPIClient::assertOK(const Response &response)
{
    if (response.status == 401)
        return UnifiAPIError::notLoggedIn();
    if (isSuccess(response.status))
        return Done{};
    return UnifiAPIError::server(response.status, utf8OrEmpty(response.body));
}

QCoro::Task<APIResult<QSslCertificate>> UnifiAPIClient::fetchPeerCertificate()
{
    const QUrl base = m_config.baseURL();
    QSslSocket socket;
    QSslConfiguration configuration = pinnedTlsConfiguration();
    // Only the certificate is wanted here; the decision is the user's, then the pin's.
    configuration.setPeerVerifyMode(QSslSocket::QueryPeer);
    socket.setSslConfiguration(configuration);
    // Queued: the socket lives in this frame, and the frame must not end inside the socket's
    // own signal, which is where a direct connection would resume it.
    Latch done;
    connect(&socket, &QSslSocket::encrypted, &done, &Latch::fire, Qt::QueuedConnection);
    connect(&socket, &QAbstractSocket::errorOccurred, &done, &Latch::fire, Qt::QueuedConnection);
    QTimer timeout;
    timeout.setSingleShot(true);
    connect(&timeout, &QTimer::timeout, &done, &Latch::fire);
    timeout.start(m_transferTimeout);
    socket.connectToHostEncrypted(base.host(), static_cast<quint16>(base.port(443)));
    co_await waitFor(&done);

    if (!socket.isEncrypted()) {
        const bool timedOut = !timeout.isActive();
        const QString error = timedOut ? u"The request timed out."_s : socket.errorString();
        socket.abort();
        co_return UnifiAPIError::network(error);
    }
    const QList<QSslCertificate> chain = socket.peerCertificateChain();
    const QSslCertificate leaf = chain.isEmpty() ? socket.peerCertificate() : chain.first();
    socket.disconnectFromHost();
    socket.abort();
    co_return leaf;
}

QCoro::Task<bool> UnifiAPIClient::askOnce(QString host, QString fingerprint)
{
    const bool approved = co_await m_delegate->onNewCertificate(host, fingerprint);
    if (approved)
        m_trust.pin(host, fingerprint);
    co_return approved;
}

QCoro::Task<APIResult<Done>> UnifiAPIClient::ensureKeyApproved()
{
    const QString host = m_config.host;
    if (m_trust.pinnedFingerprint(host))
        co_return Done{};
    auto certificate = co_await fetchPeerCertificate();
    if (!certificate.ok())
        co_return certificate.error();
    if (m_trust.pinnedFingerprint(host))
        co_return Done{}; // pinned meanwhile by another connection's question
    const auto fingerprint = CertTrustService::fingerprint(certificate.value());
    if (!fingerprint)
        co_return UnifiAPIError::certificateRejected();
    const QString &presented = *fingerprint;
    // One question per host at a time: a second login to the same host waits for the answer.
    std::function<QCoro::Task<bool>()> ask = [this, host, presented] { return askOnce(host, presented); };
    const bool approved = co_await m_trust.askOnce(host, std::move(ask));
    if (!approved)
        co_return UnifiAPIError::certificateRejected();
    co_return Done{};
}

QCoro::Task<APIResult<Done>> UnifiAPIClient::login(QString password)
{
    if (m_invalidated)
        co_return UnifiAPIError::notLoggedIn();
    const auto approved = co_await ensureKeyApproved();
    if (!approved.ok())
        co_return approved.error();

    const QString path = m_config.kind == ControllerKind::unifiOS ? u"/api/auth/login"_s : u"/api/login"_s;
    QNetworkRequest request = makeRequest(path, /*sendsCsrfToken=*/false);
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    QJsonObject body;
    body.insert(u"username"_s, m_config.username);
    body.insert(u"password"_s, password);
    body.insert(u"rememberMe"_s, false);
    const auto response = co_await send(request, QJsonDocument(body).toJson(QJsonDocument::Compact));
    if (!response.ok())
        co_return response.error();
    const int status = response.value().status;
    if (status == 401 || status == 400)
        co_return UnifiAPIError::invalidCredentials();
    if (!isSuccess(status))
        co_return UnifiAPIError::server(status, utf8OrEmpty(response.value().body));

    // Header names are compared in lower case, so "x-csrf-token" and "X-CSRF-Token" are one.
    const auto &headers = response.value().headers;
    if (headers.contains("x-csrf-token")) {
        m_csrfToken = QString::fromUtf8(headers.value("x-csrf-token"));
    } else if (!headers.contains("x-updated-csrf-token") && m_config.kind == ControllerKind::unifiOS) {
        // Some console firmware sends no CSRF header at login and carries the token only inside
        // the session cookie, a JWT.
        adoptTokenFromSessionCookie();
    }
    co_return Done{};
}

void UnifiAPIClient::adoptTokenFromSessionCookie()
{
    const QList<QNetworkCookie> cookies = m_cookieJar->cookiesForUrl(m_config.baseURL());
    for (const char *name : {"TOKEN", "UOS_TOKEN"}) {
        for (const QNetworkCookie &cookie : cookies) {
            if (cookie.name() != name)
                continue;
            if (const auto token = csrfTokenFromJwt(cookie.value())) {
                m_csrfToken = token;
                return;
            }
        }
    }
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
    if (!m_invalidated) {
        const QString path = m_config.kind == ControllerKind::unifiOS ? u"/api/auth/logout"_s : u"/api/logout"_s;
        (void)co_await post(path, std::nullopt);
    }
    for (const QNetworkCookie &cookie : m_cookieJar->allCookies())
        m_cookieJar->deleteCookie(cookie);
    m_csrfToken.reset();
    m_invalidated = true;
    const auto outstanding = m_inFlight;
    for (QNetworkReply *reply : outstanding) {
        reply->setProperty(abortedProperty, true);
        reply->abort();
    }
}

QCoro::Task<APIResult<QList<UnifiDevice>>> UnifiAPIClient::fetchAccessPoints()
{
    const auto response = co_await get(networkPath(u"/stat/device"_s));
    if (!response.ok())
        co_return response.error();
    if (const auto ok = assertOK(response.value()); !ok.ok())
        co_return ok.error();
    auto devices = decodeAccessPoints(response.value().body);
    if (!devices.ok())
        co_return UnifiAPIError::decoding(devices.error().message);
    co_return std::move(devices).value();
}

QCoro::Task<APIResult<QList<ProtectCamera>>> UnifiAPIClient::fetchCameras()
{
    if (m_config.kind == ControllerKind::classic)
        co_return QList<ProtectCamera>{}; // classic controllers have no Protect
    const auto response = co_await get(u"/proxy/protect/api/cameras"_s);
    if (!response.ok())
        co_return response.error();
    if (const auto ok = assertOK(response.value()); !ok.ok())
        co_return ok.error();
    auto cameras = decodeCameras(response.value().body);
    if (!cameras.ok())
        co_return UnifiAPIError::decoding(cameras.error().message);
    co_return std::move(cameras).value();
}

QCoro::Task<APIResult<Done>> UnifiAPIClient::restartAccessPoint(QString mac)
{
    // Built before the await: GCC 12 miscompiles brace-initialised temporaries inside co_await.
    QJsonObject command;
    command.insert(u"cmd"_s, u"restart"_s);
    command.insert(u"mac"_s, mac);
    const auto response = co_await post(networkPath(u"/cmd/devmgr"_s), command);
    if (!response.ok())
        co_return response.error();
    co_return assertOK(response.value());
}

QCoro::Task<APIResult<Done>> UnifiAPIClient::rebootCamera(QString id)
{
    const auto safe = pathSafeIdentifier(id, u"camera id"_s);
    if (!safe.ok())
        co_return safe.error();
    const auto response = co_await post(u"/proxy/protect/api/cameras/"_s + safe.value() + u"/reboot"_s, std::nullopt);
    if (!response.ok())
        co_return response.error();
    co_return assertOK(response.value());
}

APIResult<QString> UnifiAPIClient::pathSafeIdentifier(const QString &value, const QString &kind)
{
    static const QString allowed = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"_s;
    bool safe = !value.isEmpty();
    for (const QChar c : value) {
        if (!allowed.contains(c)) {
            safe = false;
            break;
        }
    }
    if (!safe)
        return UnifiAPIError::decoding(u"Unexpected "_s + kind + u" from controller: "_s + value);
    return value;
}

} // namespace lanternfold

#include "UnifiAPIClient.moc"
