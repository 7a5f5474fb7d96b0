#include "Services/PinningSessionDelegate.h"

#include "Services/CertTrustService.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSslConfiguration>

namespace lanternfold {

namespace {

constexpr const char *refusalProperty = "lanternfoldPinRefusal";

} // namespace

PinningSessionDelegate::PinningSessionDelegate(QString host, CertTrustService &trust, QNetworkAccessManager *manager)
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

void PinningSessionDelegate::handleSslErrors(QNetworkReply *reply, const QList<QSslError> &errors)
{
    const QSslConfiguration configuration = reply->sslConfiguration();
    const QList<QSslCertificate> chain = configuration.peerCertificateChain();
    const QSslCertificate leaf = chain.isEmpty() ? configuration.peerCertificate() : chain.first();
    const auto refusal = check(CertTrustService::fingerprint(leaf));
    if (!refusal) {
        m_lastRefusal.reset();
        reply->ignoreSslErrors(errors);
        return;
    }
    m_lastRefusal = refusal;
    // Not ignoring the errors is the refusal: the handshake fails and nothing is sent. The reply
    // remembers why, so the client can report it once the request has ended.
    reply->setProperty(refusalProperty, QVariant::fromValue(QStringList{QString::number(int(refusal->reason)),
                                                                        refusal->expected, refusal->presented}));
}

std::optional<PinRefusal> PinningSessionDelegate::refusalOf(const QNetworkReply *reply)
{
    const QVariant value = reply->property(refusalProperty);
    if (!value.isValid())
        return std::nullopt;
    const QStringList parts = value.toStringList();
    if (parts.size() != 3)
        return std::nullopt;
    return PinRefusal{PinRefusal::Reason(parts.at(0).toInt()), parts.at(1), parts.at(2)};
}

} // namespace lanternfold
