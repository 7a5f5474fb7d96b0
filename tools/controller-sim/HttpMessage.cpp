// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "HttpMessage.h"

namespace lanternfold::sim {

namespace {

bool isToken(const QByteArray &text)
{
    if (text.isEmpty())
        return false;
    for (const char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (u <= 0x20 || u >= 0x7f || QByteArrayView("()<>@,;:\\\"/[]?={}").contains(c))
            return false;
    }
    return true;
}

} // namespace

QByteArray HttpRequest::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

bool HttpRequest::hasHeader(const QByteArray &name) const
{
    for (const auto &entry : headers) {
        if (entry.first.compare(name, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

bool HttpRequest::wantsKeepAlive() const
{
    const QByteArray connection = header(QByteArrayLiteral("Connection")).toLower();
    if (version == "HTTP/1.0")
        return connection.contains("keep-alive");
    return !connection.contains("close");
}

void HttpResponse::setHeader(const QByteArray &name, const QByteArray &value)
{
    for (auto &entry : headers) {
        if (entry.first.compare(name, Qt::CaseInsensitive) == 0) {
            entry.second = value;
            return;
        }
    }
    headers.append({name, value});
}

QByteArray HttpResponse::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

QByteArray HttpResponse::serialise(bool keepAlive) const
{
    QByteArray out;
    out.reserve(body.size() + 512);
    out += "HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status) + "\r\n";
    for (const auto &[name, value] : headers) {
        if (name.compare("Content-Length", Qt::CaseInsensitive) == 0 ||
            name.compare("Connection", Qt::CaseInsensitive) == 0)
            continue;
        out += name + ": " + value + "\r\n";
    }
    out += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    out += keepAlive ? QByteArrayLiteral("Connection: keep-alive\r\n") : QByteArrayLiteral("Connection: close\r\n");
    out += "\r\n";
    out += body;
    return out;
}

QByteArray HttpResponse::reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return QByteArrayLiteral("OK");
    case 204:
        return QByteArrayLiteral("No Content");
    case 302:
        return QByteArrayLiteral("Found");
    case 400:
        return QByteArrayLiteral("Bad Request");
    case 401:
        return QByteArrayLiteral("Unauthorized");
    case 403:
        return QByteArrayLiteral("Forbidden");
    case 404:
        return QByteArrayLiteral("Not Found");
    case 405:
        return QByteArrayLiteral("Method Not Allowed");
    case 411:
        return QByteArrayLiteral("Length Required");
    case 413:
        return QByteArrayLiteral("Payload Too Large");
    case 429:
        return QByteArrayLiteral("Too Many Requests");
    case 431:
        return QByteArrayLiteral("Request Header Fields Too Large");
    case 500:
        return QByteArrayLiteral("Internal Server Error");
    case 501:
        return QByteArrayLiteral("Not Implemented");
    case 505:
        return QByteArrayLiteral("HTTP Version Not Supported");
    default:
        return QByteArrayLiteral("Status");
    }
}

void HttpRequestParser::feed(const QByteArray &bytes)
{
    if (hasFailed())
        return;
    m_buffer += bytes;
}

std::optional<HttpRequest> HttpRequestParser::next()
{
    if (hasFailed())
        return std::nullopt;

    if (!m_pending) {
        // Stray line breaks between pipelined requests are allowed by RFC 9112 §2.2.
        while (m_buffer.startsWith("\r\n"))
            m_buffer.remove(0, 2);
        const qsizetype end = m_buffer.indexOf("\r\n\r\n");
        if (end < 0) {
            if (m_buffer.size() > maxHeaderBytes)
                failWith(431, QByteArrayLiteral("request head too large"));
            return std::nullopt;
        }
        if (end > maxHeaderBytes) {
            failWith(431, QByteArrayLiteral("request head too large"));
            return std::nullopt;
        }
        HttpRequest request;
        const QByteArray head = m_buffer.left(end);
        m_buffer.remove(0, end + 4);
        if (!parseHead(head, request))
            return std::nullopt;
        m_pending = std::move(request);
    }

    if (m_buffer.size() < m_bodyLength)
        return std::nullopt;
    HttpRequest request = std::move(*m_pending);
    m_pending.reset();
    request.body = m_buffer.left(m_bodyLength);
    m_buffer.remove(0, m_bodyLength);
    m_bodyLength = 0;
    return request;
}

bool HttpRequestParser::parseHead(const QByteArray &head, HttpRequest &request)
{
    const QList<QByteArray> lines = head.split('\n');
    QByteArray requestLine = lines.value(0);
    if (requestLine.endsWith('\r'))
        requestLine.chop(1);
    if (requestLine == "PRI * HTTP/2.0") {
        // A client that negotiated h2 by ALPN opens with this preface; the server offers h2 as a
        // console does but speaks only HTTP/1.1, so the client learns it here.
        failWith(505, QByteArrayLiteral("HTTP/2 connection preface; only HTTP/1.0 and HTTP/1.1 are spoken here"));
        return false;
    }
    const QList<QByteArray> parts = requestLine.split(' ');
    if (parts.size() != 3 || !isToken(parts[0]) || !parts[1].startsWith('/')) {
        failWith(400, QByteArrayLiteral("malformed request line"));
        return false;
    }
    if (parts[2] != "HTTP/1.1" && parts[2] != "HTTP/1.0") {
        failWith(505, QByteArrayLiteral("only HTTP/1.0 and HTTP/1.1 are spoken here"));
        return false;
    }
    request.method = parts[0];
    request.target = parts[1];
    request.version = parts[2];
    const qsizetype query = request.target.indexOf('?');
    request.path = query < 0 ? request.target : request.target.left(query);

    for (qsizetype i = 1; i < lines.size(); ++i) {
        QByteArray line = lines[i];
        if (line.endsWith('\r'))
            line.chop(1);
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0 || !isToken(line.left(colon))) {
            // Folded continuation lines and nameless headers are obsolete or hostile: refuse them.
            failWith(400, QByteArrayLiteral("malformed header line"));
            return false;
        }
        request.headers.append({line.left(colon), line.mid(colon + 1).trimmed()});
    }

    if (request.hasHeader(QByteArrayLiteral("Transfer-Encoding"))) {
        failWith(501, QByteArrayLiteral("chunked request bodies are not supported"));
        return false;
    }
    m_bodyLength = 0;
    bool seenLength = false;
    for (const auto &[name, value] : request.headers) {
        if (name.compare("Content-Length", Qt::CaseInsensitive) != 0)
            continue;
        bool ok = !value.isEmpty();
        for (const char c : value)
            ok = ok && c >= '0' && c <= '9';
        const qlonglong length = ok && value.size() <= 12 ? value.toLongLong(&ok) : -1;
        if (!ok || length < 0 || (seenLength && length != m_bodyLength)) {
            failWith(400, QByteArrayLiteral("bad Content-Length"));
            return false;
        }
        if (length > maxBodyBytes) {
            failWith(413, QByteArrayLiteral("request body too large"));
            return false;
        }
        m_bodyLength = static_cast<qsizetype>(length);
        seenLength = true;
    }
    return true;
}

void HttpRequestParser::failWith(int status, const QByteArray &reason)
{
    m_failStatus = status;
    m_failReason = reason;
    m_buffer.clear();
    m_pending.reset();
}

} // namespace lanternfold::sim
