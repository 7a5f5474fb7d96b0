// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Schedules/ScheduleStore.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <QTest>
#include <QTimeZone>
#include <sys/stat.h>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

QDateTime utc(int year, int month, int day, int hour, int minute, int second = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second), Qt::UTC);
}

/// The jobs that tests/data/schedules-expected.json describes, some with fractions of a second
/// that the file drops.
QList<ScheduledJob> sampleJobs()
{
    return {
        ScheduledJob{QUuid::fromString(u"3f2504e0-4f89-11d3-9a0c-0305e82c3301"_s),
                     u"Nightly APs"_s,
                     {RestartTarget{RestartTargetKind::accessPoint, u"aa:bb:cc:dd:ee:01"_s, u"Office AP"_s},
                      RestartTarget{RestartTargetKind::camera, u"61f0c2a3"_s, u"Door Cam"_s}},
                     RecurrenceRule::dailyAt(3, 30),
                     true,
                     utc(2025, 3, 13, 2, 30).addMSecs(250),
                     QDateTime(QDate(2025, 3, 14), QTime(3, 30, 0, 999), QTimeZone("Europe/Berlin")),
                     30},
        ScheduledJob{QUuid::fromString(u"E621E1F8-C36C-495A-93FC-0C247A3E6E5F"_s),
                     u"Kameras «Tür» — Wochenende"_s,
                     {RestartTarget{RestartTargetKind::camera, u"5e1c0ffee"_s, u"Garage"_s}},
                     RecurrenceRule::weeklyAt({7, 1}, 6, 0),
                     false,
                     std::nullopt,
                     std::nullopt,
                     0},
        ScheduledJob{QUuid(),
                     u"One-off"_s,
                     {},
                     RecurrenceRule::once(utc(2025, 12, 31, 23, 59, 59)),
                     true,
                     std::nullopt,
                     utc(2025, 12, 31, 23, 59, 59),
                     120},
        ScheduledJob{QUuid::fromString(u"7d444840-9dc0-11d1-b245-5ffdce74fad2"_s),
                     u"Every six hours \"quoted\""_s,
                     {RestartTarget{RestartTargetKind::accessPoint, u"AA:BB:CC:00:11:22"_s, u"Lobby"_s}},
                     RecurrenceRule::everyInterval(6),
                     true,
                     utc(1, 1, 1, 0, 0),
                     utc(9999, 12, 31, 23, 59, 59).addMSecs(999),
                     -5},
    };
}

/// sampleJobs() as they come back from the file: whole seconds, pauses within 0 to 300 seconds.
QList<ScheduledJob> sampleJobsTruncated()
{
    QList<ScheduledJob> jobs = sampleJobs();
    jobs[0].lastRunAt = utc(2025, 3, 13, 2, 30);
    jobs[0].nextRunAt = utc(2025, 3, 14, 2, 30);
    jobs[3].nextRunAt = utc(9999, 12, 31, 23, 59, 59);
    // A pause the editor cannot set comes back held to its range.
    jobs[3].staggerSeconds = 0;
    return jobs;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(bytes), bytes.size());
}

QByteArray expectedFile()
{
    return readFile(QStringLiteral(LANTERNFOLD_TEST_DATA_DIR "/schedules-expected.json"));
}

// One valid job followed by one without "staggerSeconds".
constexpr char oneGoodOneBad[] = R"([
 {"id":"3F2504E0-4F89-11D3-9A0C-0305E82C3301","name":"a","targets":[],"rule":{"type":"daily","hour":1,"minute":2},
  "isEnabled":true,"staggerSeconds":0},
 {"id":"3F2504E0-4F89-11D3-9A0C-0305E82C3302","name":"b","targets":[],"rule":{"type":"daily","hour":1,"minute":2},
  "isEnabled":true}
])";

} // namespace

