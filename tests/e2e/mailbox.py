"""What the end-to-end tests share: the running servers' state, and the mails that arrived, read from the Maildir."""

import email
import email.policy
import json
import os
import re

import runner

ARRIVAL_DEADLINE = 60  # seconds from the server's 250 until the mail lies in the Maildir


def load_state():
    with open(os.environ["VELORIN_E2E_STATE"], encoding="utf-8") as file:
        return json.load(file)


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
