#!/usr/bin/env python3
"""Postfix and Dovecot on loopback ports, from a generated configuration, for the end-to-end tests.

    mail_servers.py start --state FILE [--lifetime SECONDS] [--with-caller]
    mail_servers.py stop --state FILE
    mail_servers.py run [--lifetime SECONDS]        in the foreground, prints the state, until a signal

Everything lives in one temporary folder: queue, mailboxes, certificates, logs. Postfix takes mail on several ports,
one per manner of connecting, and hands it to Dovecot by LMTP; Dovecot also answers Postfix's log-in questions and
serves POP3. The state file is JSON: ports, users, certificate authorities, folder of each user's mails.

Both servers have to start as root. Anyone else is put through sudo, without a question asked. The servers stop when
told to, when the life time is over, or, with --with-caller, when the calling process is gone; the folder goes too.
"""

import argparse
import contextlib
import ctypes
import json
import os
import pwd
import random
import re
import shutil
import signal
import socket
import socketserver
import subprocess
import sys
import tempfile
import threading
import time

DOMAIN = "velorin.test"
SIZE_LIMIT = 4 * 1024 * 1024  # octets a mail may have on every port but "small"
SMALL_SIZE_LIMIT = 40000
USERS = {
    "alice": "wonder land/1",  # a blank, so that quoting is tried
    "bob": "b0b+Builder=",
    "carol": "p4ss",
    "dave": "Ünï-9",  # not ASCII: the octets are UTF-8
    "erin": "only/reads",  # whose POP3 log-ins count for no test of POP before SMTP
}
START_DEADLINE = 60  # seconds until all ports answer
STOP_DEADLINE = 15
POP_GRANT_WAIT = 2.5  # seconds that Dovecot's log line about a log-in may come late

POSTFIX_SBIN = "/usr/lib/postfix/sbin"
PROGRAMS = {
    "postfix": "/usr/sbin/postfix",
    "master": POSTFIX_SBIN + "/master",
    "dovecot": "/usr/sbin/dovecot",
    "lmtp": "/usr/lib/dovecot/lmtp",
    "pop3": "/usr/lib/dovecot/pop3",
    "openssl": "/usr/bin/openssl",
}

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
POP3_PORTS = ("pop3", "pop3s")


class ServersError(Exception):
    """A reason, in one line, why the servers cannot run."""


def require_programs():
    for name, path in PROGRAMS.items():
        if not os.access(path, os.X_OK):
            raise ServersError(f"{name} is not installed ({path}); scripts/setup.sh test installs it")
    for user in ("postfix", "dovecot", "dovenull"):
        try:
            pwd.getpwnam(user)
        except KeyError:
            raise ServersError(f"user {user} is missing; scripts/setup.sh test creates it with its package") from None


def free_ports(count):
    """Ports that nobody listens on now, below those that the system hands out to connections in the meantime."""
    with open("/proc/sys/net/ipv4/ip_local_port_range", encoding="ascii") as limits:
        first_handed_out = int(limits.read().split()[0])
    candidates = list(range(min(10000, first_handed_out - 1000), first_handed_out))
    random.shuffle(candidates)
    ports = []
    for port in candidates:
        with contextlib.suppress(OSError), socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
            probe.bind(("127.0.0.1", port))
            ports.append(port)
            if len(ports) == count:
                return ports
    raise ServersError(f"no {count} free ports below {first_handed_out}")


LIBC = ctypes.CDLL(None)
PR_SET_CHILD_SUBREAPER = 36


def reap_orphans():
    """Takes in the servers' workers, which became children of this process; 'init' of a container may not do it."""
    deadline = time.monotonic() + STOP_DEADLINE
    with contextlib.suppress(ChildProcessError):
        while time.monotonic() < deadline:
            if os.waitpid(-1, os.WNOHANG)[0] == 0:
                time.sleep(0.02)


def start_time_of(pid):
    """Start time of a process in clock ticks, which tells it from a later one with the same number; None: no such."""
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as stat:
            fields = stat.read().rpartition(")")[2].split()
    except OSError:
        return None
    return None if fields[0] == "Z" else int(fields[19])


