// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Models/ScheduledJob.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>
#include <QTimeZone>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

QDateTime utc(int year, int month, int day, int hour, int minute, int second = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second), Qt::UTC);
}

ScheduledJob sampleJob()
{
    return ScheduledJob{
        QUuid::fromString(u"3f2504e0-4f89-11d3-9a0c-0305e82c3301"_s),
        u"Nightly APs"_s,
        {RestartTarget{RestartTargetKind::accessPoint, u"aa:bb:cc:dd:ee:01"_s, u"Office AP"_s},
         RestartTarget{RestartTargetKind::camera, u"61f0c2a3"_s, u"Door Cam"_s}},
        RecurrenceRule::dailyAt(3, 30),
        true,
        utc(2025, 3, 13, 2, 30),
        utc(2025, 3, 14, 2, 30),
        30,
    };
}

QJsonObject sampleObject()
{
    return sampleJob().toJson().value();
}

} // namespace

/// One job as a value and as the jobs file's object.
class TestScheduledJob final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void encodesEveryKey();
    void withoutDatesLeavesKeysOut();
    void roundTrips();
    void waitingForDevicesRoundTrips_data();
    void waitingForDevicesRoundTrips();
    void siteRoundTrips();
    void equalityIsFieldByField();
    void targetOrderMatters();
    void requiredKeys_data();
    void requiredKeys();
    void wrongTypes_data();
    void wrongTypes();
    void nullOrAbsentDatesAreNone();
    void unknownKeysIgnored();
    void uuidForms_data();
    void uuidForms();
    void datesLoseFractions();
    void unwritableDateDoesNotEncode();
};

void TestScheduledJob::encodesEveryKey()
{
    const QJsonObject object = sampleObject();
    QCOMPARE(object.keys(), (QStringList{u"id"_s, u"isEnabled"_s, u"lastRunAt"_s, u"name"_s, u"nextRunAt"_s, u"rule"_s,
                                         u"staggerSeconds"_s, u"targets"_s}));
    QCOMPARE(object.value(u"id"_s).toString(), u"3F2504E0-4F89-11D3-9A0C-0305E82C3301"_s);
    QCOMPARE(object.value(u"name"_s).toString(), u"Nightly APs"_s);
    QCOMPARE(object.value(u"isEnabled"_s).toBool(), true);
    QCOMPARE(object.value(u"lastRunAt"_s).toString(), u"2025-03-13T02:30:00Z"_s);
    QCOMPARE(object.value(u"nextRunAt"_s).toString(), u"2025-03-14T02:30:00Z"_s);
    QCOMPARE(object.value(u"staggerSeconds"_s).toInteger(), 30);
    QCOMPARE(QJsonDocument(object.value(u"rule"_s).toObject()).toJson(QJsonDocument::Compact),
             QByteArray(R"({"hour":3,"minute":30,"type":"daily"})"));
    QCOMPARE(QJsonDocument(object.value(u"targets"_s).toArray()).toJson(QJsonDocument::Compact),
             QByteArray(R"([{"displayName":"Office AP","identifier":"aa:bb:cc:dd:ee:01","kind":"accessPoint"},)"
                        R"({"displayName":"Door Cam","identifier":"61f0c2a3","kind":"camera"}])"));
}

void TestScheduledJob::withoutDatesLeavesKeysOut()
{
    ScheduledJob job = sampleJob();
    job.lastRunAt.reset();
    job.nextRunAt.reset();
    const QJsonObject object = job.toJson().value();
    QVERIFY(!object.contains(u"lastRunAt"_s));
    QVERIFY(!object.contains(u"nextRunAt"_s));
    const auto back = ScheduledJob::fromJson(object);
    QVERIFY(back.ok());
    QCOMPARE(back.value(), job);
    QVERIFY(!back.value().lastRunAt);
    QVERIFY(!back.value().nextRunAt);
}

void TestScheduledJob::roundTrips()
{
    ScheduledJob job = sampleJob();
    job.rule = RecurrenceRule::weeklyAt({7, 1}, 6, 0);
    job.isEnabled = false;
    job.staggerSeconds = -5;
    job.name = u"Kameras «Tür» — Wochenende"_s;
    const QByteArray text = QJsonDocument(job.toJson().value()).toJson();
    const auto back = ScheduledJob::fromJson(QJsonDocument::fromJson(text).object());
    QVERIFY(back.ok());
    QCOMPARE(back.value(), job);
}

