#!/usr/bin/env python3
"""velorin-mail lists, fetches and deletes on real POP3 servers: log-in, whole mailboxes, and what others do meanwhile."""

import contextlib
import glob
import os
import poplib
import random
import signal
import sys

import mailbox
import programs
import relay
import runner

# Way to log in, then Dovecot's log and its port without TLS from the start.
DOVECOT_WAYS = {"APOP": "apop", "CRAM-MD5": "cram_md5", "PLAIN": "plain"}
MAILS = 300
MAILS_OF_A_FILE = 60  # that server takes 40 ms for each: it answers in two steps, and the first waits for a late ACK


def mail_of(number):
    """A mail like no other: every kind of line that a server or a client could trip over, and any length."""
    generator = random.Random(number)
    lines = [b"From: Sender %d <sender%d@example.org>" % (number, number), b"Subject: Mail number %d" % number,
             b"Message-Id: <%d.receive@e2e.test>" % number, b"X-Folded: one\r\n\ttwo", b""]
    for _ in range(number % 40):
        kind = generator.randrange(5)
        if kind == 0:
            lines.append(b"." * generator.randrange(1, 5))
        elif kind == 1:
            lines.append(b"." + b"x" * generator.randrange(900))
        elif kind == 2:
            lines.append(bytes(generator.choices(range(128, 256), k=60)))
        elif kind == 3:
            lines.append(b"")
        else:
            lines.append(bytes(generator.choices(range(32, 127), k=generator.randrange(76))).rstrip() + b"  \t")
    lines.append(b"end of %d" % number)
    return b"\r\n".join(lines) + b"\r\n"