class Certificates:
    """Two authorities (the tests trust one of them) and the servers' certificates."""

    def __init__(self, folder):
        self.folder = folder
        os.mkdir(folder)
        for authority in ("ca", "other_ca"):
            self._openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                          "-keyout", f"{authority}.key", "-out", f"{authority}.pem", "-days", "2",
                          "-subj", f"/CN=Test authority {authority}")
        self._issue("server", "DNS:localhost,IP:127.0.0.1")
        self._issue("other_name", "DNS:mail.example.org")
        self._issue("expired", "DNS:localhost,IP:127.0.0.1", "20200101000000Z", "20200201000000Z")

    def _openssl(self, *arguments):
        done = subprocess.run([PROGRAMS["openssl"], *arguments], cwd=self.folder, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=60, check=False)
        if done.returncode != 0:
            raise ServersError(f"openssl {arguments[0]} failed: {done.stderr.strip().splitlines()[-1:]}")

    def _issue(self, name, alternative_names, start=None, end=None):
        self._openssl("req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                      "-keyout", f"{name}.key", "-out", f"{name}.csr", "-subj", f"/CN={name}")
        # The "ca" command, because it alone takes a beginning and an end that lie in the past.
        with open(f"{self.folder}/{name}.cnf", "w", encoding="ascii") as config:
            config.write("[ca]\ndefault_ca=d\n[d]\nnew_certs_dir=.\ndatabase=index.txt\nrand_serial=yes\n"
                         "default_md=sha256\npolicy=p\nx509_extensions=x\ndefault_days=2\n[p]\ncommonName=supplied\n"
                         f"[x]\nbasicConstraints=CA:FALSE\nsubjectAltName={alternative_names}\n")
        with open(f"{self.folder}/index.txt", "w", encoding="ascii"):
            pass
        dates = ("-startdate", start, "-enddate", end) if start else ()
        self._openssl("ca", "-batch", "-notext", "-config", f"{name}.cnf", "-cert", "ca.pem", "-keyfile", "ca.key",
                      "-in", f"{name}.csr", "-out", f"{name}.pem", *dates)


class PopPolicy(socketserver.ThreadingTCPServer):
    """Postfix's question on the port "pop_before": a POP3 log-in by the sender lets one SMTP connection in."""

    allow_reuse_address = True
    daemon_threads = True

    def __init__(self, dovecot_log):
        super().__init__(("127.0.0.1", 0), PopPolicyConnection)
        self.port = self.server_address[1]
        self._log = dovecot_log
        self._granted = {}  # sender: connections let in
        self._guard = threading.Lock()

    def _logins(self, account):
        with open(self._log, encoding="utf-8", errors="replace") as log:
            return sum(1 for line in log if f"pop3-login: Info: Login: user=<{account}>" in line)

    def may_send(self, sender, connection):
        account, _, domain = sender.partition("@")
        if account not in USERS or domain != DOMAIN:
            return False
        deadline = time.monotonic() + POP_GRANT_WAIT
        while True:
            with self._guard:
                granted = self._granted.setdefault(account, set())
                if connection in granted:
                    return True
                if self._logins(account) > len(granted):
                    granted.add(connection)
                    return True
            if time.monotonic() > deadline:
                return False
            time.sleep(0.05)


class PopPolicyConnection(socketserver.StreamRequestHandler):
    """Postfix keeps the connection and asks once per recipient: lines name=value, an empty line ends the question."""

    def handle(self):
        question = {}
        for raw in self.rfile:
            line = raw.decode("utf-8", "replace").rstrip("\n")
            if line:
                name, _, value = line.partition("=")
                question[name] = value
                continue
            connection = (question.get("client_address"), question.get("client_port"))
            allowed = self.server.may_send(question.get("sender", ""), connection)
            answer = "permit" if allowed else "550 5.7.1 Log in by POP3 first"
            self.wfile.write(f"action={answer}\n\n".encode("ascii"))
            question = {}


class Warden:
    """A process that ends the servers and removes their folder when the one that started them is killed."""

    def __init__(self, folder):
        reader, self._writer = os.pipe()
        self._pid = os.fork()
        if self._pid != 0:
            os.close(reader)
            return
        # Nothing else stays open: somebody may wait for the end of what this process has inherited.
        os.closerange(3, reader)
        os.closerange(reader + 1, os.sysconf("SC_OPEN_MAX"))
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            signal.signal(number, signal.SIG_IGN)
        with os.fdopen(reader, encoding="ascii") as pipe:
            words = pipe.read().split()  # until the other end is closed, by whatever cause
        if "dismissed" not in words:
            for group in words:
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(int(group), signal.SIGTERM)
            shutil.rmtree(folder, ignore_errors=True)
        os._exit(0)

    def watch(self, group):
        os.write(self._writer, f"{group}\n".encode("ascii"))

    def dismiss(self):
        os.write(self._writer, b"dismissed\n")
        os.close(self._writer)
        os.waitpid(self._pid, 0)


class MailServers:
    """The two servers of one folder. start() returns when all ports answer; stop() leaves nothing behind."""

    def __init__(self, mail_uid=None, mail_gid=None):
        self.folder = None
        self.state = None
        self._uid = mail_uid or 64321  # no account needed; root must not own mail
        self._gid = mail_gid or self._uid
        self._processes = []
        self._policy = None
        self._warden = None

    def __enter__(self):
        try:
            self.start()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()

    def start(self):
        if os.geteuid() != 0:
            raise ServersError("Postfix and Dovecot have to be started as root")
        require_programs()
        LIBC.prctl(PR_SET_CHILD_SUBREAPER, 1)
        os.umask(0o022)
        # Not $TMPDIR: the paths of the sockets in it may have 107 octets.
        self.folder = tempfile.mkdtemp(prefix="velorin-e2e-", dir="/tmp")
        os.chmod(self.folder, 0o755)  # Postfix's own user passes through it
        self._warden = Warden(self.folder)
        Certificates(f"{self.folder}/tls")

        names = list(SMTP_PORTS) + list(POP3_PORTS)
        ports = dict(zip(names, free_ports(len(names))))
        self._policy = PopPolicy(f"{self.folder}/dovecot.log")
        threading.Thread(target=self._policy.serve_forever, daemon=True).start()
        self._configure_dovecot(ports)
        self._configure_postfix(ports)
        self.state = {
            "folder": self.folder,
            "host": "localhost",
            "domain": DOMAIN,
            "ports": ports,
            "ca": f"{self.folder}/tls/ca.pem",
            "other_ca": f"{self.folder}/tls/other_ca.pem",
            "size_limit": SIZE_LIMIT,
            "small_size_limit": SMALL_SIZE_LIMIT,
            "users": {
                name: {
                    "address": f"{name}@{DOMAIN}",
                    "password": password,
                    "maildir": f"{self.folder}/mail/{name}/Maildir",
                }
                for name, password in USERS.items()
            },
            "logs": {"postfix": f"{self.folder}/postfix.log", "dovecot": f"{self.folder}/dovecot.log"},
        }

        self._spawn("dovecot", PROGRAMS["dovecot"], "-F", "-c", f"{self.folder}/dovecot.conf")
        config = f"{self.folder}/postfix"
        checked = subprocess.run([PROGRAMS["postfix"], "-c", config, "check"], stdin=subprocess.DEVNULL,
                                 capture_output=True, text=True, timeout=60, check=False)
        if checked.returncode != 0:
            raise ServersError(f"postfix check: {(checked.stderr or checked.stdout).strip()!r}")
        self._spawn("master", PROGRAMS["master"], "-c", config, "-d")
        self._await_ports(ports)

    def stop(self):
        for process in reversed(self._processes):
            self._end(process)
        self._processes = []
        if self._warden:
            self._warden.dismiss()
            self._warden = None
            reap_orphans()
        if self._policy:
            self._policy.shutdown()
            self._policy.server_close()
            self._policy = None
        if self.folder:
            shutil.rmtree(self.folder, ignore_errors=True)
            self.folder = None

    def alive(self):
        return all(process.poll() is None for process in self._processes)

    def _spawn(self, name, *command):
        with open(f"{self.folder}/{name}.out", "wb") as output:
            # A process group of its own: a server that has to be killed is killed with its workers.
            self._processes.append(subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, cwd="/",
                start_new_session=True, env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C"}))
        self._warden.watch(self._processes[-1].pid)

    @staticmethod
    def _end(process):
        if process.poll() is None:
            process.terminate()
            with contextlib.suppress(subprocess.TimeoutExpired):
                process.wait(STOP_DEADLINE)
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        process.wait()

    def _await_ports(self, ports):
        deadline = time.monotonic() + START_DEADLINE
        for name, port in ports.items():
            while True:
                with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port), 1):
                    break
                if not self.alive():
                    raise ServersError(f"a server ended while starting: {self._last_words()}")
                if time.monotonic() > deadline:
                    raise ServersError(f"port {name} ({port}) does not answer: {self._last_words()}")
                time.sleep(0.05)

    def _last_words(self):
        lines = []
        for name in ("dovecot.out", "dovecot.log", "master.out", "postfix.log"):
            with contextlib.suppress(OSError), open(f"{self.folder}/{name}", encoding="utf-8",
                                                    errors="replace") as log:
                lines += [line.strip() for line in log if re.search("fatal|panic|error", line, re.I)]
        return " | ".join(lines[-3:]) or "no reason in the logs, maybe a port is taken"

    def _configure_dovecot(self, ports):
        folder = self.folder
        os.mkdir(f"{folder}/mail")
        for name in USERS:
            os.mkdir(f"{folder}/mail/{name}")
            os.chown(f"{folder}/mail/{name}", self._uid, self._gid)
        with open(f"{folder}/users", "w", encoding="utf-8") as users:
            for name, password in USERS.items():
                users.write(f"{name}:{{PLAIN}}{password}\n")
        shutil.chown(f"{folder}/users", "root", "dovecot")
        os.chmod(f"{folder}/users", 0o640)
        with open(f"{folder}/dovecot.conf", "w", encoding="ascii") as config:
            config.write(f"""
base_dir = {folder}/dovecot
state_dir = {folder}/dovecot-state
log_path = {folder}/dovecot.log
protocols = lmtp pop3
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
auth_mechanisms = plain login cram-md5 apop
auth_username_format = %Ln
auth_failure_delay = 0
postmaster_address = postmaster@{DOMAIN}
hostname = imap.{DOMAIN}
login_greeting = Ready.
passdb {{
  driver = passwd-file
  args = scheme=plain username_format=%n {folder}/users
}}
userdb {{
  driver = static
  args = uid={self._uid} gid={self._gid} home={folder}/mail/%n
}}
service auth {{
  unix_listener {folder}/dovecot-auth {{
    mode = 0666
  }}
}}
# A wrong password in one test must not make the next log-in wait.
service anvil {{
  unix_listener anvil-auth-penalty {{
    mode = 0
  }}
}}
service lmtp {{
  unix_listener {folder}/dovecot-lmtp {{
    mode = 0666
  }}
}}
service pop3-login {{
  chroot =
  inet_listener pop3 {{
    port = {ports["pop3"]}
  }}
  inet_listener pop3s {{
    port = {ports["pop3s"]}
    ssl = yes
  }}
}}
""")

    def _configure_postfix(self, ports):
        folder = self.folder
        config = f"{folder}/postfix"
        os.mkdir(config)
        for name in ("queue", "data"):
            os.mkdir(f"{folder}/{name}")
        with open(f"{folder}/postfix.log", "wb"):
            pass  # made by Postfix, it would be for Postfix alone to read
        shutil.chown(f"{folder}/data", "postfix")
        recipients = " ".join(f"{{{name}@{DOMAIN}=ok}}," for name in USERS).rstrip(",")
        with open(f"{config}/main.cf", "w", encoding="ascii") as main:
            main.write(f"""
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
virtual_mailbox_domains = {DOMAIN}
virtual_mailbox_maps = inline:{{{recipients}}}
virtual_transport = lmtp:unix:{folder}/dovecot-lmtp
# What arrives has to be what was sent: no header added, rewritten or dropped.
local_header_rewrite_clients =
message_drop_headers =
message_size_limit = {SIZE_LIMIT}
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
""")
        services = []
        placeholders = {"folder": folder, "pop_policy": f"check_policy_service,inet:127.0.0.1:{self._policy.port}"}
        for name, overrides in SMTP_PORTS.items():
            options = " ".join(f"-o {key}={value.format(**placeholders)}" for key, value in overrides.items())
            services.append(f"127.0.0.1:{ports[name]} inet n - n - - smtpd -o syslog_name=postfix/{name} {options}")
        with open(f"{config}/master.cf", "w", encoding="ascii") as master:
            master.write("\n".join(services) + """
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
anvil      unix - - n -     1 anvil
scache     unix - - n -     1 scache
postlog    unix-dgram n - n - 1 postlogd
""")


