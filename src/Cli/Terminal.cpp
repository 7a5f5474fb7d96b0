// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Cli/Terminal.h"

#include <cstdio>
#include <string>
#include <termios.h>
#include <unistd.h>

namespace lanternfold::terminal {

namespace {

std::optional<QString> readStandardInputLine()
{
    std::string line;
    int c = 0;
    bool any = false;
    while ((c = std::getchar()) != EOF) {
        any = true;
        if (c == '\n')
            break;
        line.push_back(static_cast<char>(c));
    }
    if (!any)
        return std::nullopt;
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return QString::fromStdString(line);
}

/// Prompts go to the standard error, so that standard output carries only what a script reads.
void prompt(const QString &text)
{
    std::fputs(text.toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
}

} // namespace

bool inputIsTerminal()
{
    return ::isatty(STDIN_FILENO) == 1;
}

std::optional<QString> readSecretLine(const QString &text)
{
    prompt(text);
    termios saved = {};
    const bool terminal = inputIsTerminal() && ::tcgetattr(STDIN_FILENO, &saved) == 0;
    if (terminal) {
        // TCSANOW, not TCSAFLUSH: what was typed (or pasted) before the prompt appeared is part of
        // the answer, not to be thrown away.
        termios quiet = saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        quiet.c_lflag |= tcflag_t(ECHONL);
        ::tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
    std::optional<QString> line = readStandardInputLine();
    if (terminal)
        ::tcsetattr(STDIN_FILENO, TCSANOW, &saved);
    return line;
}

std::optional<QString> readLine(const QString &text)
{
    prompt(text);
    return readStandardInputLine();
}

} // namespace lanternfold::terminal
