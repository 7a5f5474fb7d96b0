// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/Trust/FirstUseTrust.h"

#include "Async/Latch.h"
#include "Controller/Trust/CertTrustService.h"
#include "Controller/Trust/CertificateApprover.h"
#include "Controller/Trust/PinningSessionDelegate.h"
#include "Controller/Trust/TrustLog.h"

#include <QNetworkProxy>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTimer>

namespace lanternfold {

/// One open question: its answer once given, and how many clients still wait for it.
struct FirstUseTrust::Question
{
    QString host;
    QString fingerprint;
    Latch answered;
    std::optional<bool> answer;
    int waiters = 0;
    bool withdrawn = false;
};

FirstUseTrust::FirstUseTrust(CertTrustService &pins, QObject *parent) : QObject(parent), m_pins(pins) {}

FirstUseTrust::~FirstUseTrust() = default;

void FirstUseTrust::setApprover(CertificateApprover *approver)
{
    m_approver = approver;
}

QCoro::Task<Result<QSslCertificate, FirstUseRefusal>> FirstUseTrust::fetchCertificate(QString host, quint16 port,
                                                                                      std::chrono::milliseconds timeout,
                                                                                      std::shared_ptr<Latch> closed)
{
    if (closed->isSet())
        co_return FirstUseRefusal{FirstUseRefusal::Reason::closed, {}};
    QSslSocket socket;
    QSslConfiguration configuration = PinningSessionDelegate::tlsConfiguration();
    // Only the certificate is wanted here: the decision is the person's, then the pin's.
    configuration.setPeerVerifyMode(QSslSocket::QueryPeer);
    socket.setSslConfiguration(configuration);
    // The controller is on the local network; a proxy from the environment would be asked about
    // instead of the controller, and would then receive the password.
    socket.setProxy(QNetworkProxy::NoProxy);
    QTimer timer;
    timer.setSingleShot(true);
    Wakeup wakeup;
    wakeup.watch(&socket, &QSslSocket::encrypted);
    wakeup.watch(&socket, &QAbstractSocket::errorOccurred);
    wakeup.watch(&timer, &QTimer::timeout);
    wakeup.watch(*closed);
    // Closing stops the handshake at once rather than when this frame resumes.
    QObject::connect(closed.get(), &Latch::wasSet, &socket, &QAbstractSocket::abort);
    timer.start(timeout);
    socket.connectToHostEncrypted(host, port);
    co_await wakeup.wait();

    if (closed->isSet())
        co_return FirstUseRefusal{FirstUseRefusal::Reason::closed, {}};
    if (!socket.isEncrypted()) {
        const QString error = timer.isActive() ? socket.errorString() : tr("The request timed out.");
        socket.abort();
        co_return FirstUseRefusal{FirstUseRefusal::Reason::unreachable, error};
    }
    const QList<QSslCertificate> chain = socket.peerCertificateChain();
    const QSslCertificate leaf = chain.isEmpty() ? socket.peerCertificate() : chain.first();
    socket.abort();
    co_return leaf;
}

QCoro::Task<Result<Done, FirstUseRefusal>> FirstUseTrust::ensurePinned(QString host, QString address, quint16 port,
                                                                       std::chrono::milliseconds timeout,
                                                                       std::shared_ptr<Latch> closed, bool mayAsk)
{
    if (m_pins.pinnedFingerprint(host))
        co_return Done{};
    if (!mayAsk) {
        qCDebug(lcTrust) << "no pin for" << host << "and nobody to be asked now: refused";
        co_return FirstUseRefusal{FirstUseRefusal::Reason::unattended, {}};
    }
    const QPointer<FirstUseTrust> self(this);
    qCDebug(lcTrust) << "no pin for" << host << "yet: fetching its key";
    const auto certificate = co_await fetchCertificate(address, port, timeout, closed);
    if (!certificate.ok())
        co_return certificate.error();
    if (!self)
        co_return FirstUseRefusal{FirstUseRefusal::Reason::closed, {}};
    if (m_pins.pinnedFingerprint(host))
        co_return Done{}; // pinned meanwhile, through another client's question
    const auto fingerprint = CertTrustService::fingerprint(certificate.value());
    if (!fingerprint) {
        qCDebug(lcTrust) << "the key of" << host << "cannot be read: declined";
        co_return FirstUseRefusal{};
    }
    co_return co_await askOnce(host, *fingerprint, closed);
}

QCoro::Task<Result<Done, FirstUseRefusal>> FirstUseTrust::askOnce(QString host, QString fingerprint,
                                                                  std::shared_ptr<Latch> closed)
{
    std::shared_ptr<Question> question = m_open.value(host);
    if (!question) {
        if (!m_approver) {
            qCDebug(lcTrust) << "nobody to ask about the key of" << host << ": declined";
            co_return FirstUseRefusal{};
        }
        question = std::make_shared<Question>();
        question->host = host;
        question->fingerprint = fingerprint;
        m_open.insert(host, question);
        qCDebug(lcTrust) << "asking about the key of" << host << fingerprint;
        // The question runs on its own, so that a client that closes stops waiting at once while
        // the person may still be reading it.
        (void)runQuestion(this, question, m_approver->approve(host, fingerprint));
    }
    const QPointer<FirstUseTrust> self(this);
    ++question->waiters;
    Wakeup wakeup;
    wakeup.watch(question->answered);
    wakeup.watch(*closed);
    co_await wakeup.wait();
    --question->waiters;

    if (closed->isSet()) {
        if (self && question->waiters == 0 && !question->answer)
            self->withdraw(question);
        co_return FirstUseRefusal{FirstUseRefusal::Reason::closed, {}};
    }
    if (!question->answer.value_or(false))
        co_return FirstUseRefusal{};
    co_return Done{};
}

QCoro::Task<void> FirstUseTrust::runQuestion(QPointer<FirstUseTrust> self, std::shared_ptr<Question> question,
                                             QCoro::Task<bool> asking)
{
    const bool approved = co_await std::move(asking);
    if (question->withdrawn)
        co_return; // nobody waits; a later client asks again
    question->answer = approved;
    qCDebug(lcTrust) << "the key of" << question->host << (approved ? "was approved" : "was declined");
    if (self) {
        if (approved)
            self->m_pins.pin(question->host, question->fingerprint);
        if (self->m_open.value(question->host) == question)
            self->m_open.remove(question->host);
    }
    question->answered.set();
}

void FirstUseTrust::withdraw(const std::shared_ptr<Question> &question)
{
    question->withdrawn = true;
    if (m_open.value(question->host) == question)
        m_open.remove(question->host);
    Q_EMIT questionWithdrawn(question->host);
}

} // namespace lanternfold
