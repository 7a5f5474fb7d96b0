// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Schedules/RecurrenceRuleNextRun.h"

#include <QTest>

using namespace lanternfold;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(lanternfold::RecurrenceRule)

namespace {

// Qt's ISO reading is independent of the code under test, and lenient enough for fixtures.
QDateTime at(const char *isoUtc)
{
    const QDateTime date = QDateTime::fromString(QString::fromLatin1(isoUtc), Qt::ISODate);
    Q_ASSERT(date.isValid());
    return date;
}

Calendar calendarIn(const char *zone, const char *locale = "en_US")
{
    const QTimeZone timeZone(zone);
    Q_ASSERT(timeZone.isValid());
    return Calendar{timeZone, QLocale(QString::fromLatin1(locale))};
}

QDateTime none()
{
    return {};
}

/// The one script that every letter of `text` is written in; Script_Unknown when there are no
/// letters, Script_Common when they mix scripts.
QChar::Script scriptOfLetters(const QString &text)
{
    QChar::Script found = QChar::Script_Unknown;
    for (const QChar c : text) {
        if (!c.isLetter())
            continue;
        if (found == QChar::Script_Unknown)
            found = c.script();
        else if (c.script() != found)
            return QChar::Script_Common;
    }
    return found;
}

} // namespace

/// nextRun and summary of every rule case, in explicit zones and locales.
class TestRecurrenceRuleNextRun final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void zonesExist();
    void zoneTable_data();
    void zoneTable();
    void onceFiresOnlyAfterStrictlyLater();
    void dailyAtExactMinuteMovesToNextDay();
    void weeklyAt_data();
    void weeklyAt();
    void everyIntervalIsAbsolute();
    void everyIntervalBelowOneNeverFires();
    void outOfRangeValuesGiveNoDate_data();
    void outOfRangeValuesGiveNoDate();
    void nothingAfterYear9999();
    void invalidAfterGivesNoDate();
    void dailyRuleFiresOncePerDayThroughBothChanges();
    void weekdayNumbersStartOnSunday();
    void summaries_data();
    void summaries();
    void onceSummaryUsesSystemZoneData();
    void localesKeepTheirScript_data();
    void localesKeepTheirScript();
};

void TestRecurrenceRuleNextRun::zonesExist()
{
    // Guard for the tables below: a machine without tzdata would give UTC everywhere.
    for (const char *zone :
         {"America/New_York", "Europe/Berlin", "Australia/Lord_Howe", "Asia/Kolkata", "Africa/Cairo", "UTC"})
        QVERIFY2(QTimeZone(zone).isValid(), zone);
    QCOMPARE(QTimeZone("America/New_York").offsetFromUtc(at("2024-07-01T00:00:00Z")), -4 * 3600);
}

