// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The simulated controller's TLS side: which key each handshake presents, what the handshake log
// says, ALPN, and that no session is ever resumed.
#include "SimTestClient.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace lanternfold::simtest;

namespace {

QList<QJsonObject> completedHandshakes(ControllerSimulator &simulator)
{
    QList<QJsonObject> completed;
    for (const QJsonObject &entry : simulator.log().entries(u"handshake"_s)) {
        if (entry.value(u"result"_s).toString() == u"completed"_s)
            completed.append(entry);
    }
    return completed;
}

} // namespace

class TestSimTls final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keyFlip();
    void handshakeLogCompletedAndFailed();
    void fingerprintMatchesOpenssl_data();
    void fingerprintMatchesOpenssl();
    void loadedCertificateIsPresented();
    void tlsSessionsAreNeverResumed_data();
    void tlsSessionsAreNeverResumed();
    void alpnOffersHttp2First();
    void alpnHttp2AllowedNegotiatesH2();
    void alpnHttp2DisallowedNegotiatesHttp11();
    void alpnIsNullWithoutAnOffer();
};

void TestSimTls::keyFlip()
{
    const auto simulator = startSimulator(Kind::UnifiOS, TlsIdentity::KeyType::Ec, true);
    QVERIFY(!simulator->flipFingerprint().isEmpty());
    QVERIFY(simulator->flipFingerprint() != simulator->fingerprint());

    SimClient first(*simulator);
    const Answer one = first.get(u"/"_s);
    QCOMPARE(one.status, 200);
    QCOMPARE(TlsIdentity::fingerprintOf(one.peerCertificate.toDer()), simulator->fingerprint());

    SimClient second(*simulator); // a new manager: a new connection, no TLS session to resume
    const Answer two = second.get(u"/"_s);
    QCOMPARE(two.status, 200);
    QCOMPARE(TlsIdentity::fingerprintOf(two.peerCertificate.toDer()), simulator->flipFingerprint());

    SimClient third(*simulator);
    QCOMPARE(TlsIdentity::fingerprintOf(third.get(u"/"_s).peerCertificate.toDer()), simulator->flipFingerprint());

    const auto handshakes = simulator->log().entries(u"handshake"_s);
    QCOMPARE(handshakes.size(), 3);
    QCOMPARE(handshakes[0].value(u"fingerprint"_s).toString(), simulator->fingerprint());
    QCOMPARE(handshakes[1].value(u"fingerprint"_s).toString(), simulator->flipFingerprint());
    const auto requests = simulator->log().entries(u"request"_s);
    QCOMPARE(requests[1].value(u"fingerprint"_s).toString(), simulator->flipFingerprint());

    // Switched off, the main key is back.
    simulator->setKeyFlip(false);
    SimClient fourth(*simulator);
    QCOMPARE(TlsIdentity::fingerprintOf(fourth.get(u"/"_s).peerCertificate.toDer()), simulator->fingerprint());
}

void TestSimTls::handshakeLogCompletedAndFailed()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    QCOMPARE(client.get(u"/"_s).status, 200);
    QCOMPARE(countEvents(*simulator, u"handshake"_s, u"result"_s, u"completed"_s), 1);

    // A client that verifies the peer, trusts no CA and stops at the first error: it refuses the
    // key in the middle of the handshake.
    QSslSocket refusing;
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates({});
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
    configuration.setHandshakeMustInterruptOnError(true);
    refusing.setSslConfiguration(configuration);
    refusing.connectToHostEncrypted(u"127.0.0.1"_s, simulator->port());
    QTRY_VERIFY_WITH_TIMEOUT(countEvents(*simulator, u"handshake"_s, u"result"_s, u"failed"_s) == 1, 30000);
    QVERIFY(!refusing.isEncrypted());
    const QJsonObject failed = simulator->log().entries(u"handshake"_s).last();
    QCOMPARE(failed.value(u"fingerprint"_s).toString(), simulator->fingerprint());
    QVERIFY(!failed.value(u"error"_s).toString().isEmpty());
    QCOMPARE(failed.value(u"conn"_s).toInt(), 2);
    QVERIFY(!failed.contains(u"alpn"_s)); // only a completed handshake negotiated anything

    // Qt's ordinary client with verification on and no CA: it refuses the self-signed key too.
    QSslSocket ordinary;
    QSslConfiguration noCa = QSslConfiguration::defaultConfiguration();
    noCa.setCaCertificates({});
    ordinary.setSslConfiguration(noCa);
    ordinary.connectToHostEncrypted(u"127.0.0.1"_s, simulator->port());
    QTRY_VERIFY_WITH_TIMEOUT(countEvents(*simulator, u"handshake"_s, u"result"_s, u"failed"_s) == 2, 30000);
    QVERIFY(!ordinary.isEncrypted());

    // A client that starts a handshake (a TLS record header) and hangs up.
    QTcpSocket partial;
    partial.connectToHost(QHostAddress::LocalHost, simulator->port());
    QTRY_VERIFY_WITH_TIMEOUT(partial.state() == QAbstractSocket::ConnectedState, 30000);
    partial.write(QByteArrayLiteral("\x16\x03\x01\x00\x40"));
    QTRY_VERIFY_WITH_TIMEOUT(partial.bytesToWrite() == 0, 30000);
    QTest::qWait(0);
    partial.abort();
    QTRY_VERIFY_WITH_TIMEOUT(countEvents(*simulator, u"handshake"_s) == 4, 30000);
    QCOMPARE(countEvents(*simulator, u"handshake"_s, u"result"_s, u"failed"_s), 3);
    QCOMPARE(countEvents(*simulator, u"request"_s), 1);
}

