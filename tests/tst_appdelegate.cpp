// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "App/AppDelegate.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

/// The tray icon's menu and its way of finding a tray that appears after the program.
class TestAppDelegate final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void menuHasTheTwoEntries();
    void entriesCallTheirActions();
    void trayThatAppearsLateIsPickedUp();
    void noTrayAtAllStopsLooking();
    void ctrlQInAWindowThatHoldsQuitQuits();
};

void TestAppDelegate::menuHasTheTwoEntries()
{
    AppDelegate delegate(AppDelegate::Actions{});
    const QList<QAction *> actions = delegate.menu()->actions();
    QCOMPARE(actions.size(), 3);
    QCOMPARE(actions.at(0)->text(), u"Open Lanternfold"_s);
    QCOMPARE(actions.at(0)->shortcut(), QKeySequence(u"Ctrl+O"_s));
    QVERIFY(actions.at(1)->isSeparator());
    QCOMPARE(actions.at(2)->text(), u"Quit Lanternfold"_s);
    QCOMPARE(actions.at(2)->shortcut(), QKeySequence(u"Ctrl+Q"_s));
}

void TestAppDelegate::entriesCallTheirActions()
{
    int opened = 0;
    int quit = 0;
    AppDelegate delegate(AppDelegate::Actions{[&opened] { ++opened; }, [&quit] { ++quit; }});
    delegate.setTrayAvailability([] { return true; });
    delegate.setUpStatusItem();
    delegate.openAction()->trigger();
    QCOMPARE(opened, 1);
    QCOMPARE(quit, 0);
    Q_EMIT delegate.statusItem()->activated(QSystemTrayIcon::Trigger); // a click on the icon
    QCOMPARE(opened, 2);
    Q_EMIT delegate.statusItem()->activated(QSystemTrayIcon::Context); // the menu, not the window
    QCOMPARE(opened, 2);
    delegate.quitAction()->trigger();
    QCOMPARE(quit, 1);
    QCOMPARE(delegate.statusItem()->toolTip(), u"Lanternfold"_s);
    QCOMPARE(delegate.statusItem()->contextMenu(), delegate.menu());
}

void TestAppDelegate::trayThatAppearsLateIsPickedUp()
{
    bool available = false;
    AppDelegate delegate(AppDelegate::Actions{});
    delegate.setTrayAvailability([&available] { return available; });
    QVERIFY(!delegate.statusItem()); // nothing is painted before the tray is set up
    delegate.setUpStatusItem();
    QCOMPARE(delegate.statusItem()->icon().availableSizes().size(), 6); // the tray glyph's sizes
    QVERIFY(!delegate.statusItem()->isVisible());
    QVERIFY(delegate.isWaitingForTray());
    delegate.checkTray(); // the panel is still not there
    QVERIFY(delegate.isWaitingForTray());
    available = true; // the panel started
    delegate.checkTray();
    QVERIFY(delegate.statusItem()->isVisible());
    QVERIFY(!delegate.isWaitingForTray());
}

void TestAppDelegate::noTrayAtAllStopsLooking()
{
    AppDelegate delegate(AppDelegate::Actions{});
    delegate.setTrayAvailability([] { return false; });
    delegate.setUpStatusItem();
    for (int poll = 0; poll < AppDelegate::trayPollLimit; ++poll)
        delegate.checkTray();
    QVERIFY(!delegate.isWaitingForTray());
    QVERIFY(!delegate.statusItem()->isVisible());
}

void TestAppDelegate::ctrlQInAWindowThatHoldsQuitQuits()
{
    // With no tray to hold the menu, the window is the way to quit: it holds the same action.
    int quit = 0;
    AppDelegate delegate(AppDelegate::Actions{{}, [&quit] { ++quit; }});
    QSignalSpy trayChanges(&delegate, &AppDelegate::trayChanged);
    delegate.setTrayAvailability([] { return false; });
    delegate.setUpStatusItem();
    QVERIFY(!delegate.isInTray());
    QVERIFY(trayChanges.isEmpty());
    QWidget window;
    window.addAction(delegate.quitAction());
    window.show();
    QApplication::setActiveWindow(&window);
    QVERIFY(QTest::qWaitForWindowActive(&window));
    QTest::keyClick(&window, Qt::Key_Q, Qt::ControlModifier);
    QCOMPARE(quit, 1);
    delegate.setTrayAvailability([] { return true; });
    delegate.checkTray();
    QVERIFY(delegate.isInTray());
    QCOMPARE(trayChanges.size(), 1);
    QCOMPARE(trayChanges.at(0).at(0).toBool(), true);
}

QTEST_MAIN(TestAppDelegate)
#include "tst_appdelegate.moc"
