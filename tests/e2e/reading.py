#!/usr/bin/env python3
"""Reads many files by keys only, and compares the pixels on the screen with the files. Opens twenty logs with equal and
long names and lines from one word to more than the window holds, goes from one to the next, reads each from its first
to its last line unwrapped, and some of them wrapped, by pages and by lines, down and up.

usage: tests/e2e/reading.py PROGRAM
"""

import os
import re
import subprocess
import sys
import time

sys.dont_write_bytecode = True  # writes no __pycache__ into the tree
from desktop import NAME, Desktop, Program, until

FILES, LINES = 20, 30
MARGIN = 21  # x of a pixel column between marks and text that shows only the background
GLYPHS = "0123456789LT"
SETTLING = 0.5  # seconds; a view unchanged for this time is final


def words_of(number, line):
    """Number of words in a line: mostly few, in some lines more than the window shows when wrapped."""
    return 250 if line % 20 == 7 else 1 + (line * 7 + number) % 30


def text_of(number, line):
    return " ".join(f"{number:02}L{line:04}T{word:04}" for word in range(words_of(number, line)))


class Screen:
    """Reads the fully visible lines of text in a window."""

    def __init__(self, desktop, window):
        self.desktop, self.window = desktop, window
        self.glyphs = {}

    def picture(self):
        size = self.desktop.run("xdotool", "getwindowgeometry", "--shell", self.window)
        self.width, self.height = (int(re.search(rf"{name}=(\d+)", size)[1]) for name in ("WIDTH", "HEIGHT"))
        return subprocess.run(["import", "-silent", "-window", self.window, "-depth", "8", "gray:-"],
                              env=self.desktop.environment, check=True, stdout=subprocess.PIPE).stdout

    def settled(self, before=None):
        """Waits for a picture that no longer changes; waits less if it differs from the one before."""
        last, since = self.picture(), time.monotonic()
        while True:
            time.sleep(0.05)
            now = self.picture()
            if now != last:
                last, since = now, time.monotonic()
                continue
            if time.monotonic() - since > (0.1 if before and now != before else SETTLING):
                return now

    def strips(self, picture):
        """The first and last pixel row of each line of text; lines have equal heights and distances."""
        runs, start = [], None
        for y in range(self.height):
            row = picture[y * self.width:(y + 1) * self.width]
            has_ink = any(abs(pixel - row[MARGIN]) > 60 for pixel in row[MARGIN + 2:MARGIN + 40])
            if has_ink and start is None:
                start = y
            elif not has_ink and start is not None:
                runs.append((start, y - 1))
                start = None
        best = []
        for first, (top, bottom) in enumerate(runs):
            for pitch in range(bottom - top + 3, 3 * (bottom - top)):
                chain = [(top, bottom)]
                for other in runs[first + 1:]:
                    if other[1] - other[0] == bottom - top and other[0] - chain[-1][0] == pitch:
                        chain.append(other)
                if len(chain) > len(best):
                    best = chain
        return best

    def cells(self, picture, strip):
        """The glyphs of a strip as bit patterns, one bit per pixel."""
        rows = [picture[y * self.width:(y + 1) * self.width] for y in range(strip[0], strip[1] + 1)]
        ground = rows[0][MARGIN]
        ink = max((pixel for row in rows for pixel in row[MARGIN + 2:MARGIN + 40]), key=lambda p: abs(p - ground))
        least = abs(ink - ground) / 2
        patterns = []
        for column in range(int((self.width - 30 - self.left) / self.cell)):
            x = self.left + round(column * self.cell)
            bits = 0
            for row in rows:
                for pixel in row[x:x + round(self.cell)]:
                    bits = bits << 1 | (abs(pixel - ground) > least)
            patterns.append(bits)
        return patterns

    def learn(self, lines):
        """Learns the glyphs from a view that begins with these lines."""
        picture = self.settled()
        strips = self.strips(picture)
        top, bottom = strips[0]
        inked = [x for x in range(MARGIN + 2, self.width - 30)
                 if any(abs(picture[y * self.width + x] - picture[y * self.width + MARGIN]) > 60
                        for y in range(top, bottom + 1))]
        # Words have equal lengths and begin with the same glyphs.
        starts = [x for before, x in zip([0, *inked], inked) if x - before > 8]
        self.left = inked[0] - 1
        self.cell = (starts[-1] - starts[0]) / (len(starts) - 1) / (len(lines[0].split()[0]) + 1)
        for strip, line in zip(strips, lines):
            for bits, character in zip(self.cells(picture, strip), line):
                if character != " ":
                    self.glyphs.setdefault(character, set()).add(bits)
        if set(self.glyphs) != set(GLYPHS):
            sys.exit(f"{NAME}: only {sorted(self.glyphs)} can be seen")

    def lines(self, picture):
        return [self.decoded(self.cells(picture, strip)) for strip in self.strips(picture)]

    def decoded(self, cells):
        text = ""
        for bits in cells:
            if bits.bit_count() < 5:
                text += " "
                continue
            distance, character = min((min((bits ^ known).bit_count() for known in patterns), character)
                                      for character, patterns in self.glyphs.items())
            text += character if distance < 40 else "?"
        return text.rstrip()


