"""What the library gave, as corpus-read-mails wrote it down, in the terms of the comparison; and what it promises of
itself, whatever any other reader says."""

import email.utils

from python_side import ADDRESSES, NOT_COMPARED, TEXTS

SMALLEST_PIECE = 6000  # octets, the last one aside


def octets(text):
    return None if text is None else bytes.fromhex(text)


def without_doubled_dots(piece):
    """The part's own octets of a quoted-printable piece, which has two dots where its decoder takes one away."""
    out, at, at_start = bytearray(), 0, True
    while at < len(piece):
        count = 1
        if piece[at] == ord("="):
            count = 3
            if piece[at + 1 : at + 2] in (b"\r", b"\n"):
                count = 3 if piece[at + 2 : at + 3] in (b"\r", b"\n") else 2
        elif piece[at] == ord(".") and at_start and piece[at + 1 : at + 2] == b".":
            at += 1
            at_start = False
        else:
            at_start = piece[at] == ord("\n")
        out += piece[at : at + count]
        at += count
    return bytes(out)


def part_octets(part):
    pieces = [octets(piece) for piece in part["pieces"]]
    if not pieces:
        return None
    if part["transfer_encoding"] == 3:
        pieces = [without_doubled_dots(piece) for piece in pieces]
    return b"".join(pieces)


def type_of(part):
    text = (octets(part["type_text"]) or b"").decode("utf-8", "backslashreplace").lower()
    return text if text.count("/") == 1 or part["content_type"] != 0 else "text/plain"


def converted_addresses(value):
    if value is None:
        return None
    text = value.decode("utf-8", "surrogateescape")
    return [tuple(half.encode("utf-8",
        "surrogateescape") for half in entry) for entry in email.utils.getaddresses([text])]


def reading(entry):
    found = {}
    raw, converted = entry["raw"], entry["converted"]
    for name in TEXTS + ADDRESSES:
        found[name] = octets(raw["header"][name])
        value = octets(converted["header"][name])
        found[name + ", converted"] = converted_addresses(value) if name in ADDRESSES else value
    found["structure"] = " ".join("%s@%d" % (type_of(part), part["depth"]) for part in raw["parts"])
    found["result"], found["result, converted"] = raw["code"], converted["code"]
    for number, (part, twin) in enumerate(zip(raw["parts"], converted["parts"])):
        values = {
            "type": part["content_type"],
            "charset": part["char_set"],
            "encoding": part["transfer_encoding"],
            "disposition": part["disposition"],
            "file name": octets(part["file_name"]),
            "file name, converted": octets(twin["file_name"]),
            "octets": part_octets(part),
            "decoded": octets(part["decoded"]) if part["pieces"] else None,
        }
        for place, value in values.items():
            found["part %d %s" % (number, place)] = value
    return found


def decodes(piece, charset):
    try:
        return piece.decode(charset)
    except UnicodeDecodeError:
        return None


CODECS = {5: "iso2022_jp", 7: "cp932", 10: "utf-8"}  # whose characters have more octets than one


def broken_promises(entry, bodies, expect):
    """Sentences about what the library gave against the octets of the file and against itself; none is right."""
    raw, converted = entry["raw"]["parts"], entry["converted"]["parts"]
    found = reading(entry)
    numbers = [number for number, part in enumerate(raw) if part["pieces"]]
    if [part["pieces"] for part in raw] != [part["pieces"] for part in converted]:
        yield "the conversion of header texts changes the body"
    if len(numbers) != len(bodies):
        yield "%d parts with a body, the mail has %d" % (len(numbers), len(bodies))
    for number, body in zip(numbers, bodies):
        if found["part %d octets" % number] != body:
            yield "part %d is not what stands in the mail" % number
    for number in numbers:
        part = raw[number]
        pieces = [octets(piece) for piece in part["pieces"]]
        if any(len(piece) < SMALLEST_PIECE for piece in pieces[:-2]):
            yield "part %d comes in small pieces" % number
        if convert_one_by_one(part, pieces) != (expect.get("pieces") != "joined"):
            yield "part %d: whether its pieces convert one by one" % number
    for place, text in expect.items():
        if place == "pieces":
            continue
        key = "part %s file name, converted" % place[10:] if place.startswith("file name ") else place + ", converted"
        value = octets(entry["converted"]["header"][place]) if place in ADDRESSES else found.get(key)
        if value != text.encode():
            yield "%s is %r, not %r" % (place, value, text)


def convert_one_by_one(part, pieces):
    """Text that is not transfer-encoded: where the whole of it converts, each piece does by itself."""
    codec = CODECS.get(part["char_set"])
    whole = decodes(b"".join(pieces), codec) if codec and part["transfer_encoding"] not in (2, 3) else None
    if whole is None or not type_of(part).startswith("text/"):
        return True
    texts = [decodes(piece, codec) for piece in pieces]
    return None not in texts and "".join(texts) == whole
