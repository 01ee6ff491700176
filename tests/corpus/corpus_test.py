#!/usr/bin/env python3
"""The corpus through the whole chain: made, served by POP3 on this machine, read with the library's objects, compared.

    corpus_test.py embedded|daemon    the service inside the reading process, or a velorin-maild of its own

Then the comparison itself is tried: it has to find whatever is changed in what was read.
The programs are named by VELORIN_READ_MAILS, VELORIN_MAILBOX and VELORIN_MAILD.
"""

import contextlib
import json
import os
import pathlib
import subprocess
import sys
import tempfile

import compare
import make_corpus

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "e2e"))
import runner  # noqa: E402

LIFETIME = 200  # seconds, after which what was started stops by itself
USER, PASSWORD = "reader", "made-up-for-this-test"


@contextlib.contextmanager
def running(command, environment=None, **options):
    process = subprocess.Popen(command, env=environment, **options)
    try:
        yield process
    finally:
        process.terminate()
        process.wait(LIFETIME)


@contextlib.contextmanager
def served(folder, scratch):
    """The port of a POP3 server that has the mails of the folder."""
    ports = scratch / "ports"
    command = [os.environ["VELORIN_MAILBOX"], "--mails", folder, "--ports-file", ports, "--lifetime", str(LIFETIME),
               "--parent-pid", str(os.getpid()), "--user", USER, "--password", PASSWORD]
    with running(command) as server:
        if not runner.wait_until(lambda: ports.exists() or server.poll() is not None) or not ports.exists():
            raise SystemExit("the POP3 server did not start")
        yield dict(line.split("=") for line in ports.read_text().split())["pop3_port"]


@contextlib.contextmanager
def daemon(environment, log):
    with open(log, "wb") as output, running([os.environ["VELORIN_MAILD"]], environment, stderr=output) as process:
        ready = runner.wait_until(lambda: b"ready" in log.read_bytes() or process.poll() is not None)
        if not ready or process.poll() is not None:
            raise SystemExit("the mail service did not start: " + log.read_text())
        yield


def read(service, port, dump, scratch):
    environment = dict(os.environ, VELORIN_CHANNEL_DIR=str(scratch / "channel"), VELORIN_TRACE="stderr")
    with contextlib.ExitStack() as stack:
        if service == "daemon":
            stack.enter_context(daemon(environment, scratch / "maild.log"))
        with open(dump, "wb") as output:
            done = subprocess.run([os.environ["VELORIN_READ_MAILS"], service, port], env=environment, stdout=output,
                                  stderr=subprocess.PIPE, input=b"%s %s\n" % (USER.encode(), PASSWORD.encode()),
                                  timeout=LIFETIME)
    if done.returncode != 0 or done.stderr:  # a line in the trace is a failure, too
        said = done.stderr.decode(errors="replace")[-2000:]
        raise SystemExit("reading ended with %d: %s" % (done.returncode, said))


def in_both(change):
    """A change of the parts in both readings, as it were the library's own."""
    return lambda entry: [change(entry[reading]["parts"]) for reading in ("raw", "converted")]


def of_part(**values):
    return lambda entry: entry["raw"]["parts"][0].update(values)


def of_header(reading, **values):
    return lambda entry: entry[reading]["header"].update(values)


# What is done to one mail of what was read.
CHANGES = (
    ("an octet more", "encoding-7bit-30000", in_both(lambda parts: parts[0]["pieces"].append("00"))),
    ("an octet more in one reading", "encoding-7bit-30000",
     lambda entry: entry["raw"]["parts"][0]["pieces"].append("00")),
    ("other octets decoded", "encoding-base64-30000", of_part(decoded="00")),
    ("a piece that is missing", "encoding-binary-30000", in_both(lambda parts: parts[0]["pieces"].pop())),
    ("pieces in another order", "jis-piece-lines", in_both(lambda parts: parts[0]["pieces"].reverse())),
    ("a part that is missing", "nested-03", in_both(lambda parts: parts.pop())),
    ("a depth", "nested-03", in_both(lambda parts: parts[2].update(depth=1))),
    ("a header text", "word-b-utf-8", of_header("converted", subject="61")),
    ("a header text that is absent", "address-name", of_header("raw", cc=None)),
    ("another list of addresses", "address-several", of_header("converted", to="61204062")),
    ("a text only the generator knows", "header-8bit-latin-1", of_header("converted", subject="61")),
    ("a file name", "file-name-plain", of_part(file_name="61")),
    ("a type", "kind-image-tiff", of_part(content_type=0)),
    ("a character set", "charset-utf-8", of_part(char_set=5)),
    ("an encoding", "encoding-quoted-30000", of_part(transfer_encoding=2)),
    ("a disposition", "disposition-inline", of_part(disposition=1)),
    ("a code", "encoding-none-00077", lambda entry: entry["raw"].update(code="answer-cut")),
    ("another value than the list explains", "word-language", of_header("converted", subject="61")),
    ("a listed difference that is gone", "encoding-uuencode", of_part(decoded=b"hello".hex())),
)


def check_changes(folder, dump):
    """Sentences about changes that the comparison does not find."""
    listed = compare.read_list(compare.LIST)
    entries = {entry["name"]: entry for entry in map(json.loads, open(dump, encoding="ascii"))}
    for what, name, change in CHANGES:
        entry = json.loads(json.dumps(entries[name]))
        if list(compare.compare_mail(compare.Mail(folder, name), entry, dict(listed))):
            yield "%s is wrong already" % name
        change(entry)
        left = dict(listed)
        found = list(compare.compare_mail(compare.Mail(folder, name), entry, left))
        if not found and not any(key[0] == name for key in left):
            yield "not found in %s: %s" % (name, what)


def main(service):
    with tempfile.TemporaryDirectory(prefix="velorin-corpus-") as name:
        scratch = pathlib.Path(name)
        folder, dump = scratch / "mails", scratch / "dump"
        folder.mkdir()
        make_corpus.write(folder)
        with served(folder, scratch) as port:
            read(service, port, dump, scratch)
        if compare.main([str(folder), str(dump)]) != 0:
            return 1
        missed = list(check_changes(folder, dump))
        print("\n".join(missed + ["%d changes, %d not found" % (len(CHANGES), len(missed))]))
        return 1 if missed else 0


if __name__ == "__main__":
    if sys.argv[1:] not in (["embedded"], ["daemon"]):
        sys.exit("usage: corpus_test.py embedded|daemon")
    sys.exit(main(sys.argv[1]))
