// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/Trust/CertTrustService.h"

#include "Controller/Trust/TrustLog.h"
#include "Platform/Preferences.h"

#include <QCryptographicHash>
#include <QLibrary>
#include <QSettings>
#include <QStandardPaths>

#include <openssl/x509.h>

namespace lanternfold {

using namespace Qt::StringLiterals;

namespace {

/// The three functions of OpenSSL's libcrypto that read a certificate's public key, looked up on
/// first use instead of linked. Qt's TLS backend loads the same library with the first connection
/// (a key is only ever read from a connection), while linking it costs every start its four
/// thousand symbol bindings before the window shows.
struct X509Functions
{
    X509 *(*decode)(X509 **, const unsigned char **, long) = nullptr;
    const ASN1_BIT_STRING *(*publicKeyBits)(const X509 *) = nullptr;
    void (*release)(X509 *) = nullptr;
};

/// Null when the library or one of its functions is missing: no key can be read then, so no
/// certificate is trusted.
const X509Functions *x509Functions()
{
    static const X509Functions functions = [] {
        X509Functions found;
        // Not unloaded when this object goes: QLibrary leaves a loaded library in place.
        QLibrary crypto(u"crypto"_s, 3);
        if (!crypto.load())
            return found;
        found.decode = reinterpret_cast<decltype(found.decode)>(crypto.resolve("d2i_X509"));
        found.publicKeyBits =
            reinterpret_cast<decltype(found.publicKeyBits)>(crypto.resolve("X509_get0_pubkey_bitstr"));
        found.release = reinterpret_cast<decltype(found.release)>(crypto.resolve("X509_free"));
        return found;
    }();
    return functions.decode && functions.publicKeyBits && functions.release ? &functions : nullptr;
}

} // namespace

const QString CertTrustService::defaultsKey = u"com.lanternfold.pinnedCertFingerprints"_s;

CertTrustService::CertTrustService(QString settingsPath, QObject *parent)
    : QObject(parent), m_settingsPath(std::move(settingsPath))
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
    const X509Functions *x509Api = x509Functions();
    if (!x509Api)
        return std::nullopt;
    const auto *cursor = reinterpret_cast<const unsigned char *>(certificateDer.constData());
    X509 *x509 = x509Api->decode(nullptr, &cursor, static_cast<long>(certificateDer.size()));
    if (!x509)
        return std::nullopt;
    std::optional<QString> result;
    // The BIT STRING's contents, without its unused-bits byte.
    if (const ASN1_BIT_STRING *key = x509Api->publicKeyBits(x509); key && key->length > 0) {
        const QByteArray bytes(reinterpret_cast<const char *>(key->data), key->length);
        result = QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
    }
    x509Api->release(x509);
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
    qCDebug(lcTrust) << "pinned" << host << fingerprint;
    Q_EMIT pinChanged(host);
}

void CertTrustService::removePin(const QString &host)
{
    auto all = pins();
    all.remove(host);
    store(all);
    qCDebug(lcTrust) << "forgot the pin of" << host;
    Q_EMIT pinChanged(host);
}

} // namespace lanternfold
