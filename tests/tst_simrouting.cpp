// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Which path of the simulated controller answers what, over real TLS with a plain Qt client.
// Offline windows run on a manual clock, so no test waits for a device to come back.
#include "SimTestClient.h"

#include <QCryptographicHash>
#include <QSet>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace lanternfold::simtest;

class TestSimRouting final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void restartTakesDeviceOfflineAndBack_data();
    void restartTakesDeviceOfflineAndBack();
    void cameraRebootDisconnectsAndReturns();
    void unknownMacAndCamera();
    void unknownSite();
    void severalSites();
    void readOnlyAccountMayNotRestart();
    void classicHasNoProxy();
    void rootPage();
    void selfEndpoints_data();
    void selfEndpoints();
    void demoSiteHasVariety();
    void siteFromJson();
    void statDeviceWithTrailingSlash_data();
    void statDeviceWithTrailingSlash();
    void statDeviceOfOneMac_data();
    void statDeviceOfOneMac();
    void statDeviceOfOneMacFollowsRestartsAndFaults();
    void selfSites_data();
    void selfSites();
    void selfSitesOfAnotherSite();
};

void TestSimRouting::restartTakesDeviceOfflineAndBack_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("mac");
    QTest::addColumn<int>("stateBefore");
    QTest::newRow("unifiOS online AP") << Kind::UnifiOS << u"78:45:58:a1:10:20"_s << 1;
    QTest::newRow("classic, upper-case MAC") << Kind::Classic << u"78:45:58:A1:11:23"_s << 1;
    QTest::newRow("provisioning AP comes back provisioning") << Kind::UnifiOS << u"78:45:58:a1:16:32"_s << 5;
}

void TestSimRouting::restartTakesDeviceOfflineAndBack()
{
    QFETCH(Kind, kind);
    QFETCH(QString, mac);
    QFETCH(int, stateBefore);
    const auto simulator = startSimulator(kind);
    ManualClock clock;
    simulator->setClock(clock);
    simulator->setOfflineDuration(3s);
    SimClient client(*simulator);
    client.loginOk();
    const QString storedMac = mac.toLower();
    QCOMPARE(deviceField(client, kind, storedMac, u"state"_s).toInt(-1), stateBefore);

    const Answer restart = client.postWithToken(restartPath(kind), restartBody(mac));
    QCOMPARE(restart.status, 200);
    QCOMPARE(restart.body, QByteArray(emptyOk));
    const QJsonValue offline = deviceField(client, kind, storedMac, u"state"_s);
    QVERIFY(offline.isDouble());
    QCOMPARE(offline.toInt(-1), 0);
    clock.advance(2999ms);
    QCOMPARE(deviceField(client, kind, storedMac, u"state"_s).toInt(-1), 0);
    clock.advance(1ms);
    QCOMPARE(deviceField(client, kind, storedMac, u"state"_s).toInt(-1), stateBefore);
}

void TestSimRouting::cameraRebootDisconnectsAndReturns()
{
    const auto simulator = startSimulator();
    ManualClock clock;
    simulator->setClock(clock);
    simulator->setOfflineDuration(3s);
    SimClient client(*simulator);
    client.loginOk();
    const QJsonArray cameras = client.get(QString::fromLatin1(camerasPath)).json().array();
    QVERIFY(!cameras.isEmpty());
    const QString id = cameras.first().toObject().value(u"id"_s).toString();
    QCOMPARE(cameraField(client, id, u"state"_s).toString(), u"CONNECTED"_s);

    const Answer reboot = client.postWithToken(u"/proxy/protect/api/cameras/%1/reboot"_s.arg(id));
    QCOMPARE(reboot.status, 200);
    QCOMPARE(cameraField(client, id, u"state"_s).toString(), u"DISCONNECTED"_s);
    QCOMPARE(cameraField(client, id, u"isConnected"_s).toBool(true), false);
    clock.advance(2999ms);
    QCOMPARE(cameraField(client, id, u"state"_s).toString(), u"DISCONNECTED"_s);
    clock.advance(1ms);
    QCOMPARE(cameraField(client, id, u"state"_s).toString(), u"CONNECTED"_s);
    QCOMPARE(cameraField(client, id, u"isConnected"_s).toBool(), true);
}

