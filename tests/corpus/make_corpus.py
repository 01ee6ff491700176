#!/usr/bin/env python3
"""Writes the corpus: each mail as NAME.eml, and where its bodies stand as NAME.json.

usage: make_corpus.py FOLDER

The same octets on every run and every machine.
"""

import json
import pathlib
import sys

import mails_charsets
import mails_encodings
import mails_headers
import mails_structure


def corpus():
    mails = [mail for module in (mails_encodings, mails_structure, mails_headers, mails_charsets)
             for mail in module.mails()]
    names = [mail.name for mail in mails]
    twice = {name for name in names if names.count(name) > 1}
    if twice:
        raise SystemExit("two mails of one name: %s" % ", ".join(sorted(twice)))
    return mails


def write(folder):
    mails = corpus()
    for mail in mails:
        (folder / (mail.name + ".eml")).write_bytes(mail.octets())
        manifest = {"bodies": mail.spans(), "expect": mail.expect}
        (folder / (mail.name + ".json")).write_text(json.dumps(manifest), encoding="utf-8")
    return len(mails)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: make_corpus.py FOLDER")
    target = pathlib.Path(sys.argv[1])
    target.mkdir(parents=True, exist_ok=True)
    print("%d mails" % write(target))