void TestRecurrenceRuleNextRun::zoneTable_data()
{
    QTest::addColumn<QString>("zone");
    QTest::addColumn<RecurrenceRule>("rule");
    QTest::addColumn<QDateTime>("after");
    QTest::addColumn<QDateTime>("expected");

    // Every expected instant below was worked out by hand from `zdump -v -c 2024,2026 ZONE`
    // (tzdata of Debian 12), not from this code. The transitions it lists:
    //   America/New_York    2024-03-10T07:00Z 01:59:59 EST -> 03:00 EDT; 2024-11-03T06:00Z 01:59:59 EDT -> 01:00 EST
    //                       2025-03-09T07:00Z same;                      2025-11-02T06:00Z same
    //   Europe/Berlin       2024-03-31T01:00Z 01:59:59 CET -> 03:00 CEST; 2024-10-27T01:00Z 02:59:59 CEST -> 02:00 CET
    //                       2025-03-30T01:00Z same;                       2025-10-26T01:00Z same
    //   Australia/Lord_Howe 2024-04-06T15:00Z 01:59:59 +11 -> 01:30 +1030; 2024-10-05T15:30Z 01:59:59 +1030 -> 02:30
    //   +11
    //                       2025-04-05T15:00Z same;                        2025-10-04T15:30Z same
    //   Africa/Cairo        2024-04-25T22:00Z 23:59:59 EET -> 01:00 EEST; 2024-10-31T21:00Z 23:59:59 EEST -> 23:00 EET
    //                       2025-04-24T22:00Z same;                       2025-10-30T21:00Z same
    //   Asia/Kolkata and UTC: no transitions (+05:30 and +00:00 throughout).
    const auto row = [](const char *name, const char *zone, const RecurrenceRule &rule, const char *after,
                        const QDateTime &expected) {
        QTest::newRow(name) << QString::fromLatin1(zone) << rule << at(after) << expected;
    };
    using R = RecurrenceRule;

    // New York, spring 2024: 02:00-02:59 do not exist on 10 March.
    row("ny 2024 spring 02:30 skipped -> 03:30", "America/New_York", R::dailyAt(2, 30), "2024-03-10T05:00:00Z",
        at("2024-03-10T07:30:00Z"));
    row("ny 2024 spring 02:00 skipped -> 03:00", "America/New_York", R::dailyAt(2, 0), "2024-03-10T05:00:00Z",
        at("2024-03-10T07:00:00Z"));
    row("ny 2024 spring 01:59 still EST", "America/New_York", R::dailyAt(1, 59), "2024-03-10T05:00:00Z",
        at("2024-03-10T06:59:00Z"));
    row("ny 2024 spring 03:00 first EDT minute", "America/New_York", R::dailyAt(3, 0), "2024-03-10T05:00:00Z",
        at("2024-03-10T07:00:00Z"));
    row("ny 2024 spring asked at the moved time", "America/New_York", R::dailyAt(2, 30), "2024-03-10T07:30:00Z",
        at("2024-03-11T06:30:00Z"));
    row("ny 2024 spring asked the day before at 02:30", "America/New_York", R::dailyAt(2, 30), "2024-03-09T07:30:00Z",
        at("2024-03-10T07:30:00Z"));
    row("ny 2024 spring noon after a 23-hour day", "America/New_York", R::dailyAt(12, 0), "2024-03-09T17:00:00Z",
        at("2024-03-10T16:00:00Z"));
    // New York, fall 2024: 01:00-01:59 happen twice on 3 November (EDT 05:00Z-05:59Z, EST 06:00Z-06:59Z).
    row("ny 2024 fall first 01:30", "America/New_York", R::dailyAt(1, 30), "2024-11-03T04:00:00Z",
        at("2024-11-03T05:30:00Z"));
    row("ny 2024 fall between the two 01:30s", "America/New_York", R::dailyAt(1, 30), "2024-11-03T05:45:00Z",
        at("2024-11-04T06:30:00Z"));
    row("ny 2024 fall in the second 01:00 hour", "America/New_York", R::dailyAt(1, 30), "2024-11-03T06:15:00Z",
        at("2024-11-04T06:30:00Z"));
    row("ny 2024 fall asked at the first 01:00", "America/New_York", R::dailyAt(1, 0), "2024-11-03T05:00:00Z",
        at("2024-11-04T06:00:00Z"));
    row("ny 2024 fall 02:00 after the repeat", "America/New_York", R::dailyAt(2, 0), "2024-11-03T05:30:00Z",
        at("2024-11-03T07:00:00Z"));
    row("ny 2025 spring 02:30 -> 03:30", "America/New_York", R::dailyAt(2, 30), "2025-03-09T00:00:00Z",
        at("2025-03-09T07:30:00Z"));
    row("ny 2025 fall between the two 01:30s", "America/New_York", R::dailyAt(1, 30), "2025-11-02T05:31:00Z",
        at("2025-11-03T06:30:00Z"));
    row("ny 2025 spring weekly sunday 02:30", "America/New_York", R::weeklyAt({1}, 2, 30), "2025-03-08T12:00:00Z",
        at("2025-03-09T07:30:00Z"));
    row("ny 2025 fall weekly sunday between 01:30s", "America/New_York", R::weeklyAt({1}, 1, 30),
        "2025-11-02T05:45:00Z", at("2025-11-09T06:30:00Z"));
    row("ny year end midnight", "America/New_York", R::dailyAt(0, 0), "2024-12-31T12:00:00Z",
        at("2025-01-01T05:00:00Z"));
    row("ny year end 23:30 is next year in UTC", "America/New_York", R::dailyAt(23, 30), "2024-12-31T12:00:00Z",
        at("2025-01-01T04:30:00Z"));
    row("ny leap day to 1 March", "America/New_York", R::dailyAt(6, 0), "2024-02-29T11:00:00Z",
        at("2024-03-01T11:00:00Z"));
    row("ny weekly monday across the year", "America/New_York", R::weeklyAt({2}, 9, 0), "2025-12-31T15:00:00Z",
        at("2026-01-05T14:00:00Z"));

    // Berlin: 02:00-02:59 skipped in March, repeated in October.
    row("berlin 2024 spring 02:30 -> 03:30", "Europe/Berlin", R::dailyAt(2, 30), "2024-03-30T23:00:00Z",
        at("2024-03-31T01:30:00Z"));
    row("berlin 2024 fall first 02:30", "Europe/Berlin", R::dailyAt(2, 30), "2024-10-26T22:00:00Z",
        at("2024-10-27T00:30:00Z"));
    row("berlin 2024 fall between the two 02:30s", "Europe/Berlin", R::dailyAt(2, 30), "2024-10-27T00:45:00Z",
        at("2024-10-28T01:30:00Z"));
    row("berlin 2025 spring 02:15 -> 03:15", "Europe/Berlin", R::dailyAt(2, 15), "2025-03-29T12:00:00Z",
        at("2025-03-30T01:15:00Z"));
    row("berlin 2025 fall in the second 02:00 hour", "Europe/Berlin", R::dailyAt(2, 59), "2025-10-26T01:30:00Z",
        at("2025-10-27T01:59:00Z"));
    row("berlin 2025 weekly sat and sun before spring", "Europe/Berlin", R::weeklyAt({1, 7}, 2, 30),
        "2025-03-28T12:00:00Z", at("2025-03-29T01:30:00Z"));
    row("berlin year end midnight", "Europe/Berlin", R::dailyAt(0, 0), "2024-12-31T22:59:59Z",
        at("2024-12-31T23:00:00Z"));
    row("berlin month end", "Europe/Berlin", R::dailyAt(8, 0), "2025-04-30T06:00:00Z", at("2025-05-01T06:00:00Z"));

    // Lord Howe: half-hour changes. 02:00-02:29 skipped in October, 01:30-01:59 repeated in April.
    row("lord howe 2024 spring 02:15 -> 03:15", "Australia/Lord_Howe", R::dailyAt(2, 15), "2024-10-05T13:00:00Z",
        at("2024-10-05T16:15:00Z"));
    row("lord howe 2024 spring 02:45 exists", "Australia/Lord_Howe", R::dailyAt(2, 45), "2024-10-05T13:00:00Z",
        at("2024-10-05T15:45:00Z"));
    row("lord howe 2024 spring 02:00 -> 03:00", "Australia/Lord_Howe", R::dailyAt(2, 0), "2024-10-05T13:00:00Z",
        at("2024-10-05T16:00:00Z"));
    row("lord howe 2024 fall first 01:45", "Australia/Lord_Howe", R::dailyAt(1, 45), "2024-04-06T13:00:00Z",
        at("2024-04-06T14:45:00Z"));
    row("lord howe 2024 fall between the two 01:45s", "Australia/Lord_Howe", R::dailyAt(1, 45), "2024-04-06T14:50:00Z",
        at("2024-04-07T15:15:00Z"));
    row("lord howe 2025 spring 02:15 -> 03:15", "Australia/Lord_Howe", R::dailyAt(2, 15), "2025-10-04T12:00:00Z",
        at("2025-10-04T16:15:00Z"));
    row("lord howe 2025 fall between the two 01:30s", "Australia/Lord_Howe", R::dailyAt(1, 30), "2025-04-05T14:31:00Z",
        at("2025-04-06T15:00:00Z"));
    row("lord howe year end midnight", "Australia/Lord_Howe", R::dailyAt(0, 0), "2024-12-31T12:00:00Z",
        at("2024-12-31T13:00:00Z"));

    // Kolkata: +05:30 all year, so the New York change days are ordinary days there.
    row("kolkata midnight one second before", "Asia/Kolkata", R::dailyAt(0, 0), "2024-12-31T18:29:59Z",
        at("2024-12-31T18:30:00Z"));
    row("kolkata midnight exactly", "Asia/Kolkata", R::dailyAt(0, 0), "2024-12-31T18:30:00Z",
        at("2025-01-01T18:30:00Z"));
    row("kolkata leap day", "Asia/Kolkata", R::dailyAt(5, 30), "2024-02-28T12:00:00Z", at("2024-02-29T00:00:00Z"));
    row("kolkata ny spring day 2024", "Asia/Kolkata", R::dailyAt(2, 30), "2024-03-09T21:00:00Z",
        at("2024-03-09T21:00:00Z").addSecs(qint64(24) * 3600));
    row("kolkata ny fall day 2025 asked at the minute", "Asia/Kolkata", R::dailyAt(1, 30), "2025-11-01T20:00:00Z",
        at("2025-11-02T20:00:00Z"));

    // Cairo: the change happens at midnight (00:00-00:59 skipped) and 23:00-23:59 repeat.
    row("cairo 2024 spring 00:30 -> 01:30", "Africa/Cairo", R::dailyAt(0, 30), "2024-04-25T12:00:00Z",
        at("2024-04-25T22:30:00Z"));
    row("cairo 2024 spring 00:00 -> 01:00", "Africa/Cairo", R::dailyAt(0, 0), "2024-04-25T12:00:00Z",
        at("2024-04-25T22:00:00Z"));
    row("cairo 2024 fall first 23:30", "Africa/Cairo", R::dailyAt(23, 30), "2024-10-31T12:00:00Z",
        at("2024-10-31T20:30:00Z"));
    row("cairo 2024 fall between the two 23:30s", "Africa/Cairo", R::dailyAt(23, 30), "2024-10-31T20:45:00Z",
        at("2024-11-01T21:30:00Z"));
    row("cairo 2025 spring 00:15 -> 01:15", "Africa/Cairo", R::dailyAt(0, 15), "2025-04-24T21:00:00Z",
        at("2025-04-24T22:15:00Z"));
    row("cairo 2025 fall asked at the first 23:00", "Africa/Cairo", R::dailyAt(23, 0), "2025-10-30T20:00:00Z",
        at("2025-10-31T21:00:00Z"));
    row("cairo 2025 weekly friday 00:30 skipped", "Africa/Cairo", R::weeklyAt({6}, 0, 30), "2025-04-20T12:00:00Z",
        at("2025-04-24T22:30:00Z"));
    row("cairo year end", "Africa/Cairo", R::dailyAt(0, 0), "2025-12-31T21:59:59Z", at("2025-12-31T22:00:00Z"));

    // UTC.
    row("utc exactly at the minute", "UTC", R::dailyAt(7, 30), "2024-12-31T07:30:00Z", at("2025-01-01T07:30:00Z"));
    row("utc one second before", "UTC", R::dailyAt(7, 30), "2024-12-31T07:29:59Z", at("2024-12-31T07:30:00Z"));
    row("utc leap day to 1 March", "UTC", R::dailyAt(23, 59), "2024-02-29T23:59:00Z", at("2024-03-01T23:59:00Z"));
    row("utc weekly saturday across the year", "UTC", R::weeklyAt({7}, 0, 0), "2025-12-31T00:00:00Z",
        at("2026-01-03T00:00:00Z"));
    row("utc last minute of 9999", "UTC", R::dailyAt(23, 59), "9999-12-31T00:00:00Z", at("9999-12-31T23:59:00Z"));
    row("utc nothing in year 10000", "UTC", R::dailyAt(0, 0), "9999-12-31T00:00:00Z", none());
    row("ny 9999 evening is 10000 in UTC", "America/New_York", R::dailyAt(20, 0), "9999-12-31T12:00:00Z", none());
    row("ny 9999 morning still fits", "America/New_York", R::dailyAt(8, 0), "9999-12-31T12:00:00Z",
        at("9999-12-31T13:00:00Z"));
}

