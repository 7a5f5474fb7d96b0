// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Schedules/RecurrenceRuleNextRun.h"

#include <QRandomGenerator>
#include <QTest>

#include <vector>

using namespace lanternfold;
using namespace Qt::StringLiterals;

// A deliberately naive second opinion on nextRun for daily and weekly rules. It walks real time
// forward minute by minute, reads the zone's clock with QTimeZone::offsetFromUtc alone (none of
// the implementation's helpers), and applies the two policies as a person watching the clock
// would:
//   - a wall-clock minute counts the first time the clock shows it; when the clock goes back and
//     shows it again, it does not count again;
//   - a minute the clock jumps over becomes due at the next moment the clock shows the same
//     minute of an hour (02:30 skipped -> 03:30).
namespace {

constexpr qint64 minute = 60;
constexpr qint64 hour = 3600;
constexpr qint64 day = 86400;

qint64 floorDiv(qint64 a, qint64 b)
{
    return a / b - ((a % b) < 0 ? 1 : 0);
}

qint64 utcSeconds(int year, int month, int dayOfMonth)
{
    return QDateTime(QDate(year, month, dayOfMonth), QTime(0, 0), Qt::UTC).toSecsSinceEpoch();
}

/// The zone's offset at every whole minute of a range, asked once per minute up front so that
/// the many walks below stay cheap; still nothing but offsetFromUtc.
class MinuteClock
{
public:
    MinuteClock(const QTimeZone &zone, qint64 from, qint64 to) : m_from(from)
    {
        m_offsets.reserve(static_cast<size_t>((to - from) / minute + 1));
        for (qint64 s = from; s <= to; s += minute)
            m_offsets.push_back(zone.offsetFromUtc(QDateTime::fromSecsSinceEpoch(s, Qt::UTC)));
    }
    /// Wall seconds (the zone's clock read as if it were UTC) at instant `s`, a whole minute.
    qint64 wall(qint64 s) const { return s + m_offsets.at(static_cast<size_t>((s - m_from) / minute)); }
    qint64 from() const { return m_from; }
    qint64 to() const { return m_from + static_cast<qint64>(m_offsets.size() - 1) * minute; }

private:
    qint64 m_from;
    std::vector<int> m_offsets;
};

struct OracleRule
{
    int hour = 0;
    int minute = 0;
    std::vector<int> weekdays; // empty: every day

    bool matches(qint64 wall) const
    {
        const qint64 dayNumber = floorDiv(wall, day);
        if (wall - dayNumber * day != hour * 3600LL + minute * 60LL)
            return false;
        if (weekdays.empty())
            return true;
        // 1970-01-01 was a Thursday, weekday 5 when Sunday is 1.
        const int weekday = static_cast<int>(((dayNumber % 7) + 7 + 4) % 7) + 1;
        return std::find(weekdays.begin(), weekdays.end(), weekday) != weekdays.end();
    }

    RecurrenceRule toRule() const
    {
        if (weekdays.empty())
            return RecurrenceRule::dailyAt(hour, minute);
        return RecurrenceRule::weeklyAt(std::set<qint64>(weekdays.begin(), weekdays.end()), hour, minute);
    }
};

/// The first firing strictly after `after`, walking from 26 hours before it (so that a minute
/// already shown before `after` is known as shown) to 9 days after it (a weekly rule fires
/// within 8).
std::optional<qint64> oracleNextRun(const MinuteClock &clock, const OracleRule &rule, qint64 after)
{
    qint64 s = floorDiv(after - 26 * hour, minute) * minute;
    qint64 latestShown = clock.wall(s);
    std::vector<qint64> due; // wall minutes passed or jumped over that have not fired yet
    for (s += minute; s <= after + 9 * day; s += minute) {
        const qint64 wall = clock.wall(s);
        if (wall > latestShown) {
            for (qint64 w = latestShown + minute; w <= wall; w += minute) {
                if (rule.matches(w))
                    due.push_back(w);
            }
            latestShown = wall;
        }
        for (auto it = due.begin(); it != due.end();) {
            if (wall >= *it && (wall - *it) % hour == 0) {
                if (s > after)
                    return s;
                it = due.erase(it);
            } else {
                ++it;
            }
        }
    }
    return std::nullopt;
}

QString describe(const char *zone, qint64 after, const OracleRule &rule)
{
    QString days;
    for (int w : rule.weekdays)
        days += QString::number(w) + u' ';
    return QString::fromLatin1(zone) + u" after "_s +
           QDateTime::fromSecsSinceEpoch(after, Qt::UTC).toString(Qt::ISODate) + u" rule "_s +
           QString::number(rule.hour) + u':' + QString::number(rule.minute) + u" weekdays "_s + days;
}

const char *const zones[] = {"America/New_York", "Europe/Berlin", "Australia/Lord_Howe",
                             "Asia/Kolkata",     "Africa/Cairo",  "UTC"};

} // namespace

