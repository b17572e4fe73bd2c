"""The daemons that sessions talk to: obxd, and one that does what obxd never does."""

import contextlib
import json
import os
import resource
import select
import shutil
import socket
import subprocess
import tempfile
import threading
import time

from .client import Client
from .programs import OBXD, PATIENCE, SessionFailure, environment, temp_dir, wait_until


# Options of an obxd with a small model, which is quick to come back and to flash.
SMALL_MODEL = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "data", "device_model.json")
QUICK = ("--reboot-ms", "100", "--flash-ms", "300")
SMALL = ("--model", SMALL_MODEL) + QUICK
# Clients may have files written to where tests have theirs.
UPLOADS = ("--upload-dir", tempfile.gettempdir(), "--upload-dir", "/var/tmp")


def remote_obxd(*args, tls=None, **options):
    """obxd on a TCP port of the loopback address too, with TLS when `tls` is (certificate, key)."""
    if tls:
        args += ("--tls-cert", tls[0], "--tls-key", tls[1])
    return Obxd("--listen", "127.0.0.1:0", *args, **options)


def make_image(directory, version, payload=b"firmware" * 1000):
    """Makes a firmware image; returns its path."""
    source = os.path.join(directory, "payload")
    image = os.path.join(directory, "fw-%s.img" % version)
    with open(source, "wb") as file:
        file.write(payload)
    subprocess.run([OBXD, "--make-image", version, source, image], check=True)
    return image


class Obxd:
    """The development daemon on a private socket. `args` are further options; `model` is a model file; `limits` are
    bounds of resources (resource.RLIMIT_...) that it is started with."""

    def __init__(self, *args, model=None, env=None, limits=None):
        self.directory = temp_dir()
        self.socket = os.path.join(self.directory, "obxd.sock")
        self.args = list(args) + (["--model", model] if model else [])
        self.env = env or environment()
        self.limits = limits or {}
        self.process = None
        self.ready_line = ""
        self.start()

    def start(self):
        command = [OBXD, "--socket", self.socket, "--state", os.path.join(self.directory, "state")] + self.args
        with open(os.path.join(self.directory, "obxd.log"), "ab") as log:
            self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=log, stdin=subprocess.DEVNULL,
                                            env=self.env, start_new_session=True,
                                            preexec_fn=self._limit if self.limits else None)
        ready, _, _ = select.select([self.process.stdout], [], [], PATIENCE)
        self.ready_line = self.process.stdout.readline().decode() if ready else ""
        if not self.ready_line:
            self.kill()
            raise SessionFailure("obxd did not start: " + self.errors())

    def _limit(self):
        for which, limit in self.limits.items():
            resource.setrlimit(which, (limit, limit))

    def errors(self):
        with open(os.path.join(self.directory, "obxd.log"), errors="replace") as log:
            return log.read()

    def client(self, login="root"):
        """A raw connection, logged in unless `login` is None."""
        client = Client(self.socket)
        if login:
            answer = client.login(login)
            assert "result" in answer, answer
        return client

    def port(self):
        """The TCP port of a daemon that was started with --listen."""
        return int(self.ready_line.split(", ")[1].split(" ")[0].rsplit(":", 1)[1])

    def url(self, host="127.0.0.1"):
        return "tcp://%s:%d" % (host, self.port())

    def tcp_client(self, tls=None):
        """A raw connection to the TCP port, through a TLS context if one is given; not logged in."""
        connection = socket.create_connection(("127.0.0.1", self.port()), PATIENCE)
        if tls:
            connection = tls.wrap_socket(connection, server_hostname="localhost")
        return Client(connection=connection)

    def back_again(self):
        """A fresh connection after a reboot. The socket is there a moment before it is listened on."""
        def connected():
            try:
                return self.client()
            except (FileNotFoundError, ConnectionRefusedError):
                return None
        return wait_until(connected, "the daemon's return")

    def if_up(self, ask):
        """What `ask` finds with a new connection; None while the device is down or about to be."""
        try:
            with contextlib.closing(self.client()) as client:
                return ask(client)
        except (OSError, SessionFailure):
            return None

    def stop(self):
        """Ends the daemon; it must end cleanly."""
        if self.process is None:
            return
        process, self.process = self.process, None
        process.terminate()
        try:
            status = process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            raise SessionFailure("obxd did not end on SIGTERM")
        finally:
            process.stdout.close()
        assert status == 0, "obxd ended with %s: %s" % (status, self.errors())

    def kill(self):
        """Ends the daemon as a crash would."""
        process, self.process = self.process, None
        process.kill()
        process.wait()
        process.stdout.close()

    def restart(self):
        self.stop()
        self.start()

    def close(self):
        try:
            self.stop()
        finally:
            shutil.rmtree(self.directory, ignore_errors=True)


