// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/RecurrenceRule.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>
#include <QTimeZone>

using namespace lanternfold;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(lanternfold::RecurrenceRule)

namespace {

QJsonValue parse(const char *text)
{
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray(text));
    Q_ASSERT(document.isObject() || document.isArray());
    return document.isObject() ? QJsonValue(document.object()) : QJsonValue(document.array());
}

QDateTime utc(int year, int month, int day, int hour, int minute, int second = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second), Qt::UTC);
}

} // namespace

/// The rule as a value: its cases, equality and JSON form.
class TestRecurrenceRule final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void kinds();
    void equality();
    void encodes_data();
    void encodes();
    void decodes_data();
    void decodes();
    void refuses_data();
    void refuses();
    void roundTrips_data();
    void roundTrips();
    void onceWithUnwritableDateDoesNotEncode();
};

void TestRecurrenceRule::kinds()
{
    QCOMPARE(RecurrenceRule::once(utc(2025, 1, 1, 0, 0)).kind(), RecurrenceRule::Kind::once);
    QCOMPARE(RecurrenceRule::dailyAt(1, 2).kind(), RecurrenceRule::Kind::dailyAt);
    QCOMPARE(RecurrenceRule::weeklyAt({1}, 1, 2).kind(), RecurrenceRule::Kind::weeklyAt);
    QCOMPARE(RecurrenceRule::everyInterval(3).kind(), RecurrenceRule::Kind::everyInterval);
    QCOMPARE(RecurrenceRule().kind(), RecurrenceRule::Kind::once);
}

void TestRecurrenceRule::equality()
{
    QCOMPARE(RecurrenceRule::dailyAt(7, 30), RecurrenceRule::dailyAt(7, 30));
    QVERIFY(RecurrenceRule::dailyAt(7, 30) != RecurrenceRule::dailyAt(7, 31));
    QVERIFY(RecurrenceRule::dailyAt(7, 30) != RecurrenceRule::dailyAt(8, 30));
    // Same payload numbers, different cases.
    QVERIFY(RecurrenceRule::dailyAt(7, 30) != RecurrenceRule::weeklyAt({}, 7, 30));
    QVERIFY(RecurrenceRule::everyInterval(7) != RecurrenceRule::dailyAt(7, 0));
    // Weekday sets: order and repetition do not matter, content does.
    QCOMPARE(RecurrenceRule::weeklyAt({6, 2}, 7, 5), RecurrenceRule::weeklyAt({2, 6, 2}, 7, 5));
    QVERIFY(RecurrenceRule::weeklyAt({2, 6}, 7, 5) != RecurrenceRule::weeklyAt({2}, 7, 5));
    QVERIFY(RecurrenceRule::weeklyAt({2, 6}, 7, 5) != RecurrenceRule::weeklyAt({2, 6}, 7, 6));
    QCOMPARE(RecurrenceRule::everyInterval(6), RecurrenceRule::everyInterval(6));
    QVERIFY(RecurrenceRule::everyInterval(6) != RecurrenceRule::everyInterval(-6));
    // Once compares instants, whatever zone they were written in.
    QCOMPARE(RecurrenceRule::once(utc(2025, 3, 14, 7, 30)),
             RecurrenceRule::once(QDateTime(QDate(2025, 3, 14), QTime(8, 30), QTimeZone(3600))));
    QVERIFY(RecurrenceRule::once(utc(2025, 3, 14, 7, 30)) != RecurrenceRule::once(utc(2025, 3, 14, 7, 30, 1)));
}

void TestRecurrenceRule::encodes_data()
{
    QTest::addColumn<RecurrenceRule>("rule");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("once") << RecurrenceRule::once(QDateTime(QDate(2025, 3, 14), QTime(8, 30, 0, 900), QTimeZone(3600)))
                          << QByteArray(R"({"date":"2025-03-14T07:30:00Z","type":"once"})");
    QTest::newRow("daily") << RecurrenceRule::dailyAt(7, 30) << QByteArray(R"({"hour":7,"minute":30,"type":"daily"})");
    QTest::newRow("weekly sorted") << RecurrenceRule::weeklyAt({6, 2, 4}, 9, 0)
                                   << QByteArray(R"({"hour":9,"minute":0,"type":"weekly","weekdays":[2,4,6]})");
    QTest::newRow("weekly odd values") << RecurrenceRule::weeklyAt({9, -1}, 25, -3)
                                       << QByteArray(R"({"hour":25,"minute":-3,"type":"weekly","weekdays":[-1,9]})");
    QTest::newRow("weekly empty") << RecurrenceRule::weeklyAt({}, 9, 0)
                                  << QByteArray(R"({"hour":9,"minute":0,"type":"weekly","weekdays":[]})");
    QTest::newRow("interval") << RecurrenceRule::everyInterval(6)
                              << QByteArray(R"({"intervalHours":6,"type":"interval"})");
    QTest::newRow("interval large") << RecurrenceRule::everyInterval(9007199254740993)
                                    << QByteArray(R"({"intervalHours":9007199254740993,"type":"interval"})");
}

