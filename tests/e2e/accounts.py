"""The accounts of the test servers, their passwords, and where each one's mails lie.

Everybody whom a test sends to or logs in as has a name here. Readers are for the tests that receive: each test has one
of its own, so that tests may run at the same time.
"""

DOMAIN = "velorin.test"  # delivered into a Maildir, read through Dovecot
MBOX_DOMAIN = "mbox.test"  # delivered into one file per mailbox, read through the other POP3 server
USERS = {
    "alice": "wonder land/1",  # a blank, so that quoting is tried
    "bob": "b0b+Builder=",
    "carol": "p4ss",
    "dave": "Ünï-9",  # not ASCII: the octets are UTF-8
    "erin": "only/reads",  # whose POP3 log-ins count for no test of POP before SMTP
}
READERS = 125
MBOX_READERS = 75
MBOX_APOP_READERS = 5  # who cannot log in but by APOP


def readers():
    """Names and passwords of those who read a Maildir."""
    return {f"reader{number:03}": f"open {number}/sesame+" for number in range(READERS)}


def mbox_readers():
    """Those of the mailboxes in one file, who log in with USER and PASS."""
    return {f"boxer{number:03}": f"%{number} box=+" for number in range(MBOX_READERS)}


def mbox_apop_readers():
    """Those who log in with APOP; the database of that server ends a password at a blank."""
    return {f"apopper{number:02}": f"%{number}box=+" for number in range(MBOX_APOP_READERS)}


def maildir_accounts(folder):
    """All accounts of Dovecot."""
    return {name: {"login": name, "address": f"{name}@{DOMAIN}", "password": password,
                   "maildir": f"{folder}/mail/{name}/Maildir"}
            for name, password in {**USERS, **readers()}.items()}


def mbox_accounts(folder):
    """All accounts of the other server; they log in with their whole address."""
    return {name: {"login": f"{name}@{MBOX_DOMAIN}", "address": f"{name}@{MBOX_DOMAIN}", "password": password,
                   "mbox": f"{folder}/mbox/{name}/INBOX"}
            for name, password in {**mbox_readers(), **mbox_apop_readers()}.items()}
