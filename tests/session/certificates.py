"""Certificates of daemons afar, and who trusts them."""

import os
import ssl
import subprocess

import harness

NEW_KEY = ["openssl", "req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"]


class Authority:
    """Signs certificates; `cert` is the file that its friends trust."""

    def __init__(self, directory, name):
        self.directory = directory
        self.cert, self.key = self._files(name)
        subprocess.run(NEW_KEY + ["-x509", "-keyout", self.key, "-out", self.cert, "-days", "2",
                                  "-subj", "/CN=" + name], check=True, capture_output=True)

    def _files(self, name):
        return tuple(os.path.join(self.directory, name + end) for end in (".crt", ".key"))

    def issue(self, name, names="DNS:localhost,IP:127.0.0.1", days=2):
        """A certificate for these names: (certificate file, key file). Negative days: it has expired."""
        cert, key = self._files(name)
        subprocess.run(NEW_KEY + ["-keyout", key, "-out", cert + ".request", "-subj", "/CN=" + name],
                       check=True, capture_output=True)
        with open(cert + ".extensions", "w") as file:
            file.write("subjectAltName=%s\n" % names)
        subprocess.run(["openssl", "x509", "-req", "-in", cert + ".request", "-CA", self.cert, "-CAkey", self.key,
                        "-CAcreateserial", "-days", str(days), "-extfile", cert + ".extensions", "-out", cert],
                       check=True, capture_output=True)
        return cert, key

    def environment(self, **extra):
        """The environment of an obxc that trusts this authority."""
        return harness.environment(OBX_CA_FILE=self.cert, **extra)


def self_signed(directory, name="obxd"):
    """A self-signed certificate for localhost: (certificate file, key file)."""
    cert, key = (os.path.join(directory, name + end) for end in (".crt", ".key"))
    subprocess.run(NEW_KEY + ["-x509", "-keyout", key, "-out", cert, "-days", "2", "-subj", "/CN=localhost",
                              "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1"],
                   check=True, capture_output=True)
    return cert, key


def context_trusting(cert):
    """A TLS context that accepts just this certificate."""
    return ssl.create_default_context(cafile=cert)
