"""Writes keyed archives for tests."""
import plistlib


class Archive:
    """The objects of a keyed archive; those of one class share its description."""

    def __init__(self):
        self.objects = ["$null"]
        self.classes = {}

    def add(self, value):
        self.objects.append(value)
        return plistlib.UID(len(self.objects) - 1)

    def instance(self, classes, **fields):
        """`classes`: the class and those it inherits from, separated by spaces."""
        if classes not in self.classes:
            names = classes.split()
            self.classes[classes] = self.add({"$classname": names[0], "$classes": names})
        return self.add({**fields, "$class": self.classes[classes]})

    def array(self, *elements):
        return self.instance("NSMutableArray NSArray NSObject", **{"NS.objects": list(elements)})

    def uuid(self, identity):
        return self.instance("NSUUID NSObject", **{"NS.uuidbytes": identity.bytes})

    def color(self, text, space=1, key="NSRGB"):
        return self.instance("NSColor NSObject", NSColorSpace=space, **{key: text})

    def encoded(self, root):
        return plistlib.dumps({"$archiver": "NSKeyedArchiver", "$version": 100000, "$top": {"root": root},
                               "$objects": self.objects}, fmt=plistlib.FMT_BINARY)
