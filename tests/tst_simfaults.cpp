// The simulated controller's faults, over real TLS. Latency and hang use real timers, kept short.
#include "SimTestClient.h"

#include <QElapsedTimer>
#include <QStringDecoder>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace lanternfold::simtest;

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

QTEST_GUILESS_MAIN(TestSimFaults)
#include "tst_simfaults.moc"
