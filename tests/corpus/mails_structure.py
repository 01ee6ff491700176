"""Multiparts: nested, with odd boundaries, without closings, and what is no header at all."""

from mail_builder import CRLF, Body, Mail, b64, header, leaf, multipart, octets, qp, single, text, whole

BASE64 = "Content-Transfer-Encoding: base64"
QUOTED = "Content-Transfer-Encoding: quoted-printable"
BINARY = "Content-Type: application/octet-stream"


def some_leaf(number):
    return (
        leaf(b"leaf %d\r\n.dot" % number),
        leaf(b64(octets(300, number)), BINARY, BASE64),
        leaf(qp(octets(90, number)), QUOTED),
        leaf(b"\xe3\x81\x82" * number, "Content-Type: text/plain; charset=utf-8", "Content-Transfer-Encoding: 8bit"),
    )[number % 4]


def nested(depth, closing=True):
    segments = some_leaf(depth)
    for level in range(depth, 0, -1):
        segments = multipart("level%d" % level, [some_leaf(level), segments, some_leaf(level + 1)], closing=closing,
            preamble=b"preamble\r\n.", epilogue=b"epilogue")
    return segments


def nesting():
    for depth in range(1, 21):
        yield whole("nested-%02d" % depth, nested(depth))
    for depth in (1, 2, 5, 20):
        segments = some_leaf(depth)
        for level in range(depth, 0, -1):
            segments = multipart("level%d" % level, [some_leaf(level), segments], closing=False)
        yield whole("unclosed-nested-%02d" % depth, segments)
    # One level deeper than is read: the multipart inside is the body of a part.
    inner = Body(b"".join(multipart("level21", [some_leaf(1)])).split(CRLF * 2, 1)[1])
    segments = [header('Content-Type: multipart/mixed; boundary="level21"'), inner]
    for level in range(20, 0, -1):
        segments = multipart("level%d" % level, [segments])
    yield whole("nested-21", segments)
    segments = some_leaf(9)
    for level in range(6, 0, -1):
        segments = multipart("b" * level, [some_leaf(level), segments])
    yield whole("nested-longer-inside", segments)
    segments = some_leaf(9)
    for level in range(1, 7):
        segments = multipart("b" * level, [some_leaf(level), segments])
    yield whole("nested-shorter-inside", segments)


def closings():
    """Five levels, one of them without its closing line: the one around it ends both."""
    for missing in range(1, 6):
        segments = some_leaf(0)
        for level in range(5, 0, -1):
            segments = multipart("level%d" % level, [some_leaf(level), segments], closing=level != missing)
        yield whole("unclosed-level-%d" % missing, segments)
    inner = [header('Content-Type: multipart/mixed; boundary="inner"'), b"--inner\r\n", *leaf(b"one")]
    outer_top = header('Content-Type: multipart/mixed; boundary="outer"')
    yield whole("boundary-outer-inside-inner",
        [outer_top, b"--outer\r\n", *inner, b"\r\n--outer\r\n", *leaf(b"two"), b"\r\n--outer--\r\n"])
    yield whole("boundary-outer-closes-inner", [outer_top, b"--outer\r\n", *inner, b"\r\n--outer--\r\n"])
    yield whole("boundary-outer-before-inner",
        [outer_top, b"--outer\r\n", header('Content-Type: multipart/mixed; boundary="inner"'),
        Body(b"hint"), b"\r\n--outer\r\n", *leaf(b"two"),
        b"\r\n--outer--\r\n"])
    yield whole("boundary-inner-again-outside",
        [outer_top, b"--outer\r\n", *inner, b"\r\n--inner--\r\n--outer\r\n\r\n",
        Body(b"--inner\r\n\r\nthree"), b"\r\n--outer--\r\n"])
    closed = header('Content-Type: multipart/mixed; boundary="b"')
    yield whole("closing-then-more", [closed, b"--b\r\n", *leaf(b"one"),
        b"\r\n--b--\r\nepilogue\r\n--b\r\n\r\ntwo\r\n--b--\r\n"])
    yield whole("closing-only", [closed, Body(b"text"), b"\r\n--b--\r\n"])
    yield whole("closing-without-line-end", [closed, b"--b\r\n", *leaf(b"one"), b"\r\n--b--"])
    yield whole("boundary-line-is-last", [closed, b"--b\r\n", *leaf(b"one"), b"\r\n--b\r\n", Body(b"")])
    yield whole("boundary-twice", [closed, b"--b\r\n", Body(b""), b"--b\r\n", *leaf(b"one"), b"\r\n--b--\r\n"])
    yield whole("boundary-none", [closed, Body(b"text\r\nwithout a boundary\r\n")])
    yield whole("boundary-none-no-body", [closed, Body(b"")])
    yield whole("preamble-only", [closed, b"preamble\r\n--b\r\n", Body(b"")])
    yield whole("preamble-long", [closed, Body(text(70000)), b"\r\n--b\r\n", *leaf(b"one"), b"\r\n--b--\r\n"])
    yield whole("preamble-60000", [closed, text(60000), b"--b\r\n", *leaf(b"one"), b"\r\n--b--\r\n"])
    yield whole("epilogue-long", [closed, b"--b\r\n", *leaf(b"one"), b"\r\n--b--\r\n" + text(90000)])
    cut = [closed, b"--b\r\n", header(BINARY, BASE64), Body(b"YWJ")]
    yield whole("unclosed-base64", cut)
    yield whole("unclosed-quoted", [closed, b"--b\r\n", header(QUOTED), Body(b"abc=\r\nd=E3")])
    yield whole("unclosed-in-header", [closed, b"--b\r\nContent-Type: text/html\r\n", Body(b"")])


