"""Postfix on loopback ports: one port per manner of connecting; Dovecot takes the mail by LMTP, or it goes to a file."""

import os
import shutil
import subprocess

from accounts import DOMAIN, MBOX_DOMAIN, maildir_accounts, mbox_accounts
from server_parts import ServersError

SIZE_LIMIT = 4 * 1024 * 1024  # octets a mail may have on every port but these two
SMALL_SIZE_LIMIT = 40000
LARGE_SIZE_LIMIT = 48 * 1024 * 1024

SBIN = "/usr/lib/postfix/sbin"
PROGRAMS = {"postfix": "/usr/sbin/postfix", "master": SBIN + "/master", "virtual": SBIN + "/virtual"}
USERS_NEEDED = ("postfix",)

# Name of the port, then what smtpd does differently there.
SMTP_PORTS = {
    "plain": {"smtpd_tls_security_level": "none"},
    "starttls": {"smtpd_tls_security_level": "encrypt"},
    "tls": {"smtpd_tls_wrappermode": "yes"},
    "submission": {
        "smtpd_tls_security_level": "may",
        "smtpd_sasl_auth_enable": "yes",
        "smtpd_client_restrictions": "permit_sasl_authenticated,reject",
    },
    "submissions": {
        "smtpd_tls_wrappermode": "yes",
        "smtpd_sasl_auth_enable": "yes",
        "smtpd_client_restrictions": "permit_sasl_authenticated,reject",
    },
    "small": {"smtpd_tls_security_level": "none", "message_size_limit": str(SMALL_SIZE_LIMIT)},
    "large": {"smtpd_tls_security_level": "none", "message_size_limit": str(LARGE_SIZE_LIMIT)},
    "pop_before": {"smtpd_tls_security_level": "none", "smtpd_recipient_restrictions": "{pop_policy},reject"},
    "expired": {
        "smtpd_tls_wrappermode": "yes",
        "smtpd_tls_cert_file": "{folder}/tls/expired.pem",
        "smtpd_tls_key_file": "{folder}/tls/expired.key",
    },
    "other_name": {
        "smtpd_tls_wrappermode": "yes",
        "smtpd_tls_cert_file": "{folder}/tls/other_name.pem",
        "smtpd_tls_key_file": "{folder}/tls/other_name.key",
    },
}

MAIN = """
compatibility_level = 3.6
queue_directory = {folder}/queue
data_directory = {folder}/data
command_directory = /usr/sbin
daemon_directory = {POSTFIX_SBIN}
maillog_file = {folder}/postfix.log
maillog_file_prefixes = {folder}
import_environment = MAIL_CONFIG MAIL_DEBUG MAIL_LOGTAG TZ XAUTHORITY DISPLAY LANG=C
myhostname = mx.{DOMAIN}
mydomain = {DOMAIN}
myorigin = $mydomain
mydestination =
mynetworks =
mynetworks_style = host
inet_interfaces = 127.0.0.1
inet_protocols = ipv4
disable_dns_lookups = yes
smtp_host_lookup = native
smtpd_peername_lookup = no
alias_maps =
alias_database =
local_recipient_maps =
relay_domains =
virtual_mailbox_domains = {DOMAIN} {MBOX_DOMAIN}
virtual_mailbox_maps = inline:{{{recipients}}}
virtual_mailbox_base = {folder}/mbox
virtual_uid_maps = static:{uid}
virtual_gid_maps = static:{gid}
virtual_minimum_uid = 1
virtual_mailbox_lock = fcntl dotlock
transport_maps = inline:{{ {MBOX_DOMAIN}=virtual: }}
virtual_transport = lmtp:unix:{folder}/dovecot-lmtp
# What arrives has to be what was sent: no header added, rewritten or dropped.
local_header_rewrite_clients =
message_drop_headers =
# What each port takes is said with the port; cleanup and delivery allow the most.
message_size_limit = {LARGE_SIZE_LIMIT}
mailbox_size_limit = 0
virtual_mailbox_limit = 0
smtpd_recipient_restrictions = reject_unauth_destination
smtpd_relay_restrictions = reject_unauth_destination
smtpd_reject_unlisted_recipient = yes
smtpd_sasl_type = dovecot
smtpd_sasl_path = {folder}/dovecot-auth
smtpd_sasl_security_options = noanonymous
smtpd_sasl_auth_enable = no
smtpd_tls_auth_only = no
smtpd_tls_security_level = none
smtpd_tls_cert_file = {folder}/tls/server.pem
smtpd_tls_key_file = {folder}/tls/server.key
smtpd_tls_mandatory_protocols = >=TLSv1.2
smtpd_tls_protocols = >=TLSv1.2
smtpd_tls_received_header = yes
smtpd_client_connection_count_limit = 0
smtpd_client_connection_rate_limit = 0
smtpd_error_sleep_time = 0
in_flow_delay = 0
queue_run_delay = 5s
minimal_backoff_time = 5s
"""

