// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The simulated controller's connections: HTTP/1.1 framing, the request log, refusals of what is
// not HTTP, and closing every connection at once.
#include "SimTestClient.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace lanternfold::simtest;

class TestSimConnection final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requestLog();
    void pipelinedAndSplitRequests();
    void garbageIsRefusedAndServerSurvives();
    void closeConnectionsEndsEveryOpenConnection();
    void closeConnectionsEndsStalledAndHungOnes();
};

void TestSimConnection::requestLog()
{
    const auto simulator = startSimulator();
    QTemporaryDir dir;
    const QString logPath = dir.filePath(u"sim.jsonl"_s);
    QVERIFY(simulator->setLogFile(logPath));
    SimClient client(*simulator);
    client.loginOk();
    client.postWithToken(QString::fromLatin1(unifiOsRestart), restartBody(u"78:45:58:a1:10:20"_s));

    QFile file(logPath);
    QVERIFY(file.open(QIODevice::ReadOnly)); // readable while the server runs: every line is flushed
    QList<QJsonObject> requests;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.isEmpty())
            continue;
        const QJsonObject entry = QJsonDocument::fromJson(line).object();
        QVERIFY2(!entry.isEmpty(), line.constData());
        if (entry.value(u"event"_s).toString() == u"request"_s)
            requests.append(entry);
    }
    QCOMPARE(requests.size(), 2);
    const QJsonObject login = requests[0];
    QCOMPARE(login.value(u"method"_s).toString(), u"POST"_s);
    QCOMPARE(login.value(u"path"_s).toString(), QString::fromLatin1(unifiOsLogin));
    QCOMPARE(login.value(u"cookie"_s).toBool(), false);
    QVERIFY(login.value(u"csrf"_s).isNull());
    QCOMPARE(QJsonDocument::fromJson(login.value(u"body"_s).toString().toUtf8()).object().value(u"rememberMe"_s),
             QJsonValue(false));
    QCOMPARE(login.value(u"status"_s).toInt(), 200);
    QVERIFY(login.contains(u"session"_s) && login.value(u"session"_s).isNull());
    QCOMPARE(login.value(u"created"_s).toInt(), 1);
    QCOMPARE(login.value(u"issuedToken"_s).toString(), QString::fromUtf8(client.csrfToken));
    const QJsonObject restart = requests[1];
    QCOMPARE(restart.value(u"cookie"_s).toBool(), true);
    QCOMPARE(restart.value(u"csrf"_s).toString(), QString::fromUtf8(client.csrfToken));
    QCOMPARE(restart.value(u"body"_s).toString(), QString::fromUtf8(restartBody(u"78:45:58:a1:10:20"_s)));
    QCOMPARE(restart.value(u"fingerprint"_s).toString(), simulator->fingerprint());
    QCOMPARE(restart.value(u"session"_s).toInt(), 1);
}

void TestSimConnection::pipelinedAndSplitRequests()
{
    const auto simulator = startSimulator();
    RawConnection raw(*simulator);
    QVERIFY(raw.waitEncrypted());
    const QByteArray login =
        QByteArrayLiteral(R"({"username":"demo","password":"lanternfold-demo","rememberMe":false})");
    const QByteArray requests = "GET / HTTP/1.1\r\nHost: x\r\n\r\n"
                                "POST /api/auth/login HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\n"
                                "Content-Length: " +
                                QByteArray::number(login.size()) + "\r\n\r\n" + login +
                                "GET /nothing HTTP/1.1\r\nHost: x\r\n\r\n";
    // Two requests and a half in one write, then the rest byte by byte.
    const qsizetype cut = requests.size() - 20;
    raw.socket.write(requests.left(cut));
    QTRY_VERIFY_WITH_TIMEOUT(parseResponses(raw.received).size() == 2, 30000);
    for (qsizetype i = cut; i < requests.size(); ++i) {
        raw.socket.write(requests.mid(i, 1));
        raw.socket.flush();
    }
    QTRY_VERIFY_WITH_TIMEOUT(parseResponses(raw.received).size() == 3, 30000);
    const auto responses = parseResponses(raw.received);
    QCOMPARE(responses[0].first, 200);
    QCOMPARE(responses[1].first, 200);
    QCOMPARE(QJsonDocument::fromJson(responses[1].second).object().value(u"username"_s).toString(), u"demo"_s);
    QCOMPARE(responses[2].first, 401);
    QCOMPARE(raw.socket.state(), QAbstractSocket::ConnectedState); // keep-alive
}

