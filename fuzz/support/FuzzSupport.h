// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

// Shared by the fuzz targets: counts executions and prints the count when the fuzzer exits,
// and stops the run loudly when a round trip loses or changes data or a result breaks its promises.

#include <cstdio>
#include <cstdlib>

namespace lanternfold::fuzz {

inline unsigned long long &executions()
{
    static unsigned long long count = 0;
    return count;
}

inline void countExecution()
{
    static const bool registered = [] {
        std::atexit([] { std::fprintf(stderr, "executions: %llu\n", executions()); });
        return true;
    }();
    (void)registered;
    ++executions();
}

[[noreturn]] inline void roundTripFailed(const char *what)
{
    std::fprintf(stderr, "round trip failed: %s\n", what);
    std::abort();
}

/// Stops the run loudly when a decoder's result breaks what it promises.
[[noreturn]] inline void invariantBroken(const char *what)
{
    std::fprintf(stderr, "invariant broken: %s\n", what);
    std::abort();
}

} // namespace lanternfold::fuzz
