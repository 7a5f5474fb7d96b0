// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "App/SingleInstance.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
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
    void busyInstanceKeepsItsSocketAndGetsTheRequest();
    void withoutARuntimeFolderTheSocketIsInAPrivateFolder();

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

void TestSingleInstance::busyInstanceKeepsItsSocketAndGetsTheRequest()
{
    // A running instance busy for longer than a launch waits: it accepts the connection (the
    // kernel does that for it) but does not answer in time.
    QLocalServer busy;
    QVERIFY(busy.listen(socketPath()));
    SingleInstance second(socketPath());
    QCOMPARE(second.claim(), SingleInstance::Claim::leftForBusyInstance);
    // Its socket is still there and still its own: the launch did not run beside it.
    QVERIFY(QFileInfo::exists(socketPath()));
    QVERIFY(busy.isListening());
    // Once it gets to its event loop, the request is waiting.
    QVERIFY(busy.waitForNewConnection(1000));
    QLocalSocket *request = busy.nextPendingConnection();
    QVERIFY(request);
    QTRY_VERIFY(request->bytesAvailable() > 0 || request->waitForReadyRead(100));
    QCOMPARE(request->readAll(), QByteArray("open\n"));
}

void TestSingleInstance::withoutARuntimeFolderTheSocketIsInAPrivateFolder()
{
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    const QByteArray cache = qgetenv("XDG_CACHE_HOME");
    qunsetenv("XDG_RUNTIME_DIR");
    qputenv("XDG_CACHE_HOME", QFile::encodeName(m_dir->filePath(u"cache"_s)));
    const QString path = SingleInstance::defaultSocketPath();
    qputenv("XDG_RUNTIME_DIR", runtime);
    qputenv("XDG_CACHE_HOME", cache);
    QCOMPARE(path, m_dir->filePath(u"cache/lanternfold/lanternfold.socket"_s));
    QVERIFY(!path.startsWith(QDir::tempPath() + u"/lanternfold"_s));
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(m_dir->filePath(u"cache/lanternfold"_s)).constData(), &status), 0);
    QCOMPARE(status.st_mode & 0777, 0700u);
    // And it works there.
    SingleInstance instance(path);
    QCOMPARE(instance.claim(), SingleInstance::Claim::primary);
}

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
