#!/usr/bin/env python3
"""Postfix, Dovecot and a second POP3 server on loopback ports, from generated configurations, for the end-to-end tests.

    mail_servers.py start --state FILE [--lifetime SECONDS] [--with-caller]
    mail_servers.py stop --state FILE
    mail_servers.py run [--lifetime SECONDS]        in the foreground, prints the state, until a signal

Everything lives in one temporary folder: queue, mailboxes, certificates, logs. Postfix takes mail on several ports,
one per manner of connecting, and hands it to Dovecot by LMTP or appends it to a file that the second server, that of
Mailutils, reads; Dovecot also answers Postfix's log-in questions. The state file is JSON: ports, users, certificate
authorities, folder or file of each user's mails.

The servers have to start as root. Anyone else is put through sudo, without a question asked. They stop when told to,
when the life time is over, or, with --with-caller, when the calling process is gone; the folder goes too.
"""

import argparse
import contextlib
import json
import os
import pwd
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

import accounts
import dovecot
import mailutils
import postfix
from certificates import Certificates
from pop_policy import PopPolicy
from server_parts import (OPENSSL, STOP_DEADLINE, Processes, ServersError, adopt_orphans, free_ports, start_time_of)

START_DEADLINE = 60  # seconds until all ports answer
NEEDS_ROOT = "the mail servers have to be started as root"
ANYBODY = 64321  # whose mails they are, when it is nobody who runs the tests: no account needed, but not root


def require_programs():
    programs = {"openssl": OPENSSL, **postfix.PROGRAMS, **dovecot.PROGRAMS, **mailutils.PROGRAMS}
    for name, path in programs.items():
        if not os.access(path, os.X_OK):
            raise ServersError(f"{name} is not installed ({path}); scripts/setup.sh test installs it")
    for user in (*postfix.USERS_NEEDED, *dovecot.USERS_NEEDED):
        try:
            pwd.getpwnam(user)
        except KeyError:
            raise ServersError(f"user {user} is missing; scripts/setup.sh test creates it with its package") from None


class MailServers:
    """The servers of one folder. start() returns when all ports answer; stop() leaves nothing behind."""

    def __init__(self, mail_uid, mail_gid):
        self.folder = None
        self.state = None
        self._owner = (mail_uid, mail_gid)
        self._processes = None
        self._policy = None

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
            raise ServersError(NEEDS_ROOT)
        require_programs()
        adopt_orphans()
        os.umask(0o022)
        # Not $TMPDIR: the paths of the sockets in it may have 107 octets.
        self.folder = tempfile.mkdtemp(prefix="velorin-e2e-", dir="/tmp")
        os.chmod(self.folder, 0o755)  # Postfix's own user passes through it
        self._processes = Processes(self.folder)
        Certificates(f"{self.folder}/tls")
        names = [*postfix.SMTP_PORTS, *dovecot.POP3_PORTS, *mailutils.TLS_MODES]
        ports = dict(zip(names, free_ports(len(names))))
        self._policy = PopPolicy(f"{self.folder}/dovecot.log")
        threading.Thread(target=self._policy.serve_forever, daemon=True).start()
        dovecot.configure(self.folder, ports, self._owner)
        mailutils.configure(self.folder, ports, self._owner)
        postfix.configure(self.folder, ports, self._policy.port, self._owner)
        self.state = self._describe(ports)
        dovecot.start(self.folder, self._processes)
        mailutils.start(self.folder, self._processes)
        postfix.start(self.folder, self._processes)
        self._await_ports(ports)

    def _describe(self, ports):
        folder = self.folder
        maildirs = accounts.maildir_accounts(folder)
        boxes = accounts.mbox_accounts(folder)
        return {
            "folder": folder,
            "host": "localhost",
            "domain": accounts.DOMAIN,
            "ports": ports,
            "lmtp": f"{folder}/dovecot-lmtp",
            "ca": f"{folder}/tls/ca.pem",
            "other_ca": f"{folder}/tls/other_ca.pem",
            "size_limit": postfix.SIZE_LIMIT,
            "small_size_limit": postfix.SMALL_SIZE_LIMIT,
            "users": {name: maildirs[name] for name in accounts.USERS},
            "readers": [maildirs[name] for name in accounts.readers()],
            "mbox_readers": [boxes[name] for name in accounts.mbox_readers()],
            "mbox_apop_readers": [boxes[name] for name in accounts.mbox_apop_readers()],
            "logs": self._logs(),
        }

    def _logs(self):
        return {"postfix": f"{self.folder}/postfix.log", **dovecot.logs(self.folder), **mailutils.logs(self.folder)}

    def stop(self):
        if self._processes:
            self._processes.stop()
            self._processes = None
        if self._policy:
            self._policy.shutdown()
            self._policy.server_close()
            self._policy = None
        if self.folder:
            shutil.rmtree(self.folder, ignore_errors=True)
            self.folder = None

    def alive(self):
        return self._processes.alive()

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
        outputs = (f"{self.folder}/{name}" for name in os.listdir(self.folder) if name.endswith(".out"))
        for path in sorted({*outputs, *self._logs().values()}):
            with contextlib.suppress(OSError), open(path, encoding="utf-8", errors="replace") as log:
                lines += [line.strip() for line in log if re.search("fatal|panic|error", line, re.I)]
        return " | ".join(lines[-3:]) or "no reason in the logs, maybe a port is taken"


def mail_owner():
    """Who the mails belong to: the one who runs the tests, when that is not root, so that the tests can read them."""
    uid = int(os.environ.get("SUDO_UID", "0")) or ANYBODY
    return uid, int(os.environ.get("SUDO_GID", "0")) or uid


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
        raise ServersError(f"{NEEDS_ROOT} (no sudo here)")
    command = ["sudo", "-n", sys.executable, os.path.abspath(__file__), *sys.argv[1:]]
    if subprocess.run(["sudo", "-n", "true"], stdin=subprocess.DEVNULL, capture_output=True, check=False).returncode:
        raise ServersError(f"{NEEDS_ROOT}, and sudo does not let this user")
    sys.exit(subprocess.run(command, stdin=subprocess.DEVNULL, check=False).returncode)


def main():
    parser = argparse.ArgumentParser(description="Mail servers on loopback ports for the end-to-end tests")
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
