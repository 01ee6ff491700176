"""Puts mails together and remembers where the bodies of their parts stand.

A mail is a list of segments: octets as they are, and Body, the octets of one part that the reader has to give. The
manifest of a mail says where in the file each Body lies, so that what was read is held against the file itself and not
against another reader's opinion of it.
"""

import base64
import textwrap

CRLF = b"\r\n"


class Body(bytes):
    """The octets of a part's body, as they stand in the mail."""


class Mail:
    """A mail of the corpus.

    expect: what the reader has to give with code conversion, where another reader cannot know:
            {"subject": text} and the like, {"file name 2": text} for the part with that number;
            {"pieces": "joined"} where a piece does not convert by itself
    """

    def __init__(self, name, segments, expect=None):
        self.name = name
        self.segments = segments
        self.expect = expect or {}

    def octets(self):
        return b"".join(self.segments)

    def spans(self):
        """Offset and length of each body."""
        found, at = [], 0
        for segment in self.segments:
            if isinstance(segment, Body):
                found.append([at, len(segment)])
            at += len(segment)
        return found


def header(*lines, end=CRLF):
    """Header lines with the blank line behind them; texts are UTF-8."""
    octets = [line if isinstance(line, bytes) else line.encode() for line in lines]
    return b"".join(line + end for line in octets) + end


def single(name, lines, body, expect=None, end=CRLF):
    return Mail(name, [header("Subject: " + name, *lines, end=end), Body(body)], expect)


def leaf(body, *lines, end=CRLF):
    return [header(*lines, end=end), Body(body)]


def multipart(boundary, parts, subtype="mixed", preamble=b"", epilogue=b"", closing=True, end=CRLF, quote=True):
    """The segments of a multipart from its header on; each part is a list of segments."""
    value = '"%s"' % boundary.replace("\\", "\\\\").replace('"', '\\"') if quote else boundary
    mark = b"--" + boundary.encode("latin-1")
    segments = [header(("Content-Type: multipart/%s; boundary=%s" % (subtype, value)).encode("latin-1"), end=end),
        preamble]
    for number, part in enumerate(parts):
        segments.append((end if number or preamble else b"") + mark + end)
        segments += part
    if closing:
        segments.append(end + mark + b"--" + end + epilogue)
    return segments


def whole(name, segments, *lines, expect=None, end=CRLF):
    """A mail of such segments, its own header lines in front."""
    octets = header("Subject: " + name, *lines, end=end)[: -len(end)]
    return Mail(name, [octets] + segments, expect)


def lines_of(octets, width=76, end=CRLF):
    return b"".join(octets[at : at + width] + end for at in range(0, len(octets), width))


def b64(octets, width=76, end=CRLF):
    return lines_of(base64.b64encode(octets), width, end)


def qp(octets, width=76, end=CRLF):
    """Quoted-printable, written by hand: what is tested must not be written by a library that is compared."""
    out, column = [], 0
    for line in octets.splitlines(keepends=True):
        text = line.rstrip(b"\r\n")
        for place, octet in enumerate(text):
            blank_at_end = octet in b" \t" and place == len(text) - 1
            plain = 32 <= octet < 127 and octet != ord("=") and not blank_at_end
            unit = bytes([octet]) if plain else b"=%02X" % octet
            if column + len(unit) > width - 1:
                out.append(b"=" + end)
                column = 0
            out.append(unit)
            column += len(unit)
        if len(text) < len(line):
            out.append(end)
            column = 0
    return b"".join(out)


def octets(count, seed=1):
    """Octets of every value, the same on every machine."""
    state, out = seed, bytearray()
    while len(out) < count:
        state = (state * 1103515245 + 12345) & 0x7FFFFFFF
        out.append(state >> 16 & 0xFF)
    return bytes(out)


def text(count, end=CRLF):
    """Lines of words and numbers, some of them long, some that begin with dots."""
    out, number, size = [], 0, 0
    while size < count:
        number += 1
        start = (b"", b".", b"..", b". ", b"...")[number % 5]
        line = start + textwrap.shorten("line %d %s" % (number, "word " * (number % 13)), 200).encode() + end
        out.append(line)
        size += len(line)
    return b"".join(out)
