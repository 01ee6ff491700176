#!/usr/bin/env python3
"""Compares what the library read with the mails themselves and with what Python's "email" reads.

usage: compare.py FOLDER DUMP [LIST]

FOLDER is make_corpus.py's, DUMP what corpus-read-mails wrote. The bodies of parts must be those of the mail. Where
library and Python differ, the list has to have that very difference, with the library's value, under a reason; one that
is not there any more has to leave the list. Exit status 1 otherwise.
"""

import hashlib
import json
import pathlib
import sys

import library_side
import python_side

FEWEST_MAILS = 200
SMALLEST_CUT = 7000  # octets of a text that has an answer almost to itself
LIST = pathlib.Path(__file__).with_name("differences.json")


def shown(value):
    """A value in one line that is short and still tells it from any other."""
    if value is None:
        return "absent"
    if isinstance(value, list):
        return "; ".join("%s <%s>" % (shown(name), shown(address)) for name, address in value) or "no entry"
    text = value.decode("utf-8", "backslashreplace") if isinstance(value, bytes) else str(value)
    text = "".join(c if c.isprintable() else "\\x%02x" % ord(c) for c in text)
    if len(text) <= 100:
        return text
    digest = hashlib.sha256(text.encode("utf-8", "surrogatepass")).hexdigest()[:12]
    return "%s... (%d, %s)" % (text[:40], len(text), digest)


def as_served(octets):
    """POP3 sends lines: a mail whose last one has no end gets one."""
    return octets if not octets or octets.endswith(b"\r\n") else octets + b"\r\n"


class Mail:
    def __init__(self, folder, name):
        octets = (folder / (name + ".eml")).read_bytes()
        manifest = json.loads((folder / (name + ".json")).read_text(encoding="utf-8"))
        self.octets = as_served(octets)
        self.expect = manifest["expect"]
        self.bodies = [self.octets[at : at + size] for at, size in manifest["bodies"]]
        if self.bodies and self.bodies[-1] and sum(manifest["bodies"][-1]) == len(octets):
            self.bodies[-1] = self.octets[manifest["bodies"][-1][0] :]


def differences(ours, theirs):
    """Places with both values; parts are compared only where both see the same ones."""
    same_parts = ours["structure"] == theirs["structure"]
    for place in sorted(set(ours) | set(theirs)):
        if place.startswith("part ") and not same_parts:
            continue
        mine, other = ours.get(place), theirs.get(place)
        if mine == other or other is python_side.NOT_COMPARED:
            continue
        if ours["result"] == "answer-cut" and is_beginning(mine, other):
            yield place, "its beginning", shown(other)
        else:
            yield place, shown(mine), shown(other)


def is_beginning(text, whole):
    """Whether a text is what of another fits into an answer."""
    both = isinstance(text, bytes) and isinstance(whole, bytes)
    return both and whole.startswith(text) and len(text) >= SMALLEST_CUT


def read_list(path):
    listed = {}
    for group in json.loads(path.read_text(encoding="utf-8")):
        if not group["reason"].strip():
            raise SystemExit("%s: a difference without a reason" % path)
        for name, places in group["differences"].items():
            for place, value in places.items():
                if (name, place) in listed:
                    raise SystemExit("%s: %s, %s is there twice" % (path, name, place))
                listed[name, place] = value
    return listed


def compare_mail(mail, entry, left):
    """Sentences about what is wrong with one mail; the differences that were met leave the list."""
    name = entry["name"]
    for sentence in library_side.broken_promises(entry, mail.bodies, mail.expect):
        yield "%s: %s" % (name, sentence)
    for place, mine, other in differences(library_side.reading(entry), python_side.reading(mail.octets)):
        if left.pop((name, place), None) != mine:
            yield "%s, %s: library %s | Python %s" % (name, place, mine, other)


def compare(folder, dump, listed):
    """Sentences about all that is wrong, and the number of mails and of differences that are explained."""
    entries = {}
    with open(dump, encoding="ascii") as lines:
        for line in lines:
            entry = json.loads(line)
            entries[entry["name"]] = entry
    names = sorted(path.stem for path in folder.glob("*.eml"))
    wrong, left = [], dict(listed)
    if names != sorted(entries):
        wrong.append("the mails that were read are not those of the folder")
    for name in sorted(set(names) & set(entries)):
        wrong += compare_mail(Mail(folder, name), entries[name], left)
    wrong += ["%s, %s: listed as different, and is not (any more)" % key for key in sorted(left)]
    return wrong, len(names), len(listed)


def main(arguments):
    if len(arguments) not in (2, 3):
        sys.exit("usage: compare.py FOLDER DUMP [LIST]")
    listed = read_list(pathlib.Path(arguments[2]) if len(arguments) == 3 else LIST)
    wrong, mails, explained = compare(pathlib.Path(arguments[0]), arguments[1], listed)
    print("\n".join(wrong))
    if mails < FEWEST_MAILS:
        wrong.append("too few")
    print("%d mails, %d explained differences, %d things wrong" % (mails, explained, len(wrong)))
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
