// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Controller/HttpAnswerReader.h"

#include <QCoreApplication>

#include <algorithm>

namespace lanternfold {

namespace {

QString notHttp()
{
    return QCoreApplication::translate("HttpAnswerReader", "The controller's answer was not an HTTP response.");
}

QString tooLarge()
{
    return QCoreApplication::translate("HttpAnswerReader", "The controller's answer is too large.");
}

QString unreadableCoding(const QByteArray &coding)
{
    //: %1 is the encoding's name as the controller gave it, such as "gzip".
    return QCoreApplication::translate("HttpAnswerReader",
                                       "The controller's answer came in an encoding Lanternfold does not read (%1).")
        .arg(QString::fromLatin1(coding.left(40)));
}

bool isTokenCharacter(char c)
{
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return true;
    return QByteArrayView("!#$%&'*+-.^_`|~").contains(c);
}

QByteArrayView trimmed(QByteArrayView value)
{
    while (!value.isEmpty() && (value.front() == ' ' || value.front() == '\t'))
        value = value.sliced(1);
    while (!value.isEmpty() && (value.back() == ' ' || value.back() == '\t'))
        value.chop(1);
    return value;
}

/// The comma-separated items of every value of a header, trimmed and in lower case.
QList<QByteArray> listItems(const HttpAnswer &answer, QByteArrayView name)
{
    QList<QByteArray> items;
    for (const auto &[field, value] : answer.headers) {
        if (field != name)
            continue;
        for (const QByteArray &item : value.split(',')) {
            const QByteArrayView trimmedItem = trimmed(item);
            if (!trimmedItem.isEmpty())
                items.append(trimmedItem.toByteArray().toLower());
        }
    }
    return items;
}

/// A decimal length of at most 18 digits, or -1.
qint64 parseLength(QByteArrayView digits)
{
    if (digits.isEmpty() || digits.size() > 18)
        return -1;
    qint64 value = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9')
            return -1;
        value = value * 10 + (c - '0');
    }
    return value;
}

} // namespace

QByteArray HttpAnswer::header(QByteArrayView name) const
{
    for (const auto &[field, value] : headers) {
        if (field == name)
            return value;
    }
    return {};
}

bool HttpAnswer::hasHeader(QByteArrayView name) const
{
    return std::any_of(headers.cbegin(), headers.cend(), [name](const auto &field) { return field.first == name; });
}

HttpAnswerReader::HttpAnswerReader(qint64 bodyLimit) : m_bodyLimit(bodyLimit) {}

void HttpAnswerReader::fail(Failure failure, QString text)
{
    m_state = State::failed;
    m_failure = failure;
    m_failureText = std::move(text);
    m_keepsConnection = false;
    m_pending.clear();
    m_answer = {};
}

qsizetype HttpAnswerReader::feed(const QByteArray &bytes)
{
    if (!bytes.isEmpty())
        m_started = true;
    qsizetype at = 0;
    while (at < bytes.size()) {
        switch (m_state) {
        case State::head:
            at = readHead(bytes, at);
            break;
        case State::chunkSize:
            if (readLine(bytes, at, chunkLineLimit))
                chunkSizeRead();
            break;
        case State::chunkData:
            at = takeBody(bytes, at, m_remaining);
            if (m_remaining == 0)
                m_state = State::chunkDataEnd;
            break;
        case State::chunkDataEnd:
            if (readLine(bytes, at, chunkLineLimit)) {
                if (!m_pending.isEmpty())
                    fail(Failure::malformed, notHttp());
                else
                    m_state = State::chunkSize;
            }
            break;
        case State::trailer: {
            const qsizetype before = at;
            const bool ended = readLine(bytes, at, headLimit - m_trailerBytes);
            m_trailerBytes += at - before;
            // Trailer fields carry nothing this program reads; only their end matters.
            if (ended && m_pending.isEmpty())
                m_state = State::complete;
            else if (ended)
                m_pending.clear();
            break;
        }
        case State::sizedBody:
            at = takeBody(bytes, at, m_remaining);
            if (m_remaining == 0)
                m_state = State::complete;
            break;
        case State::bodyToClose:
            at = takeBody(bytes, at, bytes.size() - at);
            break;
        case State::complete:
        case State::failed:
            return m_state == State::failed ? bytes.size() : at;
        }
    }
    return at;
}