MASTER = """
cleanup    unix n - n -     0 cleanup
qmgr       unix n - n 300   1 qmgr
tlsmgr     unix - - n 1000? 1 tlsmgr
rewrite    unix - - n -     - trivial-rewrite
bounce     unix - - n -     0 bounce
defer      unix - - n -     0 bounce
trace      unix - - n -     0 bounce
proxymap   unix - - n -     - proxymap
error      unix - - n -     - error
retry      unix - - n -     - error
discard    unix - - n -     - discard
lmtp       unix - - n -     - lmtp
virtual    unix - n n -     - virtual
anvil      unix - - n -     1 anvil
scache     unix - - n -     1 scache
postlog    unix-dgram n - n - 1 postlogd
"""


def recipients():
    """A table in the configuration: a Maildir is Dovecot's matter, a file is named below the folder of all files."""
    rows = [f"{{{account['address']}=ok}}" for account in maildir_accounts("").values()]
    rows += [f"{{{account['address']}={name}/INBOX}}" for name, account in mbox_accounts("").items()]
    return ", ".join(rows)


def configure(folder, ports, policy_port, owner):
    """Writes the configuration; owner: user and group id of who gets the mails in files."""
    config = f"{folder}/postfix"
    os.mkdir(config)
    for name in ("queue", "data"):
        os.mkdir(f"{folder}/{name}")
    with open(f"{folder}/postfix.log", "wb"):
        pass  # made by Postfix, it would be for Postfix alone to read
    shutil.chown(f"{folder}/data", "postfix")
    with open(f"{config}/main.cf", "w", encoding="ascii") as main:
        main.write(MAIN.format(folder=folder, DOMAIN=DOMAIN, MBOX_DOMAIN=MBOX_DOMAIN, POSTFIX_SBIN=SBIN,
                               recipients=recipients(), uid=owner[0], gid=owner[1],
                               LARGE_SIZE_LIMIT=LARGE_SIZE_LIMIT))
    services = []
    placeholders = {"folder": folder, "pop_policy": f"check_policy_service,inet:127.0.0.1:{policy_port}"}
    for name, own in SMTP_PORTS.items():
        overrides = {"message_size_limit": str(SIZE_LIMIT), **own}
        options = " ".join(f"-o {key}={value.format(**placeholders)}" for key, value in overrides.items())
        services.append(f"127.0.0.1:{ports[name]} inet n - n - - smtpd -o syslog_name=postfix/{name} {options}")
    with open(f"{config}/master.cf", "w", encoding="ascii") as master:
        master.write("\n".join(services) + MASTER)


def start(folder, processes):
    config = f"{folder}/postfix"
    checked = subprocess.run([PROGRAMS["postfix"], "-c", config, "check"], stdin=subprocess.DEVNULL,
                             capture_output=True, text=True, timeout=60, check=False)
    if checked.returncode != 0:
        raise ServersError(f"postfix check: {(checked.stderr or checked.stdout).strip()!r}")
    processes.spawn("master", PROGRAMS["master"], "-c", config, "-d")