void TestScheduledJob::waitingForDevicesRoundTrips_data()
{
    using When = ScheduledJob::WaitForOnline::WhenNotBack;
    QTest::addColumn<qint64>("minutes");
    QTest::addColumn<int>("whenNotBack");
    QTest::addColumn<QByteArray>("written");
    QTest::newRow("defaults") << qint64(10) << int(When::stopTheJob)
                              << QByteArray(R"("waitForOnlineMinutes":10,"whenNotBack":"stop")");
    QTest::newRow("continue") << qint64(30) << int(When::continueWithNextDevice)
                              << QByteArray(R"("waitForOnlineMinutes":30,"whenNotBack":"continue")");
}

void TestScheduledJob::waitingForDevicesRoundTrips()
{
    QFETCH(qint64, minutes);
    QFETCH(int, whenNotBack);
    QFETCH(QByteArray, written);
    // Without the option the file is as it always was: neither key.
    const QJsonObject plain = sampleObject();
    QVERIFY(!plain.contains(u"waitForOnlineMinutes"_s) && !plain.contains(u"whenNotBack"_s));
    QVERIFY(!ScheduledJob::fromJson(plain).value().waitForOnline);

    ScheduledJob job = sampleJob();
    job.waitForOnline = ScheduledJob::WaitForOnline{minutes, ScheduledJob::WaitForOnline::WhenNotBack(whenNotBack)};
    const QByteArray text = QJsonDocument(job.toJson().value()).toJson(QJsonDocument::Compact);
    QVERIFY2(text.contains(written), text.constData());
    const auto back = ScheduledJob::fromJson(QJsonDocument::fromJson(text).object());
    QVERIFY(back.ok());
    QCOMPARE(back.value(), job);

    // A hand-edited file is held to what the editor offers; an unknown choice stops the job.
    QJsonObject edited = plain;
    edited.insert(u"waitForOnlineMinutes"_s, 600);
    edited.insert(u"whenNotBack"_s, u"carry on"_s);
    const auto held = ScheduledJob::fromJson(edited).value().waitForOnline;
    QVERIFY(held);
    QCOMPARE(held->minutes, ScheduledJob::waitMinutesMaximum);
    QCOMPARE(held->whenNotBack, ScheduledJob::WaitForOnline::WhenNotBack::stopTheJob);
    edited.insert(u"waitForOnlineMinutes"_s, 0);
    QCOMPARE(ScheduledJob::fromJson(edited).value().waitForOnline->minutes, ScheduledJob::waitMinutesMinimum);
    edited.insert(u"waitForOnlineMinutes"_s, u"ten"_s);
    QVERIFY(!ScheduledJob::fromJson(edited).ok());
}

void TestScheduledJob::siteRoundTrips()
{
    // A job of the site every controller has writes no key: its file is byte for byte as before.
    const ScheduledJob plain = sampleJob();
    QCOMPARE(plain.site, u"default"_s);
    const QByteArray plainText = QJsonDocument(plain.toJson().value()).toJson(QJsonDocument::Compact);
    QVERIFY(!plainText.contains("\"site\""));
    QCOMPARE(QJsonDocument(sampleObject()).toJson(QJsonDocument::Compact), plainText);
    QCOMPARE(ScheduledJob::fromJson(sampleObject()).value().site, u"default"_s);

    ScheduledJob elsewhere = sampleJob();
    elsewhere.site = u"ohmt4ch6"_s;
    const QByteArray text = QJsonDocument(elsewhere.toJson().value()).toJson(QJsonDocument::Compact);
    QVERIFY2(text.contains(R"("site":"ohmt4ch6")"), text.constData());
    const auto back = ScheduledJob::fromJson(QJsonDocument::fromJson(text).object());
    QVERIFY(back.ok());
    QCOMPARE(back.value(), elsewhere);
    QVERIFY(!(back.value() == plain));

    // An empty site reads as the default one; a site that is not a string is an error.
    QJsonObject edited = sampleObject();
    edited.insert(u"site"_s, QString());
    QCOMPARE(ScheduledJob::fromJson(edited).value().site, u"default"_s);
    edited.insert(u"site"_s, 7);
    QVERIFY(!ScheduledJob::fromJson(edited).ok());
}