def odd_boundaries():
    parts = [leaf(b"one"), leaf(b"two\r\n--not\r\n")]
    values = {
        "one-letter": "b", "digits": "0", "punctuation": "'()+_,-./:=?", "blank-inside": "a b", "dashes": "----",
        "dash": "-", "70": "b" * 70, "71": "b" * 71, "200": "b" * 200, "equals": "==x==", "quote": 'a"b',
        "backslash": "a\\b", "percent": "a%20b", "star": "a*b", "eight-bit": "gr\xfc\xdf",
        "begins-with-dashes": "--b",
        "ends-with-dashes": "b--", "closing-of-itself": "b--b", "dot": ".", "like-header": "Subject: x",
    }
    for name, value in values.items():
        yield whole("boundary-value-" + name, multipart(value, parts))
    yield whole("boundary-value-unquoted", multipart("=_b.1", parts, quote=False))
    raw = {
        "comment": 'boundary="b" (comment)', "comment-before": '(comment) boundary="b"',
        "blanks-around-equals": 'boundary = "b"',
        "tabs": '\tboundary="b"\t', "upper-case-name": 'BOUNDARY="b"', "unclosed-quote": 'boundary="b',
        "single-quotes": "boundary='b'",
        "trailing-blank": 'boundary="b  "', "twice": 'boundary="b"; boundary="c"',
        "semicolon-missing": 'charset=utf-8 boundary="b"',
        "semicolons": ';;boundary="b";;', "pieces": 'boundary*0="b"; boundary*1=""',
        "two-pieces": 'boundary*1="2"; boundary*0="b"',
        "extended": "boundary*=us-ascii'en'%62", "folded": '\r\n\tboundary="b"', "folded-inside": 'boundary="\r\n b"',
        "type-twice": 'boundary="b"',
        "name-only": "boundary", "empty": 'boundary=""', "missing": "charset=utf-8",
    }
    marks = {"single-quotes": b"'b'", "two-pieces": b"b2", "folded-inside": b" b"}
    for name, value in raw.items():
        mark = marks.get(name, b"b")
        body = [b"--" + mark + b"\r\n", *leaf(b"one"), b"\r\n--" + mark + b"\r\n", *leaf(b"two"),
            b"\r\n--" + mark + b"--\r\n"]
        if name in ("name-only", "empty", "missing", "semicolon-missing"):
            body = [Body(b"".join(body))]
        lines = ["Content-Type: multipart/mixed; " + value]
        if name == "type-twice":
            lines.append("Content-Type: text/plain")
        yield whole("boundary-param-" + name, [header(*lines), *body])
    top = header('Content-Type: multipart/mixed; boundary="b"')
    lines = {
        "blanks-behind": (b"--b  \t\r\n", b"\r\n--b-- \t \r\n"), "lf": (b"--b\n", b"\n--b--\n"),
        "cr-cr-lf": (b"--b\r\r\n", b"\r\n--b--\r\r\n"),
    }
    for name, (begin, end) in lines.items():
        yield whole("boundary-line-" + name, [top, begin, *leaf(b"one"), end])
    for name, line in (("blank-before", b" --b"), ("letter-behind", b"--bx"), ("one-dash", b"-b"),
            ("upper-case", b"--B"),
            ("three-dashes", b"---b"), ("closing-with-letter", b"--b--x"), ("quoted", b"> --b"),
            ("text-behind", b"--b text"),
            ("nul-behind", b"--b\0"), ("form-feed-behind", b"--b\f")):
        part = leaf(b"one\r\n" + line + b"\r\nstill one")
        yield whole("boundary-line-no-" + name, multipart("b", [part, leaf(b"two")]))
    doubled = b"".join(whole("x", multipart("b", [leaf(b"one"), leaf(b"two")])).segments).replace(CRLF, b"\r\r\n")
    at = [doubled.index(word) for word in (b"one", b"two")]
    yield Mail("lines-cr-cr-lf", [doubled[: at[0]], Body(b"one\r"), doubled[at[0] + 4 : at[1]], Body(b"two\r"),
        doubled[at[1] + 4 :]])
    yield whole("boundary-inner-is-outer", [top, b"--b\r\n", top, b"--b\r\n", *leaf(b"one"), b"\r\n--b--\r\n",
        b"--b--\r\n"])


