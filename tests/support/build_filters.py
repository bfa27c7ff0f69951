#!/usr/bin/env python3
"""Writes an archive of rules the way other writers of the format do it: class names in both forms, shared parts,
colours of several spaces, texts as objects, and fields left out.

usage: build_filters.py >ARCHIVE
"""
import plistlib
import sys
import uuid

sys.dont_write_bytecode = True  # writes no __pycache__ into the tree
from keyed_archive import Archive

archive = Archive()
add, of_class = archive.add, archive.instance
root_place = add(None)  # the root comes first

null = plistlib.UID(0)
red = archive.color(b"1 0 0\0")
white = archive.color(b"1\0", 3, "NSWhite")
gray = archive.color(b"0.2 0.4\0", 4, "NSWhite")
device = archive.color(b"0 0.2 1", 2)

highlight = of_class("_TtC7Korvane13HighlightRule NSObject",
                     fgcolor=red, bgcolor=white, bold=True, italic=False, underline=True, useViewBackground=False)
bare_highlight = of_class("Korvane.HighlightRule NSObject", fgcolor=gray, bgcolor=device)
always = of_class("_TtC7Korvane16NotificationRule NSObject", enabled=True, frequency=add("Always"), bounceDock=True)
lower_case = of_class("Korvane.NotificationRule NSObject", enabled=True, frequency=add("always"))
mutable_text = of_class("NSMutableString NSString NSObject", **{"NS.string": "größe \U0001F600"})
item = of_class("_TtC7Korvane10SearchItem NSObject", searchStr=add("error"), regex=True, ignoreCase=True)
bare_item = of_class("Korvane.SearchItem NSObject", searchStr=mutable_text)

rules = [
    of_class("_TtC7Korvane10FilterRule NSObject", searchItem=item, highlight=highlight, notification=always, hide=True,
             id=archive.uuid(uuid.UUID("01234567-89ab-cdef-0123-456789abcdef"))),
    of_class("Korvane.FilterRule NSObject", searchItem=bare_item, highlight=bare_highlight, notification=lower_case,
             id=archive.uuid(uuid.UUID("fedcba98-7654-3210-fedc-ba9876543210"))),
    # Neither a notification nor an identity; shares its other parts with the first.
    of_class("Korvane.FilterRule NSObject", searchItem=item, highlight=highlight),
    # The null object, and an object that is not a notification; text in place of an identity.
    of_class("_TtC7Korvane24QuickHighlightFilterRule _TtC7Korvane10FilterRule NSObject",
             searchItem=item, highlight=highlight, notification=null, hide=False, id=add("no uuid")),
    of_class("Korvane.FilterRule NSObject", searchItem=item, highlight=highlight, notification=red, id=null),
]
root = archive.array(*rules)
archive.objects[root_place.data] = archive.objects.pop(root.data)
sys.stdout.buffer.write(archive.encoded(root_place))
