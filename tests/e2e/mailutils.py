"""The POP3 server of GNU Mailutils on loopback ports: mailboxes in one file each, which Postfix appends to.

It shares nothing with Dovecot: mbox, unique ids in the mails' own headers, USER and PASS or APOP and no SASL.
"""

import os
import subprocess

import accounts
from server_parts import ServersError, openssl

PROGRAMS = {"pop3d": "/usr/sbin/pop3d", "popauth": "/usr/bin/popauth"}
USERS_NEEDED = ()

# Name of the port, then how TLS is had there.
TLS_MODES = {"mbox_pop3": "false", "mbox_stls": "required", "mbox_pop3s": "connection"}

CONFIG = """
mode daemon;
foreground yes;
pidfile "{folder}/pop3d.pid";
logging {{ syslog no; }};
auth {{
  authentication clear;
  authentication generic;
  authorization clear;
  authorization virtdomain;
}};
virtdomain {{ passwd-dir "{folder}/pop3d-domains"; }};
apop-database-file "{folder}/pop3d-apop.db";
tcp-wrappers {{ enable no; }};
tls {{
  ssl-certificate-file "{folder}/tls/server.pem";
  ssl-key-file "{folder}/tls/server.key";
}};
{servers}
"""


def configure(folder, ports, owner):
    """Writes the configuration, both password files and a folder per mailbox; owner: user and group id of the mails."""
    os.mkdir(f"{folder}/pop3d-domains")
    readers = accounts.mbox_readers()
    hashes = openssl("passwd", "-6", "-stdin", cwd=folder, stdin="".join(f"{secret}\n" for secret in readers.values()))
    secrets = dict(zip(readers, hashes.split()))
    path = f"{folder}/pop3d-domains/{accounts.MBOX_DOMAIN}"
    with open(os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600), "w", encoding="ascii") as users:
        for name, account in accounts.mbox_accounts(folder).items():
            home = os.path.dirname(account["mbox"])
            make_mailbox(home, account["mbox"], owner)
            # "!": nobody's password, for those who can only log in with APOP.
            users.write(f"{name}:{secrets.get(name, '!')}:{owner[0]}:{owner[1]}::{home}:/bin/false\n")
    make_apop_database(folder)
    servers = "\n".join(f"server 127.0.0.1:{ports[name]} {{ tls-mode {mode}; }};" for name, mode in TLS_MODES.items())
    with open(f"{folder}/pop3d.conf", "w", encoding="ascii") as config:
        config.write(CONFIG.format(folder=folder, servers=servers))


def make_mailbox(home, path, owner):
    """An empty one: the server would make a missing file root's own, and Postfix could not append to it."""
    os.makedirs(home)
    os.chown(home, *owner)
    with open(path, "xb"):
        os.chown(path, *owner)


def make_apop_database(folder):
    lines = "".join(f"{name}@{accounts.MBOX_DOMAIN} {secret}\n"
                    for name, secret in accounts.mbox_apop_readers().items())
    made = subprocess.run([PROGRAMS["popauth"], "--create", "--file", "/dev/stdin", "--output",
                           f"{folder}/pop3d-apop.db"], input=lines, capture_output=True, text=True, timeout=60,
                          check=False)
    if made.returncode != 0:
        raise ServersError(f"popauth: {made.stderr.strip()!r}")


def logs(folder):
    return {"pop3d": f"{folder}/pop3d.out"}


def start(folder, processes):
    processes.spawn("pop3d", PROGRAMS["pop3d"], "--no-config", f"--config-file={folder}/pop3d.conf")
