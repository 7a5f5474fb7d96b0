// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/ControllerConfig.h"
#include "Models/ProtectCamera.h"
#include "Models/RestartTarget.h"
#include "Models/UnifiDevice.h"

#include <QJsonDocument>
#include <QSet>
#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

QJsonValue parsed(const char *text)
{
    const auto document = QJsonDocument::fromJson(QByteArray(text));
    Q_ASSERT(document.isObject());
    return document.object();
}

ControllerConfig config(const QString &host, qint64 port)
{
    return ControllerConfig{host, port, ControllerKind::unifiOS, u"admin"_s, u"default"_s};
}

} // namespace

class TestControllerRecords final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void baseUrlOfPlainHost();
    void baseUrlKeepsHostAndPort_data();
    void baseUrlKeepsHostAndPort();
    void baseUrlFallsBackToPlaceholder_data();
    void baseUrlFallsBackToPlaceholder();
    void placeholderNeverResolves();

    void controllerKindRawValues();
    void controllerKindIsCaseSensitive_data();
    void controllerKindIsCaseSensitive();
    void configRoundTrip();
    void configDecodingFailures_data();
    void configDecodingFailures();
    void configIntegerAcceptsWholeDoubles();
    void configIgnoresUnknownKeys();

    void restartTargetIdentity();
    void restartTargetJson();
    void restartTargetUnknownKind();

    void deviceJsonLeavesOutAbsentOptionals();
    void deviceRoundTrip();
    void deviceNullOptionalIsAbsent();
    void deviceOnlineRule();
    void cameraJsonAndOnlineRule();
    void hashesFollowEquality();
};

void TestControllerRecords::baseUrlOfPlainHost()
{
    const QUrl url = config(u"192.168.1.1"_s, 443).baseURL();
    QCOMPARE(url.scheme(), u"https"_s);
    QCOMPARE(url.host(), u"192.168.1.1"_s);
    QCOMPARE(url.port(), 443);
    QVERIFY(url.path().isEmpty());
    QCOMPARE(url.toString(), u"https://192.168.1.1:443"_s);
}

void TestControllerRecords::baseUrlKeepsHostAndPort_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<qint64>("port");
    QTest::addColumn<QString>("expected");
    QTest::newRow("name") << u"unifi.home.arpa"_s << qint64(8443) << u"https://unifi.home.arpa:8443"_s;
    QTest::newRow("upper-case name is only lower-cased") << u"UniFi.LAN"_s << qint64(443) << u"https://unifi.lan:443"_s;
    QTest::newRow("ipv6") << u"fd00::1"_s << qint64(443) << u"https://[fd00::1]:443"_s;
    QTest::newRow("port 1") << u"10.0.0.1"_s << qint64(1) << u"https://10.0.0.1:1"_s;
    QTest::newRow("port 65535") << u"10.0.0.1"_s << qint64(65535) << u"https://10.0.0.1:65535"_s;
}

void TestControllerRecords::baseUrlKeepsHostAndPort()
{
    QFETCH(QString, host);
    QFETCH(qint64, port);
    QFETCH(QString, expected);
    QCOMPARE(config(host, port).baseURL().toString(), expected);
}

void TestControllerRecords::baseUrlFallsBackToPlaceholder_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<qint64>("port");
    QTest::newRow("empty host") << QString() << qint64(443);
    QTest::newRow("blank inside") << u"my host"_s << qint64(443);
    QTest::newRow("leading blank (QUrl would trim it)") << u" 10.0.0.1"_s << qint64(443);
    QTest::newRow("trailing blank") << u"10.0.0.1 "_s << qint64(443);
    QTest::newRow("slash") << u"10.0.0.1/evil"_s << qint64(443);
    QTest::newRow("at sign") << u"user@10.0.0.1"_s << qint64(443);
    QTest::newRow("port inside host") << u"10.0.0.1:8443"_s << qint64(443);
    QTest::newRow("hash") << u"good#bad"_s << qint64(443);
    QTest::newRow("control character") << u"a\u0001b"_s << qint64(443);
    QTest::newRow("negative port") << u"10.0.0.1"_s << qint64(-1);
    QTest::newRow("port too large") << u"10.0.0.1"_s << qint64(65536);
    QTest::newRow("port far too large") << u"10.0.0.1"_s << qint64(1) * 4294967296 + 443;
}

void TestControllerRecords::baseUrlFallsBackToPlaceholder()
{
    QFETCH(QString, host);
    QFETCH(qint64, port);
    const QUrl url = config(host, port).baseURL();
    QCOMPARE(url, placeholderBaseURL());
}

void TestControllerRecords::placeholderNeverResolves()
{
    const QUrl url = placeholderBaseURL();
    QVERIFY(url.isValid());
    QCOMPARE(url.scheme(), u"https"_s);
    // .invalid is reserved (RFC 2606) and never resolves.
    QVERIFY(url.host().endsWith(u".invalid"_s));
    QVERIFY(url.path().isEmpty());
}

