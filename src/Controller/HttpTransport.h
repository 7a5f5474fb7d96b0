// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Controller/HttpAnswerReader.h"
#include "Controller/Trust/PinningSessionDelegate.h"
#include "Models/Result.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSet>
#include <QUrl>

#include <QCoroTask>

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

namespace lanternfold {

class Latch;
class HttpLink;

/// One request to the controller.
struct HttpRequest
{
    QByteArray method;
    QUrl url;
    /// Fields besides Host and Content-Length, which the transport writes itself.
    QList<std::pair<QByteArray, QByteArray>> headers;
    std::optional<QByteArray> body;
};

/// Why a request has no answer.
struct HttpFailure
{
    enum class Kind {
        /// No connection, a connection that broke, or an answer that was not HTTP.
        network,
        /// Silent for too long, or not done by the request's deadline.
        timedOut,
        tooLarge,
        /// The pin check refused the connection's key; nothing was sent.
        refused,
        /// The transport was closed while the request waited.
        closed,
    };
    Kind kind = Kind::network;
    QString text;
    std::optional<PinRefusal> refusal;
};

/// How long and how much one request may take.
struct HttpLimits
{
    qint64 body = 0;
    /// The longest silence while a request waits for bytes.
    std::chrono::milliseconds silence{30'000};
    /// The whole request, from the first connection attempt to the last byte of the answer.
    std::chrono::milliseconds deadline{120'000};
};

/// HTTP/1.1 over TLS to one controller, on the main thread, with every connection's key checked
/// against the pin before a byte of a request goes out. Answers are read by HttpAnswerReader, so
/// that neither head nor body can grow without bound, and every request ends by its deadline.
///
/// A finished GET leaves its connection open for a few seconds, for the requests of the same burst
/// (a login's fetches, a refresh). A POST always opens its own connection: a kept connection may
/// have been closed by the controller just as the request went out, and only a request that can be
/// repeated without effect is repeated on a fresh one; a restart command must never be sent twice.
class HttpTransport final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(HttpTransport)

public:
    /// idleKeep: how long a finished GET's connection waits for the next request.
    HttpTransport(const PinningSessionDelegate &pins, std::chrono::milliseconds idleKeep, QObject *parent = nullptr);
    ~HttpTransport() override;

    QCoro::Task<Result<HttpAnswer, HttpFailure>> exchange(HttpRequest request, HttpLimits limits);

    /// Ends every connection; requests waiting resume with Kind::closed. Used once, for good.
    void close();
    /// No connection approved so far carries another request: the idle ones close now, the busy
    /// ones when their answer is in. For a pin that changed.
    void dropConnections();

private:
    struct Conversation;

    HttpLink *takeIdle(const QUrl &url);
    HttpLink *open(const QUrl &url);
    void release(HttpLink *link, bool reusable);
    static QByteArray serialise(const HttpRequest &request);
    static QCoro::Task<Conversation> converse(QPointer<HttpLink> link, QByteArray bytes, qint64 bodyLimit,
                                              std::chrono::milliseconds silence, std::chrono::milliseconds left,
                                              std::shared_ptr<Latch> closed);

    const PinningSessionDelegate &m_pins;
    std::chrono::milliseconds m_idleKeep;
    std::shared_ptr<Latch> m_closed;
    QList<HttpLink *> m_idle;
    QSet<HttpLink *> m_busy;
};

} // namespace lanternfold
