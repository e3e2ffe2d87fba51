"""An independent view of keyed archives through the standard library's property lists.

KeyedArchive.py read FILE    prints the root object, references resolved, as JSON
KeyedArchive.py write FILE   writes a song in the keyed archiver's layout
"""
import json
import plistlib
import sys
from plistlib import UID


def resolve(archive, value):
    if isinstance(value, UID):
        value = archive["$objects"][value.data]
        return None if value == "$null" else resolve(archive, value)
    if isinstance(value, bytes):
        return value.hex()
    if not isinstance(value, dict):
        return value
    classes = archive["$objects"][value["$class"].data]
    assert classes["$classes"][0] == classes["$classname"] and classes["$classes"][-1] == "NSObject"
    if classes["$classname"] == "NSArray":
        return [resolve(archive, element) for element in value["NS.objects"]]
    result = {key: resolve(archive, inner) for key, inner in value.items() if key != "$class"}
    return {"class": "/".join(classes["$classes"]), **result}


def read(path):
    with open(path, "rb") as file:
        archive = plistlib.load(file, fmt=plistlib.FMT_BINARY)
    assert archive["$archiver"] == "NSKeyedArchiver" and archive["$version"] == 100000
    assert archive["$objects"][0] == "$null"
    print(json.dumps(resolve(archive, archive["$top"]["root"]), sort_keys=True), end="")


def write(path):
    def record(*names):
        return {"$classname": names[0], "$classes": [*names, "NSObject"]}

    objects = [
        "$null",
        {"$class": UID(2), "marks": UID(3), "selected": UID(5), "data": UID(11), "tempo": 120, "frequency": UID(14),
         "channel": 15},
        record("TestSong"),
        {"$class": UID(4), "NS.objects": [UID(5), UID(7)]},
        record("NSMutableArray", "NSArray"),
        {"$class": UID(6), "identifier": UID(13), "location": -9, "downbeat": 1},
        record("TestBeat", "TestMark"),
        {"$class": UID(8), "identifier": 2**64 - 1, "location": 2**40, "text": UID(9), "next": UID(0)},
        record("TestName", "TestMark"),
        {"$class": UID(10), "NS.string": "Stra\u00dfe \U0001d11e"}, record("NSMutableString", "NSString"),
        {"$class": UID(12), "NS.data": b"\x00\xff"}, record("NSMutableData", "NSData"), 7, 432.5,
    ]
    archive = {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": UID(1)}, "$objects": objects}
    with open(path, "wb") as file:
        plistlib.dump(archive, file, fmt=plistlib.FMT_BINARY)


{"read": read, "write": write}[sys.argv[1]](sys.argv[2])
