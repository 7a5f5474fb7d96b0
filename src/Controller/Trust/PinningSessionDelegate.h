// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QMetaType>
#include <QObject>
#include <QSslConfiguration>
#include <QSslError>
#include <QString>

#include <optional>

class QSslSocket;

namespace lanternfold {

class CertTrustService;

/// Why the pin check refused a TLS connection.
struct PinRefusal
{
    enum class Reason { mismatch, unpinned, unreadable };
    Reason reason = Reason::unpinned;
    /// The pinned fingerprint (mismatch only).
    QString expected;
    /// The presented fingerprint (empty when it could not be computed).
    QString presented;

    bool operator==(const PinRefusal &) const = default;
};

/// Checks the key a TLS connection presents against the pin of the configured host, before any
/// request byte is sent on that connection.
///
/// Verification runs with an empty CA list, so a handshake always reports errors to sslErrors;
/// there the presented key is compared with the pin, and only a match ignores exactly those errors.
/// It only compares: it never asks, deletes or drops. A connection approved under a pin that has
/// changed since must not carry another request; the transport retires those.
class PinningSessionDelegate final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(PinningSessionDelegate)

public:
    PinningSessionDelegate(QString host, const CertTrustService &trust, QObject *parent = nullptr);
    ~PinningSessionDelegate() override = default;

    /// The decision for one presented key fingerprint: nothing when it matches the pin.
    [[nodiscard]] std::optional<PinRefusal> check(const std::optional<QString> &presented) const;
    /// The decision for the certificate a connection presented.
    [[nodiscard]] std::optional<PinRefusal> check(const QSslSocket &socket) const;

    /// The TLS settings of every connection to a controller: verification on with no CA at all,
    /// so that a handshake always reports errors and the pin check decides; no session
    /// resumption, so that every connection presents its certificate afresh; HTTP/1.1 only.
    static QSslConfiguration tlsConfiguration();

private:
    QString m_host;
    const CertTrustService &m_trust;
};

} // namespace lanternfold

Q_DECLARE_METATYPE(lanternfold::PinRefusal)
