// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "StateFixture.h"

#include "Views/BusyButton.h"
#include "Views/DeviceListModel.h"
#include "Views/DeviceListView.h"
#include "Views/DeviceRow.h"
#include "Views/DeviceRowDelegate.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QListView>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QJsonObject accessPoint(const QString &mac, const QString &name, std::optional<int> state)
{
    QJsonObject device{{u"mac"_s, mac},
                       {u"name"_s, name},
                       {u"model"_s, u"U6LR"_s},
                       {u"type"_s, u"uap"_s},
                       {u"ip"_s, u"192.168.1.20"_s}};
    if (state)
        device.insert(u"state"_s, *state);
    return device;
}

QJsonObject camera(const QString &id, const QString &name, std::optional<QString> state)
{
    QJsonObject device{{u"id"_s, id}, {u"name"_s, name}, {u"type"_s, u"UVC G4 Bullet"_s}};
    if (state)
        device.insert(u"state"_s, *state);
    return device;
}

QByteArray devicesJson(const QJsonArray &devices)
{
    return QJsonDocument(QJsonObject{{u"meta"_s, QJsonObject{{u"rc"_s, u"ok"_s}}}, {u"data"_s, devices}}).toJson();
}

QByteArray camerasJson(const QJsonArray &cameras)
{
    return QJsonDocument(cameras).toJson();
}

} // namespace

/// The Devices tab over a state connected to the simulated controller: its sections and rows,
/// selection by mouse, refreshes, and restarts one device after the other with their pauses.
class TestDeviceListView final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void rowsOfDevices();
    void noDevicesShowsEmptySectionsAndLoadsEachShowing();
    void devicesAtHandAreNotLoadedAgain();
    void listShownAtLoginSharesTheConnectsFetches();
    void dotsFollowTheOnlineRule();
    void clickSelectsTheRowUnderTheMouse();
    void keysMoveOverSectionHeaders();
    void nothingSelectedOffersNoRestart();
    void accessPointsRestartFirstWithAPauseBetween();
    void waitingForEachDeviceIsRememberedAndSaysWhenAllAreBack();
    void failureInTheMiddleDoesNotStopTheRun();
    void vanishedDeviceIsSkipped();
    void nothingLeftRestartsNothing();
    void selectionSurvivesARefresh();
    void refreshButtonWaitsForTheRefresh();
    void listStaysUsableWhileRestarting();
    void closingDuringThePauseSendsNothingMore();
    void textsAndAccessibleNames();
    void tabOrderFollowsTheLayout();

private:
    /// Connects a state to sim, then shows the view over it.
    DeviceListView &makeView(Sim &sim);
    [[nodiscard]] QListView *list() const;
    /// The row of the device with this identifier; invalid when none is listed.
    [[nodiscard]] QModelIndex item(const QString &id) const;
    [[nodiscard]] bool isSelected(const QString &id) const;
    [[nodiscard]] QList<QModelIndex> sectionItems() const;
    [[nodiscard]] QStringList sectionTitles() const;
    [[nodiscard]] QLabel *labelWithText(const QString &text) const;
    [[nodiscard]] QPushButton *refreshButton() const;
    [[nodiscard]] BusyButton *restartButton() const;
    void click(const QString &id, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const;
    void pressRestart() const;
    /// Row identifiers of the restart commands the simulator received, in order.
    [[nodiscard]] static QStringList restartsSent(const Sim &sim);
    [[nodiscard]] static qsizetype deviceFetches(const Sim &sim);
    [[nodiscard]] static QString apId(const UnifiDevice &device) { return DeviceRow::from(device).id; }
    [[nodiscard]] static QString cameraId(const ProtectCamera &device) { return DeviceRow::from(device).id; }

    std::unique_ptr<DeviceListModel> m_devices;
    std::unique_ptr<DeviceListView> m_view;
    /// The cancel latch of every pause the state was asked for.
    QList<std::shared_ptr<Latch>> m_cancels;
};

void TestDeviceListView::init()
{
    StateFixture::init();
    m_cancels.clear();
}

void TestDeviceListView::cleanup()
{
    // The view first: it watches the model, which watches the state.
    m_view.reset();
    m_devices.reset();
    m_cancels.clear();
    StateFixture::cleanup();
}