void TestSimConnection::garbageIsRefusedAndServerSurvives()
{
    const auto simulator = startSimulator();
    for (const QByteArray &garbage :
         {QByteArrayLiteral("\x00\x01\x02 nonsense\r\n\r\n"), QByteArrayLiteral("GET / HTTP/9.9\r\n\r\n"),
          QByteArrayLiteral("POST /api/auth/login HTTP/1.1\r\nContent-Length: -5\r\n\r\n"),
          QByteArrayLiteral("POST /api/auth/login HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"),
          QByteArray(70000, 'A')}) {
        RawConnection raw(*simulator);
        QVERIFY(raw.waitEncrypted());
        raw.socket.write(garbage);
        QTRY_VERIFY_WITH_TIMEOUT(raw.socket.state() == QAbstractSocket::UnconnectedState, 30000);
        const auto responses = parseResponses(raw.received);
        QCOMPARE(responses.size(), 1);
        QVERIFY(responses.first().first >= 400);
    }
    // A client that speaks no TLS at all.
    QTcpSocket plain;
    plain.connectToHost(QHostAddress::LocalHost, simulator->port());
    QVERIFY(QSignalSpy(&plain, &QTcpSocket::connected).wait(15000) || plain.state() == QAbstractSocket::ConnectedState);
    plain.write("GET / HTTP/1.1\r\n\r\n");
    QTRY_VERIFY_WITH_TIMEOUT(plain.state() == QAbstractSocket::UnconnectedState, 30000);

    SimClient client(*simulator);
    QCOMPARE(client.loginOk().status, 200);
    QCOMPARE(countEvents(*simulator, u"bad-request"_s), 5);
}

void TestSimConnection::closeConnectionsEndsEveryOpenConnection()
{
    const auto simulator = startSimulator();
    SimClient first(*simulator);
    SimClient second(*simulator);
    first.loginOk();
    QCOMPARE(second.get(u"/"_s).status, 200);
    RawConnection raw(*simulator);
    QVERIFY(raw.waitEncrypted());
    QTRY_COMPARE_WITH_TIMEOUT(simulator->openConnectionCount(), 3, 30000);
    const int handshakesBefore = countEvents(*simulator, u"handshake"_s, u"result"_s, u"completed"_s);
    QCOMPARE(handshakesBefore, 3);

    QCOMPARE(simulator->closeConnections(), 3);
    QCOMPARE(simulator->openConnectionCount(), 0);
    QCOMPARE(countEvents(*simulator, u"disconnect"_s), 3);
    QTRY_COMPARE_WITH_TIMEOUT(raw.socket.state(), QAbstractSocket::UnconnectedState, 30000);
    QCOMPARE(simulator->closeConnections(), 0); // nothing left to close

    // Listening goes on; clients come back on new connections, and the session survives.
    QVERIFY(simulator->isListening());
    QCOMPARE(first.get(u"/api/users/self"_s).status, 200);
    QCOMPARE(second.get(u"/"_s).status, 200);
    QCOMPARE(countEvents(*simulator, u"handshake"_s, u"result"_s, u"completed"_s), handshakesBefore + 2);
}

void TestSimConnection::closeConnectionsEndsStalledAndHungOnes()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    simulator->setFault({FaultKind::Stall, QString::fromLatin1(camerasPath), {}});
    simulator->setFault({FaultKind::Hang, u"/proxy/network"_s, {}});
    RawConnection stalled(*simulator);
    RawConnection hung(*simulator);
    QVERIFY(stalled.waitEncrypted() && hung.waitEncrypted());
    stalled.get(camerasPath, {"Cookie: " + client.cookieHeader()});
    hung.get(unifiOsDevices, {"Cookie: " + client.cookieHeader()});
    QTRY_COMPARE_WITH_TIMEOUT(countEvents(*simulator, u"request"_s), 3, 30000);
    QTRY_VERIFY_WITH_TIMEOUT(parsePartialResponse(stalled.received).headComplete, 30000);

    QVERIFY(simulator->closeConnections() >= 2);
    QTRY_COMPARE_WITH_TIMEOUT(stalled.socket.state(), QAbstractSocket::UnconnectedState, 30000);
    QTRY_COMPARE_WITH_TIMEOUT(hung.socket.state(), QAbstractSocket::UnconnectedState, 30000);
    QVERIFY(parseResponses(hung.received).isEmpty());
}

QTEST_GUILESS_MAIN(TestSimConnection)
#include "tst_simconnection.moc"