void TestSimRouting::unknownMacAndCamera()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    const Answer mac = client.postWithToken(QString::fromLatin1(unifiOsRestart), restartBody(u"00:00:00:00:00:00"_s));
    QCOMPARE(mac.status, 400);
    QCOMPARE(mac.body, QByteArrayLiteral(R"({"meta":{"rc":"error","msg":"api.err.UnknownDevice"},"data":[]})"));
    const Answer camera = client.postWithToken(u"/proxy/protect/api/cameras/000000000000000000000000/reboot"_s);
    QCOMPARE(camera.status, 404);
    QCOMPARE(camera.body, QByteArrayLiteral(R"({"error":"Camera not found"})"));
}

void TestSimRouting::unknownSite()
{
    const auto simulator = startSimulator();
    simulator->setSite(u"branch-office"_s);
    SimClient client(*simulator);
    client.loginOk();
    const Answer wrongSite = client.get(QString::fromLatin1(unifiOsDevices));
    // As controllers answer a site the account may not use: the status of a missing login.
    QCOMPARE(wrongSite.status, 401);
    QCOMPARE(wrongSite.body, QByteArrayLiteral(R"({"meta":{"rc":"error","msg":"api.err.NoSiteContext"},"data":[]})"));
    QCOMPARE(client.get(u"/proxy/network/api/s/branch-office/stat/device"_s).status, 200);
    // Site names are case-sensitive.
    QCOMPARE(client.get(u"/proxy/network/api/s/Branch-Office/stat/device"_s).status, 401);
}

void TestSimRouting::severalSites()
{
    const auto simulator = startSimulator();
    simulator->addDemoWarehouse();
    SimClient client(*simulator);
    client.loginOk();
    const QJsonArray data = client.get(u"/proxy/network/api/self/sites"_s).json().object().value(u"data"_s).toArray();
    QCOMPARE(data.size(), 2);
    QCOMPARE(data.at(0).toObject().value(u"desc"_s).toString(), u"Default"_s);
    const QJsonObject warehouse = data.at(1).toObject();
    QCOMPARE(warehouse.value(u"name"_s).toString(), u"k3w9d2xa"_s);
    QCOMPARE(warehouse.value(u"desc"_s).toString(), u"Warehouse"_s);
    QCOMPARE(warehouse.value(u"role"_s).toString(), u"admin"_s);
    // Each site answers with its own devices.
    const auto names = [&client](const QString &site) {
        QStringList list;
        const QJsonArray devices = client.get(u"/proxy/network/api/s/"_s + site + u"/stat/device"_s)
                                       .json()
                                       .object()
                                       .value(u"data"_s)
                                       .toArray();
        for (const auto &device : devices)
            list.append(device.toObject().value(u"name"_s).toString());
        return list;
    };
    QCOMPARE(names(u"k3w9d2xa"_s),
             (QStringList{u"Warehouse Switch"_s, u"Loading Dock"_s, u"Racks North"_s, u"Racks South"_s}));
    QVERIFY(names(u"default"_s).contains(u"Lobby"_s));
    QVERIFY(!names(u"default"_s).contains(u"Loading Dock"_s));
    const Answer restart = client.postWithToken(u"/proxy/network/api/s/k3w9d2xa/cmd/devmgr"_s,
                                                R"({"cmd":"restart","mac":"78:45:58:a1:20:41"})");
    QCOMPARE(restart.status, 200);
    // A device of one site is unknown on the other.
    const Answer elsewhere = client.postWithToken(u"/proxy/network/api/s/default/cmd/devmgr"_s,
                                                  R"({"cmd":"restart","mac":"78:45:58:a1:20:42"})");
    QCOMPARE(elsewhere.status, 400);
}

void TestSimRouting::readOnlyAccountMayNotRestart()
{
    const auto simulator = startSimulator();
    simulator->setReadOnly(true);
    SimClient client(*simulator);
    client.loginOk();
    const QJsonObject site =
        client.get(u"/proxy/network/api/self/sites"_s).json().object().value(u"data"_s).toArray().first().toObject();
    QCOMPARE(site.value(u"role"_s).toString(), u"readonly"_s);
    QCOMPARE(client.get(QString::fromLatin1(unifiOsDevices)).status, 200);
    const Answer restart = client.postWithToken(u"/proxy/network/api/s/default/cmd/devmgr"_s,
                                                R"({"cmd":"restart","mac":"78:45:58:a1:10:20"})");
    QCOMPARE(restart.status, 403);
    QCOMPARE(restart.body, QByteArrayLiteral(R"({"meta":{"rc":"error","msg":"api.err.NoPermission"},"data":[]})"));
}

