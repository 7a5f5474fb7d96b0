#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Runs clang-tidy with the committed .clang-tidy over every C++ file of the tree: the core, the
# simulator, the tests, the benchmarks and the fuzz targets. Any finding fails the run.
#
# It reads the compile commands of the clang trees that CI builds anyway: the sanitizer tree
# (core, simulator, tests, benchmarks) and the fuzz tree (fuzz targets), and builds whichever is
# missing first, since the tests include code that moc generates.
#
# Debian 12's clang-tidy-19, because clang-tidy-16 lacks the check that keeps captures out of
# coroutine lambdas (cppcoreguidelines-avoid-capturing-lambda-coroutines).
#
#   scripts/tidy.sh             the committed checks
#   scripts/tidy.sh --analyzer  the clang static analyzer as well (about four times slower)
set -euo pipefail
cd "$(dirname "$0")/.."
tidy=${CLANG_TIDY:-clang-tidy-19}
extra=()
if [ "${1:-}" = "--analyzer" ]; then extra=(-checks=clang-analyzer-*); fi
main=${LANTERNFOLD_BUILD:-build-asan}
fuzz=${LANTERNFOLD_FUZZ_BUILD:-build-fuzz}

[ -f "$main/compile_commands.json" ] || LANTERNFOLD_BUILD=$main bash scripts/test.sh --sanitize --build-only
ninja -C "$main" >/dev/null
[ -f "$fuzz/compile_commands.json" ] || LANTERNFOLD_FUZZ_BUILD=$fuzz bash scripts/fuzz.sh --build-only

status=0
"run-${tidy}" -clang-tidy-binary "$(command -v "$tidy")" -p "$main" -quiet -j "$(nproc)" "${extra[@]}" \
  "^$PWD/(src|tools|tests|bench)/" || status=1
"run-${tidy}" -clang-tidy-binary "$(command -v "$tidy")" -p "$fuzz" -quiet -j "$(nproc)" "${extra[@]}" \
  "^$PWD/fuzz/" || status=1
exit $status
