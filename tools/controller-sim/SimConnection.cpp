// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "SimConnection.h"

#include "SimLog.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSslSocket>
#include <QTimer>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace lanternfold::sim {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// How often, and how many times, a reset waits for its partial answer to leave: about a second.
constexpr auto resetPollInterval = 2ms;
constexpr int resetPollAttempts = 500;

} // namespace

SimConnection::SimConnection(QSslSocket *socket, QObject *parent, int id, QString fingerprint, Handler handler,
                             SimLog &log)
    : QObject(parent),
      m_socket(socket),
      m_id(id),
      m_fingerprint(std::move(fingerprint)),
      m_handler(std::move(handler)),
      m_log(log)
{
    m_socket->setParent(this);
    connect(m_socket, &QSslSocket::readyRead, this, &SimConnection::onReadyRead);
    connect(m_socket, &QSslSocket::disconnected, this, &SimConnection::onDisconnected);
    // Data may have arrived between the end of the handshake and this point.
    if (m_socket->state() != QAbstractSocket::ConnectedState)
        QTimer::singleShot(0, this, &SimConnection::onDisconnected);
    else if (m_socket->bytesAvailable() > 0)
        QTimer::singleShot(0, this, &SimConnection::onReadyRead);
}

void SimConnection::closeNow()
{
    if (m_gone)
        return;
    m_closing = true;
    m_socket->abort();
    onDisconnected(); // in case the socket did not report it on the spot
}

void SimConnection::onReadyRead()
{
    const QByteArray bytes = m_socket->readAll();
    if (m_hung || m_closing)
        return; // a hung or cut-off connection swallows input and never answers
    m_parser.feed(bytes);
    pump();
}

void SimConnection::onDisconnected()
{
    if (m_gone)
        return;
    m_gone = true;
    m_log.append(QJsonObject{{u"event"_s, u"disconnect"_s}, {u"conn"_s, m_id}, {u"requests"_s, m_requests}});
    deleteLater();
}

void SimConnection::pump()
{
    while (!m_busy && !m_hung && !m_closing) {
        if (m_parser.hasFailed()) {
            failRequest();
            return;
        }
        std::optional<HttpRequest> request = m_parser.next();
        if (!request) {
            if (m_parser.hasFailed())
                continue;
            return;
        }
        ++m_requests;
        const bool keepAlive = request->wantsKeepAlive();
        SimOutcome outcome = m_handler(*request, m_id, m_fingerprint);
        if (outcome.delay > 0ms) {
            m_busy = true;
            QTimer::singleShot(outcome.delay, this, [this, outcome, keepAlive] {
                m_busy = false;
                execute(outcome, keepAlive);
                pump();
            });
            return;
        }
        execute(outcome, keepAlive);
    }
}

void SimConnection::execute(const SimOutcome &outcome, bool keepAlive)
{
    if (m_closing || m_gone)
        return;
    switch (outcome.action) {
    case SimOutcome::Action::Respond:
        m_socket->write(outcome.response.serialise(keepAlive));
        if (!keepAlive) {
            m_closing = true;
            m_socket->disconnectFromHost();
        }
        break;
    case SimOutcome::Action::Drop:
        m_closing = true;
        m_socket->abort();
        break;
    case SimOutcome::Action::Hang:
        m_hung = true;
        break;
    case SimOutcome::Action::Stall:
        writePartially(outcome.response, keepAlive);
        m_hung = true;
        break;
    case SimOutcome::Action::Reset:
        writePartially(outcome.response, keepAlive);
        m_hung = true;
        resetOnceSent(resetPollAttempts);
        break;
    case SimOutcome::Action::Drip:
        drip(outcome.response, keepAlive, outcome.dripInterval);
        m_hung = true;
        break;
    case SimOutcome::Action::Flood:
        flood(outcome.response, keepAlive);
        m_hung = true;
        break;
    case SimOutcome::Action::HeaderFlood:
        headerFlood();
        m_hung = true;
        break;
    }
}

