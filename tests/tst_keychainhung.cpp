// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The Secret Service keyring (SecretServiceKeychain) against a keyring that never answers: a
// stand-in that owns the Secret Service's bus name on a second connection of this program and
// accepts every call without replying, the way a keyring behind an unanswered unlock prompt
// behaves. The calls must give up after the adapter's time limit (a second here, ten in the
// program), keep the event loop running meanwhile, and leave nothing dangling when the keyring
// finally answers.

#include "Keyrings.h"
#include "Platform/SecretServiceKeychain.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

using lanternfold::test::await;
using lanternfold::test::secretsName;
using lanternfold::test::SilentKeyring;
using lanternfold::test::TickCounter;

namespace {

constexpr std::chrono::milliseconds timeout{1000};
constexpr qint64 timeoutMs = timeout.count();
/// Ticks of a 100 ms timer that a wait of one time limit lets through, at the least.
constexpr int ticksPerTimeout = static_cast<int>(timeoutMs / 200);

SecretServiceKeychain &keyring()
{
    static SecretServiceKeychain adapter(timeout);
    return adapter;
}

} // namespace

class TestKeychainHung final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void readGivesUpAfterTimeout();
    void saveGivesUpAfterEachTimeout();
    void lateAnswersReleaseEveryJob();

private:
    std::unique_ptr<SilentKeyring> m_keyring;
};

void TestKeychainHung::initTestCase()
{
    auto *bus = QDBusConnection::sessionBus().interface();
    QVERIFY2(bus != nullptr, "this test needs the private session bus of run-session-bus.sh");
    QVERIFY(!bus->isServiceRegistered(secretsName()));

    m_keyring = std::make_unique<SilentKeyring>();
    QVERIFY(m_keyring->start());
    QVERIFY(bus->isServiceRegistered(secretsName()));
}

void TestKeychainHung::cleanupTestCase()
{
    m_keyring.reset();
}

void TestKeychainHung::readGivesUpAfterTimeout()
{
    const TickCounter ticker;
    QElapsedTimer clock;
    clock.start();
    const auto password = await(keyring().readPassword(u"10.0.0.1:admin"_s));
    const qint64 elapsed = clock.elapsed();
    qInfo("read gave up after %lld ms; %d ticks of a 100 ms timer meanwhile; the keyring got %d calls", elapsed,
          ticker.ticks(), m_keyring->callCount());

    QCOMPARE(password, std::nullopt);
    QVERIFY(elapsed >= timeoutMs);
    QVERIFY2(ticker.ticks() >= ticksPerTimeout, qPrintable(QString::number(ticker.ticks())));
    // The keyring was asked and has not answered: the read ended by giving up, its job still waits.
    QVERIFY(m_keyring->unansweredCount() >= 1);
    QCOMPARE(SecretServiceKeychain::liveJobCount(), 1);
}

void TestKeychainHung::saveGivesUpAfterEachTimeout()
{
    const TickCounter ticker;
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(await(keyring().savePassword(u"secret"_s, u"10.0.0.1:admin"_s)), Done{});
    const qint64 elapsed = clock.elapsed();
    qInfo("save gave up after %lld ms; %d ticks of a 100 ms timer meanwhile; %d jobs still waiting", elapsed,
          ticker.ticks(), SecretServiceKeychain::liveJobCount());

    // The delete gave up, then the write did.
    QVERIFY(elapsed >= 2 * timeoutMs);
    QVERIFY2(ticker.ticks() >= 2 * ticksPerTimeout, qPrintable(QString::number(ticker.ticks())));
    // QtKeychain runs one job at a time; the write waits behind the hung ones and cannot have finished.
    QVERIFY(SecretServiceKeychain::liveJobCount() >= 1);
    QVERIFY(m_keyring->unansweredCount() >= 1);
}

void TestKeychainHung::lateAnswersReleaseEveryJob()
{
    // Jobs the callers gave up on finish when the keyring answers at last, and are deleted then,
    // queued ones included; under AddressSanitizer a job deleted too early would show here.
    QVERIFY(SecretServiceKeychain::liveJobCount() >= 1);
    QElapsedTimer clock;
    clock.start();
    m_keyring->answerEverything();
    QTRY_COMPARE_WITH_TIMEOUT(SecretServiceKeychain::liveJobCount(), 0, 60'000);
    qInfo("every job was released %lld ms after the keyring answered", clock.elapsed());
    QCOMPARE(m_keyring->unansweredCount(), 0);

    // And the service is usable again: a new read gets its answer (an error) rather than the timeout.
    const auto password = await(keyring().readPassword(u"10.0.0.1:admin"_s));
    QCOMPARE(password, std::nullopt);
    QTRY_COMPARE_WITH_TIMEOUT(SecretServiceKeychain::liveJobCount(), 0, 60'000);
}

QTEST_GUILESS_MAIN(TestKeychainHung)
#include "tst_keychainhung.moc"
