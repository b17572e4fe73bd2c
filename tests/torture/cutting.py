"""A wire that is cut: it passes everything on until a number of bytes of the daemon's has come through, then it breaks."""

import contextlib
import os
import shutil
import socket
import threading

import harness


class CuttingWire:
    """Listens on a local socket, or on a TCP port of the loopback address. `connect` opens the way to the daemon. `limit` is
    the number of bytes of an answer stream that come through on each connection (None: all); `passed` is how many came on
    the last one."""

    def __init__(self, connect, tcp=False):
        self.connect = connect
        self.limit = None
        self.passed = 0
        self.directory = harness.temp_dir()
        if tcp:
            self.listener = socket.create_server(("127.0.0.1", 0))
            self.socket = "tcp://127.0.0.1:%d" % self.listener.getsockname()[1]
        else:
            self.socket = os.path.join(self.directory, "wire.sock")
            self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            self.listener.bind(self.socket)
            self.listener.listen(16)
        threading.Thread(target=self._accept, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.listener.close()
        shutil.rmtree(self.directory, ignore_errors=True)

    def _accept(self):
        with contextlib.suppress(OSError):
            while True:
                client, _ = self.listener.accept()
                behind = self.connect()
                self.passed = 0
                threading.Thread(target=self._requests, args=(client, behind), daemon=True).start()
                threading.Thread(target=self._answers, args=(client, behind, self.limit), daemon=True).start()

    @staticmethod
    def _requests(client, behind):
        with contextlib.suppress(OSError):
            while data := client.recv(65536):
                behind.sendall(data)
        with contextlib.suppress(OSError):
            behind.shutdown(socket.SHUT_RDWR)

    def _answers(self, client, behind, limit):
        passed = 0
        with contextlib.suppress(OSError):
            while (limit is None or passed < limit) and (data := behind.recv(65536)):
                data = data if limit is None else data[:limit - passed]
                client.sendall(data)
                passed += len(data)
                self.passed = passed
        for each in (client, behind):
            with contextlib.suppress(OSError):
                each.shutdown(socket.SHUT_RDWR)
            each.close()
