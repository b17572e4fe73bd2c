"""A file of the controller, served once: the daemon fetches it itself."""

import hashlib
import os
import socket
import threading

from .errors import Misused

PATIENCE = 60.0  # seconds until the daemon must have connected


class ServedFile:
    """A file that the daemon behind a client can fetch from `url` once, until close()."""

    def __init__(self, client, path):
        try:
            self._file = open(path, "rb")
        except OSError as error:
            raise Misused("%s: %s" % (path, error.strerror)) from error
        digest = hashlib.md5(usedforsecurity=False)
        for piece in iter(lambda: self._file.read(1 << 20), b""):
            digest.update(piece)
        self.md5 = digest.hexdigest()
        self.size = self._file.tell()
        self._listener = None
        if client.socket.family == socket.AF_UNIX:
            self.url = "file://" + os.path.realpath(path)
        else:
            self.url = self._listen(client.socket)

    def _listen(self, connection):
        address = connection.getsockname()[0]
        self._listener = socket.create_server((address, 0), family=connection.family, backlog=1)
        self._listener.settimeout(PATIENCE)
        threading.Thread(target=self._serve, daemon=True).start()
        host = "[%s]" % address if ":" in address else address
        return "netcat://%s:%d" % (host, self._listener.getsockname()[1])

    def _serve(self):
        try:
            peer = self._listener.accept()[0]
            with peer:
                peer.settimeout(PATIENCE)
                peer.sendfile(self._file, 0)
        except (OSError, ValueError):
            pass  # the daemon says itself that it has got nothing

    def close(self):
        if self._listener:
            self._listener.close()
        self._file.close()