void TestControllerRecords::controllerKindRawValues()
{
    QCOMPARE(toRawValue(ControllerKind::unifiOS), u"unifiOS"_s);
    QCOMPARE(toRawValue(ControllerKind::classic), u"classic"_s);
    const auto json = config(u"h"_s, 1).toJson();
    QCOMPARE(json.value(u"kind"_s).toString(), u"unifiOS"_s);
}

void TestControllerRecords::controllerKindIsCaseSensitive_data()
{
    QTest::addColumn<QString>("raw");
    QTest::newRow("UnifiOS") << u"UnifiOS"_s;
    QTest::newRow("UNIFIOS") << u"UNIFIOS"_s;
    QTest::newRow("unifios") << u"unifios"_s;
    QTest::newRow("Classic") << u"Classic"_s;
    QTest::newRow("empty") << QString();
}

void TestControllerRecords::controllerKindIsCaseSensitive()
{
    QFETCH(QString, raw);
    QJsonObject json = config(u"h"_s, 1).toJson();
    json.insert(u"kind"_s, raw);
    const auto decoded = ControllerConfig::fromJson(json);
    QVERIFY(!decoded.ok());
    QCOMPARE(decoded.error().message, u"Unknown value \""_s + raw + u"\" for \"kind\" at the top level."_s);
}

void TestControllerRecords::configRoundTrip()
{
    const ControllerConfig original{u"unifi.lan"_s, 8443, ControllerKind::classic, u"ops"_s, u"branch-2"_s};
    const QJsonObject json = original.toJson();
    QCOMPARE(json.keys(), (QStringList{u"host"_s, u"kind"_s, u"port"_s, u"site"_s, u"username"_s}));
    QCOMPARE(json.value(u"port"_s).toInteger(), 8443);
    const auto decoded = ControllerConfig::fromJson(json);
    QVERIFY(decoded.ok());
    QCOMPARE(decoded.value(), original);
}

void TestControllerRecords::configDecodingFailures_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("message");
    QTest::newRow("missing host") << QByteArray(R"({"port":443,"kind":"unifiOS","username":"u","site":"s"})")
                                  << u"Missing key \"host\" at the top level."_s;
    QTest::newRow("missing site") << QByteArray(R"({"host":"h","port":443,"kind":"unifiOS","username":"u"})")
                                  << u"Missing key \"site\" at the top level."_s;
    QTest::newRow("null username") << QByteArray(
                                          R"({"host":"h","port":443,"kind":"unifiOS","username":null,"site":"s"})")
                                   << u"Expected string for \"username\" at the top level, found null."_s;
    QTest::newRow("port as text") << QByteArray(
                                         R"({"host":"h","port":"443","kind":"unifiOS","username":"u","site":"s"})")
                                  << u"Expected integer for \"port\" at the top level, found string."_s;
    QTest::newRow("port with fraction")
        << QByteArray(R"({"host":"h","port":443.5,"kind":"unifiOS","username":"u","site":"s"})")
        << u"Expected integer for \"port\" at the top level, found number."_s;
    QTest::newRow("host as number") << QByteArray(R"({"host":1,"port":443,"kind":"unifiOS","username":"u","site":"s"})")
                                    << u"Expected string for \"host\" at the top level, found integer."_s;
    QTest::newRow("kind as boolean") << QByteArray(R"({"host":"h","port":443,"kind":true,"username":"u","site":"s"})")
                                     << u"Expected string for \"kind\" at the top level, found boolean."_s;
    QTest::newRow("unknown kind") << QByteArray(R"({"host":"h","port":443,"kind":"cloud","username":"u","site":"s"})")
                                  << u"Unknown value \"cloud\" for \"kind\" at the top level."_s;
}

void TestControllerRecords::configDecodingFailures()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, message);
    const auto decoded = ControllerConfig::fromJson(QJsonDocument::fromJson(json).object());
    QVERIFY(!decoded.ok());
    QCOMPARE(decoded.error().message, message);
}

void TestControllerRecords::configIntegerAcceptsWholeDoubles()
{
    const auto decoded =
        ControllerConfig::fromJson(parsed(R"({"host":"h","port":8443.0,"kind":"classic","username":"u","site":"s"})"));
    QVERIFY(decoded.ok());
    QCOMPARE(decoded.value().port, 8443);
}

void TestControllerRecords::configIgnoresUnknownKeys()
{
    const auto decoded = ControllerConfig::fromJson(
        parsed(R"({"host":"h","port":443,"kind":"unifiOS","username":"u","site":"s","password":"x","extra":{}})"));
    QVERIFY(decoded.ok());
    QCOMPARE(decoded.value(), (ControllerConfig{u"h"_s, 443, ControllerKind::unifiOS, u"u"_s, u"s"_s}));
}

void TestControllerRecords::restartTargetIdentity()
{
    const RestartTarget a{RestartTargetKind::accessPoint, u"80:2a:a8:00:01:02"_s, u"Lobby"_s};
    const RestartTarget b{RestartTargetKind::accessPoint, u"80:2a:a8:00:01:02"_s, u"Lobby (renamed)"_s};
    QCOMPARE(a.id(), u"accessPoint:80:2a:a8:00:01:02"_s);
    QCOMPARE(a.id(), b.id());
    QVERIFY(a != b);
    const RestartTarget camera{RestartTargetKind::camera, u"61b3f5c9"_s, u"Door"_s};
    QCOMPARE(camera.id(), u"camera:61b3f5c9"_s);
    QCOMPARE(deviceKey(RestartTargetKind::camera, u"61b3f5c9"_s), camera.id());
}