void TestRecurrenceRuleNextRun::zoneTable()
{
    QFETCH(QString, zone);
    QFETCH(RecurrenceRule, rule);
    QFETCH(QDateTime, after);
    QFETCH(QDateTime, expected);

    const auto result = nextRun(rule, after, calendarIn(zone.toLatin1().constData()));
    QCOMPARE(result.has_value(), expected.isValid());
    if (result)
        QCOMPARE(result->toUTC(), expected.toUTC());
}

void TestRecurrenceRuleNextRun::onceFiresOnlyAfterStrictlyLater()
{
    const Calendar calendar = calendarIn("Europe/Berlin");
    const QDateTime date = at("2025-03-14T07:30:00Z");
    QCOMPARE(nextRun(RecurrenceRule::once(date), date, calendar), std::nullopt);
    QCOMPARE(nextRun(RecurrenceRule::once(date), date.addSecs(-1), calendar), std::optional(date));
    QCOMPARE(nextRun(RecurrenceRule::once(date), date.addSecs(1), calendar), std::nullopt);
    QCOMPARE(nextRun(RecurrenceRule::once(QDateTime()), date, calendar), std::nullopt);
}

void TestRecurrenceRuleNextRun::dailyAtExactMinuteMovesToNextDay()
{
    // Berlin in summer: 07:30 CEST = 05:30Z.
    const Calendar calendar = calendarIn("Europe/Berlin");
    const RecurrenceRule rule = RecurrenceRule::dailyAt(7, 30);
    QCOMPARE(nextRun(rule, at("2025-06-10T05:30:00Z"), calendar), std::optional(at("2025-06-11T05:30:00Z")));
    QCOMPARE(nextRun(rule, at("2025-06-10T05:29:59Z"), calendar), std::optional(at("2025-06-10T05:30:00Z")));
    QCOMPARE(nextRun(rule, at("2025-06-10T05:29:59.999Z"), calendar), std::optional(at("2025-06-10T05:30:00Z")));
    QCOMPARE(nextRun(rule, at("2025-06-10T05:30:00.001Z"), calendar), std::optional(at("2025-06-11T05:30:00Z")));
}

