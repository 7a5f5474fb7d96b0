// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Platform/TerminationSignals.h"

#include <QObject>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace lanternfold {

namespace {

int signalPipe[2] = {-1, -1};

void forwardSignal(int /*signal*/)
{
    const char byte = 1;
    (void)::write(signalPipe[1], &byte, 1);
}

} // namespace

void onTerminationSignals(QObject *context, std::function<void()> handler)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [handler = std::move(handler)] {
        char byte = 0;
        (void)::read(signalPipe[0], &byte, 1);
        handler();
    });
    struct sigaction action = {};
    action.sa_handler = forwardSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
}

} // namespace lanternfold
