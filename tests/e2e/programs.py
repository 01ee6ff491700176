"""velorin-mail and velorin-maild as the end-to-end tests run them.

The mail service runs inside velorin-mail, or as velorin-maild when VELORIN_E2E_SERVICE says daemon.
"""

import json
import os
import signal
import subprocess
import tempfile
import unittest

import mailbox
import runner

DEADLINE = 60  # seconds that one run of a program may take


class Daemon:
    """A running velorin-maild with a channel directory of its own."""

    def __init__(self, folder, authority):
        self.channel = os.path.join(folder, "channel")
        self.log = os.path.join(folder, "maild.log")
        config = os.path.join(folder, "maild.conf")
        with open(config, "w", encoding="utf-8") as out:
            out.write(f"channel_directory = {self.channel}\nca_file = {authority}\n")
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen([os.environ["VELORIN_MAILD"], "--config", config],
                                            stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT)
        runner.wait_until(lambda: "ready" in self.text() or self.process.poll() is not None)
        assert self.process.poll() is None, f"velorin-maild ended: {self.text()}"

    def text(self):
        with open(self.log, encoding="utf-8", errors="replace") as log:
            return log.read()

    def stop(self):
        """Exit status of a daemon that was asked to stop."""
        self.process.send_signal(signal.SIGTERM)
        try:
            return self.process.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            return "velorin-maild did not stop"


class MailCase(unittest.TestCase):
    """A test with a folder of its own that runs velorin-mail."""

    maxDiff = 2000

    def setUp(self):
        temporary = tempfile.TemporaryDirectory(prefix="velorin-e2e-case-")
        self.addCleanup(temporary.cleanup)
        self.folder = temporary.name
        self.state = mailbox.load_state()
        self.passwords = [account["password"] for account in mailbox.accounts(self.state)]
        self.daemon = None

    def stop_daemon(self):
        if self.daemon is None:
            return
        daemon, self.daemon = self.daemon, None
        self.assertEqual(daemon.stop(), 0, daemon.text())
        for password in self.passwords:
            self.assertNotIn(password, daemon.text())

    def file(self, name, octets):
        path = os.path.join(self.folder, name)
        with open(path, "wb") as out:
            out.write(octets)
        return path

    def service_options(self, environment, authority):
        """The options that choose the mail service; what a program finds it by goes into its environment."""
        if os.environ["VELORIN_E2E_SERVICE"] != "daemon":
            return ["--ca-file", authority]
        if self.daemon is None:
            self.daemon = Daemon(tempfile.mkdtemp(dir=self.folder), authority)
            self.addCleanup(self.stop_daemon)
        environment["VELORIN_CHANNEL_DIR"] = self.daemon.channel
        return ["--daemon"]

    def run_mail(self, command, *options, authority=None, stdin=b""):
        """Runs velorin-mail; its answer is the exit status and the JSON object."""
        environment = {"PATH": os.environ["PATH"], "HOME": self.folder, "TZ": "UTC"}
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS"):
            if name in os.environ:
                environment[name] = os.environ[name]
        line = [os.environ["VELORIN_MAIL"], command, "--json", *options]
        line += self.service_options(environment, authority or self.state["ca"])
        done = subprocess.run(line, input=stdin, capture_output=True, env=environment, cwd=self.folder,
                              timeout=DEADLINE, check=False)
        self.assertTrue(done.stdout, f"exit {done.returncode}, no result, stderr: {done.stderr.decode()}")
        for password in self.passwords:
            self.assertNotIn(password.encode(), done.stdout + done.stderr)
        result = json.loads(done.stdout)
        self.assertEqual(result["exit_code"], done.returncode)
        if done.returncode == 0:
            self.assertEqual(done.stderr, b"")
        else:
            self.assertEqual(done.stderr.count(b"\n"), 1, done.stderr)
        return done.returncode, result
