// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TlsIdentity.h"

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>

class QSslServer;
class QSslSocket;

namespace lanternfold::sim {

class SimLog;

/// The listening TLS side: which key each handshake presents (including key flip), what ALPN
/// offers, and the "handshake" log entries. Completed connections are handed on; what is said on
/// them is not its business.
class SimTlsServer final : public QObject
{
public:
    /// Receives each socket whose handshake completed, with the number and key it was given.
    using AcceptHandler = std::function<void(QSslSocket *socket, int connectionId, const QString &fingerprint)>;

    SimTlsServer(SimLog &log, AcceptHandler onAccepted, QObject *parent = nullptr);
    ~SimTlsServer() override;

    // Set before start().
    void setListenPort(quint16 port) { m_listenPort = port; }
    /// Loopback unless set: a test that needs an address Qt does not treat as local sets another.
    void setListenAddress(const QHostAddress &address) { m_listenAddress = address; }
    void setKeyType(TlsIdentity::KeyType type) { m_keyType = type; }
    void setIdentity(const TlsIdentity &identity) { m_identity = identity; }

    /// The first handshake after this is switched on presents the main key, every later one the
    /// second key.
    void setKeyFlip(bool on);
    [[nodiscard]] bool keyFlip() const { return m_keyFlip; }

    bool start(QString *error);
    void stop();
    [[nodiscard]] bool isListening() const;
    [[nodiscard]] quint16 port() const;

    [[nodiscard]] const TlsIdentity &identity() const { return m_identity; }
    [[nodiscard]] const TlsIdentity &flipIdentity() const { return m_flipIdentity; }

    /// What ALPN offers, most preferred first: HTTP/2 and HTTP/1.1, as a console's web server does,
    /// although only HTTP/1.1 is spoken here.
    static QList<QByteArray> offeredProtocols();

private:
    struct PendingHandshake
    {
        int connectionId = 0;
        QString fingerprint;
        QString alert;
    };

    void onHandshakeStarted(QSslSocket *socket);
    void onHandshakeError(QSslSocket *socket);
    void onConnectionsReady();
    void logHandshake(QSslSocket *socket, bool completed, const QString &error);
    void applyServerIdentity();
    bool ensureFlipIdentity(QString *error);
    QString fingerprintOfSocket(const QSslSocket *socket) const;

    SimLog &m_log;
    AcceptHandler m_onAccepted;
    quint16 m_listenPort = 0;
    QHostAddress m_listenAddress{QHostAddress::LocalHost};
    TlsIdentity::KeyType m_keyType = TlsIdentity::KeyType::Rsa;
    TlsIdentity m_identity;
    TlsIdentity m_flipIdentity;
    bool m_keyFlip = false;
    int m_handshakesSinceFlip = 0;
    QHash<QByteArray, QString> m_fingerprintsByCertificateDer;
    QSslServer *m_server = nullptr;
    int m_nextConnectionId = 0;
    QHash<const QSslSocket *, PendingHandshake> m_handshakes;
};

} // namespace lanternfold::sim
