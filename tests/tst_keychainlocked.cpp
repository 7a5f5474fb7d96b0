// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The Secret Service keyring (SecretServiceKeychain) against a gnome-keyring whose login keyring is locked, as after a
// screen lock with "lock keyring" or before the user unlocks it at login. Locking takes a D-Bus call and no prompt;
// unlocking would need one, which nobody can answer here (none is shown without a display).

#include "Keyrings.h"
#include "Platform/SecretServiceKeychain.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
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
using lanternfold::test::secretsName;

namespace {

const QString account = u"10.0.0.1:admin"_s;

/// The items of the program's account, unlocked and locked.
std::pair<int, int> itemCounts()
{
    return lanternfold::test::keyringItemCounts(SecretServiceKeychain::service, account);
}

} // namespace

class TestKeychainLocked final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void readFindsNothing();
    void saveReturnsAndChangesNothing();

private:
    QString m_collection;
};

void TestKeychainLocked::initTestCase()
{
    QVERIFY2(QDBusConnection::sessionBus().interface()->isServiceRegistered(secretsName()),
             "this test needs the unlocked gnome-keyring that run-session-bus.sh --keyring starts");

    // A password saved while the keyring was open.
    (void)await(keyring().savePassword(u"saved before locking"_s, account));
    QCOMPARE(await(keyring().readPassword(account)), std::optional(u"saved before locking"_s));
    QCOMPARE(itemCounts(), std::pair(1, 0));

    m_collection = lanternfold::test::lockDefaultKeyring();
    QCOMPARE(m_collection, u"/org/freedesktop/secrets/collection/login"_s);
    QCOMPARE(itemCounts(), std::pair(0, 1));
}

void TestKeychainLocked::readFindsNothing()
{
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(await(keyring().readPassword(account)), std::nullopt);
    qInfo("read from the locked keyring returned after %lld ms", clock.elapsed());
    // The job ended on its own: the keyring answered, nothing was abandoned.
    QTRY_COMPARE_WITH_TIMEOUT(SecretServiceKeychain::liveJobCount(), 0, 60'000);
}

void TestKeychainLocked::saveReturnsAndChangesNothing()
{
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(await(keyring().savePassword(u"saved while locked"_s, account)), Done{});
    qInfo("save to the locked keyring returned after %lld ms", clock.elapsed());
    QTRY_COMPARE_WITH_TIMEOUT(SecretServiceKeychain::liveJobCount(), 0, 60'000);
    // Neither deleted nor added: the one locked item is still there, and still locked.
    QCOMPARE(itemCounts(), std::pair(0, 1));
}

QTEST_GUILESS_MAIN(TestKeychainLocked)
#include "tst_keychainlocked.moc"