void TestSimTls::fingerprintMatchesOpenssl_data()
{
    QTest::addColumn<TlsIdentity::KeyType>("keyType");
    QTest::addColumn<QString>("pipeline");
    QTest::addColumn<int>("keyBytes");
    QTest::newRow("rsa") << TlsIdentity::KeyType::Rsa
                         << u"openssl x509 -pubkey -noout -in %1 | openssl rsa -pubin -RSAPublicKey_out -outform DER"_s
                         << 270;
    QTest::newRow("ec") << TlsIdentity::KeyType::Ec
                        << u"openssl x509 -pubkey -noout -in %1 | openssl pkey -pubin -outform DER | tail -c +27"_s
                        << 65;
}

void TestSimTls::fingerprintMatchesOpenssl()
{
    QFETCH(TlsIdentity::KeyType, keyType);
    QFETCH(QString, pipeline);
    QFETCH(int, keyBytes);
    const auto simulator = startSimulator(Kind::UnifiOS, keyType);
    QCOMPARE(simulator->identity().keyType, keyType);
    QCOMPARE(simulator->fingerprint().size(), 64);

    QTemporaryDir dir;
    const QString pem = dir.filePath(u"cert.pem"_s);
    QFile file(pem);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(simulator->identity().certificatePem);
    file.close();
    QCOMPARE(runShell(pipeline.arg(pem) + u" | wc -c"_s).toInt(), keyBytes);
    QCOMPARE(runShell(pipeline.arg(pem) + u" | sha256sum"_s), simulator->fingerprint());

    // And the key the client sees over the wire is that key.
    SimClient client(*simulator);
    const Answer answer = client.get(u"/"_s);
    QCOMPARE(answer.peerCertificate, simulator->certificate());
    QCOMPARE(answer.peerCertificate.publicKey().algorithm(),
             keyType == TlsIdentity::KeyType::Ec ? QSsl::Ec : QSsl::Rsa);
}

void TestSimTls::loadedCertificateIsPresented()
{
    QTemporaryDir dir;
    const QString cert = dir.filePath(u"c.pem"_s);
    const QString key = dir.filePath(u"k.pem"_s);
    QCOMPARE(
        runShell(u"openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj /CN=localhost "
                 "-keyout %1 -out %2 2>/dev/null && echo done"_s.arg(key, cert)),
        u"done"_s);
    QString error;
    const auto identity = TlsIdentity::fromFiles(cert, key, &error);
    if (!identity)
        QFAIL(qPrintable(error));
    QVERIFY(!TlsIdentity::fromFiles(cert, cert, &error));

    auto simulator = std::make_unique<ControllerSimulator>();
    simulator->setIdentity(*identity);
    QVERIFY(simulator->start(&error));
    QCOMPARE(
        simulator->fingerprint(),
        runShell(
            u"openssl x509 -pubkey -noout -in %1 | openssl pkey -pubin -outform DER | tail -c +27 | sha256sum"_s.arg(
                cert)));
    SimClient client(*simulator);
    QCOMPARE(TlsIdentity::fingerprintOf(client.get(u"/"_s).peerCertificate.toPem()), simulator->fingerprint());
}

void TestSimTls::tlsSessionsAreNeverResumed_data()
{
    QTest::addColumn<QString>("version");
    QTest::newRow("TLS 1.2") << u"-tls1_2"_s;
    QTest::newRow("TLS 1.3") << u"-tls1_3"_s;
}

