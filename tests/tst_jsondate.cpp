// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/JsonDate.h"

#include <QTest>
#include <QTimeZone>

using namespace lanternfold;
using namespace Qt::StringLiterals;

/// The jobs file's two date forms, read and written exactly.
class TestJsonDate final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsAcceptedForms_data();
    void readsAcceptedForms();
    void refusesEverythingElse_data();
    void refusesEverythingElse();
    void writesUtcWithZ_data();
    void writesUtcWithZ();
    void refusesToWriteOutsideTheYears();
    void readerReportsKeyAndPath();
};

void TestJsonDate::readsAcceptedForms_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("secondsSinceEpoch");
    // Seconds counted by hand from 1970-01-01T00:00:00Z.
    QTest::newRow("epoch") << u"1970-01-01T00:00:00Z"_s << qint64(0);
    QTest::newRow("example") << u"2025-03-14T07:30:00Z"_s << qint64(1741937400);
    QTest::newRow("plus offset") << u"2025-03-14T08:30:00+01:00"_s << qint64(1741937400);
    QTest::newRow("minus offset") << u"2025-03-14T02:30:00-05:00"_s << qint64(1741937400);
    QTest::newRow("half-hour offset") << u"2025-03-14T13:00:00+05:30"_s << qint64(1741937400);
    QTest::newRow("zero offset") << u"2025-03-14T07:30:00+00:00"_s << qint64(1741937400);
    QTest::newRow("minus zero") << u"2025-03-14T07:30:00-00:00"_s << qint64(1741937400);
    QTest::newRow("leap day") << u"2024-02-29T23:59:59Z"_s << qint64(1709251199);
    QTest::newRow("first second") << u"0001-01-01T00:00:00Z"_s << qint64(-62135596800);
    QTest::newRow("last second") << u"9999-12-31T23:59:59Z"_s << qint64(253402300799);
    QTest::newRow("offset back into 9999") << u"9999-12-31T23:30:00+00:30"_s << qint64(253402297200);
    QTest::newRow("offset forward into year 1") << u"0001-01-01T00:30:00-01:00"_s << qint64(-62135591400);
}

void TestJsonDate::readsAcceptedForms()
{
    QFETCH(QString, text);
    QFETCH(qint64, secondsSinceEpoch);
    const auto date = json::parseDate(text);
    QVERIFY(date);
    QCOMPARE(date->toSecsSinceEpoch(), secondsSinceEpoch);
    QCOMPARE(date->toMSecsSinceEpoch() % 1000, 0);
}

void TestJsonDate::refusesEverythingElse_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("fraction") << u"2025-03-14T07:30:00.000Z"_s;
    QTest::newRow("fraction with offset") << u"2025-03-14T07:30:00.5+01:00"_s;
    QTest::newRow("no seconds") << u"2025-03-14T07:30Z"_s;
    QTest::newRow("lower-case z") << u"2025-03-14T07:30:00z"_s;
    QTest::newRow("lower-case t") << u"2025-03-14t07:30:00Z"_s;
    QTest::newRow("space for T") << u"2025-03-14 07:30:00Z"_s;
    QTest::newRow("no zone") << u"2025-03-14T07:30:00"_s;
    QTest::newRow("offset without colon") << u"2025-03-14T07:30:00+0100"_s;
    QTest::newRow("offset hours only") << u"2025-03-14T07:30:00+01"_s;
    QTest::newRow("offset minute 60") << u"2025-03-14T07:30:00+01:60"_s;
    QTest::newRow("offset hour 24") << u"2025-03-14T07:30:00+24:00"_s;
    QTest::newRow("Z and offset") << u"2025-03-14T07:30:00Z+01:00"_s;
    QTest::newRow("month 13") << u"2025-13-14T07:30:00Z"_s;
    QTest::newRow("month 0") << u"2025-00-14T07:30:00Z"_s;
    QTest::newRow("day 0") << u"2025-03-00T07:30:00Z"_s;
    QTest::newRow("30 February") << u"2024-02-30T07:30:00Z"_s;
    QTest::newRow("29 February 2025") << u"2025-02-29T07:30:00Z"_s;
    QTest::newRow("hour 24") << u"2025-03-14T24:00:00Z"_s;
    QTest::newRow("minute 60") << u"2025-03-14T07:60:00Z"_s;
    QTest::newRow("leap second") << u"2016-12-31T23:59:60Z"_s;
    QTest::newRow("year 0") << u"0000-01-01T00:00:00Z"_s;
    QTest::newRow("five-digit year") << u"10000-01-01T00:00:00Z"_s;
    QTest::newRow("negative year") << u"-001-01-01T00:00:00Z"_s;
    QTest::newRow("two-digit year") << u"25-03-14T07:30:00Z"_s;
    QTest::newRow("offset pushes past 9999") << u"9999-12-31T23:30:00-01:00"_s;
    QTest::newRow("offset pulls before year 1") << u"0001-01-01T00:30:00+01:00"_s;
    QTest::newRow("leading blank") << u" 2025-03-14T07:30:00Z"_s;
    QTest::newRow("trailing blank") << u"2025-03-14T07:30:00Z "_s;
    QTest::newRow("plus sign in field") << u"2025-+3-14T07:30:00Z"_s;
    QTest::newRow("arabic-indic digits") << u"٢٠٢٥-03-14T07:30:00Z"_s;
    QTest::newRow("date only") << u"2025-03-14"_s;
    QTest::newRow("unix seconds") << u"1741937400"_s;
}