void TestSimRouting::classicHasNoProxy()
{
    const auto simulator = startSimulator(Kind::Classic);
    SimClient client(*simulator);
    for (int loggedIn = 0; loggedIn < 2; ++loggedIn) {
        for (const QString &path : {QString::fromLatin1(unifiOsDevices), QString::fromLatin1(camerasPath),
                                    u"/proxy/protect/api/cameras/abc/reboot"_s}) {
            const Answer answer = client.get(path);
            QCOMPARE(answer.status, 404);
            QCOMPARE(answer.body, QByteArrayLiteral(R"({"error":"Not Found"})"));
        }
        client.loginOk();
    }
    QCOMPARE(client.postWithToken(u"/proxy/protect/api/cameras/abc/reboot"_s).status, 404);
    // And a UniFi OS console has no classic paths.
    const auto console = startSimulator(Kind::UnifiOS);
    SimClient consoleClient(*console);
    consoleClient.loginOk();
    QCOMPARE(consoleClient.get(u"/api/s/default/stat/device"_s).status, 404);
    SimClient stranger(*console);
    QCOMPARE(stranger.post(u"/api/login"_s, "{}").status, 401); // not a login path here: session first
}

void TestSimRouting::rootPage()
{
    const auto console = startSimulator(Kind::UnifiOS);
    SimClient consoleClient(*console);
    const Answer page = consoleClient.get(u"/"_s);
    QCOMPARE(page.status, 200);
    QVERIFY(page.header(QByteArrayLiteral("Content-Type")).startsWith("text/html"));
    QVERIFY(page.body.contains("<html"));

    const auto classic = startSimulator(Kind::Classic);
    SimClient classicClient(*classic);
    const Answer redirect = classicClient.get(u"/"_s);
    QCOMPARE(redirect.status, 302);
    QCOMPARE(redirect.header(QByteArrayLiteral("Location")), QByteArrayLiteral("/manage"));
}

void TestSimRouting::selfEndpoints_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("path");
    QTest::newRow("unifiOS") << Kind::UnifiOS << u"/api/users/self"_s;
    QTest::newRow("classic") << Kind::Classic << u"/api/self"_s;
}

void TestSimRouting::selfEndpoints()
{
    QFETCH(Kind, kind);
    QFETCH(QString, path);
    const auto simulator = startSimulator(kind);
    SimClient client(*simulator);
    const Answer before = client.get(path);
    QCOMPARE(before.status, 401);
    QCOMPARE(before.body, QByteArray(loginRequired));
    client.loginOk();
    const Answer after = client.get(path);
    QCOMPARE(after.status, 200);
    if (kind == Kind::UnifiOS) {
        QCOMPARE(after.json().object().value(u"username"_s).toString(), u"demo"_s);
    } else {
        QVERIFY(after.body.startsWith(R"({"meta":{"rc":"ok"},"data":[{)"));
        QCOMPARE(after.json().object().value(u"data"_s).toArray().first().toObject().value(u"name"_s).toString(),
                 u"demo"_s);
    }
}

void TestSimRouting::demoSiteHasVariety()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    client.loginOk();
    const Answer devicesAnswer = client.get(QString::fromLatin1(unifiOsDevices));
    QVERIFY(devicesAnswer.body.startsWith(R"({"meta":{"rc":"ok"},"data":[)"));
    const QJsonArray devices = devicesAnswer.json().object().value(u"data"_s).toArray();
    int accessPoints = 0;
    int switches = 0;
    bool gateway = false;
    bool plug = false;
    bool unnamed = false;
    bool withoutIp = false;
    QSet<int> states;
    QSet<QString> models;
    for (const auto &value : devices) {
        const QJsonObject device = value.toObject();
        const QString type = device.value(u"type"_s).toString();
        QVERIFY(device.value(u"mac"_s).isString());
        QVERIFY2(QJsonDocument(device).toJson(QJsonDocument::Compact).size() > 8000, "device objects are full-size");
        if (type == u"uap"_s && device.value(u"model"_s).toString() != u"UP1"_s) {
            ++accessPoints;
            models.insert(device.value(u"model"_s).toString());
        }
        switches += type == u"usw"_s ? 1 : 0;
        gateway = gateway || type == u"udm"_s || type == u"ugw"_s;
        plug = plug || (type == u"uap"_s && device.value(u"model"_s).toString() == u"UP1"_s);
        unnamed = unnamed || !device.contains(u"name"_s);
        withoutIp = withoutIp || !device.contains(u"ip"_s);
        states.insert(device.value(u"state"_s).toInt(-1));
    }
    QVERIFY(accessPoints >= 8);
    QVERIFY(models.size() >= 6);
    QVERIFY(switches >= 2);
    QVERIFY(gateway);
    QVERIFY(plug);
    QVERIFY(unnamed);
    QVERIFY(withoutIp);
    for (const int state : {0, 1, 4, 5})
        QVERIFY2(states.contains(state), qPrintable(QString::number(state)));

    const Answer camerasAnswer = client.get(QString::fromLatin1(camerasPath));
    QVERIFY(camerasAnswer.body.startsWith('['));
    const QJsonArray cameras = camerasAnswer.json().array();
    QVERIFY(cameras.size() >= 4);
    int disconnected = 0;
    for (const auto &camera : cameras)
        disconnected += camera.toObject().value(u"state"_s).toString() == u"DISCONNECTED"_s ? 1 : 0;
    QCOMPARE(disconnected, 1);
}

