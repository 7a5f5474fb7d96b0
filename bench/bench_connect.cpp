// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The connect figure, Lanternfold's side: the main window's content as the program builds it,
// AppState::connect as the login form calls it, and the clock stopped when the device list has
// painted every access point and camera. Also writes a logged-in user's preferences for the
// figures measured on the real program.
//
//   bench_connect prefill HOST PORT USER FINGERPRINT
//       saves HOST as the controller last connected to and pins FINGERPRINT for it, in the
//       preferences file of $XDG_CONFIG_HOME (where the program reads them)
//   bench_connect connect HOST PORT USER PASSWORD FINGERPRINT ROUNDS
//       prints one "connect-ms N" line per round, after one warm-up round that is not printed;
//       each round has a new state and window (so a new client and TLS handshake), with the key
//       already pinned and the password remembered, as the login form does by default
#include "Async/Latch.h"
#include "Async/Sleep.h"
#include "Controller/Trust/CertTrustService.h"
#include "Controller/Trust/FirstUseTrust.h"
#include "Models/ControllerConfig.h"
#include "PaintWatch.h"
#include "Platform/AutostartLoginItem.h"
#include "Platform/Preferences.h"
#include "Platform/SecretServiceKeychain.h"
#include "Schedules/ScheduleStore.h"
#include "State/AppState.h"
#include "State/SchedulerEngine.h"
#include "Views/ContentView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

using bench::PaintWatch;

int prefill(const QStringList &arguments)
{
    const QString &host = arguments.at(0);
    const ControllerConfig config{host, arguments.at(1).toLongLong(), ControllerKind::unifiOS, arguments.at(2),
                                  u"default"_s};
    {
        QSettings settings(preferencesFilePath(), QSettings::NativeFormat);
        settings.setValue(AppState::configDefaultsKey, QJsonDocument(config.toJson()).toJson(QJsonDocument::Compact));
        settings.sync();
    }
    CertTrustService trust(preferencesFilePath());
    trust.pin(host, arguments.at(3));
    return 0;
}

QCoro::Task<void> measure(PaintWatch *app, QStringList arguments)
{
    const QString &host = arguments.at(0);
    const qint64 port = arguments.at(1).toLongLong();
    const QString &user = arguments.at(2);
    const QString &password = arguments.at(3);
    const int rounds = arguments.at(5).toInt();
    QTemporaryDir folder;
    CertTrustService trust(folder.filePath(u"prefs.conf"_s));
    trust.pin(host, arguments.at(4));
    FirstUseTrust firstUse(trust);
    SecretServiceKeychain keychain;
    AutostartLoginItem loginItem;
    ScheduleStore store(folder.filePath(u"data"_s));
    for (int round = -1; round < rounds; ++round) {
        // As the program builds them: the state with its scheduler, and the window.
        auto state = std::make_unique<AppState>(store, firstUse, keychain, folder.filePath(u"prefs.conf"_s));
        (new SchedulerEngine(*state))->start();
        auto window = std::make_unique<ContentView>(*state, trust, loginItem);
        window->show();
        co_await sleepFor(std::chrono::milliseconds(300), std::make_shared<Latch>()); // on screen, idle
        app->state = state.get();
        app->window = window.get();
        Wakeup shown;
        shown.watch(app, &PaintWatch::shown);
        QElapsedTimer clock;
        clock.start();
        auto connecting =
            state->connect(ControllerConfig{host, port, ControllerKind::unifiOS, user, u"default"_s}, password, true);
        co_await shown.wait();
        const double milliseconds = double(clock.nsecsElapsed()) / 1e6;
        co_await std::move(connecting);
        app->state = nullptr;
        app->window = nullptr;
        if (!state->isLoggedIn()) {
            std::fprintf(stderr, "bench_connect: not logged in: %s\n",
                         qPrintable(state->lastError().value_or(QString())));
            QCoreApplication::exit(1);
            co_return;
        }
        if (round >= 0)
            std::printf("connect-ms %.2f\n", milliseconds);
        std::fflush(stdout);
        co_await state->disconnect();
        // Whatever the window or the state still had under way ends before the next round.
        co_await sleepFor(std::chrono::milliseconds(200), std::make_shared<Latch>());
        window.reset();
        state.reset();
    }
    QCoreApplication::exit(0);
}

} // namespace

int main(int argc, char *argv[])
{
    PaintWatch app(argc, argv);
    QApplication::setOrganizationName(u"Lanternfold"_s);
    QApplication::setApplicationName(u"Lanternfold"_s);
    QApplication::setQuitOnLastWindowClosed(false);
    const QStringList arguments = QApplication::arguments().mid(2);
    const QString mode = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();
    if (mode == u"prefill"_s && arguments.size() == 4)
        return prefill(arguments);
    if (mode == u"connect"_s && arguments.size() == 6) {
        QTimer::singleShot(0, &app, [&app, arguments] { (void)measure(&app, arguments); });
        return QApplication::exec();
    }
    std::fprintf(stderr,
                 "usage: %s prefill HOST PORT USER FINGERPRINT\n"
                 "       %s connect HOST PORT USER PASSWORD FINGERPRINT ROUNDS\n",
                 argv[0], argv[0]);
    return 2;
}
