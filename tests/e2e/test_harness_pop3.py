#!/usr/bin/env python3
"""The POP3 servers themselves, tried with Python's own client: every port lets in by its one way, and only by that."""

import base64
import hmac
import poplib
import smtplib
import ssl
import sys
import unittest
import uuid

import mailbox
import runner

STATE = None
MAIL = b"From: tester@example.org\r\nSubject: s\r\nMessage-Id: <%s>\r\n\r\nHello\r\n.dot\r\n\xe9 8 bit\r\n"


class HarnessPop3(unittest.TestCase):
    def setUp(self):
        self.reader = mailbox.account_of(STATE, "readers", self)
        self.boxer = mailbox.account_of(STATE, "mbox_readers", self)
        self.apopper = STATE["mbox_apop_readers"][0]
        self.context = ssl.create_default_context(cafile=STATE["ca"])

    def connect(self, port):
        if port.startswith("pop3s") or port == "mbox_pop3s":
            client = poplib.POP3_SSL(STATE["host"], STATE["ports"][port], timeout=30, context=self.context)
        else:
            client = poplib.POP3(STATE["host"], STATE["ports"][port], timeout=30)
        self.addCleanup(client.close)
        return client

    def user_pass(self, client, account, password=None):
        client.user(account["login"])
        client.pass_(password or account["password"])
        return client

    def apop(self, client, account, password=None):
        client.apop(account["login"], password or account["password"])
        return client

    def cram_md5(self, client, account, password=None):
        challenge = base64.b64decode(client._shortcmd("AUTH CRAM-MD5").partition(b" ")[2])
        digest = hmac.new((password or account["password"]).encode(), challenge, "md5").hexdigest()
        client._shortcmd(base64.b64encode(f"{account['login']} {digest}".encode()).decode())
        return client

    def auth_plain(self, client, account, password=None):
        client._shortcmd("AUTH PLAIN")
        secret = f"\0{account['login']}\0{password or account['password']}"
        client._shortcmd(base64.b64encode(secret.encode()).decode())
        return client

    def test_one_way_only(self):
        ways = {"apop": (self.apop,), "cram_md5": (self.cram_md5,), "plain": (self.auth_plain, self.user_pass)}
        for way, allowed in ways.items():
            for port in (f"pop3_{way}", f"pop3s_{way}"):
                for log_in in (self.apop, self.cram_md5, self.auth_plain, self.user_pass):
                    with self.subTest(port, log_in=log_in.__name__):
                        client = self.connect(port)
                        if log_in in allowed:
                            self.assertEqual(log_in(client, self.reader).stat(), (0, 0))
                            client.quit()
                            with self.assertRaises(poplib.error_proto):
                                log_in(self.connect(port), self.reader, "not it")
                        else:
                            with self.assertRaises(poplib.error_proto):
                                log_in(client, self.reader)

    def test_what_is_offered(self):
        for way, mechanisms in (("apop", []), ("cram_md5", ["CRAM-MD5"]), ("plain", ["PLAIN"])):
            client = self.connect(f"pop3_{way}")
            self.assertEqual((way, client.capa()["SASL"]), (way, mechanisms))
            self.assertEqual(b"@" in client.getwelcome(), way == "apop")
        for port in ("mbox_pop3", "mbox_pop3s"):
            offered = self.connect(port).capa()
            self.assertIn("USER", offered)
            self.assertEqual({"SASL", "STLS"} & set(offered), set())

    def test_the_log_tells_the_way(self):
        for log_in, way, port in ((self.apop, "APOP", "pop3_apop"), (self.cram_md5, "CRAM-MD5", "pop3_cram_md5"),
                                  (self.auth_plain, "PLAIN", "pop3_plain"), (self.user_pass, "USER", "pop3_plain")):
            for tls in ("none", "starttls", "tls"):
                with self.subTest(way, tls=tls):
                    client = self.connect(port.replace("pop3_", "pop3s_") if tls == "tls" else port)
                    if tls == "starttls":
                        client.stls(self.context)
                    log = "dovecot_" + port.partition("_")[2]
                    before = len(mailbox.pop3_logins(STATE, log, self.reader))
                    log_in(client, self.reader).quit()
                    mailbox.wait_for_logout(STATE, log, self.reader, before + 1)
                    self.assertEqual(mailbox.pop3_logins(STATE, log, self.reader)[-1], (way, tls != "none"))

    def test_tls_is_required(self):
        client = self.connect("mbox_stls")
        with self.assertRaises(poplib.error_proto):
            self.user_pass(client, self.boxer)
        client.stls(self.context)
        self.assertEqual(self.user_pass(client, self.boxer).stat(), (0, 0))

    def test_mbox_log_in(self):
        for port in ("mbox_pop3", "mbox_pop3s"):
            self.user_pass(self.connect(port), self.boxer).quit()
            self.apop(self.connect(port), self.apopper).quit()
            for log_in, account in ((self.user_pass, self.apopper), (self.apop, self.boxer)):
                with self.assertRaisesRegex(poplib.error_proto, "AUTH"):
                    log_in(self.connect(port), account)
            for log_in, account in ((self.user_pass, self.boxer), (self.apop, self.apopper)):
                with self.assertRaisesRegex(poplib.error_proto, "AUTH"):
                    log_in(self.connect(port), account, "not it")

    def test_one_session_at_a_time(self):
        first = self.user_pass(self.connect("mbox_pop3"), self.boxer)
        with self.assertRaisesRegex(poplib.error_proto, "IN-USE"):
            self.user_pass(self.connect("mbox_pop3"), self.boxer)
        first.quit()
        self.user_pass(self.connect("mbox_pop3"), self.boxer).quit()

    def test_delivery_into_a_file(self):
        marker = f"{uuid.uuid4()}@harness.test".encode()
        with smtplib.SMTP(STATE["host"], STATE["ports"]["plain"], timeout=30) as client:
            client.sendmail("tester@example.org", [self.boxer["address"]], MAIL % marker)
        runner.wait_until(lambda: mailbox.deliveries(STATE, self.boxer), mailbox.ARRIVAL_DEADLINE)
        stored = mailbox.mbox_mails(self.boxer)
        self.assertEqual([mail.endswith(MAIL % marker) for mail in stored], [True])
        client = self.user_pass(self.connect("mbox_pop3"), self.boxer)
        received = b"\r\n".join(client.retr(1)[1]) + b"\r\n"
        client.dele(1)
        client.quit()
        self.assertEqual(mailbox.without_bookkeeping(received), stored[0])
        self.assertEqual(mailbox.mbox_mails(self.boxer), [])

    def test_delivery_by_lmtp(self):
        mails = [MAIL % f"{number}.{uuid.uuid4()}@harness.test".encode() for number in range(3)]
        mailbox.deliver(STATE, self.reader, mails)
        stored = mailbox.stored_mails(self.reader)
        self.assertEqual([mail.endswith(sent) for mail, sent in zip(stored, mails)], [True] * 3)
        client = self.user_pass(self.connect("pop3_plain"), self.reader)
        self.assertEqual([b"\r\n".join(client.retr(number)[1]) + b"\r\n" for number in (1, 2, 3)], stored)
        for number in (1, 2, 3):
            client.dele(number)
        client.quit()
        self.assertEqual(mailbox.stored_mails(self.reader), [])


if __name__ == "__main__":
    if "--list" not in sys.argv:
        STATE = mailbox.load_state()
    sys.exit(runner.main(sys.modules[__name__]))
