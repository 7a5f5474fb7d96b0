// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// A large site in the program's own window: the state logged in to a simulated controller that
// serves thousands of access points, the Devices tab shown, and its device list refreshed.
//
//   bench_largesite refresh HOST PORT USER PASSWORD FINGERPRINT ROUNDS
//       For each round: refreshes the devices and waits until the list has painted its rows, while
//       a 2 ms timer probes the event loop. Prints "longest-gap-ms X" per round: the longest the
//       event loop went without running the probe, that is, the longest the window stood still.
//   bench_largesite memory HOST PORT USER PASSWORD FINGERPRINT
//       Logs in, shows the rows, lets the answers' memory go back (the program does that two
//       seconds after a refresh) and prints "rss-kib X anon-kib Y heap-kib H rows Z", H being what
//       live allocations hold (mallinfo2).
#include "Async/Latch.h"
#include "Async/Sleep.h"
#include "Controller/Trust/CertTrustService.h"
#include "Controller/Trust/FirstUseTrust.h"
#include "Models/ControllerConfig.h"
#include "PaintWatch.h"
#include "Platform/AutostartLoginItem.h"
#include "Platform/SecretServiceKeychain.h"
#include "Schedules/ScheduleStore.h"
#include "State/AppState.h"
#include "Views/ContentView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <QCoroSignal>

#include <algorithm>
#include <cstdio>
#include <malloc.h>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

using bench::PaintWatch;

/// Runs a timer every 2 ms and keeps the longest time between two of its turns.
class EventLoopProbe final : public QObject
{
public:
    EventLoopProbe()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(2);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
            m_longest = std::max(m_longest, m_sinceLast.nsecsElapsed());
            m_sinceLast.restart();
        });
    }
    void start()
    {
        m_longest = 0;
        m_sinceLast.start();
        m_timer.start();
    }
    /// The longest gap so far, the last one (up to now) included, in milliseconds.
    double stop()
    {
        m_timer.stop();
        return double(std::max(m_longest, m_sinceLast.nsecsElapsed())) / 1e6;
    }

private:
    QTimer m_timer;
    QElapsedTimer m_sinceLast;
    qint64 m_longest = 0;
};

std::pair<qint64, qint64> residentKiB()
{
    QFile status(u"/proc/self/status"_s);
    qint64 rss = 0;
    qint64 anon = 0;
    if (!status.open(QIODevice::ReadOnly))
        return {rss, anon};
    for (const QByteArray &line : status.readAll().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() >= 2 && fields.at(0) == "VmRSS:")
            rss = fields.at(1).toLongLong();
        else if (fields.size() >= 2 && fields.at(0) == "RssAnon:")
            anon = fields.at(1).toLongLong();
    }
    return {rss, anon};
}

/// What the command line asks for.
struct Options
{
    bool memory = false;
    ControllerConfig controller;
    QString password;
    QString fingerprint;
    int rounds = 0;
};

// By value, as a coroutine keeps its parameters past its first suspension.
QCoro::Task<void> run(PaintWatch *app, Options options) // NOLINT(performance-unnecessary-value-param)
{
    QTemporaryDir folder;
    CertTrustService pins(folder.filePath(u"prefs.conf"_s));
    pins.pin(options.controller.host, options.fingerprint);
    FirstUseTrust trust(pins);
    SecretServiceKeychain keychain;
    AutostartLoginItem loginItem(folder.filePath(u"config"_s));
    ScheduleStore store(folder.filePath(u"data"_s));
    AppState state(store, trust, keychain, folder.filePath(u"prefs.conf"_s));
    ContentView window(state, pins, loginItem);
    window.resize(ContentView::minimumContentSize);
    window.show();
    co_await sleepFor(std::chrono::milliseconds(300), std::make_shared<Latch>());

    app->state = &state;
    app->window = &window;
    // The rows a connect brings may be painted before the connect's own end is seen here: the
    // watch is counted, not awaited, and the rounds below start well after the last paint.
    int paints = 0;
    QObject::connect(app, &PaintWatch::shown, app, [&paints] { ++paints; });
    EventLoopProbe probe;
    probe.start();
    co_await state.connect(std::move(options.controller), std::move(options.password), false);
    if (!state.isLoggedIn()) {
        std::fprintf(stderr, "bench_largesite: not logged in: %s\n", qPrintable(state.lastError().value_or(QString())));
        QCoreApplication::exit(1);
        co_return;
    }
    co_await sleepFor(std::chrono::milliseconds(500), std::make_shared<Latch>());
    std::printf("connect-longest-gap-ms %.1f rows-painted %s\n", probe.stop(), paints > 0 ? "yes" : "no");
    for (int round = 0; round < options.rounds; ++round) {
        co_await sleepFor(std::chrono::milliseconds(500), std::make_shared<Latch>());
        probe.start();
        QElapsedTimer clock;
        clock.start();
        co_await state.refreshDevices();
        // The new rows are painted on the next turn of the event loop, not before.
        co_await qCoro(app, &PaintWatch::shown);
        const double elapsed = double(clock.nsecsElapsed()) / 1e6;
        std::printf("longest-gap-ms %.1f refresh-ms %.1f\n", probe.stop(), elapsed);
        std::fflush(stdout);
    }
    if (options.memory) {
        // The answers' heap goes back to the system two seconds after the last refresh.
        co_await sleepFor(std::chrono::milliseconds(3500), std::make_shared<Latch>());
        const auto [rss, anon] = residentKiB();
        // What live objects hold, whatever the allocator keeps around them: the rows' own cost.
        const struct mallinfo2 heap = mallinfo2();
        std::printf("rss-kib %lld anon-kib %lld heap-kib %lld rows %lld\n", rss, anon,
                    static_cast<long long>((heap.uordblks + heap.hblkhd) / 1024),
                    static_cast<long long>(state.accessPoints().size() + state.cameras().size()));
    }
    app->state = nullptr;
    app->window = nullptr;
    std::fflush(stdout);
    QCoreApplication::exit(0);
}

} // namespace

int main(int argc, char *argv[])
{
    PaintWatch app(argc, argv);
    app.needAccessPoints = false;
    app.needCameras = false;
    QApplication::setOrganizationName(u"Lanternfold"_s);
    QApplication::setApplicationName(u"Lanternfold"_s);
    QApplication::setQuitOnLastWindowClosed(false);
    const QStringList arguments = QApplication::arguments().mid(2);
    const QString mode = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();
    if ((mode == u"refresh"_s && arguments.size() == 6) || (mode == u"memory"_s && arguments.size() == 5)) {
        Options options;
        options.memory = mode == u"memory"_s;
        options.controller = ControllerConfig{arguments.at(0), arguments.at(1).toLongLong(), ControllerKind::unifiOS,
                                              arguments.at(2), u"default"_s};
        options.password = arguments.at(3);
        options.fingerprint = arguments.at(4);
        options.rounds = options.memory ? 0 : arguments.at(5).toInt();
        QTimer::singleShot(0, &app, [&app, options] { (void)run(&app, options); });
        return QApplication::exec();
    }
    std::fprintf(stderr,
                 "usage: %s refresh HOST PORT USER PASSWORD FINGERPRINT ROUNDS\n"
                 "       %s memory HOST PORT USER PASSWORD FINGERPRINT\n",
                 argv[0], argv[0]);
    return 2;
}
