#pragma once

#include <QMetaType>
#include <QObject>
#include <QSslConfiguration>
#include <QSslError>
#include <QString>

#include <optional>

class QNetworkAccessManager;
class QNetworkReply;

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

/// Checks the key a TLS connection of one network manager presents against the pin of the
/// configured host, before any request byte is sent on that connection.
///
/// Verification runs with an empty CA list, so a handshake always reports errors to sslErrors;
/// there the presented key is compared with the pin, and only a match ignores exactly those errors.
/// Qt's network thread waits on that slot, so it only compares: it never asks, deletes or drops.
/// A refused reply carries its refusal (refusalOf), for the client to report once it has ended.
///
/// Qt lets a connection that reconnects reuse the errors once ignored on it without asking again,
/// so a pin that changes must be followed by dropping the manager's cached connections; the client
/// does that.
class PinningSessionDelegate final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(PinningSessionDelegate)

public:
    PinningSessionDelegate(QString host, const CertTrustService &trust, QNetworkAccessManager *manager);
    ~PinningSessionDelegate() override = default;

    /// The decision for one presented key fingerprint: nothing when it matches the pin.
    [[nodiscard]] std::optional<PinRefusal> check(const std::optional<QString> &presented) const;
    /// The decision for the certificate a reply's connection presented.
    [[nodiscard]] std::optional<PinRefusal> check(const QNetworkReply &reply) const;

    /// The refusal the check handed this reply, if it refused the reply's connection.
    static std::optional<PinRefusal> refusalOf(const QNetworkReply &reply);

    /// The TLS settings of every connection to a controller: verification on with no CA at all,
    /// so that a handshake always reports errors and the pin check decides; no session
    /// resumption, so that every connection presents its certificate afresh; HTTP/1.1 only.
    static QSslConfiguration tlsConfiguration();

private:
    void handleSslErrors(QNetworkReply *reply, const QList<QSslError> &errors) const;

    QString m_host;
    const CertTrustService &m_trust;
};

} // namespace lanternfold

Q_DECLARE_METATYPE(lanternfold::PinRefusal)
