// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

// Helpers shared by the simulated controller's own tests: a plain Qt HTTPS client that trusts
// exactly the simulator's keys, a raw TLS connection for what that client will not send, and
// small readers of answers and of the simulator's log.

#include "ControllerSimulator.h"
#include "TlsIdentity.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QNetworkReply>
#include <QProcess>
#include <QSignalSpy>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTest>

#include <algorithm>
#include <memory>
#include <optional>

namespace lanternfold::simtest {

using namespace Qt::StringLiterals;
using sim::ControllerSimulator;
using sim::ManualClock;
using sim::TlsIdentity;
using Kind = ControllerSimulator::Kind;
using FaultKind = ControllerSimulator::FaultKind;
using RawHeaders = QList<QPair<QByteArray, QByteArray>>;

inline constexpr auto unifiOsLogin = "/api/auth/login";
inline constexpr auto classicLogin = "/api/login";
inline constexpr auto unifiOsDevices = "/proxy/network/api/s/default/stat/device";
inline constexpr auto unifiOsRestart = "/proxy/network/api/s/default/cmd/devmgr";
inline constexpr auto camerasPath = "/proxy/protect/api/cameras";
inline constexpr auto loginRequired = R"({"meta":{"rc":"error","msg":"api.err.LoginRequired"},"data":[]})";
inline constexpr auto invalidCsrf = R"({"message":"Invalid CSRF Token"})";
inline constexpr auto emptyOk = R"({"meta":{"rc":"ok"},"data":[]})";
// Outside any macro: moc's preprocessor reads the apostrophe as the start of a character literal.
inline constexpr auto limitReached =
    R"({"code":"AUTHENTICATION_FAILED_LIMIT_REACHED","message":"You've reached the login attempt limit"})";

struct Answer
{
    int status = 0;
    QByteArray body;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QList<QNetworkReply::RawHeaderPair> headers;
    QSslCertificate peerCertificate;

    [[nodiscard]] bool hasHeader(const QByteArray &name) const
    {
        return std::any_of(headers.cbegin(), headers.cend(),
                           [&](const auto &pair) { return pair.first.compare(name, Qt::CaseInsensitive) == 0; });
    }
    [[nodiscard]] QByteArray header(const QByteArray &name) const
    {
        for (const auto &[key, value] : headers) {
            if (key.compare(name, Qt::CaseInsensitive) == 0)
                return value;
        }
        return {};
    }
    [[nodiscard]] QJsonDocument json() const { return QJsonDocument::fromJson(body); }
};

/// A plain Qt HTTPS client with its own cookie jar that trusts exactly the simulator's keys.
class SimClient
{
public:
    explicit SimClient(const ControllerSimulator &simulator) : m_simulator(simulator)
    {
        QObject::connect(
            &m_nam, &QNetworkAccessManager::sslErrors, &m_nam, [this](QNetworkReply *reply, const QList<QSslError> &) {
                const QSslCertificate peer = reply->sslConfiguration().peerCertificate();
                if (peer == m_simulator.identity().certificate() ||
                    (!m_simulator.flipIdentity().isNull() && peer == m_simulator.flipIdentity().certificate()))
                    reply->ignoreSslErrors();
            });
    }

    Answer get(const QString &path, const RawHeaders &headers = {}, int transferTimeoutMs = 0)
    {
        return send(false, path, {}, headers, transferTimeoutMs);
    }
    Answer post(const QString &path, const QByteArray &body = {}, const RawHeaders &headers = {})
    {
        return send(true, path, body, headers, 0);
    }
    /// POST with the current CSRF token.
    Answer postWithToken(const QString &path, const QByteArray &body = {})
    {
        return post(path, body, {{QByteArrayLiteral("X-CSRF-Token"), csrfToken}});
    }
    Answer login(const QString &username, const QString &password)
    {
        const QString path =
            m_simulator.kind() == Kind::UnifiOS ? QString::fromLatin1(unifiOsLogin) : QString::fromLatin1(classicLogin);
        const QJsonObject body{{u"username"_s, username}, {u"password"_s, password}, {u"rememberMe"_s, false}};
        Answer answer = post(path, QJsonDocument(body).toJson(QJsonDocument::Compact));
        if (answer.hasHeader(QByteArrayLiteral("X-CSRF-Token")))
            csrfToken = answer.header(QByteArrayLiteral("X-CSRF-Token"));
        return answer;
    }
    Answer loginOk() { return login(m_simulator.username(), m_simulator.password()); }

