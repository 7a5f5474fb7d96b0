#include "App/LanternfoldApp.h"
#include "App/SingleInstance.h"
#include "Services/AppState.h"
#include "Services/CertTrustService.h"
#include "Services/ScheduleStore.h"

#include <QApplication>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

using namespace lanternfold;
using namespace Qt::StringLiterals;

namespace {

int signalPipe[2] = {-1, -1};

void forwardSignal(int /*signal*/)
{
    const char byte = 1;
    (void)::write(signalPipe[1], &byte, 1);
}

/// SIGTERM and SIGINT end the program the way the tray's Quit does, so that the state closes its
/// connections and nothing is left half-written. The handler only writes a byte; the event loop
/// does the rest.
void quitOnTerminationSignals(QApplication &app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [] {
        char byte = 0;
        (void)::read(signalPipe[0], &byte, 1);
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = forwardSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(u"Lanternfold"_s);
    QApplication::setApplicationName(u"Lanternfold"_s);
    QApplication::setDesktopFileName(u"lanternfold"_s);
    // The schedules run while the window is closed: only Quit (or the session, or a signal) ends it.
    QApplication::setQuitOnLastWindowClosed(false);

    SingleInstance instance(SingleInstance::defaultSocketPath());
    if (instance.claim() == SingleInstance::Claim::handedOver)
        return 0;

    quitOnTerminationSignals(app);
    LanternfoldApp lanternfold(ScheduleStore::shared(), CertTrustService::shared(), AppState::defaultSettingsPath());
    QObject::connect(&instance, &SingleInstance::openRequested, &lanternfold, &LanternfoldApp::openMainWindow);
    lanternfold.start();
    return QApplication::exec();
}
