// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// One device's record as the controller answers it, and how the readings after a restart tell
// that the device rebooted and is back.

#include "Models/DeviceReading.h"

#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class TestDeviceReading : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void accessPointRecord();
    void accessPointAnswerOfAnotherShape_data();
    void accessPointAnswerOfAnotherShape();
    void cameraRecord();
    void quickRebootNeverSeenOffline();
    void accessPointStillOnItsOldBoot();
    void offlineThenConnectedIsBack();
    void staleRecordAfterTheBootIsNotBack();
    void cameraJitterIsNoReboot();
    void withoutAReadingBefore();
};

void TestDeviceReading::accessPointRecord()
{
    const auto reading = decodeAccessPointReading(
        R"({"meta":{"rc":"ok"},"data":[{"mac":"F0:9F:C2:00:00:01","state":1,"uptime":120,"last_seen":1700000000}]})",
        u"f0:9f:c2:00:00:01"_s);
    QVERIFY(reading.ok());
    QVERIFY(reading.value().connected);
    QCOMPARE(reading.value().uptimeSeconds, std::optional<qint64>(120));
    QCOMPARE(reading.value().lastSeenMs, std::optional<qint64>(1'700'000'000'000));
    const auto provisioning = decodeAccessPointReading(
        R"({"meta":{"rc":"ok"},"data":[{"mac":"f0:9f:c2:00:00:01","state":5,"uptime":null}]})", u"f0:9f:c2:00:00:01"_s);
    QVERIFY(provisioning.ok());
    QVERIFY(!provisioning.value().connected);
    QVERIFY(!provisioning.value().uptimeSeconds);
}

void TestDeviceReading::accessPointAnswerOfAnotherShape_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("empty list") << QByteArray(R"({"meta":{"rc":"ok"},"data":[]})");
    QTest::newRow("every device") << QByteArray(
        R"({"meta":{"rc":"ok"},"data":[{"mac":"f0:9f:c2:00:00:01","state":1},{"mac":"f0:9f:c2:00:00:02","state":1}]})");
    QTest::newRow("another device") << QByteArray(
        R"({"meta":{"rc":"ok"},"data":[{"mac":"f0:9f:c2:00:00:02","state":1}]})");
    QTest::newRow("error envelope") << QByteArray(R"({"meta":{"rc":"error","msg":"api.err.NoSiteContext"},"data":[]})");
    QTest::newRow("uptime as text") << QByteArray(
        R"({"meta":{"rc":"ok"},"data":[{"mac":"f0:9f:c2:00:00:01","state":1,"uptime":"12"}]})");
    QTest::newRow("not JSON") << QByteArray("<html>");
}

void TestDeviceReading::accessPointAnswerOfAnotherShape()
{
    QFETCH(QByteArray, body);
    QVERIFY(!decodeAccessPointReading(body, u"f0:9f:c2:00:00:01"_s).ok());
}

void TestDeviceReading::cameraRecord()
{
    const auto reading = decodeCameraReading(
        R"({"id":"cam1","state":"CONNECTED","isConnected":true,"upSince":1700000000000,"connectedSince":1700000001500,"lastSeen":1700000100000})",
        u"cam1"_s);
    QVERIFY(reading.ok());
    QVERIFY(reading.value().connected);
    QCOMPARE(reading.value().upSinceMs, std::optional<qint64>(1'700'000'000'000));
    QCOMPARE(reading.value().connectedSinceMs, std::optional<qint64>(1'700'000'001'500));
    // Connected needs both the state and the flag.
    QVERIFY(
        !decodeCameraReading(R"({"id":"cam1","state":"CONNECTED","isConnected":false})", u"cam1"_s).value().connected);
    QVERIFY(!decodeCameraReading(R"({"id":"cam2","state":"CONNECTED","isConnected":true})", u"cam1"_s).ok());
    QVERIFY(!decodeCameraReading(R"([])", u"cam1"_s).ok());
}

void TestDeviceReading::quickRebootNeverSeenOffline()
{
    // The controller never showed it offline: the old record, then the new boot.
    const DeviceReading before{true, 86'400, 1'000'000'000, {}, {}};
    RebootWatch watch(before);
    QVERIFY(!watch.isBack(before, 5s));
    QVERIFY(!watch.isBack(before, 10s));
    QVERIFY(watch.isBack(DeviceReading{true, 3, 1'000'015'000, {}, {}}, 15s));
}

void TestDeviceReading::accessPointStillOnItsOldBoot()
{
    const DeviceReading before{true, 600, 1'000'000'000, {}, {}};
    RebootWatch watch(before);
    // Its uptime went on: it has not rebooted yet, however fresh the report.
    QVERIFY(!watch.isBack(DeviceReading{true, 640, 1'000'040'000, {}, {}}, 40s));
}

void TestDeviceReading::offlineThenConnectedIsBack()
{
    const DeviceReading before{true, 600, 1'000'000'000, {}, {}};
    RebootWatch watch(before);
    QVERIFY(!watch.isBack(DeviceReading{false, 600, 1'000'000'000, {}, {}}, 30s));
    // Provisioning is not connected yet.
    QVERIFY(!watch.isBack(DeviceReading{false, std::nullopt, 1'000'000'000, {}, {}}, 90s));
    QVERIFY(watch.isBack(DeviceReading{true, 2, 1'000'120'000, {}, {}}, 120s));
}

void TestDeviceReading::staleRecordAfterTheBootIsNotBack()
{
    // Booted recently before the command: a short uptime alone is no proof; the record must be
    // newer than the one before the command.
    const DeviceReading before{true, 10, 1'000'000'000, {}, {}};
    RebootWatch watch(before);
    QVERIFY(!watch.isBack(before, 20s));
    QVERIFY(watch.isBack(DeviceReading{true, 4, 1'000'030'000, {}, {}}, 30s));
}

void TestDeviceReading::cameraJitterIsNoReboot()
{
    const DeviceReading before{true, {}, 1'000'000'000, 900'000'000, 900'001'000};
    RebootWatch watch(before);
    QVERIFY(!watch.isBack(DeviceReading{true, {}, 1'000'010'000, 900'000'004, 900'001'000}, 10s));
    QVERIFY(!watch.isBack(DeviceReading{true, {}, 1'000'020'000, 900'004'999, 900'001'000}, 20s));
    QVERIFY(watch.isBack(DeviceReading{true, {}, 1'000'045'000, 1'000'030'000, 1'000'031'500}, 45s));
}

void TestDeviceReading::withoutAReadingBefore()
{
    RebootWatch accessPoint(std::nullopt);
    QVERIFY(!accessPoint.isBack(DeviceReading{true, 86'400, 1'000'000'000, {}, {}}, 10s));
    QVERIFY(accessPoint.isBack(DeviceReading{true, 5, 1'000'060'000, {}, {}}, 60s));
    RebootWatch camera(std::nullopt);
    QVERIFY(!camera.isBack(DeviceReading{true, {}, 1'000'000'000, 900'000'000, 900'001'000}, 10s));
    QVERIFY(!camera.isBack(DeviceReading{false, {}, 1'000'000'000, 900'000'000, 900'001'000}, 15s));
    QVERIFY(camera.isBack(DeviceReading{true, {}, 1'000'040'000, 1'000'030'000, 1'000'031'500}, 40s));
}

QTEST_GUILESS_MAIN(TestDeviceReading)
#include "tst_devicereading.moc"