def kinds():
    mail = b"Subject: inside\r\nContent-Type: text/plain\r\n\r\n.inside\r\n"
    part = [header("Content-Type: message/rfc822"), Body(mail)]
    yield whole("message-rfc822", multipart("b", [leaf(b"one"), part]))
    yield Mail("message-rfc822-whole", [header("Subject: x", "Content-Type: message/rfc822"), Body(mail)])
    inner = b"".join(multipart("c", [leaf(b"two"), leaf(b"three")]))
    yield whole("message-rfc822-multipart", multipart("b", [leaf(b"one"), [header("Content-Type: message/rfc822"),
        Body(inner)]]))
    yield whole("message-rfc822-base64", multipart("b", [leaf(b64(mail), "Content-Type: message/rfc822", BASE64)]))
    yield whole("message-partial", multipart("b", [leaf(mail,
        'Content-Type: message/partial; id="x"; number=1; total=2')]))
    yield whole("message-external-body", multipart("b", [leaf(b"Content-Type: image/gif\r\n\r\n",
        "Content-Type: message/external-body; access-type=x")]))
    report = [leaf(b"delivered"), leaf(b"Reporting-MTA: dns; a\r\n\r\nFinal-Recipient: rfc822; b@c\r\n",
        "Content-Type: message/delivery-status"),
        leaf(b"Subject: x\r\n", "Content-Type: text/rfc822-headers")]
    yield whole("multipart-report", multipart("b", report, 'report; report-type="delivery-status"'))
    digest = [[CRLF, Body(mail)], [header("Content-Type: text/plain"), Body(b"two")]]
    yield whole("multipart-digest", multipart("b", digest, "digest"))
    for subtype in ("alternative", "related", "signed", "parallel", "x-own"):
        yield whole("multipart-" + subtype, multipart("b", [leaf(b"one"), leaf(b"<b>", "Content-Type: text/html")],
            subtype))
    yield whole("multipart-base64", [header('Content-Type: multipart/mixed; boundary="b"', BASE64), b"--b\r\n",
        *leaf(b"one"), b"\r\n--b--\r\n"])
    yield whole("multipart-upper-case", [header('CONTENT-TYPE: MULTIPART/MIXED; BOUNDARY="b"'), b"--b\r\n",
        *leaf(b"one"), b"\r\n--b--\r\n"])
    types = {"no-subtype": "text", "slash-only": "/", "empty-subtype": "text/", "empty": "",
        "two-slashes": "text/plain/x", "blanks": "text / plain",
        "comment": "text/plain (comment)", "semicolon": "; charset=utf-8", "eight-bit": "t\xe9xt/plain",
        "multipart-bare": "multipart",
        "multipart-slash": 'multipart/; boundary="b"', "quoted": '"text/html"', "comma": "text/html, text/plain",
        "tab": "text/html\t;\tcharset=utf-8"}
    for name, value in types.items():
        body = b"--b\r\n\r\none\r\n--b--\r\n"
        segments = [b"--b\r\n", *leaf(b"one"), b"\r\n--b--\r\n"] if name == "multipart-slash" else [Body(body)]
        yield Mail("type-" + name, [header("Subject: x", b"Content-Type: " + value.encode("latin-1")), *segments])
    yield Mail("type-twice", [header("Subject: x", "Content-Type: text/html", "Content-Type: image/jpeg"),
        Body(b"x\r\n")])
    for kind in ("text/plain", "text/html", "text/x-own", "application/pdf", "application/x-pdf",
            "application/postscript",
            "application/applefile", "image/tiff", "image/jpeg", "image/png", "application/vnd.ms-xpsdocument",
            "message/disposition-notification", "text/plainer"):
        yield Mail("kind-" + kind.replace("/", "-"), [header("Subject: x", "Content-Type: " + kind), Body(b"x\r\n")])


