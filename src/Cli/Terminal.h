// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

#include <optional>

namespace lanternfold::terminal {

/// Whether standard input is a terminal that a person types on.
bool inputIsTerminal();

/// Writes prompt to the terminal and reads one line from standard input, without echoing it when
/// the input is a terminal. Nothing at the end of input.
std::optional<QString> readSecretLine(const QString &prompt);
/// One line of standard input, as typed (for answers to questions); nothing at the end of input.
std::optional<QString> readLine(const QString &prompt);

} // namespace lanternfold::terminal
