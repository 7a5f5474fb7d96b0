// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "StateFixture.h"

#include <QSignalSpy>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

/// Controllers with several sites, or none called "default": the sites the account may use, the
/// one shown, jobs that keep their own, and the answers of a site the account may not use.
class TestSites final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { StateFixture::init(); }
    void cleanup() { StateFixture::cleanup(); }

    void oneSiteIsListed();
    void severalSitesAreListed();
    void missingSiteGivesWayToTheFirst();
    void choosingASiteStoresItAndShowsItsDevices();
    void jobRunsOnItsOwnSite();
    void siteNotServedIsNotASessionExpiry();
    void readOnlyAccountMayNotRestart();
    void sitesThatCannotBeReadLeaveTheSiteAsItIs();
    void disconnectForgetsTheSites();

private:
    static QString warehouse() { return QString::fromLatin1(Sim::demoWarehouseSite); }
    [[nodiscard]] static qsizetype loginCount(const Sim &sim) { return requestsTo(sim, u"/api/auth/login"_s).size(); }
    [[nodiscard]] QStringList accessPointNames() const
    {
        QStringList names;
        for (const UnifiDevice &device : state->accessPoints())
            names.append(device.name);
        return names;
    }
};

void TestSites::oneSiteIsListed()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    QVERIFY(state.isLoggedIn());
    QCOMPARE(state.sites(), (QList<ControllerSite>{{u"default"_s, u"Default"_s, u"admin"_s}}));
    QCOMPARE(state.site(), u"default"_s);
    QCOMPARE(requestsTo(sim, u"/proxy/network/api/self/sites"_s).size(), 1);
    QVERIFY(!logHasLineEndingWith(u"for this account."_s));
}

void TestSites::severalSitesAreListed()
{
    Sim &sim = startSim();
    sim.addDemoWarehouse();
    AppState &state = makeState();
    QSignalSpy sitesChanged(&state, &AppState::sitesChanged);
    connectTo(sim);
    QCOMPARE(state.sites(), (QList<ControllerSite>{{u"default"_s, u"Default"_s, u"admin"_s},
                                                   {warehouse(), u"Warehouse"_s, u"admin"_s}}));
    QVERIFY(!sitesChanged.isEmpty());
    // The configured site is shown; the other one's devices are not.
    QCOMPARE(state.site(), u"default"_s);
    QVERIFY(accessPointNames().contains(u"Lobby"_s));
    QVERIFY(!accessPointNames().contains(u"Loading Dock"_s));
}

void TestSites::missingSiteGivesWayToTheFirst()
{
    Sim &sim = startSim();
    sim.setSite(u"ohmt4ch6"_s);
    sim.setSiteDescription(u"Lake House"_s);
    sim.addDemoWarehouse();
    AppState &state = makeState();
    ControllerConfig config = configFor(sim);
    config.site = u"default"_s;
    await(state.connect(config, sim.password(), true));
    QVERIFY(state.isLoggedIn());
    QCOMPARE(state.site(), u"ohmt4ch6"_s);
    QCOMPARE(savedConfig()->site, u"ohmt4ch6"_s);
    QVERIFY(
        logHasLineEndingWith(u"] Site 'Lake House' chosen: the controller has no site 'default' for this account."_s));
    // The devices came from the site chosen, and nothing asked for the missing one.
    QVERIFY(accessPointNames().contains(u"Lobby"_s));
    QVERIFY(!state.lastError());
    for (const QJsonObject &request : requests(sim))
        QVERIFY2(!request.value(u"path"_s).toString().contains(u"/s/default/"_s),
                 qPrintable(request.value(u"path"_s).toString()));
}

void TestSites::choosingASiteStoresItAndShowsItsDevices()
{
    Sim &sim = startSim();
    sim.addDemoWarehouse();
    AppState &state = makeState();
    connectTo(sim);
    const QList<ProtectCamera> cameras = state.cameras();
    QVERIFY(!cameras.isEmpty());
    await(state.chooseSite(warehouse()));
    QCOMPARE(state.site(), warehouse());
    QCOMPARE(savedConfig()->site, warehouse());
    QCOMPARE(accessPointNames(), (QStringList{u"Loading Dock"_s, u"Racks North"_s, u"Racks South"_s}));
    // Cameras belong to the console, whichever site is shown.
    QCOMPARE(state.cameras(), cameras);
    // A restart by hand goes to the site shown.
    QVERIFY(await(state.restart(firstAccessPoints(1).first())).ok());
    QCOMPARE(requestsTo(sim, u"/proxy/network/api/s/"_s + warehouse() + u"/cmd/devmgr"_s).size(), 1);

    // The next start, and the next connect, show the same site.
    AppState &again = makeState();
    QCOMPARE(again.site(), warehouse());
    QVERIFY(await(again.reconnectIfPossible()));
    QCOMPARE(again.site(), warehouse());
    QCOMPARE(accessPointNames().first(), u"Loading Dock"_s);
}