/// The jobs file: where it lives, what it holds, and that a bad one is never lost.
class TestScheduleStore final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void firstStartCreatesFolderAndFileOnSave();
    void writesTheHandWrittenFile();
    void readsTheHandWrittenFile();
    void roundTripsWithWholeSeconds();
    void keysAreSorted();
    void emptyArrayLoadsEmpty();
    void unreadableFilesLoadEmpty_data();
    void unreadableFilesLoadEmpty();
    void unreadableFileIsCopiedBeforeSave();
    void noCopyWhenFileDecoded();
    void noCopyWhenNoFile();
    void olderCopyIsKept();
    void copyRepeatsUntilASaveReplacedTheFile();
    void failedCopySkipsTheSave_data();
    void failedCopySkipsTheSave();
    void copyOfTheSameBytesLetsTheSaveGoOn();
    void fileGoneSinceLoadIsSavedWithoutCopy();
    void unwritableJobLeavesFileAlone();
    void sharedStoreUsesXdgDataHome();
    void fifoIsNotWaitedFor();
    void deviceIsNotRead();
    void oversizedFileIsNotRead();
    void staggerIsHeldToItsRangeOnLoad();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString filePath() const { return m_dir->path() + u"/Lanternfold/schedules.json"_s; }
    QString copyPath() const { return filePath() + u".unreadable"_s; }
};

void TestScheduleStore::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestScheduleStore::firstStartCreatesFolderAndFileOnSave()
{
    const QString dataFolder = m_dir->path() + u"/not/yet/there"_s;
    ScheduleStore store(dataFolder);
    QVERIFY(QFileInfo(dataFolder + u"/Lanternfold"_s).isDir());
    QVERIFY(!QFile::exists(dataFolder + u"/Lanternfold/schedules.json"_s));
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    store.save({});
    QCOMPARE(readFile(dataFolder + u"/Lanternfold/schedules.json"_s), QByteArray("[\n]\n"));
    QVERIFY(!QFile::exists(dataFolder + u"/Lanternfold/schedules.json.unreadable"_s));
    // A folder that exists already is fine.
    ScheduleStore again(dataFolder);
    QCOMPARE(again.load(), QList<ScheduledJob>{});
}

void TestScheduleStore::writesTheHandWrittenFile()
{
    const QByteArray expected = expectedFile();
    QVERIFY(!expected.isEmpty());
    ScheduleStore store(m_dir->path());
    store.save(sampleJobs());
    QCOMPARE(readFile(filePath()), expected);
}

void TestScheduleStore::readsTheHandWrittenFile()
{
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    writeFile(filePath(), expectedFile());
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), sampleJobsTruncated());
}

void TestScheduleStore::roundTripsWithWholeSeconds()
{
    ScheduleStore store(m_dir->path());
    store.save(sampleJobs());
    const QList<ScheduledJob> loaded = store.load();
    QCOMPARE(loaded, sampleJobsTruncated());
    QVERIFY(loaded != sampleJobs()); // the fractions really were there and really were dropped
    // A second store over the same folder reads the same list.
    ScheduleStore other(m_dir->path());
    QCOMPARE(other.load(), sampleJobsTruncated());
}

void TestScheduleStore::keysAreSorted()
{
    ScheduleStore store(m_dir->path());
    store.save({sampleJobs().first()});
    QStringList keysOfJob;
    for (const QByteArray &line : readFile(filePath()).split('\n')) {
        // The job's own keys are indented by eight blanks.
        if (line.startsWith("        \"") && !line.startsWith("         "))
            keysOfJob.append(QString::fromUtf8(line.mid(9, line.indexOf('"', 9) - 9)));
    }
    QCOMPARE(keysOfJob, (QStringList{u"id"_s, u"isEnabled"_s, u"lastRunAt"_s, u"name"_s, u"nextRunAt"_s, u"rule"_s,
                                     u"staggerSeconds"_s, u"targets"_s}));
}