void TestJsonDate::refusesEverythingElse()
{
    QFETCH(QString, text);
    QCOMPARE(json::parseDate(text), std::nullopt);
}

void TestJsonDate::writesUtcWithZ_data()
{
    QTest::addColumn<QDateTime>("date");
    QTest::addColumn<QString>("expected");
    QTest::newRow("utc") << QDateTime(QDate(2025, 3, 14), QTime(7, 30), Qt::UTC) << u"2025-03-14T07:30:00Z"_s;
    QTest::newRow("from berlin") << QDateTime(QDate(2025, 3, 14), QTime(8, 30), QTimeZone("Europe/Berlin"))
                                 << u"2025-03-14T07:30:00Z"_s;
    QTest::newRow("from offset") << QDateTime(QDate(2025, 1, 1), QTime(1, 0), QTimeZone(3600 * 2))
                                 << u"2024-12-31T23:00:00Z"_s;
    QTest::newRow("fraction dropped") << QDateTime(QDate(2025, 3, 14), QTime(7, 30, 5, 999), Qt::UTC)
                                      << u"2025-03-14T07:30:05Z"_s;
    QTest::newRow("fraction dropped before 1970")
        << QDateTime(QDate(1969, 12, 31), QTime(23, 59, 59, 500), Qt::UTC) << u"1969-12-31T23:59:59Z"_s;
    QTest::newRow("year 1") << QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC) << u"0001-01-01T00:00:00Z"_s;
    QTest::newRow("year 9999") << QDateTime(QDate(9999, 12, 31), QTime(23, 59, 59, 999), Qt::UTC)
                               << u"9999-12-31T23:59:59Z"_s;
}

void TestJsonDate::writesUtcWithZ()
{
    QFETCH(QDateTime, date);
    QFETCH(QString, expected);
    QCOMPARE(json::formatDate(date), std::optional(expected));
    QCOMPARE(json::parseDate(expected)->toSecsSinceEpoch(),
             date.toMSecsSinceEpoch() / 1000 - (date.toMSecsSinceEpoch() % 1000 < 0 ? 1 : 0));
}

void TestJsonDate::refusesToWriteOutsideTheYears()
{
    QCOMPARE(json::formatDate(QDateTime()), std::nullopt);
    QCOMPARE(json::formatDate(QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC)), std::nullopt);
    QCOMPARE(json::formatDate(QDateTime(QDate(0, 12, 31), QTime(23, 59, 59), Qt::UTC)), std::nullopt);
    QCOMPARE(json::formatDate(QDateTime(QDate(-1, 12, 31), QTime(23, 59, 59), Qt::UTC)), std::nullopt);
    // 9999-12-31 23:30 in New York is already 10000 in UTC.
    QCOMPARE(json::formatDate(QDateTime(QDate(9999, 12, 31), QTime(23, 30), QTimeZone("America/New_York"))),
             std::nullopt);
}

void TestJsonDate::readerReportsKeyAndPath()
{
    const json::ObjectReader reader(QJsonObject{{u"date"_s, u"2025-03-14T07:30:00"_s}, {u"n"_s, 5}}, u"[2].rule"_s);
    const auto bad = json::readDate(reader, u"date"_s);
    QVERIFY(!bad.ok());
    QCOMPARE(bad.error().message,
             u"Invalid date \"2025-03-14T07:30:00\" for \"date\" at [2].rule (expected YYYY-MM-DDTHH:MM:SSZ)."_s);
    const auto missing = json::readDate(reader, u"other"_s);
    QCOMPARE(missing.error().message, u"Missing key \"other\" at [2].rule."_s);
    const auto number = json::readOptionalDate(reader, u"n"_s);
    QCOMPARE(number.error().message, u"Expected string for \"n\" at [2].rule, found integer."_s);
    const auto absent = json::readOptionalDate(reader, u"other"_s);
    QVERIFY(absent.ok());
    QCOMPARE(absent.value(), std::nullopt);
    const json::ObjectReader withNull(QJsonObject{{u"d"_s, QJsonValue::Null}}, {});
    QCOMPARE(json::readOptionalDate(withNull, u"d"_s).value(), std::nullopt);
    QVERIFY(!json::readDate(withNull, u"d"_s).ok());
}

QTEST_GUILESS_MAIN(TestJsonDate)
#include "tst_jsondate.moc"
