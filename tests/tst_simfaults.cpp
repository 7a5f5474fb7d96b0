// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The simulated controller's faults, over real TLS. Latency and hang use real timers, kept short.
#include "SimTestClient.h"

#include <QElapsedTimer>
#include <QStringDecoder>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace lanternfold::simtest;

namespace {

/// A raw connection that presents client's session cookie and asks for path.
void rawGet(RawConnection &raw, const SimClient &client, const QString &path)
{
    raw.get(path.toUtf8(), {"Cookie: " + client.cookieHeader()});
}

} // namespace

class TestSimFaults final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void faultServerError();
    void faultMalformedJson();
    void faultWrongType();
    void faultLatency();
    void faultDrop();
    void faultHang();
    void faultsSpareLoginByDefault();
    void faultStallSendsHalfAndKeepsSilent();
    void faultStallTimesOutAQtClient();
    void faultResetSendsHalfThenResets();
    void faultResetIsATcpReset();
    void stallAndResetCutWhatElseWouldBeSent();
};

void TestSimFaults::faultServerError()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    simulator->setFault({FaultKind::ServerError, u"/proxy/protect"_s, {}});
    const Answer broken = client.get(QString::fromLatin1(camerasPath));
    QCOMPARE(broken.status, 500);
    QVERIFY(broken.body.startsWith("\xff\xfe"));
    QStringDecoder decoder(QStringDecoder::Utf8);
    [[maybe_unused]] const QString text = decoder.decode(broken.body);
    QVERIFY(decoder.hasError());
    // Limited to its prefix.
    QCOMPARE(client.get(QString::fromLatin1(unifiOsDevices)).status, 200);
    simulator->clearFault(FaultKind::ServerError);
    QCOMPARE(client.get(QString::fromLatin1(camerasPath)).status, 200);
}

void TestSimFaults::faultMalformedJson()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    simulator->setFault({FaultKind::MalformedJson, {}, {}});
    for (const char *path : {unifiOsDevices, camerasPath}) {
        const Answer answer = client.get(QString::fromLatin1(path));
        QCOMPARE(answer.status, 200);
        QJsonParseError error;
        QJsonDocument::fromJson(answer.body, &error);
        QVERIFY(error.error != QJsonParseError::NoError);
        QVERIFY(!answer.body.isEmpty());
    }
    QCOMPARE(client.get(u"/api/users/self"_s).json().object().value(u"username"_s).toString(), u"demo"_s);
    simulator->clearFaults();
    QVERIFY(client.get(QString::fromLatin1(camerasPath)).json().isArray());
}

void TestSimFaults::faultWrongType()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    QVERIFY(client.get(QString::fromLatin1(unifiOsDevices)).json()[u"data"_s][0][u"state"_s].isDouble());
    simulator->setFault({FaultKind::WrongType, {}, {}});
    const QJsonValue state = client.get(QString::fromLatin1(unifiOsDevices)).json()[u"data"_s][0][u"state"_s];
    QVERIFY(state.isString());
    QCOMPARE(state.toString(), u"1"_s);
    const QJsonValue id = client.get(QString::fromLatin1(camerasPath)).json()[0][u"id"_s];
    QVERIFY(id.isDouble());
    QCOMPARE(id.toInt(), 7);
}

void TestSimFaults::faultLatency()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    simulator->setFault({FaultKind::Latency, {}, 200ms});
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(client.get(QString::fromLatin1(unifiOsDevices)).status, 200);
    QVERIFY(timer.elapsed() >= 190); // a lower bound only: no machine is too fast for it
    QCOMPARE(simulator->log().entries(u"request"_s).last().value(u"delayMs"_s).toInt(), 200);
}