void TestScheduleStore::emptyArrayLoadsEmpty()
{
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    writeFile(filePath(), "[]");
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    store.save({});
    QVERIFY(!QFile::exists(copyPath()));
}

void TestScheduleStore::unreadableFilesLoadEmpty_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("one valid, one invalid job") << QByteArray(oneGoodOneBad);
    QTest::newRow("empty file") << QByteArray();
    QTest::newRow("object at top") << QByteArray(R"({"jobs":[]})");
    QTest::newRow("truncated") << expectedFile().left(200);
    QTest::newRow("unknown rule type") << expectedFile().replace("\"daily\"", "\"hourly\"");
    QTest::newRow("fractional date") << expectedFile().replace("02:30:00Z", "02:30:00.000Z");
    QTest::newRow("invalid utf-8") << QByteArray("[\"\xff\xfe\"]");
    QTest::newRow("bare null") << QByteArray("null");
}

void TestScheduleStore::unreadableFilesLoadEmpty()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    writeFile(filePath(), bytes);
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    // Loading leaves the file alone.
    QCOMPARE(readFile(filePath()), bytes);
    QVERIFY(!QFile::exists(copyPath()));
}

void TestScheduleStore::unreadableFileIsCopiedBeforeSave()
{
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    writeFile(filePath(), oneGoodOneBad);
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    store.save(sampleJobs());
    QCOMPARE(readFile(copyPath()), oneGoodOneBad);
    QCOMPARE(readFile(filePath()), expectedFile());
    // Once a save replaced the file there is nothing left to keep: the next save makes no copy.
    QVERIFY(QFile::remove(copyPath()));
    store.save({});
    QVERIFY(!QFile::exists(copyPath()));
}

void TestScheduleStore::noCopyWhenFileDecoded()
{
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    writeFile(filePath(), expectedFile());
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load().size(), 4);
    store.save({});
    QVERIFY(!QFile::exists(copyPath()));
    QCOMPARE(readFile(filePath()), QByteArray("[\n]\n"));
}

void TestScheduleStore::noCopyWhenNoFile()
{
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    store.save(sampleJobs());
    QVERIFY(!QFile::exists(copyPath()));
    // Saving without loading first makes no copy either, even over a bad file.
    writeFile(filePath(), "garbage");
    ScheduleStore fresh(m_dir->path());
    fresh.save({});
    QVERIFY(!QFile::exists(copyPath()));
}

void TestScheduleStore::olderCopyIsKept()
{
    // The copy of an earlier bad file may be all that is left of its schedules: a second bad
    // file must not cost the user the first one, nor block every later save.
    const QByteArray older = "an older unreadable file, much longer than the new one ......................";
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    writeFile(copyPath(), older);
    writeFile(filePath(), "{broken");
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    store.save(sampleJobs());
    QCOMPARE(readFile(copyPath()), older);
    QCOMPARE(readFile(copyPath() + u".2"_s), QByteArray("{broken"));
    QCOMPARE(store.load(), sampleJobsTruncated());
    // A third bad file goes beside both.
    writeFile(filePath(), "[{still broken");
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    store.save(sampleJobs());
    QCOMPARE(readFile(copyPath()), older);
    QCOMPARE(readFile(copyPath() + u".2"_s), QByteArray("{broken"));
    QCOMPARE(readFile(copyPath() + u".3"_s), QByteArray("[{still broken"));
    QCOMPARE(store.load(), sampleJobsTruncated());
}

void TestScheduleStore::copyRepeatsUntilASaveReplacedTheFile()
{
    // A save that writes nothing (a date the file cannot hold) leaves the bad file in place, so
    // the next save must still keep it.
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    writeFile(filePath(), oneGoodOneBad);
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    QList<ScheduledJob> unwritable = sampleJobs();
    unwritable[1].nextRunAt = QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC);
    store.save(unwritable);
    QCOMPARE(readFile(filePath()), oneGoodOneBad);
    store.save(sampleJobs());
    QCOMPARE(readFile(copyPath()), oneGoodOneBad);
    QCOMPARE(readFile(filePath()), expectedFile());
}

