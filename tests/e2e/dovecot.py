"""Dovecot on loopback ports: the mailboxes that Postfix delivers to, and POP3 in every manner of logging in.

One Dovecot knows every mechanism, takes Postfix's mail by LMTP and answers its log-in questions. The others serve the
same mailboxes, and each can do one thing only, so that a log-in that succeeds there was made that way; their logs tell
the rest. They let one session at a time into a mailbox.
"""

import os
import shutil

from accounts import DOMAIN, maildir_accounts

PROGRAMS = {
    "dovecot": "/usr/sbin/dovecot",
    "lmtp": "/usr/lib/dovecot/lmtp",
    "pop3": "/usr/lib/dovecot/pop3",
    "pop3-login": "/usr/lib/dovecot/pop3-login",
}
USERS_NEEDED = ("dovecot", "dovenull")

# The one way to log in there, then Dovecot's name of it. USER and PASS are allowed wherever PLAIN is, and only there.
ONE_WAY = {"apop": "apop", "cram_md5": "cram-md5", "plain": "plain"}
POP3_PORTS = ("pop3", "pop3s", *(f"{port}_{way}" for way in ONE_WAY for port in ("pop3", "pop3s")))

COMMON = """
base_dir = {folder}/dovecot{suffix}
state_dir = {folder}/dovecot-state{suffix}
log_path = {folder}/dovecot{suffix}.log
protocols = {protocols}
listen = 127.0.0.1
default_internal_user = dovecot
default_internal_group = dovecot
default_login_user = dovenull
first_valid_uid = 1
mail_location = maildir:~/Maildir
mail_fsync = never
ssl = yes
ssl_cert = <{folder}/tls/server.pem
ssl_key = <{folder}/tls/server.key
ssl_min_protocol = TLSv1.2
disable_plaintext_auth = no
auth_mechanisms = {mechanisms}
auth_username_format = %Ln
auth_failure_delay = 0
postmaster_address = postmaster@{domain}
hostname = imap.{domain}
login_greeting = Ready.
passdb {{
  driver = passwd-file
  args = scheme=plain username_format=%n {folder}/users
}}
userdb {{
  driver = static
  args = uid={uid} gid={gid} home={folder}/mail/%n
}}
# A wrong password in one test must not make the next log-in wait.
service anvil {{
  unix_listener anvil-auth-penalty {{
    mode = 0
  }}
}}
service pop3-login {{
  chroot =
  inet_listener pop3 {{
    port = {pop3}
  }}
  inet_listener pop3s {{
    port = {pop3s}
    ssl = yes
  }}
}}
"""

EVERYTHING = """
service auth {{
  unix_listener {folder}/dovecot-auth {{
    mode = 0666
  }}
}}
service lmtp {{
  unix_listener {folder}/dovecot-lmtp {{
    mode = 0666
  }}
}}
"""

# The log says what the log-in service asked the password service: that tells PASS from AUTH PLAIN.
ONE_WAY_ONLY = """
auth_debug = yes
pop3_lock_session = yes
"""


def configure(folder, ports, owner):
    """Writes the configurations and the password file; owner: user and group id of who gets the mails."""
    os.mkdir(f"{folder}/mail")
    with open(f"{folder}/users", "w", encoding="utf-8") as users:
        for name, account in maildir_accounts(folder).items():
            os.mkdir(f"{folder}/mail/{name}")
            os.chown(f"{folder}/mail/{name}", *owner)
            users.write(f"{name}:{{PLAIN}}{account['password']}\n")
    shutil.chown(f"{folder}/users", "root", "dovecot")
    os.chmod(f"{folder}/users", 0o640)
    write(folder, "", ports["pop3"], ports["pop3s"], owner, "lmtp pop3", "plain login cram-md5 apop", EVERYTHING)
    for way, mechanism in ONE_WAY.items():
        write(folder, f"_{way}", ports[f"pop3_{way}"], ports[f"pop3s_{way}"], owner, "pop3", mechanism, ONE_WAY_ONLY)


def write(folder, suffix, pop3, pop3s, owner, protocols, mechanisms, more):
    with open(f"{folder}/dovecot{suffix}.log", "wb"):
        pass  # made by Dovecot, it would be for root alone to read
    with open(f"{folder}/dovecot{suffix}.conf", "w", encoding="ascii") as config:
        config.write((COMMON + more).format(folder=folder, suffix=suffix, pop3=pop3, pop3s=pop3s, uid=owner[0],
                                            gid=owner[1], domain=DOMAIN, protocols=protocols, mechanisms=mechanisms))


def suffixes():
    return ["", *(f"_{way}" for way in ONE_WAY)]


def logs(folder):
    """Name and path of every log."""
    return {f"dovecot{suffix}": f"{folder}/dovecot{suffix}.log" for suffix in suffixes()}


def start(folder, processes):
    for suffix in suffixes():
        processes.spawn(f"dovecot{suffix}", PROGRAMS["dovecot"], "-F", "-c", f"{folder}/dovecot{suffix}.conf")