void TestScheduledJob::equalityIsFieldByField()
{
    const ScheduledJob job = sampleJob();
    QCOMPARE(job, sampleJob());
    auto differs = [&](auto change) {
        ScheduledJob other = job;
        change(other);
        return other != job;
    };
    QVERIFY(differs([](ScheduledJob &j) { j.id = QUuid(); }));
    QVERIFY(differs([](ScheduledJob &j) { j.name += u' '; }));
    QVERIFY(differs([](ScheduledJob &j) { j.targets.removeLast(); }));
    QVERIFY(differs([](ScheduledJob &j) { j.targets[0].displayName = u"Other"_s; }));
    QVERIFY(differs([](ScheduledJob &j) { j.rule = RecurrenceRule::dailyAt(3, 31); }));
    QVERIFY(differs([](ScheduledJob &j) { j.isEnabled = false; }));
    QVERIFY(differs([](ScheduledJob &j) { j.lastRunAt.reset(); }));
    QVERIFY(differs([](ScheduledJob &j) { j.nextRunAt = j.nextRunAt->addSecs(1); }));
    QVERIFY(differs([](ScheduledJob &j) { j.staggerSeconds = 31; }));
    // Two absent dates are equal; an absent date differs from any present one.
    ScheduledJob a = job;
    ScheduledJob b = job;
    a.lastRunAt.reset();
    b.lastRunAt.reset();
    QCOMPARE(a, b);
    b.lastRunAt = QDateTime();
    QVERIFY(a != b);
}

void TestScheduledJob::targetOrderMatters()
{
    ScheduledJob swapped = sampleJob();
    std::swap(swapped.targets[0], swapped.targets[1]);
    QVERIFY(swapped != sampleJob());
}

void TestScheduledJob::requiredKeys_data()
{
    QTest::addColumn<QString>("key");
    for (const char *key : {"id", "name", "targets", "rule", "isEnabled", "staggerSeconds"})
        QTest::newRow(key) << QString::fromLatin1(key);
}

void TestScheduledJob::requiredKeys()
{
    QFETCH(QString, key);
    QJsonObject object = sampleObject();
    object.remove(key);
    const auto job = ScheduledJob::fromJson(object, u"[3]"_s);
    QVERIFY(!job.ok());
    QCOMPARE(job.error().message, u"Missing key \""_s + key + u"\" at [3]."_s);
    object.insert(key, QJsonValue::Null);
    QVERIFY(!ScheduledJob::fromJson(object).ok());
}

void TestScheduledJob::wrongTypes_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QString>("message");
    QTest::newRow("stagger text") << u"staggerSeconds"_s << QJsonValue(u"30"_s)
                                  << u"Expected integer for \"staggerSeconds\" at [0], found string."_s;
    QTest::newRow("stagger fraction") << u"staggerSeconds"_s << QJsonValue(1.5)
                                      << u"Expected integer for \"staggerSeconds\" at [0], found number."_s;
    QTest::newRow("enabled number") << u"isEnabled"_s << QJsonValue(1)
                                    << u"Expected boolean for \"isEnabled\" at [0], found integer."_s;
    QTest::newRow("name number") << u"name"_s << QJsonValue(1)
                                 << u"Expected string for \"name\" at [0], found integer."_s;
    QTest::newRow("targets object") << u"targets"_s << QJsonValue(QJsonObject())
                                    << u"Expected array for \"targets\" at [0], found object."_s;
    QTest::newRow("target bad kind") << u"targets"_s
                                     << QJsonValue(QJsonArray{QJsonObject{{u"kind"_s, u"switch"_s},
                                                                          {u"identifier"_s, u"x"_s},
                                                                          {u"displayName"_s, u"y"_s}}})
                                     << u"Unknown value \"switch\" for \"kind\" at [0].targets[0]."_s;
    QTest::newRow("rule unknown type") << u"rule"_s << QJsonValue(QJsonObject{{u"type"_s, u"hourly"_s}})
                                       << u"Unknown recurrence type hourly"_s;
    QTest::newRow("rule missing minute") << u"rule"_s
                                         << QJsonValue(QJsonObject{{u"type"_s, u"daily"_s}, {u"hour"_s, 8}})
                                         << u"Missing key \"minute\" at [0].rule."_s;
    QTest::newRow("lastRunAt bad form")
        << u"lastRunAt"_s << QJsonValue(u"2025-03-13 02:30:00Z"_s)
        << u"Invalid date \"2025-03-13 02:30:00Z\" for \"lastRunAt\" at [0] (expected YYYY-MM-DDTHH:MM:SSZ)."_s;
    QTest::newRow("nextRunAt number") << u"nextRunAt"_s << QJsonValue(0)
                                      << u"Expected string for \"nextRunAt\" at [0], found integer."_s;
    QTest::newRow("id braces") << u"id"_s << QJsonValue(u"{3F2504E0-4F89-11D3-9A0C-0305E82C3301}"_s)
                               << u"Invalid UUID \"{3F2504E0-4F89-11D3-9A0C-0305E82C3301}\" for \"id\" at [0]."_s;
}

