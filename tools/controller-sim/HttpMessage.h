// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>

#include <optional>

namespace lanternfold::sim {

using HttpHeaders = QList<QPair<QByteArray, QByteArray>>;

/// One parsed HTTP/1.x request.
struct HttpRequest
{
    QByteArray method;
    QByteArray target; ///< as sent, query included
    QByteArray path;   ///< target without the query
    QByteArray version;
    HttpHeaders headers;
    QByteArray body;

    /// The first header of that name (names compare case-insensitively), or null.
    [[nodiscard]] QByteArray header(const QByteArray &name) const;
    [[nodiscard]] bool hasHeader(const QByteArray &name) const;
    [[nodiscard]] bool wantsKeepAlive() const;
};

/// One response; serialise() always frames it with Content-Length.
struct HttpResponse
{
    int status = 200;
    HttpHeaders headers;
    QByteArray body;

    void setHeader(const QByteArray &name, const QByteArray &value);
    [[nodiscard]] QByteArray header(const QByteArray &name) const;
    [[nodiscard]] QByteArray serialise(bool keepAlive) const;

    static QByteArray reasonPhrase(int status);
};

/// Incremental request reader for one connection: bytes go in as they arrive (split or pipelined
/// anywhere), whole requests come out. It never grows without bound: oversized or malformed input
/// puts it into a failed state with the status to answer before closing.
class HttpRequestParser
{
public:
    static constexpr qsizetype maxHeaderBytes = qsizetype{64} * 1024;
    static constexpr qsizetype maxBodyBytes = qsizetype{8} * 1024 * 1024;

    void feed(const QByteArray &bytes);
    /// The next complete request, if one has fully arrived.
    std::optional<HttpRequest> next();

    [[nodiscard]] bool hasFailed() const { return m_failStatus != 0; }
    [[nodiscard]] int failStatus() const { return m_failStatus; }
    [[nodiscard]] const QByteArray &failReason() const { return m_failReason; }

private:
    bool parseHead(const QByteArray &head, HttpRequest &request);
    void failWith(int status, const QByteArray &reason);

    QByteArray m_buffer;
    std::optional<HttpRequest> m_pending; ///< head parsed, waiting for the body
    qsizetype m_bodyLength = 0;
    int m_failStatus = 0;
    QByteArray m_failReason;
};

} // namespace lanternfold::sim
