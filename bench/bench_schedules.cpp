// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Speed of the scheduling core: nextRun over 100,000 mixed rules in a zone with daylight-saving
// changes, and saving and loading a jobs file of 1,000 jobs with 20 devices each. Prints
// milliseconds (median of several rounds), the cost per call and the file's size.

#include "Schedules/RecurrenceRuleNextRun.h"
#include "Schedules/ScheduleStore.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

RecurrenceRule randomRule(QRandomGenerator &random, qint64 around)
{
    // Drawn one by one: the order in which function arguments are evaluated differs between
    // compilers, and both should measure the same rules.
    const int kind = random.bounded(10);
    const int hour = random.bounded(24);
    const int minute = random.bounded(60);
    switch (kind) {
    case 0:
        return RecurrenceRule::once(
            QDateTime::fromSecsSinceEpoch(around + random.bounded(-86400 * 30, 86400 * 30), Qt::UTC));
    case 1:
        return RecurrenceRule::everyInterval(random.bounded(1, 48));
    case 2:
    case 3:
    case 4:
    case 5: {
        std::set<qint64> weekdays;
        for (int weekday = 1; weekday <= 7; ++weekday) {
            if (random.bounded(3) == 0)
                weekdays.insert(weekday);
        }
        if (weekdays.empty())
            weekdays.insert(random.bounded(1, 8));
        return RecurrenceRule::weeklyAt(weekdays, hour, minute);
    }
    default:
        return RecurrenceRule::dailyAt(hour, minute);
    }
}

QList<ScheduledJob> makeJobs(int count, int targetsPerJob)
{
    QRandomGenerator random(7);
    QList<ScheduledJob> jobs;
    const qint64 start = QDateTime(QDate(2025, 3, 1), QTime(0, 0), Qt::UTC).toSecsSinceEpoch();
    for (int i = 0; i < count; ++i) {
        ScheduledJob job;
        job.id = QUuid::createUuidV5(QUuid(), QString::number(i));
        job.name = u"Job "_s + QString::number(i);
        for (int t = 0; t < targetsPerJob; ++t) {
            const bool camera = t % 4 == 3;
            job.targets.append(RestartTarget{camera ? RestartTargetKind::camera : RestartTargetKind::accessPoint,
                                             camera ? QString::number(random.generate64(), 16)
                                                    : u"aa:bb:cc:%1:%2:%3"_s.arg(i % 256, 2, 16, QChar(u'0'))
                                                          .arg(t, 2, 16, QChar(u'0'))
                                                          .arg(i / 256, 2, 16, QChar(u'0')),
                                             u"Device "_s + QString::number(t) + u" of job "_s + QString::number(i)});
        }
        job.rule = randomRule(random, start);
        job.isEnabled = i % 5 != 0;
        if (i % 2 == 0)
            job.lastRunAt = QDateTime::fromSecsSinceEpoch(start - random.bounded(86400 * 10), Qt::UTC);
        job.nextRunAt = QDateTime::fromSecsSinceEpoch(start + random.bounded(86400 * 10), Qt::UTC);
        job.staggerSeconds = random.bounded(300);
        jobs.append(job);
    }
    return jobs;
}

} // namespace

int main()
{
    // nextRun.
    const Calendar calendar{QTimeZone("America/New_York"), QLocale(QLocale::English, QLocale::UnitedStates)};
    constexpr int ruleCount = 100000;
    QRandomGenerator random(20250314);
    const qint64 from = QDateTime(QDate(2024, 1, 1), QTime(0, 0), Qt::UTC).toSecsSinceEpoch();
    std::vector<RecurrenceRule> rules;
    std::vector<QDateTime> afters;
    rules.reserve(ruleCount);
    afters.reserve(ruleCount);
    for (int i = 0; i < ruleCount; ++i) {
        const qint64 after = from + static_cast<qint64>(random.bounded(quint64(2 * 365 * 86400)));
        afters.push_back(QDateTime::fromSecsSinceEpoch(after, Qt::UTC));
        rules.push_back(randomRule(random, after));
    }
    std::vector<double> nextRunTimes;
    qint64 found = 0;
    for (int round = 0; round < 5; ++round) {
        found = 0;
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < ruleCount; ++i)
            found += nextRun(rules[static_cast<size_t>(i)], afters[static_cast<size_t>(i)], calendar).has_value();
        nextRunTimes.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    const double nextRunMs = median(nextRunTimes);
    std::printf("nextRun: %d mixed rules (daily 40%%, weekly 40%%, once 10%%, interval 10%%) in America/New_York: "
                "%.1f ms, %.2f us per call, %lld with a next run\n",
                ruleCount, nextRunMs, nextRunMs * 1000.0 / ruleCount, static_cast<long long>(found));

    // The jobs file.
    QTemporaryDir folder;
    if (!folder.isValid())
        return 1;
    ScheduleStore store(folder.path());
    const QList<ScheduledJob> jobs = makeJobs(1000, 20);
    std::vector<double> saveTimes;
    std::vector<double> loadTimes;
    qsizetype loadedCount = 0;
    bool equal = true;
    for (int round = 0; round < 7; ++round) {
        QElapsedTimer timer;
        timer.start();
        store.save(jobs);
        saveTimes.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
        timer.restart();
        const QList<ScheduledJob> loaded = store.load();
        loadTimes.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
        loadedCount = loaded.size();
        equal = equal && loaded == jobs;
    }
    const qint64 size = QFileInfo(folder.path() + u"/Lanternfold/schedules.json"_s).size();
    std::printf("jobs file: 1000 jobs x 20 targets: save %.1f ms, load %.1f ms, %.1f KiB (%lld bytes), "
                "%lld jobs read back%s\n",
                median(saveTimes), median(loadTimes), static_cast<double>(size) / 1024.0, static_cast<long long>(size),
                static_cast<long long>(loadedCount), equal ? ", equal" : ", NOT EQUAL");
    return equal ? 0 : 1;
}