/// nextRun against the oracle above, with a fixed seed.
class TestNextRunOracle final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oracleKnowsThePolicies();
    void agreesWithOracle_data();
    void agreesWithOracle();

private:
    struct Counts
    {
        int compared = 0;
        int mismatches = 0;
        int movedBySkip = 0;
    };
    static void compare(const MinuteClock &clock, const char *zone, const OracleRule &rule, qint64 after,
                        Counts &counts);
};

void TestNextRunOracle::oracleKnowsThePolicies()
{
    // The oracle itself against the hand-checked New York cases (zdump: 2024-03-10T07:00Z
    // 01:59:59 EST -> 03:00 EDT; 2024-11-03T06:00Z 01:59:59 EDT -> 01:00 EST), so that agreement
    // below means something.
    const MinuteClock clock(QTimeZone("America/New_York"), utcSeconds(2024, 3, 1), utcSeconds(2024, 11, 20));
    const auto at = [](const char *iso) {
        return QDateTime::fromString(QString::fromLatin1(iso), Qt::ISODate).toSecsSinceEpoch();
    };
    QCOMPARE(oracleNextRun(clock, {2, 30, {}}, at("2024-03-10T05:00:00Z")), std::optional(at("2024-03-10T07:30:00Z")));
    QCOMPARE(oracleNextRun(clock, {1, 30, {}}, at("2024-11-03T04:00:00Z")), std::optional(at("2024-11-03T05:30:00Z")));
    QCOMPARE(oracleNextRun(clock, {1, 30, {}}, at("2024-11-03T05:45:00Z")), std::optional(at("2024-11-04T06:30:00Z")));
    QCOMPARE(oracleNextRun(clock, {1, 30, {1}}, at("2024-11-03T05:45:00Z")), std::optional(at("2024-11-10T06:30:00Z")));
    QCOMPARE(oracleNextRun(clock, {7, 30, {}}, at("2024-06-10T11:30:00Z")), std::optional(at("2024-06-11T11:30:00Z")));
    QCOMPARE(oracleNextRun(clock, {7, 30, {}}, at("2024-06-10T11:29:59Z")), std::optional(at("2024-06-10T11:30:00Z")));
}

void TestNextRunOracle::agreesWithOracle_data()
{
    QTest::addColumn<QString>("zone");
    for (const char *zone : zones)
        QTest::newRow(zone) << QString::fromLatin1(zone);
}

void TestNextRunOracle::compare(const MinuteClock &clock, const char *zone, const OracleRule &rule, qint64 after,
                                Counts &counts)
{
    const Calendar calendar{QTimeZone(zone), QLocale(QLocale::English, QLocale::UnitedStates)};
    const QDateTime afterDate = QDateTime::fromSecsSinceEpoch(after, Qt::UTC);
    const auto expected = oracleNextRun(clock, rule, after);
    const auto actual = nextRun(rule.toRule(), afterDate, calendar);
    const std::optional<qint64> actualSeconds = actual ? std::optional(actual->toSecsSinceEpoch()) : std::nullopt;
    ++counts.compared;
    if (expected && clock.wall(*expected) % hour != (rule.hour * hour + rule.minute * minute) % hour)
        qFatal("oracle fired off the rule's minute");
    if (expected &&
        floorDiv(clock.wall(*expected), day) * day + rule.hour * hour + rule.minute * minute != clock.wall(*expected))
        ++counts.movedBySkip;
    if (expected != actualSeconds) {
        if (++counts.mismatches <= 10) {
            qWarning("%s: oracle %s, nextRun %s", qPrintable(describe(zone, after, rule)),
                     expected ? qPrintable(QDateTime::fromSecsSinceEpoch(*expected, Qt::UTC).toString(Qt::ISODate))
                              : "none",
                     actual ? qPrintable(actual->toString(Qt::ISODate)) : "none");
        }
    }
}

