"""Header texts: octets above 0x7F, encoded words, addresses, parameters in pieces, lines of every length."""

from mail_builder import Body, Mail, b64, header, leaf, multipart, single, whole

TEXT = "日本語の件名"
LATIN = "Größe café"


def eight_bit():
    for name, octets, charset, expected in (
            ("utf-8", TEXT.encode(), "utf-8", TEXT), ("latin-1", LATIN.encode("latin-1"), "iso-8859-1", LATIN),
            ("shift-jis", TEXT.encode("cp932"), "shift_jis", TEXT),
            ("iso-2022-jp", TEXT.encode("iso2022_jp"), "iso-2022-jp", TEXT),
            ("utf-8-unnamed", TEXT.encode(), None, TEXT), ("shift-jis-unnamed", TEXT.encode("cp932"), None, TEXT),
            ("iso-2022-jp-unnamed", TEXT.encode("iso2022_jp"), None, TEXT),
            ("utf-8-in-latin-1", LATIN.encode(), "iso-8859-1", LATIN)):
        lines = [b"Subject: " + octets, b"From: " + octets + b" <a@example.org>",
            b'To: "' + octets + b'" <b@example.org>, c@example.org',
            b'Content-Disposition: attachment; filename="' + octets + b'.txt"']
        if charset:
            lines.append("Content-Type: text/plain; charset=" + charset)
        expect = {"subject": expected, "file name 0": expected + ".txt"}
        yield Mail("header-8bit-" + name, [header(*lines), Body(b"x\r\n")], expect)
    # Characters that look like quotes, backslashes and separators to who reads them octet by octet.
    for name, text, charset in (("iso-2022-jp", "アガ尺室〈", "iso2022_jp"), ("shift-jis", "資料表", "cp932")):
        octets = text.encode(charset)
        lines = [b"Subject: x", b"From: " + octets + b" <a@example.org>",
            b'To: "' + octets + b'" <b@example.org>, c@example.org',
            b'Content-Disposition: attachment; filename="' + octets + b'"; size=1']
        yield Mail("header-8bit-separators-" + name, [header(*lines), Body(b"x\r\n")],
            {"from": "%s <a@example.org>" % text, "to": '"%s" <b@example.org>, c@example.org' % text,
            "file name 0": text})
    yield Mail("header-8bit-broken-utf-8", [header(b"Subject: \xe3\x81x\xe3"), Body(b"x\r\n")])
    yield Mail("header-8bit-controls", [header(b"Subject: a\x01\x7f\x0bb\x0cc"), Body(b"x\r\n")])
    yield Mail("header-8bit-half-escape", [header(b"Subject: \x1b$BF|K\\"), Body(b"x\r\n")])


