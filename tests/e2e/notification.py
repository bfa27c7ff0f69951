#!/usr/bin/env python3
"""Checks a notification from end to end on a real desktop: a rule that is active for a log matches a line, the desktop
shows one notification, and a click on it brings the line into view.

usage: tests/e2e/notification.py PROGRAM
"""

import os
import pathlib
import sys
import uuid

sys.dont_write_bytecode = True  # writes no __pycache__ into the tree
sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from desktop import NAME, Desktop, Program, expect, until
from keyed_archive import Archive

# Without service directories, so that only our notification service answers.
BUS = """<busconfig><type>session</type><listen>unix:dir={home}</listen><policy context="default">
<allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy></busconfig>"""
# Origin, offset and width determine where to click.
DUNST = """[global]
    origin = top-right
    offset = 20x20
    width = 300
    mouse_left_click = do_action, close_current
    idle_threshold = 0
    stack_duplicates = false
"""


def write_rule(data, text, document_url):
    """Stores a rule that notifies once and is active for a document, in the program's formats."""
    identity = uuid.uuid4()
    rules = Archive()
    root = rules.array(rules.instance(
        "Korvane.FilterRule NSObject", id=rules.uuid(identity), hide=False,
        searchItem=rules.instance("Korvane.SearchItem NSObject", searchStr=rules.add(text), regex=False,
                                  ignoreCase=False),
        highlight=rules.instance("Korvane.HighlightRule NSObject", bold=True, italic=False, underline=False,
                                 fgcolor=rules.color(b"1 0 0\0"), bgcolor=rules.color(b"1 1 1\0"),
                                 useViewBackground=True),
        notification=rules.instance("Korvane.NotificationRule NSObject", enabled=True, bounceDock=False,
                                    frequency=rules.add("Once"))))
    (data / "filters.data").write_bytes(rules.encoded(root))
    states = Archive()
    root = states.instance(
        "NSMutableDictionary NSDictionary NSObject",
        **{"NS.keys": [states.add(document_url)], "NS.objects": [states.array(states.uuid(identity))]})
    (data / "rules-state.data").write_bytes(states.encoded(root))


def start_bus(desktop):
    configuration = desktop.home / "bus.conf"
    configuration.write_text(BUS.format(home=desktop.home))
    read, write = os.pipe()
    desktop.start(["dbus-daemon", f"--config-file={configuration}", "--nofork", f"--print-address={write}"],
                  desktop.environment, pass_fds=[write])
    os.close(write)
    with os.fdopen(read) as answer:
        desktop.environment |= {"DBUS_SESSION_BUS_ADDRESS": answer.readline().strip(), "NO_AT_BRIDGE": "1"}


def main():
    program = os.path.realpath(sys.argv[1])
    with Desktop() as desktop:
        start_bus(desktop)
        configuration = desktop.home / "CONFIG_HOME" / "dunst" / "dunstrc"
        configuration.parent.mkdir()
        configuration.write_text(DUNST)
        desktop.start(["dunst"], desktop.environment)

        def shown(which="displayed"):
            return desktop.run("dunstctl", "count", which, check=False).strip()

        until("a notification service", shown)
        # Records the calls to the service.
        calls = desktop.home / "notify.log"
        with open(calls, "w") as output:
            desktop.start(["dbus-monitor", "type='method_call',interface='org.freedesktop.Notifications',"
                           "member='Notify'"], desktop.environment, stdout=output)
        until("a watch on the bus", lambda: "NameAcquired" in calls.read_text())

        # The rule first matches a line far down, and then another: a rule that notifies once reports the first.
        log = desktop.home / "service.log"
        log.write_text("".join(f"line {i}: {'a FAILURE' if i in (4321, 4999) else 'all is well'}\n"
                               for i in range(1, 20001)))
        data = desktop.home / "DATA_HOME" / "korvane"
        data.mkdir(mode=0o700)
        write_rule(data, "FAILURE", f"file://{log}")
        running = Program(desktop, program, str(log))
        running.shows_rows()
        until("exactly one notification", lambda: shown() == "1")
        until("its window", lambda: desktop.run("xdotool", "search", "--onlyvisible", "--class", "dunst", check=False))
        expect("the lines gone to before the click", running.lines_gone_to(), [])

        # In the middle of the notification.
        width = int(desktop.run("xdotool", "getdisplaygeometry").split()[0])
        desktop.run("xdotool", "mousemove", str(width - 20 - 150), "35", "click", "1")
        until("the way to the line", lambda: running.lines_gone_to() == [4321])
        until("the end of the notification", lambda: shown() == "0")
        # By this time the other matching line has been read, too.
        until("the notification in the history", lambda: shown("history") not in ("", "0"))
        expect("the notifications", (shown("history"), shown()), ("1", "0"))
        said = calls.read_text().splitlines()
        expect("the calls of the service", sum(line.endswith("member=Notify") for line in said), 1)
        for text in ('   string "Korvane"', "   string \"Rule 'FAILURE' matched\"",
                     '   string "Line: 4321 in service.log', f'Path: file://{log}"'):
            if text not in said:
                sys.exit(f"{NAME}: the notification does not say: {text}")


main()
