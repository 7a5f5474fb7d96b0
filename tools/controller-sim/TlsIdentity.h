// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QByteArray>
#include <QSslCertificate>
#include <QSslKey>
#include <QString>

#include <cstdint>
#include <optional>

namespace lanternfold::sim {

/// A private key and its self-signed certificate, made or read with libcrypto directly so that the
/// fingerprint the simulator announces never depends on the code it is meant to test.
struct TlsIdentity
{
    enum class KeyType : std::uint8_t { Rsa, Ec };

    KeyType keyType = KeyType::Rsa;
    QByteArray certificatePem;
    QByteArray privateKeyPem;
    /// SHA-256 of the subjectPublicKey BIT STRING contents, lower-case hex.
    QString fingerprint;

    [[nodiscard]] QSslCertificate certificate() const;
    [[nodiscard]] QSslKey privateKey() const;
    [[nodiscard]] bool isNull() const { return certificatePem.isEmpty(); }

    /// A fresh RSA-2048 or P-256 key with a certificate for localhost / 127.0.0.1.
    static std::optional<TlsIdentity> generate(KeyType type, QString *error = nullptr);
    /// Reads a PEM certificate and an unencrypted PEM private key (RSA or EC) that belong together.
    static std::optional<TlsIdentity> fromPem(const QByteArray &certificatePem, const QByteArray &keyPem,
                                              QString *error = nullptr);
    static std::optional<TlsIdentity> fromFiles(const QString &certificatePath, const QString &keyPath,
                                                QString *error = nullptr);

    /// The pinned-key fingerprint of a certificate given as PEM or DER; empty if it cannot be read.
    static QString fingerprintOf(const QByteArray &certificatePemOrDer);
};

} // namespace lanternfold::sim
