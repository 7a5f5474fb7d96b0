// Decoding speed of a large stat/device answer: the whole path from response bytes to the list of
// access points, as the client runs it. Prints milliseconds, MB/s and resident memory.

#include "Services/Inventory.h"

#include <QElapsedTimer>
#include <QFile>

#include <malloc.h>

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

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s STAT_DEVICE_JSON [ROUNDS]\n", argv[0]);
        return 2;
    }
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 20;
    const long rssStart = residentKiB();
    QFile file(QString::fromLocal8Bit(argv[1]));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", argv[1]);
        return 1;
    }
    const QByteArray body = file.readAll();
    const double megabytes = double(body.size()) / 1e6;

    std::vector<double> times;
    QList<UnifiDevice> kept;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer timer;
        timer.start();
        auto decoded = decodeAccessPoints(body);
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
        if (!decoded.ok()) {
            std::fprintf(stderr, "decoding failed: %s\n", qPrintable(decoded.error().message));
            return 1;
        }
        kept = std::move(decoded).value();
    }
    std::sort(times.begin(), times.end());
    const double median = times[times.size() / 2];
    const long rssAfterScan = residentKiB();

    // The same answer through Qt's document parser alone, for comparison with the fast scan.
    std::vector<double> documentTimes;
    for (int i = 0; i < std::max(3, rounds / 4); ++i) {
        QElapsedTimer timer;
        timer.start();
        const auto decoded = decodeAccessPointsFromDocument(body);
        documentTimes.push_back(double(timer.nsecsElapsed()) / 1e6);
        if (!decoded.ok() || decoded.value() != kept) {
            std::fprintf(stderr, "document parser disagrees with the fast scan\n");
            return 1;
        }
    }
    std::sort(documentTimes.begin(), documentTimes.end());
    const double documentMedian = documentTimes[documentTimes.size() / 2];
    std::printf("decodeAccessPoints: %.2f MB, %d devices kept, %d rounds\n", megabytes, int(kept.size()), rounds);
    std::printf("  median %.1f ms (min %.1f ms), %.0f MB/s\n", median, times.front(), megabytes / (median / 1e3));
    std::printf("  through Qt's document parser alone: median %.1f ms, %.0f MB/s\n", documentMedian,
                megabytes / (documentMedian / 1e3));
    std::printf("  resident: %ld KiB at start, %ld KiB after the fast scan (the 8 MB input and the kept list "
                "still held), %ld KiB after the document parser ran too\n",
                rssStart, rssAfterScan, residentKiB());
    // Most of the document parser's share is heap that glibc keeps for reuse after the parse
    // tree is freed; trimming shows what is really still live.
    malloc_trim(0);
    std::printf("  resident after malloc_trim: %ld KiB\n", residentKiB());
    return 0;
}