def mail_owner():
    """Who the mails belong to: the one who runs the tests, when that is not root, so that the tests can read them."""
    uid = int(os.environ.get("SUDO_UID", "0"))
    return (uid, int(os.environ.get("SUDO_GID", "0")) or uid) if uid else (None, None)


def write_state(path, state):
    with open(path + ".new", "w", encoding="utf-8") as out:
        json.dump(state, out, indent=1)
    os.chmod(path + ".new", 0o644)
    os.replace(path + ".new", path)


def supervise(servers, lifetime, keep_alive_of):
    """Until a signal, the end of the life time, of a server or of the process the servers are there for."""
    stop = threading.Event()
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        signal.signal(number, lambda *_: stop.set())
    born = keep_alive_of and start_time_of(keep_alive_of)
    deadline = time.monotonic() + lifetime
    while not stop.wait(0.5):
        if time.monotonic() > deadline:
            return "life time over"
        if not servers.alive():
            return "a server ended by itself"
        if keep_alive_of and start_time_of(keep_alive_of) != born:
            return f"process {keep_alive_of} has gone"
    return "signal"


def command_run(arguments):
    def interrupted(*_):
        raise KeyboardInterrupt

    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, interrupted)
    with MailServers(*mail_owner()) as servers:
        json.dump(servers.state, sys.stdout, indent=1)
        print(flush=True)
        print(f"stopped: {supervise(servers, arguments.lifetime, arguments.keep_alive_of)}")
    return 0


