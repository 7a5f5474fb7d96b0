#include "Controller/Trust/PinningSessionDelegate.h"

#include "Controller/Trust/CertTrustService.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSslConfiguration>
#include <QSslSocket>

namespace lanternfold {

namespace {

constexpr const char *refusalProperty = "lanternfoldPinRefusal";

} // namespace

PinningSessionDelegate::PinningSessionDelegate(QString host, const CertTrustService &trust,
                                               QNetworkAccessManager *manager)
    : QObject(manager), m_host(std::move(host)), m_trust(trust)
{
    connect(manager, &QNetworkAccessManager::sslErrors, this, &PinningSessionDelegate::handleSslErrors);
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

std::optional<PinRefusal> PinningSessionDelegate::check(const QNetworkReply &reply) const
{
    const QSslConfiguration configuration = reply.sslConfiguration();
    const QList<QSslCertificate> chain = configuration.peerCertificateChain();
    const QSslCertificate leaf = chain.isEmpty() ? configuration.peerCertificate() : chain.first();
    return check(CertTrustService::fingerprint(leaf));
}

void PinningSessionDelegate::handleSslErrors(QNetworkReply *reply, const QList<QSslError> &errors) const
{
    const auto refusal = check(*reply);
    if (!refusal) {
        reply->ignoreSslErrors(errors);
        return;
    }
    // Not ignoring the errors is the refusal: the handshake fails and nothing is sent.
    reply->setProperty(refusalProperty, QVariant::fromValue(*refusal));
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

std::optional<PinRefusal> PinningSessionDelegate::refusalOf(const QNetworkReply &reply)
{
    const QVariant value = reply.property(refusalProperty);
    if (!value.canConvert<PinRefusal>())
        return std::nullopt;
    return value.value<PinRefusal>();
}

} // namespace lanternfold
