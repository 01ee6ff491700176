"""Transfer encodings, whole and broken; dots, line ends and lines of every length."""

from mail_builder import CRLF, Body, Mail, b64, header, leaf, lines_of, multipart, octets, qp, single, text, whole

HALF = 100000
SIZES = (0, 1, 2, 3, 4, 77, 6144, 8191, 30000)

BASE64 = "Content-Transfer-Encoding: base64"
QUOTED = "Content-Transfer-Encoding: quoted-printable"
BINARY = "Content-Type: application/octet-stream"


def every_encoding():
    for size in SIZES:
        data = text(size)[:size]
        yield single("encoding-none-%05d" % size, [], data)
        yield single("encoding-7bit-%05d" % size, ["Content-Transfer-Encoding: 7bit"], data)
        eight = bytes(octet or 1 for octet in octets(size, 7)).replace(b"\r", b"r").replace(b"\n", b"n")
        yield single("encoding-8bit-%05d" % size, [BINARY, "Content-Transfer-Encoding: 8bit"], lines_of(eight))
        yield single("encoding-binary-%05d" % size, [BINARY, "Content-Transfer-Encoding: binary"],
            lines_of(eight, 991))
        yield single("encoding-base64-%05d" % size, [BINARY, BASE64], b64(octets(size, 3)))
        yield single("encoding-quoted-%05d" % size, [QUOTED], qp(octets(size, 5) + b"\r\n" + data))


def encoding_names():
    body = b64(b"the encoding's name is odd")
    names = {
        "upper": "BASE64", "mixed-case": "Base64", "comment": "base64 (as ever)", "comment-before": "(x) base64",
        "parameter": "base64; x=y", "quoted": '"base64"', "longer": "base64url", "blank-inside": "base 64",
        "empty": "", "unknown": "x-rot13", "tab": "\tbase64\t",
    }
    for name, value in names.items():
        yield single("encoding-name-" + name, [BINARY, "Content-Transfer-Encoding: " + value], body)
    yield single("encoding-name-folded", [BINARY, "Content-Transfer-Encoding:\r\n base64"], body)
    yield single("encoding-name-twice", [BINARY, BASE64, "Content-Transfer-Encoding: 7bit"], body)
    yield single("encoding-uuencode", [BINARY, "Content-Transfer-Encoding: x-uuencode"],
        b"begin 644 a.txt\r\n%:&5L;&\\ \r\n \r\nend\r\n")


