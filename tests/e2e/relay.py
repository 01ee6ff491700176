"""A connection to a POP3 server in which a test has a hand: without TLS, one connection after the other."""

import contextlib
import socket
import socketserver
import threading


class Relay(socketserver.ThreadingTCPServer):
    """Passes on what comes, in both directions.

    refused   a command that is answered with -ERR here and never reaches the server
    after     octets of the server that the client gets before on_reached is called, once
    """

    allow_reuse_address = True
    daemon_threads = True

    def __init__(self, port, refused=None, after=None, on_reached=None):
        super().__init__(("127.0.0.1", 0), RelayConnection)
        self.port = self.server_address[1]
        self.server_port = port
        self.refused = refused
        self._after = after
        self._on_reached = on_reached
        self._thread = threading.Thread(target=self.serve_forever, daemon=True)
        self._thread.start()

    def passed(self, count):
        if self._on_reached is None:
            return
        self._after -= count
        if self._after <= 0:
            on_reached, self._on_reached = self._on_reached, None
            on_reached()

    def close(self):
        self.shutdown()
        self.server_close()
        self._thread.join()


class RelayConnection(socketserver.StreamRequestHandler):
    def handle(self):
        with socket.create_connection(("127.0.0.1", self.server.server_port), 30) as server:
            server.settimeout(None)
            commands = threading.Thread(target=self._pass_commands_on, args=(server,), daemon=True)
            commands.start()
            with contextlib.suppress(OSError):
                while octets := server.recv(65536):
                    self.request.sendall(octets)
                    self.server.passed(len(octets))
            with contextlib.suppress(OSError):
                self.request.shutdown(socket.SHUT_RDWR)
            commands.join()

    def _pass_commands_on(self, server):
        with contextlib.suppress(OSError):
            for line in self.rfile:
                if line.rstrip().upper() == self.server.refused:
                    self.request.sendall(b"-ERR unknown command\r\n")
                else:
                    server.sendall(line)
        with contextlib.suppress(OSError):
            server.shutdown(socket.SHUT_WR)
