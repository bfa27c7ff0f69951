#!/usr/bin/env python3
"""Prints a keyed archive as JSON, read with the standard library's own property-list reader.

References are replaced by their objects. An object with a class is a dictionary of its fields, with the chain of its
classes under "class" and its place in the archive under "place"; from its second time on only the place is shown.
Data is shown in hexadecimal.

usage: dump_archive.py <ARCHIVE
"""
import json
import plistlib
import sys

archive = plistlib.loads(sys.stdin.buffer.read(), fmt=plistlib.FMT_BINARY)

assert set(archive) == {"$archiver", "$version", "$top", "$objects"}, set(archive)
assert archive["$archiver"] == "NSKeyedArchiver" and archive["$version"] == 100000
assert set(archive["$top"]) == {"root"}
objects = archive["$objects"]
assert objects[0] == "$null"
seen = set()


def resolved(value):
    if isinstance(value, plistlib.UID):
        place = value.data
        return None if place == 0 else of_object(objects[place], place)
    if isinstance(value, list):
        return [resolved(element) for element in value]
    if isinstance(value, bytes):
        return value.hex()
    return value


def of_object(value, place):
    if not isinstance(value, dict):
        return resolved(value)
    if place in seen:
        return {"seen at place": place}
    seen.add(place)
    described = objects[value["$class"].data]
    assert described["$classname"] == described["$classes"][0]
    fields = {key: resolved(field) for key, field in value.items() if key != "$class"}
    return {"class": described["$classes"], "place": place, **fields}


sys.stdout.buffer.write(
    json.dumps(resolved(archive["$top"]["root"]), ensure_ascii=False, indent=1).encode() + b"\n")
