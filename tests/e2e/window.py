#!/usr/bin/env python3
"""What a person does with marks and bookmarks, by real clicks and keys on a desktop of its own: opens a log, marks
three lines, bookmarks the file, quits, starts again, opens it from the outline, finds the marks, deletes two; shares
the file and opens a terminal beside it.

usage: tests/e2e/window.py PROGRAM
"""

import os
import pathlib
import plistlib
import re
import subprocess
import sys
import tempfile
import time

LIMIT = 30


def until(what, condition):
    """Waits until the condition gives something, and answers that."""
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        if result := condition():
            return result
        time.sleep(0.1)
    sys.exit(f"window.py: {what} did not happen")


class Desktop:
    """A display with a window manager, a home of its own, and stand-ins for other programs."""

    def __enter__(self):
        self.directory = tempfile.TemporaryDirectory(prefix="korvane-e2e-")
        self.home = pathlib.Path(self.directory.name)
        self.started = []
        environment = {name: value for name, value in os.environ.items()
                       if name not in ("DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY", "TERMINAL")}
        for kind in ("RUNTIME_DIR", "CONFIG_HOME", "DATA_HOME", "CACHE_HOME", "STATE_HOME"):
            (self.home / kind).mkdir(mode=0o700)
            environment[f"XDG_{kind}"] = str(self.home / kind)
        read, write = os.pipe()
        self.start(["Xvfb", "-displayfd", str(write), "-screen", "0", "1400x900x24", "-nolisten", "tcp"],
                   environment, pass_fds=[write])
        os.close(write)
        with os.fdopen(read) as answer:
            number = answer.readline().strip()
        tools = self.home / "bin"
        tools.mkdir()
        environment |= {"DISPLAY": f":{number}", "QT_QPA_PLATFORM": "xcb", "HOME": str(self.home),
                        "PATH": f"{tools}:{environment['PATH']}", "QT_LOGGING_RULES": "korvane.timing=true"}
        self.environment = environment
        self.start(["openbox"], environment)
        # A window that opens while the manager takes over the display may be lost between the two.
        until("the start of the window manager",
              lambda: self.run("xdotool", "get_num_desktops", check=False).strip() not in ("", "0"))
        self.stand_in("xdg-email")
        self.stand_in("x-terminal-emulator")
        return self

    def __exit__(self, *_):
        for process in reversed(self.started):
            process.terminate()
            process.wait()
        self.directory.cleanup()

    def start(self, command, environment, **options):
        options = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL} | options
        process = subprocess.Popen(command, env=environment, **options)
        self.started.append(process)
        return process

    def stand_in(self, name):
        """A program that writes down where it was started and with what."""
        script = self.home / "bin" / name
        script.write_text(f'#!/bin/sh\n{{ printf "%s\\0" "$PWD" "$@"; }} >"{self.home}/{name}.part"\n'
                          f'mv "{self.home}/{name}.part" "{self.home}/{name}.call"\n')
        script.chmod(0o755)

    def call_of(self, name):
        call = self.home / f"{name}.call"
        return until(f"the call of {name}", lambda: call.exists() and call.read_bytes().split(b"\0")[:-1])

    def run(self, *command, check=True):
        return subprocess.run(command, env=self.environment, check=check, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True).stdout

    def keys(self, *keys):
        self.run("xdotool", "key", "--clearmodifiers", *keys)

    def click(self, window, x, y):
        self.run("xdotool", "mousemove", "--window", window, str(x), str(y), "click", "1")


class Program:
    def __init__(self, desktop, path, *files):
        self.desktop = desktop
        self.log = desktop.home / f"program-{len(desktop.started)}.log"
        with open(self.log, "w") as log:
            self.process = desktop.start([path, *files], desktop.environment, stderr=log)

    def window(self, title):
        """The id of the window with that title, once it is there and active."""
        def active():
            found = self.desktop.run("xdotool", "getactivewindow", check=False).strip()
            return found if found and self.desktop.run("xdotool", "getwindowname", found,
                                                       check=False).strip() == title else None
        return until(f"the window “{title}”", active)

    def lines_gone_to(self):
        return [int(line) for line in re.findall(r"went to line (\d+)", self.log.read_text())]

    def ends(self):
        until("the end of the program", lambda: self.process.poll() is not None)
        if self.process.returncode != 0:
            sys.exit(f"window.py: the program ended with {self.process.returncode}")