DeviceListView &TestDeviceListView::makeView(Sim &sim)
{
    AppState::Clock recording = clock();
    const AppState::Clock::Pause recorded = recording.pause;
    recording.pause = [this, recorded](std::chrono::seconds duration, std::shared_ptr<Latch> cancel) {
        m_cancels.append(cancel);
        return recorded(duration, std::move(cancel));
    };
    makeState(recording);
    connectTo(sim);
    if (!state->isLoggedIn())
        qFatal("the state did not log in to the simulator");
    m_devices = std::make_unique<DeviceListModel>(*state);
    m_view = std::make_unique<DeviceListView>(*state, *m_devices);
    m_view->resize(620, 560);
    m_view->show();
    if (!QTest::qWaitForWindowExposed(m_view.get()))
        qFatal("the device list was never shown");
    return *m_view;
}

QListView *TestDeviceListView::list() const
{
    auto *found = m_view->findChild<QListView *>();
    if (!found)
        qFatal("no device list");
    return found;
}

QModelIndex TestDeviceListView::item(const QString &id) const
{
    const QAbstractItemModel *rows = list()->model();
    for (int row = 0; row < rows->rowCount(); ++row) {
        const QModelIndex index = rows->index(row, 0);
        if (index.data(DeviceListModel::idRole).toString() == id)
            return index;
    }
    return {};
}

bool TestDeviceListView::isSelected(const QString &id) const
{
    const QModelIndex index = item(id);
    return index.isValid() && list()->selectionModel()->isSelected(index);
}

QList<QModelIndex> TestDeviceListView::sectionItems() const
{
    QList<QModelIndex> sections;
    const QAbstractItemModel *rows = list()->model();
    for (int row = 0; row < rows->rowCount(); ++row) {
        if (rows->index(row, 0).data(DeviceListModel::sectionRole).toBool())
            sections.append(rows->index(row, 0));
    }
    return sections;
}

QStringList TestDeviceListView::sectionTitles() const
{
    // The titles as the labels over the section rows show them.
    QStringList titles;
    for (const QModelIndex &section : sectionItems()) {
        const auto *label = qobject_cast<QLabel *>(list()->indexWidget(section));
        titles.append(label ? label->text() : u"(no label)"_s);
    }
    return titles;
}

QLabel *TestDeviceListView::labelWithText(const QString &text) const
{
    for (QLabel *label : m_view->findChildren<QLabel *>()) {
        if (label->text() == text)
            return label;
    }
    return nullptr;
}

QPushButton *TestDeviceListView::refreshButton() const
{
    for (QPushButton *button : m_view->findChildren<QPushButton *>()) {
        if (button->text() == u"Refresh")
            return button;
    }
    qFatal("no Refresh button");
}

BusyButton *TestDeviceListView::restartButton() const
{
    auto *button = m_view->findChild<BusyButton *>();
    if (!button)
        qFatal("no restart button");
    return button;
}

void TestDeviceListView::click(const QString &id, Qt::KeyboardModifiers modifiers) const
{
    const QModelIndex row = item(id);
    if (!row.isValid())
        qFatal("no row %s", qPrintable(id));
    list()->scrollTo(row);
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, modifiers, list()->visualRect(row).center());
}

void TestDeviceListView::pressRestart() const
{
    QTest::mouseClick(restartButton(), Qt::LeftButton);
}

QStringList TestDeviceListView::restartsSent(const Sim &sim)
{
    static const QRegularExpression reboot(u"^/proxy/protect/api/cameras/([^/]+)/reboot$"_s);
    QStringList sent;
    for (const QJsonObject &request : requests(sim)) {
        const QString path = request.value(u"path"_s).toString();
        if (path.endsWith(u"/cmd/devmgr"_s)) {
            const QJsonObject body = QJsonDocument::fromJson(request.value(u"body"_s).toString().toUtf8()).object();
            sent.append(u"accessPoint:"_s + body.value(u"mac"_s).toString());
        } else if (const auto match = reboot.match(path); match.hasMatch()) {
            sent.append(u"camera:"_s + match.captured(1));
        }
    }
    return sent;
}

qsizetype TestDeviceListView::deviceFetches(const Sim &sim)
{
    return requestsTo(sim, u"/proxy/network/api/s/default/stat/device"_s).size();
}

