#!/usr/bin/env python3
"""The test servers themselves, tried with Python's own clients: every port does what the tests rely on."""

import base64
import poplib
import smtplib
import ssl
import sys
import unittest
import uuid

import mailbox
import runner

STATE = None


def text_mail(marker, body="Hello\r\n.dot\r\n"):
    return f"From: tester@example.org\r\nTo: x\r\nSubject: s\r\nMessage-Id: <{marker}>\r\n\r\n{body}".encode()


class Harness(unittest.TestCase):
    def setUp(self):
        self.marker = f"{uuid.uuid4()}@harness.test"
        self.user = STATE["users"]["alice"]
        self.sender = "tester@example.org"
        self.context = ssl.create_default_context(cafile=STATE["ca"])

    def connect(self, port, tls=False):
        if tls:
            client = smtplib.SMTP_SSL(STATE["host"], STATE["ports"][port], timeout=30, context=self.context)
        else:
            client = smtplib.SMTP(STATE["host"], STATE["ports"][port], timeout=30)
        self.addCleanup(client.close)
        client.ehlo("tester.example.org")
        return client

    def deliver(self, client, to="alice"):
        client.sendmail(self.sender, [STATE["users"][to]["address"]], text_mail(self.marker))

    def assert_arrives(self, client):
        self.deliver(client)
        arrived = mailbox.wait_for(self.user, self.marker)
        self.assertEqual(arrived.body_octets, b"Hello\r\n.dot\r\n")

    def assert_refused(self, client, code):
        with self.assertRaises(smtplib.SMTPRecipientsRefused) as refused:
            self.deliver(client)
        self.assertEqual([answer[0] for answer in refused.exception.recipients.values()], [code])
        self.assertEqual(mailbox.matching(self.user, self.marker), [])

    def test_plain(self):
        client = self.connect("plain")
        self.assertFalse(client.has_extn("starttls"))
        self.assertFalse(client.has_extn("auth"))
        self.assertEqual(int(client.esmtp_features["size"]), STATE["size_limit"])
        self.assert_arrives(client)

    def test_octets_arrive_unchanged(self):
        client = self.connect("plain")
        mail = (b"From: a@b\r\nMessage-Id: <" + self.marker.encode() + b">\r\nBcc: kept@example.org\r\nX-Empty: \r\n\r\n"
                + bytes(range(128, 256)) + b"\r\n.\r\n..\r\n \t \r\n" + b"x" * 900 + b"\r\n\r\n")
        client.docmd("MAIL", f"FROM:<a@example.org> BODY=8BITMIME SIZE={len(mail)}")
        client.docmd("RCPT", f"TO:<{self.user['address']}>")
        self.assertEqual(client.data(mail)[0], 250)
        self.assertTrue(mailbox.wait_for(self.user, self.marker).octets.endswith(mail))

    def test_starttls_is_required(self):
        client = self.connect("starttls")
        self.assertTrue(client.has_extn("starttls"))
        self.assertEqual(client.docmd("MAIL", "FROM:<a@example.org>")[0], 530)
        client.starttls(context=self.context)
        client.ehlo("tester.example.org")
        self.assert_arrives(client)

    def test_tls_from_the_start(self):
        self.assert_arrives(self.connect("tls", tls=True))

    def test_untrusted_authority(self):
        self.context = ssl.create_default_context(cafile=STATE["other_ca"])
        with self.assertRaises(ssl.SSLCertVerificationError):
            self.connect("tls", tls=True)

    def test_expired_certificate(self):
        with self.assertRaisesRegex(ssl.SSLCertVerificationError, "expired"):
            self.connect("expired", tls=True)

    def test_certificate_for_another_name(self):
        with self.assertRaisesRegex(ssl.SSLCertVerificationError, "ostname"):
            self.connect("other_name", tls=True)

    def test_login_is_required(self):
        for port, tls in (("submission", False), ("submissions", True)):
            self.assert_refused(self.connect(port, tls), 554)

    def test_mechanisms(self):
        for mechanism in ("plain", "login", "cram_md5"):
            with self.subTest(mechanism):
                self.marker = f"{uuid.uuid4()}@harness.test"
                client = self.connect("submission")
                self.assertIn(mechanism.upper().replace("_", "-"), client.esmtp_features["auth"].split())
                client.user, client.password = "alice", self.user["password"]
                client.auth(mechanism.upper().replace("_", "-"), getattr(client, "auth_" + mechanism))
                self.assert_arrives(client)

    def test_password_beyond_ascii(self):
        client = self.connect("submissions", tls=True)
        secret = f"\0dave\0{STATE['users']['dave']['password']}".encode()
        self.assertEqual(client.docmd("AUTH PLAIN", base64.b64encode(secret).decode())[0], 235)

    def test_wrong_password(self):
        client = self.connect("submission")
        with self.assertRaises(smtplib.SMTPAuthenticationError) as refused:
            client.login("alice", "wrong")
        self.assertEqual(refused.exception.smtp_code, 535)

    def test_unknown_recipient(self):
        client = self.connect("plain")
        client.mail("a@example.org")
        self.assertEqual(client.rcpt(f"nobody@{STATE['domain']}")[0], 550)
        self.assertEqual(client.rcpt("someone@example.org")[0], 554)
        self.assertEqual(client.rcpt(self.user["address"])[0], 250)

    def test_size_limit(self):
        client = self.connect("small")
        limit = STATE["small_size_limit"]
        self.assertEqual(int(client.esmtp_features["size"]), limit)
        self.assertEqual(client.docmd("MAIL", f"FROM:<a@example.org> SIZE={limit + 1}")[0], 552)
        client = self.connect("small")  # the server remembers the size it has refused
        client.mail("a@example.org")
        client.rcpt(self.user["address"])
        self.assertEqual(client.data(text_mail(self.marker, "x\r\n" * limit))[0], 552)
        self.assertEqual(mailbox.matching(self.user, self.marker), [])

    def test_pop_before_smtp(self):
        self.assert_refused(self.connect("pop_before"), 550)
        self.sender = STATE["users"]["carol"]["address"]
        self.assert_refused(self.connect("pop_before"), 550)
        client = poplib.POP3(STATE["host"], STATE["ports"]["pop3"], timeout=30)
        client.user("carol")
        client.pass_(STATE["users"]["carol"]["password"])
        client.quit()
        self.assert_arrives(self.connect("pop_before"))
        # One log-in lets one connection in.
        self.marker = f"{uuid.uuid4()}@harness.test"
        self.assert_refused(self.connect("pop_before"), 550)

    def test_pop3_reads_what_arrived(self):
        self.deliver(self.connect("plain"), "erin")
        mailbox.wait_for(STATE["users"]["erin"], self.marker)
        client = poplib.POP3_SSL(STATE["host"], STATE["ports"]["pop3s"], timeout=30, context=self.context)
        client.apop("erin", STATE["users"]["erin"]["password"])
        mails = [b"\r\n".join(client.retr(number + 1)[1]) for number in range(client.stat()[0])]
        client.quit()
        self.assertEqual(sum(self.marker.encode() in mail for mail in mails), 1)


if __name__ == "__main__":
    if "--list" not in sys.argv:
        STATE = mailbox.load_state()
    sys.exit(runner.main(sys.modules[__name__]))
