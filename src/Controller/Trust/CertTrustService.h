// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QHash>
#include <QObject>
#include <QSslCertificate>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace lanternfold {

/// Trust on first use: computes the fingerprint of a controller's public key and keeps the
/// approved fingerprint of each host. The pin is the whole of trust; certificate chains, dates
/// and names are never consulted.
class CertTrustService final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(CertTrustService)

public:
    /// Pins live in the preferences file at `settingsPath`; the program uses shared().
    explicit CertTrustService(QString settingsPath, QObject *parent = nullptr);
    ~CertTrustService() override;

    /// The program's one instance, over the user's preferences.
    static CertTrustService &shared();

    static const QString defaultsKey;

    /// SHA-256 over the bytes of the certificate's subjectPublicKey (for RSA the PKCS #1
    /// RSAPublicKey, for elliptic curves the point 04 X Y), as 64 lower-case hex digits.
    /// Taken from the certificate's own DER, so key types Qt cannot load still have one.
    static std::optional<QString> fingerprint(const QSslCertificate &certificate);
    static std::optional<QString> fingerprintOfDer(const QByteArray &certificateDer);

    /// The pin of host, exactly as the host was configured.
    [[nodiscard]] std::optional<QString> pinnedFingerprint(const QString &host) const;
    /// All pins; empty when the stored value is missing or of the wrong shape.
    [[nodiscard]] QHash<QString, QString> pins() const;
    void pin(const QString &host, const QString &fingerprint);
    void removePin(const QString &host);

Q_SIGNALS:
    /// host's pin was stored, replaced or removed.
    void pinChanged(const QString &host);

private:
    [[nodiscard]] QVariantMap storedMap() const;
    void store(const QHash<QString, QString> &pins);

    QString m_settingsPath;
};

} // namespace lanternfold