void TestDeviceListView::rowsOfDevices()
{
    const UnifiDevice ap{u"78:45:58:a1:10:20"_s, u"Lobby"_s, u"U7PG2"_s, u"uap"_s, 1, u"192.168.1.20"_s};
    const DeviceRow apRow = DeviceRow::from(ap);
    QCOMPARE(apRow.name, u"Lobby"_s);
    QCOMPARE(apRow.subtitle, u"U7PG2 \u00b7 78:45:58:a1:10:20"_s);
    QVERIFY(apRow.online);
    QCOMPARE(apRow.id, u"accessPoint:78:45:58:a1:10:20"_s);
    QVERIFY(!apRow.subtitle.contains(u"192.168"_s));

    const ProtectCamera cam{u"54c2a992a5bb364573692435"_s, u"Front Door"_s, u"UVC G4 Bullet"_s, u"CONNECTED"_s};
    const DeviceRow camRow = DeviceRow::from(cam);
    QCOMPARE(camRow, (DeviceRow{u"Front Door"_s, u"UVC G4 Bullet"_s, true, u"camera:54c2a992a5bb364573692435"_s}));

    // The key of a row and of the restart target made from the same device are one.
    Sim &sim = startSim();
    const DeviceListView &view = makeView(sim);
    const QList<RestartTarget> targets = view.allTargets();
    QCOMPARE(targets.size(), state->accessPoints().size() + state->cameras().size());
    for (qsizetype index = 0; index < state->accessPoints().size(); ++index) {
        const UnifiDevice &device = state->accessPoints().at(index);
        QCOMPARE(targets.at(index), (RestartTarget{RestartTargetKind::accessPoint, device.mac, device.name}));
        QCOMPARE(targets.at(index).id(), apId(device));
    }
    for (qsizetype index = 0; index < state->cameras().size(); ++index) {
        const ProtectCamera &device = state->cameras().at(index);
        const RestartTarget &target = targets.at(state->accessPoints().size() + index);
        QCOMPARE(target, (RestartTarget{RestartTargetKind::camera, device.id, device.name}));
        QCOMPARE(target.id(), cameraId(device));
    }

    // The list: a section of access points, then one of cameras, each in the state's order.
    QStringList shown;
    for (int row = 0; row < list()->model()->rowCount(); ++row) {
        const QModelIndex entry = list()->model()->index(row, 0);
        shown.append(entry.data(DeviceListModel::sectionRole).toBool()
                         ? u"section"_s
                         : entry.data(DeviceListModel::idRole).toString());
    }
    QStringList expected{u"section"_s};
    for (const UnifiDevice &device : state->accessPoints())
        expected.append(apId(device));
    expected.append(u"section"_s);
    for (const ProtectCamera &device : state->cameras())
        expected.append(cameraId(device));
    QCOMPARE(shown, expected);
    const QModelIndex lobby = item(apId(state->accessPoints().first()));
    QCOMPARE(lobby.data(Qt::DisplayRole).toString(), state->accessPoints().first().name);
    QCOMPARE(lobby.data(DeviceListModel::subtitleRole).toString(),
             state->accessPoints().first().model + u" \u00b7 "_s + state->accessPoints().first().mac);
    QCOMPARE(sectionTitles(), (QStringList{u"Access Points ("_s + QString::number(state->accessPoints().size()) + u')',
                                           u"Cameras ("_s + QString::number(state->cameras().size()) + u')'}));
}

void TestDeviceListView::noDevicesShowsEmptySectionsAndLoadsEachShowing()
{
    Sim &sim = startSim();
    QVERIFY(sim.setDevicesJson(devicesJson({})));
    QVERIFY(sim.setCamerasJson(camerasJson({})));
    makeView(sim);
    // connectTo fetched once; the first showing once more.
    QTRY_COMPARE(deviceFetches(sim), 2);
    QCOMPARE(sectionTitles(), (QStringList{u"Access Points (0)"_s, u"Cameras (0)"_s}));
    // Not a Refresh press: the button stays usable meanwhile.
    QVERIFY(!m_view->isRefreshing());
    QVERIFY(refreshButton()->isEnabled());
    QTRY_COMPARE(requestsTo(sim, u"/proxy/protect/api/cameras"_s).size(), 2);
    m_view->hide();
    m_view->show();
    QTRY_COMPARE(deviceFetches(sim), 3);
    QTRY_COMPARE(requestsTo(sim, u"/proxy/protect/api/cameras"_s).size(), 3);
    // Once per showing, not more.
    await(state->refreshDevices());
    await(state->refreshDevices());
    QCOMPARE(deviceFetches(sim), 5);
    QCOMPARE(sectionTitles(), (QStringList{u"Access Points (0)"_s, u"Cameras (0)"_s}));
}

void TestDeviceListView::devicesAtHandAreNotLoadedAgain()
{
    Sim &sim = startSim();
    makeView(sim);
    m_view->hide();
    m_view->show();
    // Two refreshes of the test's own, one after the other: a refresh the showing had started
    // would have reached the simulator before them.
    await(state->refreshDevices());
    await(state->refreshDevices());
    QCOMPARE(deviceFetches(sim), 3);
}