void TestScheduleStore::failedCopySkipsTheSave_data()
{
    // Things in the copy's place that a file cannot replace, so the copy cannot be made.
    QTest::addColumn<QString>("obstacle");
    QTest::newRow("folder with a file in it") << u"full folder"_s;
    QTest::newRow("empty folder") << u"empty folder"_s;
    QTest::newRow("link to nowhere") << u"dangling link"_s;
}

void TestScheduleStore::failedCopySkipsTheSave()
{
    QFETCH(QString, obstacle);
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    if (obstacle == u"full folder"_s)
        QVERIFY(QDir().mkpath(copyPath() + u"/occupied"_s));
    else if (obstacle == u"empty folder"_s)
        QVERIFY(QDir().mkpath(copyPath()));
    else
        QVERIFY(QFile::link(m_dir->path() + u"/nowhere/at/all"_s, copyPath()));
    const QByteArray broken = oneGoodOneBad;
    writeFile(filePath(), broken);
    const QDateTime modifiedBefore = QFileInfo(filePath()).lastModified();
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), QList<ScheduledJob>{});

    // The file is the only record of what it held: without a copy it stays exactly as it was,
    // and so does whatever stands in the copy's place.
    store.save(sampleJobs());
    QCOMPARE(readFile(filePath()), broken);
    QCOMPARE(QFileInfo(filePath()).lastModified(), modifiedBefore);
    const QFileInfo blocked(copyPath());
    QCOMPARE(blocked.isDir(), obstacle != u"dangling link"_s);
    QCOMPARE(blocked.isSymLink(), obstacle == u"dangling link"_s);
    if (obstacle == u"full folder"_s)
        QVERIFY(QFileInfo(copyPath() + u"/occupied"_s).isDir());
    // No temporary file or half-written copy is left behind either.
    QCOMPARE(QDir(m_dir->path() + u"/Lanternfold"_s).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System),
             (QStringList{u"schedules.json"_s, u"schedules.json.unreadable"_s}));
    // A second save does no better while the obstacle stands.
    store.save({});
    QCOMPARE(readFile(filePath()), broken);

    // Once the place is free, the next save copies the file aside and then writes.
    if (obstacle == u"dangling link"_s)
        QVERIFY(QFile::remove(copyPath()));
    else
        QVERIFY(QDir(copyPath()).removeRecursively());
    store.save(sampleJobs());
    QCOMPARE(readFile(copyPath()), broken);
    QCOMPARE(readFile(filePath()), expectedFile());
    // That save replaced the bad file: later saves make no copy.
    QVERIFY(QFile::remove(copyPath()));
    store.save({});
    QVERIFY(!QFile::exists(copyPath()));
    QCOMPARE(readFile(filePath()), QByteArray("[\n]\n"));
}

void TestScheduleStore::copyOfTheSameBytesLetsTheSaveGoOn()
{
    // A save that copied the file aside but then could not write it leaves the copy behind; it
    // holds exactly this file, so the next save may replace the file.
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    writeFile(filePath(), "{broken");
    writeFile(copyPath(), "{broken");
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    store.save(sampleJobs());
    QCOMPARE(readFile(copyPath()), QByteArray("{broken"));
    QCOMPARE(readFile(filePath()), expectedFile());
}

void TestScheduleStore::fileGoneSinceLoadIsSavedWithoutCopy()
{
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    writeFile(filePath(), "{broken");
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    QVERIFY(QFile::remove(filePath()));
    store.save(sampleJobs());
    QVERIFY(!QFile::exists(copyPath()));
    QCOMPARE(readFile(filePath()), expectedFile());
}

