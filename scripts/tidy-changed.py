#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
"""Prints the translation units of a build tree that clang-tidy must read again since a commit on
which the whole tree was found clean: those whose source file, or any file it includes (as the
compiler recorded in ninja's dependency log), changed since. Prints "ALL" when that cannot be
known: the commit is not an ancestor of HEAD, the build configuration or the checks changed since
(CMake files, .clang-tidy), or the tree has uncommitted changes.

    tidy-changed.py BUILD_FOLDER BASE_COMMIT FILE_REGEX
"""

import json
import os
import re
import shlex
import subprocess
import sys


def git(*args):
    return subprocess.run(["git", *args], check=True, capture_output=True, text=True).stdout


def main():
    build, base, pattern = sys.argv[1], sys.argv[2], re.compile(sys.argv[3])
    root = os.getcwd()
    if subprocess.run(["git", "merge-base", "--is-ancestor", base, "HEAD"], capture_output=True).returncode != 0:
        print("ALL")
        return
    if git("status", "--porcelain", "--untracked-files=no").strip():
        print("ALL")
        return
    changed = {os.path.join(root, path) for path in git("diff", "--name-only", base, "HEAD").split()}
    for path in changed:
        name = os.path.relpath(path, root)
        if name == ".clang-tidy" or name.endswith("CMakeLists.txt") or name.endswith(".cmake"):
            print("ALL")
            return

    # The object file of each unit, from its compile command.
    units = {}
    for entry in json.load(open(os.path.join(build, "compile_commands.json"))):
        source = os.path.normpath(os.path.join(entry["directory"], entry["file"]))
        if not pattern.search(source):
            continue
        words = shlex.split(entry["command"])
        if "-o" not in words:
            print("ALL")
            return
        units[words[words.index("-o") + 1]] = source

    deps = {}
    current = None
    log = subprocess.run(["ninja", "-C", build, "-t", "deps"], check=True, capture_output=True, text=True).stdout
    for line in log.splitlines():
        if line and not line.startswith(" "):
            current = line.split(":")[0]
            deps[current] = []
        elif line.strip() and current is not None:
            deps[current].append(os.path.normpath(os.path.join(build, line.strip())))

    for output, source in sorted(units.items(), key=lambda item: item[1]):
        if output not in deps:
            print("ALL")  # never built: what it includes is unknown
            return
    for output, source in sorted(units.items(), key=lambda item: item[1]):
        if source in changed or any(dep in changed for dep in deps[output]):
            print(source)


if __name__ == "__main__":
    main()
