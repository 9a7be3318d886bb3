"""Certificates of the planted servers, made when they are needed."""

import datetime
import pathlib
import ssl
import subprocess

HOST = "dc1.zorvan.test"
CONFIGURATION = """
[ca]
default_ca = planted
[planted]
new_certs_dir = {folder}
database = {folder}/index
rand_serial = yes
default_md = sha256
policy = any
unique_subject = no
[any]
commonName = supplied
"""


def run(*command):
    subprocess.run(command, check=True, capture_output=True)


def day(offset):
    return (datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(days=offset)).strftime("%Y%m%d%H%M%SZ")


class Authority:
    """An authority that the cases may trust, and the servers that it vouches for."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir()
        self.file = self.folder / "ca.pem"
        self.make_self_signed("ca", "Planted authority", "basicConstraints=critical,CA:TRUE")
        self.make_self_signed("self", HOST, "subjectAltName=DNS:" + HOST)
        (self.folder / "index").touch()
        (self.folder / "configuration").write_text(CONFIGURATION.format(folder=self.folder))
        for name, host, first, last in [
            ("good", HOST, -2, 2),
            ("other", "other.zorvan.test", -2, 2),
            ("expired", HOST, -9, -2),
            ("early", HOST, 2, 9),
        ]:
            self.issue(name, host, day(first), day(last))

    def make_self_signed(self, name, subject, extension):
        run(
            "openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=" + subject,
            "-addext", extension, "-keyout", self.folder / f"{name}.key", "-out", self.folder / f"{name}.pem",
        )  # fmt: skip

    # All have one key: making keys is what costs time.
    def issue(self, name, host, first, last):
        extensions, request = self.folder / f"{name}.extensions", self.folder / f"{name}.request"
        extensions.write_text(f"subjectAltName=DNS:{host}\n")
        key = self.folder / "self.key"
        run("openssl", "req", "-new", "-key", key, "-subj", "/CN=" + host, "-out", request)
        run(
            "openssl", "ca", "-batch", "-notext", "-config", self.folder / "configuration", "-startdate", first,
            "-enddate", last, "-cert", self.file, "-keyfile", self.folder / "ca.key", "-extfile", extensions,
            "-in", request, "-out", self.folder / f"{name}.pem",
        )  # fmt: skip

    def server(self, name):
        """The TLS of a server with the certificate of this name."""
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.folder / f"{name}.pem", self.folder / "self.key")
        return context