void TestScheduleStore::unwritableJobLeavesFileAlone()
{
    ScheduleStore store(m_dir->path());
    store.save(sampleJobs());
    QList<ScheduledJob> jobs = sampleJobs();
    jobs[0].lastRunAt = QDateTime(QDate(0, 6, 1), QTime(0, 0), Qt::UTC);
    store.save(jobs);
    QCOMPARE(readFile(filePath()), expectedFile());
}

void TestScheduleStore::sharedStoreUsesXdgDataHome()
{
    // run-isolated.sh gives every test its own XDG folders already; pointing XDG_DATA_HOME at a
    // folder of this test keeps a run outside it away from the user's real schedules too.
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_dir->path()));
    ScheduleStore &store = ScheduleStore::shared();
    QCOMPARE(&store, &ScheduleStore::shared());
    store.save(sampleJobs());
    QCOMPARE(readFile(filePath()), expectedFile());
    QCOMPARE(store.load(), sampleJobsTruncated());
}

void TestScheduleStore::fifoIsNotWaitedFor()
{
    // Nobody ever writes into this FIFO: opening it to read would wait for ever.
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    QCOMPARE(::mkfifo(QFile::encodeName(filePath()).constData(), 0600), 0);
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    // The FIFO is moved aside as it is, and the save goes on.
    store.save(sampleJobs());
    QCOMPARE(readFile(filePath()), expectedFile());
    QVERIFY(QFileInfo(copyPath()).exists());
    QVERIFY(!QFileInfo(copyPath()).isFile());
}

void TestScheduleStore::deviceIsNotRead()
{
    // A device that never ends (here through a link, as no test may make device nodes).
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    QVERIFY(QFile::link(u"/dev/zero"_s, filePath()));
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    store.save(sampleJobs());
    QCOMPARE(readFile(filePath()), expectedFile());
    QCOMPARE(QFileInfo(copyPath()).symLinkTarget(), u"/dev/zero"_s);
}

void TestScheduleStore::oversizedFileIsNotRead()
{
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    {
        QFile file(filePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.write("[") == 1);
        QVERIFY(file.resize((qint64(16) << 20) + 1)); // sparse: no disk is spent
    }
    ScheduleStore store(m_dir->path());
    QCOMPARE(store.load(), QList<ScheduledJob>{});
    // Kept aside whole before the save replaces it.
    store.save(sampleJobs());
    QCOMPARE(QFileInfo(copyPath()).size(), (qint64(16) << 20) + 1);
    QCOMPARE(readFile(filePath()), expectedFile());
}

void TestScheduleStore::staggerIsHeldToItsRangeOnLoad()
{
    QVERIFY(QDir().mkpath(m_dir->path() + u"/Lanternfold"_s));
    writeFile(filePath(), R"([
 {"id":"3F2504E0-4F89-11D3-9A0C-0305E82C3301","name":"a","targets":[],"rule":{"type":"daily","hour":1,"minute":2},
  "isEnabled":true,"staggerSeconds":100000},
 {"id":"3F2504E0-4F89-11D3-9A0C-0305E82C3302","name":"b","targets":[],"rule":{"type":"daily","hour":1,"minute":2},
  "isEnabled":true,"staggerSeconds":-5},
 {"id":"3F2504E0-4F89-11D3-9A0C-0305E82C3303","name":"c","targets":[],"rule":{"type":"daily","hour":1,"minute":2},
  "isEnabled":true,"staggerSeconds":45}
])");
    ScheduleStore store(m_dir->path());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"waited 100000 seconds between devices; held to 300"_s));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"waited -5 seconds between devices; held to 0"_s));
    const QList<ScheduledJob> jobs = store.load();
    QCOMPARE(jobs.size(), 3);
    QCOMPARE(jobs.at(0).staggerSeconds, 300);
    QCOMPARE(jobs.at(1).staggerSeconds, 0);
    QCOMPARE(jobs.at(2).staggerSeconds, 45);
}

QTEST_GUILESS_MAIN(TestScheduleStore)
#include "tst_schedulestore.moc"
