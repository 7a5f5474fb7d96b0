// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TlsIdentity.h"

#include <QFile>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>

namespace lanternfold::sim {

using namespace Qt::StringLiterals;

namespace {

struct Deleter
{
    void operator()(BIO *p) const { BIO_free(p); }
    void operator()(EVP_PKEY *p) const { EVP_PKEY_free(p); }
    void operator()(X509 *p) const { X509_free(p); }
    void operator()(X509_EXTENSION *p) const { X509_EXTENSION_free(p); }
    void operator()(BIGNUM *p) const { BN_free(p); }
};
template <typename T>
using Owned = std::unique_ptr<T, Deleter>;

QString opensslError(const QString &what)
{
    const unsigned long code = ERR_get_error();
    ERR_clear_error();
    if (code == 0)
        return what;
    char text[256] = {};
    ERR_error_string_n(code, text, sizeof text);
    return what + u": "_s + QString::fromLatin1(text);
}

void fail(QString *error, const QString &message)
{
    if (error)
        *error = message;
}

QByteArray bioContents(BIO *bio)
{
    char *data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return size > 0 ? QByteArray(data, static_cast<qsizetype>(size)) : QByteArray();
}

Owned<BIO> memoryBio(const QByteArray &bytes)
{
    return Owned<BIO>(BIO_new_mem_buf(bytes.constData(), static_cast<int>(bytes.size())));
}

QString fingerprintOfX509(const X509 *certificate)
{
    // The BIT STRING's data excludes the unused-bits byte, which is exactly what the pin hashes.
    const ASN1_BIT_STRING *bits = X509_get0_pubkey_bitstr(certificate);
    if (!bits)
        return {};
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int digestLength = 0;
    if (EVP_Digest(ASN1_STRING_get0_data(bits), static_cast<size_t>(ASN1_STRING_length(bits)), digest, &digestLength,
                   EVP_sha256(), nullptr) != 1)
        return {};
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(digest), digestLength).toHex());
}

Owned<X509> readCertificate(const QByteArray &pemOrDer)
{
    if (pemOrDer.contains("-----BEGIN")) {
        const Owned<BIO> bio = memoryBio(pemOrDer);
        return Owned<X509>(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
    }
    const auto *cursor = reinterpret_cast<const unsigned char *>(pemOrDer.constData());
    return Owned<X509>(d2i_X509(nullptr, &cursor, static_cast<long>(pemOrDer.size())));
}

bool addExtension(X509 *certificate, int nid, const char *value)
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    const Owned<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
    return extension && X509_add_ext(certificate, extension.get(), -1) == 1;
}

Owned<X509> selfSign(EVP_PKEY *key)
{
    Owned<X509> certificate(X509_new());
    if (!certificate || X509_set_version(certificate.get(), X509_VERSION_3) != 1)
        return {};

    // A random positive 64-bit serial: two simulators never present look-alike certificates.
    unsigned char serialBytes[8];
    if (RAND_bytes(serialBytes, sizeof serialBytes) != 1)
        return {};
    serialBytes[0] &= 0x7f;
    const Owned<BIGNUM> serial(BN_bin2bn(serialBytes, sizeof serialBytes, nullptr));
    if (!serial || !BN_to_ASN1_INTEGER(serial.get(), X509_get_serialNumber(certificate.get())))
        return {};

    // Back-dated by a day so a client whose clock runs slightly behind still accepts it.
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -24L * 3600L);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 365L * 24L * 3600L);

    X509_NAME *name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char *>("Lanternfold controller simulator"), -1, -1, 0);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char *>("localhost"), -1, -1,
                               0);
    if (X509_set_issuer_name(certificate.get(), name) != 1 || X509_set_pubkey(certificate.get(), key) != 1)
        return {};

    if (!addExtension(certificate.get(), NID_basic_constraints, "critical,CA:FALSE") ||
        !addExtension(certificate.get(), NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1") ||
        !addExtension(certificate.get(), NID_ext_key_usage, "serverAuth"))
        return {};

    if (X509_sign(certificate.get(), key, EVP_sha256()) <= 0)
        return {};
    return certificate;
}