void TestRecurrenceRuleNextRun::weeklyAt_data()
{
    QTest::addColumn<RecurrenceRule>("rule");
    QTest::addColumn<QDateTime>("after");
    QTest::addColumn<QDateTime>("expected");
    // Berlin, 2025-03-12 is a Wednesday (CET, +01:00).
    QTest::newRow("empty set") << RecurrenceRule::weeklyAt({}, 9, 0) << at("2025-03-12T09:00:00Z") << none();
    QTest::newRow("wed 10:00 -> fri 09:00")
        << RecurrenceRule::weeklyAt({2, 4, 6}, 9, 0) << at("2025-03-12T09:00:00Z") << at("2025-03-14T08:00:00Z");
    QTest::newRow("wed 08:00 -> wed 09:00")
        << RecurrenceRule::weeklyAt({2, 4, 6}, 9, 0) << at("2025-03-12T07:00:00Z") << at("2025-03-12T08:00:00Z");
    QTest::newRow("wed 09:00 exactly -> next wed")
        << RecurrenceRule::weeklyAt({4}, 9, 0) << at("2025-03-12T08:00:00Z") << at("2025-03-19T08:00:00Z");
    QTest::newRow("sunday is 1") << RecurrenceRule::weeklyAt({1}, 9, 0) << at("2025-03-12T09:00:00Z")
                                 << at("2025-03-16T08:00:00Z");
    QTest::newRow("saturday is 7") << RecurrenceRule::weeklyAt({7}, 9, 0) << at("2025-03-12T09:00:00Z")
                                   << at("2025-03-15T08:00:00Z");
    QTest::newRow("weekday 9 ignored, monday kept")
        << RecurrenceRule::weeklyAt({9, 2}, 9, 0) << at("2025-03-12T09:00:00Z") << at("2025-03-17T08:00:00Z");
    QTest::newRow("only weekdays outside 1-7")
        << RecurrenceRule::weeklyAt({0, 8, -1, 1000000}, 9, 0) << at("2025-03-12T09:00:00Z") << none();
    QTest::newRow("all days") << RecurrenceRule::weeklyAt({1, 2, 3, 4, 5, 6, 7}, 9, 0) << at("2025-03-12T09:00:00Z")
                              << at("2025-03-13T08:00:00Z");
}