void TestControllerRecords::restartTargetJson()
{
    const RestartTarget target{RestartTargetKind::camera, u"abc"_s, u"Front Door"_s};
    const QJsonObject json = target.toJson();
    QCOMPARE(json, parsed(R"({"kind":"camera","identifier":"abc","displayName":"Front Door"})").toObject());
    const auto decoded = RestartTarget::fromJson(json);
    QVERIFY(decoded.ok());
    QCOMPARE(decoded.value(), target);
}

void TestControllerRecords::restartTargetUnknownKind()
{
    const auto decoded =
        RestartTarget::fromJson(parsed(R"({"kind":"switch","identifier":"a","displayName":"b"})"), u"[0].targets[1]"_s);
    QVERIFY(!decoded.ok());
    QCOMPARE(decoded.error().message, u"Unknown value \"switch\" for \"kind\" at [0].targets[1]."_s);
    const auto wrongCase =
        RestartTarget::fromJson(parsed(R"({"kind":"AccessPoint","identifier":"a","displayName":"b"})"));
    QVERIFY(!wrongCase.ok());
}

void TestControllerRecords::deviceJsonLeavesOutAbsentOptionals()
{
    const UnifiDevice device{u"aa:bb"_s, u"AP"_s, u"U6LR"_s, u"uap"_s, std::nullopt, std::nullopt};
    const QJsonObject json = device.toJson();
    QCOMPARE(json.keys(), (QStringList{u"mac"_s, u"model"_s, u"name"_s, u"type"_s}));
    QCOMPARE(device.id(), u"aa:bb"_s);
}

void TestControllerRecords::deviceRoundTrip()
{
    const UnifiDevice device{u"aa:bb"_s, u"AP"_s, u"U6LR"_s, u"uap"_s, 4, u"10.0.0.9"_s};
    const auto decoded = UnifiDevice::fromJson(device.toJson());
    QVERIFY(decoded.ok());
    QCOMPARE(decoded.value(), device);
}

void TestControllerRecords::deviceNullOptionalIsAbsent()
{
    const auto decoded =
        UnifiDevice::fromJson(parsed(R"({"mac":"m","name":"n","model":"x","type":"uap","state":null,"ip":null})"));
    QVERIFY(decoded.ok());
    QVERIFY(!decoded.value().state.has_value());
    QVERIFY(!decoded.value().ip.has_value());
}

void TestControllerRecords::deviceOnlineRule()
{
    UnifiDevice device{u"m"_s, u"n"_s, u"x"_s, u"uap"_s, std::nullopt, std::nullopt};
    QVERIFY(!device.isOnline());
    for (qint64 state : {0, 2, 4, 5, 11}) {
        device.state = state;
        QVERIFY2(!device.isOnline(), qPrintable(QString::number(state)));
    }
    device.state = 1;
    QVERIFY(device.isOnline());
}

void TestControllerRecords::cameraJsonAndOnlineRule()
{
    ProtectCamera camera{u"61b3"_s, u"Door"_s, u"UVC G4 Doorbell"_s, u"CONNECTED"_s};
    QVERIFY(camera.isOnline());
    QCOMPARE(camera.toJson(),
             parsed(R"({"id":"61b3","name":"Door","type":"UVC G4 Doorbell","state":"CONNECTED"})").toObject());
    camera.state = u"connected"_s;
    QVERIFY(!camera.isOnline());
    camera.state = std::nullopt;
    QVERIFY(!camera.isOnline());
    QCOMPARE(camera.toJson().keys(), (QStringList{u"id"_s, u"name"_s, u"type"_s}));
    const auto decoded = ProtectCamera::fromJson(camera.toJson());
    QVERIFY(decoded.ok());
    QCOMPARE(decoded.value(), camera);
}

void TestControllerRecords::hashesFollowEquality()
{
    const RestartTarget a{RestartTargetKind::accessPoint, u"m"_s, u"A"_s};
    const RestartTarget b{RestartTargetKind::accessPoint, u"m"_s, u"B"_s};
    QSet<RestartTarget> targets{a, a, b};
    QCOMPARE(targets.size(), 2);
    const UnifiDevice d1{u"m"_s, u"n"_s, u"x"_s, u"uap"_s, 1, std::nullopt};
    UnifiDevice d2 = d1;
    QCOMPARE(qHash(d1), qHash(d2));
    d2.state = std::nullopt;
    QVERIFY(d1 != d2);
    QCOMPARE(QSet<UnifiDevice>({d1, d2, d1}).size(), 2);
    const ProtectCamera c1{u"i"_s, u"n"_s, u"t"_s, std::nullopt};
    QCOMPARE(QSet<ProtectCamera>({c1, c1}).size(), 1);
}

QTEST_GUILESS_MAIN(TestControllerRecords)
#include "tst_controllerrecords.moc"
