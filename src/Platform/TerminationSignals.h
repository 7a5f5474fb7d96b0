// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <functional>

class QObject;

namespace lanternfold {

/// Calls handler from the event loop when the process gets SIGTERM or SIGINT, so that a service
/// manager's stop, or Ctrl-C, ends the program the way its own Quit does. The signal handler only
/// writes a byte to a socket; the rest happens in the event loop of context's thread. For one
/// handler per process, installed once.
void onTerminationSignals(QObject *context, std::function<void()> handler);

} // namespace lanternfold