void TestRecurrenceRuleNextRun::weeklyAt()
{
    QFETCH(RecurrenceRule, rule);
    QFETCH(QDateTime, after);
    QFETCH(QDateTime, expected);
    const auto result = nextRun(rule, after, calendarIn("Europe/Berlin"));
    QCOMPARE(result.value_or(QDateTime()), expected);
}

void TestRecurrenceRuleNextRun::everyIntervalIsAbsolute()
{
    const Calendar calendar = calendarIn("America/New_York");
    // Midnight EST before the spring change: six hours later is 07:00 EDT on the wall, not 06:00.
    const QDateTime spring = at("2024-03-10T05:00:00Z");
    QCOMPARE(nextRun(RecurrenceRule::everyInterval(6), spring, calendar), std::optional(spring.addSecs(21600)));
    QCOMPARE(nextRun(RecurrenceRule::everyInterval(6), spring, calendar)->toTimeZone(calendar.timeZone).time(),
             QTime(7, 0));
    const QDateTime fall = at("2024-11-03T04:00:00.250Z");
    QCOMPARE(nextRun(RecurrenceRule::everyInterval(6), fall, calendar)->toMSecsSinceEpoch(),
             fall.toMSecsSinceEpoch() + qint64(21600) * 1000);
    QCOMPARE(nextRun(RecurrenceRule::everyInterval(1), fall, calendar), std::optional(fall.addSecs(3600)));
}

void TestRecurrenceRuleNextRun::everyIntervalBelowOneNeverFires()
{
    const Calendar calendar = calendarIn("UTC");
    const QDateTime after = at("2025-01-01T00:00:00Z");
    QCOMPARE(nextRun(RecurrenceRule::everyInterval(0), after, calendar), std::nullopt);
    QCOMPARE(nextRun(RecurrenceRule::everyInterval(-3), after, calendar), std::nullopt);
    QCOMPARE(nextRun(RecurrenceRule::everyInterval(std::numeric_limits<qint64>::min()), after, calendar), std::nullopt);
}

void TestRecurrenceRuleNextRun::outOfRangeValuesGiveNoDate_data()
{
    QTest::addColumn<RecurrenceRule>("rule");
    QTest::newRow("hour 24") << RecurrenceRule::dailyAt(24, 0);
    QTest::newRow("hour -1") << RecurrenceRule::dailyAt(-1, 0);
    QTest::newRow("minute 60") << RecurrenceRule::dailyAt(7, 60);
    QTest::newRow("minute -1") << RecurrenceRule::dailyAt(7, -1);
    QTest::newRow("huge hour") << RecurrenceRule::dailyAt(std::numeric_limits<qint64>::max(), 0);
    QTest::newRow("huge minute") << RecurrenceRule::dailyAt(0, std::numeric_limits<qint64>::min());
    QTest::newRow("weekly hour 25") << RecurrenceRule::weeklyAt({2}, 25, 0);
    QTest::newRow("weekly minute 99") << RecurrenceRule::weeklyAt({2}, 9, 99);
    QTest::newRow("weekday 0 only") << RecurrenceRule::weeklyAt({0}, 9, 0);
    QTest::newRow("weekday 8 only") << RecurrenceRule::weeklyAt({8}, 9, 0);
    QTest::newRow("interval overflowing") << RecurrenceRule::everyInterval(std::numeric_limits<qint64>::max());
    QTest::newRow("once in year 10000") << RecurrenceRule::once(QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC));
}

