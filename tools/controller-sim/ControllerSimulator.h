// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "HttpMessage.h"
#include "SimClock.h"
#include "SimFaults.h"
#include "SimLog.h"
#include "SimRouter.h"
#include "SimState.h"
#include "SimTlsServer.h"
#include "SimulatedSite.h"
#include "TlsIdentity.h"

#include <QHash>
#include <QHostAddress>
#include <QJsonObject>
#include <QObject>
#include <QSslCertificate>
#include <QString>

#include <chrono>
#include <functional>
#include <optional>

namespace lanternfold::sim {

/// A simulated UniFi controller over real TLS on 127.0.0.1: a fixture for tests and a demo
/// controller for a person. It serves hand-written controller JSON and can be told to misbehave.
/// This class is the one door in: the TLS side (SimTlsServer), the connections (SimConnection),
/// the web API (SimRouter), sessions (SimSessions), faults (SimFaults) and the command language
/// (SimCommands) each live in their own unit behind it.
class ControllerSimulator final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ControllerSimulator)

public:
    using Clock = std::chrono::steady_clock;
    using KeyType = TlsIdentity::KeyType;
    using Kind = SimKind;
    using FaultKind = sim::FaultKind;
    using Fault = sim::Fault;
    /// What a connection does with one request.
    using Outcome = SimOutcome;

    static constexpr auto defaultUsername = "demo";
    static constexpr auto defaultPassword = "lanternfold-demo";

    explicit ControllerSimulator(QObject *parent = nullptr);
    ~ControllerSimulator() override;

    // Set before start().
    void setKind(Kind kind) { m_state.kind = kind; }
    void setListenPort(quint16 port) { m_tls->setListenPort(port); }
    void setListenAddress(const QHostAddress &address) { m_tls->setListenAddress(address); }
    void setKeyType(KeyType type) { m_tls->setKeyType(type); }
    /// Presents this certificate and key instead of generating a fresh pair at start.
    void setIdentity(const TlsIdentity &identity) { m_tls->setIdentity(identity); }
    bool setLogFile(const QString &path, QString *error = nullptr) { return m_log->setFile(path, error); }

    // May change at any time.
    void setCredentials(const QString &username, const QString &password);
    /// The first site's short id and the name people know it by.
    void setSite(const QString &site) { m_state.siteName = site; }
    void setSiteDescription(const QString &desc) { m_state.siteDesc = desc; }
    /// Serves one more site, with the devices of a stat/device answer (and no cameras: they belong
    /// to the console). Refused for a name already served or a body that does not read.
    bool addSite(const QString &name, const QString &desc, const QByteArray &devicesJson, QString *error = nullptr);
    /// The demo's second site, "Warehouse" (short id demoWarehouseSite), with its own access points.
    void addDemoWarehouse();
    static constexpr auto demoWarehouseSite = "k3w9d2xa";
    /// Every site but the first is gone again.
    void removeOtherSites() { m_state.otherSites.clear(); }
    /// The account may read every site but restarts are answered 403 api.err.NoPermission.
    void setReadOnly(bool readOnly) { m_state.readOnly = readOnly; }
    bool setDevicesJson(const QByteArray &json, QString *error = nullptr);
    bool setCamerasJson(const QByteArray &json, QString *error = nullptr);
    void setOfflineDuration(std::chrono::milliseconds duration)
    {
        m_state.forEachSite([duration](SimulatedSite &site) { site.setOfflineDuration(duration); });
    }
    using RebootTiming = SimulatedSite::RebootTiming;
    using RebootRange = SimulatedSite::Range;
    /// Reboot times drawn from seeded ranges for every device without times of its own.
    void setRebootRanges(quint32 seed, RebootRange accessPoints, RebootRange cameras, RebootRange detection)
    {
        m_state.forEachSite([&](SimulatedSite &site) { site.setRebootRanges(seed, accessPoints, cameras, detection); });
    }
    /// The reboot times of one device (MAC) or camera (id), on whichever site has it; false when
    /// there is none.
    bool setRebootTiming(const QString &id, RebootTiming timing);
    /// Keeps a device or camera from coming back after its next restarts.
    bool setNeverComesBack(const QString &id, bool never);
    /// Sessions end this long after login, however busy they are.
    void setSessionLifetime(std::chrono::milliseconds lifetime) { m_state.sessions.setLifetime(lifetime); }
    /// Every POST answer in a session carries a new token in "X-Updated-CSRF-Token".
    void setCsrfRotation(bool on) { m_state.csrfRotation = on; }
    /// UniFi OS only: the token travels only as the "csrfToken" claim of a JWT session cookie.
    void setJwtCookie(bool on) { m_state.jwtCookie = on; }
    /// Off: a successful login carries no CSRF header at all (older firmware, or a token that
    /// travels elsewhere), so a client must keep whatever token it had.
    void setCsrfHeaderAtLogin(bool on) { m_state.csrfHeaderAtLogin = on; }
    /// Classic only: a login answer carries no X-CSRF-Token header but a "csrf_token" cookie with
    /// the session's token; with rotation on, a rotated token comes again as a new such cookie.
    void setCsrfCookie(bool on) { m_state.csrfCookie = on; }
    /// The account asks for a second factor: a login with the right password is refused the way
    /// this kind of controller refuses it (classic 400 api.err.Ubic2faTokenRequired, UniFi OS 499
    /// MFA_AUTH_REQUIRED) and makes no session.
    void setTwoFactorRequired(bool on) { m_state.twoFactor = on; }
    /// Every login, whatever it sends, gets exactly this status and JSON body and makes no
    /// session, until clearLoginAnswer(). For client tests of answers no switch produces.
    void setLoginAnswer(int status, const QByteArray &body) { m_state.loginAnswer = SimLoginAnswer{status, body}; }
    void clearLoginAnswer() { m_state.loginAnswer.reset(); }
    /// Adds this header to every answer, whatever its status (an empty value removes it again).
    void setExtraHeader(const QByteArray &name, const QByteArray &value);
    /// After maxLogins login attempts within window, further ones get 429 until the window has
    /// room again. maxLogins 0 turns the limit off.
    void setLoginRateLimit(int maxLogins, std::chrono::milliseconds window);
    /// The first handshake after this is switched on presents the main key, every later one the
    /// second key.
    void setKeyFlip(bool on) { m_tls->setKeyFlip(on); }
    void setFault(const Fault &fault) { m_state.faults.set(fault); }
    void clearFault(FaultKind kind) { m_state.faults.clear(kind); }
    void clearFaults() { m_state.faults.clearAll(); }
    /// Ends every session at once, as a console reboot would.
    void expireSessions() { m_state.sessions.clear(); }
    /// Closes every open connection (handshake done) at once, as a console restarting its web
    /// server would, so that clients must open new ones; listening goes on. Returns how many.
    int closeConnections();
    /// Where session expiry, offline windows and the login rate-limit window read the time. An
    /// empty function goes back to the real steady clock; tests pass a ManualClock.
    void setClock(std::function<Clock::time_point()> clock) { m_state.clock = std::move(clock); }

    /// Generates the keys (unless an identity was set) and listens on 127.0.0.1.
    bool start(QString *error = nullptr);
    void stop();
    [[nodiscard]] bool isListening() const { return m_tls->isListening(); }

    [[nodiscard]] Kind kind() const { return m_state.kind; }
    [[nodiscard]] QHostAddress address() const { return QHostAddress(QHostAddress::LocalHost); }
    [[nodiscard]] quint16 port() const { return m_tls->port(); }
    [[nodiscard]] QString username() const { return m_state.username; }
    [[nodiscard]] QString password() const { return m_state.password; }
    [[nodiscard]] QString site() const { return m_state.siteName; }
    [[nodiscard]] const SimulatedSite &simulatedSite() const { return m_state.site; }
    /// The site of that short id, if served.
    [[nodiscard]] const SimulatedSite *simulatedSite(const QString &name) { return m_state.siteNamed(name); }
    [[nodiscard]] QString siteDescription() const { return m_state.siteDesc; }
    /// The short ids of every site served, the first one first.
    [[nodiscard]] QStringList siteNames() const;
    [[nodiscard]] bool readOnly() const { return m_state.readOnly; }
    [[nodiscard]] const TlsIdentity &identity() const { return m_tls->identity(); }
    /// The second key of key-flip mode; generated at start() or when key flip is first switched on.
    [[nodiscard]] const TlsIdentity &flipIdentity() const { return m_tls->flipIdentity(); }
    [[nodiscard]] QString fingerprint() const { return identity().fingerprint; }
    [[nodiscard]] QString flipFingerprint() const { return flipIdentity().fingerprint; }
    [[nodiscard]] QSslCertificate certificate() const { return identity().certificate(); }
    [[nodiscard]] QHash<FaultKind, Fault> faults() const { return m_state.faults.all(); }
    [[nodiscard]] int liveSessionCount() const { return m_state.sessions.liveCount(now()); }
    [[nodiscard]] bool csrfRotation() const { return m_state.csrfRotation; }
    [[nodiscard]] bool jwtCookie() const { return m_state.jwtCookie; }
    [[nodiscard]] bool csrfHeaderAtLogin() const { return m_state.csrfHeaderAtLogin; }
    [[nodiscard]] bool csrfCookie() const { return m_state.csrfCookie; }
    [[nodiscard]] bool twoFactorRequired() const { return m_state.twoFactor; }
    [[nodiscard]] bool keyFlip() const { return m_tls->keyFlip(); }
    [[nodiscard]] int loginRateLimit() const { return m_state.sessions.rateLimitLogins(); }
    [[nodiscard]] std::chrono::milliseconds loginRateWindow() const { return m_state.sessions.rateLimitWindow(); }
    [[nodiscard]] std::chrono::milliseconds sessionLifetime() const { return m_state.sessions.lifetime(); }
    /// Connections whose handshake completed and that are still open.
    [[nodiscard]] int openConnectionCount() const;
    /// The simulator's idea of now (see setClock()).
    [[nodiscard]] Clock::time_point now() const { return m_state.now(); }

    [[nodiscard]] SimLog &log() { return *m_log; }
    [[nodiscard]] const QList<QJsonObject> &logEntries() const { return m_log->entries(); }

    /// One line of the run-time command language (the program reads it from stdin). Returns the
    /// reply to print: "OK …" or "ERROR …".
    QString applyCommand(const QString &line);
    static QString commandHelp();

    static QString kindName(Kind kind);
    static std::optional<Kind> kindFromName(const QString &name);
    static QString faultName(FaultKind kind) { return SimFaults::name(kind); }
    static std::optional<FaultKind> faultFromName(const QString &name) { return SimFaults::fromName(name); }

    /// Decides the answer to one request and logs it (used by the connections; public for
    /// white-box tests).
    Outcome handle(const HttpRequest &request, int connectionId, const QString &keyFingerprint);

Q_SIGNALS:
    void started();

private:
    void accept(QSslSocket *socket, int connectionId, const QString &fingerprint);

    SimState m_state;
    SimRouter m_router{m_state};
    SimLog *m_log = nullptr;
    SimTlsServer *m_tls = nullptr;
    QObject *m_connections = nullptr; ///< parent of every open SimConnection
};

} // namespace lanternfold::sim
