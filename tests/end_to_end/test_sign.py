"""callhome-sign beside openssl: each believes what the other has signed."""
import os
import shutil
import stat
import subprocess
import unittest

import harness

EXAMPLES = harness.TREE / "examples/signatures"


class Sign(harness.EndToEnd):
    def setUp(self):
        super().setUp()
        self.keys = self.folder / "keys"
        self.keys.mkdir(mode=0o700)
        self.file = self.folder / "link-flapping.xml"
        shutil.copy(EXAMPLES / "link-flapping.xml", self.file)

    def run_program(self, *words):
        return subprocess.run([str(word) for word in words], cwd=self.folder, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=harness.LIMIT)

    def sign(self, *words, status=0):
        done = self.run_program(harness.PROGRAMS / "callhome-sign", *words)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout if status == 0 else done.stderr

    def openssl(self, *words):
        done = self.run_program("openssl", *words)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def trust(self, name):
        shutil.copy(self.folder / name, self.keys / os.path.basename(name))
        os.chmod(self.keys / os.path.basename(name), 0o644)

    def make_key(self, name="mine"):
        self.sign("make-key", name)
        self.trust(f"{name}.pem")

    def verify(self, status=0):
        return self.sign("verify", "--keys", self.keys, self.file, status=status)

    def make_authority(self):
        self.openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days",
                     "2", "-subj", "/CN=root", "-keyout", "root.key", "-out", "root.pem")
        self.trust("root.pem")

    def make_signer(self, days="2"):
        self.openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=signer", "-keyout", "signer.key",
                     "-out", "signer.csr")
        self.openssl("x509", "-req", "-in", "signer.csr", "-CA", "root.pem", "-CAkey", "root.key",
                     "-CAcreateserial", "-days", days, "-out", "signer.pem")

    def test_a_key_pair_signs_and_verifies(self):
        self.make_key()
        self.assertEqual(stat.S_IMODE((self.folder / "mine.key").stat().st_mode), 0o600)
        self.assertEqual(self.sign("sign", "--key", "mine.key", self.file), f"{self.file}.sig\n")
        self.assertEqual((self.folder / "link-flapping.xml.sig").stat().st_size, 64)
        self.assertEqual(self.verify(), f"{self.file}: the signature counts\n")

    def test_a_key_that_is_there_is_not_overwritten(self):
        self.sign("make-key", "mine")
        secret = (self.folder / "mine.key").read_bytes()
        self.assertIn("mine.key cannot be written: File exists", self.sign("make-key", "mine", status=1))
        self.assertEqual((self.folder / "mine.key").read_bytes(), secret)

    def test_a_changed_file_and_another_key_are_refused(self):
        self.make_key()
        self.assertIn("is not signed", self.verify(status=1))
        self.sign("sign", "--key", "mine.key", self.file)
        content = self.file.read_text()
        self.file.write_text(content.replace("show version", "show history"))
        self.assertIn("no key that is trusted has signed this content", self.verify(status=1))
        self.file.write_text(content)
        self.verify()
        (self.keys / "mine.pem").unlink()
        self.assertIn("no Ed25519 key", self.verify(status=1))
        self.make_key("other")
        self.assertIn("no key that is trusted", self.verify(status=1))

    def test_openssl_verifies_what_was_signed(self):
        self.make_key()
        self.sign("sign", "--key", "mine.key", self.file)
        self.openssl("pkeyutl", "-verify", "-pubin", "-inkey", "mine.pem", "-rawin", "-in", self.file,
                     "-sigfile", f"{self.file}.sig")
        self.make_authority()
        self.make_signer()
        self.assertEqual(
            self.sign("sign", "--key", "signer.key", "--certificate", "signer.pem", self.file),
            f"{self.file}.p7s\n")
        self.openssl("cms", "-verify", "-binary", "-inform", "DER", "-in", f"{self.file}.p7s", "-content",
                     self.file, "-CAfile", "root.pem", "-out", "/dev/null")

    def test_what_openssl_signed_counts(self):
        self.openssl("genpkey", "-algorithm", "ed25519", "-out", "its.key")
        self.openssl("pkey", "-in", "its.key", "-pubout", "-out", "its.pem")
        self.trust("its.pem")
        self.openssl("pkeyutl", "-sign", "-inkey", "its.key", "-rawin", "-in", self.file, "-out",
                     f"{self.file}.sig")
        self.verify()
        os.unlink(f"{self.file}.sig")
        self.make_authority()
        self.make_signer()
        self.openssl("cms", "-sign", "-binary", "-outform", "DER", "-in", self.file, "-signer", "signer.pem",
                     "-inkey", "signer.key", "-out", f"{self.file}.p7s")
        self.verify()

    def test_an_expired_certificate_is_refused(self):
        self.make_authority()
        self.make_signer(days="-1")
        self.sign("sign", "--key", "signer.key", "--certificate", "signer.pem", self.file)
        self.assertIn("certificate has expired", self.verify(status=1))

    def test_a_certificate_of_an_unknown_authority_is_refused(self):
        self.make_authority()
        self.make_signer()
        self.make_authority()  # of the same name, with another key
        self.sign("sign", "--key", "signer.key", "--certificate", "signer.pem", self.file)
        self.assertIn("the signature does not count", self.verify(status=1))

    def test_a_key_that_others_may_write_does_not_count(self):
        self.make_key()
        self.sign("sign", "--key", "mine.key", self.file)
        os.chmod(self.keys / "mine.pem", 0o664)
        self.assertIn("mine.pem: others than its owner may write to it", self.verify(status=1))

    def test_files_are_checked_as_the_service_reads_them(self):
        done = self.sign("check", *sorted(EXAMPLES.glob("*.xml")))
        self.assertIn("1001 link-flapping, revision 1.0\n", done)
        self.assertEqual(len(done.splitlines()), len(list(EXAMPLES.glob("*.xml"))))
        self.file.write_text("<!DOCTYPE a><a/>")
        self.assertIn("it has a document type; none is allowed (code 1019)",
                      self.sign("check", self.file, status=1))

    def test_wrong_words_and_missing_files_are_told(self):
        for words in ([], ["frobnicate"], ["sign", self.file], ["verify", self.file], ["make-key"]):
            self.sign(*words, status=2)
        self.assertIn("nothing.xml cannot be opened: No such file", self.sign("check", "nothing.xml", status=1))
        self.assertIn("no Ed25519 secret key", self.sign("sign", "--key", self.file, self.file, status=1))
        self.assertFalse(os.path.exists(f"{self.file}.sig"))


if __name__ == "__main__":
    unittest.main()
