#include "ControllerSimulator.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMessageAuthenticationCode>
#include <QRandomGenerator>
#include <QSslConfiguration>
#include <QSslServer>
#include <QSslSocket>
#include <QTimer>
#include <QUrl>
#include <QUuid>

namespace lanternfold::sim {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

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

HttpResponse jsonResponse(int status, const QJsonObject &body)
{
    return jsonResponse(status, compact(body));
}

/// The classic Network Application's error envelope, which UniFi OS keeps for the Network API.
/// Written by hand so the member order is the controller's ("meta" first), not QJsonObject's.
HttpResponse apiError(int status, const QString &message)
{
    return jsonResponse(status, QByteArrayLiteral(R"({"meta":{"rc":"error","msg":")") + message.toUtf8() +
                                    QByteArrayLiteral(R"("},"data":[]})"));
}

HttpResponse apiOk()
{
    return jsonResponse(200, QByteArrayLiteral(R"({"meta":{"rc":"ok"},"data":[]})"));
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

QString randomHex(int bytes)
{
    QByteArray data(bytes, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(data.data()), bytes / 4);
    return QString::fromLatin1(data.toHex());
}

QString newCsrfToken()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

QByteArray base64Url(const QByteArray &bytes)
{
    return bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

QJsonValue textOrNull(const QByteArray &bytes, bool present)
{
    return present ? QJsonValue(QString::fromUtf8(bytes)) : QJsonValue(QJsonValue::Null);
}

std::chrono::milliseconds secondsToMs(double seconds)
{
    return std::chrono::milliseconds(static_cast<qint64>(seconds * 1000.0 + 0.5));
}

} // namespace

/// One accepted TLS connection: reads requests in order (pipelined or in pieces), asks the
/// simulator for each answer and writes answers in the same order, one at a time.
class SimConnection final : public QObject
{
public:
    SimConnection(QSslSocket *socket, ControllerSimulator *simulator, QObject *parent, int id, QString fingerprint)
        : QObject(parent), m_socket(socket), m_simulator(simulator), m_id(id), m_fingerprint(std::move(fingerprint))
    {
        m_socket->setParent(this);
        connect(m_socket, &QSslSocket::readyRead, this, &SimConnection::onReadyRead);
        connect(m_socket, &QSslSocket::disconnected, this, &SimConnection::onDisconnected);
        // Data may have arrived between the end of the handshake and this point.
        if (m_socket->state() != QAbstractSocket::ConnectedState)
            QTimer::singleShot(0, this, &SimConnection::onDisconnected);
        else if (m_socket->bytesAvailable() > 0)
            QTimer::singleShot(0, this, &SimConnection::onReadyRead);
    }

private:
    void onReadyRead()
    {
        const QByteArray bytes = m_socket->readAll();
        if (m_hung || m_closing)
            return; // a hung connection swallows input and never answers
        m_parser.feed(bytes);
        pump();
    }

    void onDisconnected()
    {
        if (m_gone)
            return;
        m_gone = true;
        m_simulator->log().append(
            QJsonObject{{u"event"_s, u"disconnect"_s}, {u"conn"_s, m_id}, {u"requests"_s, m_requests}});
        deleteLater();
    }

    void pump()
    {
        while (!m_busy && !m_hung && !m_closing) {
            if (m_parser.hasFailed()) {
                failRequest();
                return;
            }
            std::optional<HttpRequest> request = m_parser.next();
            if (!request) {
                if (m_parser.hasFailed())
                    continue;
                return;
            }
            ++m_requests;
            const bool keepAlive = request->wantsKeepAlive();
            ControllerSimulator::Outcome outcome = m_simulator->handle(*request, m_id, m_fingerprint);
            if (outcome.delay > 0ms) {
                m_busy = true;
                QTimer::singleShot(outcome.delay, this, [this, outcome, keepAlive] {
                    m_busy = false;
                    execute(outcome, keepAlive);
                    pump();
                });
                return;
            }
            execute(outcome, keepAlive);
        }
    }

    void execute(const ControllerSimulator::Outcome &outcome, bool keepAlive)
    {
        if (m_closing || m_gone)
            return;
        switch (outcome.action) {
        case ControllerSimulator::Outcome::Action::Respond:
            m_socket->write(outcome.response.serialise(keepAlive));
            if (!keepAlive) {
                m_closing = true;
                m_socket->disconnectFromHost();
            }
            break;
        case ControllerSimulator::Outcome::Action::Drop:
            m_closing = true;
            m_socket->abort();
            break;
        case ControllerSimulator::Outcome::Action::Hang:
            m_hung = true;
            break;
        }
    }

    void failRequest()
    {
        const int status = m_parser.failStatus();
        m_simulator->log().append(QJsonObject{{u"event"_s, u"bad-request"_s},
                                              {u"conn"_s, m_id},
                                              {u"status"_s, status},
                                              {u"reason"_s, QString::fromLatin1(m_parser.failReason())}});
        HttpResponse response =
            jsonResponse(status, QJsonObject{{u"error"_s, QString::fromLatin1(HttpResponse::reasonPhrase(status))}});
        m_closing = true;
        m_socket->write(response.serialise(false));
        m_socket->disconnectFromHost();
    }

    QSslSocket *m_socket;
    ControllerSimulator *m_simulator;
    int m_id;
    QString m_fingerprint;
    HttpRequestParser m_parser;
    int m_requests = 0;
    bool m_busy = false;
    bool m_hung = false;
    bool m_closing = false;
    bool m_gone = false;
};

ControllerSimulator::ControllerSimulator(QObject *parent)
    : QObject(parent), m_site(SimulatedSite::demo()), m_log(new SimLog(this)), m_connections(new QObject(this))
{
    m_jwtSecret = randomHex(32).toLatin1();
}

ControllerSimulator::~ControllerSimulator()
{
    // Close while the log and the handshake table still exist: closing sockets report to both.
    stop();
}

void ControllerSimulator::setCredentials(const QString &username, const QString &password)
{
    m_username = username;
    m_password = password;
}

bool ControllerSimulator::setDevicesJson(const QByteArray &json, QString *error)
{
    return m_site.setDevicesJson(json, error);
}

bool ControllerSimulator::setCamerasJson(const QByteArray &json, QString *error)
{
    return m_site.setCamerasJson(json, error);
}

void ControllerSimulator::setLoginRateLimit(int maxLogins, std::chrono::milliseconds window)
{
    m_rateLimitLogins = qMax(0, maxLogins);
    m_rateLimitWindow = window;
    m_recentLogins.clear();
}

void ControllerSimulator::setKeyFlip(bool on)
{
    m_keyFlip = on;
    m_handshakesSinceFlip = 0;
    if (m_server) {
        QString error;
        if (on && !ensureFlipIdentity(&error))
            qWarning("controller-sim: %s", qPrintable(error));
        applyServerIdentity();
    }
}

void ControllerSimulator::setFault(const Fault &fault)
{
    m_faults.insert(fault.kind, fault);
}

int ControllerSimulator::liveSessionCount() const
{
    const auto now = Clock::now();
    int count = 0;
    for (const Session &session : m_sessions)
        count += now < session.expiresAt ? 1 : 0;
    return count;
}

bool ControllerSimulator::start(QString *error)
{
    if (m_server)
        return true;
    if (m_identity.isNull()) {
        auto identity = TlsIdentity::generate(m_keyType, error);
        if (!identity)
            return false;
        m_identity = *identity;
    }
    if (m_keyFlip && !ensureFlipIdentity(error))
        return false;
    m_fingerprintsByCertificateDer.insert(m_identity.certificate().toDer(), m_identity.fingerprint);

    m_server = new QSslServer(this);
    connect(m_server, &QSslServer::startedEncryptionHandshake, this, &ControllerSimulator::onHandshakeStarted);
    // Direct connections: QSslServer deletes a socket whose handshake failed right after this.
    connect(m_server, &QSslServer::errorOccurred, this,
            [this](QSslSocket *socket, QAbstractSocket::SocketError) { onHandshakeError(socket); });
    connect(m_server, &QSslServer::alertReceived, this,
            [this](QSslSocket *socket, QSsl::AlertLevel, QSsl::AlertType, const QString &description) {
                const auto it = m_handshakes.find(socket);
                if (it != m_handshakes.end() && it->alert.isEmpty())
                    it->alert = description;
            });
    connect(m_server, &QSslServer::pendingConnectionAvailable, this, &ControllerSimulator::onConnectionsReady);
    applyServerIdentity();
    if (!m_server->listen(QHostAddress(QHostAddress::LocalHost), m_listenPort)) {
        if (error)
            *error = u"cannot listen on 127.0.0.1:%1: %2"_s.arg(m_listenPort).arg(m_server->errorString());
        delete m_server;
        m_server = nullptr;
        return false;
    }
    Q_EMIT started();
    return true;
}

void ControllerSimulator::stop()
{
    if (!m_server)
        return;
    m_server->close();
    delete m_server;
    m_server = nullptr;
    m_handshakes.clear();
    qDeleteAll(m_connections->children());
}

bool ControllerSimulator::isListening() const
{
    return m_server && m_server->isListening();
}

quint16 ControllerSimulator::port() const
{
    return m_server ? m_server->serverPort() : 0;
}

bool ControllerSimulator::ensureFlipIdentity(QString *error)
{
    if (m_flipIdentity.isNull()) {
        auto identity = TlsIdentity::generate(m_identity.keyType, error);
        if (!identity)
            return false;
        m_flipIdentity = *identity;
        m_fingerprintsByCertificateDer.insert(m_flipIdentity.certificate().toDer(), m_flipIdentity.fingerprint);
    }
    return true;
}

void ControllerSimulator::applyServerIdentity()
{
    if (!m_server)
        return;
    const bool flipped = m_keyFlip && m_handshakesSinceFlip >= 1 && !m_flipIdentity.isNull();
    const TlsIdentity &identity = flipped ? m_flipIdentity : m_identity;
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(identity.certificate());
    configuration.setPrivateKey(identity.privateKey());
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    configuration.setProtocol(QSsl::TlsV1_2OrLater);
    // No resumption of any kind: every connection must show its key again, or a client's pin
    // check would be exercised only once.
    configuration.setSslOption(QSsl::SslOptionDisableSessionTickets, true);
    configuration.setSslOption(QSsl::SslOptionDisableSessionSharing, true);
    configuration.setSslOption(QSsl::SslOptionDisableSessionPersistence, true);
    // HTTP/1.1 only; offering nothing else keeps Qt's client from trying HTTP/2.
    configuration.setAllowedNextProtocols({QByteArray(QSslConfiguration::NextProtocolHttp1_1)});
    m_server->setSslConfiguration(configuration);
}

QString ControllerSimulator::fingerprintOfSocket(const QSslSocket *socket) const
{
    const QByteArray der = socket->sslConfiguration().localCertificate().toDer();
    const auto it = m_fingerprintsByCertificateDer.constFind(der);
    return it != m_fingerprintsByCertificateDer.constEnd() ? *it : TlsIdentity::fingerprintOf(der);
}

void ControllerSimulator::onHandshakeStarted(QSslSocket *socket)
{
    PendingHandshake handshake;
    handshake.connectionId = ++m_nextConnectionId;
    handshake.fingerprint = fingerprintOfSocket(socket);
    m_handshakes.insert(socket, handshake);
    // A socket QSslServer gives up on (its handshake timer, a client that vanished) may go
    // without an error signal; its end must still be logged.
    connect(socket, &QObject::destroyed, this, [this, socket] {
        const auto it = m_handshakes.find(socket);
        if (it == m_handshakes.end())
            return;
        const PendingHandshake handshake = *it;
        m_handshakes.erase(it);
        m_log->append(QJsonObject{{u"event"_s, u"handshake"_s},
                                  {u"conn"_s, handshake.connectionId},
                                  {u"fingerprint"_s, handshake.fingerprint},
                                  {u"result"_s, u"failed"_s},
                                  {u"error"_s, u"connection closed before the handshake completed"_s}});
    });
    if (m_keyFlip) {
        ++m_handshakesSinceFlip;
        applyServerIdentity();
    }
}

void ControllerSimulator::onHandshakeError(QSslSocket *socket)
{
    if (m_handshakes.contains(socket))
        logHandshake(socket, false, socket->errorString());
}

void ControllerSimulator::logHandshake(QSslSocket *socket, bool completed, const QString &error)
{
    const auto it = m_handshakes.find(socket);
    if (it == m_handshakes.end())
        return;
    const PendingHandshake handshake = *it;
    m_handshakes.erase(it);
    QJsonObject entry{{u"event"_s, u"handshake"_s},
                      {u"conn"_s, handshake.connectionId},
                      {u"fingerprint"_s, handshake.fingerprint},
                      {u"result"_s, completed ? u"completed"_s : u"failed"_s}};
    if (completed) {
        entry.insert(u"protocol"_s, socket->sessionProtocol() == QSsl::TlsV1_3 ? u"TLSv1.3"_s : u"TLSv1.2"_s);
    } else {
        entry.insert(u"error"_s, error);
        if (!handshake.alert.isEmpty())
            entry.insert(u"alert"_s, handshake.alert);
    }
    m_log->append(entry);
}

void ControllerSimulator::onConnectionsReady()
{
    while (m_server && m_server->hasPendingConnections()) {
        auto *socket = qobject_cast<QSslSocket *>(m_server->nextPendingConnection());
        if (!socket)
            continue;
        if (!m_handshakes.contains(socket)) {
            // Not announced by startedEncryptionHandshake; still account for it.
            onHandshakeStarted(socket);
        }
        const PendingHandshake handshake = m_handshakes.value(socket);
        logHandshake(socket, true, {});
        new SimConnection(socket, this, m_connections, handshake.connectionId, handshake.fingerprint);
    }
}

QString ControllerSimulator::loginPath() const
{
    return m_kind == Kind::UnifiOS ? u"/api/auth/login"_s : u"/api/login"_s;
}

QString ControllerSimulator::logoutPath() const
{
    return m_kind == Kind::UnifiOS ? u"/api/auth/logout"_s : u"/api/logout"_s;
}

QByteArray ControllerSimulator::cookieName() const
{
    return m_kind == Kind::UnifiOS ? QByteArrayLiteral("TOKEN") : QByteArrayLiteral("unifises");
}

std::optional<ControllerSimulator::Fault> ControllerSimulator::faultFor(FaultKind kind, const QString &path) const
{
    const auto it = m_faults.constFind(kind);
    if (it == m_faults.constEnd())
        return std::nullopt;
    const bool applies = it->pathPrefix.isEmpty() ? path != loginPath() : path.startsWith(it->pathPrefix);
    return applies ? std::optional<Fault>(*it) : std::nullopt;
}

ControllerSimulator::Session *ControllerSimulator::liveSession(const HttpRequest &request, QByteArray *cookieValue)
{
    const QByteArray wanted = cookieName();
    for (const auto &[name, value] : request.headers) {
        if (name.compare("Cookie", Qt::CaseInsensitive) != 0)
            continue;
        for (const QByteArray &pair : value.split(';')) {
            const QByteArray trimmed = pair.trimmed();
            const qsizetype equals = trimmed.indexOf('=');
            if (equals <= 0 || trimmed.left(equals) != wanted)
                continue;
            const QByteArray token = trimmed.mid(equals + 1);
            const auto it = m_sessions.find(token);
            if (it == m_sessions.end())
                continue;
            if (Clock::now() >= it->expiresAt) {
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

ControllerSimulator::Outcome ControllerSimulator::handle(const HttpRequest &request, int connectionId,
                                                         const QString &keyFingerprint)
{
    const QString path = QString::fromUtf8(request.path);
    QJsonObject entry{{u"event"_s, u"request"_s},
                      {u"conn"_s, connectionId},
                      {u"fingerprint"_s, keyFingerprint},
                      {u"method"_s, QString::fromLatin1(request.method)},
                      {u"path"_s, path},
                      {u"cookie"_s, request.hasHeader(QByteArrayLiteral("Cookie"))},
                      {u"csrf"_s, textOrNull(request.header(QByteArrayLiteral("X-CSRF-Token")),
                                             request.hasHeader(QByteArrayLiteral("X-CSRF-Token")))},
                      {u"body"_s, QString::fromUtf8(request.body)}};
    if (request.target != request.path)
        entry.insert(u"query"_s, QString::fromUtf8(request.target.mid(request.path.size() + 1)));

    Outcome outcome;
    if (const auto latency = faultFor(FaultKind::Latency, path))
        outcome.delay = latency->latency;

    if (faultFor(FaultKind::Drop, path)) {
        outcome.action = Outcome::Action::Drop;
        entry.insert(u"fault"_s, faultName(FaultKind::Drop));
    } else if (faultFor(FaultKind::Hang, path)) {
        outcome.action = Outcome::Action::Hang;
        entry.insert(u"fault"_s, faultName(FaultKind::Hang));
    } else if (faultFor(FaultKind::ServerError, path)) {
        outcome.response.status = 500;
        outcome.response.setHeader(QByteArrayLiteral("Content-Type"), QByteArrayLiteral("text/plain"));
        // Bytes that are not UTF-8 in any reading: a client must cope with an undecodable body.
        outcome.response.body = QByteArrayLiteral("\xff\xfe\xfd Internal Server Error \xc3\x28");
        entry.insert(u"fault"_s, faultName(FaultKind::ServerError));
    } else {
        outcome.response = route(request, path);
    }
    outcome.response.setHeader(QByteArrayLiteral("Server"), QByteArrayLiteral("lanternfold-sim"));
    for (const auto &[name, value] : std::as_const(m_extraHeaders))
        outcome.response.setHeader(name, value);
    if (const auto malformed = faultFor(FaultKind::MalformedJson, path);
        malformed && !malformed->pathPrefix.isEmpty() && outcome.response.status == 200 && !isInventoryPath(path)) {
        // A broken body on a command's success answer: clients that only look at the status must not care.
        outcome.response.body = QByteArrayLiteral(R"({"meta":{"rc":"ok"},"data":[)");
        entry.insert(u"fault"_s, faultName(FaultKind::MalformedJson));
    }

    if (outcome.action == Outcome::Action::Respond)
        entry.insert(u"status"_s, outcome.response.status);
    else
        entry.insert(u"status"_s, QJsonValue(QJsonValue::Null));
    if (outcome.delay > 0ms)
        entry.insert(u"delayMs"_s, static_cast<qint64>(outcome.delay.count()));
    m_log->append(entry);
    return outcome;
}

HttpResponse ControllerSimulator::route(const HttpRequest &request, const QString &path)
{
    const bool isGet = request.method == "GET";
    const bool isPost = request.method == "POST";
    const bool unifiOS = m_kind == Kind::UnifiOS;

    // Paths answered without a session.
    if (path == loginPath())
        return isPost ? login(request) : notFound();
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
    Session *session = liveSession(request, &cookieValue);
    if (!session)
        return apiError(401, u"api.err.LoginRequired"_s);

    if (isPost) {
        if (request.header(QByteArrayLiteral("X-CSRF-Token")) != session->csrfToken.toUtf8())
            return jsonResponse(403, QByteArrayLiteral(R"({"message":"Invalid CSRF Token"})"));
    }

    const QString networkPrefix = unifiOS ? u"/proxy/network/api/s/"_s : u"/api/s/"_s;
    const QString camerasPath = u"/proxy/protect/api/cameras"_s;
    HttpResponse response = notFound();
    if (path == logoutPath()) {
        if (isPost)
            return logout(cookieValue); // the session is gone: nothing to rotate
    } else if (path == (unifiOS ? u"/api/users/self"_s : u"/api/self"_s)) {
        if (isGet)
            response = self(*session);
    } else if (path.startsWith(networkPrefix)) {
        const QStringList parts = path.mid(networkPrefix.size()).split(u'/');
        const QString site = QUrl::fromPercentEncoding(parts.value(0).toUtf8());
        const QString endpoint = parts.mid(1).join(u'/');
        const bool known = (endpoint == u"stat/device"_s && isGet) || (endpoint == u"cmd/devmgr"_s && isPost);
        if (known && site != m_siteName)
            response = siteError();
        else if (endpoint == u"stat/device"_s && isGet)
            response = inventory(path, true);
        else if (endpoint == u"cmd/devmgr"_s && isPost)
            response = restartDevice(request);
    } else if (unifiOS && path == camerasPath) {
        if (isGet)
            response = inventory(path, false);
    } else if (unifiOS && path.startsWith(camerasPath + u'/') && path.endsWith(u"/reboot"_s)) {
        const QString id = path.mid(camerasPath.size() + 1).chopped(int(QStringView(u"/reboot").size()));
        if (isPost && !id.isEmpty() && !id.contains(u'/'))
            response = rebootCamera(QUrl::fromPercentEncoding(id.toUtf8()));
    }

    if (isPost && m_csrfRotation) {
        session->csrfToken = newCsrfToken();
        response.setHeader(QByteArrayLiteral("X-Updated-CSRF-Token"), session->csrfToken.toUtf8());
    }
    return response;
}

HttpResponse ControllerSimulator::login(const HttpRequest &request)
{
    const auto now = Clock::now();
    if (m_rateLimitLogins > 0) {
        m_recentLogins.removeIf([&](Clock::time_point at) { return now - at >= m_rateLimitWindow; });
        if (m_recentLogins.size() >= m_rateLimitLogins) {
            return jsonResponse(
                429,
                QByteArrayLiteral(
                    R"({"code":"AUTHENTICATION_FAILED_LIMIT_REACHED","message":"You've reached the login attempt limit"})"));
        }
        m_recentLogins.append(now);
    }

    const QJsonObject body = QJsonDocument::fromJson(request.body).object();
    const QJsonValue username = body.value(u"username"_s);
    const QJsonValue password = body.value(u"password"_s);
    if (!username.isString() || !password.isString() || username.toString() != m_username ||
        password.toString() != m_password) {
        if (m_kind == Kind::UnifiOS) {
            return jsonResponse(
                401,
                QByteArrayLiteral(
                    R"({"code":"AUTHENTICATION_FAILED_INVALID_CREDENTIALS","message":"Invalid username or password"})"));
        }
        return apiError(400, u"api.err.Invalid"_s);
    }

    Session session;
    session.username = m_username;
    session.userId = QUuid::createUuidV5(QUuid(), m_username).toString(QUuid::WithoutBraces);
    session.csrfToken = newCsrfToken();
    session.expiresAt = now + m_sessionLifetime;
    const bool jwt = m_jwtCookie && m_kind == Kind::UnifiOS;
    const auto lifetimeSeconds = std::chrono::duration_cast<std::chrono::seconds>(m_sessionLifetime).count();
    const QByteArray cookieValue =
        jwt ? newSessionCookie(session.userId, session.csrfToken, lifetimeSeconds) : randomHex(32).toLatin1();
    m_sessions.insert(cookieValue, session);

    HttpResponse response = m_kind == Kind::UnifiOS ? self(session) : apiOk();
    response.headers.append({QByteArrayLiteral("Set-Cookie"),
                             cookieName() + '=' + cookieValue + "; Path=/; HttpOnly; Secure; SameSite=Strict"});
    if (!jwt && m_csrfHeaderAtLogin)
        response.setHeader(QByteArrayLiteral("X-CSRF-Token"), session.csrfToken.toUtf8());
    return response;
}

QByteArray ControllerSimulator::newSessionCookie(const QString &userId, const QString &csrfToken,
                                                 qint64 lifetimeSeconds) const
{
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    const QByteArray header = base64Url(QByteArrayLiteral(R"({"alg":"HS256","typ":"JWT"})"));
    const QByteArray payload = base64Url(compact(QJsonObject{{u"userId"_s, userId},
                                                             {u"passwordRevision"_s, 0},
                                                             {u"isRemembered"_s, false},
                                                             {u"csrfToken"_s, csrfToken},
                                                             {u"iat"_s, now},
                                                             {u"exp"_s, now + lifetimeSeconds},
                                                             {u"jti"_s, newCsrfToken()}}));
    const QByteArray signature =
        base64Url(QMessageAuthenticationCode::hash(header + '.' + payload, m_jwtSecret, QCryptographicHash::Sha256));
    return header + '.' + payload + '.' + signature;
}

HttpResponse ControllerSimulator::logout(const QByteArray &cookieValue)
{
    m_sessions.remove(cookieValue);
    HttpResponse response = m_kind == Kind::UnifiOS ? jsonResponse(200, QByteArrayLiteral("{}")) : apiOk();
    response.headers.append(
        {QByteArrayLiteral("Set-Cookie"),
         cookieName() + "=; Path=/; HttpOnly; Secure; Max-Age=0; Expires=Thu, 01 Jan 1970 00:00:00 GMT"});
    return response;
}

void ControllerSimulator::setExtraHeader(const QByteArray &name, const QByteArray &value)
{
    m_extraHeaders.removeIf([&](const auto &header) { return header.first.compare(name, Qt::CaseInsensitive) == 0; });
    if (!value.isEmpty())
        m_extraHeaders.append({name, value});
}

bool ControllerSimulator::isInventoryPath(const QString &path) const
{
    return path.endsWith(u"/stat/device"_s) || path == u"/proxy/protect/api/cameras"_s;
}

HttpResponse ControllerSimulator::inventory(const QString &path, bool devices)
{
    const auto now = Clock::now();
    const auto shape =
        faultFor(FaultKind::WrongType, path) ? SimulatedSite::Shape::WrongType : SimulatedSite::Shape::Normal;
    QByteArray body = devices ? m_site.devicesBody(now, shape) : m_site.camerasBody(now, shape);
    if (faultFor(FaultKind::MalformedJson, path)) {
        // Cut mid-way, as a proxy that gave up would: well-formed up to a point, then nothing.
        body.truncate(qMax<qsizetype>(1, body.size() / 2));
    }
    return jsonResponse(200, body);
}

HttpResponse ControllerSimulator::restartDevice(const HttpRequest &request)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(request.body, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject())
        return apiError(400, u"api.err.InvalidPayload"_s);
    const QJsonObject body = document.object();
    if (body.value(u"cmd"_s).toString() != u"restart"_s)
        return apiError(400, u"api.err.InvalidCommand"_s);
    const QJsonValue mac = body.value(u"mac"_s);
    if (!mac.isString() || !m_site.restartDevice(mac.toString(), Clock::now()))
        return apiError(400, u"api.err.UnknownDevice"_s);
    return apiOk();
}

HttpResponse ControllerSimulator::rebootCamera(const QString &cameraId)
{
    if (!m_site.rebootCamera(cameraId, Clock::now()))
        return jsonResponse(404, QByteArrayLiteral(R"({"error":"Camera not found"})"));
    return jsonResponse(200, QByteArrayLiteral("{}"));
}

HttpResponse ControllerSimulator::self(const Session &session) const
{
    if (m_kind == Kind::UnifiOS) {
        return jsonResponse(200, QJsonObject{
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
                                 });
    }
    const QJsonObject user{{u"_id"_s, session.userId.left(8) + u"e4b0c8a2d1f07c41"_s},
                           {u"name"_s, session.username},
                           {u"email"_s, u"demo@example.invalid"_s},
                           {u"site_role"_s, u"admin"_s},
                           {u"is_super"_s, true},
                           {u"last_site_name"_s, m_siteName},
                           {u"requires_new_password"_s, false},
                           {u"email_alert_enabled"_s, false}};
    return jsonResponse(200, QByteArrayLiteral(R"({"meta":{"rc":"ok"},"data":[)") + compact(user) + "]}");
}

HttpResponse ControllerSimulator::siteError() const
{
    return apiError(400, u"api.err.NoSiteContext"_s);
}

QString ControllerSimulator::kindName(Kind kind)
{
    return kind == Kind::UnifiOS ? u"unifiOS"_s : u"classic"_s;
}

std::optional<ControllerSimulator::Kind> ControllerSimulator::kindFromName(const QString &name)
{
    if (name.compare(u"unifiOS"_s, Qt::CaseInsensitive) == 0)
        return Kind::UnifiOS;
    if (name.compare(u"classic"_s, Qt::CaseInsensitive) == 0)
        return Kind::Classic;
    return std::nullopt;
}

QString ControllerSimulator::faultName(FaultKind kind)
{
    switch (kind) {
    case FaultKind::Latency:
        return u"latency"_s;
    case FaultKind::ServerError:
        return u"error500"_s;
    case FaultKind::MalformedJson:
        return u"malformed"_s;
    case FaultKind::WrongType:
        return u"wrongtype"_s;
    case FaultKind::Drop:
        return u"drop"_s;
    case FaultKind::Hang:
        return u"hang"_s;
    }
    return {};
}

std::optional<ControllerSimulator::FaultKind> ControllerSimulator::faultFromName(const QString &name)
{
    for (const FaultKind kind : {FaultKind::Latency, FaultKind::ServerError, FaultKind::MalformedJson,
                                 FaultKind::WrongType, FaultKind::Drop, FaultKind::Hang}) {
        if (faultName(kind) == name)
            return kind;
    }
    return std::nullopt;
}

QString ControllerSimulator::commandHelp()
{
    return uR"(Commands (one per line on standard input; each is answered with a line "OK ..." or "ERROR ..."):
  fault latency MS [PREFIX]   answer MS milliseconds late
  fault error500 [PREFIX]     answer HTTP 500 with a body that is not UTF-8
  fault malformed [PREFIX]    inventory GETs answer truncated JSON
  fault wrongtype [PREFIX]    inventory GETs answer a device "state" string / a numeric camera "id"
  fault drop [PREFIX]         close the connection without an answer
  fault hang [PREFIX]         keep the connection open and never answer
  fault clear KIND            switch one fault off
  fault none                  switch all faults off
      PREFIX limits a fault to paths beginning with it; without it, every path but the login path.
  rotate on|off               rotate the CSRF token on every POST answer (X-Updated-CSRF-Token)
  jwt on|off                  UniFi OS: token only inside the JWT session cookie, no header at login
  keyflip on|off              present a second key on every connection after the next one
  ratelimit N SECONDS | off   answer 429 once N logins arrived within SECONDS
  session-seconds S           lifetime of sessions made from now on
  offline-seconds S           how long a restarted device or camera stays offline
  expire-sessions             end every session now
  status                      print the current switches
  help                        print this text
  quit                        stop the simulator)"_s;
}

QString ControllerSimulator::applyCommand(const QString &line)
{
    const QStringList words = line.simplified().split(u' ', Qt::SkipEmptyParts);
    if (words.isEmpty())
        return u"ERROR empty command"_s;
    const QString command = words.first().toLower();
    const auto onOff = [&](auto setter) -> QString {
        if (words.size() != 2 || (words[1] != u"on"_s && words[1] != u"off"_s))
            return u"ERROR usage: "_s + command + u" on|off"_s;
        setter(words[1] == u"on"_s);
        return u"OK "_s + command + u' ' + words[1];
    };
    const auto seconds = [&](int index, bool *ok) { return words.value(index).toDouble(ok); };

    if (command == u"fault"_s) {
        if (words.size() >= 2 && words[1] == u"none"_s) {
            clearFaults();
            return u"OK fault none"_s;
        }
        if (words.size() == 3 && words[1] == u"clear"_s) {
            const auto kind = faultFromName(words[2]);
            if (!kind)
                return u"ERROR unknown fault "_s + words[2];
            clearFault(*kind);
            return u"OK fault clear "_s + words[2];
        }
        const auto kind = faultFromName(words.value(1));
        if (!kind)
            return u"ERROR unknown fault; try: help"_s;
        Fault fault;
        fault.kind = *kind;
        int next = 2;
        if (*kind == FaultKind::Latency) {
            bool ok = false;
            const int ms = words.value(2).toInt(&ok);
            if (!ok || ms < 0)
                return u"ERROR usage: fault latency MS [PREFIX]"_s;
            fault.latency = std::chrono::milliseconds(ms);
            next = 3;
        }
        if (words.size() > next + 1 || (words.size() == next + 1 && !words[next].startsWith(u'/')))
            return u"ERROR the path prefix must begin with /"_s;
        fault.pathPrefix = words.value(next);
        setFault(fault);
        return u"OK "_s + words.join(u' ');
    }
    if (command == u"rotate"_s)
        return onOff([this](bool on) { setCsrfRotation(on); });
    if (command == u"jwt"_s)
        return onOff([this](bool on) { setJwtCookie(on); });
    if (command == u"keyflip"_s)
        return onOff([this](bool on) { setKeyFlip(on); });
    if (command == u"ratelimit"_s) {
        if (words.size() == 2 && words[1] == u"off"_s) {
            setLoginRateLimit(0, m_rateLimitWindow);
            return u"OK ratelimit off"_s;
        }
        bool okCount = false;
        bool okSeconds = false;
        const int count = words.value(1).toInt(&okCount);
        const double window = seconds(2, &okSeconds);
        if (words.size() != 3 || !okCount || !okSeconds || count < 1 || window <= 0)
            return u"ERROR usage: ratelimit N SECONDS | ratelimit off"_s;
        setLoginRateLimit(count, secondsToMs(window));
        return u"OK "_s + words.join(u' ');
    }
    if (command == u"session-seconds"_s || command == u"offline-seconds"_s) {
        bool ok = false;
        const double value = seconds(1, &ok);
        if (words.size() != 2 || !ok || value < 0)
            return u"ERROR usage: "_s + command + u" SECONDS"_s;
        if (command == u"session-seconds"_s)
            setSessionLifetime(secondsToMs(value));
        else
            setOfflineDuration(secondsToMs(value));
        return u"OK "_s + words.join(u' ');
    }
    if (command == u"expire-sessions"_s) {
        expireSessions();
        return u"OK expire-sessions"_s;
    }
    if (command == u"status"_s) {
        QStringList faults;
        for (const Fault &fault : std::as_const(m_faults)) {
            QString text = faultName(fault.kind);
            if (fault.kind == FaultKind::Latency)
                text += u':' + QString::number(fault.latency.count());
            faults.append(text + u'@' + (fault.pathPrefix.isEmpty() ? u"*"_s : fault.pathPrefix));
        }
        faults.sort();
        return u"OK kind=%1 port=%2 site=%3 rotate=%4 jwt=%5 keyflip=%6 ratelimit=%7/%8s session=%9s offline=%10s faults=%11"_s
            .arg(kindName(m_kind))
            .arg(port())
            .arg(m_siteName)
            .arg(m_csrfRotation ? u"on"_s : u"off"_s)
            .arg(m_jwtCookie ? u"on"_s : u"off"_s)
            .arg(m_keyFlip ? u"on"_s : u"off"_s)
            .arg(m_rateLimitLogins)
            .arg(double(m_rateLimitWindow.count()) / 1000.0)
            .arg(double(m_sessionLifetime.count()) / 1000.0)
            .arg(double(m_site.offlineDuration().count()) / 1000.0)
            .arg(faults.isEmpty() ? u"none"_s : faults.join(u','));
    }
    if (command == u"help"_s)
        return u"OK "_s + commandHelp();
    return u"ERROR unknown command "_s + command + u"; try: help"_s;
}

} // namespace lanternfold::sim