void SimConnection::drip(HttpResponse response, bool keepAlive, std::chrono::milliseconds interval)
{
    // The head promises a body well within any size limit; one byte of it follows per interval,
    // which keeps any inactivity timeout of the client content for ever.
    response.body = QByteArray(500'000, ' ');
    const QByteArray whole = response.serialise(keepAlive);
    m_socket->write(whole.left(whole.size() - response.body.size()));
    auto *timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, [this] {
        if (!m_gone)
            m_socket->write(" ");
    });
    timer->start(interval);
}

void SimConnection::headerFlood()
{
    m_socket->write("HTTP/1.1 200 OK\r\n");
    static const QByteArray line = "X-Flood: " + QByteArray(1000, 'f') + "\r\n";
    static const QByteArray lines = line.repeated(64);
    const auto more = [this] {
        if (!m_gone && m_socket->encryptedBytesToWrite() + m_socket->bytesToWrite() < (256 << 10))
            m_socket->write(lines);
    };
    connect(m_socket, &QSslSocket::encryptedBytesWritten, this, more);
    more();
    more();
}

void SimConnection::flood(HttpResponse response, bool keepAlive)
{
    response.setHeader(QByteArrayLiteral("Transfer-Encoding"), QByteArrayLiteral("chunked"));
    QByteArray head = response.serialise(keepAlive);
    // serialise() announces a length; a chunked answer has none.
    head.replace("Content-Length: 0\r\n", "");
    m_socket->write(head);
    // As fast as the client reads: another chunk whenever the last has gone out.
    static const QByteArray chunk = QByteArray::number(64 << 10, 16) + "\r\n" + QByteArray(64 << 10, '[') + "\r\n";
    const auto more = [this] {
        if (!m_gone && m_socket->encryptedBytesToWrite() + m_socket->bytesToWrite() < (256 << 10))
            m_socket->write(chunk);
    };
    connect(m_socket, &QSslSocket::encryptedBytesWritten, this, more);
    more();
    more();
}

void SimConnection::writePartially(const HttpResponse &response, bool keepAlive)
{
    // The head announces the whole body's Content-Length; only the first half follows.
    const QByteArray whole = response.serialise(keepAlive);
    const qsizetype headSize = whole.size() - response.body.size();
    m_socket->write(whole.left(headSize + response.body.size() / 2));
    m_socket->flush();
}

void SimConnection::resetOnceSent(int attemptsLeft)
{
    if (m_gone)
        return;
    // abort() throws away what Qt still buffers, and a reset throws away what the kernel has not
    // delivered yet: wait until the client's side has acknowledged the partial answer, so that the
    // client really sees the start of an answer and then the reset.
    const int descriptor = int(m_socket->socketDescriptor());
    int unacknowledged = 0;
    const bool sent = m_socket->bytesToWrite() == 0 && m_socket->encryptedBytesToWrite() == 0 &&
                      (::ioctl(descriptor, SIOCOUTQ, &unacknowledged) != 0 || unacknowledged == 0);
    if (!sent && attemptsLeft > 0) {
        m_socket->flush();
        QTimer::singleShot(resetPollInterval, this, [this, attemptsLeft] { resetOnceSent(attemptsLeft - 1); });
        return;
    }
    // A zero linger time makes closing the socket send a TCP reset instead of an orderly end.
    const ::linger noLinger{1, 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &noLinger, sizeof noLinger);
    closeNow();
}

void SimConnection::failRequest()
{
    const int status = m_parser.failStatus();
    m_log.append(QJsonObject{{u"event"_s, u"bad-request"_s},
                             {u"conn"_s, m_id},
                             {u"status"_s, status},
                             {u"reason"_s, QString::fromLatin1(m_parser.failReason())}});
    HttpResponse response;
    response.status = status;
    response.setHeader(QByteArrayLiteral("Content-Type"), QByteArrayLiteral("application/json; charset=utf-8"));
    response.body = QJsonDocument(QJsonObject{{u"error"_s, QString::fromLatin1(HttpResponse::reasonPhrase(status))}})
                        .toJson(QJsonDocument::Compact);
    m_closing = true;
    m_socket->write(response.serialise(false));
    m_socket->disconnectFromHost();
}

} // namespace lanternfold::sim
