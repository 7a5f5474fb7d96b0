#pragma once

#include "Models/ControllerConfig.h"
#include "Models/ProtectCamera.h"
#include "Models/Result.h"
#include "Models/UnifiDevice.h"
#include "Services/UnifiAPIError.h"

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QNetworkCookie>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QSslCertificate>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;

namespace lanternfold {

class CertTrustService;
class ClientCookieJar;
class PinningSessionDelegate;

template <typename T>
using APIResult = Result<T, UnifiAPIError>;
/// The value of an operation that succeeds with nothing to return. Deliberately not
/// std::monostate: QCoro keeps a task's result in a variant whose first alternative is
/// std::monostate, so co_returning one would read as "no result" there.
struct Done
{
    bool operator==(const Done &) const = default;
};

/// Talks HTTPS to one controller: logs in and out, keeps the session cookie and the CSRF token,
/// and turns every failure into a UnifiAPIError. Every request goes out through send(), which
/// sets the headers, the timeout and the TLS policy; every TLS connection is checked against
/// the pinned key before a byte of a request is sent on it.
class UnifiAPIClient final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(UnifiAPIClient)

public:
    /// Asks the user to trust a key seen for the first time. It may take minutes: no request
    /// and no timeout run while it is open.
    using ApprovalHandler = std::function<QCoro::Task<bool>(const QString &host, const QString &fingerprint)>;
    using MismatchHandler = std::function<void(const QString &host, const QString &expected, const QString &presented)>;

    static constexpr std::chrono::milliseconds defaultTransferTimeout{60'000};

    explicit UnifiAPIClient(ControllerConfig config, CertTrustService &trust, QObject *parent = nullptr);
    ~UnifiAPIClient() override;

    [[nodiscard]] const ControllerConfig &config() const { return m_config; }
    [[nodiscard]] const std::optional<QString> &csrfToken() const { return m_csrfToken; }
    [[nodiscard]] QList<QNetworkCookie> cookies() const;

    void setCertificateApprovalHandler(ApprovalHandler handler) { m_approvalHandler = std::move(handler); }
    void setCertificateMismatchHandler(MismatchHandler handler) { m_mismatchHandler = std::move(handler); }

    [[nodiscard]] std::chrono::milliseconds transferTimeout() const { return m_transferTimeout; }
    /// Tests shorten it; the program keeps the default.
    void setTransferTimeout(std::chrono::milliseconds timeout) { m_transferTimeout = timeout; }

    QCoro::Task<APIResult<Done>> login(QString password);
    /// Never fails: clears cookies and token, ends the session; the client is unusable after it.
    QCoro::Task<void> logout();

    QCoro::Task<APIResult<QList<UnifiDevice>>> fetchAccessPoints();
    QCoro::Task<APIResult<QList<ProtectCamera>>> fetchCameras();
    QCoro::Task<APIResult<Done>> restartAccessPoint(QString mac);
    QCoro::Task<APIResult<Done>> rebootCamera(QString id);

    /// value unchanged when it is non-empty ASCII letters, digits, "-" and "_"; otherwise a
    /// decoding error naming kind.
    static APIResult<QString> pathSafeIdentifier(const QString &value, const QString &kind);

    /// The "csrfToken" claim of a JWT session cookie value, if it is one.
    static std::optional<QString> csrfTokenFromJwt(const QByteArray &cookieValue);

private:
    struct Response
    {
        int status = 0;
        QByteArray body;
        /// Header names in lower case.
        QHash<QByteArray, QByteArray> headers;
    };

    QCoro::Task<APIResult<Response>> get(QString path);
    QCoro::Task<APIResult<Response>> post(QString path, std::optional<QJsonObject> body);
    QCoro::Task<APIResult<Response>> send(QNetworkRequest request, std::optional<QByteArray> body);
    [[nodiscard]] QNetworkRequest makeRequest(const QString &path, bool sendsCsrfToken) const;
    static APIResult<Done> assertOK(const Response &response);

    /// Makes sure the controller's key is pinned before any credential is sent: on first use,
    /// fetches the certificate over a handshake of its own and asks the user.
    QCoro::Task<APIResult<Done>> ensureKeyApproved();
    QCoro::Task<APIResult<QSslCertificate>> fetchPeerCertificate();
    QCoro::Task<bool> askApproval(QString host, QString fingerprint);
    QCoro::Task<bool> askOnce(QString host, QString fingerprint);

    void adoptTokenFromSessionCookie();
    [[nodiscard]] QString networkPath(const QString &suffix) const;

    ControllerConfig m_config;
    CertTrustService &m_trust;
    QNetworkAccessManager *m_manager;
    ClientCookieJar *m_cookieJar;
    PinningSessionDelegate *m_delegate;
    std::optional<QString> m_csrfToken;
    ApprovalHandler m_approvalHandler;
    MismatchHandler m_mismatchHandler;
    std::chrono::milliseconds m_transferTimeout = defaultTransferTimeout;
    QSet<QNetworkReply *> m_inFlight;
    bool m_invalidated = false;
};

} // namespace lanternfold
