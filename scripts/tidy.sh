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
#   scripts/tidy.sh               the committed checks, over every file
#   scripts/tidy.sh --analyzer    the clang static analyzer as well (about four times slower)
#   scripts/tidy.sh --record      as --since-clean; when nothing is found and nothing is
#                                 uncommitted, writes HEAD into .ci/tidy-clean (commit it): the
#                                 files not read again were clean then and are the same now
#   scripts/tidy.sh --since-clean only the files that changed since the commit in .ci/tidy-clean,
#                                 directly or through anything they include (ninja's dependency
#                                 log); every file when the build configuration or the checks
#                                 changed since (scripts/tidy-changed.py). What CI runs: a file
#                                 whose text and includes are as they were when the whole tree
#                                 was found clean gives clang-tidy nothing new to say.
set -euo pipefail
cd "$(dirname "$0")/.."
tidy=${CLANG_TIDY:-clang-tidy-19}
extra=()
mode=all
case "${1:-}" in
  --analyzer) extra=(-checks=clang-analyzer-*) ;;
  --record) mode=record ;;
  --since-clean) mode=since ;;
esac
main=${LANTERNFOLD_BUILD:-build-asan}
fuzz=${LANTERNFOLD_FUZZ_BUILD:-build-fuzz}

[ -f "$main/compile_commands.json" ] || LANTERNFOLD_BUILD=$main bash scripts/test.sh --sanitize --build-only
ninja -C "$main" >/dev/null
[ -f "$fuzz/compile_commands.json" ] || LANTERNFOLD_FUZZ_BUILD=$fuzz bash scripts/fuzz.sh --build-only

# The files of one tree to read: all that match, or those changed since the clean commit.
files_of() {
  local tree=$1 pattern=$2
  if [ "$mode" = all ] || [ ! -s .ci/tidy-clean ]; then
    echo "$pattern"
    return
  fi
  local changed
  changed=$(python3 scripts/tidy-changed.py "$tree" "$(cat .ci/tidy-clean)" "$pattern")
  if [ "$changed" = ALL ]; then
    echo "$pattern"
  elif [ -n "$changed" ]; then
    # One anchored expression per file: run-clang-tidy takes them as file patterns.
    sed 's/[.[\*^$+?(){}|]/\\&/g; s/^/^/; s/$/$/' <<<"$changed"
  fi
}

status=0
run_tree() {
  local tree=$1 pattern=$2 files
  mapfile -t files < <(files_of "$tree" "$pattern")
  if [ "${#files[@]}" = 0 ] || [ -z "${files[0]}" ]; then
    echo "clang-tidy: nothing in $tree changed since $(cat .ci/tidy-clean), the last commit found clean"
    return
  fi
  [ "${files[0]}" = "$pattern" ] || echo "clang-tidy: ${#files[@]} file(s) of $tree changed since $(cat .ci/tidy-clean)"
  "run-${tidy}" -clang-tidy-binary "$(command -v "$tidy")" -p "$tree" -quiet -j "$(nproc)" "${extra[@]}" \
    "${files[@]}" || status=1
}
run_tree "$main" "^$PWD/(src|tools|tests|bench)/"
run_tree "$fuzz" "^$PWD/fuzz/"
if [ "$mode" = record ] && [ "$status" = 0 ]; then
  if [ -n "$(git status --porcelain --untracked-files=no)" ]; then
    echo "clang-tidy: clean, but uncommitted changes: .ci/tidy-clean left as it was" >&2
  else
    git rev-parse HEAD >.ci/tidy-clean
    echo "clang-tidy: clean; .ci/tidy-clean now names $(cat .ci/tidy-clean) (commit it)"
  fi
fi
exit $status