    QList<QNetworkCookie> cookies() const
    {
        return m_nam.cookieJar()->cookiesForUrl(QUrl(u"https://127.0.0.1:%1/"_s.arg(m_simulator.port())));
    }
    /// "NAME=value" of the session cookie, for a raw connection to present.
    QByteArray cookieHeader() const
    {
        const auto jar = cookies();
        return jar.isEmpty() ? QByteArray() : jar.first().name() + '=' + jar.first().value();
    }

    QByteArray csrfToken;
    /// Used by requests that name no transfer timeout of their own; 0 is none.
    int transferTimeoutMs = 0;
    /// Off by default, as Lanternfold's client must have it: the simulator offers h2 but speaks
    /// only HTTP/1.1.
    bool http2Allowed = false;
    /// ALPN protocols this client offers of its own accord. Qt 6.4 itself offers "h2" and
    /// "http/1.1" only when HTTP/2 is allowed, and nothing at all otherwise.
    QList<QByteArray> offeredProtocols;

private:
    Answer send(bool post, const QString &path, const QByteArray &body, const RawHeaders &headers, int timeoutMs)
    {
        QNetworkRequest request(QUrl(u"https://127.0.0.1:%1%2"_s.arg(m_simulator.port()).arg(path)));
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
        request.setAttribute(QNetworkRequest::Http2AllowedAttribute, http2Allowed);
        if (!offeredProtocols.isEmpty()) {
            QSslConfiguration configuration = request.sslConfiguration();
            configuration.setAllowedNextProtocols(offeredProtocols);
            request.setSslConfiguration(configuration);
        }
        if (timeoutMs <= 0)
            timeoutMs = transferTimeoutMs;
        if (timeoutMs > 0)
            request.setTransferTimeout(timeoutMs);
        if (post)
            request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
        for (const auto &[name, value] : headers)
            request.setRawHeader(name, value);
        QNetworkReply *reply = post ? m_nam.post(request, body) : m_nam.get(request);
        QSignalSpy finished(reply, &QNetworkReply::finished);
        if (!reply->isFinished() && !finished.wait(30000))
            reply->abort();
        Answer answer;
        answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        answer.body = reply->isOpen() ? reply->readAll() : QByteArray(); // closed after a timeout
        answer.error = reply->error();
        answer.headers = reply->rawHeaderPairs();
        answer.peerCertificate = reply->sslConfiguration().peerCertificate();
        reply->deleteLater();
        return answer;
    }