void TestScheduledJob::wrongTypes()
{
    QFETCH(QString, key);
    QFETCH(QJsonValue, value);
    QFETCH(QString, message);
    QJsonObject object = sampleObject();
    object.insert(key, value);
    const auto job = ScheduledJob::fromJson(object, u"[0]"_s);
    QVERIFY(!job.ok());
    QCOMPARE(job.error().message, message);
}

void TestScheduledJob::nullOrAbsentDatesAreNone()
{
    QJsonObject object = sampleObject();
    object.insert(u"lastRunAt"_s, QJsonValue::Null);
    object.remove(u"nextRunAt"_s);
    const auto job = ScheduledJob::fromJson(object);
    QVERIFY(job.ok());
    QCOMPARE(job.value().lastRunAt, std::nullopt);
    QCOMPARE(job.value().nextRunAt, std::nullopt);
}

void TestScheduledJob::unknownKeysIgnored()
{
    QJsonObject object = sampleObject();
    object.insert(u"colour"_s, u"blue"_s);
    object.insert(u"enabled"_s, false);
    const auto job = ScheduledJob::fromJson(object);
    QVERIFY(job.ok());
    QCOMPARE(job.value(), sampleJob());
}

void TestScheduledJob::uuidForms_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QString>("written");
    QTest::newRow("upper") << u"3F2504E0-4F89-11D3-9A0C-0305E82C3301"_s << true
                           << u"3F2504E0-4F89-11D3-9A0C-0305E82C3301"_s;
    QTest::newRow("lower") << u"3f2504e0-4f89-11d3-9a0c-0305e82c3301"_s << true
                           << u"3F2504E0-4F89-11D3-9A0C-0305E82C3301"_s;
    QTest::newRow("mixed") << u"3f2504E0-4F89-11d3-9A0c-0305e82C3301"_s << true
                           << u"3F2504E0-4F89-11D3-9A0C-0305E82C3301"_s;
    QTest::newRow("nil") << u"00000000-0000-0000-0000-000000000000"_s << true
                         << u"00000000-0000-0000-0000-000000000000"_s;
    QTest::newRow("braces") << u"{3F2504E0-4F89-11D3-9A0C-0305E82C3301}"_s << false << QString();
    QTest::newRow("no dashes") << u"3F2504E04F8911D39A0C0305E82C3301"_s << false << QString();
    QTest::newRow("dash moved") << u"3F2504E04-F89-11D3-9A0C-0305E82C3301"_s << false << QString();
    QTest::newRow("not hex") << u"3F2504E0-4F89-11D3-9A0C-0305E82C330G"_s << false << QString();
    QTest::newRow("blank around") << u" 3F2504E0-4F89-11D3-9A0C-0305E82C3301"_s << false << QString();
    QTest::newRow("one short") << u"3F2504E0-4F89-11D3-9A0C-0305E82C330"_s << false << QString();
    QTest::newRow("empty") << QString() << false << QString();
}

void TestScheduledJob::uuidForms()
{
    QFETCH(QString, text);
    QFETCH(bool, accepted);
    QFETCH(QString, written);
    QJsonObject object = sampleObject();
    object.insert(u"id"_s, text);
    const auto job = ScheduledJob::fromJson(object);
    QCOMPARE(job.ok(), accepted);
    if (accepted)
        QCOMPARE(job.value().toJson()->value(u"id"_s).toString(), written);
}

void TestScheduledJob::datesLoseFractions()
{
    ScheduledJob job = sampleJob();
    job.lastRunAt = utc(2025, 3, 13, 2, 30).addMSecs(999);
    job.nextRunAt = QDateTime(QDate(2025, 3, 14), QTime(3, 30, 0, 1), QTimeZone("Europe/Berlin"));
    const auto back = ScheduledJob::fromJson(job.toJson().value());
    QVERIFY(back.ok());
    QCOMPARE(back.value(), sampleJob());
}

void TestScheduledJob::unwritableDateDoesNotEncode()
{
    ScheduledJob job = sampleJob();
    job.nextRunAt = QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC);
    QCOMPARE(job.toJson(), std::nullopt);
    job = sampleJob();
    job.lastRunAt = QDateTime();
    QCOMPARE(job.toJson(), std::nullopt);
    job = sampleJob();
    job.rule = RecurrenceRule::once(QDateTime());
    QCOMPARE(job.toJson(), std::nullopt);
}

QTEST_GUILESS_MAIN(TestScheduledJob)
#include "tst_scheduledjob.moc"