void TestSimFaults::faultDrop()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    simulator->setFault({FaultKind::Drop, QString::fromLatin1(camerasPath), {}});
    const Answer dropped = client.get(QString::fromLatin1(camerasPath));
    QCOMPARE(dropped.status, 0);
    QVERIFY(dropped.error != QNetworkReply::NoError);
    QCOMPARE(simulator->log().entries(u"request"_s).last().value(u"fault"_s).toString(), u"drop"_s);
    QCOMPARE(client.get(QString::fromLatin1(unifiOsDevices)).status, 200);
}

void TestSimFaults::faultHang()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    simulator->setFault({FaultKind::Hang, u"/proxy/protect"_s, {}});
    const Answer hung = client.get(QString::fromLatin1(camerasPath), {}, 300);
    QCOMPARE(hung.status, 0);
    QCOMPARE(hung.error, QNetworkReply::OperationCanceledError);
    QVERIFY(hung.body.isEmpty());
    QCOMPARE(simulator->log().entries(u"request"_s).last().value(u"fault"_s).toString(), u"hang"_s);
    // The server itself goes on answering.
    QCOMPARE(client.get(QString::fromLatin1(unifiOsDevices)).status, 200);
}

void TestSimFaults::faultsSpareLoginByDefault()
{
    const auto simulator = startSimulator();
    simulator->setFault({FaultKind::ServerError, {}, {}});
    SimClient client(*simulator);
    QCOMPARE(client.loginOk().status, 200);
    QCOMPARE(client.get(u"/api/users/self"_s).status, 500);
    simulator->setFault({FaultKind::ServerError, QString::fromLatin1(unifiOsLogin), {}});
    QCOMPARE(client.loginOk().status, 500);
}

void TestSimFaults::faultStallSendsHalfAndKeepsSilent()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    const QByteArray whole = client.get(QString::fromLatin1(unifiOsDevices)).body;
    QVERIFY(whole.size() > 1000);
    simulator->setFault({FaultKind::Stall, QString::fromLatin1(unifiOsDevices), {}});

    RawConnection raw(*simulator);
    QVERIFY(raw.waitEncrypted());
    rawGet(raw, client, QString::fromLatin1(unifiOsDevices));
    QTRY_COMPARE_WITH_TIMEOUT(parsePartialResponse(raw.received).body.size(), whole.size() / 2, 30000);
    const PartialResponse partial = parsePartialResponse(raw.received);
    QCOMPARE(partial.status, 200);
    QCOMPARE(partial.contentLength, whole.size()); // the real length is announced
    QCOMPARE(partial.body, whole.left(whole.size() / 2));

    const QJsonObject entry = requestEntries(*simulator).last();
    QCOMPARE(entry.value(u"fault"_s).toString(), u"stall"_s);
    QCOMPARE(entry.value(u"status"_s).toInt(), 200);

    // Nothing more comes, the connection stays open, and further requests on it are ignored.
    const qsizetype received = raw.received.size();
    raw.get("/", {});
    QTest::qWait(150);
    QCOMPARE(raw.received.size(), received);
    QCOMPARE(raw.socket.state(), QAbstractSocket::ConnectedState);
    QCOMPARE(countEvents(*simulator, u"request"_s), 3); // the ignored GET / was never read as one
    QCOMPARE(countEvents(*simulator, u"disconnect"_s), 0);
}

void TestSimFaults::faultStallTimesOutAQtClient()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    simulator->setFault({FaultKind::Stall, {}, {}});
    const Answer stalled = client.get(QString::fromLatin1(camerasPath), {}, 300);
    QCOMPARE(stalled.error, QNetworkReply::OperationCanceledError);
    // The login path is spared without a prefix, as by every fault.
    QCOMPARE(client.loginOk().status, 200);
}