void TestNextRunOracle::agreesWithOracle()
{
    QFETCH(QString, zone);
    const QByteArray zoneName = zone.toLatin1();
    const QTimeZone timeZone(zoneName);
    QVERIFY(timeZone.isValid());

    const qint64 from = utcSeconds(2024, 1, 1);
    const qint64 to = utcSeconds(2026, 1, 1);
    const MinuteClock clock(timeZone, from - 2 * day, to + 10 * day);

    // Fixed seed, and a different but fixed stream per zone.
    QRandomGenerator random(20250314u + static_cast<quint32>(qHash(zone)));
    // Hours where these zones change their clocks come up more often than chance would have it.
    static constexpr int changeHours[] = {0, 1, 2, 3, 23};
    static constexpr int changeMinutes[] = {0, 1, 15, 29, 30, 31, 45, 59};
    const auto randomRule = [&](bool weekly) {
        OracleRule rule;
        if (random.bounded(2) == 0) {
            rule.hour = changeHours[random.bounded(int(std::size(changeHours)))];
            rule.minute = changeMinutes[random.bounded(int(std::size(changeMinutes)))];
        } else {
            rule.hour = random.bounded(24);
            rule.minute = random.bounded(60);
        }
        if (weekly) {
            for (int weekday = 1; weekday <= 7; ++weekday) {
                if (random.bounded(3) == 0)
                    rule.weekdays.push_back(weekday);
            }
            if (rule.weekdays.empty())
                rule.weekdays.push_back(random.bounded(1, 8));
        }
        return rule;
    };

    Counts counts;
    for (int i = 0; i < 2000; ++i) {
        qint64 after = from + static_cast<qint64>(random.bounded(quint64(to - from)));
        if (i % 4 == 0)
            after = floorDiv(after, minute) * minute; // exactly on a minute now and then
        compare(clock, zoneName.constData(), randomRule(false), after, counts);
        compare(clock, zoneName.constData(), randomRule(true), after, counts);
    }

    // Every 5 minutes through the two hours around each change, for the wall times near it.
    int changes = 0;
    for (qint64 s = from + minute; s <= to; s += minute) {
        if (clock.wall(s) - s == clock.wall(s - minute) - (s - minute))
            continue;
        ++changes;
        const qint64 wallBefore = clock.wall(s - minute);
        const qint64 wallDay = floorDiv(wallBefore, day);
        const int weekday = static_cast<int>(((wallDay % 7) + 7 + 4) % 7) + 1;
        for (qint64 after = s - hour; after <= s + hour; after += 5 * minute) {
            for (qint64 w = wallBefore - 90 * minute; w <= wallBefore + 90 * minute; w += 15 * minute) {
                const qint64 ofDay = w - floorDiv(w, day) * day;
                OracleRule rule{static_cast<int>(ofDay / hour), static_cast<int>(ofDay / minute % 60), {}};
                compare(clock, zoneName.constData(), rule, after, counts);
                rule.weekdays = {weekday};
                compare(clock, zoneName.constData(), rule, after, counts);
            }
        }
    }

    qInfo("%s: %d comparisons, %d clock changes, %d results moved past a skipped time", zoneName.constData(),
          counts.compared, changes, counts.movedBySkip);
    QCOMPARE(counts.mismatches, 0);
    if (zone != u"UTC" && zone != u"Asia/Kolkata") {
        QCOMPARE(changes, 4); // two years, two changes a year
        QVERIFY(counts.movedBySkip > 0);
    } else {
        QCOMPARE(changes, 0);
    }
}

QTEST_GUILESS_MAIN(TestNextRunOracle)
#include "tst_nextrunoracle.moc"
