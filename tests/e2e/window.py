#!/usr/bin/env python3
"""Checks marks and bookmarks with real clicks and keys on a separate desktop: opens a log, marks three lines, bookmarks
the file, quits, starts again, opens it from the outline, finds the marks, and deletes two.

usage: tests/e2e/window.py PROGRAM
"""

import os
import plistlib
import sys

sys.dont_write_bytecode = True  # writes no __pycache__ into the tree
from desktop import Desktop, Program, expect, until


def marks(store):
    """The marked lines of the only bookmark: (zero-based line, text)."""
    if not store.exists():
        return None
    objects = plistlib.loads(store.read_bytes())["$objects"]
    return sorted((one["linenum"], objects[one["line"].data]) for one in objects
                  if isinstance(one, dict) and "linenum" in one)


def main():
    program = os.path.realpath(sys.argv[1])
    with Desktop() as desktop:
        folder = desktop.home / "log files"
        folder.mkdir()
        log, other = folder / "service one.log", folder / "other.log"
        log.write_text("".join(f"line {i}\n" for i in range(1, 301)))
        other.write_text("nothing\n")
        store = desktop.home / "DATA_HOME" / "korvane" / "bookmarks.data"

        running = Program(desktop, program, str(log))
        window = running.window("service one.log – Korvane")
        running.shows_rows()
        # In the first column, directly right of the sidebar.
        for y in (200, 300, 400):
            desktop.click(window, 270, y)
        desktop.keys("ctrl+d")
        until("the bookmark with three marks", lambda: len(marks(store) or []) == 3)
        made = marks(store)
        expect("the texts of the marks", [text for _, text in made], [f"line {number + 1}" for number, _ in made])
        desktop.keys("ctrl+w")
        running.window("Welcome to Korvane")
        desktop.keys("ctrl+q")
        running.ends()

        running = Program(desktop, program, str(other))
        window = running.window("other.log – Korvane")
        running.shows_rows()
        desktop.click(window, 100, 500)
        desktop.keys("Home", "Down", "Return")
        window = running.window("service one.log – Korvane")
        expect("the marks", marks(store), made)
        desktop.keys("F2", "F2", "F2")
        wanted = [number + 1 for number, _ in made]
        until("the way from mark to mark", lambda: running.lines_gone_to() == wanted)
        desktop.click(window, 135, 63)
        desktop.click(window, 100, 500)
        desktop.keys("Home", "shift+Down", "Delete")
        until("the deletion of the first two marks", lambda: marks(store) == made[2:])
        desktop.keys("ctrl+q")
        running.ends()


main()