void TestSimRouting::siteFromJson()
{
    const auto simulator = startSimulator(Kind::Classic);
    QString error;
    QVERIFY(!simulator->setDevicesJson(R"([{"mac":"aa"}])", &error));
    QVERIFY(!error.isEmpty());
    QVERIFY(!simulator->setDevicesJson(R"({"data":[{"name":"no mac"}]})", &error));
    QVERIFY(!simulator->setCamerasJson(R"({"data":[]})", &error));
    QVERIFY(simulator->setDevicesJson(
        R"({"meta":{"rc":"ok"},"data":[{"mac":"aa:bb:cc:dd:ee:ff","type":"uap","state":1}]})", &error));
    SimClient client(*simulator);
    client.loginOk();
    QCOMPARE(client.get(u"/api/s/default/stat/device"_s).body,
             QByteArrayLiteral(R"({"meta":{"rc":"ok"},"data":[{"mac":"aa:bb:cc:dd:ee:ff","state":1,"type":"uap"}]})"));
}

void TestSimRouting::statDeviceWithTrailingSlash_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::newRow("unifiOS") << Kind::UnifiOS;
    QTest::newRow("classic") << Kind::Classic;
}

void TestSimRouting::statDeviceWithTrailingSlash()
{
    QFETCH(Kind, kind);
    const auto simulator = startSimulator(kind);
    SimClient client(*simulator);
    QCOMPARE(client.get(devicesPath(kind) + u'/').status, 401); // a session first, as everywhere
    client.loginOk();
    const Answer plain = client.get(devicesPath(kind));
    const Answer slashed = client.get(devicesPath(kind) + u'/');
    QCOMPARE(slashed.status, 200);
    QCOMPARE(slashed.body, plain.body);
    // Other sites still have no context, slash or not.
    const QString otherSite = QString(devicesPath(kind)).replace(u"/default/"_s, u"/other/"_s);
    QCOMPARE(client.get(otherSite + u'/').status, 401);
}

void TestSimRouting::statDeviceOfOneMac_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("mac");
    QTest::addColumn<QString>("storedMac");
    QTest::newRow("unifiOS, lower case") << Kind::UnifiOS << u"78:45:58:a1:10:20"_s << u"78:45:58:a1:10:20"_s;
    QTest::newRow("classic, upper case") << Kind::Classic << u"78:45:58:A1:11:23"_s << u"78:45:58:a1:11:23"_s;
    QTest::newRow("percent-encoded colons")
        << Kind::UnifiOS << u"78%3A45%3A58%3Aa1%3A10%3A20"_s << u"78:45:58:a1:10:20"_s;
    QTest::newRow("unknown MAC") << Kind::UnifiOS << u"00:00:00:00:00:00"_s << QString();
    QTest::newRow("unknown MAC, classic") << Kind::Classic << u"00:00:00:00:00:00"_s << QString();
}

void TestSimRouting::statDeviceOfOneMac()
{
    QFETCH(Kind, kind);
    QFETCH(QString, mac);
    QFETCH(QString, storedMac);
    const auto simulator = startSimulator(kind);
    SimClient client(*simulator);
    const QString path = devicesPath(kind) + u'/' + mac;
    QCOMPARE(client.get(path).status, 401);
    client.loginOk();
    const Answer answer = client.get(path);
    QCOMPARE(answer.status, 200);
    if (storedMac.isEmpty()) {
        // The controller's answer for a MAC it does not know: success, with nothing in it.
        QCOMPARE(answer.body, QByteArray(emptyOk));
        return;
    }
    QVERIFY(answer.body.startsWith(R"({"meta":{"rc":"ok"},"data":[{)"));
    const QJsonArray data = answer.json().object().value(u"data"_s).toArray();
    QCOMPARE(data.size(), 1);
    const auto inList =
        findById(client.get(devicesPath(kind)).json().object().value(u"data"_s).toArray(), u"mac"_s, storedMac);
    if (!inList)
        QFAIL("the device is missing from the whole list");
    QCOMPARE(data.first().toObject(), *inList); // the very object the whole list holds
}

