// KeychainService against a keyring that never answers: a stand-in that owns the Secret Service's
// bus name on a second connection of this program and accepts every call without replying, the
// way a keyring behind an unanswered unlock prompt behaves. The calls must give up after
// KeychainService::defaultTimeout, keep the event loop running meanwhile, and leave nothing dangling when
// the keyring finally answers.

#include "Services/KeychainService.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QMutex>
#include <QTest>
#include <QTimer>

using namespace lanternfold;
using namespace Qt::StringLiterals;

using lanternfold::test::await;

namespace {

const QString secretsName = u"org.freedesktop.secrets"_s;

/// Takes every call to any of its objects and answers none, until told to answer all of them, then
/// and from then on, with an error.
class SilentKeyring final : public QDBusVirtualObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SilentKeyring)

public:
    explicit SilentKeyring(QDBusConnection connection) : m_connection(std::move(connection)) {}
    ~SilentKeyring() override = default;

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        Q_UNUSED(connection)
        const QMutexLocker lock(&m_mutex);
        ++m_callCount;
        if (m_answering)
            m_connection.send(failure(message));
        else
            m_unanswered.append(message);
        return true; // taken: Qt sends no reply of its own
    }

    QString introspect(const QString &path) const override
    {
        Q_UNUSED(path)
        return {};
    }

    [[nodiscard]] int callCount()
    {
        const QMutexLocker lock(&m_mutex);
        return m_callCount;
    }

    [[nodiscard]] int unansweredCount()
    {
        const QMutexLocker lock(&m_mutex);
        return int(m_unanswered.size());
    }

    void answerEverything()
    {
        const QMutexLocker lock(&m_mutex);
        m_answering = true;
        for (const QDBusMessage &message : std::as_const(m_unanswered))
            m_connection.send(failure(message));
        m_unanswered.clear();
    }

private:
    static QDBusMessage failure(const QDBusMessage &message)
    {
        return message.createErrorReply(QDBusError::Failed, u"the keyring is unavailable"_s);
    }

    QDBusConnection m_connection;
    QMutex m_mutex;
    QList<QDBusMessage> m_unanswered;
    int m_callCount = 0;
    bool m_answering = false;
};

/// Counts the ticks of a 100 ms timer: proof that the event loop kept running during a wait.
class TickCounter final
{
public:
    TickCounter()
    {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { ++m_ticks; });
        m_timer.start(100);
    }
    [[nodiscard]] int ticks() const { return m_ticks; }

private:
    QTimer m_timer;
    int m_ticks = 0;
};

constexpr qint64 timeoutMs = std::chrono::milliseconds(KeychainService::defaultTimeout).count();

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
    std::optional<QDBusConnection> m_keyringConnection;
    std::unique_ptr<SilentKeyring> m_keyring;
};

void TestKeychainHung::initTestCase()
{
    auto *bus = QDBusConnection::sessionBus().interface();
    QVERIFY2(bus != nullptr, "this test needs the private session bus of run-session-bus.sh");
    QVERIFY(!bus->isServiceRegistered(secretsName));

    m_keyringConnection = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"silent-keyring"_s);
    QVERIFY(m_keyringConnection->isConnected());
    m_keyring = std::make_unique<SilentKeyring>(*m_keyringConnection);
    QVERIFY(m_keyringConnection->registerVirtualObject(u"/"_s, m_keyring.get(), QDBusConnection::SubPath));
    QVERIFY(m_keyringConnection->registerService(secretsName));
    QVERIFY(bus->isServiceRegistered(secretsName));
}

void TestKeychainHung::cleanupTestCase()
{
    if (m_keyringConnection) {
        m_keyringConnection->unregisterObject(u"/"_s, QDBusConnection::UnregisterTree);
        QDBusConnection::disconnectFromBus(u"silent-keyring"_s);
    }
}

void TestKeychainHung::readGivesUpAfterTimeout()
{
    const TickCounter ticker;
    QElapsedTimer clock;
    clock.start();
    const auto password = await(KeychainService::readPassword(u"10.0.0.1:admin"_s));
    const qint64 elapsed = clock.elapsed();
    qInfo("read gave up after %lld ms; %d ticks of a 100 ms timer meanwhile; the keyring got %d calls", elapsed,
          ticker.ticks(), m_keyring->callCount());

    QCOMPARE(password, std::nullopt);
    QVERIFY(elapsed >= timeoutMs);
    QVERIFY2(ticker.ticks() >= 50, qPrintable(QString::number(ticker.ticks())));
    // The keyring was asked and has not answered: the read ended by giving up, its job still waits.
    QVERIFY(m_keyring->unansweredCount() >= 1);
    QCOMPARE(KeychainService::liveJobCount(), 1);
}

void TestKeychainHung::saveGivesUpAfterEachTimeout()
{
    const TickCounter ticker;
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(await(KeychainService::savePassword(u"secret"_s, u"10.0.0.1:admin"_s)), Done{});
    const qint64 elapsed = clock.elapsed();
    qInfo("save gave up after %lld ms; %d ticks of a 100 ms timer meanwhile; %d jobs still waiting", elapsed,
          ticker.ticks(), KeychainService::liveJobCount());

    // The delete gave up, then the write did.
    QVERIFY(elapsed >= 2 * timeoutMs);
    QVERIFY2(ticker.ticks() >= 100, qPrintable(QString::number(ticker.ticks())));
    // QtKeychain runs one job at a time; the write waits behind the hung ones and cannot have finished.
    QVERIFY(KeychainService::liveJobCount() >= 1);
    QVERIFY(m_keyring->unansweredCount() >= 1);
}

void TestKeychainHung::lateAnswersReleaseEveryJob()
{
    // Jobs the callers gave up on finish when the keyring answers at last, and are deleted then,
    // queued ones included; under AddressSanitizer a job deleted too early would show here.
    QVERIFY(KeychainService::liveJobCount() >= 1);
    QElapsedTimer clock;
    clock.start();
    m_keyring->answerEverything();
    QTRY_COMPARE_WITH_TIMEOUT(KeychainService::liveJobCount(), 0, 60'000);
    qInfo("every job was released %lld ms after the keyring answered", clock.elapsed());
    QCOMPARE(m_keyring->unansweredCount(), 0);

    // And the service is usable again: a new read gets its answer (an error) rather than the timeout.
    const auto password = await(KeychainService::readPassword(u"10.0.0.1:admin"_s));
    QCOMPARE(password, std::nullopt);
    QTRY_COMPARE_WITH_TIMEOUT(KeychainService::liveJobCount(), 0, 60'000);
}

QTEST_GUILESS_MAIN(TestKeychainHung)
#include "tst_keychainhung.moc"
