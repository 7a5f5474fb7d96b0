// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "StateFixture.h"

#include <QFile>

using namespace lanternfold;
using namespace lanternfold::test;
using namespace Qt::StringLiterals;

/// The job list of the application state: adding, updating, switching and removing jobs, each
/// saved to the jobs file at once.
class TestAppStateJobs final : public QObject, public StateFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { StateFixture::init(); }
    void cleanup() { StateFixture::cleanup(); }

    void addedJobGetsItsNextRunEvenWhenDisabled();
    void addedOnceJobInThePastHasNoNextRun();
    void reenablingMovesThePassedRunToTheFuture();
    void updateKeepsPositionAndRecomputesWhenEnabled();
    void updateOfAJobThatIsGoneWritesNothing();
    void switchingAJobThatIsGoneWritesNothing();
    void removalReadsEachPositionAfterTheRemovalsBefore();
    void removalTakesEveryJobOfThatId();

private:
    [[nodiscard]] QByteArray jobsFile() const;
    static QDateTime utc(int year, int month, int day, int hour, int minute = 0)
    {
        return QDateTime(QDate(year, month, day), QTime(hour, minute), QTimeZone::utc());
    }
};

QByteArray TestAppStateJobs::jobsFile() const
{
    QFile file(jobsFilePath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestAppStateJobs::addedJobGetsItsNextRunEvenWhenDisabled()
{
    AppState &state = makeState(); // now is 2025-03-14 08:30 UTC
    ScheduledJob disabled = job(u"Off for now"_s, {}, RecurrenceRule::dailyAt(9, 0));
    disabled.isEnabled = false;
    state.addJob(disabled);
    QCOMPARE(state.jobs().size(), 1);
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 14, 9)));
    QVERIFY(!state.jobs().first().isEnabled);
    QCOMPARE(savedJobs(), state.jobs());
}

void TestAppStateJobs::addedOnceJobInThePastHasNoNextRun()
{
    AppState &state = makeState();
    state.addJob(job(u"Yesterday"_s, {}, RecurrenceRule::once(utc(2025, 3, 13, 8))));
    QCOMPARE(state.jobs().first().nextRunAt, std::nullopt);
    state.addJob(job(u"Tomorrow"_s, {}, RecurrenceRule::once(utc(2025, 3, 15, 8))));
    QCOMPARE(state.jobs().last().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 15, 8)));
}

void TestAppStateJobs::reenablingMovesThePassedRunToTheFuture()
{
    ScheduledJob old = job(u"Mornings"_s, {}, RecurrenceRule::dailyAt(7, 0));
    old.isEnabled = false;
    old.nextRunAt = utc(2025, 3, 10, 7);
    store->save({old});
    AppState &state = makeState();
    state.setJob(old, true);
    QVERIFY(state.jobs().first().isEnabled);
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 15, 7)));
    QCOMPARE(savedJobs(), state.jobs());

    now = utc(2025, 3, 20, 12);
    state.setJob(old, false);
    QVERIFY(!state.jobs().first().isEnabled);
    QCOMPARE(state.jobs().first().nextRunAt, std::optional<QDateTime>(utc(2025, 3, 15, 7))); // left as it was
    QCOMPARE(savedJobs(), state.jobs());
}

void TestAppStateJobs::updateKeepsPositionAndRecomputesWhenEnabled()
{
    AppState &state = makeState();
    const ScheduledJob a = job(u"a"_s, {}, RecurrenceRule::dailyAt(1, 0));
    const ScheduledJob b = job(u"b"_s, {}, RecurrenceRule::dailyAt(2, 0));
    const ScheduledJob c = job(u"c"_s, {}, RecurrenceRule::dailyAt(3, 0));
    state.addJob(a);
    state.addJob(b);
    state.addJob(c);
    QCOMPARE(state.jobs().at(0).name, u"a"_s);
    QCOMPARE(state.jobs().at(2).name, u"c"_s);

    ScheduledJob edited = state.jobs().at(1);
    edited.name = u"b, renamed"_s;
    edited.rule = RecurrenceRule::dailyAt(10, 15);
    edited.nextRunAt = utc(2000, 1, 1, 0);
    state.updateJob(edited);
    QCOMPARE(state.jobs().at(1).name, u"b, renamed"_s);
    QCOMPARE(state.jobs().at(1).nextRunAt, std::optional<QDateTime>(utc(2025, 3, 14, 10, 15)));

    // Disabled: the caller's next run is kept exactly, not cleared.
    edited.isEnabled = false;
    edited.nextRunAt = utc(2030, 6, 1, 12);
    state.updateJob(edited);
    QCOMPARE(state.jobs().at(1).nextRunAt, std::optional<QDateTime>(utc(2030, 6, 1, 12)));
    QCOMPARE(state.jobs().size(), 3);
    QCOMPARE(savedJobs(), state.jobs());
}

void TestAppStateJobs::updateOfAJobThatIsGoneWritesNothing()
{
    AppState &state = makeState();
    state.addJob(job(u"kept"_s, {}, RecurrenceRule::dailyAt(1, 0)));
    // Whatever is on disk now must stay byte for byte: nothing may be written.
    const QByteArray marker = jobsFile().replace("kept", "KEPT");
    QFile file(jobsFilePath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(marker);
    file.close();
    const QList<ScheduledJob> before = state.jobs();
    state.updateJob(job(u"deleted meanwhile"_s, {}, RecurrenceRule::dailyAt(2, 0)));
    QCOMPARE(state.jobs(), before);
    QCOMPARE(jobsFile(), marker);
}

void TestAppStateJobs::switchingAJobThatIsGoneWritesNothing()
{
    AppState &state = makeState();
    state.addJob(job(u"kept"_s, {}, RecurrenceRule::dailyAt(1, 0)));
    const QByteArray saved = jobsFile();
    QFile::remove(jobsFilePath());
    state.setJob(job(u"gone"_s, {}, RecurrenceRule::dailyAt(2, 0)), false);
    QVERIFY(!QFile::exists(jobsFilePath()));
    QVERIFY(!saved.isEmpty());
}

void TestAppStateJobs::removalReadsEachPositionAfterTheRemovalsBefore()
{
    AppState &state = makeState();
    for (const QString &name : {u"a"_s, u"b"_s, u"c"_s, u"d"_s})
        state.addJob(job(name, {}, RecurrenceRule::dailyAt(1, 0)));
    // Position 0 takes "a"; position 2 is then read against b, c, d and takes "d".
    state.removeJobs({2, 0, 9});
    QStringList names;
    for (const ScheduledJob &left : state.jobs())
        names.append(left.name);
    QCOMPARE(names, (QStringList{u"b"_s, u"c"_s}));
    QCOMPARE(savedJobs(), state.jobs());
}

void TestAppStateJobs::removalTakesEveryJobOfThatId()
{
    const ScheduledJob twin = job(u"twin"_s, {}, RecurrenceRule::dailyAt(1, 0));
    ScheduledJob sameId = twin;
    sameId.name = u"same id"_s;
    const ScheduledJob other = job(u"other"_s, {}, RecurrenceRule::dailyAt(2, 0));
    store->save({twin, other, sameId});
    AppState &state = makeState();
    QCOMPARE(state.jobs().size(), 3);
    state.removeJobs({0});
    QCOMPARE(state.jobs(), QList<ScheduledJob>{other});
    QCOMPARE(savedJobs(), state.jobs());
}

QTEST_GUILESS_MAIN(TestAppStateJobs)
#include "tst_appstatejobs.moc"
