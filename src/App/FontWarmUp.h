// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QtGlobal>

#include <thread>

namespace lanternfold {

/// Reads the font configuration on a thread of its own while the main thread connects to the
/// display. The first line of text the window lays out would otherwise wait for it: fontconfig
/// parses some sixty configuration files and maps its caches, about a fifth of the time to the
/// first window. Loading it twice is harmless (fontconfig keeps one of the two), so a caller that
/// reaches the fonts early only loses the head start.
class FontWarmUp final
{
    Q_DISABLE_COPY_MOVE(FontWarmUp)

public:
    FontWarmUp();
    /// Waits for the thread, so that nothing is left running when the program ends early.
    ~FontWarmUp();

    /// Waits until the configuration is loaded. Called before the first widget is built: the
    /// main thread would otherwise start the same work of its own.
    void wait();

private:
    std::thread m_thread;
};

} // namespace lanternfold
