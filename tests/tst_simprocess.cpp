// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The lanternfold-sim program as a separate process: flags, the LISTENING line, commands on
// standard input, the log file and a clean stop.
#include "SimTestClient.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using namespace lanternfold::simtest;

class TestSimProcess final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void separateProcess();
};

void TestSimProcess::separateProcess()
{
    QTemporaryDir dir;
    const QString logPath = dir.filePath(u"sim.jsonl"_s);
    const QString certPath = dir.filePath(u"sim.pem"_s);
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(QStringLiteral(LANTERNFOLD_SIM_EXECUTABLE),
                  {u"--kind"_s, u"classic"_s, u"--key-type"_s, u"ec"_s, u"--username"_s, u"operator"_s, u"--password"_s,
                   u"pw-42"_s, u"--log"_s, logPath, u"--export-cert"_s, certPath, u"--offline-seconds"_s, u"1"_s,
                   u"--fault"_s, u"reset:/nowhere"_s, u"--fault"_s, u"stall:/nowhere/else"_s});
    QVERIFY(process.waitForStarted(30000));
    QByteArray output;
    const auto readUntil = [&](const QByteArray &marker) {
        QElapsedTimer timer;
        timer.start();
        while (!output.contains(marker) && timer.elapsed() < 30000) {
            if (!process.waitForReadyRead(1000) && process.state() != QProcess::Running)
                break;
            output += process.readAllStandardOutput();
        }
        return output.contains(marker);
    };
    QVERIFY2(readUntil("LISTENING "), output.constData());
    QVERIFY(output.contains("operator") && output.contains("pw-42"));
    const QByteArray listening = output.mid(output.indexOf("LISTENING ")).split('\n').first().trimmed();
    const QList<QByteArray> fields = listening.split(' ');
    QCOMPARE(fields.size(), 4);
    QCOMPARE(fields[1], QByteArrayLiteral("127.0.0.1"));
    const quint16 port = fields[2].toUShort();
    QVERIFY(port > 0);
    const QString fingerprint = QString::fromLatin1(fields[3]);
    QCOMPARE(
        fingerprint,
        runShell(
            u"openssl x509 -pubkey -noout -in %1 | openssl pkey -pubin -outform DER | tail -c +27 | sha256sum"_s.arg(
                certPath)));

    // The new fault kinds are accepted as flags.
    process.write("status\n");
    QVERIFY2(readUntil("faults=reset@/nowhere,stall@/nowhere/else"), output.constData());

    QFile certFile(certPath);
    QVERIFY(certFile.open(QIODevice::ReadOnly));
    const QSslCertificate certificate(certFile.readAll(), QSsl::Pem);
    QVERIFY(!certificate.isNull());

    QNetworkAccessManager nam;
    QObject::connect(&nam, &QNetworkAccessManager::sslErrors, &nam,
                     [&](QNetworkReply *reply, const QList<QSslError> &) {
                         if (reply->sslConfiguration().peerCertificate() == certificate)
                             reply->ignoreSslErrors();
                     });
    const auto call = [&](const QByteArray &method, const QString &path, const QByteArray &body,
                          const QByteArray &token) {
        QNetworkRequest request(QUrl(u"https://127.0.0.1:%1%2"_s.arg(port).arg(path)));
        request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
        if (!token.isEmpty())
            request.setRawHeader("X-CSRF-Token", token);
        QNetworkReply *reply = method == "POST" ? nam.post(request, body) : nam.get(request);
        QSignalSpy finished(reply, &QNetworkReply::finished);
        if (!reply->isFinished())
            finished.wait(30000);
        Answer answer;
        answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        answer.body = reply->readAll();
        answer.headers = reply->rawHeaderPairs();
        reply->deleteLater();
        return answer;
    };

    const Answer login =
        call("POST", u"/api/login"_s, R"({"username":"operator","password":"pw-42","rememberMe":false})", {});
    QCOMPARE(login.status, 200);
    const QByteArray token = login.header(QByteArrayLiteral("X-CSRF-Token"));
    QVERIFY(!token.isEmpty());
    QCOMPARE(call("GET", u"/api/s/default/stat/device"_s, {}, {}).status, 200);

    process.write("fault error500 /api/s/\n");
    QVERIFY2(readUntil("OK fault error500 /api/s/"), output.constData());
    const Answer broken = call("GET", u"/api/s/default/stat/device"_s, {}, {});
    QCOMPARE(broken.status, 500);
    QVERIFY(broken.body.startsWith("\xff\xfe"));
    QCOMPARE(call("GET", u"/api/self"_s, {}, {}).status, 200);
    process.write("fault none\nbogus\n");
    QVERIFY(readUntil("ERROR unknown command bogus"));
    QVERIFY(output.contains("OK fault none"));
    QCOMPARE(call("GET", u"/api/s/default/stat/device"_s, {}, {}).status, 200);
    QCOMPARE(call("POST", u"/api/s/default/cmd/devmgr"_s, restartBody(u"78:45:58:a1:10:20"_s), token).status, 200);

    // The log file is complete while the process still runs.
    const auto readLog = [&] {
        QFile log(logPath);
        QList<QJsonObject> entries;
        if (!log.open(QIODevice::ReadOnly))
            return entries;
        for (const QByteArray &line : log.readAll().split('\n')) {
            if (!line.isEmpty())
                entries.append(QJsonDocument::fromJson(line).object());
        }
        return entries;
    };
    const QList<QJsonObject> entries = readLog();
    QVERIFY(!entries.isEmpty());
    QList<int> statuses;
    for (const QJsonObject &entry : std::as_const(entries)) {
        if (entry.value(u"event"_s).toString() == u"request"_s)
            statuses.append(entry.value(u"status"_s).toInt());
        if (entry.value(u"event"_s).toString() == u"handshake"_s)
            QCOMPARE(entry.value(u"fingerprint"_s).toString(), fingerprint);
    }
    QCOMPARE(statuses, (QList<int>{200, 200, 500, 200, 200, 200}));
    QCOMPARE(entries.last().value(u"csrf"_s).toString(), QString::fromUtf8(token));

    // Closing every connection from standard input: the client comes back on a new one.
    process.write("close-connections\n");
    QVERIFY2(readUntil("OK close-connections"), output.constData());
    QCOMPARE(call("GET", u"/api/self"_s, {}, {}).status, 200);
    int completed = 0;
    int disconnects = 0;
    for (const QJsonObject &entry : readLog()) {
        completed += entry.value(u"result"_s).toString() == u"completed"_s ? 1 : 0;
        disconnects += entry.value(u"event"_s).toString() == u"disconnect"_s ? 1 : 0;
    }
    QVERIFY2(completed >= 2, "a new handshake after close-connections");
    QVERIFY(disconnects >= 1);

    process.terminate(); // SIGTERM, as Ctrl-C would be SIGINT: both end it cleanly
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
    output += process.readAllStandardOutput();
    QVERIFY(output.contains("STOPPED"));
}

QTEST_GUILESS_MAIN(TestSimProcess)
#include "tst_simprocess.moc"