void TestDeviceListView::listShownAtLoginSharesTheConnectsFetches()
{
    // The main window shows the list the moment the login succeeds, with no devices yet; the
    // connect's own refresh follows. One pair of fetches serves both.
    Sim &sim = startSim();
    makeState();
    QObject::connect(state.get(), &AppState::isLoggedInChanged, state.get(), [this] {
        if (state->isLoggedIn() && !m_view) {
            m_devices = std::make_unique<DeviceListModel>(*state);
            m_view = std::make_unique<DeviceListView>(*state, *m_devices);
            m_view->show();
        }
    });
    connectTo(sim);
    QVERIFY(m_view);
    QVERIFY(!state->accessPoints().isEmpty());
    QCOMPARE(deviceFetches(sim), 1);
    QCOMPARE(requestsTo(sim, u"/proxy/protect/api/cameras"_s).size(), 1);
    QCOMPARE(sectionTitles(), (QStringList{u"Access Points ("_s + QString::number(state->accessPoints().size()) + u')',
                                           u"Cameras ("_s + QString::number(state->cameras().size()) + u')'}));
    QVERIFY(state->activityLog().first().endsWith(u"Connected to "_s + configFor(sim).host));
}

void TestDeviceListView::dotsFollowTheOnlineRule()
{
    Sim &sim = startSim();
    QVERIFY(sim.setDevicesJson(devicesJson({
        accessPoint(u"aa:00:00:00:00:01"_s, u"Online AP"_s, 1),
        accessPoint(u"aa:00:00:00:00:02"_s, u"State Two"_s, 2),
        accessPoint(u"aa:00:00:00:00:03"_s, u"No State"_s, std::nullopt),
        accessPoint(u"aa:00:00:00:00:04"_s, u"State Zero"_s, 0),
    })));
    QVERIFY(sim.setCamerasJson(camerasJson({
        camera(u"cam1"_s, u"Connected Cam"_s, u"CONNECTED"_s),
        camera(u"cam2"_s, u"Lower Case"_s, u"connected"_s),
        camera(u"cam3"_s, u"No State Cam"_s, std::nullopt),
        camera(u"cam4"_s, u"Disconnected"_s, u"DISCONNECTED"_s),
    })));
    makeView(sim);
    const QList<QPair<QString, bool>> expected{
        {u"accessPoint:aa:00:00:00:00:01"_s, true},
        {u"accessPoint:aa:00:00:00:00:02"_s, false},
        {u"accessPoint:aa:00:00:00:00:03"_s, false},
        {u"accessPoint:aa:00:00:00:00:04"_s, false},
        {u"camera:cam1"_s, true},
        {u"camera:cam2"_s, false},
        {u"camera:cam3"_s, false},
        {u"camera:cam4"_s, false},
    };
    const QRgb green = DeviceRowDelegate::onlineColour().rgb();
    const QRgb grey = DeviceRowDelegate::offlineColour().rgb();
    for (const auto &[id, online] : expected) {
        const QModelIndex row = item(id);
        QVERIFY2(row.isValid(), qPrintable(id));
        QCOMPARE(row.data(DeviceListModel::onlineRole).toBool(), online);
        // The dot as drawn: pixels of exactly one of the two colours.
        list()->scrollTo(row);
        const QImage drawn = list()->viewport()->grab(list()->visualRect(row)).toImage();
        int greenPixels = 0;
        int greyPixels = 0;
        for (int y = 0; y < drawn.height(); ++y) {
            for (int x = 0; x < drawn.width(); ++x) {
                const QRgb pixel = drawn.pixel(x, y) & 0xffffff;
                greenPixels += pixel == (green & 0xffffff) ? 1 : 0;
                greyPixels += pixel == (grey & 0xffffff) ? 1 : 0;
            }
        }
        QVERIFY2((online ? greenPixels : greyPixels) >= 16, qPrintable(id));
        QCOMPARE(online ? greyPixels : greenPixels, 0);
    }
}

