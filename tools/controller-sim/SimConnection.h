// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "HttpMessage.h"
#include "SimFaults.h"

#include <QObject>
#include <QString>

#include <chrono>
#include <functional>

class QSslSocket;
class QTimer;

namespace lanternfold::sim {

class SimLog;

/// One accepted TLS connection: reads requests in order (pipelined or in pieces), asks for each
/// answer and writes answers in the same order, one at a time.
class SimConnection final : public QObject
{
public:
    using Handler = std::function<SimOutcome(const HttpRequest &request, int connectionId, const QString &fingerprint)>;

    /// Takes socket over (it becomes a child of this connection); the connection deletes itself
    /// once the socket is gone.
    SimConnection(QSslSocket *socket, QObject *parent, int id, QString fingerprint, Handler handler, SimLog &log);

    [[nodiscard]] int id() const { return m_id; }
    /// False once the socket is gone and the connection only waits to be deleted.
    [[nodiscard]] bool isOpen() const { return !m_gone; }
    /// Closes at once without a word, as a web server that is restarting does.
    void closeNow();

private:
    void onReadyRead();
    void onDisconnected();
    void pump();
    void execute(const SimOutcome &outcome, bool keepAlive);
    void writePartially(const HttpResponse &response, bool keepAlive);
    void resetOnceSent(int attemptsLeft);
    void drip(HttpResponse response, bool keepAlive, std::chrono::milliseconds interval);
    void flood(HttpResponse response, bool keepAlive);
    void headerFlood();
    void failRequest();

    QSslSocket *m_socket;
    int m_id;
    QString m_fingerprint;
    Handler m_handler;
    SimLog &m_log;
    HttpRequestParser m_parser;
    int m_requests = 0;
    bool m_busy = false;
    bool m_hung = false; ///< hang, stall or reset: swallow input, never answer again
    bool m_closing = false;
    bool m_gone = false;
};

} // namespace lanternfold::sim