void TestRecurrenceRuleNextRun::outOfRangeValuesGiveNoDate()
{
    QFETCH(RecurrenceRule, rule);
    for (const char *zone : {"UTC", "America/New_York", "Australia/Lord_Howe"})
        QCOMPARE(nextRun(rule, at("2025-03-12T09:00:00Z"), calendarIn(zone)), std::nullopt);
}

void TestRecurrenceRuleNextRun::nothingAfterYear9999()
{
    const Calendar calendar = calendarIn("UTC");
    const QDateTime last = at("9999-12-31T23:59:59Z");
    QCOMPARE(nextRun(RecurrenceRule::once(last), at("9999-01-01T00:00:00Z"), calendar), std::optional(last));
    QCOMPARE(nextRun(RecurrenceRule::once(last.addMSecs(1)), at("9999-01-01T00:00:00Z"), calendar), std::nullopt);
    QCOMPARE(nextRun(RecurrenceRule::everyInterval(1), at("9999-12-31T22:59:59Z"), calendar), std::optional(last));
    QCOMPARE(nextRun(RecurrenceRule::everyInterval(1), at("9999-12-31T23:00:00Z"), calendar), std::nullopt);
    QCOMPARE(nextRun(RecurrenceRule::everyInterval(1), last, calendar), std::nullopt);
    QCOMPARE(nextRun(RecurrenceRule::dailyAt(0, 0), last, calendar), std::nullopt);
    QCOMPARE(nextRun(RecurrenceRule::weeklyAt({1, 2, 3, 4, 5, 6, 7}, 23, 59), at("9999-12-31T23:59:00Z"), calendar),
             std::nullopt);
    const QDateTime far(QDate(20000, 6, 1), QTime(0, 0), Qt::UTC);
    QCOMPARE(nextRun(RecurrenceRule::dailyAt(1, 0), far, calendar), std::nullopt);
    QCOMPARE(nextRun(RecurrenceRule::weeklyAt({3}, 1, 0), far, calendarIn("America/New_York")), std::nullopt);
}

void TestRecurrenceRuleNextRun::invalidAfterGivesNoDate()
{
    const Calendar calendar = calendarIn("UTC");
    QCOMPARE(nextRun(RecurrenceRule::dailyAt(1, 0), QDateTime(), calendar), std::nullopt);
    QCOMPARE(nextRun(RecurrenceRule::everyInterval(1), QDateTime(), calendar), std::nullopt);
    QCOMPARE(nextRun(RecurrenceRule::once(at("2025-01-01T00:00:00Z")), QDateTime(), calendar), std::nullopt);
}

void TestRecurrenceRuleNextRun::dailyRuleFiresOncePerDayThroughBothChanges()
{
    // Feeding each result back in, a daily rule fires exactly once per calendar day through both
    // changes of 2024 in New York: never twice on the fall-back night, never skipped in spring.
    const Calendar calendar = calendarIn("America/New_York");
    for (const auto &[hour, minute] : {std::pair{1, 30}, std::pair{2, 30}, std::pair{1, 0}, std::pair{0, 0}}) {
        const RecurrenceRule rule = RecurrenceRule::dailyAt(hour, minute);
        QDateTime cursor = at("2024-03-01T00:00:00Z");
        QDate previousDay;
        int runs = 0;
        while (cursor < at("2024-12-01T00:00:00Z")) {
            const auto next = nextRun(rule, cursor, calendar);
            QVERIFY(next);
            QVERIFY(*next > cursor);
            const QDate day = next->toTimeZone(calendar.timeZone).date();
            if (previousDay.isValid())
                QCOMPARE(previousDay.daysTo(day), 1);
            previousDay = day;
            cursor = *next;
            ++runs;
        }
        // 1 March to 1 December 2024: the last answer is the first run after the loop's end.
        QCOMPARE(runs, 276);
    }
}