class Wrong(Exception):
    """The visible text differs from the file."""


class Reader:
    """Reads one file from end to end and remembers which of its words were seen."""

    def __init__(self, screen, number, is_wrapped):
        self.screen, self.number, self.is_wrapped = screen, number, is_wrapped
        self.seen = set()

    def see(self, picture):
        """Compares all visible lines with the file, and returns their (line, word) places."""
        places = []
        for text in self.screen.lines(picture):
            found = re.match(r"(\d\d)L(\d{4})T(\d{4})", text)
            if not found or int(found[1]) != self.number:
                raise Wrong(f"“{text}” stands in file {self.number}")
            line, word = int(found[2]), int(found[3])
            whole = text_of(self.number, line)
            start = whole.index(found[0])
            cut = whole[start:start + len(text)]
            if text != cut or (not self.is_wrapped and word != 0):
                raise Wrong(f"“{text}” is shown where the file has “{cut}”")
            places.append((line, word))
            self.seen.update((line, int(each)) for each in re.findall(rf"\b{self.number:02}L{line:04}T(\d{{4}})\b",
                                                                      text))
        if places != sorted(places) or not places:
            raise Wrong(f"lines in a wrong order: {places}")
        return places

    def see_painted(self, picture):
        """As above, and returns the picture, too. A picture that differs may have been taken in the middle of painting:
        a settled one is then compared in its place, and must agree."""
        for _ in range(2):
            try:
                return picture, self.see(picture)
            except Wrong as wrong:
                fault, picture = wrong, self.screen.settled()
        sys.exit(f"{NAME}: {fault}")

    def read(self, start, key):
        keys = self.screen.desktop.keys
        until(f"file {self.number} in front", lambda: any(
            line.startswith(f"{self.number:02}L") for line in self.screen.lines(self.screen.picture())))
        keys(start)
        picture, last = self.see_painted(self.screen.settled())
        end = LINES if start == "Home" else 1
        unchanged = 0
        while unchanged < 2 or end not in (line for line, _ in last):
            if unchanged > 20:
                sys.exit(f"{NAME}: {key} does not lead on from {last}")
            keys(key)
            before = picture
            picture, places = self.see_painted(self.screen.settled(picture))
            if not set(places) & set(last):
                sys.exit(f"{NAME}: {key} goes from {last} to {places}")
            unchanged = unchanged + 1 if picture == before else 0
            last = places
        self.check_all(key)

    def check_all(self, key):
        for line in range(1, LINES + 1):
            words = range(words_of(self.number, line)) if self.is_wrapped else [0]
            if missing := [word for word in words if (line, word) not in self.seen]:
                sys.exit(f"{NAME}: {key} in file {self.number}: line {line} was never seen from word {missing[0]} on")


def make_logs(home):
    logs = []
    for number in range(1, FILES + 1):
        if number % 2:
            path = home / f"host-{number:02}" / "service.log"
        else:
            path = home / ("a-very-long-name-of-a-service-in-a-cluster-" * 3 + f"{number:02}.log")
        path.parent.mkdir(exist_ok=True)
        path.write_text("\n".join(text_of(number, line) for line in range(1, LINES + 1)))
        logs.append(path)
    return logs


def main():
    program = os.path.realpath(sys.argv[1])
    with Desktop() as desktop:
        logs = make_logs(desktop.home)
        running = Program(desktop, program, *map(str, logs))
        window = until("the window of the last file", lambda: desktop.run(
            "xdotool", "search", "--onlyvisible", "--name", f"{logs[-1].name}.* – Korvane", check=False).strip())
        window = window.splitlines()[0]
        desktop.run("xdotool", "windowactivate", "--sync", window)
        # A font size with a whole number of pixels per character; hides everything but the lines.
        desktop.keys("ctrl+plus", "ctrl+plus", "ctrl+plus", "F9", "ctrl+shift+l", "Home")
        screen = Screen(desktop, window)
        screen.learn([text_of(FILES, line) for line in range(1, LINES + 1)])
        wrapped = {1: ("Home", "Page_Down"), 2: ("End", "Page_Up"), 3: ("Home", "Down"), 4: ("End", "Up")}
        for number in range(1, FILES + 1):
            desktop.keys("ctrl+Tab")
            Reader(screen, number, False).read("Home", "Page_Down")
            if number in wrapped:
                desktop.keys("alt+z")
                Reader(screen, number, True).read(*wrapped[number])
        desktop.keys("ctrl+q")
        running.ends()


main()
