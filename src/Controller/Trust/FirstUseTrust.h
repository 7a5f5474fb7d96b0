// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Models/Result.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSslCertificate>
#include <QString>

#include <QCoroTask>

#include <chrono>
#include <memory>

namespace lanternfold {

class CertTrustService;
class CertificateApprover;
class Latch;

/// Why a key could not be trusted on first use.
struct FirstUseRefusal
{
    enum class Reason {
        /// The person declined, the key could not be read, or nobody was there to ask.
        declined,
        /// The handshake that fetches the key failed or timed out: detail says how.
        unreachable,
        /// The caller closed while it waited.
        closed,
        /// The key is not pinned, and the caller may not ask anybody (a run nobody watches).
        unattended,
    };
    Reason reason = Reason::declined;
    QString detail;
};

/// Trust on first use. Before anything is sent to a host whose key is not pinned yet, the key is
/// fetched over a TLS handshake of its own and the person is asked, so that no request and no
/// request timeout runs while somebody compares fingerprints. One question per host at a time:
/// every client that needs the answer waits for the same question. A question whose waiting
/// clients have all closed is withdrawn (questionWithdrawn); a later client asks afresh.
///
/// The program has one, over the one pin store, and installs the certificate question on it once.
class FirstUseTrust final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FirstUseTrust)

public:
    explicit FirstUseTrust(CertTrustService &pins, QObject *parent = nullptr);
    ~FirstUseTrust() override;

    [[nodiscard]] CertTrustService &pins() const { return m_pins; }

    /// Who asks the person about a first-seen key. None installed: such a key is declined.
    void setApprover(CertificateApprover *approver);

    /// Done when host's key is pinned, already or after the person approved it. host is the pin's
    /// key, exactly as configured; the handshake goes to address at port and gives up after timeout.
    /// Without mayAsk, an unpinned key is refused at once, before any handshake.
    QCoro::Task<Result<Done, FirstUseRefusal>> ensurePinned(QString host, QString address, quint16 port,
                                                            std::chrono::milliseconds timeout,
                                                            std::shared_ptr<Latch> closed, bool mayAsk = true);

    /// Whether a question for host is open (asked and neither answered nor withdrawn).
    [[nodiscard]] bool isAsking(const QString &host) const { return m_open.contains(host); }

Q_SIGNALS:
    /// Nobody waits for the answer to host's open question any more; whoever shows it may close it.
    void questionWithdrawn(const QString &host);

private:
    struct Question;

    /// The leaf certificate host presents at port, over a handshake that sends nothing else.
    static QCoro::Task<Result<QSslCertificate, FirstUseRefusal>>
    fetchCertificate(QString host, quint16 port, std::chrono::milliseconds timeout, std::shared_ptr<Latch> closed);
    QCoro::Task<Result<Done, FirstUseRefusal>> askOnce(QString host, QString fingerprint,
                                                       std::shared_ptr<Latch> closed);
    static QCoro::Task<void> runQuestion(QPointer<FirstUseTrust> self, std::shared_ptr<Question> question,
                                         QCoro::Task<bool> asking);
    void withdraw(const std::shared_ptr<Question> &question);

    CertTrustService &m_pins;
    QPointer<CertificateApprover> m_approver;
    QHash<QString, std::shared_ptr<Question>> m_open;
};

} // namespace lanternfold
