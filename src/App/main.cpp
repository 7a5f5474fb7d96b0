// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "App/FontWarmUp.h"
#include "App/LanternfoldApp.h"
#include "App/SingleInstance.h"
#include "App/Translations.h"
#include "Controller/Trust/CertTrustService.h"
#include "Platform/AutostartLoginItem.h"
#include "Platform/DesktopNotifications.h"
#include "Platform/SecretServiceKeychain.h"
#include "Platform/TerminationSignals.h"
#include "Schedules/ScheduleStore.h"
#include "State/AppState.h"

#include <QApplication>
#include <QCommandLineParser>

#include <cstdio>
#include <optional>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

/// Answers --version and --help, before QApplication, which needs a display: they work in a terminal
/// with none. Any other command line is left as it always was (Qt's own options such as -platform go
/// to QApplication, the rest is ignored), so that nothing that starts Lanternfold today changes.
std::optional<int> answerInformationOptions(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    QCommandLineParser parser;
    const QCommandLineOption help(QStringList{u"h"_s, u"help"_s});
    const QCommandLineOption version(QStringList{u"v"_s, u"version"_s});
    parser.addOption(help);
    parser.addOption(version);
    if (!parser.parse(arguments) || !parser.positionalArguments().isEmpty())
        return std::nullopt;
    if (parser.isSet(help)) {
        std::fputs("Usage: lanternfold [--help | --version | --remembered-password]\n"
                   "\n"
                   "Restarts the access points and cameras of a UniFi controller, by hand or on schedules.\n"
                   "It opens its window and stays in the tray; starting it again shows the running one.\n"
                   "\n"
                   "  --remembered-password  fill the login form's password from the keyring, for the\n"
                   "                         saved controller and user (the demo of scripts/run.sh)\n",
                   stdout);
        return 0;
    }
    if (parser.isSet(version)) {
        std::fputs("lanternfold " LANTERNFOLD_VERSION "\n", stdout);
        return 0;
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char *argv[])
{
    if (const std::optional<int> answered = answerInformationOptions(argc, argv))
        return *answered;

    // Starts reading the fonts now, so that they are ready when the window lays out its first text.
    FontWarmUp fonts;
    QApplication app(argc, argv);
    QApplication::setOrganizationName(u"Lanternfold"_s);
    QApplication::setApplicationName(u"Lanternfold"_s);
    QApplication::setApplicationVersion(QStringLiteral(LANTERNFOLD_VERSION));
    QApplication::setDesktopFileName(u"lanternfold"_s);
    // The schedules run while the window is closed: only Quit (or the session, or a signal) ends it.
    QApplication::setQuitOnLastWindowClosed(false);

    // Before anything is said, even by a second launch that only hands over.
    Translations translations;
    translations.install(QLocale());

    SingleInstance instance(SingleInstance::defaultSocketPath());
    switch (instance.claim()) {
    case SingleInstance::Claim::handedOver:
        return 0;
    case SingleInstance::Claim::leftForBusyInstance:
        std::fprintf(stderr, "%s\n",
                     qPrintable(QCoreApplication::translate(
                         "main", "Lanternfold is already running and busy; it will open its window when it can.")));
        return 0;
    case SingleInstance::Claim::primary:
    case SingleInstance::Claim::failed:
        break;
    }

    // SIGTERM and SIGINT end the program the way the tray's Quit does, so that the state closes its
    // connections and nothing is left half-written.
    onTerminationSignals(&app, [] { QCoreApplication::quit(); });
    fonts.wait();
    SecretServiceKeychain keychain;
    DesktopNotifications notifications;
    AutostartLoginItem loginItem;
    LanternfoldApp lanternfold(ScheduleStore::shared(), CertTrustService::shared(), AppState::defaultSettingsPath(),
                               PlatformServices{keychain, notifications, loginItem});
    QObject::connect(&instance, &SingleInstance::openRequested, &lanternfold, &LanternfoldApp::openMainWindow);
    lanternfold.start();
    // The demo profile of scripts/run.sh: the demo controller's password is in that profile's
    // keyring, and the form shows it, so that a newcomer only presses Connect.
    if (QCoreApplication::arguments().contains(u"--remembered-password"_s))
        (void)LanternfoldApp::fillRememberedPassword(&lanternfold);
    return QApplication::exec();
}
