// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The jobs file on a disk that is full, nearly full or read-only: a small tmpfs of the test's own,
// mounted for each test in the mount namespace that run-own-mounts.sh gives this program. Saves
// fail silently; the job list in memory stays as the person and the scheduler left it; the file
// already on disk stays whole, holding what it held, with no temporary file beside it; and once
// the disk has room again, the next change saves everything.

#include "StateFixture.h"

#include "State/SchedulerEngine.h"

#include <QDir>
#include <QSignalSpy>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

namespace {

enum class DiskFault { full, littleRoom, readOnly };

/// Room left on a nearly full disk: less than any save of the jobs below needs, enough for part of it.
constexpr qsizetype littleRoomBytes = 8192;

QDateTime utc(int day, int hour)
{
    return QDateTime(QDate(2025, 3, day), QTime(hour, 0), QTimeZone::utc());
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The jobs a file's bytes hold; none when they do not decode.
std::optional<QList<ScheduledJob>> jobsOn(const QByteArray &bytes)
{
    auto decoded = ScheduleStore::decode(bytes);
    return decoded.ok() ? std::optional(std::move(decoded).value()) : std::nullopt;
}

} // namespace

Q_DECLARE_METATYPE(DiskFault)

class TestFaultsStorage final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void editsOnAFailingDisk_data();
    void editsOnAFailingDisk();
    void unreadableFileOnAFullDisk();

private:
    /// A fresh tmpfs of this size as the data folder, and the store over it.
    void mountSmallDisk(int kibibytes);
    void fillDisk(qsizetype leaveBytes);
    void breakDisk(DiskFault fault);
    void repairDisk(DiskFault fault);
    [[nodiscard]] QString jobsFolder() const { return QDir(m_disk).filePath(u"Lanternfold"_s); }
    [[nodiscard]] QString jobsFile() const { return QDir(jobsFolder()).filePath(u"schedules.json"_s); }
    /// Everything in the jobs folder, hidden files included.
    [[nodiscard]] QStringList jobsFolderEntries() const
    {
        return QDir(jobsFolder())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    }
    /// A job with many devices, so that the file is far larger than a page of the disk.
    static ScheduledJob bigJob(const QString &name);

    QString m_disk;
};

void TestFaultsStorage::initTestCase()
{
    // Mounting needs the namespace of run-own-mounts.sh: without it, fail rather than prove nothing.
    const QString probe =
        QDir::temp().filePath(u"lanternfold-mount-probe-"_s + QString::number(QCoreApplication::applicationPid()));
    QVERIFY(QDir().mkpath(probe));
    const int status = QProcess::execute(u"/bin/bash"_s, {u"-c"_s, u"mount -t tmpfs -o size=64k probe '"_s + probe +
                                                                       u"' && umount '"_s + probe + u"'"_s});
    QDir().rmdir(probe);
    QVERIFY2(status == 0, "this test mounts file systems: run it through tests/support/run-own-mounts.sh");
}

void TestFaultsStorage::init()
{
    StateFixture::init();
}

void TestFaultsStorage::cleanup()
{
    state.reset();
    store.reset();
    if (!m_disk.isEmpty()) {
        runShell(u"umount '"_s + m_disk + u"'"_s, dir->path());
        m_disk.clear();
    }
    StateFixture::cleanup();
}

void TestFaultsStorage::mountSmallDisk(int kibibytes)
{
    m_disk = dir->filePath(u"disk"_s);
    QVERIFY(QDir().mkpath(m_disk));
    runShell(u"mount -t tmpfs -o size="_s + QString::number(kibibytes) + u"k,mode=0700 lanternfold-test '"_s + m_disk +
                 u"'"_s,
             dir->path());
    store = std::make_unique<ScheduleStore>(m_disk);
    QVERIFY(QFileInfo(jobsFolder()).isDir());
}

void TestFaultsStorage::fillDisk(qsizetype leaveBytes)
{
    // dd stops at the first write the disk refuses; shrinking the filler gives whole pages back.
    runShell(u"{ dd if=/dev/zero of=filler bs=4096 2>/dev/null || true; }; truncate -s -"_s +
                 QString::number(leaveBytes) + u" filler"_s,
             m_disk);
    const qint64 free = runShell(u"df --output=avail -B1 . | tail -n 1"_s, m_disk).toLongLong();
    QVERIFY2(free <= leaveBytes, qPrintable(QString::number(free)));
}

void TestFaultsStorage::breakDisk(DiskFault fault)
{
    switch (fault) {
    case DiskFault::full:
        fillDisk(0);
        break;
    case DiskFault::littleRoom:
        fillDisk(littleRoomBytes);
        break;
    case DiskFault::readOnly:
        // chmod would not stop root, who runs this test: the mount itself refuses writes. A
        // read-only mount point rather than a read-only file system, which a user namespace
        // may not switch.
        runShell(u"mount -o remount,bind,ro '"_s + m_disk + u"'"_s, dir->path());
        break;
    }
}

void TestFaultsStorage::repairDisk(DiskFault fault)
{
    if (fault == DiskFault::readOnly)
        runShell(u"mount -o remount,bind,rw '"_s + m_disk + u"'"_s, dir->path());
    else
        QVERIFY(QFile::remove(QDir(m_disk).filePath(u"filler"_s)));
}

