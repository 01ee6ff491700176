"""Answers Postfix's question whether a sender has logged in by POP3 before."""

import socketserver
import threading
import time

from accounts import DOMAIN, USERS

POP_GRANT_WAIT = 2.5  # seconds that Dovecot's log line about a log-in may come late


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