def encoded_words():
    words = {
        "b-utf-8": "=?utf-8?B?5pel5pys6Kqe?=", "q-utf-8": "=?utf-8?Q?=E6=97=A5=E6=9C=AC_x?=",
        "b-lower": "=?utf-8?b?5pel?=", "q-lower": "=?utf-8?q?=e6=97=a5?=",
        "latin-1": "=?iso-8859-1?Q?caf=E9?=", "latin-2": "=?iso-8859-2?Q?=B1=B6?=", "ascii": "=?us-ascii?Q?plain?=",
        "iso-2022-jp": "=?iso-2022-jp?B?GyRCRnxLXBsoQg==?=",
        "shift-jis": "=?shift_jis?B?k/qWew==?=", "charset-upper": "=?UTF-8?B?5pel?=",
        "iso-2022-jp-q": "=?iso-2022-jp?Q?=1B$BF|K\\=1B(B?=",
        "between-text": "before =?utf-8?B?5pel?= after", "adjacent": "=?utf-8?B?5pel?= =?utf-8?B?5pys?=",
        "adjacent-tab": "=?utf-8?B?5pel?=\t=?utf-8?B?5pys?=",
        "adjacent-no-blank": "=?utf-8?B?5pel?==?utf-8?B?5pys?=",
        "adjacent-folded": "=?utf-8?B?5pel?=\r\n  =?utf-8?B?5pys?=",
        "adjacent-other-charset": "=?utf-8?B?5pel?= =?iso-8859-1?Q?=E9?=",
        "adjacent-mixed-case": "=?utf-8?B?5pel?= =?UTF-8?Q?=E6=9C=AC?=",
        "cut-character": "=?utf-8?B?5pc=?= =?utf-8?B?pQ==?=", "text-at-once-behind": "=?utf-8?B?5pel?=x",
        "text-at-once-before": "x=?utf-8?B?5pel?=",
        "no-padding": "=?utf-8?B?5pel5pw?= =?utf-8?B?rA?=", "bad-base64": "=?utf-8?B?5p!e#l?=",
        "bad-q": "=?utf-8?Q?a=ZZb=4?=", "empty": "a =?utf-8?B??= b", "empty-q": "a =?utf-8?Q??= b",
        "unknown-charset": "=?x-none?Q?a=41?=", "unknown-between": "=?utf-8?Q?a?= =?x-none?Q?b?= =?utf-8?Q?c?=",
        "unknown-encoding": "=?utf-8?X?abc?=",
        "no-charset": "=??Q?abc?=", "unterminated": "=?utf-8?Q?abc", "half-terminated": "=?utf-8?Q?abc?",
        "language": "=?utf-8*ja?B?5pel?=",
        "blank-inside": "=?utf-8?Q?a b?=", "question-inside": "=?utf-8?Q?a?b?=",
        "line-end-inside": "=?utf-8?Q?a=0D=0Ab=00c?=", "underscore": "=?utf-8?Q?a_b=5Fc?=",
        "looks-like": "a =? b ?= c =?x?y?=", "many-starts": "=?" * 2000, "not-of-charset": "=?utf-8?B?g0+I?=",
        "nec-row-13": "=?iso-2022-jp?B?GyRCLSEbKEI=?=",
        "half-kana": "=?iso-2022-jp?B?GyhJMTIbKEI=?=", "euc-jp": "=?euc-jp?B?xvzL3A==?=",
        "windows-1252": "=?windows-1252?Q?=80?=", "cp932": "=?cp932?B?h0A=?=",
        "eight-bit-beside": "\u00e9 =?utf-8?B?5pel?= \u00e9",
    }
    for name, value in words.items():
        yield Mail("word-" + name, [header("Subject: " + value), Body(b"x\r\n")])
    yield Mail("word-long", [header("Subject: " + "\r\n ".join(["=?utf-8?B?5pel5pys6Kqe?="] * 100)), Body(b"x\r\n")])


def addresses():
    fields = {
        "plain": "a@example.org", "name": "Name <a@example.org>", "quoted": '"Last, First" <a@example.org>',
        "escaped": '"a \\"b\\" \\\\c" <a@example.org>',
        "comment": "a@example.org (Name (inner))", "several": "A <a@b>, c@d; E <e@f>", "group": "Group: a@b, c@d;",
        "group-empty": "undisclosed-recipients:;",
        "route": "<@x,@y:a@b>", "word": "=?utf-8?B?5pel?= <a@b>", "word-comma": "=?utf-8?Q?a=2C_b?= <a@b>, c@d",
        "word-quote": "=?utf-8?Q?a=22b?= <a@b>",
        "word-quoted": '"=?utf-8?B?5pel?=" <a@b>', "word-comment": "a@b (=?utf-8?B?5pel?=)",
        "words": "=?utf-8?B?5pel?= =?utf-8?B?5pys?= <a@b>",
        "word-angle": "=?utf-8?Q?=3Cx=40y=3E?= <a@b>", "no-angle-end": "Name <a@b", "empty-angle": "Name <>",
        "empty": "", "commas": ",,a@b,,", "blank": "  a@b  ",
        "folded": "A\r\n <a@b>,\r\n\tC <c@d>", "domain-literal": "a@[127.0.0.1]", "dots": "J. R. Doe <a@b>",
        "quoted-local": '"a b"@c', "unclosed-quote": '"a <a@b>, c@d',
        "unclosed-comment": "a@b (x, c@d", "semicolons": "a@b; c@d;e@f", "word-in-address": "<=?utf-8?Q?a?=@b>",
        "escaped-comma": '"a\\, b" <a@b>, c@d',
    }
    for name, value in fields.items():
        lines = ["%s: %s" % (field, value) for field in ("From", "To", "Cc", "Reply-To", "Return-Path",
            "Disposition-Notification-To")]
        yield Mail("address-" + name, [header(*lines), Body(b"x\r\n")])
    yield Mail("address-fields-twice", [header("To: a@b", "Subject: x", "To: c@d", "From: e@f", "From: g@h",
        "Cc: i@j", "cc: k@l"), Body(b"x\r\n")])
    many = ", ".join("Name %d <name%d@example.org>" % (number, number) for number in range(100))
    yield Mail("address-hundred", [header("To: " + many), Body(b"x\r\n")])
    many = ",\r\n ".join("=?utf-8?B?5pel?= %d <name%d@example.org>" % (number, number) for number in range(100))
    yield Mail("address-hundred-words", [header("To: " + many), Body(b"x\r\n")])


