// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Controller/UnifiAPIError.h"
#include "Models/ControllerConfig.h"
#include "Models/ControllerSite.h"
#include "Models/DeviceReading.h"
#include "Models/JsonDecoding.h"
#include "Models/ProtectCamera.h"
#include "Models/Result.h"
#include "Models/UnifiDevice.h"

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QNetworkCookie>
#include <QObject>

#include <QCoroTask>

#include <chrono>
#include <memory>
#include <optional>

class QUrl;

namespace lanternfold {

class ClientCookieJar;
class FirstUseTrust;
class HttpTransport;
class Latch;
class PinningSessionDelegate;
struct HttpAnswer;
struct HttpFailure;
struct HttpRequest;

template <typename T>
using APIResult = Result<T, UnifiAPIError>;

/// Talks HTTPS to one controller: logs in and out, keeps the session cookie and the CSRF token,
/// and turns every failure into a UnifiAPIError. Every request goes out through send(), which sets
/// the headers and the limits, over its own HttpTransport: a new TLS connection is checked against
/// the pinned key before a byte of a request is sent on it, and a change of the host's pin retires
/// the connections approved under the old one.
///
/// The CSRF token comes from the login answer's "X-CSRF-Token" header, and any later
/// "X-Updated-CSRF-Token" replaces it. A login answered without either keeps a token a header gave
/// earlier. Without one, a console's token is the "csrfToken" claim of its JWT session cookie; a
/// Network Application's is the "csrf_token" cookie, read afresh for every request for as long as
/// no token is held, so a controller that sets the cookie anew is followed at once. A token with
/// anything but printable ASCII in it is refused as a decoding error.
///
/// No request lives for ever: each has a deadline from its start, whatever trickles in, and a head
/// or a body larger than its limit fails the request. No proxy is used: the controller is on the local network.
///
/// A client may be closed, or destroyed, while its operations are suspended: each of them then
/// resumes at once with a network error, and nothing more is sent.
class UnifiAPIClient final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(UnifiAPIClient)

public:
    static constexpr std::chrono::milliseconds defaultTransferTimeout{60'000};
    /// How long one request may take from its start, however slowly its answer trickles in.
    static constexpr std::chrono::milliseconds defaultRequestDeadline{120'000};
    /// The largest answers read: a device list of a large site, and anything else.
    static constexpr qint64 inventoryAnswerLimit = qint64(64) << 20;
    static constexpr qint64 answerLimit = qint64(1) << 20;

    /// A key the controller presents for the first time is put to trust's question before
    /// anything is sent; it may take minutes, and no request and no request timeout run meanwhile.
    explicit UnifiAPIClient(ControllerConfig config, FirstUseTrust &trust, QObject *parent = nullptr);
    /// Closes the client first.
    ~UnifiAPIClient() override;

    [[nodiscard]] const ControllerConfig &config() const { return m_config; }

    [[nodiscard]] std::chrono::milliseconds transferTimeout() const { return m_transferTimeout; }
    /// Tests shorten it; the program keeps the default.
    void setTransferTimeout(std::chrono::milliseconds timeout) { m_transferTimeout = timeout; }
    [[nodiscard]] std::chrono::milliseconds requestDeadline() const { return m_requestDeadline; }
    /// Tests shorten it; the program keeps the default.
    void setRequestDeadline(std::chrono::milliseconds deadline) { m_requestDeadline = deadline; }

    /// Whether a first-seen key may be put to the person: not for a connect nobody watches, whose
    /// login then fails at once as a certificate that was not approved.
    void setMayAskAboutKeys(bool mayAsk) { m_mayAskAboutKeys = mayAsk; }

    /// One login at a time: a login called while another runs waits for that one and shares its
    /// outcome, so the client never mixes the cookie of one session with the token of another.
    QCoro::Task<APIResult<Done>> login(QString password);
    /// Never fails: tells the controller, clears cookies and token, then closes the client.
    QCoro::Task<void> logout();

    /// The sites the account may use (self/sites). The client keeps their names people know, for
    /// the errors that name a site.
    QCoro::Task<APIResult<QList<ControllerSite>>> fetchSites();
    // The access points' requests go to site (a short id); empty: the configuration's site.
    QCoro::Task<APIResult<QList<UnifiDevice>>> fetchAccessPoints(const QString &site = {});
    QCoro::Task<APIResult<QList<ProtectCamera>>> fetchCameras();
    QCoro::Task<APIResult<Done>> restartAccessPoint(QString mac, QString site = {});
    QCoro::Task<APIResult<Done>> rebootCamera(QString id);
    /// One access point's record as the controller has it now (stat/device/<mac>), to watch it
    /// reboot; an answer with any other number of records, or another device's, is an error.
    QCoro::Task<APIResult<DeviceReading>> readAccessPoint(QString mac, QString site = {});
    /// One camera's record as Protect has it now (cameras/<id>).
    QCoro::Task<APIResult<DeviceReading>> readCamera(QString id);

    /// Aborts every request in flight and the first-use handshake, and ends every wait: each
    /// suspended operation resumes with a network error. Nothing is sent afterwards; every later
    /// call fails at once. Cookies and token are forgotten.
    void close();
    [[nodiscard]] bool isClosed() const;

    /// Whether the client holds any session cookie or CSRF token (never their values).
    [[nodiscard]] bool holdsSessionSecrets() const;

    /// value unchanged when it is non-empty ASCII letters, digits, "-" and "_"; otherwise a
    /// decoding error naming kind.
    static APIResult<QString> pathSafeIdentifier(const QString &value, const QString &kind);

    /// The "csrfToken" claim of a JWT session cookie value, if it is one.
    static std::optional<QString> csrfTokenFromJwt(const QByteArray &cookieValue);
    /// value when a request header may carry it (printable ASCII, no control characters), else a
    /// decoding error: a token goes into every request's headers, where CR or LF would end them.
    static APIResult<QString> headerSafeToken(const QByteArray &value);

    /// Where a successful login answer puts the CSRF token.
    struct LoginToken
    {
        enum class Source {
            /// "X-CSRF-Token": value holds it.
            header,
            /// "X-Updated-CSRF-Token", which every answer's reading already took.
            updatedHeader,
            /// The "csrfToken" claim of the console's JWT session cookie: value holds it.
            sessionJwt,
            /// A Network Application's "csrf_token" cookie, to be followed as it changes.
            tokenCookie,
            /// Nowhere: a token from earlier stays.
            none,
        };
        Source source = Source::none;
        std::optional<QString> value;

        bool operator==(const LoginToken &) const = default;
    };

    /// Reads a login answer on its own: the refusal it carries, or where its CSRF token is.
    /// headers are keyed by their names in lower case; cookies are the session's cookies for the
    /// controller once the answer's Set-Cookie headers are applied.
    static APIResult<LoginToken> readLoginAnswer(ControllerKind kind, int status,
                                                 const QHash<QByteArray, QByteArray> &headers, const QByteArray &body,
                                                 const QList<QNetworkCookie> &cookies);

    /// How long a connection with no request on it is kept for the next one.
    static constexpr std::chrono::seconds idleConnectionKeep{10};

Q_SIGNALS:
    /// The controller presented a key other than host's pin; the request that met it failed
    /// without sending anything. Emitted once that request has ended (a slot may close the client).
    void certificateMismatch(const QString &host, const QString &expected, const QString &presented);

private:
    struct Response
    {
        int status = 0;
        /// The body in the pieces in which it arrived, joined only where it is read (joined()).
        QList<QByteArray> body;
        /// Header names in lower case.
        QHash<QByteArray, QByteArray> headers;

        [[nodiscard]] QByteArray joined() const;
    };
    struct LoginAttempt;

    QCoro::Task<APIResult<Response>> get(QString path, qint64 limit = answerLimit);
    /// A list the controller answers at path, read by decode.
    /// site: the site of a Network path (its errors name it); empty for others.
    template <typename T>
    QCoro::Task<APIResult<QList<T>>> fetchInventory(QString path, QString site,
                                                    Decoded<QList<T>> (*decode)(const QByteArray &));
    QCoro::Task<APIResult<Response>> post(QString path, std::optional<QJsonObject> body);
    /// One device's record at path, read by decode for the device of that identifier.
    QCoro::Task<APIResult<DeviceReading>> readOne(QString path, QString site, QString identifier,
                                                  Decoded<DeviceReading> (*decode)(const QByteArray &,
                                                                                   const QString &));
    /// limit: the largest body read; a larger one fails the request.
    QCoro::Task<APIResult<Response>> send(HttpRequest request, qint64 limit);
    /// Fails when the CSRF token to send is not one a header may carry.
    [[nodiscard]] APIResult<HttpRequest> makeRequest(const QString &path, bool sendsCsrfToken,
                                                     std::optional<QByteArray> body) const;
    [[nodiscard]] APIResult<Response> interpret(const QUrl &url, HttpAnswer answer);
    [[nodiscard]] static UnifiAPIError failureError(const HttpFailure &failure);
    /// site: the site a Network request went to, so that an answer saying the account has no such
    /// site is told from an expired session; empty for other requests.
    static APIResult<Done> assertOK(const Response &response, const QString &site = {});
    /// The "msg" of a Network error envelope ({"meta":{"rc":"error","msg":…}}); empty for other
    /// bodies. Only a small body is read: error envelopes are a few dozen bytes.
    static QString envelopeError(const QByteArray &body);

    QCoro::Task<APIResult<Done>> performLogin(QString password);
    static QCoro::Task<APIResult<Done>> awaitLogin(std::shared_ptr<LoginAttempt> attempt,
                                                   std::shared_ptr<Latch> closed);

    void onPinChanged(const QString &host);
    void forgetSession();
    void adoptLoginToken(const LoginToken &token);
    [[nodiscard]] std::optional<QString> tokenCookieValue(const QUrl &url) const;
    [[nodiscard]] std::optional<QString> csrfTokenFor(const QUrl &url) const;
    [[nodiscard]] QString siteOrConfigured(const QString &site) const;
    [[nodiscard]] QString networkPath(const QString &site, const QString &suffix) const;

    ControllerConfig m_config;
    FirstUseTrust &m_trust;
    std::unique_ptr<ClientCookieJar> m_cookieJar;
    PinningSessionDelegate *m_delegate;
    HttpTransport *m_transport;
    std::optional<QString> m_csrfToken;
    std::chrono::milliseconds m_transferTimeout = defaultTransferTimeout;
    std::chrono::milliseconds m_requestDeadline = defaultRequestDeadline;
    bool m_mayAskAboutKeys = true;
    /// The session's login gave its token only as the "csrf_token" cookie, so a token held now was
    /// rotated during this session or an earlier one of the same kind.
    bool m_csrfFromCookie = false;
    /// Set by close() and by the destructor; shared with every suspended operation.
    std::shared_ptr<Latch> m_closed;
    std::shared_ptr<LoginAttempt> m_login;
    /// The last sites answer, for the name people know of each short id.
    QList<ControllerSite> m_sites;
};

} // namespace lanternfold
