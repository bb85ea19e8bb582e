"""Checks what jsonchild.cpp has written: every line is an object, and has the text that was traced."""

import datetime
import json
import sys

RANGES = [(1, 0x2FF), (0x2028, 0x2029), (0xD7F0, 0xE010), (0xFDD0, 0xFDD0), (0xFEFF, 0xFEFF), (0xFFF0, 0x10010),
          (0x10FFF0, 0x10FFFF)]


def expected_texts():
    for first, last in RANGES:
        yield "start", ""
        for code in range(first, last + 1):
            if code not in (0x0A, 0x0D):
                yield "text", "%x:%s" % (code, "\ufffd" if 0xD800 <= code <= 0xDFFF else chr(code))
        yield "exit", ""


with open(sys.argv[1], "rb") as file:
    lines = file.read().split(b"\n")
assert lines.pop() == b"", "the last line does not end"
objects = [json.loads(line.decode("utf-8")) for line in lines]

found = [(entry["kind"], entry["text"]) for entry in objects]
for got, expected in zip(found, expected_texts()):
    assert got == expected, "%r instead of %r" % (got, expected)
assert len(found) == len(list(expected_texts()))

now = datetime.datetime.now(datetime.timezone.utc)
for entry in objects:
    assert list(entry) == ["time", "level", "thread", "name", "function", "kind", "text"], entry
    assert entry["name"] == '"\\\x1b\xe9', entry
    assert entry["level"] == ("info" if entry["kind"] == "text" else "trace"), entry
    assert entry["thread"] > 0, entry
    assert entry["function"].endswith("traceCharacters"), entry
    text = entry["time"].replace("Z", "+00:00")
    time = datetime.datetime.fromisoformat(text[:26] + text[29:])  # microseconds are the finest here
    assert abs(now - time) < datetime.timedelta(minutes=10), entry