class Receive(programs.MailCase):
    def setUp(self):
        super().setUp()
        self.reader = mailbox.account_of(self.state, "readers", self)
        self.boxer = mailbox.account_of(self.state, "mbox_readers", self)
        self.apopper = mailbox.share_of(self.state, "mbox_apop_readers", sys.modules[__name__])[0]
        self.fetched = os.path.join(self.folder, "fetched")

    def account(self, account, port, *options, tls="none", password=None):
        """The options for an account at a port, by name or number."""
        secret = account["password"] if password is None else password
        number = self.state["ports"].get(port, port)
        return ["--server", self.state["host"], "--port", str(number), "--tls", tls, "--user", account["login"],
                "--password-file", self.file("secret", secret.encode() + b"\n"), *options]

    def list(self, *account, **rest):
        status, result = self.run_mail("list", *account, **rest)
        self.assertEqual(status, 0, result)
        return result["mails"]

    def fetch(self, *options, **rest):
        """Fetches; the octets of every .eml file that lies in the folder then."""
        status, result = self.run_mail("fetch", "--raw", "--folder", self.fetched, *options, **rest)
        self.assertEqual(status, 0, result)
        return self.files()

    def files(self):
        found = {}
        for path in glob.glob(os.path.join(self.fetched, "**", "*.eml"), recursive=True):
            with open(path, "rb") as file:
                found[path] = file.read()
        return found

    def delete(self, *options):
        status, result = self.run_mail("delete", *options)
        self.assertEqual(status, 0, result)

    def refuse(self, name, exit_code, command, *options, **rest):
        status, result = self.run_mail(command, *options, **rest)
        self.assertEqual((result.get("name"), status), (name, exit_code), result)
        return result

    def relay(self, port, **hooks):
        server = relay.Relay(self.state["ports"][port], **hooks)
        self.addCleanup(server.close)
        return server

    # Log in.

    def assert_way(self, way, log, tls, port, *options):
        with self.subTest(way, tls=tls):
            before = len(mailbox.pop3_logins(self.state, log, self.reader))
            self.assertEqual(self.list(*self.account(self.reader, port, *options, tls=tls)), [])
            mailbox.wait_for_logout(self.state, log, self.reader, before + 1)
            self.assertEqual(mailbox.pop3_logins(self.state, log, self.reader)[before:], [(way, tls != "none")])

    def test_ways_to_log_in(self):
        for way, name in DOVECOT_WAYS.items():
            options = ["--apop"] if way == "APOP" else []
            self.assert_way(way, f"dovecot_{name}", "none", f"pop3_{name}", *options)
            self.assert_way(way, f"dovecot_{name}", "starttls", f"pop3_{name}", *options)
            self.assert_way(way, f"dovecot_{name}", "tls", f"pop3s_{name}", *options)

    def test_user_and_pass(self):
        # Dovecot offers PLAIN wherever it takes USER and PASS: a server that does not know CAPA offers nothing.
        server = self.relay("pop3_plain", refused=b"CAPA")
        self.assert_way("USER", "dovecot_plain", "none", server.port)

    def test_apop_without_being_asked_for(self):
        # Nothing else is possible there, and no password goes out in clear.
        self.assert_way("APOP", "dovecot_apop", "none", "pop3_apop")

    def test_apop_is_not_offered(self):
        for port in ("pop3_plain", "pop3_cram_md5"):
            self.refuse("no-common-method", 76, "list", *self.account(self.reader, port, "--apop"))

    def test_log_in_to_the_other_server(self):
        for tls, port in (("none", "mbox_pop3"), ("starttls", "mbox_stls"), ("tls", "mbox_pop3s")):
            for account, options in ((self.boxer, []), (self.apopper, ["--apop"])):
                with self.subTest(port, user=account["login"]):
                    self.assertEqual(self.list(*self.account(account, port, *options, tls=tls)), [])
        self.refuse("login-refused", 77, "list", *self.account(self.boxer, "mbox_pop3", "--apop"))

    def test_wrong_password(self):
        no_capa = self.relay("pop3_plain", refused=b"CAPA").port
        for account, port, tls, options in (
                (self.reader, "pop3_apop", "none", ["--apop"]), (self.reader, "pop3_cram_md5", "starttls", []),
                (self.reader, "pop3_plain", "none", []), (self.reader, "pop3s", "tls", []),
                (self.reader, no_capa, "none", []), (self.boxer, "mbox_stls", "starttls", []),
                (self.apopper, "mbox_pop3", "none", ["--apop"])):
            with self.subTest(port=port):
                line = self.account(account, port, *options, tls=tls, password="not it")
                result = self.refuse("login-refused", 77, "list", *line)
                self.assertTrue(result["server_reply"].startswith("-ERR"), result)

    def test_tls_is_refused_or_missing(self):
        self.refuse("tls-not-offered", 76, "list", *self.account(self.boxer, "mbox_pop3", tls="starttls"))
        for port, tls, account in (("pop3s", "tls", self.reader), ("pop3", "starttls", self.reader),
                                   ("mbox_pop3s", "tls", self.boxer), ("mbox_stls", "starttls", self.boxer)):
            with self.subTest(port):
                self.stop_daemon()
                line = self.account(account, port, tls=tls)
                self.refuse("certificate-refused", 76, "list", *line, authority=self.state["other_ca"])
                self.assertEqual(self.list(*line, "--no-verify", authority=self.state["other_ca"]), [])

    # Whole mailboxes.

    def work_through(self, line, stored, offered):
        """Lists, fetches twice and empties a mailbox of many mails.

        stored    the octets that lie there, in order
        offered   unique id and size of each, as another client sees them
        """
        listed = self.list(*line)
        count = len(stored)
        self.assertEqual([mail["number"] for mail in listed], list(range(1, count + 1)))
        self.assertEqual([(mail["unique_id"], mail["size"]) for mail in listed], offered)
        self.assertEqual([mail["subject"] for mail in listed], [f"Mail number {number}" for number in range(count)])
        files = self.fetch(*line)
        self.assertEqual(len(files), count)
        received = {self.number_of(octets): octets for octets in files.values()}
        self.assertEqual(sorted(received), list(range(count)))
        for number, octets in received.items():
            self.assertEqual(mailbox.without_bookkeeping(octets), stored[number], number)
        self.assertEqual(self.fetch(*line), files)  # nothing new, and nothing touched
        self.delete("--fetched", *line)
        self.assertEqual(self.list(*line), [])
        self.assertEqual(self.fetch(*line), files)

    @staticmethod
    def number_of(mail):
        return int(mail.partition(b"Message-Id: <")[2].partition(b".")[0])

    @contextlib.contextmanager
    def session(self, port, account):
        """A session of somebody else."""
        client = poplib.POP3(self.state["host"], self.state["ports"][port], timeout=60)
        try:
            client.user(account["login"])
            client.pass_(account["password"])
            yield client
            client.quit()
        finally:
            client.close()

    def offered(self, port, account):
        """Unique id and size of every mail, as another client sees them."""
        with self.session(port, account) as client:
            sizes = [int(line.split()[1]) for line in client.list()[1]]
            return list(zip((line.split()[1].decode() for line in client.uidl()[1]), sizes))

    def test_three_hundred_mails(self):
        sent = [mail_of(number) for number in range(MAILS)]
        mailbox.deliver(self.state, self.reader, sent)
        stored = mailbox.stored_mails(self.reader)
        self.assertEqual([octets.endswith(mail) for octets, mail in zip(stored, sent)], [True] * MAILS)
        self.work_through(self.account(self.reader, "pop3_plain"), stored, self.offered("pop3_plain", self.reader))
        self.assertEqual(mailbox.stored_mails(self.reader), [])

    def test_many_mails_of_a_file(self):
        sent = [mail_of(number) for number in range(MAILS_OF_A_FILE)]
        mailbox.append_to_mbox(self.boxer, sent)
        # The first session has the server put unique ids into the mails, which makes them longer.
        first = self.offered("mbox_pop3", self.boxer)
        offered = self.offered("mbox_pop3", self.boxer)
        self.assertEqual([uid for uid, _ in offered], [uid for uid, _ in first])
        self.work_through(self.account(self.boxer, "mbox_pop3"), sent, offered)
        self.assertEqual(mailbox.mbox_mails(self.boxer), [])

    def test_fetch_and_delete_in_one(self):
        sent = [mail_of(number) for number in range(3)]
        mailbox.deliver(self.state, self.reader, sent)
        files = self.fetch(*self.account(self.reader, "pop3s", tls="tls"), "--delete")
        self.assertEqual(sorted(self.number_of(octets) for octets in files.values()), [0, 1, 2])
        self.assertEqual(mailbox.stored_mails(self.reader), [])

    def test_one_of_several(self):
        for port, account in (("pop3_cram_md5", self.reader), ("mbox_pop3", self.boxer)):
            with self.subTest(port):
                self.fetched = os.path.join(self.folder, port)
                sent = [mail_of(number) for number in range(4)]
                if port == "mbox_pop3":
                    mailbox.append_to_mbox(account, sent)
                else:
                    mailbox.deliver(self.state, account, sent)
                line = self.account(account, port)
                listed = self.list(*line)
                files = self.fetch(*line, "--uid", listed[2]["unique_id"])
                self.assertEqual([self.number_of(octets) for octets in files.values()], [2])
                self.delete(*line, "--uid", listed[1]["unique_id"])
                self.assertEqual([mail["unique_id"] for mail in self.list(*line)],
                                 [listed[number]["unique_id"] for number in (0, 2, 3)])
                self.assertEqual(sorted(self.number_of(octets) for octets in self.fetch(*line).values()), [0, 2, 3])

    # What others do meanwhile.

    def test_mailbox_in_use(self):
        for port, account in (("pop3_plain", self.reader), ("mbox_pop3", self.boxer)):
            with self.subTest(port):
                line = self.account(account, port)
                with self.session(port, account):
                    result = self.refuse("mailbox-in-use", 75, "list", *line)
                    self.assertIn("IN-USE", result["server_reply"])
                self.assertEqual(self.list(*line), [])

    def test_deleted_by_somebody_else(self):
        for port, account in (("pop3_plain", self.reader), ("mbox_pop3", self.boxer)):
            with self.subTest(port):
                self.fetched = os.path.join(self.folder, port)
                sent = [mail_of(number) for number in range(3)]
                if port == "mbox_pop3":
                    mailbox.append_to_mbox(account, sent)
                else:
                    mailbox.deliver(self.state, account, sent)
                line = self.account(account, port)
                gone = self.list(*line)[1]["unique_id"]
                with self.session(port, account) as client:
                    client.dele(2)
                for command in ("fetch", "delete"):
                    result = self.refuse(None, 66, command, *line, "--uid", gone)
                    self.assertEqual((result["sentence"], result["where"]),
                                     ("the server has no mail of this unique id", gone))
                    mailbox.wait_until_free(account)
                self.assertEqual(self.files(), {})
                self.assertEqual(sorted(self.number_of(octets) for octets in self.fetch(*line).values()), [0, 2])

    def test_server_dies_in_mid_mail(self):
        generator = random.Random(1)
        lines = b"".join(b"%s\r\n" % generator.randbytes(36).hex().encode() for _ in range(280000))
        large = b"From: a@example.org\r\nMessage-Id: <0.large@e2e.test>\r\nSubject: Large\r\n\r\n" + lines
        mailbox.deliver(self.state, self.reader, [large, mail_of(1)])
        stored = mailbox.stored_mails(self.reader)
        died = []

        def kill():
            died.append(mailbox.pop3_process(self.state, "dovecot_plain", self.reader))
            os.kill(died[-1], signal.SIGKILL)

        for options in ([], ["--raw"]):
            # The rest of the mail is more than what can wait in the buffers between.
            server = self.relay("pop3_plain", after=2 * 1024 * 1024, on_reached=kill)
            line = [*options, "--folder", self.fetched, "--delete", *self.account(self.reader, server.port)]
            self.refuse("connection-lost", 75, "fetch", *line)
            self.assertEqual([name for name in os.listdir(self.fetched) if not name.startswith(".")], [])
            self.assertEqual(mailbox.stored_mails(self.reader), stored)
        self.assertEqual(len(set(died)), 2)
        # Through the same relay, which only passes on now: for velorin-mail another port is another account.
        files = self.fetch("--delete", *self.account(self.reader, server.port))
        self.assertEqual(sorted(files.values()), sorted(stored))
        self.assertEqual(mailbox.stored_mails(self.reader), [])


if __name__ == "__main__":
    sys.exit(runner.main(sys.modules[__name__]))
