"""What the end-to-end tests share: the running servers' state and accounts, and the mails in the mailboxes."""

import contextlib
import email
import email.policy
import json
import os
import re
import smtplib
import sys

import runner

ARRIVAL_DEADLINE = 60  # seconds from the server's 250 until the mail lies in the Maildir


def load_state():
    with open(os.environ["VELORIN_E2E_STATE"], encoding="utf-8") as file:
        return json.load(file)


def accounts(state):
    """All accounts of all servers."""
    return [*state["users"].values(), *state["readers"], *state["mbox_readers"], *state["mbox_apop_readers"]]


# Every module of tests, for each way in which the mail service runs, has its own share of the readers.
SHARES = (("test_harness_pop3", None), ("test_receive", "embedded"), ("test_receive", "daemon"),
          ("test_round_trip", "embedded"), ("test_round_trip", "daemon"))


def share_of(state, kind, module):
    """The accounts that belong to a module, as the mail service runs now."""
    script = os.path.splitext(os.path.basename(module.__file__))[0]
    return state[kind][SHARES.index((script, os.environ.get("VELORIN_E2E_SERVICE")))::len(SHARES)]


def account_of(state, kind, test):
    """The account that belongs to this test alone."""
    module = sys.modules[type(test).__module__]
    share = share_of(state, kind, module)
    cases = runner.names_in(module)
    assert len(cases) <= len(share), f"{kind}: {len(share)} accounts are too few for {len(cases)} tests"
    return share[cases.index(test.id().partition(".")[2])]


class Arrived:
    """One mail as it lies in the Maildir: its octets with CR LF, and the same read by the standard library."""

    def __init__(self, octets):
        # Dovecot stores line ends as LF; a CR that is left was sent beyond its own line end.
        assert b"\r" not in octets, "a lone or doubled CR arrived"
        self.octets = octets.replace(b"\n", b"\r\n")
        self.message = email.message_from_bytes(self.octets, policy=email.policy.default)
        self.raw = email.message_from_bytes(self.octets, policy=email.policy.compat32)
        self.header_octets, _, self.body_octets = self.octets.partition(b"\r\n\r\n")

    def parts(self):
        """The leaves of the part tree, in order."""
        return [part for part in self.message.walk() if not part.is_multipart()]


def stored(user):
    """The octets of every mail of a user that has been delivered."""
    found = []
    for folder in ("new", "cur"):
        path = os.path.join(user["maildir"], folder)
        try:
            names = sorted(os.listdir(path))
        except FileNotFoundError:
            continue
        for name in names:
            with open(os.path.join(path, name), "rb") as file:
                found.append(file.read())
    return found


def matching(user, marker):
    """The delivered mails whose header holds the marker, a text that only one mail of one test has."""
    wanted = marker.encode("ascii")
    return [octets for octets in stored(user) if wanted in octets.partition(b"\n\n")[0]]


def wait_for(user, marker):
    """The one mail with the marker in its header."""
    runner.wait_until(lambda: matching(user, marker), ARRIVAL_DEADLINE)
    found = matching(user, marker)
    assert len(found) == 1, f"{len(found)} mails with {marker} arrived for {user['address']}"
    return Arrived(found[0])


def login_of(state, marker):
    """User and mechanism of the log-in by which a mail with this Message-Id came, as Postfix logged them; or None."""
    with open(state["logs"]["postfix"], encoding="utf-8", errors="replace") as file:
        log = file.read()
    queued = re.search(r"cleanup\[\d+\]: (\w+): message-id=<" + re.escape(marker) + ">", log)
    client = queued and re.search(queued.group(1) + r": client=.*sasl_method=([\w-]+), sasl_username=(\w+)", log)
    return (client.group(2), client.group(1)) if client else None


def stored_mails(user):
    """The mails of a Maildir in the order of their delivery, with CR LF."""
    found = []
    for folder in ("new", "cur"):
        path = os.path.join(user["maildir"], folder)
        with contextlib.suppress(FileNotFoundError):
            found += [os.path.join(path, name) for name in os.listdir(path)]
    octets = []
    for path in sorted(found, key=delivery_order):
        with open(path, "rb") as file:
            octets.append(file.read().replace(b"\n", b"\r\n"))
    return octets


def delivery_order(path):
    """Dovecot's names begin with seconds, then microseconds behind an M: "1732200000.M123P45Q1.host"."""
    seconds, rest = os.path.basename(path).split(".")[:2]
    return int(seconds), int(re.match(r"M(\d+)", rest).group(1))


