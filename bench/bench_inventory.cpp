// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Decoding speed of a large stat/device answer: the whole path from response bytes to the list of
// access points, as the client runs it. Prints milliseconds, MB/s and resident memory. Given the
// medians of Python's json.loads over the same file, measured in the same run (scripts/bench.sh),
// it also prints "decode-ratio: <json.loads median / decodeAccessPoints median>" over the thread's
// CPU time, and "decode-ratio-wall:" over elapsed time. The machine that runs this is often shared:
// elapsed time then measures the scheduler as much as the code, CPU time far less so.

#include "Controller/Inventory.h"

#include <QElapsedTimer>
#include <QFile>

#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace lanternfold;

namespace {

long residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

double threadCpuMs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s STAT_DEVICE_JSON [ROUNDS [JSON_LOADS_WALL_MS JSON_LOADS_CPU_MS]]\n", argv[0]);
        return 2;
    }
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 20;
    const double referenceWallMs = argc > 4 ? std::atof(argv[3]) : 0.0;
    const double referenceCpuMs = argc > 4 ? std::atof(argv[4]) : 0.0;
    const long rssStart = residentKiB();
    QFile file(QString::fromLocal8Bit(argv[1]));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", argv[1]);
        return 1;
    }
    // As a network reply's buffer usually has, room after the data, so simdjson reads it in place.
    QByteArray body;
    body.reserve(file.size() + 64);
    body.append(file.readAll());
    const double megabytes = double(body.size()) / 1e6;

    std::vector<double> times;
    std::vector<double> cpuTimes;
    QList<UnifiDevice> kept;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer timer;
        const double cpuStart = threadCpuMs();
        timer.start();
        auto decoded = decodeAccessPoints(body);
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
        cpuTimes.push_back(threadCpuMs() - cpuStart);
        if (!decoded.ok()) {
            std::fprintf(stderr, "decoding failed: %s\n", qPrintable(decoded.error().message));
            return 1;
        }
        kept = std::move(decoded).value();
    }
    std::sort(times.begin(), times.end());
    const double median = times[times.size() / 2];
    std::sort(cpuTimes.begin(), cpuTimes.end());
    const double cpuMedian = cpuTimes[cpuTimes.size() / 2];
    const long rssAfterScan = residentKiB();

    // The same answer through Qt's document parser alone, for comparison with simdjson.
    std::vector<double> documentTimes;
    for (int i = 0; i < std::max(3, rounds / 4); ++i) {
        QElapsedTimer timer;
        timer.start();
        const auto decoded = decodeAccessPointsFromDocument(body);
        documentTimes.push_back(double(timer.nsecsElapsed()) / 1e6);
        if (!decoded.ok() || decoded.value() != kept) {
            std::fprintf(stderr, "document parser disagrees with simdjson\n");
            return 1;
        }
    }
    std::sort(documentTimes.begin(), documentTimes.end());
    const double documentMedian = documentTimes[documentTimes.size() / 2];
    std::printf("decodeAccessPoints: %.2f MB, %d devices kept, %d rounds\n", megabytes, int(kept.size()), rounds);
    std::printf("  median %.1f ms (min %.1f ms), %.0f MB/s; CPU time median %.1f ms (min %.1f ms)\n", median,
                times.front(), megabytes / (median / 1e3), cpuMedian, cpuTimes.front());
    std::printf("  through Qt's document parser alone: median %.1f ms, %.0f MB/s\n", documentMedian,
                megabytes / (documentMedian / 1e3));
    std::printf("  resident: %ld KiB at start, %ld KiB after simdjson (the 8 MB input, the kept list and the "
                "thread's reused parser still held), %ld KiB after the document parser ran too\n",
                rssStart, rssAfterScan, residentKiB());
    // Most of the document parser's share is heap that glibc keeps for reuse after the parse
    // tree is freed; trimming shows what is really still live.
    malloc_trim(0);
    std::printf("  resident after malloc_trim: %ld KiB\n", residentKiB());
    if (referenceWallMs > 0 && referenceCpuMs > 0) {
        std::printf("decode-ratio: %.1f\n", referenceCpuMs / cpuMedian);
        std::printf("decode-ratio-wall: %.1f\n", referenceWallMs / median);
    }
    return 0;
}
