// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

namespace lanternfold::sim {

class ControllerSimulator;

/// The run-time command language the program reads from standard input, one command a line.
/// It works through the simulator's public interface only.
namespace SimCommands {

/// Applies one line; returns the reply to print: "OK …" or "ERROR …".
QString apply(ControllerSimulator &simulator, const QString &line);
/// The text "help" prints and the program's --help shows.
QString help();

} // namespace SimCommands

} // namespace lanternfold::sim