def command_start(arguments):
    """Leaves a supervisor behind, which owns the servers; returns when the servers answer or could not start."""
    stop_recorded(arguments.state)
    reader, writer = os.pipe()
    if os.fork() != 0:
        os.close(writer)
        with os.fdopen(reader, encoding="utf-8") as pipe:
            word = pipe.read()  # until the supervisor closes its end
        if word != "ready":
            raise ServersError(word or "the supervisor ended while starting")
        return 0
    os.close(reader)
    os.setsid()
    if os.fork() != 0:
        os._exit(0)
    # Whoever waits for the caller's output must not wait for the supervisor.
    null = os.open(os.devnull, os.O_RDWR)
    for number in (0, 1, 2):
        os.dup2(null, number)

    def interrupted(*_):
        raise ServersError("stopped while starting")

    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        signal.signal(number, interrupted)
    try:
        with MailServers(*mail_owner()) as servers:
            servers.state["supervisor"] = os.getpid()
            servers.state["supervisor_start"] = start_time_of(os.getpid())
            write_state(arguments.state, servers.state)
            os.write(writer, b"ready")
            os.close(writer)
            writer = None
            supervise(servers, arguments.lifetime, arguments.keep_alive_of)
    except BaseException as failure:  # pylint: disable=broad-except  # the caller has to hear of it
        if writer is not None:
            os.write(writer, str(failure).encode() or repr(failure).encode())
        os._exit(1)
    os._exit(0)


