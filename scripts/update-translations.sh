#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Brings the translation sources (translations/*.ts) up to date with the texts of the code: new
# texts arrive unfinished for a translator, texts no longer used leave. Open a .ts file in Qt
# Linguist (linguist-qt6) or any editor to translate; the build compiles them with lrelease.
#
#   scripts/update-translations.sh [FOLDER]   the .ts files in FOLDER instead (the tests use a copy)
#
# The command-line program (src/Cli) is not translated: its output is read by scripts and logs.
set -euo pipefail
folder=$(realpath "${1:-$(dirname "$0")/../translations}")
cd "$(dirname "$0")/.."
lupdate=${LUPDATE:-/usr/lib/qt6/bin/lupdate}
# -I src: the headers name the classes, so that each text's context is the class's full name
# (lanternfold::LoginView), which is what tr() looks up at run time.
"$lupdate" -silent -locations none -no-obsolete -I src \
  src/App src/Views src/State src/Controller src/Models src/Schedules src/Platform \
  -ts "$folder/lanternfold_de.ts" "$folder/lanternfold_fr.ts" "$folder/lanternfold_es.ts"
