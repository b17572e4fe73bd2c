"""What answers on a port and is no healthy router."""

import contextlib
import socket
import ssl
import threading


class Peer:
    """Takes connections on a loopback port, through TLS when `tls` is (certificate, key), and has `serve(connection)` do
    with each what it does, in a thread of its own."""

    def __init__(self, serve, tls=None):
        self.serve = serve
        self.context = None
        if tls:
            self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            self.context.load_cert_chain(*tls)
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.address = "127.0.0.1:%d" % self.listener.getsockname()[1]
        self.connections = []
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        with contextlib.suppress(OSError):
            while True:
                connection = self.listener.accept()[0]
                self.connections.append(connection)
                threading.Thread(target=self._run, args=(connection,), daemon=True).start()

    def _run(self, connection):
        with contextlib.suppress(OSError):
            if self.context:
                connection = self.context.wrap_socket(connection, server_side=True)
                self.connections.append(connection)
            with connection:
                self.serve(connection)

    def close(self):
        with contextlib.suppress(OSError):
            self.listener.shutdown(socket.SHUT_RDWR)
        for closing in [self.listener, *self.connections]:
            closing.close()


class OneWayIn:
    """Passes one connection on to a port of this machine, and no other one after it."""

    def __init__(self, port):
        self.port = port
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=1)
        self.address = "127.0.0.1:%d" % self.listener.getsockname()[1]

    def __enter__(self):
        threading.Thread(target=self._serve, daemon=True).start()
        return self

    def __exit__(self, *unused):
        self.listener.close()

    def _serve(self):
        client = self.listener.accept()[0]
        self.listener.close()
        with client, socket.create_connection(("127.0.0.1", self.port)) as router:
            back = threading.Thread(target=self._pass, args=(router, client), daemon=True)
            back.start()
            self._pass(client, router)
            back.join()

    @staticmethod
    def _pass(here, there):
        with contextlib.suppress(OSError):
            while data := here.recv(65536):
                there.sendall(data)
            there.shutdown(socket.SHUT_WR)


def closed_port():
    """An address where nobody listens."""
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return "127.0.0.1:%d" % listener.getsockname()[1]


def silent(connection):
    """Reads and never answers."""
    while connection.recv(65536):
        pass


def says(*pieces):
    """Answers anything with these bytes."""
    def serve(connection):
        connection.recv(65536)
        for piece in pieces:
            connection.sendall(piece)
    return serve