def pieces():
    """RFC 2231: parameters in pieces, with a character set, or both."""
    long_name = "とても長いファイルの名前" * 3 + ".txt"
    percent = "".join("%%%02X" % octet for octet in long_name.encode())
    units = [percent[at : at + 30] for at in range(0, len(percent), 30)]
    extended = ["filename*%d*=%s%s" % (number, "utf-8'ja'" if number == 0 else "", unit) for number,
        unit in enumerate(units)]
    cut = [percent[at : at + 7] for at in range(0, 63, 7)]
    values = {
        "plain": 'filename="a.txt"', "token": "filename=a.txt", "whole": "filename*=utf-8'en'%E6%97%A5.txt",
        "no-language": "filename*=utf-8''%E6%97%A5.txt",
        "two": 'filename*0="long "; filename*1="name.txt"',
        "three": 'filename*0="a"; filename*1="b"; filename*2=".txt"',
        "out-of-order": 'filename*1="b"; filename*0="a"; filename*2=".c"',
        "eleven": "; ".join("filename*%d=%s" % (number, letter) for number, letter in enumerate("abcdefghi.j")),
        "extended": "; ".join(extended), "extended-out-of-order": "; ".join(reversed(extended)),
        "extended-folded": ";\r\n\t".join(extended),
        "mixed": "filename*0*=utf-8''%E6%97; filename*1*=%A5; filename*2=\" plain%20.txt\"",
        "extended-then-plain": "filename*0*=utf-8''a; filename*1=\"b%41\"",
        "plain-then-extended": "filename*0=\"a%41\"; filename*1*=%42.txt",
        "cut-in-escape": "filename*0*=utf-8''%E6%9; filename*1*=7%A5.txt",
        "gap": 'filename*0="a"; filename*2="c"', "first-missing": 'filename*1="b"; filename*2="c"',
        "twice": 'filename*0="a"; filename*0="b"; filename*1="c"',
        "leading-zero": 'filename*00="a"; filename*01="b"',
        "both": "filename=\"plain.txt\"; filename*=utf-8''%E6%97%A5.txt",
        "both-other-order": "filename*=utf-8''%E6%97%A5.txt; filename=\"plain.txt\"",
        "both-pieces": "filename=\"plain.txt\"; filename*0=\"a\"; filename*1=\"b.txt\"",
        "no-charset": "filename*=''%41.txt", "no-quotes": "filename*=%41.txt", "one-quote": "filename*=utf-8'%41.txt",
        "unknown-charset": "filename*=x-none''%41.txt",
        "iso-2022-jp": "filename*=iso-2022-jp''%1B%24%42%46%7C%1B%28%42.txt",
        "shift-jis": "filename*=shift_jis''%93%FA.txt", "latin-1": "filename*=iso-8859-1''caf%E9.txt",
        "bad-percent": "filename*=utf-8''a%ZZ%4.txt", "percent-controls": "filename*=utf-8''a%0D%0A%00b.txt",
        "quoted-extended": "filename*=\"utf-8''%E6%97%A5.txt\"", "quotes-inside": "filename*=utf-8''a'b'c.txt",
        "empty": 'filename=""', "empty-extended": "filename*=utf-8''", "word": 'filename="=?utf-8?B?5pel?=.txt"',
        "word-unquoted": "filename==?utf-8?B?5pel?=", "words": 'filename="=?utf-8?B?5pel?= =?utf-8?B?5pys?="',
        "backslashes": 'filename="C:\\dir\\a.txt"', "escapes": 'filename="a\\"b\\\\c.txt"',
        "slashes": 'filename="../../etc/passwd"', "semicolon": 'filename="a;b.txt"', "blanks": 'filename="  a.txt  "',
        "unclosed": 'filename="a.txt', "unquoted-blanks": "filename=a b.txt", "upper": 'FILENAME="a.txt"',
        "dots": 'filename="..."', "no-extension": 'filename="a"', "extension-only": 'filename=".profile"',
        "blank-around": 'filename = "a.txt"', "comment": 'filename="a.txt" (x)', "half-numbers": 'filename*x="a"',
        "huge-number": 'filename*99999999999="a"', "semicolon-at-end": 'filename="a.txt";', "no-value": "filename=",
        "tabs": 'filename=\t"a.txt"', "two-names": 'filename="a.txt"; filename="b.txt"',
    }
    for name, value in values.items():
        yield Mail("file-name-" + name, [header("Subject: x", "Content-Disposition: attachment; " + value),
            Body(b"x\r\n")])
    for name, value in (("whole", "name*=utf-8''%E6%97%A5.txt"), ("pieces", 'name*0="a"; name*1="b.txt"'),
            ("plain", 'name="a.txt"')):
        yield Mail("type-name-" + name, [header("Subject: x", "Content-Type: text/plain; " + value), Body(b"x\r\n")])
    yield Mail("type-name-beside-filename", [header('Content-Type: text/plain; name="type.txt"',
        'Content-Disposition: inline; filename="disposition.txt"'), Body(b"x\r\n")])
    yield Mail("file-name-cut-anywhere",
        [header("Content-Disposition: attachment; " + "; ".join("filename*%d*=%s%s" % (n, "utf-8''" if n == 0 else "",
        unit) for n, unit in enumerate(cut))), Body(b"x\r\n")], {"file name 0": long_name[:7]})
    for name, value in (("attachment", "attachment"), ("inline", "inline"), ("upper", "ATTACHMENT"),
            ("other", "form-data; name=x"), ("empty", ""), ("folded", "\r\n attachment"), ("longer", "attachments"),
            ("comment", "attachment (x)")):
        yield Mail("disposition-" + name, [header("Subject: x", "Content-Disposition: " + value), Body(b"x\r\n")])
    parts = [leaf(b64(b"x"), "Content-Type: application/pdf", "Content-Transfer-Encoding: base64",
        "Content-Disposition: attachment; " + extended[0] + "; " + "; ".join(extended[1:])),
        leaf(b"two", 'Content-Type: text/plain; name="b.txt"')]
    yield whole("file-name-in-parts", multipart("b", parts))


