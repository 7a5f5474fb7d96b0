// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/HttpTransport.h"

#include "Async/Latch.h"
#include "Controller/Trust/CertTrustService.h"

#include <QDeadlineTimer>
#include <QHostAddress>
#include <QNetworkProxy>
#include <QPointer>
#include <QSslSocket>
#include <QTimer>

namespace lanternfold {

/// One TLS connection and what is known about it: the pin check's refusal, if it refused the key,
/// and whether it may carry another request.
class HttpLink final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(HttpLink)

public:
    HttpLink(QString origin, QObject *parent) : QObject(parent), origin(std::move(origin)), socket(new QSslSocket(this))
    {
        idleTimer.setSingleShot(true);
    }
    ~HttpLink() override = default;

    const QString origin;
    QSslSocket *const socket;
    QTimer idleTimer;
    std::optional<PinRefusal> refusal;
    /// Approved under a pin that has changed since: closed once its answer is in.
    bool retiring = false;
};

/// How one request went on one connection.
struct HttpTransport::Conversation
{
    std::optional<HttpAnswer> answer;
    std::optional<HttpFailure> failure;
    /// Whether any byte of an answer arrived: a request on a kept connection that the controller
    /// closed before answering is repeated on a fresh one.
    bool answered = false;
    bool reusable = false;
};

namespace {

/// The most connections kept open with no request on them.
constexpr qsizetype idleLimit = 2;

/// What a connection keeps of the answer before the program has taken it.
constexpr qint64 readBufferSize = qint64(256) << 10;

QString originOf(const QUrl &url)
{
    return url.host() + u':' + QString::number(url.port(443));
}

HttpFailure timedOut()
{
    return HttpFailure{HttpFailure::Kind::timedOut, HttpTransport::tr("The request timed out."), std::nullopt};
}

HttpFailure closedFailure()
{
    return HttpFailure{HttpFailure::Kind::closed, HttpTransport::tr("The connection was closed."), std::nullopt};
}

} // namespace

HttpTransport::HttpTransport(const PinningSessionDelegate &pins, std::chrono::milliseconds idleKeep, QObject *parent)
    : QObject(parent), m_pins(pins), m_idleKeep(idleKeep), m_closed(std::make_shared<Latch>())
{
}

HttpTransport::~HttpTransport()
{
    close();
}

void HttpTransport::close()
{
    if (m_closed->isSet())
        return;
    // Waiters resume from the event loop, after this returns, and find the latch set.
    m_closed->set();
    const auto idle = std::exchange(m_idle, {});
    const auto busy = std::exchange(m_busy, {});
    for (HttpLink *link : idle + busy.values()) {
        link->socket->abort();
        link->deleteLater();
    }
}

void HttpTransport::dropConnections()
{
    for (HttpLink *link : std::exchange(m_idle, {})) {
        link->socket->abort();
        link->deleteLater();
    }
    for (HttpLink *link : std::as_const(m_busy))
        link->retiring = true;
}

HttpLink *HttpTransport::takeIdle(const QUrl &url)
{
    const QString origin = originOf(url);
    for (qsizetype i = m_idle.size() - 1; i >= 0; --i) {
        HttpLink *link = m_idle.at(i);
        if (link->origin != origin)
            continue;
        m_idle.removeAt(i);
        link->idleTimer.stop();
        if (link->socket->state() == QAbstractSocket::ConnectedState && link->socket->isEncrypted())
            return link;
        link->deleteLater();
    }
    return nullptr;
}

HttpLink *HttpTransport::open(const QUrl &url)
{
    auto *link = new HttpLink(originOf(url), this);
    QSslSocket *socket = link->socket;
    socket->setSslConfiguration(PinningSessionDelegate::tlsConfiguration());
    // The controller is on the local network. A proxy from the environment would see the first-use
    // question asked about its own key, and then the password.
    socket->setProxy(QNetworkProxy::NoProxy);
    // Held to a small buffer, the connection waits for each piece to be taken before it reads more
    // from the network, so a piece never grows to megabytes while the window is busy elsewhere.
    socket->setReadBufferSize(readBufferSize);
    // Verification runs without any CA, so every handshake reports errors; the pin decides. Only a
    // match ignores exactly those errors, and a refused handshake sends nothing.
    QObject::connect(socket, &QSslSocket::sslErrors, this, [this, link](const QList<QSslError> &errors) {
        link->refusal = m_pins.check(*link->socket);
        if (!link->refusal)
            link->socket->ignoreSslErrors(errors);
    });
    // A keep that runs out ends the connection quietly.
    QObject::connect(&link->idleTimer, &QTimer::timeout, this, [this, link] {
        m_idle.removeAll(link);
        link->socket->abort();
        link->deleteLater();
    });
    socket->connectToHostEncrypted(url.host(), static_cast<quint16>(url.port(443)));
    return link;
}

void HttpTransport::release(HttpLink *link, bool reusable)
{
    m_busy.remove(link);
    if (!reusable || link->retiring || m_closed->isSet() || link->socket->state() != QAbstractSocket::ConnectedState) {
        link->socket->abort();
        link->deleteLater();
        return;
    }
    // A burst needs a connection or two; more kept would only wait for their keep to run out.
    if (m_idle.size() >= idleLimit) {
        HttpLink *oldest = m_idle.takeFirst();
        oldest->socket->abort();
        oldest->deleteLater();
    }
    m_idle.append(link);
    link->idleTimer.start(m_idleKeep);
}

