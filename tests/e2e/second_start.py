#!/usr/bin/env python3
"""Checks further starts beside a running instance of the program, on a separate desktop: files with relative names,
piped or typed input, and starts without a file end up in the existing window; an instance that is still starting or
ending, or hangs, blocks nothing.

usage: tests/e2e/second_start.py PROGRAM
"""

import os
import pathlib
import plistlib
import pty
import signal
import sys

sys.dont_write_bytecode = True  # writes no __pycache__ into the tree
from desktop import NAME, Desktop, Program, expect, until


def windows(desktop):
    return desktop.run("xdotool", "search", "--onlyvisible", "--name", "Korvane$", check=False).split()


def hand_over(desktop, program, *files, **options):
    """Starts the program beside a running instance, and expects it to succeed silently."""
    start = Program(desktop, program, *files, **options)
    start.ends()
    expect("what a start beside a running copy says", start.log.read_text(), "")


def until_copied(desktop, running, content):
    """Waits until one of the running instance's pipe copies, which are deleted files, has exactly this content."""
    place = desktop.environment["TMPDIR"]

    def copies():
        for descriptor in pathlib.Path(f"/proc/{running.process.pid}/fd").iterdir():
            try:
                target = os.readlink(descriptor)
                if target.startswith(f"{place}/korvane-") and target.endswith(" (deleted)"):
                    yield descriptor.read_bytes()
            except OSError:
                continue  # closed in the meantime

    until(f"the arrival of {content}", lambda: content in list(copies()))


def open_tabs(desktop):
    """Closes all tabs, beginning with the active one, and returns their titles."""
    titles = []

    def next_title():
        title = desktop.run("sh", "-c", "xdotool getwindowname $(xdotool getactivewindow)", check=False).strip()
        settled = title.endswith(" – Korvane") or title == "Welcome to Korvane"
        return title if settled and title not in titles else None

    while (title := until("the next tab", next_title)) != "Welcome to Korvane":
        titles.append(title)
        desktop.keys("ctrl+w")
    return [title.removesuffix(" – Korvane") for title in titles]


def bookmarks(store):
    if not store.exists():
        return []
    objects = plistlib.loads(store.read_bytes())["$objects"]
    return sorted(one for one in objects if isinstance(one, str) and one.startswith("file://"))


def files_pipes_and_bookmarks(desktop, program, one, two):
    running = Program(desktop, program, str(one / "a.log"))
    window = running.window("a.log – Korvane")

    hand_over(desktop, program, "b.log:7", cwd=two)
    expect("the window of the second file", running.window("b.log – Korvane"), window)
    until("the way to the line", lambda: running.lines_gone_to() == [7])
    desktop.keys("ctrl+d")
    store = desktop.home / "DATA_HOME" / "korvane" / "bookmarks.data"
    until("the bookmark", lambda: bookmarks(store))
    made = bookmarks(store)

    # The writer continues after the start has ended.
    read, write = os.pipe()
    os.write(write, b"x\n")
    hand_over(desktop, program, "-", stdin=read)
    os.close(read)
    expect("the window of the pipe", running.window("Standard input – Korvane"), window)
    os.write(write, b"later\n")
    os.close(write)
    until_copied(desktop, running, b"x\nlater\n")

    hand_over(desktop, "bash", "-c", f'exec "{program}" <(echo y)')
    until_copied(desktop, running, b"y\n")

    # A terminal is read by the new start itself, which is its foreground process.
    keyboard, terminal = pty.openpty()
    typing = Program(desktop, program, "-", stdin=terminal)
    os.write(keyboard, b"typed\n")
    until_copied(desktop, running, b"typed\n")
    expect("the end of a start whose terminal goes on", typing.process.poll(), None)
    os.write(keyboard, b"\x04")
    typing.ends()
    until("the tab of the terminal", lambda: desktop.run("xdotool", "getwindowname", window).strip() != "63 – Korvane")
    desktop.keys("ctrl+w")
    running.window("63 – Korvane")

    # The running instance shows the error.
    hand_over(desktop, program, "missing.log", cwd=two)
    until("the message", lambda: desktop.active_window() not in ("", window))
    desktop.keys("Return")
    until("the end of the message", lambda: desktop.active_window() == window)

    # A start without a file raises the window, even a minimised one.
    desktop.run("xdotool", "windowminimize", window)
    until("the end of the window's time in front", lambda: desktop.active_window() != window)
    hand_over(desktop, program)
    running.window("63 – Korvane")
    expect("the windows", windows(desktop), [window])
    expect("the tabs", open_tabs(desktop), ["63", "Standard input", "b.log", "a.log"])

    desktop.keys("ctrl+q")
    # Starts at once: the ending instance must not accept the request.
    running_next = Program(desktop, program, str(one / "a.log"))
    running_next.window("a.log – Korvane")
    running.ends()
    hand_over(desktop, program, "c.log", cwd=two)
    running_next.window("c.log – Korvane")
    desktop.keys("ctrl+d")
    until("the second bookmark", lambda: len(bookmarks(store)) == 2)
    if not set(made) < set(bookmarks(store)):
        sys.exit(f"{NAME}: {made} were bookmarked, {bookmarks(store)} are there")
    return running_next


def while_the_program_asks(desktop, program, one, two):
    """A start while another instance still asks what to do about a damaged file."""
    data = desktop.home / "DATA_HOME" / "korvane"
    data.mkdir(mode=0o700)
    (data / "bookmarks.data").write_bytes(b"damaged")
    running = Program(desktop, program, str(one / "a.log"))
    question = running.window("Korvane")
    hand_over(desktop, program, "b.log", cwd=two)
    expect("the windows beside the question", windows(desktop), [question])
    desktop.keys("Tab", "Return")
    running.window("b.log – Korvane")
    expect("the tabs", open_tabs(desktop), ["b.log", "a.log"])
    desktop.keys("ctrl+q")
    running.ends()


def copies_that_do_not_answer(desktop, program, running, log):
    os.kill(running.process.pid, signal.SIGSTOP)
    beside = Program(desktop, program, str(log))
    beside.window(f"{log.name} – Korvane")
    if "does not answer" not in beside.log.read_text():
        sys.exit(f"{NAME}: a start beside a copy that hangs says: {beside.log.read_text()}")
    for process in (beside.process, running.process):
        process.kill()
        process.wait()


def main():
    program = os.path.realpath(sys.argv[1])
    with Desktop() as desktop:
        one, two = desktop.home / "one", desktop.home / "two"
        for path in (one / "a.log", two / "b.log", two / "c.log"):
            path.parent.mkdir(exist_ok=True)
            path.write_text("".join(f"line {i}\n" for i in range(1, 301)))
        desktop.environment["TMPDIR"] = str(desktop.home / "tmp")
        (desktop.home / "tmp").mkdir()
        while_the_program_asks(desktop, program, one, two)
        running = files_pipes_and_bookmarks(desktop, program, one, two)
        copies_that_do_not_answer(desktop, program, running, one / "a.log")


main()