void TestRecurrenceRuleNextRun::weekdayNumbersStartOnSunday()
{
    QCOMPARE(weekdayNumber(QDate(2025, 3, 9)), 1);  // Sunday
    QCOMPARE(weekdayNumber(QDate(2025, 3, 10)), 2); // Monday
    QCOMPARE(weekdayNumber(QDate(2025, 3, 14)), 6); // Friday
    QCOMPARE(weekdayNumber(QDate(2025, 3, 15)), 7); // Saturday
}

void TestRecurrenceRuleNextRun::summaries_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("zone");
    QTest::addColumn<RecurrenceRule>("rule");
    QTest::addColumn<QString>("expected");
    const auto both = [](const char *name, const RecurrenceRule &rule, const QString &english, const QString &german) {
        QTest::newRow(qPrintable(u"en_US "_s + QString::fromLatin1(name))) << u"en_US"_s << u"UTC"_s << rule << english;
        QTest::newRow(qPrintable(u"de_DE "_s + QString::fromLatin1(name))) << u"de_DE"_s << u"UTC"_s << rule << german;
    };
    both("daily 00:05", RecurrenceRule::dailyAt(0, 5), u"Daily at 00:05"_s, u"Daily at 00:05"_s);
    both("daily 23:59", RecurrenceRule::dailyAt(23, 59), u"Daily at 23:59"_s, u"Daily at 23:59"_s);
    both("daily out of range", RecurrenceRule::dailyAt(-5, 123), u"Daily at -5:123"_s, u"Daily at -5:123"_s);
    both("every 1 hour", RecurrenceRule::everyInterval(1), u"Every 1 hour"_s, u"Every 1 hour"_s);
    both("every 12 hours", RecurrenceRule::everyInterval(12), u"Every 12 hours"_s, u"Every 12 hours"_s);
    both("every 0 hours", RecurrenceRule::everyInterval(0), u"Every 0 hours"_s, u"Every 0 hours"_s);
    both("every -1 hours", RecurrenceRule::everyInterval(-1), u"Every -1 hours"_s, u"Every -1 hours"_s);
    both("weekly mon fri", RecurrenceRule::weeklyAt({6, 2}, 7, 5), u"Weekly on Mon, Fri at 07:05"_s,
         u"Weekly on Mo., Fr. at 07:05"_s);
    both("weekly sun sat", RecurrenceRule::weeklyAt({7, 1}, 18, 0), u"Weekly on Sun, Sat at 18:00"_s,
         u"Weekly on So., Sa. at 18:00"_s);
    both("weekly with 9", RecurrenceRule::weeklyAt({9, 2}, 9, 0), u"Weekly on Mon, ? at 09:00"_s,
         u"Weekly on Mo., ? at 09:00"_s);
    both("weekly with 0 and 8", RecurrenceRule::weeklyAt({0, 4, 8}, 9, 0), u"Weekly on ?, Wed, ? at 09:00"_s,
         u"Weekly on ?, Mi., ? at 09:00"_s);
    both("weekly empty", RecurrenceRule::weeklyAt({}, 9, 0), u"Weekly on  at 09:00"_s, u"Weekly on  at 09:00"_s);
    // ICU 72 puts a narrow no-break space before AM/PM in English.
    both("once", RecurrenceRule::once(at("2025-03-14T08:30:00Z")), u"Once, on Mar 14, 2025, 8:30\u202FAM"_s,
         u"Once, on 14.03.2025, 08:30"_s);
    both("once proleptic gregorian", RecurrenceRule::once(at("1500-03-01T12:00:00Z")),
         u"Once, on Mar 1, 1500, 12:00\u202FPM"_s, u"Once, on 01.03.1500, 12:00"_s);
    QTest::newRow("en_US once in new york")
        << u"en_US"_s << u"America/New_York"_s << RecurrenceRule::once(at("2025-03-14T07:30:00Z"))
        << u"Once, on Mar 14, 2025, 3:30\u202FAM"_s;
    QTest::newRow("de_DE once in berlin")
        << u"de_DE"_s << u"Europe/Berlin"_s << RecurrenceRule::once(at("2025-03-14T07:30:00Z"))
        << u"Once, on 14.03.2025, 08:30"_s;
    QTest::newRow("en_US once in the second 01:30 of new york")
        << u"en_US"_s << u"America/New_York"_s << RecurrenceRule::once(at("2024-11-03T06:30:00Z"))
        << u"Once, on Nov 3, 2024, 1:30\u202FAM"_s;
    QTest::newRow("en_US once without a date")
        << u"en_US"_s << u"UTC"_s << RecurrenceRule::once(QDateTime()) << u"Once, on "_s;
}

void TestRecurrenceRuleNextRun::summaries()
{
    QFETCH(QString, locale);
    QFETCH(QString, zone);
    QFETCH(RecurrenceRule, rule);
    QFETCH(QString, expected);
    QCOMPARE(summary(rule, Calendar{QTimeZone(zone.toLatin1()), QLocale(locale)}), expected);
}

