// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The device rows shared by the Devices tab and the schedule editor, over a state connected to the
// simulated controller: checked by Qt's QAbstractItemModelTester through every change of the
// state's lists, and row by row against the devices they show.
#include "StateFixture.h"

#include "Views/DeviceListModel.h"
#include "Views/DeviceRow.h"

#include <QAbstractItemModelTester>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

namespace {

QByteArray devicesJson(int count, int firstNumber = 0)
{
    QJsonArray devices;
    for (int i = firstNumber; i < firstNumber + count; ++i) {
        const QString mac = u"aa:00:00:00:%1:%2"_s.arg(i / 256, 2, 16, QChar(u'0')).arg(i % 256, 2, 16, QChar(u'0'));
        QJsonObject device;
        device.insert(u"mac"_s, mac);
        device.insert(u"name"_s, u"AP %1"_s.arg(i));
        device.insert(u"model"_s, u"U6LR"_s);
        device.insert(u"type"_s, u"uap"_s);
        device.insert(u"state"_s, i % 3 == 0 ? 0 : 1);
        devices.append(device);
    }
    return QJsonDocument(QJsonObject{{u"meta"_s, QJsonObject{{u"rc"_s, u"ok"_s}}}, {u"data"_s, devices}}).toJson();
}

QByteArray camerasJson(int count)
{
    QJsonArray cameras;
    for (int i = 0; i < count; ++i)
        cameras.append(QJsonObject{{u"id"_s, u"cam%1"_s.arg(i)},
                                   {u"name"_s, u"Camera %1"_s.arg(i)},
                                   {u"type"_s, u"UVC G4 Bullet"_s},
                                   {u"state"_s, u"CONNECTED"_s}});
    return QJsonDocument(cameras).toJson();
}

} // namespace

class TestDeviceListModel final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { StateFixture::init(); }
    void cleanup() { StateFixture::cleanup(); }

    void passesTheModelTesterThroughEveryChange();
    void rowsAreTheStatesDevicesUnderTwoHeaders();
    void headersAreNeitherSelectableNorDevices();
    void rowsOfIdentifiers();
    void allTargetsAreAccessPointsThenCameras();
};

void TestDeviceListModel::passesTheModelTesterThroughEveryChange()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    DeviceListModel model(state);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QCOMPARE(model.rowCount(), 2); // both headers, always

    connectTo(sim);
    QCOMPARE(model.rowCount(), 2 + state.accessPoints().size() + state.cameras().size());
    // Fewer, more, none, and a site of thousands.
    for (const auto &[accessPoints, cameras] : QList<std::pair<int, int>>{{3, 1}, {40, 7}, {0, 0}, {5000, 250}}) {
        QVERIFY(sim.setDevicesJson(devicesJson(accessPoints)));
        QVERIFY(sim.setCamerasJson(camerasJson(cameras)));
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        await(state.refreshDevices());
        QCOMPARE(resets.size(), 2); // the access points, then the cameras
        QCOMPARE(model.rowCount(), 2 + accessPoints + cameras);
        if (QTest::currentTestFailed())
            return;
    }
    await(state.disconnect());
    QCOMPARE(model.rowCount(), 2);
}

void TestDeviceListModel::rowsAreTheStatesDevicesUnderTwoHeaders()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const DeviceListModel model(state);
    const qsizetype accessPoints = state.accessPoints().size();
    QCOMPARE(model.index(0).data().toString(), u"Access Points ("_s + QString::number(accessPoints) + u')');
    QCOMPARE(model.camerasHeaderRow(), 1 + accessPoints);
    QCOMPARE(model.index(model.camerasHeaderRow()).data().toString(),
             u"Cameras ("_s + QString::number(state.cameras().size()) + u')');
    for (qsizetype index = 0; index < accessPoints; ++index) {
        const DeviceRow expected = DeviceRow::from(state.accessPoints().at(index));
        const QModelIndex row = model.index(static_cast<int>(1 + index));
        QCOMPARE(row.data(Qt::DisplayRole).toString(), expected.name);
        QCOMPARE(row.data(DeviceListModel::subtitleRole).toString(), expected.subtitle);
        QCOMPARE(row.data(Qt::AccessibleDescriptionRole).toString(), expected.subtitle);
        QCOMPARE(row.data(DeviceListModel::onlineRole).toBool(), expected.online);
        QCOMPARE(row.data(DeviceListModel::idRole).toString(), expected.id);
    }
    for (qsizetype index = 0; index < state.cameras().size(); ++index) {
        const DeviceRow expected = DeviceRow::from(state.cameras().at(index));
        const QModelIndex row = model.index(model.camerasHeaderRow() + 1 + static_cast<int>(index));
        QCOMPARE(row.data(Qt::DisplayRole).toString(), expected.name);
        QCOMPARE(row.data(DeviceListModel::idRole).toString(), expected.id);
    }
}

void TestDeviceListModel::headersAreNeitherSelectableNorDevices()
{
    AppState &state = makeState();
    const DeviceListModel model(state);
    for (const int row : {model.accessPointsHeaderRow(), model.camerasHeaderRow()}) {
        const QModelIndex header = model.index(row);
        QVERIFY(header.data(DeviceListModel::sectionRole).toBool());
        QCOMPARE(header.flags(), Qt::NoItemFlags);
        QVERIFY(header.data(DeviceListModel::idRole).toString().isEmpty());
    }
    QCOMPARE(model.index(0).data().toString(), u"Access Points (0)"_s);
    QCOMPARE(model.index(1).data().toString(), u"Cameras (0)"_s);
}

void TestDeviceListModel::rowsOfIdentifiers()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const DeviceListModel model(state);
    for (int row = 0; row < model.rowCount(); ++row) {
        const QString id = model.index(row).data(DeviceListModel::idRole).toString();
        if (!id.isEmpty())
            QCOMPARE(model.rowOf(id), std::optional<int>(row));
    }
    QCOMPARE(model.rowOf(u"accessPoint:no:such:device"_s), std::nullopt);
    QCOMPARE(model.rowOf(QString()), std::nullopt);
}

void TestDeviceListModel::allTargetsAreAccessPointsThenCameras()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    const DeviceListModel model(state);
    const QList<RestartTarget> targets = model.allTargets();
    QCOMPARE(targets.size(), state.accessPoints().size() + state.cameras().size());
    for (qsizetype index = 0; index < state.accessPoints().size(); ++index) {
        const UnifiDevice &device = state.accessPoints().at(index);
        QCOMPARE(targets.at(index), (RestartTarget{RestartTargetKind::accessPoint, device.mac, device.name}));
    }
    for (qsizetype index = 0; index < state.cameras().size(); ++index) {
        const ProtectCamera &camera = state.cameras().at(index);
        QCOMPARE(targets.at(state.accessPoints().size() + index),
                 (RestartTarget{RestartTargetKind::camera, camera.id, camera.name}));
    }
}

QTEST_GUILESS_MAIN(TestDeviceListModel)
#include "tst_devicelistmodel.moc"
