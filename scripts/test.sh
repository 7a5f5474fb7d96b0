#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Installs what is needed, builds Lanternfold and runs the whole test suite.
#
#   scripts/test.sh             GCC build, warnings as errors, all tests
#   scripts/test.sh --sanitize  clang build under AddressSanitizer, UndefinedBehaviorSanitizer and
#                               LeakSanitizer (any leak at exit fails the test program)
#   --build-only                with either: build, do not run the tests
#   --test-only                 with either: run the tests of a tree built before
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

build_only=0
test_only=0
case " $* " in *" --build-only "*) build_only=1 ;; esac
case " $* " in *" --test-only "*) test_only=1 ;; esac

if [ "${1:-}" = "--sanitize" ]; then
  build=${LANTERNFOLD_BUILD:-build-asan}
  [ "$test_only" = 1 ] || cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++ \
    -DLANTERNFOLD_SANITIZE=ON -DLANTERNFOLD_WERROR=ON
  export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:strict_string_checks=1}
  export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}
  export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$PWD/tests/support/lsan.supp:print_suppressions=0}
else
  build=${LANTERNFOLD_BUILD:-build}
  # Optimised as the program ships, with line tables only: a failing test's backtrace still names
  # files and lines, and GCC compiles the tree in about half the time full debug info takes.
  [ "$test_only" = 1 ] || cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=g++ -DLANTERNFOLD_WERROR=ON \
    -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG"
fi
[ "$test_only" = 1 ] || ninja -C "$build"
[ "$build_only" = 1 ] && exit 0
cd "$build"
ctest --output-on-failure -j "$(nproc)"
