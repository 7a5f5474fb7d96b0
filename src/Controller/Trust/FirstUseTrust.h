#pragma once

#include "Async/Latch.h"
#include "Controller/UnifiAPIError.h"
#include "Models/Result.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSslCertificate>
#include <QString>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <memory>

namespace lanternfold {

class CertTrustService;

/// Trust on first use. Before anything is sent to a host whose key is not pinned yet, the key is
/// fetched over a TLS handshake of its own and the person is asked, so that no request and no
/// request timeout runs while somebody compares fingerprints. One question per host at a time:
/// every client that needs the answer waits for the same question. A question whose waiting
/// clients have all closed is withdrawn (questionWithdrawn); a later client asks afresh.
class FirstUseTrust final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FirstUseTrust)

public:
    /// Asks the person whether to trust a key seen for the first time; may take minutes.
    using Asker = std::function<QCoro::Task<bool>(QString host, QString fingerprint)>;

    explicit FirstUseTrust(CertTrustService &trust, QObject *parent = nullptr);
    ~FirstUseTrust() override;

    /// Done when host's key is pinned, already or after the person approved it; certificateRejected
    /// when declined, unreadable or there is nobody to ask (ask empty); a network error when the
    /// handshake fails or closed is set first. host is the pin's key, exactly as configured;
    /// the handshake goes to address at port.
    QCoro::Task<Result<Done, UnifiAPIError>> ensurePinned(QString host, QString address, quint16 port,
                                                          std::chrono::milliseconds timeout, Asker ask,
                                                          std::shared_ptr<Latch> closed);

    /// The leaf certificate host presents at port, over a handshake that sends nothing else.
    static QCoro::Task<Result<QSslCertificate, UnifiAPIError>>
    fetchCertificate(QString host, quint16 port, std::chrono::milliseconds timeout, std::shared_ptr<Latch> closed);

    /// Whether a question for host is open (asked and neither answered nor withdrawn).
    [[nodiscard]] bool isAsking(const QString &host) const { return m_open.contains(host); }

Q_SIGNALS:
    /// Nobody waits for the answer to host's open question any more; whoever shows it may close it.
    void questionWithdrawn(const QString &host);

private:
    struct Question;

    QCoro::Task<Result<Done, UnifiAPIError>> askOnce(QString host, QString fingerprint, Asker ask,
                                                     std::shared_ptr<Latch> closed);
    static QCoro::Task<void> runQuestion(QPointer<FirstUseTrust> self, std::shared_ptr<Question> question,
                                         QCoro::Task<bool> asking);
    void withdraw(const std::shared_ptr<Question> &question);

    CertTrustService &m_trust;
    QHash<QString, std::shared_ptr<Question>> m_open;
};

} // namespace lanternfold
