#!/usr/bin/env python3
"""Japanese mails between velorin-mail and programs that share no code with it, through a server on this machine.

velorin-mail writes 500 mails, and Python's "email" and GMime read them as the server has kept them. Python and swaks
write mails. velorin-mail fetches all of them. Every subject, name, file name, text and attachment has to be what it was.
The programs are named by VELORIN_MAIL and VELORIN_MAILBOX.
"""

import collections
import concurrent.futures
import contextlib
import json
import os
import pathlib
import subprocess
import sys
import tempfile

import mails
import readers
import writers

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "e2e"))
import runner  # noqa: E402

COUNT = 500
LIFETIME = 200  # seconds, after which the server stops by itself
USER, PASSWORD = "reader", "made-up-for-this-test"


@contextlib.contextmanager
def mailbox(scratch):
    """A server that keeps what it gets; gives its ports and the folder."""
    folder, ports = scratch / "mailbox", scratch / "ports"
    command = [os.environ["VELORIN_MAILBOX"], "--folder", folder, "--smtp-port", "0", "--pop3-port", "0", "--ports-file",
               ports, "--lifetime", str(LIFETIME), "--parent-pid", str(os.getpid()), "--user", USER, "--password", PASSWORD]
    server = subprocess.Popen(command)
    try:
        if not runner.wait_until(lambda: ports.exists() or server.poll() is not None) or not ports.exists():
            raise SystemExit("the server did not start")
        numbers = dict(line.split("=") for line in ports.read_text().split())
        yield numbers["smtp_port"], numbers["pop3_port"], folder
    finally:
        server.terminate()
        server.wait(LIFETIME)


def run_mail(scratch, *arguments, stdin=""):
    environment = dict(os.environ, VELORIN_TRACE="none", XDG_CONFIG_HOME=str(scratch), XDG_STATE_HOME=str(scratch / "state"))
    environment.pop("VELORIN_CAPTURE", None)
    result = subprocess.run([os.environ["VELORIN_MAIL"], *arguments], input=stdin.encode(), env=environment,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=LIFETIME)
    if result.returncode != 0 or result.stderr:
        raise SystemExit(f"{arguments}: {result.returncode} {result.stderr.decode(errors='replace')}")


def send(scratch, port, mail):
    folder = scratch / "files" / str(mail.number)
    folder.mkdir(parents=True)
    (folder / mail.file_name).write_bytes(mail.marker.encode())
    line = ["send", "--server", "127.0.0.1", "--port", port, "--tls", "none", "--message-id", mail.marker,
            "--from", f"{mails.quoted(mail.from_name)} <{mail.sender}>", "--subject", mail.subject,
            "--attach", str(folder / mail.file_name)]
    for name, address in zip(mail.to_names, mail.recipients()):
        line += ["--to", f"{mails.quoted(name)} <{address}>"]
    if mail.charset:
        line += ["--charset", mail.charset]
    run_mail(scratch, *line, stdin=mail.text)


def fetch_all(scratch, port):
    """What velorin-mail makes of every mail, by Message-Id."""
    password = scratch / "password"
    password.write_text(PASSWORD)
    run_mail(scratch, "fetch", "--server", "127.0.0.1", "--port", port, "--tls", "none", "--user", USER,
             "--password-file", str(password), "--folder", str(scratch / "fetched"))
    found = {}
    for folder in (scratch / "fetched").iterdir():
        found[json.loads((folder / "mail.json").read_text())["headers"]["message_id"]] = readers.of_velorin_mail(folder)
    return found


class Comparison:
    def __init__(self):
        self.counts = collections.Counter()
        self.wrong = []

    def add(self, reader, mail, expected, read):
        self.counts[reader] += 1
        for what, value in expected.items():
            if read.get(what) != value:
                self.wrong.append(f"{reader}, mail {mail}: {what} is {read.get(what)!r}, not {value!r}")


def compare(sent, written, stored, fetched):
    comparison = Comparison()
    for mail in sent:
        octets = stored[mail.marker]
        expected = readers.expected_of(mail)
        for problem in readers.line_problems(octets):
            comparison.wrong.append(f"mail {mail.number}: {problem}")
        comparison.add("Python", mail.number, expected, readers.of_python(octets))
        comparison.add("GMime", mail.number, expected, readers.of_gmime(octets))
        comparison.add("velorin-mail", mail.number, expected, fetched[mail.marker])
    for marker, (writer, expected) in written.items():
        comparison.add(writer + " to velorin-mail", marker, expected, fetched[marker])
    return comparison


def main():
    with tempfile.TemporaryDirectory() as name:
        scratch = pathlib.Path(name)
        with mailbox(scratch) as (smtp_port, pop3_port, folder):
            sent = mails.make_mails(COUNT)
            with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
                list(pool.map(lambda mail: send(scratch, smtp_port, mail), sent))
            written = writers.write_all(int(smtp_port), scratch)
            if not runner.wait_until(lambda: len(list(folder.glob("*.eml"))) == COUNT + len(written)):
                raise SystemExit("not every mail arrived")
            stored = {readers.marker_of(path.read_bytes()): path.read_bytes() for path in folder.glob("*.eml")}
            comparison = compare(sent, written, stored, fetch_all(scratch, pop3_port))
    for line in comparison.wrong[:20]:
        print(line)
    for reader, count in sorted(comparison.counts.items()):
        print(f"{reader}: {count} mails read")
    print(f"{len(comparison.wrong)} differences")
    every = {"Python": COUNT, "GMime": COUNT, "velorin-mail": COUNT, "Python to velorin-mail": writers.PYTHON_MAILS,
             "swaks to velorin-mail": len(writers.SWAKS_MAILS)}
    return 0 if not comparison.wrong and comparison.counts == every else 1


if __name__ == "__main__":
    sys.exit(main())