def stop_recorded(path):
    """Stops the servers that the state file speaks of, if they still run, and removes the file."""
    try:
        with open(path, encoding="utf-8") as file:
            state = json.load(file)
    except FileNotFoundError:
        return
    pid, born = state["supervisor"], state["supervisor_start"]
    if start_time_of(pid) == born:
        os.kill(pid, signal.SIGTERM)
        deadline = time.monotonic() + 2 * STOP_DEADLINE + 10
        while start_time_of(pid) == born:
            if time.monotonic() > deadline:
                raise ServersError(f"supervisor {pid} does not stop")
            time.sleep(0.05)
    with contextlib.suppress(FileNotFoundError):
        os.unlink(path)


def command_stop(arguments):
    stop_recorded(arguments.state)
    return 0


def as_root():
    """The same command once more through sudo, when this is not root. Says so when it cannot."""
    if os.geteuid() == 0:
        return
    if "SUDO_UID" in os.environ or not shutil.which("sudo"):
        raise ServersError("Postfix and Dovecot have to be started as root (no sudo here)")
    command = ["sudo", "-n", sys.executable, os.path.abspath(__file__), *sys.argv[1:]]
    if subprocess.run(["sudo", "-n", "true"], stdin=subprocess.DEVNULL, capture_output=True, check=False).returncode:
        raise ServersError("Postfix and Dovecot have to be started as root, and sudo does not let this user")
    sys.exit(subprocess.run(command, stdin=subprocess.DEVNULL, check=False).returncode)


def main():
    parser = argparse.ArgumentParser(description="Postfix and Dovecot on loopback ports for the end-to-end tests")
    commands = parser.add_subparsers(dest="command", required=True)
    for name, function in (("start", command_start), ("stop", command_stop), ("run", command_run)):
        command = commands.add_parser(name)
        command.set_defaults(function=function)
        if name != "run":
            command.add_argument("--state", required=True, type=os.path.abspath)
        if name != "stop":
            command.add_argument("--lifetime", type=float, default=900)
            command.add_argument("--keep-alive-of", type=int, default=0, help=argparse.SUPPRESS)
        if name == "start":
            command.add_argument("--with-caller", action="store_true")
    arguments = parser.parse_args()
    if getattr(arguments, "with_caller", False) and not arguments.keep_alive_of:
        arguments.keep_alive_of = os.getppid()
        sys.argv.append(f"--keep-alive-of={arguments.keep_alive_of}")  # through sudo the parent would be another
    try:
        as_root()
        return arguments.function(arguments)
    except (ServersError, OSError, subprocess.SubprocessError) as failure:
        print(f"mail_servers: {failure}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 130


if __name__ == "__main__":
    sys.exit(main())