def marks(store):
    """The marked lines of the only bookmark: (zero-based line, text)."""
    if not store.exists():
        return None
    objects = plistlib.loads(store.read_bytes())["$objects"]
    return sorted((one["linenum"], objects[one["line"].data]) for one in objects
                  if isinstance(one, dict) and "linenum" in one)


def expect(what, found, wanted):
    if found != wanted:
        sys.exit(f"window.py: {what}: {found} where {wanted} was expected")


def share_and_open_terminal(desktop, window, log):
    """Hands the file in front to the mail program and its directory to a terminal."""
    desktop.keys("ctrl+shift+m")
    expect("what the mail program got", [os.fsdecode(part) for part in desktop.call_of("xdg-email")[1:]],
           ["--utf8", "--subject", f"Look at {log.name} now", "--body", "It says:\nnothing & $filename",
            "--attach", str(log), "on-call@example.org", "team@example.org"])
    desktop.keys("shift+F4")
    until("the message of the command", lambda: desktop.run("xdotool", "getactivewindow").strip() != window)
    desktop.keys("Return")
    expect("where and how the terminal was started", [os.fsdecode(part) for part in
                                                      desktop.call_of("x-terminal-emulator")], [str(log.parent)])
    expect("the clipboard", desktop.run("xclip", "-out", "-selection", "clipboard"), f'cd "{log.parent}"')


def main():
    program = os.path.realpath(sys.argv[1])
    with Desktop() as desktop:
        folder = desktop.home / "log files"
        folder.mkdir()
        log, other = folder / "service one.log", folder / "other.log"
        log.write_text("".join(f"line {i}\n" for i in range(1, 301)))
        other.write_text("nothing\n")
        data = desktop.home / "DATA_HOME" / "korvane"
        data.mkdir(mode=0o700)
        (data / "Share.plist").write_bytes(plistlib.dumps({
            "subject": "Look at $filename now", "recipients": "on-call@example.org,team@example.org",
            "content": "It says:\nnothing & $filename"}))
        store = data / "bookmarks.data"

        running = Program(desktop, program, str(log))
        window = running.window("service one.log – Korvane")
        # In the first column, which begins where the sidebar ends.
        for y in (200, 300, 400):
            desktop.click(window, 270, y)
        desktop.keys("ctrl+d")
        until("the bookmark with three marks", lambda: len(marks(store) or []) == 3)
        made = marks(store)
        if any(text != f"line {number + 1}" for number, text in made):
            sys.exit(f"window.py: marks with the text of other lines: {made}")
        desktop.keys("ctrl+w")
        running.window("Welcome to Korvane")
        desktop.keys("ctrl+q")
        running.ends()

        running = Program(desktop, program, str(other))
        window = running.window("other.log – Korvane")
        desktop.click(window, 100, 500)
        desktop.keys("Home", "Down", "Return")
        window = running.window("service one.log – Korvane")
        if marks(store) != made:
            sys.exit(f"window.py: {made} were marked, {marks(store)} are there")
        desktop.keys("F2", "F2", "F2")
        wanted = [number + 1 for number, _ in made]
        until("the way from mark to mark", lambda: running.lines_gone_to() == wanted)
        desktop.click(window, 135, 63)
        desktop.click(window, 100, 500)
        desktop.keys("Home", "shift+Down", "Delete")
        until("the deletion of the first two marks", lambda: marks(store) == made[2:])

        share_and_open_terminal(desktop, window, log)
        desktop.keys("ctrl+q")
        running.ends()


main()
