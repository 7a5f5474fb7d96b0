// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <utility>

namespace lanternfold {

/// One HTTP answer as it arrived: header names in lower case, in the order they came.
struct HttpAnswer
{
    int status = 0;
    QList<std::pair<QByteArray, QByteArray>> headers;
    /// The body in the pieces it arrived in, joined only by whoever needs it whole.
    QList<QByteArray> body;

    /// The first value of a header (name in lower case), or a null array.
    [[nodiscard]] QByteArray header(QByteArrayView name) const;
    [[nodiscard]] bool hasHeader(QByteArrayView name) const;
};

/// Reads one HTTP/1.1 answer from the bytes of a connection as they arrive, with every part of it
/// bounded: the head (status line and header fields, interim answers included), the number of
/// fields, each chunk-size line and the trailer, and the body. A controller, or anything that holds
/// its key, can send without end; what is kept never grows past these bounds.
class HttpAnswerReader
{
public:
    /// The head of an answer: far more than any controller sends (a few hundred bytes of fields,
    /// cookies of a few kilobytes).
    static constexpr qsizetype headLimit = qsizetype(64) << 10;
    static constexpr int fieldLimit = 128;
    /// A chunk-size line: sixteen hex digits and room for an extension nobody sends.
    static constexpr qsizetype chunkLineLimit = 1024;

    enum class Failure { none, malformed, tooLarge };

    /// bodyLimit: the most body bytes accepted; more fails as tooLarge.
    explicit HttpAnswerReader(qint64 bodyLimit);

    /// Takes bytes of the connection; returns how many of them belong to this answer (all of them
    /// until the answer is complete or has failed).
    qsizetype feed(const QByteArray &bytes);
    /// The peer closed the connection: completes an answer whose body runs to the close, and fails
    /// any other that is not complete.
    void endOfStream();

    [[nodiscard]] bool isComplete() const { return m_state == State::complete; }
    [[nodiscard]] bool hasFailed() const { return m_state == State::failed; }
    [[nodiscard]] Failure failure() const { return m_failure; }
    /// What was wrong, for an error text.
    [[nodiscard]] QString failureText() const { return m_failureText; }
    /// Whether any byte of an answer has arrived.
    [[nodiscard]] bool hasStarted() const { return m_started; }
    /// Whether the connection can carry another request once this answer is complete.
    [[nodiscard]] bool keepsConnection() const { return m_keepsConnection; }

    /// The complete answer; the reader is spent afterwards.
    [[nodiscard]] HttpAnswer take() { return std::move(m_answer); }

private:
    enum class State { head, chunkSize, chunkData, chunkDataEnd, trailer, sizedBody, bodyToClose, complete, failed };

    qsizetype readHead(const QByteArray &bytes, qsizetype from);
    void parseHead(QByteArrayView head);
    void chooseFraming();
    /// Collects one line (without its line end) into m_pending; true once the line has ended.
    bool readLine(const QByteArray &bytes, qsizetype &from, qsizetype limit);
    qsizetype takeBody(const QByteArray &bytes, qsizetype from, qint64 most);
    void chunkSizeRead();
    void fail(Failure failure, QString text);

    qint64 m_bodyLimit;
    State m_state = State::head;
    Failure m_failure = Failure::none;
    QString m_failureText;
    bool m_started = false;
    bool m_keepsConnection = true;
    bool m_http10 = false;
    /// Bytes of heads seen so far, interim answers' included.
    qsizetype m_headBytes = 0;
    QByteArray m_pending;
    qint64 m_bodySize = 0;
    qint64 m_remaining = 0;
    qsizetype m_trailerBytes = 0;
    HttpAnswer m_answer;
};

} // namespace lanternfold