void TestDeviceListView::clickSelectsTheRowUnderTheMouse()
{
    Sim &sim = startSim();
    const DeviceListView &view = makeView(sim);
    const QStringList ids{apId(state->accessPoints().first()), apId(state->accessPoints().last()),
                          cameraId(state->cameras().first()), cameraId(state->cameras().last()),
                          apId(state->accessPoints().at(1))};
    for (const QString &id : ids) {
        click(id);
        QCOMPARE(view.selected(), QSet<QString>{id});
        QCOMPARE(list()->selectionModel()->selectedIndexes(), QList<QModelIndex>{item(id)});
    }
    // Control adds to the selection, and takes away.
    click(ids.at(2), Qt::ControlModifier);
    QCOMPARE(view.selected(), (QSet<QString>{ids.at(4), ids.at(2)}));
    QVERIFY(labelWithText(u"2 selected"_s));
    click(ids.at(4), Qt::ControlModifier);
    QCOMPARE(view.selected(), QSet<QString>{ids.at(2)});
    QVERIFY(labelWithText(u"1 selected"_s));
    // A section header holds no device and cannot be selected.
    for (const QModelIndex &section : sectionItems())
        QVERIFY(!section.flags().testFlag(Qt::ItemIsSelectable));
}

void TestDeviceListView::keysMoveOverSectionHeaders()
{
    Sim &sim = startSim();
    const DeviceListView &view = makeView(sim);
    const QString lastAccessPoint = apId(state->accessPoints().last());
    const QString firstCamera = cameraId(state->cameras().first());
    click(lastAccessPoint);
    QTest::keyClick(list(), Qt::Key_Down);
    QCOMPARE(view.selected(), QSet<QString>{firstCamera});
    QTest::keyClick(list(), Qt::Key_Up);
    QCOMPARE(view.selected(), QSet<QString>{lastAccessPoint});
    QTest::keyClick(list(), Qt::Key_Down, Qt::ShiftModifier);
    QCOMPARE(view.selected(), (QSet<QString>{lastAccessPoint, firstCamera}));
    // A header stands first: Home goes to the first device, End to the last.
    QTest::keyClick(list(), Qt::Key_Home);
    QCOMPARE(view.selected(), QSet<QString>{apId(state->accessPoints().first())});
    QTest::keyClick(list(), Qt::Key_End);
    QCOMPARE(view.selected(), QSet<QString>{cameraId(state->cameras().last())});
    QTest::keyClick(list(), Qt::Key_PageUp);
    QTest::keyClick(list(), Qt::Key_PageUp);
    QTest::keyClick(list(), Qt::Key_PageUp);
    QCOMPARE(view.selected(), QSet<QString>{apId(state->accessPoints().first())});
}

void TestDeviceListView::nothingSelectedOffersNoRestart()
{
    Sim &sim = startSim();
    const DeviceListView &view = makeView(sim);
    QVERIFY(view.selected().isEmpty());
    QVERIFY(labelWithText(u"0 selected"_s));
    QVERIFY(!restartButton()->isEnabled());
    const QString id = cameraId(state->cameras().first());
    click(id);
    QVERIFY(labelWithText(u"1 selected"_s));
    QVERIFY(restartButton()->isEnabled());
    click(id, Qt::ControlModifier);
    QVERIFY(labelWithText(u"0 selected"_s));
    QVERIFY(!restartButton()->isEnabled());
    pressRestart();
    QVERIFY(!view.isRestarting());
    QVERIFY(!view.restartResultMessage());
}

void TestDeviceListView::accessPointsRestartFirstWithAPauseBetween()
{
    Sim &sim = startSim();
    const DeviceListView &view = makeView(sim);
    const QString cam = cameraId(state->cameras().at(1));
    const QString ap = apId(state->accessPoints().at(2));
    // The camera first, as clicked; the access point still goes first.
    click(cam);
    click(ap, Qt::ControlModifier);
    pressRestart();
    QVERIFY(view.isRestarting());
    QVERIFY(restartButton()->isBusy());
    QVERIFY(!restartButton()->isEnabled());
    QVERIFY(restartButton()->indicator()->isVisible());
    QTRY_VERIFY(!view.isRestarting());
    QCOMPARE(restartsSent(sim), (QStringList{ap, cam}));
    QCOMPARE(pauses, QList<std::chrono::seconds>{15s});
    QCOMPARE(view.restartResultMessage(), std::optional<QString>(u"Restarted 2 device(s)."_s));
    QLabel *outcome = labelWithText(u"Restarted 2 device(s)."_s);
    QVERIFY(outcome);
    QVERIFY(outcome->isVisible());
    QVERIFY(!restartButton()->isBusy());
    QCOMPARE(restartButton()->text(), u"Restart Selected"_s);
    // The selection is left as it was.
    QCOMPARE(view.selected(), (QSet<QString>{ap, cam}));
    QVERIFY(isSelected(ap) && isSelected(cam));
    QVERIFY(restartButton()->isEnabled());
}

