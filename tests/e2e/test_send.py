#!/usr/bin/env python3
"""velorin-mail sends through Postfix; what Dovecot delivered is read by Python's "email" and must equal what was sent."""

import concurrent.futures
import email.header
import email.utils
import hashlib
import os
import random
import sys
import uuid

import mailbox
import programs
import runner

JAPANESE = "こんにちは、世界。\n複合機からのお知らせ：用紙が、なくなりました。\nＡＢＣ かな カナ 漢字 ー〜\n"
SUBJECT = email.header.Header("日本語の件名 テスト", "iso-2022-jp").encode()


class Send(programs.MailCase):
    def setUp(self):
        super().setUp()
        self.marker = f"{uuid.uuid4()}@e2e.test"
        self.users = self.state["users"]
        self.alice = self.users["alice"]

    def run_mail(self, command, port, *options, tls="none", **rest):
        """Runs velorin-mail with the server's port of that name."""
        return super().run_mail(command, "--server", self.state["host"], "--port", str(self.state["ports"][port]),
                                "--tls", tls, *options, **rest)

    def try_to_send(self, port, *options, to=("alice",), text="Hello.\n", **rest):
        addresses = [option for name in to for option in ("--to", self.users[name]["address"])]
        if not any(option.startswith("--text") for option in options):
            rest.setdefault("stdin", text.encode())
        self.marker = f"{uuid.uuid4()}@e2e.test"
        defaults = {"--from": "Printer 7 <printer@example.org>", "--subject": "Test", "--message-id": self.marker}
        for name, value in defaults.items():
            if name not in options:
                addresses += [name, value]
        return self.run_mail("send", port, *addresses, *options, **rest)

    def send(self, port, *options, **rest):
        """Sends, and reads what arrived for alice."""
        status, result = self.try_to_send(port, *options, **rest)
        self.assertEqual(status, 0, result)
        self.assertEqual(result["status"], "sent")
        return mailbox.wait_for(self.alice, self.marker)

    def refuse(self, name, exit_code, port, *options, **rest):
        """Sends what must fail, and sees that nothing was delivered."""
        status, result = self.try_to_send(port, *options, **rest)
        self.assertEqual((result.get("name"), status), (name, exit_code), result)
        self.assert_not_delivered()
        return result

    def assert_not_delivered(self):
        # A mail that is sent now arrives after anything the server still holds back.
        self.assertEqual(mailbox.matching(self.alice, self.marker), [])
        refused = self.marker
        self.send("plain")
        self.assertEqual(mailbox.matching(self.alice, refused), [])

    def login(self, name, *options, password=None):
        secret = self.users[name]["password"] if password is None else password
        return ["--user", name, "--password-file", self.file("secret", secret.encode() + b"\n"), *options]

    def attach(self, sizes):
        """Files of random octets, and the options that attach them."""
        generator = random.Random(self.marker)
        contents = {f"part-{number}-{size}.bin": generator.randbytes(size) for number, size in enumerate(sizes)}
        options = []
        for name, octets in contents.items():
            options += ["--attach", self.file(name, octets)]
        return contents, options

    def assert_attachments(self, parts, contents):
        self.assertEqual([part.get_filename() for part in parts], list(contents))
        for part, (name, octets) in zip(parts, contents.items()):
            self.assertEqual(part.get_content_disposition(), "attachment")
            arrived = part.get_payload(decode=True)
            self.assertEqual((name, len(arrived), hashlib.sha256(arrived).hexdigest()),
                             (name, len(octets), hashlib.sha256(octets).hexdigest()))

    @staticmethod
    def text_of(part):
        return part.get_payload(decode=True).decode(part.get_content_charset())

    # What is sent and what arrives.

    def test_header_fields(self):
        arrived = self.send(
            "plain", "--cc", f"Bob <{self.users['bob']['address']}>", "--reply-to", "desk@example.org",
            "--sender", "Operator <operator@example.org>", "--mdn", "notify@example.org",
            "--in-reply-to", "<first@example.org>", "--references", "<zero@example.org> <first@example.org>",
            "--date", "Thu, 20 Nov 2025 10:11:12 +0900", "--subject", SUBJECT)
        sent = {
            "From": "Printer 7 <printer@example.org>",
            "To": self.alice["address"],
            "Cc": f"Bob <{self.users['bob']['address']}>",
            "Reply-To": "desk@example.org",
            "Sender": "Operator <operator@example.org>",
            "Disposition-Notification-To": "notify@example.org",
            "Message-Id": f"<{self.marker}>",
            "In-Reply-To": "<first@example.org>",
            "References": "<zero@example.org> <first@example.org>",
            "Date": "Thu, 20 Nov 2025 10:11:12 +0900",
            "Subject": SUBJECT,
            "Mime-Version": "1.0",
        }
        for name, value in sent.items():
            values = [" ".join(value.split()) for value in arrived.raw.get_all(name, [])]
            self.assertEqual((name, values), (name, [" ".join(value.split())]))
        self.assertEqual(arrived.message["Subject"], "日本語の件名 テスト")
        # The envelope's sender is the one who sends for the author.
        self.assertEqual(arrived.raw["Return-Path"], "<operator@example.org>")
        known = set(sent) | {"Return-Path", "Delivered-To", "Received", "Content-Type", "Content-Transfer-Encoding"}
        self.assertEqual({name.lower() for name in arrived.raw.keys()} - {name.lower() for name in known}, set())

    def test_fresh_date_and_message_id(self):
        status, result = self.run_mail("send", "plain", "--from", "printer@example.org", "--to", self.alice["address"],
                                       "--subject", self.marker, stdin=b"x\n")
        self.assertEqual(status, 0, result)
        arrived = mailbox.wait_for(self.alice, self.marker)
        self.assertEqual(arrived.raw["Message-Id"], result["message_id"])
        age = email.utils.localtime() - email.utils.parsedate_to_datetime(arrived.raw["Date"])
        self.assertLess(abs(age.total_seconds()), 120)

    def test_character_sets(self):
        for charset, text in (("utf-8", JAPANESE + "Grüße €\n"), ("iso-2022-jp", JAPANESE.replace("〜", "")),
                              ("shift_jis", JAPANESE.replace("〜", "")), ("iso-8859-1", "Grüße, ça va?\n"),
                              ("iso-8859-2", "Příliš žluťoučký kůň\n"), ("us-ascii", "Hello\n")):
            with self.subTest(charset):
                arrived = self.send("plain", "--charset", charset, text=text)
                self.assertEqual(arrived.message.get_content_type(), "text/plain")
                self.assertEqual(arrived.message.get_content_charset(), charset)
                self.assertEqual(self.text_of(arrived.message), text.replace("\n", "\r\n"))
                if charset in ("iso-2022-jp", "us-ascii"):
                    self.assertEqual(arrived.message["Content-Transfer-Encoding"], "7bit")
                    self.assertTrue(arrived.body_octets.isascii())

    def test_long_text(self):
        text = "".join(f"{number} 行目 {JAPANESE}" for number in range(9000)).replace("〜", "")
        for charset in ("utf-8", "iso-2022-jp"):
            with self.subTest(charset):
                arrived = self.send("plain", "--charset", charset, "--text", self.file("long.txt", text.encode()))
                self.assertEqual(self.text_of(arrived.message), text.replace("\n", "\r\n"))

    def test_dots_and_line_ends(self):
        for name, octets in {
            "dots": b".\n..\n...\n.x\n..x\n x.\n\n.\n",
            "dot at the end": b"x\n.",
            "crlf": b"one\r\n.\r\n\r\ntwo\r\n",
            "mixed": b"one\ntwo\r\n.three\n\r\n.\n",
            "blanks": b" \n\t\n end of line \n",
        }.items():
            for extra in ([], ["--attach", self.file("a.bin", b"\n.\n")]):
                with self.subTest(name, attachment=bool(extra)):
                    arrived = self.send("plain", "--charset", "us-ascii", *extra, "--text", self.file("t", octets))
                    expected = octets.replace(b"\r\n", b"\n").replace(b"\n", b"\r\n")
                    if not extra and not expected.endswith(b"\r\n"):
                        expected += b"\r\n"  # the mail's last line has to end before the final dot
                    self.assertEqual(arrived.parts()[0].get_payload(decode=True), expected)

    def test_empty_text(self):
        arrived = self.send("plain", text="")
        self.assertEqual(arrived.body_octets.strip(), b"")

    def test_small_attachments(self):
        contents, options = self.attach((0, 1, 2, 3, 56, 57, 58))
        arrived = self.send("plain", *options, text=JAPANESE)
        self.assertEqual(arrived.message.get_content_type(), "multipart/mixed")
        parts = arrived.parts()
        self.assertEqual(self.text_of(parts[0]), JAPANESE.replace("\n", "\r\n"))
        self.assert_attachments(parts[1:], contents)
        self.assertEqual(arrived.message.defects, [])
        self.assertTrue(all(len(line) <= 76 for line in arrived.body_octets.split(b"\r\n") if b"=" not in line))

    def test_large_attachments(self):
        contents, options = self.attach((300 * 1024 + 1, 700 * 1024, 1024 * 1024 + 55))
        arrived = self.send("plain", *options, text="See the files.\n")
        self.assert_attachments(arrived.parts()[1:], contents)

    def test_attachment_types(self):
        contents = {"a.pdf": b"%PDF-1.4\n", "b.tif": b"II*\0", "c.jpg": b"\xff\xd8\xff", "d.txt": b"a\r\n.b\nc"}
        options = []
        for name, octets in contents.items():
            options += ["--attach", self.file(name, octets)]
        arrived = self.send("plain", *options)
        parts = arrived.parts()[1:]
        self.assert_attachments(parts, contents)
        self.assertEqual([part.get_content_type() for part in parts],
                         ["application/pdf", "image/tiff", "image/jpeg", "text/plain"])

    def test_fax_marker(self):
        arrived = self.send("plain", "--fax", "--attach", self.file("a.tif", b"II*\0"), text="Cover\n")
        texts = [part for part in arrived.parts() if part["Content-X-CIAJWNETFAX"] == "IGNORE"]
        self.assertEqual([part.get_payload(decode=True) for part in texts], [b"Cover\r\n"])
        self.assertIsNone(arrived.message["Content-X-CIAJWNETFAX"])

    def test_several_recipients(self):
        bcc = self.users["dave"]["address"]
        arrived = self.send("plain", "--cc", self.users["carol"]["address"], "--bcc", bcc,
                            to=("alice", "bob", "alice"))
        for name in ("bob", "carol", "dave"):
            other = mailbox.wait_for(self.users[name], self.marker)
            self.assertEqual(other.body_octets, arrived.body_octets)
            composed = other.header_octets[other.header_octets.index(b"\r\nDate: "):]
            self.assertNotIn(b"dave", composed)
            self.assertIsNone(other.raw["Bcc"])
        self.assertEqual(arrived.body_octets, b"Hello.\r\n")

    def test_only_bcc(self):
        status, result = self.run_mail("send", "plain", "--from", "printer@example.org", "--subject", "Test",
                                       "--message-id", self.marker, "--bcc", self.alice["address"], stdin=b"x\n")
        self.assertEqual(status, 0, result)
        arrived = mailbox.wait_for(self.alice, self.marker)
        self.assertEqual([arrived.raw[name] for name in ("To", "Cc", "Bcc")], [None, None, None])

    def test_at_the_same_time(self):
        contents, options = self.attach((200 * 1024,))
        self.run_mail("check", "plain")  # starts the daemon, if there is one, before the threads do
        markers = [f"{uuid.uuid4()}@e2e.test" for _ in range(8)]

        def one(marker):
            return self.run_mail("send", "plain", "--from", "printer@example.org", "--to", self.alice["address"],
                                 "--subject", "Test", "--message-id", marker, *options, stdin=b"x\n")

        with concurrent.futures.ThreadPoolExecutor(len(markers)) as pool:
            results = list(pool.map(one, markers))
        self.assertEqual([status for status, _ in results], [0] * len(markers), results)
        for marker in markers:
            self.assert_attachments(mailbox.wait_for(self.alice, marker).parts()[1:], contents)

    # How the connection is made.

    def test_starttls(self):
        self.assertIn(b"(using TLSv1.", self.send("starttls", tls="starttls").header_octets)

    def test_tls_from_the_start(self):
        self.assertIn(b"(using TLSv1.", self.send("tls", tls="tls").header_octets)

    def test_tls13_only(self):
        self.assertIn(b"(using TLSv1.3", self.send("tls", "--tls13-only", tls="tls").header_octets)

    def test_untrusted_authority(self):
        for port, tls in (("tls", "tls"), ("starttls", "starttls")):
            with self.subTest(port):
                self.stop_daemon()
                self.refuse("certificate-refused", 76, port, tls=tls, authority=self.state["other_ca"])
                self.send(port, "--no-verify", tls=tls, authority=self.state["other_ca"])

    def test_expired_certificate(self):
        self.refuse("certificate-refused", 76, "expired", tls="tls")

    def test_certificate_for_another_name(self):
        self.refuse("certificate-refused", 76, "other_name", tls="tls")

    def test_tls_not_offered(self):
        self.refuse("tls-not-offered", 76, "plain", tls="starttls")

    def test_tls_required_by_the_server(self):
        result = self.refuse("login-required", 77, "starttls", tls="none")
        self.assertIn("STARTTLS", result["server_reply"])

    # Log in.

    def test_mechanisms(self):
        for port, tls in (("submission", "none"), ("submission", "starttls"), ("submissions", "tls")):
            for kind in ("plain", "login", "cram-md5", "auto"):
                with self.subTest(port=port, tls=tls, kind=kind):
                    self.send(port, *self.login("alice", "--auth", kind), tls=tls)
                    logged = mailbox.login_of(self.state, self.marker)
                    if kind != "auto":
                        self.assertEqual(logged, ("alice", kind.upper()))
                    elif tls == "none":
                        self.assertEqual(logged, ("alice", "CRAM-MD5"))  # no password in the clear

    def test_password_beyond_ascii(self):
        for kind in ("plain", "login", "cram-md5"):
            with self.subTest(kind):
                self.send("submissions", *self.login("dave", "--auth", kind), tls="tls")

    def test_password_command(self):
        secret = self.file("secret", self.alice["password"].encode() + b"\n")
        self.send("submissions", "--user", "alice", "--password-command", f"cat {secret}", tls="tls")

    def test_wrong_password(self):
        for kind in ("plain", "login", "cram-md5"):
            with self.subTest(kind):
                result = self.refuse("login-refused", 77, "submission",
                                     *self.login("alice", "--auth", kind, password="not it"))
                self.assertIn("535", result["server_reply"])

    def test_login_not_offered(self):
        self.refuse("no-common-method", 76, "plain", *self.login("alice", "--auth", "plain"))

    def test_login_required(self):
        result = self.refuse("recipient-refused", 67, "submission")
        self.assertIn("554", result["server_reply"])

    def pop_options(self, *options, port="pop3", tls="none"):
        return ["--auth", "pop", "--pop-server", self.state["host"], "--pop-port", str(self.state["ports"][port]),
                "--pop-tls", tls, "--pop-wait", "1", *options]

    def pop_account(self):
        # An account per way the service runs: a log-in that is left over must not help the other.
        return "bob" if os.environ["VELORIN_E2E_SERVICE"] == "daemon" else "dave"

    def test_pop_before_smtp(self):
        name = self.pop_account()
        author = ("--from", self.users[name]["address"])
        self.refuse("recipient-refused", 67, "pop_before", *author)
        for options in (self.pop_options(), self.pop_options("--pop-apop"), self.pop_options(tls="starttls"),
                        self.pop_options(port="pop3s", tls="tls")):
            with self.subTest(options=options):
                self.send("pop_before", *author, *self.login(name), *options)
        self.refuse("recipient-refused", 67, "pop_before", *author)

    def test_pop_before_smtp_with_a_wrong_password(self):
        self.refuse("login-refused", 77, "pop_before", *self.login("alice", password="not it"), *self.pop_options())

    def test_check(self):
        for status, name, password in ((0, None, None), (77, "login-refused", "not it")):
            code, result = self.run_mail("check", "submissions", *self.login("alice", password=password), tls="tls")
            self.assertEqual((code, result.get("name")), (status, name), result)

    # What the server does not take.

    def test_size_limit(self):
        fits = b"x" * (self.state["small_size_limit"] // 2)
        arrived = self.send("small", "--attach", self.file("fits.bin", fits))
        self.assertEqual(arrived.parts()[1].get_payload(decode=True), fits)
        too_large = self.file("large.bin", b"x" * self.state["small_size_limit"])
        self.refuse("too-large", 65, "small", "--attach", too_large)

    def test_own_size_limit(self):
        self.refuse("too-large", 65, "plain", "--size-limit", "1000", "--attach", self.file("a.bin", b"x" * 1000))

    def test_refused_recipient(self):
        nobody = f"nobody@{self.state['domain']}"
        for options in (["--cc", nobody], ["--bcc", nobody]):
            with self.subTest(options[0]):
                result = self.refuse("recipient-refused", 67, "plain", *options)
                self.assertIn("550", result["server_reply"])


if __name__ == "__main__":
    sys.exit(runner.main(sys.modules[__name__]))