def after(seconds, answer):
    """`answer` for a ScriptedDaemon, given so late: to one who waits for it, and not to who should have given up by then."""
    def late(request, connection):
        time.sleep(seconds)
        return answer(request, connection)
    return late


class ScriptedDaemon:
    """A daemon that does what a healthy one never does.

    `answer(request, connection)` is called for each message that arrives (a dict) and returns what is sent back: a dict
    (a whole message; a response without "id" gets the request's), bytes (sent as they are), a list of these, None
    (nothing), or ScriptedDaemon.CLOSE (the connection is closed). `result(...)` and `error(...)` build responses. Every
    message that arrived is kept in `received`. Without `answer`, every request gets the result {}.
    """

    CLOSE = object()

    def __init__(self, answer=None):
        self.directory = temp_dir()
        self.socket = os.path.join(self.directory, "obxd.sock")
        self.answer = answer or (lambda request, connection: self.result({}))
        self.received = []
        self.connections = []
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(self.socket)
        self.listener.listen(16)
        threading.Thread(target=self._accept, daemon=True).start()

    @staticmethod
    def result(value):
        return {"jsonrpc": "2.0", "result": value}

    @staticmethod
    def error(code, message=None, data=None):
        error = {"code": code}
        if message is not None:
            error["message"] = message
        if data is not None:
            error["data"] = data
        return {"jsonrpc": "2.0", "error": error}

    def _accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            self.connections.append(connection)
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        decoder = json.JSONDecoder()
        text = ""
        while True:
            try:
                data = connection.recv(65536)
            except OSError:
                return
            if not data:
                return
            text += data.decode("utf-8", "surrogateescape")
            while text.strip():
                text = text.lstrip()
                try:
                    message, end = decoder.raw_decode(text)
                except ValueError:
                    break
                text = text[end:]
                self.received.append(message)
                if not self._reply(message, connection):
                    return

    def _reply(self, message, connection):
        answers = self.answer(message, connection)
        for answer in answers if isinstance(answers, list) else [answers]:
            if answer is None:
                continue
            try:
                if answer is self.CLOSE:
                    connection.shutdown(socket.SHUT_RDWR)
                    return False
                if isinstance(answer, dict):
                    if "method" not in answer:
                        answer = {"id": message.get("id"), **answer}
                    answer = json.dumps(answer).encode() + b"\n"
                connection.sendall(answer)
            except OSError:
                return False
        return True

    def requests(self, method):
        """The params of all requests of a method so far."""
        return [message.get("params") for message in self.received if message.get("method") == method]

    def wait_for_request(self, method, count=1):
        """Waits until a method was asked for `count` times; returns all params of it."""
        return wait_until(lambda: len(self.requests(method)) >= count and self.requests(method), "request " + method)

    def send_event(self, group, params=None, on=None):
        """Sends an event on every open connection, or on one: 0 is the one of requests, 1 the one of events."""
        event = {"jsonrpc": "2.0", "method": "Event", "group": group}
        if params is not None:
            event["params"] = params
        for connection in self.connections if on is None else [self.connections[on]]:
            try:
                connection.sendall(json.dumps(event).encode() + b"\n")
            except OSError:
                pass

    def drop_connections(self):
        for connection in self.connections:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def close(self):
        try:
            self.listener.shutdown(socket.SHUT_RDWR)  # wakes the accepting thread
        except OSError:
            pass
        self.listener.close()
        self.drop_connections()
        for connection in self.connections:
            connection.close()
        shutil.rmtree(self.directory, ignore_errors=True)
