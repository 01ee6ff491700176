"""Text in many character sets, and ISO-2022-JP cut at every octet: at the end of a mail, between encoded words, between
pieces."""

import base64

from mail_builder import Body, Mail, b64, header, qp, single

# US-ASCII, JIS X 0208, JIS X 0201 Roman, half-width kana, and back.
JIS = b"a" + b"\x1b$BF|K\\8l" + b"\x1b(Bb" + b"\x1b$@4A;z" + b"\x1b(Jx" + b"\x1b$B%+" + b"\x1b(Bc"
PIECE = 9000  # octets; a piece is about 8,000


def cut_at_every_octet():
    for cut in range(len(JIS) + 1):
        lines = ["Content-Type: text/plain; charset=iso-2022-jp"]
        yield single("jis-body-cut-%02d" % cut, lines, JIS[:cut])
        words = [b"=?iso-2022-jp?B?" + base64.b64encode(half) + b"?=" for half in (JIS[:cut], JIS[cut:])]
        expected = JIS.decode("iso2022_jp")
        yield Mail("jis-words-cut-%02d" % cut, [header(b"Subject: " + b" ".join(words)), Body(b"x\r\n")],
            {"subject": expected})
        body = b"p" * cut + JIS * (PIECE // len(JIS)) + b"\r\n"
        yield single("jis-piece-cut-%02d" % cut, lines, body)


def pieces_of_charsets():
    texts = {"utf-8": "aé日本語😀", "shift_jis": "a日本語表ソ", "iso-8859-1": "aéß", "euc-jp": "a日本語"}
    for charset, text in texts.items():
        octets = text.encode("cp932" if charset == "shift_jis" else charset)
        for pad in range(len(octets)):
            lines = ["Content-Type: text/plain; charset=" + charset, "Content-Transfer-Encoding: 8bit"]
            yield single("piece-%s-%02d" % (charset, pad), lines,
                b"p" * pad + octets * (PIECE // len(octets)) + b"\r\n")
    lines = ["Content-Type: text/plain; charset=iso-2022-jp"]
    yield single("jis-piece-never-back", lines, b"\x1b$B" + b"F|K\\" * 5000, {"pieces": "joined"})
    yield Mail("jis-roman", [header(b"Subject: =?iso-2022-jp?B?" + base64.b64encode(b"\x1b(J\\~\x1b(B") + b"?="),
        Body(b"x\r\n")])
    yield single("jis-piece-lines", lines, (JIS + b"\r\n") * 500)
    yield single("jis-piece-unnamed", [], JIS * 300 + b"\r\n")
    yield single("jis-base64", [*lines, "Content-Transfer-Encoding: base64"], b64(JIS * 400))
    yield single("jis-quoted", [*lines, "Content-Transfer-Encoding: quoted-printable"], qp(JIS * 200))


def names():
    for name in ("us-ascii", "ascii", "utf-8", "UTF-8", "utf8", "iso-8859-1", "iso-8859-2", "iso-8859-15",
            "iso-2022-jp", "iso-2022-jp-2", "shift_jis",
            "shift-jis", "x-sjis", "x-jis", "ms_kanji", "euc-jp", "windows-1252", "koi8-r", "us",
            "unknown-8bit"):
        yield Mail("charset-" + name, [header("Subject: x", "Content-Type: text/plain; charset=" + name),
            Body(b"x\r\n")])
    odd = {"quoted": '"utf-8"', "empty": "", "empty-quoted": '""', "blanks": '" utf-8 "', "extended": None,
        "comment": "utf-8 (x)", "single-quotes": "'utf-8'",
        "eight-bit": "utf-\u00e9", "twice": "utf-8; charset=iso-2022-jp", "unclosed": '"utf-8',
        "comma": "utf-8, x"}
    for name, value in odd.items():
        parameter = "charset*=us-ascii''utf-8" if value is None else "charset=" + value
        yield Mail("charset-odd-" + name, [header("Subject: x", "Content-Type: text/plain; " + parameter),
            Body(b"x\r\n")])


def mails():
    for group in (cut_at_every_octet, pieces_of_charsets, names):
        yield from group()
