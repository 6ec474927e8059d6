"""Signatures from a real web server, over HTTPS with a certificate of an authority of the test's own: what is
sound arrives, and whatever else a server may have is refused with its own reason, nothing stored, the
service as well as before."""
import os
import shutil
import socket
import subprocess
import threading
import unittest

import certificates
import harness

NGINX = shutil.which("nginx", path="/usr/sbin:/usr/bin:/usr/local/sbin")

SIGNATURE = """<?xml version="1.0" encoding="UTF-8"?>
<diagnosticSignature xmlns="urn:callhome:signature:1" id="{id}">
  <name>from-afar</name>
  <revision>{revision}</revision>
  <author>Ada Marlowe</author>
  <description>What this test downloads.</description>
  <event>{event}</event>
  <commands><command>show version</command></commands>
  <message><subject>it happened</subject><text>Look at it.</text></message>
</diagnosticSignature>
"""

INDEX = """<signatureIndex xmlns="urn:callhome:signature-index:1">{entries}</signatureIndex>
"""

CONFIGURATION = """
daemon off;
master_process off;
worker_processes 1;
pid {folder}/nginx.pid;
error_log {folder}/nginx-error.log;
events {{ worker_connections 64; }}
http {{
    access_log {folder}/nginx-access.log;
    client_body_temp_path {folder}/body;
    proxy_temp_path {folder}/proxy;
    fastcgi_temp_path {folder}/fastcgi;
    scgi_temp_path {folder}/scgi;
    uwsgi_temp_path {folder}/uwsgi;
    types {{ application/xml xml; }}
    server {{
        listen 127.0.0.1:{port} ssl;
        ssl_certificate {certificate};
        ssl_certificate_key {key};
        root {folder}/site;
        location = /ds/21.xml {{ return 302 file:///etc/hostname; }}
        location = /ds/22.xml {{ return 301 https://127.0.0.1:{port}/ds/1.xml; }}
        location = /ds/23.xml {{ proxy_pass http://127.0.0.1:{endless_port}/; proxy_buffering off; }}
        location = /ds/24.xml {{ return 503; }}
    }}
}}
"""


def signature(number, revision="1.0", event="<onDemand/>"):
    return SIGNATURE.format(id=number, revision=revision, event=event)