QByteArray HttpTransport::serialise(const HttpRequest &request)
{
    const QUrl &url = request.url;
    QByteArray target = url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::RemoveFragment);
    if (!target.startsWith('/'))
        target.prepend('/');
    QByteArray bytes = request.method + ' ' + target + " HTTP/1.1\r\n";
    QByteArray host = url.host(QUrl::FullyEncoded).toLatin1();
    if (QHostAddress(url.host()).protocol() == QAbstractSocket::IPv6Protocol)
        host = '[' + host + ']';
    if (url.port(443) != 443)
        host += ':' + QByteArray::number(url.port(443));
    bytes += "Host: " + host + "\r\n";
    bytes += "Accept: application/json\r\n";
    bytes += "User-Agent: Lanternfold\r\n";
    for (const auto &[name, value] : request.headers)
        bytes += name + ": " + value + "\r\n";
    if (request.body)
        bytes += "Content-Length: " + QByteArray::number(request.body->size()) + "\r\n";
    bytes += "\r\n";
    if (request.body)
        bytes += *request.body;
    return bytes;
}

QCoro::Task<Result<HttpAnswer, HttpFailure>> HttpTransport::exchange(HttpRequest request, HttpLimits limits)
{
    const std::shared_ptr<Latch> closed = m_closed;
    if (closed->isSet())
        co_return closedFailure();
    for (const auto &[name, value] : std::as_const(request.headers)) {
        if (value.contains('\r') || value.contains('\n') || value.contains('\0'))
            co_return HttpFailure{HttpFailure::Kind::network,
                                  tr("The request could not be made: a header holds a line break."), std::nullopt};
    }
    const QByteArray bytes = serialise(request);
    const QDeadlineTimer deadline(limits.deadline);
    // Only a request that may be repeated waits on a kept connection (see the class).
    bool mayReuse = !request.body;
    while (true) {
        HttpLink *link = mayReuse ? takeIdle(request.url) : nullptr;
        const bool reused = link != nullptr;
        if (!link)
            link = open(request.url);
        m_busy.insert(link);
        const auto left = std::chrono::milliseconds(std::max<qint64>(1, deadline.remainingTime()));
        Conversation conversation =
            co_await converse(QPointer<HttpLink>(link), bytes, limits.body, limits.silence, left, closed);
        if (closed->isSet())
            co_return closedFailure();
        release(link, conversation.reusable);
        if (reused && !conversation.answered && conversation.failure &&
            conversation.failure->kind == HttpFailure::Kind::network && !deadline.hasExpired()) {
            mayReuse = false;
            continue;
        }
        if (conversation.answer)
            co_return std::move(*conversation.answer);
        co_return conversation.failure.value_or(closedFailure());
    }
}

QCoro::Task<HttpTransport::Conversation> HttpTransport::converse(QPointer<HttpLink> link, QByteArray bytes,
                                                                 qint64 bodyLimit, std::chrono::milliseconds silence,
                                                                 std::chrono::milliseconds left,
                                                                 std::shared_ptr<Latch> closed)
{
    Conversation conversation;
    QTimer quiet;
    quiet.setSingleShot(true);
    QTimer end;
    end.setSingleShot(true);
    end.start(left);
    quiet.start(silence);
    QSslSocket *socket = link->socket;
    HttpAnswerReader reader(bodyLimit);
    bool sent = false;
    bool leftover = false;
    while (true) {
        if (!sent && socket->isEncrypted()) {
            socket->write(bytes);
            sent = true;
        }
        if (sent) {
            while (socket->bytesAvailable() > 0 && !reader.isComplete() && !reader.hasFailed()) {
                const QByteArray piece = socket->read(std::min(socket->bytesAvailable(), readBufferSize));
                const qsizetype used = reader.feed(piece);
                leftover = leftover || used < piece.size();
                quiet.start(silence);
            }
            if (!reader.isComplete() && !reader.hasFailed() && socket->state() == QAbstractSocket::UnconnectedState &&
                socket->bytesAvailable() == 0)
                reader.endOfStream();
        }
        if (reader.isComplete()) {
            conversation.answered = true;
            conversation.answer = reader.take();
            conversation.reusable = reader.keepsConnection() && !leftover && socket->bytesAvailable() == 0;
            co_return conversation;
        }
        conversation.answered = reader.hasStarted();
        if (reader.hasFailed()) {
            const auto kind = reader.failure() == HttpAnswerReader::Failure::tooLarge ? HttpFailure::Kind::tooLarge
                                                                                      : HttpFailure::Kind::network;
            conversation.failure = HttpFailure{kind, reader.failureText(), std::nullopt};
            co_return conversation;
        }
        if (link->refusal) {
            conversation.failure = HttpFailure{HttpFailure::Kind::refused, {}, link->refusal};
            co_return conversation;
        }
        if (!end.isActive() || !quiet.isActive()) {
            conversation.failure = timedOut();
            co_return conversation;
        }
        if (socket->state() == QAbstractSocket::UnconnectedState) {
            conversation.failure = HttpFailure{HttpFailure::Kind::network, socket->errorString(), std::nullopt};
            co_return conversation;
        }

        Wakeup wakeup;
        wakeup.watch(*closed);
        wakeup.watch(socket, &QSslSocket::encrypted);
        wakeup.watch(socket, &QIODevice::readyRead);
        wakeup.watch(socket, &QAbstractSocket::disconnected);
        wakeup.watch(socket, &QAbstractSocket::errorOccurred);
        wakeup.watch(&quiet, &QTimer::timeout);
        wakeup.watch(&end, &QTimer::timeout);
        co_await wakeup.wait();
        if (closed->isSet() || !link) {
            conversation.failure = closedFailure();
            co_return conversation;
        }
    }
}

} // namespace lanternfold

#include "HttpTransport.moc"