void TestDeviceListView::waitingForEachDeviceIsRememberedAndSaysWhenAllAreBack()
{
    Sim &sim = startSim();
    sim::ManualClock simClock;
    sim.setClock(simClock);
    onPause = [simClock](std::chrono::seconds duration) mutable { simClock.advance(duration); };
    DeviceListView &view = makeView(sim);
    QVERIFY(!view.waitToggle()->isChecked());
    view.waitToggle()->setChecked(true);
    QVERIFY(state->devicesTabWaits());
    const UnifiDevice device = state->accessPoints().at(2);
    QVERIFY(sim.setRebootTiming(device.mac, Sim::RebootTiming{30s, 10s, true}));
    click(apId(device));
    pressRestart();
    QVERIFY(!view.waitToggle()->isEnabled());
    QTRY_VERIFY(!view.isRestarting());
    QCOMPARE(view.restartResultMessage(), std::optional<QString>(u"Restarted 1 device(s); all back online in 30 s."_s));
    QCOMPARE(pauses, (QList<std::chrono::seconds>{5s, 5s, 5s, 5s, 5s, 5s}));
    QVERIFY(view.waitToggle()->isEnabled());
    // Remembered: the next view starts with it on.
    m_view.reset();
    m_devices.reset();
    QVERIFY(makeView(sim).waitToggle()->isChecked());
}

void TestDeviceListView::failureInTheMiddleDoesNotStopTheRun()
{
    Sim &sim = startSim();
    const DeviceListView &view = makeView(sim);
    const QString ap = apId(state->accessPoints().first());
    const ProtectCamera broken = state->cameras().at(0);
    const QString third = cameraId(state->cameras().at(3));
    sim.setFault({Sim::FaultKind::ServerError, u"/proxy/protect/api/cameras/"_s + broken.id + u"/reboot"_s});
    click(third);
    click(cameraId(broken), Qt::ControlModifier);
    click(ap, Qt::ControlModifier);
    pressRestart();
    QTRY_VERIFY(!view.isRestarting());
    QCOMPARE(restartsSent(sim), (QStringList{ap, cameraId(broken), third}));
    QCOMPARE(pauses, (QList<std::chrono::seconds>{15s, 15s}));
    QCOMPARE(view.restartResultMessage(), std::optional<QString>(u"2 ok, 1 failed."_s));
    QVERIFY(labelWithText(u"2 ok, 1 failed."_s));
    QVERIFY(logHasLineEndingWith(u"Restarted "_s + state->cameras().at(3).name));
}

void TestDeviceListView::vanishedDeviceIsSkipped()
{
    Sim &sim = startSim();
    const QJsonArray both{accessPoint(u"aa:00:00:00:00:01"_s, u"Stays"_s, 1),
                          accessPoint(u"aa:00:00:00:00:02"_s, u"Goes"_s, 1)};
    QVERIFY(sim.setDevicesJson(devicesJson(both)));
    QVERIFY(sim.setCamerasJson(camerasJson({camera(u"cam1"_s, u"Cam"_s, u"CONNECTED"_s)})));
    const DeviceListView &view = makeView(sim);
    click(u"accessPoint:aa:00:00:00:00:02"_s);
    click(u"accessPoint:aa:00:00:00:00:01"_s, Qt::ControlModifier);
    QVERIFY(sim.setDevicesJson(devicesJson({both.at(0)})));
    QTest::mouseClick(refreshButton(), Qt::LeftButton);
    QTRY_VERIFY(!item(u"accessPoint:aa:00:00:00:00:02"_s).isValid());
    QTRY_VERIFY(!view.isRefreshing());
    // Still counted: the selection is the person's until they change it.
    QVERIFY(labelWithText(u"2 selected"_s));
    QVERIFY(isSelected(u"accessPoint:aa:00:00:00:00:01"_s));
    pressRestart();
    QTRY_VERIFY(!view.isRestarting());
    QCOMPARE(restartsSent(sim), QStringList{u"accessPoint:aa:00:00:00:00:01"_s});
    QVERIFY(pauses.isEmpty());
    QCOMPARE(view.restartResultMessage(), std::optional<QString>(u"Restarted 1 device(s)."_s));
    // The device comes back, selected.
    QVERIFY(sim.setDevicesJson(devicesJson(both)));
    QTest::mouseClick(refreshButton(), Qt::LeftButton);
    QTRY_VERIFY(item(u"accessPoint:aa:00:00:00:00:02"_s).isValid());
    QVERIFY(isSelected(u"accessPoint:aa:00:00:00:00:02"_s));
}

