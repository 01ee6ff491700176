"""What Python's "email" makes of a mail, in the terms of the comparison: a dictionary of places and values.

The policy is compat32, because it keeps header values and bodies as the octets they came in; the newer policies rewrite
what breaks the grammar before anybody can compare it. Header words go through email.header.decode_header, which joins
neighbours of one character set before it converts them.
"""

import email
import email.header
import email.policy
import email.utils
import re

TEXTS = ("subject", "date", "message-id", "in-reply-to", "references")
ADDRESSES = ("to", "from", "cc", "reply-to", "return-path", "disposition-notification-to")
JOINED = ("to", "from", "cc", "reply-to", "return-path", "disposition-notification-to")
NOT_COMPARED = object()

# The vocabulary of the library: what Python gives as a text is a number there.
CONTENT_TYPES = {
    "text/plain": 0, "text/html": 1, "multipart/mixed": 3, "multipart/report": 4,
    "message/disposition-notification": 5,
    "message/partial": 6, "application/pdf": 7, "application/x-pdf": 7, "application/postscript": 8,
    "application/applefile": 9, "image/tiff": 10, "image/jpeg": 11, "application/vnd.ms-xpsdocument": 12,
}
ENCODINGS = {"7bit": 0, "8bit": 1, "base64": 2, "quoted-printable": 3}
DISPOSITIONS = {"inline": 0, "attachment": 1}
CHARSETS = {
    "us-ascii": 0, "us": 1, "ascii": 2, "iso-8859-1": 3, "iso-8859-2": 4, "iso-2022-jp": 5, "x-jis": 6,
    "shift_jis": 7,
    "x-sjis": 8, "ms-kanji": 9, "utf-8": 10,
}


def octets_of(text):
    return text.encode("utf-8", "surrogateescape")


def unfolded(value):
    return re.sub(r"\r?\n", "", value).strip(" \t")


def decoded_words(text):
    """The text with its encoded words decoded; None when Python cannot."""
    out = []
    for chunk, charset in email.header.decode_header(text):
        if isinstance(chunk, str):
            out.append(chunk)
        else:
            out.append(chunk.decode(charset or "ascii", "surrogateescape" if charset is None else "strict"))
    return "".join(out)


def attempt(function, *arguments):
    """A value, or what Python says instead of one."""
    try:
        return function(*arguments)
    except Exception as failure:  # its parsers raise what they like
        return "Python raises %s" % type(failure).__name__


def converted_text(value):
    # decode_header makes escapes of octets above 0x7F: those texts have no encoded words here, or are listed.
    if "=?" not in value:
        return octets_of(value)
    return octets_of(decoded_words(value))


def converted_addresses(value):
    entries = []
    for name, address in email.utils.getaddresses([value]):
        entries.append((octets_of(decoded_words(name)), octets_of(address)))
    return entries


def headers(message):
    found = {}
    raw = [(name.lower(), unfolded(value)) for name, value in message.raw_items()]
    for name in TEXTS + ADDRESSES:
        values = [value for field, value in raw if field == name]
        if not values:
            found[name] = found[name + ", converted"] = None
            continue
        value = ", ".join(values) if name in JOINED else values[0]
        found[name] = octets_of(value)
        convert = converted_addresses if name in ADDRESSES else converted_text
        found[name + ", converted"] = attempt(convert, value)
    return found


def raw_octets(part):
    if part.is_multipart():
        return NOT_COMPARED  # a mail inside is an object there, without its octets
    saved = part.get_all("content-transfer-encoding")
    del part["content-transfer-encoding"]
    octets = part.get_payload(decode=True)
    for value in saved or []:
        part["Content-Transfer-Encoding"] = value
    return octets


def decoded_octets(part):
    return NOT_COMPARED if part.is_multipart() else part.get_payload(decode=True)


def file_name(part):
    name = part.get_filename()
    return None if name is None else octets_of(decoded_words(name) if "=?" in name else name).strip()


def plain_file_name(part):
    """Without conversion: only a name in one piece is the same thing to both."""
    fields = str(part.get("content-disposition", "")) + str(part.get("content-type", ""))
    if re.search(r"name\*", fields, re.IGNORECASE):
        return NOT_COMPARED
    name = part.get_filename()
    return None if name is None else octets_of(name).strip()


def content_type_number(part):
    kind = part.get_content_type()
    return CONTENT_TYPES.get(kind, 2 if kind.startswith("multipart/") else 14)


def charset_number(part):
    name = part.get_content_charset()
    return 12 if name is None else CHARSETS.get(name, 11)


def encoding_number(part):
    value = part.get("content-transfer-encoding")
    return 5 if value is None else ENCODINGS.get(str(value).strip().lower(), 4)


def disposition_number(part):
    value = part.get_content_disposition()
    return 3 if value is None else DISPOSITIONS.get(value, 2)


def is_leaf(part):
    return not part.is_multipart() or part.get_content_maintype() == "message"


def facts(part):
    found = {
        "type": attempt(content_type_number, part),
        "charset": attempt(charset_number, part),
        "encoding": attempt(encoding_number, part),
        "disposition": attempt(disposition_number, part),
        "file name": attempt(plain_file_name, part),
        "file name, converted": attempt(file_name, part),
        "octets": None,
        "decoded": None,
    }
    if is_leaf(part):
        found["decoded"] = attempt(decoded_octets, part)
        found["octets"] = attempt(raw_octets, part)
    return found


def parts_of(message):
    """The parts in the order in which they stand, with the number of multiparts that they are in or are."""
    found, todo = [], [(message, 0)]
    while todo:
        part, depth = todo.pop()
        if is_leaf(part):
            found.append((part, depth))
            continue
        found.append((part, depth + 1))
        todo += [(child, depth + 1) for child in reversed(part.get_payload())]
    return found


def reading(octets):
    message = email.message_from_bytes(octets, policy=email.policy.compat32)
    found = headers(message)
    parts = parts_of(message)
    found["structure"] = " ".join("%s@%d" % (part.get_content_type(), depth) for part, depth in parts)
    found["result"] = found["result, converted"] = "ok"
    for number, (part, _) in enumerate(parts):
        for place, value in facts(part).items():
            found["part %d %s" % (number, place)] = value
    return found
