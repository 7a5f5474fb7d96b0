#pragma once

#include "HttpMessage.h"
#include "SimLog.h"
#include "SimulatedSite.h"
#include "TlsIdentity.h"

#include <QHash>
#include <QHostAddress>
#include <QJsonObject>
#include <QObject>
#include <QSslCertificate>
#include <QString>

#include <chrono>
#include <memory>
#include <optional>

class QSslServer;
class QSslSocket;

namespace lanternfold::sim {

class SimConnection;

/// A simulated UniFi controller over real TLS on 127.0.0.1: a fixture for tests and a demo
/// controller for a person. It serves hand-written controller JSON and can be told to misbehave.
class ControllerSimulator final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ControllerSimulator)

public:
    using Clock = std::chrono::steady_clock;
    using KeyType = TlsIdentity::KeyType;

    enum class Kind { UnifiOS, Classic };

    enum class FaultKind {
        Latency,       ///< answer late by Fault::latency
        ServerError,   ///< HTTP 500 with a body that is not UTF-8
        MalformedJson, ///< inventory GETs answer 200 with truncated JSON; with an explicit path
                       ///< prefix, any other 200 answer under it too
        WrongType,     ///< inventory GETs answer 200 with a device "state" string / numeric camera "id"
        Drop,          ///< close the connection without answering
        Hang,          ///< keep the connection open and never answer
    };

    struct Fault
    {
        FaultKind kind = FaultKind::Latency;
        /// Paths beginning with this; empty means every path except the login path.
        QString pathPrefix;
        std::chrono::milliseconds latency{0};
    };

    static constexpr auto defaultUsername = "demo";
    static constexpr auto defaultPassword = "lanternfold-demo";

    explicit ControllerSimulator(QObject *parent = nullptr);
    ~ControllerSimulator() override;

    // Set before start().
    void setKind(Kind kind) { m_kind = kind; }
    void setListenPort(quint16 port) { m_listenPort = port; }
    void setKeyType(KeyType type) { m_keyType = type; }
    /// Presents this certificate and key instead of generating a fresh pair at start.
    void setIdentity(const TlsIdentity &identity) { m_identity = identity; }
    bool setLogFile(const QString &path, QString *error = nullptr) { return m_log->setFile(path, error); }

    // May change at any time.
    void setCredentials(const QString &username, const QString &password);
    void setSite(const QString &site) { m_siteName = site; }
    bool setDevicesJson(const QByteArray &json, QString *error = nullptr);
    bool setCamerasJson(const QByteArray &json, QString *error = nullptr);
    void setOfflineDuration(std::chrono::milliseconds duration) { m_site.setOfflineDuration(duration); }
    /// Sessions end this long after login, however busy they are.
    void setSessionLifetime(std::chrono::milliseconds lifetime) { m_sessionLifetime = lifetime; }
    /// Every POST answer in a session carries a new token in "X-Updated-CSRF-Token".
    void setCsrfRotation(bool on) { m_csrfRotation = on; }
    /// UniFi OS only: the token travels only as the "csrfToken" claim of a JWT session cookie.
    void setJwtCookie(bool on) { m_jwtCookie = on; }
    /// Off: a successful login carries no CSRF header at all (older firmware, or a token that
    /// travels elsewhere), so a client must keep whatever token it had.
    void setCsrfHeaderAtLogin(bool on) { m_csrfHeaderAtLogin = on; }
    /// Adds this header to every answer, whatever its status (an empty value removes it again).
    void setExtraHeader(const QByteArray &name, const QByteArray &value);
    /// After maxLogins login attempts within window, further ones get 429 until the window has
    /// room again. maxLogins 0 turns the limit off.
    void setLoginRateLimit(int maxLogins, std::chrono::milliseconds window);
    /// The first handshake after this is switched on presents the main key, every later one the
    /// second key.
    void setKeyFlip(bool on);
    void setFault(const Fault &fault);
    void clearFault(FaultKind kind) { m_faults.remove(kind); }
    void clearFaults() { m_faults.clear(); }
    /// Ends every session at once, as a console reboot would.
    void expireSessions() { m_sessions.clear(); }

    /// Generates the keys (unless an identity was set) and listens on 127.0.0.1.
    bool start(QString *error = nullptr);
    void stop();
    [[nodiscard]] bool isListening() const;

    [[nodiscard]] Kind kind() const { return m_kind; }
    [[nodiscard]] QHostAddress address() const { return QHostAddress(QHostAddress::LocalHost); }
    [[nodiscard]] quint16 port() const;
    [[nodiscard]] QString username() const { return m_username; }
    [[nodiscard]] QString password() const { return m_password; }
    [[nodiscard]] QString site() const { return m_siteName; }
    [[nodiscard]] const SimulatedSite &simulatedSite() const { return m_site; }
    [[nodiscard]] const TlsIdentity &identity() const { return m_identity; }
    /// The second key of key-flip mode; generated at start() or when key flip is first switched on.
    [[nodiscard]] const TlsIdentity &flipIdentity() const { return m_flipIdentity; }
    [[nodiscard]] QString fingerprint() const { return m_identity.fingerprint; }
    [[nodiscard]] QString flipFingerprint() const { return m_flipIdentity.fingerprint; }
    [[nodiscard]] QSslCertificate certificate() const { return m_identity.certificate(); }
    [[nodiscard]] QHash<FaultKind, Fault> faults() const { return m_faults; }
    [[nodiscard]] int liveSessionCount() const;

    [[nodiscard]] SimLog &log() { return *m_log; }
    [[nodiscard]] const QList<QJsonObject> &logEntries() const { return m_log->entries(); }

    /// One line of the run-time command language (the program reads it from stdin). Returns the
    /// reply to print: "OK …" or "ERROR …".
    QString applyCommand(const QString &line);
    static QString commandHelp();

    static QString kindName(Kind kind);
    static std::optional<Kind> kindFromName(const QString &name);
    static QString faultName(FaultKind kind);
    static std::optional<FaultKind> faultFromName(const QString &name);

    /// What a connection does with one request.
    struct Outcome
    {
        enum class Action { Respond, Drop, Hang };
        Action action = Action::Respond;
        HttpResponse response;
        std::chrono::milliseconds delay{0};
    };
    /// Decides the answer to one request (used by the connections; public for white-box tests).
    Outcome handle(const HttpRequest &request, int connectionId, const QString &keyFingerprint);