def deliver(state, user, mails):
    """Has Dovecot store the mails, in this order, without Postfix on the way."""
    with smtplib.LMTP(state["lmtp"], 0, timeout=60) as client:
        for mail in mails:
            client.sendmail("sender@example.org", [user["address"]], mail)


def mbox_mails(user):
    """The mails of a file, with CR LF, without what the server notes down in their headers."""
    with open(user["mbox"], "rb") as file:
        octets = file.read()
    mails = re.split(rb"(?:\A|(?<=\n)\n)From [^\n]*\n", octets)[1:]
    if mails:
        assert mails[-1].endswith(b"\n\n"), "the last mail is not followed by an empty line"
        mails[-1] = mails[-1][:-1]
    return [without_bookkeeping(unquoted(mail).replace(b"\n", b"\r\n")) for mail in mails]


def append_to_mbox(user, mails):
    """Adds mails, with CR LF, to a mailbox that nobody is using."""
    with open(user["mbox"], "ab") as file:
        for mail in mails:
            lines = mail.replace(b"\r\n", b"\n")
            assert not re.search(rb"^>*From ", lines, re.MULTILINE), "the file has no way to tell this line from its mark"
            file.write(b"From sender@example.org Sat Nov 22 10:00:00 2025\n" + lines + b"\n")


def wait_until_free(user):
    """Until a session that ended without good-bye has left the mailbox, if it is one of the files."""
    lock = user.get("mbox", "") + ".lock"
    assert runner.wait_until(lambda: not os.path.exists(lock)), f"{lock} stays"


def unquoted(mail):
    """A line of a mail that begins like the line between two mails has a mark in front."""
    return re.sub(rb"^>From ", b"From ", mail, flags=re.MULTILINE)


def without_bookkeeping(mail):
    """A mail without the header fields in which the server of the mailbox files keeps its own numbers."""
    header, end, body = mail.partition(b"\r\n\r\n")
    own = re.compile(rb"(X-UIDL|X-UID|X-IMAPbase|Status):", re.IGNORECASE)
    return b"\r\n".join(line for line in header.split(b"\r\n") if not own.match(line)) + end + body


def first_difference(octets, expected):
    """Where two long texts part, in few words."""
    at = next((at for at, (one, other) in enumerate(zip(octets, expected)) if one != other),
              min(len(octets), len(expected)))
    return f"of {len(octets)} and {len(expected)} octets, at {at}: {octets[at:at + 60]!r}, {expected[at:at + 60]!r}"


def deliveries(state, user):
    """How many mails Postfix has seen into a mailbox."""
    return sum(f" to=<{user['address']}>," in line and " status=sent " in line for line in log_lines(state, "postfix"))


def log_lines(state, log):
    with open(state["logs"][log], encoding="utf-8", errors="replace") as file:
        return file.read().splitlines()


def pop3_logins(state, log, user):
    """Every log-in of a user to a Dovecot that logs it in full: APOP, CRAM-MD5, PLAIN or USER, and whether by TLS."""
    lines = log_lines(state, log)
    found = []
    for line in lines:
        login = re.search(rf"pop3-login: Info: Login: user=<{user['login']}>, method=([\w-]+),.*session=<([^>]+)>", line)
        if login:
            way, session = login.groups()
            asked = next(line for line in lines if "client in: AUTH" in line and f"session={session}\t" in line)
            # The password comes with the question behind PASS; AUTH PLAIN without a first answer is asked for it.
            found.append(("USER" if way == "PLAIN" and "\tresp=" in asked else way, ", TLS," in line))
    return found


def wait_for_logout(state, log, user, sessions=1):
    """Until that many sessions at least were let in, and all have been left: the log is written behind a session's back."""
    def all_left():
        lines = [line for line in log_lines(state, log) if f"user=<{user['login']}>" in line
                 or f"pop3({user['login']})" in line]
        return (sum("Info: Login:" in line for line in lines) ==
                sum(f"pop3({user['login']})" in line and "Disconnected" in line for line in lines) >= sessions)
    assert runner.wait_until(all_left), f"no end of the sessions of {user['login']} in the log"


def pop3_process(state, log, user):
    """The process that serves a user's last session."""
    pids = [found.group(1) for line in log_lines(state, log)
            if (found := re.search(rf"Login: user=<{user['login']}>,.* mpid=(\d+),", line))]
    return int(pids[-1])