void TestSimTls::tlsSessionsAreNeverResumed()
{
    QFETCH(QString, version);
    const auto simulator = startSimulator();
    QTemporaryDir dir;
    const QString session = dir.filePath(u"session.pem"_s);
    // The server runs on this thread, so openssl runs asynchronously while the event loop turns.
    const auto sClient = [&](const QString &sessionOption) -> QString {
        QProcess process;
        process.start(u"/bin/sh"_s,
                      {u"-c"_s, u"(sleep 1; echo) | openssl s_client %1 -connect 127.0.0.1:%2 %3 %4 2>&1"_s.arg(
                                    version, QString::number(simulator->port()), sessionOption, session)});
        // (QTRY cannot be used inside a lambda that returns a value.)
        for (int waited = 0; waited < 30000 && process.state() != QProcess::NotRunning; waited += 50)
            QTest::qWait(50);
        return QString::fromUtf8(process.readAllStandardOutput());
    };
    const QString first = sClient(u"-sess_out"_s);
    QVERIFY2(first.contains(u"\nNew, TLSv1."_s), qPrintable(first));
    QVERIFY(QFile::exists(session));
    const QString second = sClient(u"-sess_in"_s);
    QVERIFY2(second.contains(u"\nNew, TLSv1."_s), qPrintable(second));
    QVERIFY(!second.contains(u"Reused"_s));
    const auto handshakes = simulator->log().entries(u"handshake"_s);
    QCOMPARE(handshakes.size(), 2);
    QCOMPARE(handshakes[1].value(u"fingerprint"_s).toString(), simulator->fingerprint());
}

void TestSimTls::alpnOffersHttp2First()
{
    const QList<QByteArray> offered = lanternfold::sim::SimTlsServer::offeredProtocols();
    QCOMPARE(offered, (QList<QByteArray>{QByteArrayLiteral("h2"), QByteArrayLiteral("http/1.1")}));
    // Qt's server lets the client's order decide between protocols both sides have, so a client
    // that prefers h2, as browsers and Qt do, gets h2.
    const auto simulator = startSimulator();
    const QString output =
        runShellAsync(u"echo | openssl s_client -connect 127.0.0.1:%1 -alpn h2,http/1.1 2>&1"_s.arg(simulator->port()));
    QVERIFY2(output.contains(u"ALPN protocol: h2"_s), qPrintable(output));
    QCOMPARE(completedHandshakes(*simulator).last().value(u"alpn"_s).toString(), u"h2"_s);
}

void TestSimTls::alpnHttp2AllowedNegotiatesH2()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.http2Allowed = true;
    client.transferTimeoutMs = 5000; // in case Qt waited for an HTTP/2 answer that never comes
    const Answer answer = client.get(u"/"_s);
    QVERIFY(answer.error != QNetworkReply::NoError); // no HTTP/2 is spoken here
    QVERIFY(!completedHandshakes(*simulator).isEmpty());
    QCOMPARE(completedHandshakes(*simulator).first().value(u"alpn"_s).toString(), u"h2"_s);
    // The client's connection preface is refused as a bad request, and the server goes on.
    QTRY_VERIFY_WITH_TIMEOUT(countEvents(*simulator, u"bad-request"_s, u"status"_s, 505) >= 1, 30000);
    QVERIFY(simulator->isListening());
    SimClient http1(*simulator);
    QCOMPARE(http1.get(u"/"_s).status, 200);
}

void TestSimTls::alpnHttp2DisallowedNegotiatesHttp11()
{
    const auto simulator = startSimulator();
    // HTTP/2 not allowed, and HTTP/1.1 offered in the client's own TLS configuration.
    SimClient client(*simulator);
    client.http2Allowed = false;
    client.offeredProtocols = {QByteArrayLiteral("http/1.1")};
    QCOMPARE(client.get(u"/"_s).status, 200);
    QList<QJsonObject> completed = completedHandshakes(*simulator);
    QCOMPARE(completed.size(), 1);
    QCOMPARE(completed.first().value(u"alpn"_s), QJsonValue(u"http/1.1"_s));

    // With HTTP/2 merely disallowed, Qt 6.4 offers no protocol at all, and nothing is negotiated.
    SimClient plain(*simulator);
    QCOMPARE(plain.get(u"/"_s).status, 200);
    completed = completedHandshakes(*simulator);
    QCOMPARE(completed.size(), 2);
    QVERIFY(completed.last().contains(u"alpn"_s));
    QVERIFY(completed.last().value(u"alpn"_s).isNull());
}

void TestSimTls::alpnIsNullWithoutAnOffer()
{
    const auto simulator = startSimulator();
    RawConnection raw(*simulator); // Qt's default configuration offers no protocol
    QVERIFY(raw.waitEncrypted());
    QTRY_COMPARE_WITH_TIMEOUT(completedHandshakes(*simulator).size(), 1, 30000);
    const QJsonObject handshake = completedHandshakes(*simulator).first();
    QVERIFY(handshake.contains(u"alpn"_s));
    QVERIFY(handshake.value(u"alpn"_s).isNull());
}

QTEST_GUILESS_MAIN(TestSimTls)
#include "tst_simtls.moc"
