"""Certificates for the servers of tests, made by openssl: good ones, and such as must not be believed."""
import ssl
import subprocess
import threading

KEY = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes"]


def openssl(*arguments):
    subprocess.run(["openssl", *map(str, arguments)], check=True, capture_output=True)


class Authority:
    """Vouches for servers; `certificate` is what makes it believed."""

    def __init__(self, folder, name="authority"):
        self.folder, self.name = folder, name
        self.made = {}
        self.guard = threading.Lock()
        self.certificate, self.key = folder / f"{name}.pem", folder / f"{name}.key"
        openssl("req", "-x509", *KEY, "-keyout", self.key, "-out", self.certificate,
                "-subj", f"/CN={name}", "-days", "2")

    def files(self, names="IP:127.0.0.1,DNS:localhost", days=2):
        """A certificate for these names, and its key; made once."""
        with self.guard:
            if (names, days) not in self.made:
                self.made[names, days] = self._make(f"{self.name}-{len(self.made)}", names, days)
            return self.made[names, days]

    def _make(self, name, names, days):
        stem = self.folder / name
        key, request, certificate, extension = (stem.with_suffix(end) for end in (".key", ".csr", ".pem", ".ext"))
        extension.write_text(f"subjectAltName={names}\n")
        openssl("req", *KEY, "-keyout", key, "-out", request, "-subj", "/CN=server")
        openssl("x509", "-req", "-in", request, "-CA", self.certificate, "-CAkey", self.key,
                "-CAcreateserial", "-days", days, "-extfile", extension, "-out", certificate)
        return certificate, key

    def context(self, names="IP:127.0.0.1,DNS:localhost", days=2):
        """The TLS context of a server with a certificate for these names."""
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(*self.files(names, days))
        return context
