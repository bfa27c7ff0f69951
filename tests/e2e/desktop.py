"""A separate desktop to run the shipped program on, for the checks in this directory."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

LIMIT = 90  # seconds; reached only on failure, even on a busy machine
NAME = os.path.basename(sys.argv[0])


def until(what, condition):
    """Waits until the condition gives a true value, and returns that."""
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        if result := condition():
            return result
        time.sleep(0.1)
    sys.exit(f"{NAME}: {what} did not happen")


def expect(what, found, wanted):
    if found != wanted:
        sys.exit(f"{NAME}: {what}: {found} where {wanted} was expected")


class Desktop:
    """A display with a window manager and its own home directory."""

    def __enter__(self):
        self.directory = tempfile.TemporaryDirectory(prefix="korvane-e2e-")
        self.home = pathlib.Path(self.directory.name)
        self.started = []
        environment = {name: value for name, value in os.environ.items()
                       if name not in ("DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY")}
        for kind in ("RUNTIME_DIR", "CONFIG_HOME", "DATA_HOME", "CACHE_HOME", "STATE_HOME"):
            (self.home / kind).mkdir(mode=0o700)
            environment[f"XDG_{kind}"] = str(self.home / kind)
        read, write = os.pipe()
        # Without -noreset the server starts again when its last client leaves, and cuts off one that is just coming.
        self.start(["Xvfb", "-noreset", "-displayfd", str(write), "-screen", "0", "1400x900x24", "-nolisten", "tcp"],
                   environment, pass_fds=[write])
        os.close(write)
        with os.fdopen(read) as answer:
            number = answer.readline().strip()
        environment |= {"DISPLAY": f":{number}", "QT_QPA_PLATFORM": "xcb", "HOME": str(self.home),
                        "QT_LOGGING_RULES": "korvane.timing=true"}
        self.environment = environment
        self.start(["openbox"], environment)
        try:
            self.wait_for_window_manager()
        except BaseException:
            self.__exit__()
            raise
        return self

    def wait_for_window_manager(self):
        # A window that opens while the window manager takes over the display may stay unmanaged.
        until("the start of the window manager",
              lambda: self.run("xdotool", "get_num_desktops", check=False).strip() not in ("", "0"))

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

    def run(self, *command, check=True):
        return subprocess.run(command, env=self.environment, check=check, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True).stdout

    def active_window(self):
        """The id of the active window; empty if none is active, as between two windows."""
        return self.run("xdotool", "getactivewindow", check=False).strip()

    def keys(self, *keys):
        self.run("xdotool", "key", "--clearmodifiers", *keys)

    def click(self, window, x, y):
        self.run("xdotool", "mousemove", "--window", window, str(x), str(y), "click", "1")


class Program:
    def __init__(self, desktop, path, *files, **options):
        self.desktop = desktop
        self.log = desktop.home / f"program-{len(desktop.started)}.log"
        with open(self.log, "w") as log:
            self.process = desktop.start([path, *files], desktop.environment, stderr=log, **options)

    def window(self, title):
        """Waits until the window with that title is active, and returns its id."""
        def active():
            found = self.desktop.active_window()
            return found if found and self.desktop.run("xdotool", "getwindowname", found,
                                                       check=False).strip() == title else None
        return until(f"the window “{title}”", active)

    def shows_rows(self):
        """Waits until the rows of the first file are painted and can be clicked."""
        until("the first rows", lambda: "first rows painted" in self.log.read_text())

    def lines_gone_to(self):
        return [int(line) for line in re.findall(r"went to line (\d+)", self.log.read_text())]

    def ends(self):
        until("the end of the program", lambda: self.process.poll() is not None)
        expect("the program's exit status", self.process.returncode, 0)