void TestSites::jobRunsOnItsOwnSite()
{
    Sim &sim = startSim();
    sim.addDemoWarehouse();
    AppState &state = makeState();
    connectTo(sim);
    await(state.chooseSite(warehouse()));
    ScheduledJob job = StateFixture::job(u"Dock"_s, firstAccessPoints(2), RecurrenceRule::once(now.addSecs(60)), 5);
    job.site = warehouse();
    state.addJob(job);
    QVERIFY(savedJobs().first().site == warehouse());
    // Another site is shown when the job comes due.
    await(state.chooseSite(u"default"_s));
    QVERIFY(accessPointNames().contains(u"Lobby"_s));
    now = now.addSecs(61);
    QSignalSpy finished(&scheduler(), &SchedulerEngine::runFinished);
    scheduler().tick();
    QVERIFY(finished.size() == 1 || finished.wait(10'000));
    QCOMPARE(restartedMacs(sim), (QStringList{job.targets[0].identifier, job.targets[1].identifier}));
    QCOMPARE(requestsTo(sim, u"/proxy/network/api/s/"_s + warehouse() + u"/cmd/devmgr"_s).size(), 2);
    QVERIFY(requestsTo(sim, u"/proxy/network/api/s/default/cmd/devmgr"_s).isEmpty());
    QCOMPARE(notified().last().body, u"Restarted 2 device(s) successfully."_s);
    // The site shown stays as it was.
    QCOMPARE(state.site(), u"default"_s);
}

void TestSites::siteNotServedIsNotASessionExpiry()
{
    Sim &sim = startSim();
    AppState &state = makeState();
    connectTo(sim);
    QCOMPARE(loginCount(sim), 1);
    // The site goes away (renamed on the controller, or the account lost it).
    sim.setSite(u"elsewhere"_s);
    await(state.refreshDevices());
    const QString expected = u"The controller has no site 'default' for this account. Choose a site in Settings."_s;
    QCOMPARE(state.lastError(), std::optional<QString>(expected));
    QVERIFY(logHasLineEndingWith(u"] Device refresh failed: "_s + expected));
    const auto restarted = await(state.restart({RestartTargetKind::accessPoint, u"78:45:58:a1:10:20"_s, u"Lobby"_s}));
    QCOMPARE(restarted.error(), UnifiAPIError::noSiteContext(u"default"_s));
    // Not one login more: the answer was about the site, not the session, which stays.
    QCOMPARE(loginCount(sim), 1);
    QVERIFY(state.isLoggedIn());
}

void TestSites::readOnlyAccountMayNotRestart()
{
    Sim &sim = startSim();
    sim.addDemoWarehouse();
    sim.setReadOnly(true);
    AppState &state = makeState();
    connectTo(sim);
    QCOMPARE(state.sites().at(1).role, u"readonly"_s);
    await(state.chooseSite(warehouse()));
    const RestartTarget dock = firstAccessPoints(1).first();
    const auto refused = await(state.restart(dock));
    const QString expected =
        u"This account may not restart devices on site 'Warehouse'. Use an administrator account."_s;
    QCOMPARE(refused.error().description(), expected);
    QVERIFY(logHasLineEndingWith(u"] Restart failed for Loading Dock: "_s + expected));
    QCOMPARE(loginCount(sim), 1);
    QVERIFY(restartedMacs(sim).isEmpty());
}

void TestSites::sitesThatCannotBeReadLeaveTheSiteAsItIs()
{
    Sim &sim = startSim();
    sim.setFault({Sim::FaultKind::ServerError, u"/proxy/network/api/self/sites"_s, {}});
    AppState &state = makeState();
    connectTo(sim);
    QVERIFY(state.isLoggedIn());
    QVERIFY(state.sites().isEmpty());
    QCOMPARE(state.site(), u"default"_s);
    QVERIFY(!state.accessPoints().isEmpty());
    QVERIFY(logHasLineEndingWith(u"Connected to 127.0.0.1"_s));
    QVERIFY(std::any_of(state.activityLog().cbegin(), state.activityLog().cend(), [](const QString &line) {
        return line.contains(u"] Could not read the controller's sites: Controller returned HTTP 500"_s);
    }));
}

void TestSites::disconnectForgetsTheSites()
{
    Sim &sim = startSim();
    sim.addDemoWarehouse();
    AppState &state = makeState();
    connectTo(sim);
    QCOMPARE(state.sites().size(), 2);
    await(state.disconnect());
    QVERIFY(state.sites().isEmpty());
    // The site chosen is part of the saved configuration, which a disconnect keeps.
    QCOMPARE(state.site(), u"default"_s);
}

QTEST_GUILESS_MAIN(TestSites)

#include "tst_sites.moc"