    const ControllerSimulator &m_simulator;
    QNetworkAccessManager m_nam;
};

inline std::unique_ptr<ControllerSimulator>
startSimulator(Kind kind = Kind::UnifiOS, TlsIdentity::KeyType keyType = TlsIdentity::KeyType::Ec, bool keyFlip = false)
{
    auto simulator = std::make_unique<ControllerSimulator>();
    simulator->setKind(kind);
    simulator->setKeyType(keyType);
    simulator->setKeyFlip(keyFlip);
    QString error;
    if (!simulator->start(&error))
        qFatal("cannot start the simulator: %s", qPrintable(error));
    return simulator;
}

inline QString restartPath(Kind kind)
{
    return kind == Kind::UnifiOS ? QString::fromLatin1(unifiOsRestart) : u"/api/s/default/cmd/devmgr"_s;
}

inline QString devicesPath(Kind kind)
{
    return kind == Kind::UnifiOS ? QString::fromLatin1(unifiOsDevices) : u"/api/s/default/stat/device"_s;
}

inline QByteArray restartBody(const QString &mac)
{
    return QJsonDocument(QJsonObject{{u"cmd"_s, u"restart"_s}, {u"mac"_s, mac}}).toJson(QJsonDocument::Compact);
}

inline std::optional<QJsonObject> findById(const QJsonArray &array, const QString &key, const QString &value)
{
    for (const auto &element : array) {
        if (element.toObject().value(key).toString() == value)
            return element.toObject();
    }
    return std::nullopt;
}

inline QJsonValue deviceField(SimClient &client, Kind kind, const QString &mac, const QString &field)
{
    const auto device =
        findById(client.get(devicesPath(kind)).json().object().value(u"data"_s).toArray(), u"mac"_s, mac);
    return device ? device->value(field) : QJsonValue(QJsonValue::Undefined);
}

inline QJsonValue cameraField(SimClient &client, const QString &id, const QString &field)
{
    const auto camera = findById(client.get(QString::fromLatin1(camerasPath)).json().array(), u"id"_s, id);
    return camera ? camera->value(field) : QJsonValue(QJsonValue::Undefined);
}

/// Complete HTTP responses at the front of a byte stream: (status, body) pairs.
inline QList<QPair<int, QByteArray>> parseResponses(const QByteArray &stream)
{
    QList<QPair<int, QByteArray>> result;
    qsizetype at = 0;
    while (true) {
        const qsizetype headEnd = stream.indexOf("\r\n\r\n", at);
        if (headEnd < 0)
            return result;
        const QByteArray head = stream.mid(at, headEnd - at);
        const int status = head.mid(9, 3).toInt();
        qsizetype length = 0;
        for (const QByteArray &line : head.split('\n')) {
            if (line.toLower().startsWith("content-length:"))
                length = line.mid(15).trimmed().toLongLong();
        }
        if (stream.size() < headEnd + 4 + length)
            return result;
        result.append({status, stream.mid(headEnd + 4, length)});
        at = headEnd + 4 + length;
    }
}

/// The first response in a byte stream, however much of it has arrived.
struct PartialResponse
{
    bool headComplete = false;
    int status = 0;
    qsizetype contentLength = -1;
    QByteArray body; ///< what arrived of it so far
};

inline PartialResponse parsePartialResponse(const QByteArray &stream)
{
    PartialResponse response;
    const qsizetype headEnd = stream.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return response;
    response.headComplete = true;
    const QByteArray head = stream.left(headEnd);
    response.status = head.mid(9, 3).toInt();
    for (const QByteArray &line : head.split('\n')) {
        if (line.toLower().startsWith("content-length:"))
            response.contentLength = line.mid(15).trimmed().toLongLong();
    }
    response.body = stream.mid(headEnd + 4);
    return response;
}

/// A raw TLS connection for what QNetworkAccessManager will not send: pipelining, split writes,
/// garbage, and for watching exactly which bytes come back.
class RawConnection
{
public:
    explicit RawConnection(const ControllerSimulator &simulator)
    {
        QObject::connect(&socket, &QSslSocket::readyRead, &socket, [this] { received += socket.readAll(); });
        socket.setPeerVerifyMode(QSslSocket::VerifyNone);
        socket.connectToHostEncrypted(u"127.0.0.1"_s, simulator.port());
    }
    bool waitEncrypted()
    {
        QSignalSpy encrypted(&socket, &QSslSocket::encrypted);
        return socket.isEncrypted() || encrypted.wait(15000);
    }
    /// Writes a GET with the given extra header lines (each without its line break).
    void get(const QByteArray &path, const QList<QByteArray> &headerLines = {})
    {
        QByteArray request = "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
        for (const QByteArray &line : headerLines)
            request += line + "\r\n";
        socket.write(request + "\r\n");
    }
    QSslSocket socket;
    QByteArray received;
};

inline int countEvents(const ControllerSimulator &simulator, const QString &event, const QString &key = {},
                       const QJsonValue &value = {})
{
    int count = 0;
    for (const QJsonObject &entry : simulator.logEntries()) {
        if (entry.value(u"event"_s).toString() == event && (key.isEmpty() || entry.value(key) == value))
            ++count;
    }
    return count;
}

inline QList<QJsonObject> requestEntries(ControllerSimulator &simulator)
{
    return simulator.log().entries(u"request"_s);
}

/// Runs a shell command and returns the first word of its output.
inline QString runShell(const QString &command)
{
    QProcess shell;
    shell.start(u"/bin/sh"_s, {u"-c"_s, command});
    if (!shell.waitForFinished(30000) || shell.exitCode() != 0)
        return u"<failed: "_s + QString::fromUtf8(shell.readAllStandardError()) + u'>';
    return QString::fromLatin1(shell.readAllStandardOutput()).section(u' ', 0, 0).trimmed();
}

/// Runs a shell command while the event loop turns (the simulator runs on this thread) and
/// returns its standard output and error together.
inline QString runShellAsync(const QString &command, int timeoutMs = 30000)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(u"/bin/sh"_s, {u"-c"_s, command});
    for (int waited = 0; waited < timeoutMs && process.state() != QProcess::NotRunning; waited += 20)
        QTest::qWait(20);
    return QString::fromUtf8(process.readAll());
}

} // namespace lanternfold::simtest
