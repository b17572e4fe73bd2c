"""What the tests of the daemon itself share."""

import atexit
import os
import socket
import ssl
import subprocess

import harness

DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "data")
MODEL = os.path.join(DATA, "device_model.json")
QUICK = ["--reboot-ms", "100", "--flash-ms", "300"]


def daemon(*args, **options):
    """obxd with the small model of these tests."""
    obxd = harness.Obxd(*QUICK, *args, model=MODEL, **options)
    atexit.register(lambda: obxd.process and obxd.kill())  # a test that failed may have left it
    return obxd


def back_again(obxd):
    """A fresh connection after a reboot. The socket is there a moment before it is listened on."""
    def connected():
        try:
            return obxd.client()
        except (FileNotFoundError, ConnectionRefusedError):
            return None
    return harness.wait_until(connected, "the daemon's return")


def tcp_port(obxd):
    """The port of a daemon that was started with --listen."""
    return int(obxd.ready_line.split(", ")[1].split(" ")[0].rsplit(":", 1)[1])


def tcp_client(obxd, tls=None):
    connection = socket.create_connection(("127.0.0.1", tcp_port(obxd)), harness.PATIENCE)
    if tls:
        connection = tls.wrap_socket(connection, server_hostname="localhost")
    return harness.Client(connection=connection)


def fault(response):
    """Code and detail of an error response."""
    error = response["error"]
    return error["code"], error.get("data", {}).get("Detail", "")


def certificate(directory, name="obxd"):
    """A self-signed certificate for localhost: (certificate file, key file)."""
    cert, key = (os.path.join(directory, name + end) for end in (".crt", ".key"))
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                    "-keyout", key, "-out", cert, "-days", "2", "-subj", "/CN=localhost",
                    "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1"],
                   check=True, capture_output=True)
    return cert, key


def trusting(cert):
    """A TLS context that accepts just this certificate."""
    return ssl.create_default_context(cafile=cert)


def make_image(directory, version, payload=b"firmware" * 1000):
    """Makes a firmware image; returns its path."""
    source = os.path.join(directory, "payload")
    image = os.path.join(directory, "fw-%s.img" % version)
    with open(source, "wb") as file:
        file.write(payload)
    subprocess.run([harness.OBXD, "--make-image", version, source, image], check=True)
    return image