void TestDeviceListView::nothingLeftRestartsNothing()
{
    Sim &sim = startSim();
    QVERIFY(sim.setDevicesJson(devicesJson(
        {accessPoint(u"aa:00:00:00:00:01"_s, u"Stays"_s, 1), accessPoint(u"aa:00:00:00:00:02"_s, u"Goes"_s, 1)})));
    const DeviceListView &view = makeView(sim);
    click(u"accessPoint:aa:00:00:00:00:02"_s);
    QVERIFY(sim.setDevicesJson(devicesJson({accessPoint(u"aa:00:00:00:00:01"_s, u"Stays"_s, 1)})));
    await(state->refreshDevices());
    QVERIFY(!item(u"accessPoint:aa:00:00:00:00:02"_s).isValid());
    QVERIFY(labelWithText(u"1 selected"_s));
    QVERIFY(restartButton()->isEnabled());
    pressRestart();
    QTRY_VERIFY(!view.isRestarting());
    QCOMPARE(view.restartResultMessage(), std::optional<QString>(u"Restarted 0 device(s)."_s));
    QVERIFY(labelWithText(u"Restarted 0 device(s)."_s));
    QVERIFY(restartsSent(sim).isEmpty());
    QVERIFY(pauses.isEmpty());
}

void TestDeviceListView::selectionSurvivesARefresh()
{
    Sim &sim = startSim();
    QJsonArray devices{accessPoint(u"aa:00:00:00:00:01"_s, u"First"_s, 1),
                       accessPoint(u"aa:00:00:00:00:02"_s, u"Second"_s, 1),
                       accessPoint(u"aa:00:00:00:00:03"_s, u"Third"_s, 1)};
    QVERIFY(sim.setDevicesJson(devicesJson(devices)));
    const DeviceListView &view = makeView(sim);
    click(u"accessPoint:aa:00:00:00:00:01"_s);
    click(u"camera:"_s + state->cameras().first().id, Qt::ControlModifier);
    const QSet<QString> chosen = view.selected();
    QCOMPARE(chosen.size(), 2);
    // The controller now lists the devices in another order: the selection follows the devices.
    QVERIFY(sim.setDevicesJson(devicesJson({devices.at(2), devices.at(0), devices.at(1)})));
    QTest::mouseClick(refreshButton(), Qt::LeftButton);
    QTRY_COMPARE(state->accessPoints().first().name, u"Third"_s);
    QTRY_VERIFY(!view.isRefreshing());
    QCOMPARE(view.selected(), chosen);
    QStringList selectedIds;
    for (const QModelIndex &selected : list()->selectionModel()->selectedIndexes())
        selectedIds.append(selected.data(DeviceListModel::idRole).toString());
    selectedIds.sort();
    QStringList expected = chosen.values();
    expected.sort();
    QCOMPARE(selectedIds, expected);
    QVERIFY(labelWithText(u"2 selected"_s));
}

void TestDeviceListView::refreshButtonWaitsForTheRefresh()
{
    Sim &sim = startSim();
    const DeviceListView &view = makeView(sim);
    const qsizetype fetched = deviceFetches(sim);
    QVERIFY(refreshButton()->isEnabled());
    QTest::mouseClick(refreshButton(), Qt::LeftButton);
    QVERIFY(view.isRefreshing());
    QVERIFY(!refreshButton()->isEnabled());
    // A second press while it runs does nothing.
    QTest::mouseClick(refreshButton(), Qt::LeftButton);
    QTRY_VERIFY(!view.isRefreshing());
    QVERIFY(refreshButton()->isEnabled());
    QCOMPARE(deviceFetches(sim), fetched + 1);
}

void TestDeviceListView::listStaysUsableWhileRestarting()
{
    Sim &sim = startSim();
    holdPauses = true;
    const DeviceListView &view = makeView(sim);
    const QString first = apId(state->accessPoints().at(0));
    const QString second = apId(state->accessPoints().at(1));
    const QString later = cameraId(state->cameras().at(0));
    click(first);
    click(second, Qt::ControlModifier);
    pressRestart();
    QTRY_COMPARE(pauses.size(), 1);
    QCOMPARE(restartsSent(sim), QStringList{first});
    QVERIFY(!restartButton()->isEnabled());
    // Selecting and refreshing still work; the run keeps the devices it started with.
    click(later);
    QCOMPARE(view.selected(), QSet<QString>{later});
    QVERIFY(restartButton()->isBusy());
    QVERIFY(!restartButton()->isEnabled());
    QVERIFY(refreshButton()->isEnabled());
    QTest::mouseClick(refreshButton(), Qt::LeftButton);
    QVERIFY(view.isRefreshing());
    QTRY_VERIFY(!view.isRefreshing());
    pauseRelease->set();
    QTRY_VERIFY(!view.isRestarting());
    QCOMPARE(restartsSent(sim), (QStringList{first, second}));
    QCOMPARE(view.restartResultMessage(), std::optional<QString>(u"Restarted 2 device(s)."_s));
    QLabel *outcome = labelWithText(u"Restarted 2 device(s)."_s);
    QVERIFY(outcome && outcome->isVisible());
    // The next run starts without the last outcome.
    holdPauses = true;
    pauseRelease = std::make_shared<Latch>();
    click(second, Qt::ControlModifier);
    pressRestart();
    QVERIFY(!view.restartResultMessage());
    QVERIFY(!outcome->isVisible());
    QTRY_COMPARE(pauses.size(), 2);
    pauseRelease->set();
    QTRY_VERIFY(!view.isRestarting());
    QCOMPARE(restartsSent(sim), (QStringList{first, second, second, later}));
}