void TestRecurrenceRule::encodes()
{
    QFETCH(RecurrenceRule, rule);
    QFETCH(QByteArray, expected);
    const auto json = rule.toJson();
    QVERIFY(json);
    QCOMPARE(QJsonDocument(*json).toJson(QJsonDocument::Compact), expected);
}

void TestRecurrenceRule::decodes_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<RecurrenceRule>("expected");
    QTest::newRow("once z") << QByteArray(R"({"type":"once","date":"2025-03-14T07:30:00Z"})")
                            << RecurrenceRule::once(utc(2025, 3, 14, 7, 30));
    QTest::newRow("once offset") << QByteArray(R"({"type":"once","date":"2025-03-14T02:30:00-05:00"})")
                                 << RecurrenceRule::once(utc(2025, 3, 14, 7, 30));
    QTest::newRow("daily") << QByteArray(R"({"type":"daily","hour":8,"minute":5})") << RecurrenceRule::dailyAt(8, 5);
    QTest::newRow("daily 8.0") << QByteArray(R"({"type":"daily","hour":8.0,"minute":5e0})")
                               << RecurrenceRule::dailyAt(8, 5);
    QTest::newRow("daily out of range kept")
        << QByteArray(R"({"type":"daily","hour":99,"minute":-7})") << RecurrenceRule::dailyAt(99, -7);
    QTest::newRow("unused keys ignored")
        << QByteArray(R"({"type":"daily","hour":8,"minute":5,"date":"garbage","weekdays":"x","intervalHours":null})")
        << RecurrenceRule::dailyAt(8, 5);
    QTest::newRow("weekly duplicates collapse")
        << QByteArray(R"({"type":"weekly","weekdays":[6,2,6,2.0],"hour":7,"minute":5})")
        << RecurrenceRule::weeklyAt({2, 6}, 7, 5);
    QTest::newRow("weekly empty") << QByteArray(R"({"type":"weekly","weekdays":[],"hour":7,"minute":5})")
                                  << RecurrenceRule::weeklyAt({}, 7, 5);
    QTest::newRow("weekly odd numbers kept")
        << QByteArray(R"({"type":"weekly","weekdays":[0,9,-4],"hour":7,"minute":5})")
        << RecurrenceRule::weeklyAt({-4, 0, 9}, 7, 5);
    QTest::newRow("interval") << QByteArray(R"({"type":"interval","intervalHours":12})")
                              << RecurrenceRule::everyInterval(12);
    QTest::newRow("interval zero kept") << QByteArray(R"({"type":"interval","intervalHours":0})")
                                        << RecurrenceRule::everyInterval(0);
}

void TestRecurrenceRule::decodes()
{
    QFETCH(QByteArray, json);
    QFETCH(RecurrenceRule, expected);
    const auto rule = RecurrenceRule::fromJson(parse(json.constData()));
    QVERIFY2(rule.ok(), rule.ok() ? "" : qPrintable(rule.error().message));
    QCOMPARE(rule.value(), expected);
}

