"""What a set of test servers is run with: ports, processes, and a warden that leaves nothing behind."""

import contextlib
import ctypes
import os
import random
import shutil
import signal
import socket
import subprocess
import time

OPENSSL = "/usr/bin/openssl"
STOP_DEADLINE = 15


class ServersError(Exception):
    """A reason, in one line, why the servers cannot run."""


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


def adopt_orphans():
    """Workers whose server has ended become children of this process; 'init' of a container may not reap them."""
    LIBC.prctl(PR_SET_CHILD_SUBREAPER, 1)


def reap_orphans():
    """Takes in the adopted workers, which have been told to end."""
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


def openssl(*arguments, cwd, stdin=""):
    """Runs openssl; its standard output."""
    done = subprocess.run([OPENSSL, *arguments], cwd=cwd, input=stdin, capture_output=True, text=True, timeout=60,
                          check=False)
    if done.returncode != 0:
        raise ServersError(f"openssl {arguments[0]} failed: {done.stderr.strip().splitlines()[-1:]}")
    return done.stdout


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


class Processes:
    """The servers' main processes, each in a group of its own with its workers; their output goes to the folder."""

    def __init__(self, folder):
        self._folder = folder
        self._running = []
        self._warden = Warden(folder)

    def spawn(self, name, *command):
        with open(f"{self._folder}/{name}.out", "wb") as output:
            # A process group of its own: a server that has to be killed is killed with its workers.
            self._running.append(subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, cwd="/",
                start_new_session=True, env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C"}))
        self._warden.watch(self._running[-1].pid)

    def alive(self):
        return all(process.poll() is None for process in self._running)

    def stop(self):
        # All are told first, so that the time which one of them takes is not added to that of the next.
        for process in self._running:
            if process.poll() is None:
                process.terminate()
        deadline = time.monotonic() + STOP_DEADLINE
        for process in reversed(self._running):
            with contextlib.suppress(subprocess.TimeoutExpired):
                process.wait(max(0, deadline - time.monotonic()))
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()
        self._running = []
        self._warden.dismiss()
        reap_orphans()
