#include "Services/CertTrustService.h"

#include "Services/FirstUseTrust.h"
#include "Services/Preferences.h"

#include <QCryptographicHash>
#include <QSettings>
#include <QStandardPaths>

#include <openssl/x509.h>

namespace lanternfold {

using namespace Qt::StringLiterals;

const QString CertTrustService::defaultsKey = u"com.lanternfold.pinnedCertFingerprints"_s;

CertTrustService::CertTrustService(QString settingsPath, QObject *parent)
    : QObject(parent), m_settingsPath(std::move(settingsPath)), m_firstUse(std::make_unique<FirstUseTrust>(*this))
{
}

CertTrustService::~CertTrustService() = default;

CertTrustService &CertTrustService::shared()
{
    static CertTrustService instance(preferencesFilePath());
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
    Q_EMIT pinChanged(host);
}

void CertTrustService::removePin(const QString &host)
{
    auto all = pins();
    all.remove(host);
    store(all);
    Q_EMIT pinChanged(host);
}

} // namespace lanternfold