void TestRecurrenceRule::refuses_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("message");
    QTest::newRow("hourly") << QByteArray(R"({"type":"hourly","hour":1})") << u"Unknown recurrence type hourly"_s;
    QTest::newRow("Daily capitalised") << QByteArray(R"({"type":"Daily","hour":1,"minute":1})")
                                       << u"Unknown recurrence type Daily"_s;
    QTest::newRow("daily without minute")
        << QByteArray(R"({"type":"daily","hour":8})") << u"Missing key \"minute\" at rule."_s;
    QTest::newRow("daily without hour") << QByteArray(R"({"type":"daily","minute":8})")
                                        << u"Missing key \"hour\" at rule."_s;
    QTest::newRow("daily hour null") << QByteArray(R"({"type":"daily","hour":null,"minute":0})")
                                     << u"Expected integer for \"hour\" at rule, found null."_s;
    QTest::newRow("daily hour text") << QByteArray(R"({"type":"daily","hour":"8","minute":0})")
                                     << u"Expected integer for \"hour\" at rule, found string."_s;
    QTest::newRow("daily hour fraction") << QByteArray(R"({"type":"daily","hour":7.5,"minute":0})")
                                         << u"Expected integer for \"hour\" at rule, found number."_s;
    QTest::newRow("no type") << QByteArray(R"({"hour":8,"minute":0})") << u"Missing key \"type\" at rule."_s;
    QTest::newRow("type number") << QByteArray(R"({"type":1})")
                                 << u"Expected string for \"type\" at rule, found integer."_s;
    QTest::newRow("not an object") << QByteArray(R"([1])") << u"Expected object at rule, found array."_s;
    QTest::newRow("once without date") << QByteArray(R"({"type":"once"})") << u"Missing key \"date\" at rule."_s;
    QTest::newRow("once fractional date")
        << QByteArray(R"({"type":"once","date":"2025-03-14T07:30:00.5Z"})")
        << u"Invalid date \"2025-03-14T07:30:00.5Z\" for \"date\" at rule (expected YYYY-MM-DDTHH:MM:SSZ)."_s;
    QTest::newRow("once numeric date") << QByteArray(R"({"type":"once","date":763630200})")
                                       << u"Expected string for \"date\" at rule, found integer."_s;
    QTest::newRow("weekly without weekdays")
        << QByteArray(R"({"type":"weekly","hour":1,"minute":1})") << u"Missing key \"weekdays\" at rule."_s;
    QTest::newRow("weekly weekdays not array") << QByteArray(R"({"type":"weekly","weekdays":2,"hour":1,"minute":1})")
                                               << u"Expected array for \"weekdays\" at rule, found integer."_s;
    QTest::newRow("weekly weekday text") << QByteArray(R"({"type":"weekly","weekdays":[2,"3"],"hour":1,"minute":1})")
                                         << u"Expected integer at rule.weekdays[1], found string."_s;
    QTest::newRow("weekly without minute")
        << QByteArray(R"({"type":"weekly","weekdays":[2],"hour":1})") << u"Missing key \"minute\" at rule."_s;
    QTest::newRow("interval without hours")
        << QByteArray(R"({"type":"interval","hours":3})") << u"Missing key \"intervalHours\" at rule."_s;
    QTest::newRow("interval too large") << QByteArray(R"({"type":"interval","intervalHours":1e19})")
                                        << u"Expected integer for \"intervalHours\" at rule, found number."_s;
}

void TestRecurrenceRule::refuses()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, message);
    const auto rule = RecurrenceRule::fromJson(parse(json.constData()), u"rule"_s);
    QVERIFY(!rule.ok());
    QCOMPARE(rule.error().message, message);
}

void TestRecurrenceRule::roundTrips_data()
{
    QTest::addColumn<RecurrenceRule>("rule");
    QTest::newRow("once") << RecurrenceRule::once(utc(2025, 3, 14, 7, 30));
    QTest::newRow("once year 1") << RecurrenceRule::once(utc(1, 1, 1, 0, 0));
    QTest::newRow("once year 9999") << RecurrenceRule::once(utc(9999, 12, 31, 23, 59, 59));
    QTest::newRow("daily") << RecurrenceRule::dailyAt(23, 59);
    // Values the editor never produces still read back exactly, to the ends of 64 bits.
    QTest::newRow("daily extremes") << RecurrenceRule::dailyAt(std::numeric_limits<qint64>::min(),
                                                               std::numeric_limits<qint64>::max());
    QTest::newRow("weekly") << RecurrenceRule::weeklyAt({1, 7, 3}, 0, 0);
    QTest::newRow("interval") << RecurrenceRule::everyInterval(-3);
}

void TestRecurrenceRule::roundTrips()
{
    QFETCH(RecurrenceRule, rule);
    const auto json = rule.toJson();
    QVERIFY(json);
    // Through text, as the store does.
    const QByteArray text = QJsonDocument(*json).toJson();
    const auto back = RecurrenceRule::fromJson(QJsonDocument::fromJson(text).object());
    QVERIFY2(back.ok(), back.ok() ? "" : qPrintable(back.error().message));
    QCOMPARE(back.value(), rule);
}

void TestRecurrenceRule::onceWithUnwritableDateDoesNotEncode()
{
    QCOMPARE(RecurrenceRule::once(QDateTime()).toJson(), std::nullopt);
    QCOMPARE(RecurrenceRule::once(utc(10000, 1, 1, 0, 0)).toJson(), std::nullopt);
    // A fraction of a second is dropped, not refused.
    const auto truncated = RecurrenceRule::once(utc(2025, 1, 1, 0, 0).addMSecs(999)).toJson();
    QVERIFY(truncated);
    QCOMPARE(truncated->value(u"date"_s).toString(), u"2025-01-01T00:00:00Z"_s);
}

QTEST_GUILESS_MAIN(TestRecurrenceRule)
#include "tst_recurrencerule.moc"
