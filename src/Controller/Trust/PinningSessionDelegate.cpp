// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/Trust/PinningSessionDelegate.h"

#include "Controller/Trust/CertTrustService.h"

#include <QSslConfiguration>
#include <QSslSocket>

namespace lanternfold {

PinningSessionDelegate::PinningSessionDelegate(QString host, const CertTrustService &trust, QObject *parent)
    : QObject(parent), m_host(std::move(host)), m_trust(trust)
{
}

std::optional<PinRefusal> PinningSessionDelegate::check(const std::optional<QString> &presented) const
{
    if (!presented)
        return PinRefusal{PinRefusal::Reason::unreadable, {}, {}};
    const auto pinned = m_trust.pinnedFingerprint(m_host);
    if (!pinned)
        return PinRefusal{PinRefusal::Reason::unpinned, {}, *presented};
    if (*pinned != *presented)
        return PinRefusal{PinRefusal::Reason::mismatch, *pinned, *presented};
    return std::nullopt;
}

std::optional<PinRefusal> PinningSessionDelegate::check(const QSslSocket &socket) const
{
    const QList<QSslCertificate> chain = socket.peerCertificateChain();
    const QSslCertificate leaf = chain.isEmpty() ? socket.peerCertificate() : chain.first();
    return check(CertTrustService::fingerprint(leaf));
}

QSslConfiguration PinningSessionDelegate::tlsConfiguration()
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates({});
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
    configuration.setSslOption(QSsl::SslOptionDisableSessionTickets, true);
    configuration.setSslOption(QSsl::SslOptionDisableSessionSharing, true);
    configuration.setSslOption(QSsl::SslOptionDisableSessionPersistence, true);
    // With HTTP/2 switched off, Qt offers no protocol at all; say plainly that HTTP/1.1 follows.
    configuration.setAllowedNextProtocols({QByteArray(QSslConfiguration::NextProtocolHttp1_1)});
    return configuration;
}

} // namespace lanternfold