Q_SIGNALS:
    void started();

private:
    struct Session
    {
        QString username;
        QString userId;
        QString csrfToken;
        Clock::time_point expiresAt;
    };

    void onHandshakeStarted(QSslSocket *socket);
    void onHandshakeError(QSslSocket *socket);
    void onConnectionsReady();
    void logHandshake(QSslSocket *socket, bool completed, const QString &error);
    void applyServerIdentity();
    bool ensureFlipIdentity(QString *error);
    QString fingerprintOfSocket(const QSslSocket *socket) const;

    [[nodiscard]] QString loginPath() const;
    [[nodiscard]] bool isInventoryPath(const QString &path) const;
    [[nodiscard]] QString logoutPath() const;
    [[nodiscard]] QByteArray cookieName() const;
    [[nodiscard]] std::optional<Fault> faultFor(FaultKind kind, const QString &path) const;
    [[nodiscard]] Session *liveSession(const HttpRequest &request, QByteArray *cookieValue = nullptr);

    HttpResponse route(const HttpRequest &request, const QString &path);
    HttpResponse login(const HttpRequest &request);
    HttpResponse logout(const QByteArray &cookieValue);
    HttpResponse inventory(const QString &path, bool devices);
    HttpResponse restartDevice(const HttpRequest &request);
    HttpResponse rebootCamera(const QString &cameraId);
    HttpResponse self(const Session &session) const;
    HttpResponse siteError() const;
    QByteArray newSessionCookie(const QString &userId, const QString &csrfToken, qint64 lifetimeSeconds) const;

    Kind m_kind = Kind::UnifiOS;
    quint16 m_listenPort = 0;
    KeyType m_keyType = KeyType::Rsa;
    QString m_username = QString::fromLatin1(defaultUsername);
    QString m_password = QString::fromLatin1(defaultPassword);
    QString m_siteName = QStringLiteral("default");
    SimulatedSite m_site;
    std::chrono::milliseconds m_sessionLifetime{std::chrono::hours(2)};
    bool m_csrfRotation = false;
    bool m_jwtCookie = false;
    bool m_csrfHeaderAtLogin = true;
    QList<QPair<QByteArray, QByteArray>> m_extraHeaders;
    int m_rateLimitLogins = 0;
    std::chrono::milliseconds m_rateLimitWindow{std::chrono::minutes(1)};
    QList<Clock::time_point> m_recentLogins;
    bool m_keyFlip = false;
    int m_handshakesSinceFlip = 0;
    QHash<FaultKind, Fault> m_faults;
    QHash<QByteArray, Session> m_sessions;
    QByteArray m_jwtSecret;

    TlsIdentity m_identity;
    TlsIdentity m_flipIdentity;
    QHash<QByteArray, QString> m_fingerprintsByCertificateDer;
    QSslServer *m_server = nullptr;
    SimLog *m_log = nullptr;
    QObject *m_connections = nullptr; ///< parent of every open SimConnection
    int m_nextConnectionId = 0;
    struct PendingHandshake
    {
        int connectionId = 0;
        QString fingerprint;
        QString alert;
    };
    QHash<const QSslSocket *, PendingHandshake> m_handshakes;
};

} // namespace lanternfold::sim