std::optional<TlsIdentity> identityFrom(X509 *certificate, EVP_PKEY *key, QString *error)
{
    TlsIdentity identity;
    switch (EVP_PKEY_get_base_id(key)) {
    case EVP_PKEY_RSA:
        identity.keyType = TlsIdentity::KeyType::Rsa;
        break;
    case EVP_PKEY_EC:
        identity.keyType = TlsIdentity::KeyType::Ec;
        break;
    default:
        fail(error, u"only RSA and EC keys are supported"_s);
        return std::nullopt;
    }
    if (X509_check_private_key(certificate, key) != 1) {
        fail(error, opensslError(u"the private key does not belong to the certificate"_s));
        return std::nullopt;
    }

    const Owned<BIO> certificateBio(BIO_new(BIO_s_mem()));
    const Owned<BIO> keyBio(BIO_new(BIO_s_mem()));
    if (!certificateBio || !keyBio || PEM_write_bio_X509(certificateBio.get(), certificate) != 1 ||
        PEM_write_bio_PrivateKey(keyBio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        fail(error, opensslError(u"cannot write PEM"_s));
        return std::nullopt;
    }
    identity.certificatePem = bioContents(certificateBio.get());
    identity.privateKeyPem = bioContents(keyBio.get());
    identity.fingerprint = fingerprintOfX509(certificate);
    if (identity.fingerprint.isEmpty()) {
        fail(error, opensslError(u"cannot hash the public key"_s));
        return std::nullopt;
    }
    return identity;
}

} // namespace

QSslCertificate TlsIdentity::certificate() const
{
    return QSslCertificate(certificatePem, QSsl::Pem);
}

QSslKey TlsIdentity::privateKey() const
{
    // QSslKey cannot guess the algorithm from a PKCS#8 PEM; it must be told.
    return QSslKey(privateKeyPem, keyType == KeyType::Ec ? QSsl::Ec : QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey);
}

std::optional<TlsIdentity> TlsIdentity::generate(KeyType type, QString *error)
{
    const Owned<EVP_PKEY> key(type == KeyType::Ec ? EVP_EC_gen("P-256") : EVP_RSA_gen(2048));
    if (!key) {
        fail(error, opensslError(u"cannot generate a key"_s));
        return std::nullopt;
    }
    const Owned<X509> certificate = selfSign(key.get());
    if (!certificate) {
        fail(error, opensslError(u"cannot make a certificate"_s));
        return std::nullopt;
    }
    return identityFrom(certificate.get(), key.get(), error);
}

std::optional<TlsIdentity> TlsIdentity::fromPem(const QByteArray &certificatePem, const QByteArray &keyPem,
                                                QString *error)
{
    const Owned<X509> certificate = readCertificate(certificatePem);
    if (!certificate) {
        fail(error, opensslError(u"cannot read the certificate"_s));
        return std::nullopt;
    }
    const Owned<BIO> keyBio = memoryBio(keyPem);
    // An empty passphrase callback result makes an encrypted key fail instead of prompting on a tty.
    const Owned<EVP_PKEY> key(PEM_read_bio_PrivateKey(
        keyBio.get(), nullptr, [](char *, int, int, void *) { return 0; }, nullptr));
    if (!key) {
        fail(error, opensslError(u"cannot read the private key (PEM, unencrypted)"_s));
        return std::nullopt;
    }
    return identityFrom(certificate.get(), key.get(), error);
}

std::optional<TlsIdentity> TlsIdentity::fromFiles(const QString &certificatePath, const QString &keyPath,
                                                  QString *error)
{
    QFile certificateFile(certificatePath);
    QFile keyFile(keyPath);
    if (!certificateFile.open(QIODevice::ReadOnly)) {
        fail(error, certificatePath + u": "_s + certificateFile.errorString());
        return std::nullopt;
    }
    if (!keyFile.open(QIODevice::ReadOnly)) {
        fail(error, keyPath + u": "_s + keyFile.errorString());
        return std::nullopt;
    }
    return fromPem(certificateFile.readAll(), keyFile.readAll(), error);
}

QString TlsIdentity::fingerprintOf(const QByteArray &certificatePemOrDer)
{
    const Owned<X509> certificate = readCertificate(certificatePemOrDer);
    ERR_clear_error();
    return certificate ? fingerprintOfX509(certificate.get()) : QString();
}

} // namespace lanternfold::sim
