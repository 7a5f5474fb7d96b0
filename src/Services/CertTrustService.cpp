#include "Services/CertTrustService.h"

#include <QCoroSignal>
#include <QCryptographicHash>
#include <QSettings>
#include <QStandardPaths>

#include <openssl/x509.h>

namespace lanternfold {

using namespace Qt::StringLiterals;

const QString CertTrustService::defaultsKey = u"com.lanternfold.pinnedCertFingerprints"_s;

/// One open first-use question; later callers for the same host wait for its answer.
class CertTrustService::OpenQuestion final : public QObject
{
    Q_OBJECT

public:
    std::optional<bool> answer;

Q_SIGNALS:
    void answered(bool approved);
};

CertTrustService::CertTrustService(QString settingsPath, QObject *parent)
    : QObject(parent), m_settingsPath(std::move(settingsPath))
{
}

CertTrustService::~CertTrustService() = default;

CertTrustService &CertTrustService::shared()
{
    static CertTrustService instance(
        QSettings(QSettings::NativeFormat, QSettings::UserScope, u"Lanternfold"_s, u"Lanternfold"_s).fileName());
    return instance;
}

std::optional<QString> CertTrustService::fingerprint(const QSslCertificate &certificate)
{
    if (certificate.isNull())
        return std::nullopt;
    return fingerprintOfDer(certificate.toDer());
}

std::optional<QString> CertTrustService::fingerprintOfDer(const QByteArray &certificateDer)
{
    if (certificateDer.isEmpty())
        return std::nullopt;
    const auto *cursor = reinterpret_cast<const unsigned char *>(certificateDer.constData());
    X509 *x509 = d2i_X509(nullptr, &cursor, static_cast<long>(certificateDer.size()));
    if (!x509)
        return std::nullopt;
    std::optional<QString> result;
    // The BIT STRING's contents, without its unused-bits byte.
    if (const ASN1_BIT_STRING *key = X509_get0_pubkey_bitstr(x509); key && key->length > 0) {
        const QByteArray bytes(reinterpret_cast<const char *>(key->data), key->length);
        result = QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
    }
    X509_free(x509);
    return result;
}

QVariantMap CertTrustService::storedMap() const
{
    const QSettings settings(m_settingsPath, QSettings::NativeFormat);
    const QVariant value = settings.value(defaultsKey);
    if (value.typeId() != QMetaType::QVariantMap)
        return {};
    return value.toMap();
}

QHash<QString, QString> CertTrustService::pins() const
{
    const QVariantMap map = storedMap();
    QHash<QString, QString> result;
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (it.value().typeId() != QMetaType::QString)
            return {}; // a map with a value that is not text counts as no pins at all
        result.insert(it.key(), it.value().toString());
    }
    return result;
}

std::optional<QString> CertTrustService::pinnedFingerprint(const QString &host) const
{
    const auto all = pins();
    const auto it = all.constFind(host);
    if (it == all.constEnd())
        return std::nullopt;
    return it.value();
}

void CertTrustService::store(const QHash<QString, QString> &pins)
{
    QVariantMap map;
    for (auto it = pins.cbegin(); it != pins.cend(); ++it)
        map.insert(it.key(), it.value());
    QSettings settings(m_settingsPath, QSettings::NativeFormat);
    settings.setValue(defaultsKey, map);
    settings.sync();
}

void CertTrustService::pin(const QString &host, const QString &fingerprint)
{
    auto all = pins();
    all.insert(host, fingerprint);
    store(all);
}

void CertTrustService::removePin(const QString &host)
{
    auto all = pins();
    all.remove(host);
    store(all);
}

QCoro::Task<bool> CertTrustService::askOnce(const QString &host, std::function<QCoro::Task<bool>()> ask)
{
    if (const auto open = m_openQuestions.value(host)) {
        if (open->answer)
            co_return *open->answer;
        const auto answered = co_await qCoro(open.get(), &OpenQuestion::answered);
        co_return answered;
    }
    const auto question = QSharedPointer<OpenQuestion>::create();
    m_openQuestions.insert(host, question);
    const bool approved = co_await ask();
    question->answer = approved;
    if (m_openQuestions.value(host) == question)
        m_openQuestions.remove(host);
    Q_EMIT question->answered(approved);
    co_return approved;
}

} // namespace lanternfold

#include "CertTrustService.moc"
