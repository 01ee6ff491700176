#!/usr/bin/env python3
"""velorin-mail sends through Postfix and fetches from both POP3 servers: what comes back must be what was sent.

Every mail goes to a Maildir that Dovecot serves and to a file that Mailutils serves, and is fetched from each of them
twice: raw, to be compared with what the server has stored, and decoded, to be compared with what was sent.
"""

import hashlib
import json
import os
import random
import sys
import uuid

import mailbox
import programs
import runner

JAPANESE = "こんにちは、世界。\n複合機からのお知らせ：用紙が、なくなりました。\nＡＢＣ かな カナ 漢字 ー\n"
PDF = b"%PDF-1.4\n%\xe2\xe3\xcf\xd3\n1 0 obj\n<< /Type /Catalog >>\nendobj\ntrailer\n<< /Root 1 0 R >>\n%%EOF\n"
MEBI = 1024 * 1024


class Fetched:
    """One mail that was fetched decoded: mail.json, and the files of its parts in order."""

    def __init__(self, folder):
        with open(os.path.join(folder, "mail.json"), encoding="utf-8") as file:
            self.facts = json.load(file)
        self.parts = [part for part in self.facts["parts"] if "file" in part]
        self.octets = []
        for part in self.parts:
            with open(os.path.join(folder, part["file"]), "rb") as file:
                self.octets.append(file.read())
        self.names = {"mail.json", *(part["file"] for part in self.parts)}
        self.all_names = set(os.listdir(folder))