void TestDeviceListView::closingDuringThePauseSendsNothingMore()
{
    Sim &sim = startSim();
    holdPauses = true;
    makeView(sim);
    const QString first = apId(state->accessPoints().at(0));
    click(first);
    click(apId(state->accessPoints().at(1)), Qt::ControlModifier);
    click(cameraId(state->cameras().at(0)), Qt::ControlModifier);
    pressRestart();
    QTRY_COMPARE(pauses.size(), 1);
    QCOMPARE(restartsSent(sim), QStringList{first});
    const std::shared_ptr<Latch> cancel = m_cancels.value(0);
    QVERIFY(cancel);
    QVERIFY(!cancel->isSet());
    // The tabs are swapped away (a disconnect) or the window goes: the view is destroyed mid-run.
    m_view.reset();
    QVERIFY(cancel->isSet());
    // Every part of the run lets go of the pause once it has ended.
    m_cancels.clear();
    QTRY_COMPARE(cancel.use_count(), 1);
    pauseRelease->set();
    await(state->refreshDevices());
    QCOMPARE(restartsSent(sim), QStringList{first});
    QCOMPARE(pauses.size(), 1);
}

void TestDeviceListView::textsAndAccessibleNames()
{
    Sim &sim = startSim();
    makeView(sim);
    const auto nameOf = [](QObject *object) {
        QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(object);
        return accessible ? accessible->text(QAccessible::Name) : QString();
    };
    QVERIFY(labelWithText(u"Devices"_s));
    QCOMPARE(nameOf(refreshButton()), u"Refresh"_s);
    QVERIFY(!refreshButton()->icon().isNull());
    QCOMPARE(nameOf(restartButton()), u"Restart Selected"_s);
    QVERIFY(!restartButton()->icon().isNull());
    QCOMPARE(nameOf(labelWithText(u"0 selected"_s)), u"0 selected"_s);
    // Section headers are labels, read as text.
    for (const QModelIndex &section : sectionItems()) {
        auto *label = qobject_cast<QLabel *>(list()->indexWidget(section));
        QVERIFY(label);
        QCOMPARE(nameOf(label), section.data(Qt::DisplayRole).toString());
    }
    // A device row is named by its name and described by its second line.
    QAccessibleInterface *accessibleList = QAccessible::queryAccessibleInterface(list());
    QVERIFY(accessibleList);
    const UnifiDevice &lobby = state->accessPoints().first();
    bool found = false;
    for (int child = 0; child < accessibleList->childCount(); ++child) {
        QAccessibleInterface *row = accessibleList->child(child);
        if (row && row->text(QAccessible::Name) == lobby.name) {
            QCOMPARE(row->text(QAccessible::Description), DeviceRow::from(lobby).subtitle);
            found = true;
        }
    }
    QVERIFY(found);
    // The busy bar stands in for the label only for the eye.
    restartButton()->setBusy(true);
    QCOMPARE(nameOf(restartButton()), u"Restart Selected"_s);
    restartButton()->setBusy(false);
}

void TestDeviceListView::tabOrderFollowsTheLayout()
{
    Sim &sim = startSim();
    makeView(sim);
    click(apId(state->accessPoints().first()));
    QApplication::setActiveWindow(m_view.get());
    QVERIFY(QTest::qWaitForWindowActive(m_view.get()));
    refreshButton()->setFocus(Qt::TabFocusReason);
    QTest::keyClick(refreshButton(), Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), list());
    QTest::keyClick(list(), Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), restartButton());
}

QTEST_MAIN(TestDeviceListView)
#include "tst_devicelistview.moc"
