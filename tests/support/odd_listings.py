#!/usr/bin/env python3
"""An SFTP subsystem whose directories hold odd answers. usage: odd_listings.py paths|empty|attributes"""
import struct
import sys

INIT, VERSION, CLOSE, OPENDIR, READDIR, STAT, STATUS, HANDLE, NAME, ATTRS = 1, 2, 4, 11, 12, 17, 101, 102, 104, 105
END_OF_FILE = 1
DIRECTORY = struct.pack(">II", 4, 0o40755)
PATHS = [b"good", b"../escape", b"a/b", b"/", b"", b"directory/", b"..", b".", b"nul\0l", b"..."]


def text(value):
    return struct.pack(">I", len(value)) + value


def names(entries):
    return struct.pack(">I", len(entries)) + b"".join(text(name) + text(b"") + rest for name, rest in entries)


def answer(kind, number, body):
    packet = bytes([kind]) + (b"" if kind == VERSION else number) + body
    sys.stdout.buffer.write(struct.pack(">I", len(packet)) + packet)
    sys.stdout.buffer.flush()


def listing(how, reads):
    if how == "empty":
        return names([])
    if how == "attributes":
        extended = struct.pack(">II", 0x80000000, 1) + text(b"what") + text(b"x" * 200_000)
        return names([(b".", extended)])
    return names([(name, DIRECTORY) for name in PATHS]) if reads == 0 else None


def main():
    how, reads = sys.argv[1], 0
    while head := sys.stdin.buffer.read(4):
        packet = sys.stdin.buffer.read(struct.unpack(">I", head)[0])
        kind, number = packet[0], packet[1:5]
        if kind == INIT:
            answer(VERSION, b"", struct.pack(">I", 3))
        elif kind == STAT:
            answer(ATTRS, number, DIRECTORY)
        elif kind == OPENDIR:
            answer(HANDLE, number, text(b"handle"))
        else:
            body = listing(how, reads) if kind == READDIR else None
            reads += kind == READDIR
            if body is None:
                answer(STATUS, number, struct.pack(">I", END_OF_FILE) + text(b"") + text(b""))
            else:
                answer(NAME, number, body)


main()