class RoundTrip(programs.MailCase):
    def setUp(self):
        super().setUp()
        self.reader = mailbox.account_of(self.state, "readers", self)
        self.boxer = mailbox.account_of(self.state, "mbox_readers", self)
        self.sources = ((self.reader, "pop3_plain", "none"), (self.boxer, "mbox_pop3s", "tls"))
        self.sent = 0

    def send(self, *options, text="Hello.\n", subject="Round trip"):
        """Sends to both mailboxes; returns when it lies in both."""
        marker = f"{uuid.uuid4()}@e2e.test"
        line = ["--server", self.state["host"], "--port", str(self.state["ports"]["large"]), "--tls", "none",
                "--from", "Printer 7 <printer@example.org>", "--subject", subject, "--message-id", marker]
        for account in (self.reader, self.boxer):
            line += ["--to", account["address"]]
        status, result = self.run_mail("send", *line, *options, stdin=text.encode())
        self.assertEqual(status, 0, result)
        self.sent += 1
        for account in (self.reader, self.boxer):
            runner.wait_until(lambda: mailbox.deliveries(self.state, account) >= self.sent, mailbox.ARRIVAL_DEADLINE)
            self.assertEqual(mailbox.deliveries(self.state, account), self.sent)
        return marker

    def fetch(self, account, port, tls, *options):
        """Fetches what is new into a fresh folder; the paths of what came."""
        folder = os.path.join(self.folder, uuid.uuid4().hex)
        status, result = self.run_mail(
            "fetch", "--server", self.state["host"], "--port", str(self.state["ports"][port]), "--tls", tls,
            "--user", account["login"], "--password-file", self.file("secret", account["password"].encode() + b"\n"),
            "--folder", folder, *options)
        self.assertEqual(status, 0, result)
        return [os.path.join(folder, name) for name in os.listdir(folder)]

    def fetched(self, marker):
        """The mail of both mailboxes, decoded; before that, raw, it equals what the servers have stored."""
        for account, port, tls in self.sources:
            stored = mailbox.stored_mails(account) if "maildir" in account else mailbox.mbox_mails(account)
            self.assertEqual([marker.encode() in mail for mail in stored], [True])
            raw = self.fetch(account, port, tls, "--raw", "--state", os.path.join(self.folder, uuid.uuid4().hex))
            self.assertEqual(len(raw), 1)
            with open(raw[0], "rb") as file:
                octets = mailbox.without_bookkeeping(file.read())
            if octets != stored[0]:
                self.fail(mailbox.first_difference(octets, stored[0]))
            folders = self.fetch(account, port, tls, "--delete")
            self.assertEqual(len(folders), 1)
            mail = Fetched(folders[0])
            self.assertEqual(mail.all_names, mail.names)
            self.assertEqual(mail.facts["headers"]["message_id"], f"<{marker}>")
            yield mail

    def attach(self, contents):
        return [option for name, octets in contents.items() for option in ("--attach", self.file(name, octets))]

    def assert_attachments(self, mail, contents):
        """The parts behind the first one are the files, by name, type and content."""
        self.assertEqual([part["file_name"] for part in mail.parts[1:]], list(contents))
        for part, octets, (name, sent) in zip(mail.parts[1:], mail.octets[1:], contents.items()):
            self.assertEqual((name, part["size"], hashlib.sha256(octets).hexdigest()),
                             (name, len(sent), hashlib.sha256(sent).hexdigest()))

    def assert_text(self, mail, text):
        self.assertTrue(mail.parts[0]["utf8"])
        self.assertEqual(mail.octets[0].decode(), text)

    def test_texts(self):
        for charset, subject in (("utf-8", "=?utf-8?B?5pel5pys6Kqe44Gu5Lu25ZCN?="),
                                 ("iso-2022-jp", "=?iso-2022-jp?B?GyRCRnxLXDhsJE43b0w+GyhC?="),
                                 ("shift_jis", "=?shift_jis?B?k/qWe4zqgsyMj5a8?=")):
            with self.subTest(charset):
                marker = self.send("--charset", charset, text=JAPANESE, subject=subject)
                for mail in self.fetched(marker):
                    self.assert_text(mail, JAPANESE)
                    headers = mail.facts["headers"]
                    self.assertEqual(headers["subject"], "日本語の件名")
                    self.assertEqual(headers["from"], "Printer 7 <printer@example.org>")
                    self.assertEqual(headers["to"].split(),  # where the field was folded is not the receiver's matter
                                     [f"{self.reader['address']},", self.boxer["address"]])

    def test_dots_and_long_lines(self):
        long_lines = "".join("x" * length + "\n" for length in (76, 77, 500, 997, 998))
        texts = (
            ("dots", ".\n..\n...\n.x\n..x\n x.\n\n.\n", {}),
            ("dots with a file", ".\n..\n...\n.x\n..x\n x.\n\n.\n", {"a.bin": b"\n.\n..\r\n"}),
            ("from", "From here\nFrom there\n\nFrom the start\n", {}),
            ("long", "".join("x" * length + "\n" for length in (76, 77, 500, 997, 998)), {}),
            ("too long for a line", "".join(f"{number} " * 20000 + "\n" for number in range(3)), {"a.bin": b"\0"}),
            ("blanks", " \n\t\n end of line \n", {}),
        )
        for name, text, contents in texts:
            with self.subTest(name):
                marker = self.send(*self.attach(contents), "--charset", "us-ascii", text=text)
                for mail in self.fetched(marker):
                    self.assert_text(mail, text)
                    self.assert_attachments(mail, contents)

    def test_empty_text(self):
        for contents in ({}, {"empty.bin": b""}, {"a.pdf": PDF}):
            with self.subTest(list(contents)):
                for mail in self.fetched(self.send(*self.attach(contents), text="")):
                    self.assertEqual(mail.octets[0].strip(), b"")
                    self.assert_attachments(mail, contents)

    def test_attachments(self):
        generator = random.Random(1)
        contents = {"report.pdf": PDF + generator.randbytes(300001), "scan.tif": b"II*\0", "page 1.jpg": b"\xff\xd8\xff",
                    "notes.txt": b"a\r\n.b\nc", "same.pdf": PDF}
        contents.update({f"{size}.bin": generator.randbytes(size) for size in (0, 1, 2, 3, 56, 57, 58, 6000, 8192)})
        for mail in self.fetched(self.send(*self.attach(contents), text=JAPANESE)):
            self.assert_text(mail, JAPANESE)
            self.assert_attachments(mail, contents)
            self.assertEqual([part["type"] for part in mail.parts[1:4]],
                             ["application/pdf", "image/tiff", "image/jpeg"])

    def test_large_attachment(self):
        contents = {"large.bin": random.Random(2).randbytes(20 * MEBI), "small.pdf": PDF}
        for mail in self.fetched(self.send(*self.attach(contents), text=JAPANESE)):
            self.assert_text(mail, JAPANESE)
            self.assert_attachments(mail, contents)


if __name__ == "__main__":
    sys.exit(runner.main(sys.modules[__name__]))
