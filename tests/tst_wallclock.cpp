// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Views/WallClock.h"

#include <QTest>
#include <QTimeZone>

using namespace lanternfold;
using namespace Qt::StringLiterals;

/// The editor's pickers show wall-clock times of the calendar's zone and turn a picked wall time
/// back into an instant by the schedules' own rules: a skipped time moves on, keeping the minute;
/// a repeated one is its first occurrence.
class TestWallClock final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readingIsTheZonesClockAsUtc_data();
    void readingIsTheZonesClockAsUtc();
    void wallTimesBecomeInstants_data();
    void wallTimesBecomeInstants();

private:
    static QDateTime utc(int year, int month, int day, int hour, int minute = 0)
    {
        return QDateTime(QDate(year, month, day), QTime(hour, minute), QTimeZone::utc());
    }
    static Calendar in(const char *zone)
    {
        return Calendar{QTimeZone(zone), QLocale(QLocale::English, QLocale::UnitedStates)};
    }
};

void TestWallClock::readingIsTheZonesClockAsUtc_data()
{
    QTest::addColumn<QString>("zone");
    QTest::addColumn<QDateTime>("instant");
    QTest::addColumn<QDateTime>("reading");
    QTest::newRow("UTC") << u"UTC"_s << utc(2025, 3, 14, 8, 30) << utc(2025, 3, 14, 8, 30);
    QTest::newRow("Berlin winter") << u"Europe/Berlin"_s << utc(2025, 3, 14, 23, 30) << utc(2025, 3, 15, 0, 30);
    QTest::newRow("New York after the jump")
        << u"America/New_York"_s << utc(2025, 3, 9, 7, 30) << utc(2025, 3, 9, 3, 30);
    QTest::newRow("Kathmandu") << u"Asia/Kathmandu"_s << utc(2025, 3, 14, 0, 0) << utc(2025, 3, 14, 5, 45);
}

void TestWallClock::readingIsTheZonesClockAsUtc()
{
    QFETCH(QString, zone);
    QFETCH(QDateTime, instant);
    QFETCH(QDateTime, reading);
    const QDateTime read = wallClockReading(instant, in(zone.toLatin1().constData()));
    QCOMPARE(read, reading);
    QCOMPARE(read.timeSpec(), Qt::UTC);
    QVERIFY(!wallClockReading(QDateTime(), in("UTC")).isValid());
}

void TestWallClock::wallTimesBecomeInstants_data()
{
    QTest::addColumn<QString>("zone");
    QTest::addColumn<QDate>("date");
    QTest::addColumn<int>("hour");
    QTest::addColumn<int>("minute");
    QTest::addColumn<std::optional<QDateTime>>("instant");
    QTest::newRow("plain") << u"UTC"_s << QDate(2025, 3, 14) << 3 << 0 << std::optional<QDateTime>(utc(2025, 3, 14, 3));
    QTest::newRow("midnight") << u"Europe/Berlin"_s << QDate(2025, 3, 14) << 0 << 0
                              << std::optional<QDateTime>(utc(2025, 3, 13, 23));
    QTest::newRow("skipped 02:30 is 03:30")
        << u"America/New_York"_s << QDate(2025, 3, 9) << 2 << 30 << std::optional<QDateTime>(utc(2025, 3, 9, 7, 30));
    QTest::newRow("repeated 01:30 is the first")
        << u"America/New_York"_s << QDate(2025, 11, 2) << 1 << 30 << std::optional<QDateTime>(utc(2025, 11, 2, 5, 30));
    QTest::newRow("hour out of range") << u"UTC"_s << QDate(2025, 3, 14) << 24 << 0 << std::optional<QDateTime>();
    QTest::newRow("minute out of range") << u"UTC"_s << QDate(2025, 3, 14) << 3 << 60 << std::optional<QDateTime>();
    QTest::newRow("no date") << u"UTC"_s << QDate() << 3 << 0 << std::optional<QDateTime>();
}

void TestWallClock::wallTimesBecomeInstants()
{
    QFETCH(QString, zone);
    QFETCH(QDate, date);
    QFETCH(int, hour);
    QFETCH(int, minute);
    QFETCH(std::optional<QDateTime>, instant);
    QCOMPARE(instantAtWallClock(date, hour, minute, in(zone.toLatin1().constData())), instant);
}

QTEST_GUILESS_MAIN(TestWallClock)
#include "tst_wallclock.moc"