void HttpAnswerReader::endOfStream()
{
    if (m_state == State::bodyToClose) {
        m_state = State::complete;
        return;
    }
    if (m_state != State::complete && m_state != State::failed) {
        fail(Failure::malformed,
             m_started ? QCoreApplication::translate(
                             "HttpAnswerReader", "The controller closed the connection before its answer was complete.")
                       : QCoreApplication::translate("HttpAnswerReader",
                                                     "The controller closed the connection without answering."));
    }
}

qsizetype HttpAnswerReader::readHead(const QByteArray &bytes, qsizetype from)
{
    const qsizetype before = m_pending.size();
    const qsizetype room = headLimit - m_headBytes - before;
    const qsizetype taken = std::min(bytes.size() - from, room);
    m_pending.append(QByteArrayView(bytes).sliced(from, taken));
    // The head ends with an empty line; a lone LF is accepted as a line end, as most clients do.
    qsizetype end = -1;
    for (qsizetype i = std::max<qsizetype>(0, before - 2); i < m_pending.size(); ++i) {
        if (m_pending.at(i) != '\n')
            continue;
        if (i + 1 < m_pending.size() && m_pending.at(i + 1) == '\n') {
            end = i + 2;
            break;
        }
        if (i + 2 < m_pending.size() && m_pending.at(i + 1) == '\r' && m_pending.at(i + 2) == '\n') {
            end = i + 3;
            break;
        }
    }
    if (end < 0) {
        if (m_pending.size() >= headLimit - m_headBytes)
            fail(Failure::tooLarge, tooLarge());
        return from + taken;
    }
    const qsizetype consumed = end - before;
    m_pending.truncate(end);
    const QByteArray head = std::exchange(m_pending, QByteArray());
    m_headBytes += head.size();
    parseHead(head);
    return from + consumed;
}

void HttpAnswerReader::parseHead(QByteArrayView head)
{
    QList<QByteArrayView> lines;
    qsizetype start = 0;
    while (start < head.size()) {
        qsizetype end = head.indexOf('\n', start);
        if (end < 0)
            end = head.size();
        QByteArrayView line = head.sliced(start, end - start);
        if (line.endsWith('\r'))
            line.chop(1);
        lines.append(line);
        start = end + 1;
    }
    while (!lines.isEmpty() && lines.back().isEmpty())
        lines.removeLast();
    if (lines.isEmpty())
        return fail(Failure::malformed, notHttp());

    // "HTTP/1.1 200 OK": the version, a space, three digits, then a reason that may be empty.
    const QByteArrayView statusLine = lines.first();
    if (statusLine.size() < 12 || !statusLine.startsWith("HTTP/1.") || statusLine.at(8) != ' ' ||
        (statusLine.size() > 12 && statusLine.at(12) != ' '))
        return fail(Failure::malformed, notHttp());
    const char minor = statusLine.at(7);
    if (minor != '0' && minor != '1')
        return fail(Failure::malformed, notHttp());
    int status = 0;
    for (const char c : statusLine.sliced(9, 3)) {
        if (c < '0' || c > '9')
            return fail(Failure::malformed, notHttp());
        status = status * 10 + (c - '0');
    }
    if (status < 100 || status > 599)
        return fail(Failure::malformed, notHttp());

    HttpAnswer answer;
    answer.status = status;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QByteArrayView line = lines.at(i);
        // A folded line continues the field above; obsolete, and never sent by a controller.
        if (line.isEmpty() || line.front() == ' ' || line.front() == '\t')
            return fail(Failure::malformed, notHttp());
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0)
            return fail(Failure::malformed, notHttp());
        const QByteArrayView name = line.first(colon);
        if (!std::all_of(name.begin(), name.end(), isTokenCharacter))
            return fail(Failure::malformed, notHttp());
        const QByteArrayView value = trimmed(line.sliced(colon + 1));
        if (value.contains('\r') || value.contains('\0'))
            return fail(Failure::malformed, notHttp());
        if (answer.headers.size() >= fieldLimit)
            return fail(Failure::tooLarge, tooLarge());
        answer.headers.append({name.toByteArray().toLower(), value.toByteArray()});
    }

    // An interim answer (100 Continue, 103 Early Hints) is followed by the real one; its bytes
    // count towards the head's bound, so that endless interim answers end too.
    if (status >= 100 && status <= 199) {
        if (status == 101)
            return fail(Failure::malformed, notHttp()); // nothing here asks to switch protocols
        return;
    }
    m_http10 = minor == '0';
    m_answer = std::move(answer);
    chooseFraming();
}

