// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The Secret Service keyring (SecretServiceKeychain) on a session bus where nothing provides the Secret Service (a
// desktop without a keyring, or a login before the keyring started): every call ends without a password and without an
// error reaching the caller.

#include "Platform/SecretServiceKeychain.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QElapsedTimer>
#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

/// The keyring adapter under test, with the program's time limit.
SecretServiceKeychain &keyring()
{
    static SecretServiceKeychain adapter;
    return adapter;
}

} // namespace

using lanternfold::test::await;

class TestKeychainNoService final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void readFindsNothing();
    void saveReturns();
    void readAfterSaveStillFindsNothing();
};

void TestKeychainNoService::initTestCase()
{
    const auto *bus = QDBusConnection::sessionBus().interface();
    QVERIFY2(bus != nullptr, "this test needs the private session bus of run-session-bus.sh");
    QVERIFY(!bus->isServiceRegistered(u"org.freedesktop.secrets"_s));
    QVERIFY(!bus->activatableServiceNames().value().contains(u"org.freedesktop.secrets"_s));
}

void TestKeychainNoService::readFindsNothing()
{
    QElapsedTimer clock;
    clock.start();
    const auto password = await(keyring().readPassword(u"10.0.0.1:admin"_s));
    qInfo("read without a keyring returned after %lld ms", clock.elapsed());
    QCOMPARE(password, std::nullopt);
    // The job ended on its own (the bus said "no such service"); it was not abandoned.
    QTRY_COMPARE_WITH_TIMEOUT(SecretServiceKeychain::liveJobCount(), 0, 60'000);
}

void TestKeychainNoService::saveReturns()
{
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(await(keyring().savePassword(u"secret"_s, u"10.0.0.1:admin"_s)), Done{});
    qInfo("save without a keyring returned after %lld ms", clock.elapsed());
    QTRY_COMPARE_WITH_TIMEOUT(SecretServiceKeychain::liveJobCount(), 0, 60'000);
}

void TestKeychainNoService::readAfterSaveStillFindsNothing()
{
    // Nothing went to a plain-text file in place of the keyring (QtKeychain's fallback, used when it
    // finds no keyring of any kind, writes one under the configuration folder).
    QCOMPARE(await(keyring().readPassword(u"10.0.0.1:admin"_s)), std::nullopt);
    const QDir config(qEnvironmentVariable("XDG_CONFIG_HOME"));
    QVERIFY(config.exists());
    QCOMPARE(config.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden), QStringList());
    QCOMPARE(QDir(qEnvironmentVariable("HOME")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
             QStringList());
    QTRY_COMPARE_WITH_TIMEOUT(SecretServiceKeychain::liveJobCount(), 0, 60'000);
}

QTEST_GUILESS_MAIN(TestKeychainNoService)
#include "tst_keychainnoservice.moc"