ScheduledJob TestFaultsStorage::bigJob(const QString &name)
{
    QList<RestartTarget> targets;
    for (int index = 0; index < 30; ++index) {
        const QString mac =
            u"f0:9f:c2:00:%1:%2"_s.arg(index / 10, 2, 10, QChar(u'0')).arg(index % 10, 2, 10, QChar(u'0'));
        targets.append({RestartTargetKind::accessPoint, mac, u"Access point %1 of %2"_s.arg(index).arg(name)});
    }
    return job(name, targets, RecurrenceRule::dailyAt(9, 0), 30);
}

void TestFaultsStorage::editsOnAFailingDisk_data()
{
    QTest::addColumn<DiskFault>("fault");
    QTest::newRow("full") << DiskFault::full;
    QTest::newRow("nearly full") << DiskFault::littleRoom;
    QTest::newRow("read-only") << DiskFault::readOnly;
}

void TestFaultsStorage::editsOnAFailingDisk()
{
    QFETCH(DiskFault, fault);
    mountSmallDisk(256);
    AppState &state = makeState();
    for (const QString &name : {u"North"_s, u"South"_s, u"East"_s, u"West"_s})
        state.addJob(bigJob(name));
    const QByteArray before = readAll(jobsFile());
    QVERIFY2(before.size() > 2 * littleRoomBytes, qPrintable(QString::number(before.size())));
    QCOMPARE(jobsOn(before), std::optional(state.jobs()));

    breakDisk(fault);
    const auto expectDiskUntouched = [&] {
        QCOMPARE(readAll(jobsFile()), before);
        QCOMPARE(jobsFolderEntries(), QStringList{u"schedules.json"_s}); // no half file, no temporary
        QCOMPARE(state.lastError(), std::nullopt);                       // saving fails silently
    };

    const ScheduledJob extra = bigJob(u"Extra"_s);
    state.addJob(extra);
    QCOMPARE(state.jobs().size(), 5);
    QCOMPARE(state.jobs().last().id, extra.id);
    QVERIFY(state.jobs().last().nextRunAt.has_value());
    expectDiskUntouched();

    ScheduledJob renamed = state.jobs().first();
    renamed.name = u"North, renamed"_s;
    state.updateJob(renamed);
    QCOMPARE(state.jobs().first().name, u"North, renamed"_s);
    expectDiskUntouched();

    state.setJob(state.jobs().at(1), false);
    QVERIFY(!state.jobs().at(1).isEnabled);
    expectDiskUntouched();

    const QUuid removed = state.jobs().at(2).id;
    state.removeJobs({2});
    QCOMPARE(state.jobs().size(), 4);
    QVERIFY(std::none_of(state.jobs().cbegin(), state.jobs().cend(),
                         [&removed](const ScheduledJob &job) { return job.id == removed; }));
    expectDiskUntouched();

    // A scheduled run's record cannot be saved either (no controller: the run is skipped).
    QSignalSpy runs(&scheduler(), &SchedulerEngine::runFinished);
    now = utc(14, 9);
    scheduler().tick();
    QTRY_COMPARE(runs.size(), 1);
    QCOMPARE(state.jobs().first().lastRunAt, std::optional<QDateTime>(now));
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(15, 9)));
    QCOMPARE(logMessages().size(), 1); // the skipped run's line; nothing about the disk
    expectDiskUntouched();

    // Room again: the next change writes the whole list as it stands in memory.
    repairDisk(fault);
    const QList<ScheduledJob> edited = state.jobs();
    state.setJob(state.jobs().at(1), true);
    QCOMPARE(jobsOn(readAll(jobsFile())), std::optional(state.jobs()));
    QCOMPARE(state.jobs().size(), edited.size());
    QCOMPARE(state.jobs().first().name, u"North, renamed"_s);
    QCOMPARE(state.jobs().last().id, extra.id);
    QCOMPARE(state.jobs().first().lastRunAt, std::optional<QDateTime>(now));
    QCOMPARE(jobsFolderEntries(), QStringList{u"schedules.json"_s});
}

void TestFaultsStorage::unreadableFileOnAFullDisk()
{
    // A jobs file that does not decode is copied aside before a save replaces it; with no room for
    // the copy, the save is dropped and the file stays as it was.
    mountSmallDisk(128);
    QFile garbage(jobsFile());
    QVERIFY(garbage.open(QIODevice::WriteOnly));
    const QByteArray unreadable = "[{\"id\": " + QByteArray(qsizetype(24) * 1024, 'x');
    QCOMPARE(garbage.write(unreadable), unreadable.size());
    garbage.close();
    AppState &state = makeState();
    QVERIFY(state.jobs().isEmpty());

    fillDisk(littleRoomBytes);
    state.addJob(bigJob(u"North"_s));
    QCOMPARE(state.jobs().size(), 1);
    QCOMPARE(readAll(jobsFile()), unreadable);
    QCOMPARE(jobsFolderEntries(), QStringList{u"schedules.json"_s}); // no half copy either

    repairDisk(DiskFault::littleRoom);
    state.addJob(bigJob(u"South"_s));
    QCOMPARE(readAll(jobsFile() + u".unreadable"_s), unreadable);
    QCOMPARE(jobsOn(readAll(jobsFile())), std::optional(state.jobs()));
    QCOMPARE(state.jobs().size(), 2);
}

QTEST_GUILESS_MAIN(TestFaultsStorage)
#include "tst_faultsstorage.moc"
