// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "SimTlsServer.h"

#include "SimLog.h"

#include <QJsonObject>
#include <QSslConfiguration>
#include <QSslServer>
#include <QSslSocket>

namespace lanternfold::sim {

using namespace Qt::StringLiterals;

SimTlsServer::SimTlsServer(SimLog &log, AcceptHandler onAccepted, QObject *parent)
    : QObject(parent), m_log(log), m_onAccepted(std::move(onAccepted))
{
}

SimTlsServer::~SimTlsServer()
{
    // Close while the handshake table still exists: closing sockets report to it.
    stop();
}

QList<QByteArray> SimTlsServer::offeredProtocols()
{
    return {QByteArray(QSslConfiguration::ALPNProtocolHTTP2), QByteArray(QSslConfiguration::NextProtocolHttp1_1)};
}

void SimTlsServer::setKeyFlip(bool on)
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

bool SimTlsServer::start(QString *error)
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
    connect(m_server, &QSslServer::startedEncryptionHandshake, this, &SimTlsServer::onHandshakeStarted);
    // Direct connections: QSslServer deletes a socket whose handshake failed right after this.
    connect(m_server, &QSslServer::errorOccurred, this,
            [this](QSslSocket *socket, QAbstractSocket::SocketError) { onHandshakeError(socket); });
    connect(m_server, &QSslServer::alertReceived, this,
            [this](QSslSocket *socket, QSsl::AlertLevel, QSsl::AlertType, const QString &description) {
                const auto it = m_handshakes.find(socket);
                if (it != m_handshakes.end() && it->alert.isEmpty())
                    it->alert = description;
            });
    connect(m_server, &QSslServer::pendingConnectionAvailable, this, &SimTlsServer::onConnectionsReady);
    applyServerIdentity();
    if (!m_server->listen(m_listenAddress, m_listenPort)) {
        if (error)
            *error = u"cannot listen on %1:%2: %3"_s.arg(m_listenAddress.toString())
                         .arg(m_listenPort)
                         .arg(m_server->errorString());
        delete m_server;
        m_server = nullptr;
        return false;
    }
    return true;
}

void SimTlsServer::stop()
{
    if (!m_server)
        return;
    m_server->close();
    delete m_server;
    m_server = nullptr;
    m_handshakes.clear();
}

bool SimTlsServer::isListening() const
{
    return m_server && m_server->isListening();
}

quint16 SimTlsServer::port() const
{
    return m_server ? m_server->serverPort() : 0;
}

bool SimTlsServer::ensureFlipIdentity(QString *error)
{
    if (m_flipIdentity.isNull()) {
        auto identity = TlsIdentity::generate(m_identity.isNull() ? m_keyType : m_identity.keyType, error);
        if (!identity)
            return false;
        m_flipIdentity = *identity;
        m_fingerprintsByCertificateDer.insert(m_flipIdentity.certificate().toDer(), m_flipIdentity.fingerprint);
    }
    return true;
}

void SimTlsServer::applyServerIdentity()
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
    // Offered like a real console's web server, so that a client which leaves HTTP/2 allowed finds
    // out here rather than on real equipment.
    configuration.setAllowedNextProtocols(offeredProtocols());
    m_server->setSslConfiguration(configuration);
}

QString SimTlsServer::fingerprintOfSocket(const QSslSocket *socket) const
{
    const QByteArray der = socket->sslConfiguration().localCertificate().toDer();
    const auto it = m_fingerprintsByCertificateDer.constFind(der);
    return it != m_fingerprintsByCertificateDer.constEnd() ? *it : TlsIdentity::fingerprintOf(der);
}

void SimTlsServer::onHandshakeStarted(QSslSocket *socket)
{
    PendingHandshake handshake;
    handshake.connectionId = ++m_nextConnectionId;
    handshake.fingerprint = fingerprintOfSocket(socket);
    m_handshakes.insert(socket, handshake);
    // A socket QSslServer gives up on (its handshake timer, a client that vanished) may go
    // without an error signal; its end must still be logged.
    connect(socket, &QObject::destroyed, this, [this, socket] {
        if (!m_handshakes.contains(socket))
            return;
        const PendingHandshake handshake = m_handshakes.take(socket);
        m_log.append(QJsonObject{{u"event"_s, u"handshake"_s},
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

void SimTlsServer::onHandshakeError(QSslSocket *socket)
{
    if (m_handshakes.contains(socket))
        logHandshake(socket, false, socket->errorString());
}

void SimTlsServer::logHandshake(QSslSocket *socket, bool completed, const QString &error)
{
    if (!m_handshakes.contains(socket))
        return;
    const PendingHandshake handshake = m_handshakes.take(socket);
    QJsonObject entry{{u"event"_s, u"handshake"_s},
                      {u"conn"_s, handshake.connectionId},
                      {u"fingerprint"_s, handshake.fingerprint},
                      {u"result"_s, completed ? u"completed"_s : u"failed"_s}};
    if (completed) {
        const QSslConfiguration configuration = socket->sslConfiguration();
        entry.insert(u"protocol"_s, socket->sessionProtocol() == QSsl::TlsV1_3 ? u"TLSv1.3"_s : u"TLSv1.2"_s);
        // Only a real agreement counts: when the client offered nothing in common, Qt reports
        // "http/1.1" as a guess, which is not what was negotiated.
        const QByteArray alpn = configuration.nextNegotiatedProtocol();
        const bool negotiated =
            configuration.nextProtocolNegotiationStatus() == QSslConfiguration::NextProtocolNegotiationNegotiated &&
            !alpn.isEmpty();
        entry.insert(u"alpn"_s, negotiated ? QJsonValue(QString::fromLatin1(alpn)) : QJsonValue(QJsonValue::Null));
    } else {
        entry.insert(u"error"_s, error);
        if (!handshake.alert.isEmpty())
            entry.insert(u"alert"_s, handshake.alert);
    }
    m_log.append(entry);
}

void SimTlsServer::onConnectionsReady()
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
        m_onAccepted(socket, handshake.connectionId, handshake.fingerprint);
    }
}

} // namespace lanternfold::sim