void HttpAnswerReader::chooseFraming()
{
    const QList<QByteArray> connection = listItems(m_answer, "connection");
    m_keepsConnection = m_http10 ? connection.contains("keep-alive") : !connection.contains("close");

    // Compression is never asked for; a body in an encoding nobody asked for cannot be read here.
    for (const QByteArray &coding : listItems(m_answer, "content-encoding")) {
        if (coding != "identity")
            return fail(Failure::malformed, unreadableCoding(coding));
    }

    if (m_answer.status == 204 || m_answer.status == 304) {
        m_state = State::complete;
        return;
    }
    const QList<QByteArray> transferCodings = listItems(m_answer, "transfer-encoding");
    if (!transferCodings.isEmpty()) {
        // With a transfer coding the length is the coding's business; an answer that also names a
        // length is ambiguous, so the connection is not used again after it.
        if (m_answer.hasHeader("content-length"))
            m_keepsConnection = false;
        if (transferCodings.back() == "chunked") {
            if (transferCodings.size() > 1)
                return fail(Failure::malformed, unreadableCoding(transferCodings.first()));
            m_state = State::chunkSize;
            return;
        }
        m_keepsConnection = false;
        m_state = State::bodyToClose;
        return;
    }
    const QList<QByteArray> lengths = listItems(m_answer, "content-length");
    if (!lengths.isEmpty()) {
        const qint64 length = parseLength(lengths.first());
        for (const QByteArray &other : lengths) {
            if (length < 0 || other != lengths.first())
                return fail(Failure::malformed, notHttp());
        }
        if (length > m_bodyLimit)
            return fail(Failure::tooLarge, tooLarge());
        m_remaining = length;
        m_state = length == 0 ? State::complete : State::sizedBody;
        return;
    }
    m_keepsConnection = false;
    m_state = State::bodyToClose;
}

bool HttpAnswerReader::readLine(const QByteArray &bytes, qsizetype &from, qsizetype limit)
{
    const qsizetype newline = bytes.indexOf('\n', from);
    const qsizetype end = newline < 0 ? bytes.size() : newline;
    if (m_pending.size() + (end - from) > limit) {
        fail(Failure::tooLarge, tooLarge());
        from = bytes.size();
        return false;
    }
    m_pending.append(QByteArrayView(bytes).sliced(from, end - from));
    if (newline < 0) {
        from = bytes.size();
        return false;
    }
    from = newline + 1;
    if (m_pending.endsWith('\r'))
        m_pending.chop(1);
    return true;
}

void HttpAnswerReader::chunkSizeRead()
{
    QByteArrayView line = m_pending;
    if (const qsizetype extension = line.indexOf(';'); extension >= 0)
        line = line.first(extension);
    line = trimmed(line);
    // Fifteen hex digits already exceed any bound; more could overflow.
    if (line.isEmpty() || line.size() > 15)
        return fail(Failure::malformed, notHttp());
    qint64 size = 0;
    for (const char c : line) {
        int digit = 0;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            return fail(Failure::malformed, notHttp());
        size = size * 16 + digit;
    }
    m_pending.clear();
    if (size == 0) {
        m_state = State::trailer;
        return;
    }
    if (size > m_bodyLimit - m_bodySize)
        return fail(Failure::tooLarge, tooLarge());
    m_remaining = size;
    m_state = State::chunkData;
}

qsizetype HttpAnswerReader::takeBody(const QByteArray &bytes, qsizetype from, qint64 most)
{
    const qsizetype count = qsizetype(std::min<qint64>(bytes.size() - from, most));
    if (count > m_bodyLimit - m_bodySize) {
        fail(Failure::tooLarge, tooLarge());
        return bytes.size();
    }
    // A piece that is all of what arrived is kept as it is, without a copy.
    if (from == 0 && count == bytes.size())
        m_answer.body.append(bytes);
    else
        m_answer.body.append(bytes.sliced(from, count));
    m_bodySize += count;
    if (m_state == State::sizedBody || m_state == State::chunkData)
        m_remaining -= count;
    return from + count;
}

} // namespace lanternfold
