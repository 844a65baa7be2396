"""The shipped programs through TLS: which versions are taken, a certificate that is read again, and the client."""
import os
import re
import signal
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../scripts"))
from script_tree import BUILD, ScriptTree, Session, own_address  # noqa: E402

PORT = 16004
GREETING = "LitTdWNjZXNzZnVsQ29ubmVjdGlvbnwj"
# As old as a client may be: what Debian's own client refuses by itself is to be refused by the server.
ANYTHING = "ALL:@SECLEVEL=0"


class Tls(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree()
        self.addCleanup(self.tree.close)
        self.address = own_address()
        self.folder = os.path.join(self.tree.folder, "demo")
        self.tree.environment.update(LC_ALL="C.UTF-8", VNQ_PASSWORD="alice-pw-1")
        made = self.tree.run(f"{BUILD}/bin/vnqctl", "init", "--app-path", "demo", "--demo")
        self.assertEqual(made.returncode, 0, made.stdout)
        self.make_certificate("first")
        with open(os.path.join(self.folder, "platform.ini"), "a", encoding="utf-8") as settings:
            settings.write(f"\n[listener office]\nprotocol=6004\nport={PORT}\ntls=yes\n"
                           f"certificate={self.path('server.pem')}\nkey={self.path('server.key')}\n"
                           f"address={self.address}\n")
        self.server = Session([f"{BUILD}/bin/vnq_main_service", "--app-path", "demo", "--bind", self.address],
                              self.tree.folder, self.tree.environment)
        self.addCleanup(self.server.close)
        self.assertTrue(self.server.wait_for("1 of 1 listeners"), self.server.text)

    def path(self, name):
        return os.path.join(self.tree.folder, name)

    def make_certificate(self, name):
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                        "-days", "2", "-subj", f"/CN={name}", "-addext", f"subjectAltName=IP:{self.address}",
                        "-out", self.path("server.pem"), "-keyout", self.path("server.key")],
                       check=True, stderr=subprocess.DEVNULL)

    def s_client(self, *options):
        """What openssl's client shows of a connection that ends at once."""
        run = subprocess.run(["openssl", "s_client", "-connect", f"{self.address}:{PORT}", *options],
                             input="", stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=30)
        return run.stdout

    def chat(self, *options):
        return subprocess.run([f"{BUILD}/bin/vnqctl", "chat", "--server", self.address, "--user", "alice", "--port",
                               str(PORT), "--state-file", self.path("state"), *options],
                              env=self.tree.environment, input="", stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, timeout=60)

    def test_only_the_two_newest_versions_are_taken(self):
        for version, taken in (("tls1", False), ("tls1_1", False), ("tls1_2", True), ("tls1_3", True)):
            with self.subTest(version):
                shown = self.s_client(f"-{version}", "-cipher", ANYTHING)
                agreed = re.search(r"Cipher is (\S+)", shown)
                self.assertEqual(agreed is not None and agreed[1] != "(NONE)", taken, shown)
                self.assertEqual("alert protocol version" in shown, not taken, shown)

    def test_ciphers_without_encryption_or_certificate_are_refused(self):
        for cipher in ("eNULL", "aNULL"):
            with self.subTest(cipher):
                self.assertIn("alert handshake failure", self.s_client("-tls1_2", "-cipher", f"{cipher}:@SECLEVEL=0"))

    def test_certificate_is_shown_with_its_chain_and_verified(self):
        self.assertIn("Verify return code: 0 (ok)", self.s_client("-CAfile", self.path("server.pem")))

    def test_certificate_is_read_again_on_sighup(self):
        self.assertIn("CN = first", self.s_client())
        self.make_certificate("second")
        self.assertIn("CN = first", self.s_client())
        os.kill(self.server.process.pid, signal.SIGHUP)
        self.assertTrue(self.server.wait_for("listener office: certificate read again"), self.server.text)
        self.assertIn("CN = second", self.s_client())

    def test_client_logs_in_where_it_believes_the_certificate(self):
        believed = self.chat("--tls", "--tls-ca", self.path("server.pem"))
        self.assertIn("logged in as alice", believed.stdout)
        self.assertEqual(believed.returncode, 0, believed.stdout)
        blind = self.chat("--tls", "--tls-insecure")
        self.assertIn("logged in as alice", blind.stdout)

    def test_client_refuses_a_certificate_that_nobody_vouches_for(self):
        refused = self.chat("--tls")
        self.assertEqual(refused.returncode, 1)
        self.assertIn(f"cannot reach {self.address} port {PORT}: no TLS: self-signed certificate", refused.stdout)

    def test_trust_without_tls_is_a_bad_argument(self):
        self.assertEqual(self.chat("--tls-insecure").returncode, 2)


if __name__ == "__main__":
    unittest.main()
