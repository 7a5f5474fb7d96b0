#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
"""Drives Lanternfold's windows from outside the process, as a person would: finds a control by
its role and its accessible name through AT-SPI, then uses the mouse and keyboard with xdotool.

    ui.py [--app NAME] [--timeout SECONDS] COMMAND ARGS...

Commands:
    wait ROLE NAME        until a control with that role and name is showing
    gone ROLE NAME        until no such control is showing
    click ROLE NAME       a left click in the middle of the control
    focus ROLE NAME       a click, then select all of its text (ready to be typed over)
    type TEXT             types TEXT with the keyboard
    clickat X Y BUTTON    a click of mouse button BUTTON (1 left, 3 right) at a place on the screen
    key KEY...            presses keys (xdotool names: Return, Escape, ctrl+a)
    names ROLE            prints the names of the showing controls with that role, one per line
    value ROLE NAME       prints the text a control holds (a field's contents)
    settext ROLE NAME TEXT  puts TEXT into a field through accessibility, with no keyboard (Wayland)
    act ROLE NAME ACTION  performs one of the control's accessible actions ("Toggle", "Press"), as a
                          screen reader would: for rows whose place on the screen Qt misreports
    where ROLE NAME       prints the control's x, y, width and height on the screen
    dump                  prints the tree (role, name) for a person reading a failure

ROLE "*" matches any role. Exits 0 on success, 1 with a message on standard error when the control never showed up.
Runs with Debian's /usr/bin/python3, which has the pyatspi module."""

import argparse
import subprocess
import sys
import time

import pyatspi


def applications(name):
    desktop = pyatspi.Registry.getDesktop(0)
    for index in range(desktop.childCount):
        app = desktop.getChildAtIndex(index)
        if app is not None and app.name == name:
            yield app


def showing(node):
    try:
        return node.getState().contains(pyatspi.STATE_SHOWING)
    except Exception:  # the control went away while we looked
        return False


def descendants(node):
    try:
        children = [node.getChildAtIndex(i) for i in range(node.childCount)]
    except Exception:
        return
    for child in children:
        if child is None:
            continue
        yield child
        yield from descendants(child)


def matches(app_name, role, name):
    found = []
    for app in applications(app_name):
        for node in descendants(app):
            try:
                if (role == "*" or node.getRoleName() == role) and node.name == name and showing(node):
                    found.append(node)
            except Exception:
                continue
    return found


def wait_for(app_name, role, name, timeout):
    end = time.monotonic() + timeout
    while True:
        found = matches(app_name, role, name)
        if found:
            return found[0]
        if time.monotonic() > end:
            sys.exit(f"no showing {role} named {name!r} after {timeout} s")
        time.sleep(0.2)


def centre(node):
    extents = node.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
    return extents.x + extents.width // 2, extents.y + extents.height // 2


def xdotool(*args):
    subprocess.run(["xdotool", *args], check=True)


def click(node):
    x, y = centre(node)
    xdotool("mousemove", str(x), str(y), "click", "1")


def dump(app_name):
    for app in applications(app_name):
        def show(node, depth):
            try:
                print("  " * depth + f"{node.getRoleName()} {node.name!r}" + ("" if showing(node) else " (hidden)"))
                for i in range(node.childCount):
                    child = node.getChildAtIndex(i)
                    if child is not None:
                        show(child, depth + 1)
            except Exception:
                pass
        show(app, 0)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--app", default="Lanternfold")
    parser.add_argument("--timeout", type=float, default=20)
    parser.add_argument("command")
    parser.add_argument("args", nargs="*")
    options = parser.parse_args()
    command, args = options.command, options.args

    if command == "wait":
        wait_for(options.app, args[0], args[1], options.timeout)
    elif command == "gone":
        end = time.monotonic() + options.timeout
        while matches(options.app, args[0], args[1]):
            if time.monotonic() > end:
                sys.exit(f"{args[0]} named {args[1]!r} still showing after {options.timeout} s")
            time.sleep(0.2)
    elif command == "click":
        click(wait_for(options.app, args[0], args[1], options.timeout))
    elif command == "focus":
        click(wait_for(options.app, args[0], args[1], options.timeout))
        xdotool("key", "--clearmodifiers", "ctrl+a")
    elif command == "clickat":
        xdotool("mousemove", args[0], args[1], "click", args[2])
    elif command == "type":
        xdotool("type", "--delay", "20", args[0])
    elif command == "key":
        xdotool("key", "--clearmodifiers", *args)
    elif command == "names":
        for app in applications(options.app):
            for node in descendants(app):
                try:
                    if node.getRoleName() == args[0] and showing(node):
                        print(node.name)
                except Exception:
                    continue
    elif command == "value":
        node = wait_for(options.app, args[0], args[1], options.timeout)
        text = node.queryText()
        print(text.getText(0, text.characterCount))
    elif command == "settext":
        # Without the keyboard: where no X server takes xdotool's keys (a Wayland session).
        node = wait_for(options.app, args[0], args[1], options.timeout)
        if not node.queryEditableText().setTextContents(args[2]):
            sys.exit(f"{args[0]} {args[1]!r} did not take the text")
    elif command == "act":
        node = wait_for(options.app, args[0], args[1], options.timeout)
        actions = node.queryAction()
        names = [actions.getName(i) for i in range(actions.nActions)]
        if args[2] not in names:
            sys.exit(f"{args[0]} {args[1]!r} has no action {args[2]!r}, only {names}")
        actions.doAction(names.index(args[2]))
    elif command == "where":
        extents = wait_for(options.app, args[0], args[1], options.timeout).queryComponent().getExtents(
            pyatspi.DESKTOP_COORDS)
        print(extents.x, extents.y, extents.width, extents.height)
    elif command == "dump":
        dump(options.app)
    else:
        sys.exit(f"unknown command {command}")


if __name__ == "__main__":
    main()