void TestSimRouting::statDeviceOfOneMacFollowsRestartsAndFaults()
{
    const auto simulator = startSimulator();
    ManualClock clock;
    simulator->setClock(clock);
    simulator->setOfflineDuration(10s);
    SimClient client(*simulator);
    client.loginOk();
    const QString mac = u"78:45:58:a1:10:20"_s;
    const QString path = QString::fromLatin1(unifiOsDevices) + u'/' + mac;
    QCOMPARE(client.postWithToken(QString::fromLatin1(unifiOsRestart), restartBody(mac)).status, 200);
    QCOMPARE(client.get(path).json()[u"data"_s][0][u"state"_s].toInt(-1), 0);
    clock.advance(10s);
    QCOMPARE(client.get(path).json()[u"data"_s][0][u"state"_s].toInt(-1), 1);
    // The inventory faults shape the one-device answer as they shape the list.
    simulator->setFault({FaultKind::WrongType, {}, {}});
    QVERIFY(client.get(path).json()[u"data"_s][0][u"state"_s].isString());
    simulator->clearFaults();
    simulator->setFault({FaultKind::MalformedJson, {}, {}});
    QJsonParseError error;
    QJsonDocument::fromJson(client.get(path).body, &error);
    QVERIFY(error.error != QJsonParseError::NoError);
    QJsonDocument::fromJson(client.get(QString::fromLatin1(unifiOsDevices) + u'/').body, &error);
    QVERIFY(error.error != QJsonParseError::NoError);
}

void TestSimRouting::selfSites_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("otherKindsPath");
    QTest::newRow("classic") << Kind::Classic << u"/api/self/sites"_s << u"/proxy/network/api/self/sites"_s;
    QTest::newRow("unifiOS") << Kind::UnifiOS << u"/proxy/network/api/self/sites"_s << u"/api/self/sites"_s;
}

void TestSimRouting::selfSites()
{
    QFETCH(Kind, kind);
    QFETCH(QString, path);
    QFETCH(QString, otherKindsPath);
    const auto simulator = startSimulator(kind);
    SimClient client(*simulator);
    const Answer before = client.get(path);
    QCOMPARE(before.status, 401);
    QCOMPARE(before.body, QByteArray(loginRequired));
    client.loginOk();
    const Answer sites = client.get(path);
    QCOMPARE(sites.status, 200);
    QVERIFY(sites.header(QByteArrayLiteral("Content-Type")).startsWith("application/json"));
    QVERIFY2(sites.body.startsWith(R"({"meta":{"rc":"ok"},"data":[{)"), sites.body.constData());
    const QJsonArray data = sites.json().object().value(u"data"_s).toArray();
    QCOMPARE(data.size(), 1);
    const QJsonObject site = data.first().toObject();
    QCOMPARE(site.value(u"name"_s).toString(), u"default"_s);
    QCOMPARE(site.value(u"desc"_s).toString(), u"Default"_s);
    QCOMPARE(site.value(u"role"_s).toString(), u"admin"_s);
    QCOMPARE(site.value(u"_id"_s).toString().size(), 24);
    QCOMPARE(site.value(u"attr_hidden_id"_s).toString(), u"default"_s);
    QCOMPARE(site.value(u"attr_no_delete"_s).toBool(), true);
    QCOMPARE(client.get(path).body, sites.body); // the same id every time

    QCOMPARE(client.get(otherKindsPath).status, 404);
    QCOMPARE(client.postWithToken(path).status, 404); // a list to read, not a command
}

void TestSimRouting::selfSitesOfAnotherSite()
{
    const auto simulator = startSimulator(Kind::Classic);
    simulator->setSite(u"branch-office"_s);
    SimClient client(*simulator);
    client.loginOk();
    const QJsonObject site =
        client.get(u"/api/self/sites"_s).json().object().value(u"data"_s).toArray().first().toObject();
    QCOMPARE(site.value(u"name"_s).toString(), u"branch-office"_s);
    QCOMPARE(site.value(u"_id"_s).toString(),
             QString::fromLatin1(QCryptographicHash::hash("branch-office", QCryptographicHash::Sha1).toHex().left(24)));
    QVERIFY(!site.contains(u"attr_hidden_id"_s));
}

QTEST_GUILESS_MAIN(TestSimRouting)
#include "tst_simrouting.moc"
