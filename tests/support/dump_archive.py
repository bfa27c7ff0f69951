#!/usr/bin/env python3
"""Prints a keyed archive as JSON, read with the standard library's own property-list reader.

Objects stand where they are referred to. An object with a class is a dictionary of its fields, with the chain of its
classes under "class" and its place in the archive under "place"; data is shown in hexadecimal.

usage: dump_archive.py FILE
"""
import json
import plistlib
import sys

with open(sys.argv[1], "rb") as file:
    archive = plistlib.load(file, fmt=plistlib.FMT_BINARY)

assert set(archive) == {"$archiver", "$version", "$top", "$objects"}, set(archive)
assert archive["$archiver"] == "NSKeyedArchiver" and archive["$version"] == 100000
assert set(archive["$top"]) == {"root"}
objects = archive["$objects"]
assert objects[0] == "$null"


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
    described = objects[value["$class"].data]
    assert described["$classname"] == described["$classes"][0]
    fields = {key: resolved(field) for key, field in value.items() if key != "$class"}
    return {"class": described["$classes"], "place": place, **fields}


json.dump(resolved(archive["$top"]["root"]), sys.stdout)