void TestSimFaults::faultResetSendsHalfThenResets()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    const QByteArray whole = client.get(QString::fromLatin1(camerasPath)).body;
    simulator->setFault({FaultKind::Reset, u"/proxy/protect"_s, {}});

    RawConnection raw(*simulator);
    QVERIFY(raw.waitEncrypted());
    rawGet(raw, client, QString::fromLatin1(camerasPath));
    QTRY_COMPARE_WITH_TIMEOUT(raw.socket.state(), QAbstractSocket::UnconnectedState, 30000);
    const PartialResponse partial = parsePartialResponse(raw.received);
    QVERIFY(partial.headComplete);
    QCOMPARE(partial.status, 200);
    QCOMPARE(partial.contentLength, whole.size());
    QCOMPARE(partial.body, whole.left(whole.size() / 2));

    const QJsonObject entry = requestEntries(*simulator).last();
    QCOMPARE(entry.value(u"fault"_s).toString(), u"reset"_s);
    QCOMPARE(entry.value(u"status"_s).toInt(), 200);
    QTRY_COMPARE_WITH_TIMEOUT(countEvents(*simulator, u"disconnect"_s), 1, 30000);

    // A Qt client sees a network error; the server goes on serving other paths.
    const Answer reset = client.get(QString::fromLatin1(camerasPath));
    QVERIFY(reset.error != QNetworkReply::NoError);
    QCOMPARE(client.get(QString::fromLatin1(unifiOsDevices)).status, 200);
}

void TestSimFaults::faultResetIsATcpReset()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    simulator->setFault({FaultKind::Reset, QString::fromLatin1(unifiOsDevices), {}});
    // curl tells a reset ("Connection reset by peer") from an orderly end without TLS close_notify.
    const QString output = runShellAsync(
        u"curl -sS -k --http1.1 -H 'Cookie: %1' https://127.0.0.1:%2%3 -o /dev/null; echo \"exit=$?\""_s.arg(
            QString::fromLatin1(client.cookieHeader()), QString::number(simulator->port()),
            QString::fromLatin1(unifiOsDevices)));
    QVERIFY2(output.contains(u"reset by peer"_s), qPrintable(output));
    QVERIFY2(!output.contains(u"exit=0"_s), qPrintable(output));
}

void TestSimFaults::stallAndResetCutWhatElseWouldBeSent()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    // An error500 answer is cut like any other: its status is what the log reports.
    simulator->setFault({FaultKind::ServerError, u"/proxy/protect"_s, {}});
    simulator->setFault({FaultKind::Reset, u"/proxy/protect"_s, {}});
    QVERIFY(client.get(QString::fromLatin1(camerasPath)).error != QNetworkReply::NoError);
    QJsonObject entry = requestEntries(*simulator).last();
    QCOMPARE(entry.value(u"status"_s).toInt(), 500);
    QCOMPARE(entry.value(u"fault"_s).toString(), u"reset"_s);
    // A hang wins over a stall: nothing at all was started.
    simulator->clearFaults();
    simulator->setFault({FaultKind::Hang, u"/proxy/protect"_s, {}});
    simulator->setFault({FaultKind::Stall, u"/proxy/protect"_s, {}});
    QCOMPARE(client.get(QString::fromLatin1(camerasPath), {}, 300).error, QNetworkReply::OperationCanceledError);
    entry = requestEntries(*simulator).last();
    QVERIFY(entry.value(u"status"_s).isNull());
    QCOMPARE(entry.value(u"fault"_s).toString(), u"hang"_s);
    // A restart cut short has still happened: the controller acted before it answered.
    simulator->clearFaults();
    simulator->setFault({FaultKind::Stall, QString::fromLatin1(unifiOsRestart), {}});
    client.transferTimeoutMs = 300;
    const Answer restart =
        client.postWithToken(QString::fromLatin1(unifiOsRestart), restartBody(u"78:45:58:a1:10:20"_s));
    QCOMPARE(restart.error, QNetworkReply::OperationCanceledError);
    client.transferTimeoutMs = 0;
    QCOMPARE(requestEntries(*simulator).last().value(u"status"_s).toInt(), 200);
    QCOMPARE(deviceField(client, Kind::UnifiOS, u"78:45:58:a1:10:20"_s, u"state"_s).toInt(-1), 0);
}

QTEST_GUILESS_MAIN(TestSimFaults)
#include "tst_simfaults.moc"
