// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The simulated controller's run-time command language, as the program reads it from stdin.
#include "SimTestClient.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace lanternfold::simtest;

class TestSimCommands final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commandLanguage();
    void stallAndResetFaults();
    void closeConnectionsCommand();
    void helpNamesEveryCommand();
};

void TestSimCommands::commandLanguage()
{
    const auto simulator = startSimulator();
    QCOMPARE(simulator->applyCommand(u"fault latency 300"_s), u"OK fault latency 300"_s);
    QCOMPARE(simulator->applyCommand(u"fault hang /proxy/protect"_s), u"OK fault hang /proxy/protect"_s);
    QCOMPARE(simulator->faults().size(), 2);
    QCOMPARE(simulator->faults().value(FaultKind::Latency).latency, 300ms);
    QCOMPARE(simulator->faults().value(FaultKind::Hang).pathPrefix, u"/proxy/protect"_s);
    QVERIFY(simulator->applyCommand(u"status"_s).contains(u"faults=hang@/proxy/protect,latency:300@*"_s));
    QCOMPARE(simulator->applyCommand(u"fault clear latency"_s), u"OK fault clear latency"_s);
    QCOMPARE(simulator->faults().size(), 1);
    QCOMPARE(simulator->applyCommand(u"fault none"_s), u"OK fault none"_s);
    QVERIFY(simulator->faults().isEmpty());
    for (const QString &kind : {u"error500"_s, u"malformed"_s, u"wrongtype"_s, u"drop"_s})
        QVERIFY(simulator->applyCommand(u"fault "_s + kind).startsWith(u"OK"_s));
    QCOMPARE(simulator->faults().size(), 4);

    QVERIFY(simulator->applyCommand(u"fault latency x"_s).startsWith(u"ERROR"_s));
    QVERIFY(simulator->applyCommand(u"fault hang proxy"_s).startsWith(u"ERROR"_s));
    QVERIFY(simulator->applyCommand(u"fault explode"_s).startsWith(u"ERROR"_s));
    QVERIFY(simulator->applyCommand(u"dance"_s).startsWith(u"ERROR"_s));
    QVERIFY(simulator->applyCommand(u"rotate maybe"_s).startsWith(u"ERROR"_s));

    QVERIFY(simulator->applyCommand(u"rotate on"_s).startsWith(u"OK"_s));
    QVERIFY(simulator->applyCommand(u"jwt on"_s).startsWith(u"OK"_s));
    QVERIFY(simulator->applyCommand(u"ratelimit 5 30"_s).startsWith(u"OK"_s));
    QVERIFY(simulator->applyCommand(u"session-seconds 1.5"_s).startsWith(u"OK"_s));
    QVERIFY(simulator->applyCommand(u"offline-seconds 2"_s).startsWith(u"OK"_s));
    const QString status = simulator->applyCommand(u"status"_s);
    QVERIFY2(status.contains(u"rotate=on jwt=on"_s) && status.contains(u"ratelimit=5/30s session=1.5s offline=2s"_s),
             qPrintable(status));
    QVERIFY(simulator->applyCommand(u"expire-sessions"_s).startsWith(u"OK"_s));

    QCOMPARE(simulator->applyCommand(u"csrf-cookie on"_s), u"OK csrf-cookie on"_s);
    QVERIFY(simulator->csrfCookie());
    QVERIFY2(simulator->applyCommand(u"status"_s).contains(u" csrf-cookie=on "_s),
             qPrintable(simulator->applyCommand(u"status"_s)));
    QCOMPARE(simulator->applyCommand(u"csrf-cookie off"_s), u"OK csrf-cookie off"_s);
    QVERIFY(!simulator->csrfCookie());

    QCOMPARE(simulator->applyCommand(u"two-factor on"_s), u"OK two-factor on"_s);
    QVERIFY(simulator->twoFactorRequired());
    QVERIFY2(simulator->applyCommand(u"status"_s).contains(u" two-factor=on "_s),
             qPrintable(simulator->applyCommand(u"status"_s)));
    QCOMPARE(simulator->applyCommand(u"two-factor off"_s), u"OK two-factor off"_s);
    QVERIFY(!simulator->twoFactorRequired());
    QVERIFY(simulator->applyCommand(u"two-factor"_s).startsWith(u"ERROR"_s));
}

void TestSimCommands::stallAndResetFaults()
{
    const auto simulator = startSimulator();
    QCOMPARE(simulator->applyCommand(u"fault stall"_s), u"OK fault stall"_s);
    QCOMPARE(simulator->applyCommand(u"fault reset /proxy/protect"_s), u"OK fault reset /proxy/protect"_s);
    QCOMPARE(simulator->faults().value(FaultKind::Stall).pathPrefix, QString());
    QCOMPARE(simulator->faults().value(FaultKind::Reset).pathPrefix, u"/proxy/protect"_s);
    QVERIFY2(simulator->applyCommand(u"status"_s).contains(u"faults=reset@/proxy/protect,stall@*"_s),
             qPrintable(simulator->applyCommand(u"status"_s)));
    QVERIFY(simulator->applyCommand(u"fault stall proxy"_s).startsWith(u"ERROR"_s));
    QCOMPARE(simulator->applyCommand(u"fault clear stall"_s), u"OK fault clear stall"_s);
    QCOMPARE(simulator->faults().size(), 1);
    QCOMPARE(ControllerSimulator::faultName(FaultKind::Stall), u"stall"_s);
    QCOMPARE(ControllerSimulator::faultName(FaultKind::Reset), u"reset"_s);
    QCOMPARE(ControllerSimulator::faultFromName(u"stall"_s), std::optional<FaultKind>(FaultKind::Stall));
    QCOMPARE(ControllerSimulator::faultFromName(u"reset"_s), std::optional<FaultKind>(FaultKind::Reset));
}

void TestSimCommands::closeConnectionsCommand()
{
    const auto simulator = startSimulator();
    SimClient client(*simulator);
    QCOMPARE(client.get(u"/"_s).status, 200);
    QTRY_COMPARE_WITH_TIMEOUT(simulator->openConnectionCount(), 1, 30000);
    QCOMPARE(simulator->applyCommand(u"close-connections"_s), u"OK close-connections"_s);
    QCOMPARE(simulator->openConnectionCount(), 0);
    QCOMPARE(countEvents(*simulator, u"disconnect"_s), 1);
    QCOMPARE(simulator->applyCommand(u"close-connections"_s), u"OK close-connections"_s); // none left: fine
    QCOMPARE(client.get(u"/"_s).status, 200);
}

void TestSimCommands::helpNamesEveryCommand()
{
    const QString help = ControllerSimulator::commandHelp();
    for (const QString &word : {u"fault hang"_s, u"fault stall"_s, u"fault reset"_s, u"expire-sessions"_s,
                                u"close-connections"_s, u"two-factor on|off"_s})
        QVERIFY2(help.contains(word), qPrintable(word));
    const auto simulator = startSimulator();
    QVERIFY(simulator->applyCommand(u"help"_s).startsWith(u"OK Commands"_s));
}

QTEST_GUILESS_MAIN(TestSimCommands)
#include "tst_simcommands.moc"