void TestRecurrenceRuleNextRun::onceSummaryUsesSystemZoneData()
{
    // Egypt brought summer time back in 2023; ICU 72's zone data still says +02:00 for June 2025
    // (14:00), the system's tzdata +03:00 (zdump: EEST from 2025-04-24T22:00Z), so 15:00.
    const Calendar cairo = calendarIn("Africa/Cairo");
    QCOMPARE(cairo.timeZone.offsetFromUtc(at("2025-06-01T12:00:00Z")), 3 * 3600);
    QCOMPARE(summary(RecurrenceRule::once(at("2025-06-01T12:00:00Z")), cairo), u"Once, on Jun 1, 2025, 3:00\u202FPM"_s);
}

void TestRecurrenceRuleNextRun::localesKeepTheirScript_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("dateTime");
    QTest::addColumn<QString>("weekdays");
    QTest::addColumn<QChar::Script>("script");
    // 2025-03-14 08:30 UTC, medium date and short time; the weekdays are the short symbols,
    // Sunday first, as "Weekly on ..." shows them.
    QTest::newRow("en_US") << u"en_US"_s << u"Mar 14, 2025, 8:30\u202FAM"_s << u"Sun Mon Tue Wed Thu Fri Sat"_s
                           << QChar::Script_Latin;
    QTest::newRow("de_DE") << u"de_DE"_s << u"14.03.2025, 08:30"_s << u"So. Mo. Di. Mi. Do. Fr. Sa."_s
                           << QChar::Script_Latin;
    QTest::newRow("C") << u"C"_s << u"Mar 14, 2025, 8:30\u202FAM"_s << u"Sun Mon Tue Wed Thu Fri Sat"_s
                       << QChar::Script_Latin;
    QTest::newRow("zh_Hans_CN") << u"zh_Hans_CN"_s << u"2025年3月14日 08:30"_s
                                << u"周日 周一 周二 周三 周四 周五 周六"_s << QChar::Script_Han;
    QTest::newRow("zh_Hant_TW") << u"zh_Hant_TW"_s << u"2025年3月14日 上午8:30"_s
                                << u"週日 週一 週二 週三 週四 週五 週六"_s << QChar::Script_Han;
    // Serbian is written in both scripts; QLocale's name for both is "sr_RS".
    QTest::newRow("sr_Latn_RS") << u"sr_Latn_RS"_s << u"14. 3. 2025. 08:30"_s << u"ned pon uto sre čet pet sub"_s
                                << QChar::Script_Latin;
    QTest::newRow("sr_Cyrl_RS") << u"sr_Cyrl_RS"_s << u"14. 3. 2025. 08:30"_s << u"нед пон уто сре чет пет суб"_s
                                << QChar::Script_Cyrillic;
    QTest::newRow("sr_RS") << u"sr_RS"_s << u"14. 3. 2025. 08:30"_s << u"нед пон уто сре чет пет суб"_s
                           << QChar::Script_Cyrillic;
    // Uzbek's medium date spells the month, so there the script shows in the instant itself.
    QTest::newRow("uz_Cyrl_UZ") << u"uz_Cyrl_UZ"_s << u"14 мар, 2025 08:30"_s << u"якш душ сеш чор пай жум шан"_s
                                << QChar::Script_Cyrillic;
    QTest::newRow("uz_Latn_UZ") << u"uz_Latn_UZ"_s << u"14-mar, 2025, 08:30"_s << u"Yak Dush Sesh Chor Pay Jum Shan"_s
                                << QChar::Script_Latin;
}

void TestRecurrenceRuleNextRun::localesKeepTheirScript()
{
    QFETCH(QString, locale);
    QFETCH(QString, dateTime);
    QFETCH(QString, weekdays);
    QFETCH(QChar::Script, script);
    const Calendar calendar{QTimeZone("UTC"), QLocale(locale)};
    const QString formatted =
        formatDateTime(at("2025-03-14T08:30:00Z"), calendar, FormatStyle::mediumStyle, FormatStyle::shortStyle);
    QCOMPARE(formatted, dateTime);
    QCOMPARE(shortWeekdaySymbols(calendar).join(u' '), weekdays);
    QCOMPARE(scriptOfLetters(formatted + weekdays), script);
    QCOMPARE(summary(RecurrenceRule::weeklyAt({2, 6}, 7, 5), calendar),
             u"Weekly on "_s + weekdays.section(u' ', 1, 1) + u", "_s + weekdays.section(u' ', 5, 5) + u" at 07:05"_s);
}

QTEST_GUILESS_MAIN(TestRecurrenceRuleNextRun)
#include "tst_recurrencerulenextrun.moc"
