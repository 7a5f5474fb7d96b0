// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Desktop notifications (DesktopNotifications) where no session bus exists at all: registered without a bus of its own,
// so the isolation script leaves DBUS_SESSION_BUS_ADDRESS unset and XDG_RUNTIME_DIR empty.
#include "Platform/DesktopNotifications.h"

#include <QDBusConnection>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>

using namespace lanternfold;
using namespace Qt::StringLiterals;

class TestNotificationNoBus final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void silentWithoutBus();
};

void TestNotificationNoBus::initTestCase()
{
    // A bus that exists after all would make this test prove nothing: fail rather than pass.
    QVERIFY(qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"));
    QVERIFY(qEnvironmentVariableIsEmpty("DISPLAY"));
    const QString runtimeDir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    QVERIFY(!runtimeDir.isEmpty());
    QVERIFY(!QFileInfo::exists(QDir(runtimeDir).filePath(u"bus"_s)));
}

void TestNotificationNoBus::init()
{
    QTest::failOnWarning(QRegularExpression(u".*"_s));
}

void TestNotificationNoBus::silentWithoutBus()
{
    QElapsedTimer timer;
    timer.start();
    DesktopNotifications().requestAuthorization();
    DesktopNotifications().post(u"Nightly APs"_s, u"a & b <c>"_s);
    DesktopNotifications().post(u"Nightly APs"_s, u"a & b <c>"_s);
    // Includes the one attempt to reach a bus, which fails on the spot.
    QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
    QVERIFY(!QDBusConnection::sessionBus().isConnected());

    bool turned = false;
    QTimer::singleShot(0, this, [&turned] { turned = true; });
    QTRY_VERIFY(turned);

    timer.restart();
    DesktopNotifications().post(u"Again"_s, u"still nobody"_s);
    QVERIFY2(timer.elapsed() < 500, qPrintable(QString::number(timer.elapsed())));
}

QTEST_GUILESS_MAIN(TestNotificationNoBus)
#include "tst_notificationnobus.moc"