def broken_base64():
    good = b64(octets(200, 9))
    cases = {
        "one-character": b"Y\r\n", "two-characters": b"YW\r\n", "three-characters": b"YWI\r\n",
        "five-characters": b"YWJjZ\r\n", "no-padding": b"YWJjZA\r\n", "too-much-padding": b"YWJjZA====\r\n",
        "only-padding": b"====\r\n", "padding-inside": b"YWJjZA==YWJjZA==\r\n",
        "padding-inside-lines": b"YWJjZA==\r\nYWJjZA==\r\n", "blanks": b"YW Jj\t ZA ==\r\n",
        "junk": b"YW!Jj#Z(A)==\r\n", "junk-at-end": good + b"-- \r\nsent from somewhere\r\n",
        "url-alphabet": b"-_-_\r\n", "eight-bit": b"YW\xe3\x81\x82JjZA==\r\n", "nul": b"YWJj\x00ZGVm\r\n",
        "dots": b".YWJj\r\n..ZGVm\r\n.\x20\r\n", "empty-lines": b"\r\n\r\nYWJj\r\n\r\nZGVm\r\n\r\n",
        "one-a-line": b"".join(bytes([c]) + CRLF for c in good if c not in CRLF),
        "bare-lf": good.replace(CRLF, b"\n"), "bare-cr": good.replace(CRLF, b"\r"),
        "one-long-line": b64(octets(HALF * 3 // 4, 2), HALF), "no-last-line-end": good[:-2],
        "odd-line-lengths": b64(octets(20000, 4), 77),
        "long-blanks": b"YWJj" + b" " * 20000 + b"ZGVm\r\n",
    }
    for name, body in cases.items():
        yield single("base64-" + name, [BINARY, BASE64], body)


def broken_quoted():
    cases = {
        "soft-break-at-end": b"abc=\r\n", "equals-at-end": b"abc=", "equals-alone": b"=\r\n",
        "bad-hex": b"a=XYb =G1 =1G z\r\n", "half-hex": b"a=4\r\nb\r\n", "lower-case-hex": b"=e3=81=82=3d\r\n",
        "blanks-at-line-end": b"abc  \r\ndef\t\r\nghi=20\r\n",
        "blank-behind-soft-break": b"abc= \r\ndef=\t\r\nghi\r\n",
        "soft-break-lf": b"abc=\ndef\n", "soft-break-cr": b"abc=\rdef\r\n", "bare-cr": b"abc\rdef\r\n",
        "eight-bit": b"\xe3\x81\x82=E3=81=84\r\n", "nul": b"a\x00b=00c\r\n",
        "escaped-line-ends": b"a=0D=0Ab=0Ac=0D\r\n",
        "double-equals": b"a==3D=\r\n=b\r\n", "underscore": b"a_b=5Fc\r\n", "soft-breaks-only": b"=\r\n" * 50,
        "dots": b".\r\n..\r\n...\r\n.a\r\n..a\r\n=2E\r\n=2E.\r\n=2E..\r\na\r\n.\r\n",
        "dots-behind-soft-break": b"abc=\r\n.\r\nabc=\r\n..\r\nabc=\r\n...d\r\n",
        "dots-bare-lf": b"a\n.\nb\n..\n...c=\n.\n=\n..d\r\n..e\r\n",
        "dots-behind-escapes": b"=41.\r\n=41..\r\n=0A..=\r\n..\r\n",
        "dots-first": b"..a\r\n", "dot-only": b".\r\n",
        "one-long-line": b"=41" * (HALF // 3) + CRLF, "one-long-plain-line": b"x" * HALF + CRLF,
        "long-soft-broken": (b"y" * 75 + b"=\r\n") * 400, "bare-lf": qp(octets(500, 8), end=b"\n"),
    }
    for name, body in cases.items():
        yield single("quoted-" + name, [QUOTED], body)
    for pad in range(6):  # escapes and soft breaks where pieces are cut
        yield single("quoted-piece-%d" % pad, [QUOTED], b"p" * pad + b"=E3=81=82" * 2500 + CRLF)
        yield single("quoted-piece-dots-%d" % pad, [QUOTED], b"p" * pad + (b"=\r\n..q") * 3500 + CRLF)


def dots_and_lines():
    dots = b".\r\n..\r\n...\r\n.a\r\n. \r\n\r\n.\r\n"
    yield single("dots-7bit", [], dots)
    yield single("dots-8bit", [BINARY, "Content-Transfer-Encoding: 8bit"], dots.replace(b"a", b"\xff"))
    yield single("dots-bare-lf", [], dots.replace(CRLF, b"\n"))
    yield single("dots-mixed-line-ends", [], b".\n.\r\n..\n..\r\n.\r.\r\n.\r\n")
    yield single("dots-many", [], b".\r\n" * 10000)
    parts = [leaf(dots), leaf(dots, QUOTED), leaf(b64(dots), BASE64), leaf(dots)]
    yield whole("dots-in-parts", multipart("b", parts, preamble=dots, epilogue=dots))
    yield whole("dots-boundary", multipart(".", [leaf(b"one\r\n"), leaf(b".\r\n--.x")]))
    for length in (4093, 4094, 4095, 4096, 4097, 8190, 8191, 8192, 8193, HALF):
        yield single("line-of-%06d" % length, [], b"x" * length + CRLF + b"." * length + CRLF)
    yield single("line-of-100000-8bit", [BINARY, "Content-Transfer-Encoding: 8bit"], b"\xfe" * HALF + CRLF)
    yield single("line-of-100000-unended", [], b"x" * HALF)
    yield single("line-of-100000-cr", [], b"x\r" * (HALF // 2) + CRLF)
    parts = [leaf(b"--" + b"b" * HALF + CRLF), leaf(b"--b" + b" " * 5000 + b"x" + CRLF)]
    yield whole("line-of-100000-like-boundary", multipart("b", parts))


def line_ends():
    for name, end in (("lf", b"\n"), ("crlf", CRLF)):
        yield single("lines-%s" % name, [BASE64], b64(octets(99), end=end), end=end)
        inner = multipart("inner", [leaf(b"one" + end + b".two" + end, end=end), leaf(qp(octets(60), end=end), QUOTED,
            end=end)], end=end)
        segments = multipart("outer", [inner, leaf(text(9000, end), end=end)], end=end, preamble=b"p" + end,
            epilogue=b"e" + end)
        yield whole("lines-%s-nested" % name, segments, end=end)
    yield Mail("lines-header-lf-body-crlf", [b"Subject: x\nTo: a@b\n\n", Body(b"a\r\n.b\r\n")])
    yield Mail("lines-header-crlf-body-lf", [b"Subject: x\r\nTo: a@b\r\n\r\n", Body(b"a\n.b\n")])
    yield Mail("lines-cr-in-header", [b"Subject: x\ry\r\nTo: a@b\r\n\r\n", Body(b"a\r\n")])
    yield Mail("lines-cr-in-body", [header("Subject: x"), Body(b"a\rb\r\r\nc\n\rd\r\n")])
    yield Mail("lines-cr-only", [b"Subject: x\rTo: a@b\r\rbody\r\r\n", Body(b"")])
    mixed = [header("Subject: x", 'Content-Type: multipart/mixed; boundary="b"'), b"--b\n\n", Body(b"one"),
        b"\n--b\r\n\r\n",
        Body(b"two\r"), b"\r\n--b--\n"]
    yield Mail("lines-mixed-at-boundaries", mixed)
    yield Mail("lines-nul", [header("Subject: a\0b"), Body(b"a\0b\r\n\0\r\n")])


def mails():
    for group in (every_encoding, encoding_names, broken_base64, broken_quoted, dots_and_lines, line_ends):
        yield from group()