class EndlessServer:
    """Answers every request with a body that never ends. `sent` is how much of it somebody took."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.sent = 0
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()

    def serve(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            with connection:
                try:
                    connection.recv(65536)
                    connection.sendall(b"HTTP/1.0 200 OK\r\nContent-Type: application/xml\r\n\r\n")
                    while True:
                        self.sent += connection.send(b"<a>" * 10000)
                except OSError:
                    pass

    def close(self):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join(harness.LIMIT)


@unittest.skipUnless(NGINX, "nginx is not installed")
class SignatureDownload(harness.EndToEnd):
    def setUp(self):
        super().setUp()
        self.keys = self.folder / "keys"
        self.keys.mkdir(mode=0o700)
        self.site = self.folder / "site/ds"
        self.site.mkdir(parents=True)
        self.authority = certificates.Authority(self.folder)
        for name in ("ours", "stranger"):
            self.run_program(harness.PROGRAMS / "callhome-sign", "make-key", name)
        self.trust("ours.pem")
        self.endless = EndlessServer()
        self.addCleanup(self.endless.close)

    def run_program(self, *words):
        done = subprocess.run([str(word) for word in words], cwd=self.folder, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=harness.LIMIT)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done.stdout

    def trust(self, name):
        shutil.copy(self.folder / name, self.keys / name)
        os.chmod(self.keys / name, 0o644)

    def put(self, number, text, key="ours"):
        file = self.site / f"{number}.xml"
        file.write_text(text)
        if key:
            self.run_program(harness.PROGRAMS / "callhome-sign", "sign", "--key", f"{key}.key", file)
        return file

    def start_web_server(self, certificate_and_key=None, port=None):
        port = port or harness.free_port()
        certificate, key = certificate_and_key or self.authority.files()
        configuration = self.folder / "nginx.conf"
        configuration.write_text(CONFIGURATION.format(folder=self.folder, port=port, certificate=certificate,
                                                      key=key, endless_port=self.endless.port))
        os.chmod(self.folder, 0o755)
        server = subprocess.Popen([NGINX, "-p", self.folder, "-e", self.folder / "nginx-error.log", "-c",
                                   configuration], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL)
        self.addCleanup(server.wait, harness.LIMIT)
        self.addCleanup(server.terminate)
        self.web_server = server
        while True:
            try:
                socket.create_connection(("127.0.0.1", port), harness.LIMIT).close()
                return port
            except ConnectionRefusedError:
                pass
            try:
                server.wait(0.05)
            except subprocess.TimeoutExpired:
                continue
            self.fail("nginx has ended: " + (self.folder / "nginx-error.log").read_text())

    def start_switch(self, port, *options):
        """A service that downloads from this server."""
        service = self.start_service("--signature-keys", self.keys, "--authorities",
                                     self.authority.certificate, *options)
        self.shell(
            service, "configure terminal", "snmp-server contact Ada Marlowe", "callhome",
            "email-contact ada@example.net", "destination-profile ops format XML",
            f"destination-profile ops http https://127.0.0.1:{port}/ds",
            "destination-profile ops transport-method http",
            "no destination-profile ops transport-method email", "enable",
            "diagnostic-signature", "profile ops",
        )
        return service

    def download(self, service, which):
        """What the operator is told; nothing when all went well."""
        return self.shell(service, f"callhome diagnostic-signature download {which}").stderr

    def failures(self, service):
        return self.shell(service, "show diagnostic-signature callhome statistics failure").stdout

    def loaded(self, service):
        """The ids and revisions that the switch has."""
        lines = self.shell(service, "show diagnostic-signature callhome").stdout.splitlines()
        rows = lines[lines.index(next(line for line in lines if line.startswith("--------"))) + 1:]
        return [(row.split()[0], row.split()[2]) for row in rows if row.strip()]

    def expect_refused(self, service, which, told, reason):
        self.assertEqual(self.download(service, which), told + "\n")
        self.assertIn(reason, self.failures(service))
        self.assertEqual(self.loaded(service), [])

    def expect_well(self, service):
        """A sound signature still comes."""
        self.put(1, signature(1))
        self.assertEqual(self.download(service, 1), "")
        self.assertEqual(self.loaded(service), [("1", "1.0")])

    def test_a_signature_comes_and_is_installed(self):
        self.put(7, signature(7))
        service = self.start_switch(self.start_web_server())
        self.assertEqual(self.download(service, 7), "")
        self.assertEqual(self.loaded(service), [("7", "1.0")])
        self.shell(service, "callhome diagnostic-signature install 7")
        self.assertIn("installed", self.shell(service, "show diagnostic-signature callhome").stdout)
        downloads = self.shell(service, "show diagnostic-signature callhome statistics download").stdout
        self.assertRegex(downloads, r"one signature +0 +0 +1 ")
        service.restart()
        self.assertEqual(self.loaded(service), [("7", "1.0")])

    def test_all_are_what_the_index_names_and_are_fetched_once(self):
        self.put(7, signature(7))
        self.put(8, signature(8))
        entry = '<signature id="{}" revision="{}"/>'
        (self.site / "index.xml").write_text(INDEX.format(entries=entry.format(7, "1.0") + entry.format(8, "1.0")))
        service = self.start_switch(self.start_web_server())
        self.assertEqual(self.download(service, "all"), "")
        self.assertEqual(self.loaded(service), [("7", "1.0"), ("8", "1.0")])
        self.put(8, signature(8, revision="2.0"))
        (self.site / "index.xml").write_text(INDEX.format(entries=entry.format(7, "1.0") + entry.format(8, "2.0")))
        self.assertEqual(self.download(service, "all"), "")
        self.assertEqual(self.loaded(service), [("7", "1.0"), ("8", "2.0")])
        log = (self.folder / "nginx-access.log").read_text()
        self.assertEqual(log.count("GET /ds/7.xml "), 1)
        self.assertEqual(log.count("GET /ds/8.xml "), 2)

    def test_of_all_a_bad_one_does_not_keep_the_good_ones_away(self):
        self.put(7, signature(7))
        self.put(8, signature(8), key="stranger")
        entries = '<signature id="8" revision="1.0"/><signature id="7" revision="1.0"/>'
        (self.site / "index.xml").write_text(INDEX.format(entries=entries))
        service = self.start_switch(self.start_web_server())
        self.assertEqual(self.download(service, "all"), "Failed to verify DS sign.\n")
        self.assertEqual(self.loaded(service), [("7", "1.0")])

    def test_what_nobody_trusted_has_signed_is_refused(self):
        self.put(11, signature(11)).write_text(signature(11, revision="1.1"))
        self.put(12, signature(12), key="stranger")
        self.put(13, signature(13), key=None)
        (self.site / "14.xml").write_text(signature(14))
        (self.site / "14.xml.sig").write_bytes(b"\0" * 64)
        service = self.start_switch(self.start_web_server())
        told = "Failed to verify DS sign."
        self.expect_refused(service, 11, told, "no key that is trusted has signed this content")
        self.expect_refused(service, 12, told, "no key that is trusted has signed this content")
        self.expect_refused(service, 13, told, "not signed")
        self.expect_refused(service, 14, told, "no key that is trusted has signed this content")
        self.expect_well(service)

    def test_a_signer_whose_time_is_over_is_refused(self):
        self.trust("authority.pem")
        file = self.put(15, signature(15), key=None)
        certificate, key = self.authority.files(days=-1)
        self.run_program("openssl", "cms", "-sign", "-binary", "-outform", "DER", "-in", file, "-signer",
                         certificate, "-inkey", key, "-out", f"{file}.p7s")
        service = self.start_switch(self.start_web_server())
        self.expect_refused(service, 15, "Failed to verify DS sign.", "expired")
        self.expect_well(service)

    def test_a_server_is_not_followed_elsewhere(self):
        service = self.start_switch(self.start_web_server())
        self.expect_refused(service, 21, "Invalid http response.", "HTTP status 302: the address has moved")
        self.expect_refused(service, 22, "Invalid http response.", "HTTP status 301: the address has moved")
        self.expect_refused(service, 24, "Invalid http response.", "HTTP status 503")
        self.expect_refused(service, 25, "DS does not exist.", "HTTP status 404")
        self.expect_well(service)

    def test_an_endless_body_costs_no_more_than_the_longest_file(self):
        service = self.start_switch(self.start_web_server())
        self.expect_refused(service, 23, "DS over length.", "the file is longer than 1048576 bytes")
        self.expect_well(service)
        with open(f"/proc/{service.process.pid}/status") as status:
            peak = next(line for line in status if line.startswith("VmHWM:"))
        self.assertLess(int(peak.split()[1]), 1024 * 1024, "kB in use")

    def expect_not_asked(self, certificate_and_key, reason):
        """Neither for a signature nor for the index; the same one with a certificate that holds is."""
        self.put(1, signature(1))
        (self.site / "index.xml").write_text(INDEX.format(entries='<signature id="1" revision="1.0"/>'))
        port = self.start_web_server(certificate_and_key)
        service = self.start_switch(port)
        for which, file in ((1, "1.xml"), ("all", "index.xml")):
            self.expect_refused(service, which, "Fail to send out call-home msg.",
                                f"https://127.0.0.1:{port}/ds/{file}: its certificate is not accepted: {reason}\n")
        self.assertEqual((self.folder / "nginx-access.log").read_text(), "")
        service.restart()
        self.assertEqual(self.loaded(service), [])
        self.web_server.terminate()
        self.web_server.wait(harness.LIMIT)
        self.start_web_server(port=port)
        self.expect_well(service)

    def test_a_server_whose_certificate_has_expired_is_not_asked(self):
        self.expect_not_asked(self.authority.files(days=-1), "SSL certificate problem: certificate has expired")

    def test_a_server_that_nobody_vouches_for_is_not_asked(self):
        self.expect_not_asked(certificates.Authority(self.folder, "stranger-authority").files(),
                              "SSL certificate problem: unable to get local issuer certificate")

    def test_a_server_by_another_name_is_not_asked(self):
        self.expect_not_asked(self.authority.files("DNS:elsewhere.example"), "SSL: no alternative "
                              "certificate subject name matches target host name '127.0.0.1'")

    def test_hostile_files_are_refused_although_they_are_signed(self):
        entities = '<!DOCTYPE d [<!ENTITY a "aaaaaaaaaa">' + "".join(
            f'<!ENTITY {chr(98 + i)} "{("&" + chr(97 + i) + ";") * 10}">' for i in range(9)) + "]>"
        body = signature(31).split("?>", 1)[1]
        self.put(31, entities + body.replace("What this", "&j;"))
        self.put(32, '<!DOCTYPE d [<!ENTITY a SYSTEM "file:///etc/passwd">]>' +
                 signature(32).split("?>", 1)[1].replace("What this", "&a;"))
        self.put(33, "<a>" * 300_000)
        self.put(34, signature(34, event="<log>((x{1000}){1000}){1000}</log>"))
        self.put(35, signature(99))
        service = self.start_switch(self.start_web_server())
        unreadable = "Failed to parse DS xml."
        self.expect_refused(service, 31, unreadable, "31 ")
        self.expect_refused(service, 32, unreadable, "32 ")
        self.expect_refused(service, 33, unreadable, "deeper than 64")
        self.expect_refused(service, 34, "Invalid Regular Expression pattern.", "34 ")
        self.expect_refused(service, 35, "Invalid DS ID.", "the file is of signature 99")
        self.assertNotIn("root:", self.failures(service))
        self.expect_well(service)

    def test_a_file_that_is_loaded_is_held_to_the_same(self):
        service = self.start_switch(self.start_web_server())
        good = self.put(7, signature(7))
        self.assertEqual(self.load(service, self.put(12, signature(12), key="stranger")),
                         "Failed to verify DS sign.\n")
        self.assertEqual(self.load(service, self.folder / "missing.xml"), "Call-home failed to open file.\n")
        link = self.site / "link.xml"
        link.symlink_to(good)
        self.assertEqual(self.load(service, link), "Call-home failed to open file.\n")
        self.assertEqual(self.loaded(service), [])
        self.assertEqual(self.load(service, good), "")
        self.assertEqual(self.loaded(service), [("7", "1.0")])

    def load(self, service, file):
        return self.shell(service, f"callhome diagnostic-signature load {file}").stderr


if __name__ == "__main__":
    unittest.main()