def numbers():
    for count in (1, 100, 999):
        parts = [leaf(b"%d" % number) for number in range(count)]
        yield whole("parts-%04d" % count, multipart("b", parts))
    # The 1,000th part goes on to the end of the mail.
    parts = multipart("b", [leaf(b"%d" % number) for number in range(1003)])
    first = 0
    for at, segment in enumerate(parts):
        first += isinstance(segment, Body)
        if first == 1000:
            yield whole("parts-1003", parts[:at] + [Body(b"".join(parts[at:]))])
            break
    yield whole("parts-empty", multipart("b", [[CRLF, Body(b"")] for _ in range(5)]))
    yield whole("parts-of-8-kib", multipart("b", [leaf(text(8192)[:8192]) for _ in range(4)]))


def no_headers():
    yield Mail("empty", [Body(b"")])
    yield Mail("blank-line-only", [CRLF, Body(b"")])
    yield Mail("blank-lines-only", [CRLF, Body(CRLF * 5)])
    yield Mail("body-only", [CRLF, Body(b"body\r\n")])
    yield Mail("header-only", [b"Subject: x\r\n", Body(b"")])
    yield Mail("header-without-line-end", [b"Subject: x", Body(b"")])
    yield Mail("header-without-blank-line", [b"Subject: x\r\n", Body(b"no colon here\r\nmore\r\n")])
    yield Mail("no-header-line-at-all", [Body(b"just text\r\nTo: nobody\r\n")])
    yield Mail("envelope-line", [b"From a@b Thu Jan  1 00:00:00 1970\r\nSubject: x\r\n\r\n", Body(b"body\r\n")])
    yield Mail("envelope-line-quoted", [b">From a@b Thu Jan  1 00:00:00 1970\r\nSubject: x\r\n\r\n",
        Body(b"body\r\n")])
    yield Mail("envelope-line-in-header", [b"Subject: x\r\n",
        Body(b"From a@b Thu Jan  1 00:00:00 1970\r\nTo: c@d\r\n\r\nbody\r\n")])
    yield Mail("continuation-first", [b" first\r\nSubject: x\r\n\r\n", Body(b"body\r\n")])
    yield Mail("field-name-blank-colon", [b"Subject : x\r\nTo\t: a@b\r\n\r\n", Body(b"body\r\n")])
    yield Mail("field-name-empty", [b"Subject: x\r\n", Body(b": value\r\nTo: a@b\r\n\r\nbody\r\n")])
    yield Mail("field-name-eight-bit", [b"Subject: x\r\n", Body(b"S\xfcbject: y\r\nTo: a@b\r\n\r\nbody\r\n")])
    yield Mail("field-name-blank-inside", [b"Subject: x\r\n", Body(b"X Y: y\r\nTo: a@b\r\n\r\nbody\r\n")])
    yield Mail("header-blank-line-of-blanks", [b"Subject: x\r\n \t\r\nTo: a@b\r\n\r\n", Body(b"body\r\n")])
    yield Mail("header-value-empty", [b"Subject:\r\nTo: \r\nFrom:a@b\r\n\r\n", Body(b"body\r\n")])
    yield Mail("header-dots", [b"Subject: x\r\n.To: a@b\r\n..To: a@b\r\n\r\n", Body(b"body\r\n")])
    top = header('Content-Type: multipart/mixed; boundary="b"')
    yield whole("part-without-blank-line", [top, b"--b\r\nContent-Type: text/html\r\n", Body(b"no colon"),
        b"\r\n--b--\r\n"])
    yield whole("part-without-header", [top, b"--b\r\n", Body(b"text at once"), b"\r\n--b--\r\n"])
    yield whole("part-header-only", [top, b"--b\r\nContent-Type: text/html\r\n", Body(b""), b"--b\r\n", *leaf(b"two"),
        b"\r\n--b--\r\n"])
    yield whole("part-blank-line-only", [top, b"--b\r\n\r\n", Body(b""), b"--b--\r\n"])
    yield whole("part-two-blank-lines", [top, b"--b\r\n\r\n", Body(b""), b"\r\n--b--\r\n"])


def mails():
    for group in (nesting, closings, odd_boundaries, kinds, numbers, no_headers):
        yield from group()
