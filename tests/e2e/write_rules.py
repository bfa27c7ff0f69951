#!/usr/bin/env python3
"""Writes one notifying rule, and switches it on for a document, as the program's stores keep them.

usage: write_rules.py STORE_DIRECTORY DOCUMENT_URL SEARCH_TEXT
"""
import os
import plistlib
import sys
import uuid


class Archive:
    """The object graph of a keyed archive."""

    def __init__(self):
        self.objects = ["$null"]
        self.classes = {}

    def add(self, value):
        self.objects.append(value)
        return plistlib.UID(len(self.objects) - 1)

    def instance(self, fields, *classes):
        if classes not in self.classes:
            self.classes[classes] = self.add({"$classname": classes[0], "$classes": list(classes)})
        return self.add({**fields, "$class": self.classes[classes]})

    def own(self, name, fields):
        return self.instance(fields, "Korvane." + name, "NSObject")

    def array(self, elements):
        return self.instance({"NS.objects": elements}, "NSMutableArray", "NSArray", "NSObject")

    def dictionary(self, entries):
        return self.instance(
            {"NS.keys": [self.add(key) for key in entries], "NS.objects": list(entries.values())},
            "NSMutableDictionary", "NSDictionary", "NSObject")

    def uuid(self, identity):
        return self.instance({"NS.uuidbytes": identity.bytes}, "NSUUID", "NSObject")

    def color(self, red, green, blue):
        return self.instance({"NSColorSpace": 1, "NSRGB": f"{red} {green} {blue}\0".encode()},
                             "NSColor", "NSObject")

    def write(self, root, path):
        document = {"$archiver": "NSKeyedArchiver", "$version": 100000, "$top": {"root": root},
                    "$objects": self.objects}
        with open(path, "wb") as file:
            plistlib.dump(document, file, fmt=plistlib.FMT_BINARY)


def main():
    directory, document_url, text = sys.argv[1:]
    os.makedirs(directory, mode=0o700, exist_ok=True)
    identity = uuid.uuid4()

    rules = Archive()
    rule = rules.own("FilterRule", {
        "searchItem": rules.own("SearchItem", {"searchStr": rules.add(text), "regex": False, "ignoreCase": False}),
        "hide": False,
        "highlight": rules.own("HighlightRule", {
            "bold": True, "italic": False, "underline": False, "fgcolor": rules.color(1, 0, 0),
            "bgcolor": rules.color(1, 1, 1), "useViewBackground": True}),
        "notification": rules.own("NotificationRule", {
            "enabled": True, "frequency": rules.add("Once"), "bounceDock": False}),
        "id": rules.uuid(identity),
    })
    rules.write(rules.array([rule]), os.path.join(directory, "filters.data"))

    states = Archive()
    states.write(states.dictionary({document_url: states.array([states.uuid(identity)])}),
                 os.path.join(directory, "rules-state.data"))


main()
