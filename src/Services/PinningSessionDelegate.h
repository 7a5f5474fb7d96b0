#pragma once

#include <QObject>
#include <QPointer>
#include <QSslError>
#include <QString>

#include <QCoroTask>

#include <functional>
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
    QString expected;
    QString presented;
};

/// Checks the key of every TLS connection a client's network manager opens against the pin of
/// the configured host, before any request byte is sent on it.
///
/// Verification runs with an empty CA list, so every handshake reports errors to sslErrors; there
/// the presented key is compared with the pin and only then are exactly those errors ignored.
/// Qt's network thread waits on that slot, so it only compares: questions are asked elsewhere.
class PinningSessionDelegate final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(PinningSessionDelegate)

public:
    PinningSessionDelegate(QString host, CertTrustService &trust, QNetworkAccessManager *manager);

    /// Asks whether to trust a key seen for the first time; set by the client.
    std::function<QCoro::Task<bool>(const QString &host, const QString &fingerprint)> onNewCertificate;
    /// Told when a pinned key changed; set by the client.
    std::function<void(const QString &host, const QString &expected, const QString &presented)> onMismatch;

    /// Why the check refused the connection of reply, if it did.
    static std::optional<PinRefusal> refusalOf(const QNetworkReply *reply);

    /// The most recent refusal. Requests queued on a connection whose handshake was refused fail
    /// with it too, although only the first of them was handed to the check.
    [[nodiscard]] const std::optional<PinRefusal> &lastRefusal() const { return m_lastRefusal; }

    /// The decision for one presented key: nothing when it matches the pin.
    [[nodiscard]] std::optional<PinRefusal> check(const std::optional<QString> &presented) const;

private:
    void handleSslErrors(QNetworkReply *reply, const QList<QSslError> &errors);

    QString m_host;
    CertTrustService &m_trust;
    std::optional<PinRefusal> m_lastRefusal;
};

} // namespace lanternfold