def long_headers():
    for size in (998, 4090, 4096, 8192):
        yield Mail("header-of-%06d" % size, [header("Subject: " + "x" * size), Body(b"x\r\n")])
    yield Mail("header-of-100000", [header("Subject: " + "x" * 100000, "To: a@b"), Body(b"x\r\n")])
    yield Mail("header-of-120000", [header("Subject: " + "x" * 120000, "To: a@b"), Body(b"x\r\n")])
    yield Mail("header-unknown-100000", [header("X-Other: " + "x" * 90000, "Subject: x"), Body(b"x\r\n")])
    yield Mail("header-folded-1000", [header("Subject: " + "\r\n ".join("word%d" % number for number in range(1000))),
        Body(b"x\r\n")])
    yield Mail("header-2000-fields", [header(*["X-%d: y" % number for number in range(2000)], "Subject: x"),
        Body(b"x\r\n")])
    yield Mail("header-long-name", [header("Subject: x",
        'Content-Disposition: attachment; filename="' + "n" * 7000 + '.txt"'), Body(b"x\r\n")])
    yield Mail("header-long-parameter", [header("Subject: x",
        'Content-Type: text/plain; x="' + "n" * 100000 + '"; charset=utf-8'), Body(b"x\r\n")])
    yield Mail("header-long-references",
        [header("References: " + " ".join("<%d@example.org>" % number for number in range(200)),
        "In-Reply-To: <199@example.org>", "Message-ID: <200@example.org>",
        "Date: Thu, 01 Jan 2026 12:00:00 +0000"), Body(b"x\r\n")])


def mails():
    for group in (eight_bit, encoded_words, addresses, pieces, long_headers):
        yield from group()
