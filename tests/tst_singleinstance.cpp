#include "App/SingleInstance.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using namespace lanternfold;
using namespace Qt::StringLiterals;

/// One running Lanternfold per user: the second launch reaches the first and ends.
class TestSingleInstance final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void firstBecomesPrimarySecondHandsOver();
    void staleSocketFileIsReplaced();
    void lockFileLeftBehindDoesNotHoldTheNextLaunch();
    void launchWaitsWhileAnotherHoldsTheLock();
    void defaultSocketIsInTheRuntimeFolder();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    [[nodiscard]] QString socketPath() const { return m_dir->filePath(u"lanternfold.socket"_s); }
};

void TestSingleInstance::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestSingleInstance::firstBecomesPrimarySecondHandsOver()
{
    SingleInstance first(socketPath());
    QCOMPARE(first.claim(), SingleInstance::Claim::primary);
    QSignalSpy opened(&first, &SingleInstance::openRequested);

    // The second launch blocks on its hand-over until the first answers, as two processes would;
    // here both live on one thread, so the second runs on its own thread.
    SingleInstance::Claim secondClaim = SingleInstance::Claim::failed;
    std::unique_ptr<QThread> launch(QThread::create([this, &secondClaim] {
        SingleInstance second(socketPath());
        secondClaim = second.claim();
    }));
    launch->start();
    QTRY_VERIFY(launch->isFinished());
    QCOMPARE(secondClaim, SingleInstance::Claim::handedOver);
    QCOMPARE(opened.size(), 1);
}

void TestSingleInstance::staleSocketFileIsReplaced()
{
    {
        SingleInstance crashed(socketPath());
        QCOMPARE(crashed.claim(), SingleInstance::Claim::primary);
        // A process killed outright leaves its socket file behind; the server's destructor would
        // remove it, so make a plain file stand in for it.
    }
    QFile leftover(socketPath());
    QVERIFY(leftover.open(QIODevice::WriteOnly));
    leftover.close();
    SingleInstance next(socketPath());
    QCOMPARE(next.claim(), SingleInstance::Claim::primary);
}

void TestSingleInstance::lockFileLeftBehindDoesNotHoldTheNextLaunch()
{
    // The lock is the kernel's, not the file: one left by an earlier launch, or written by an
    // older version with its holder's details in it, is opened and locked again.
    QFile leftover(socketPath() + u".lock"_s);
    QVERIFY(leftover.open(QIODevice::WriteOnly));
    leftover.write("4242\nlanternfold\nhost\n");
    leftover.close();
    SingleInstance next(socketPath());
    QCOMPARE(next.claim(), SingleInstance::Claim::primary);
}

void TestSingleInstance::launchWaitsWhileAnotherHoldsTheLock()
{
    // Another launch in the middle of its claim holds the lock; this one waits its turn (about
    // two seconds at most) and then runs without the guard rather than not at all.
    const QByteArray lockPath = QFile::encodeName(socketPath() + u".lock"_s);
    const int holder = ::open(lockPath.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    QVERIFY(holder >= 0);
    QCOMPARE(::flock(holder, LOCK_EX | LOCK_NB), 0);
    SingleInstance waiting(socketPath());
    QCOMPARE(waiting.claim(), SingleInstance::Claim::failed);
    ::close(holder); // the kernel lets go with the descriptor
    SingleInstance next(socketPath());
    QCOMPARE(next.claim(), SingleInstance::Claim::primary);
}

void TestSingleInstance::defaultSocketIsInTheRuntimeFolder()
{
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    QVERIFY(!runtime.isEmpty());
    QCOMPARE(SingleInstance::defaultSocketPath(), QString::fromLocal8Bit(runtime) + u"/lanternfold.socket"_s);
}

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
