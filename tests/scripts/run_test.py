"""run.sh: what it refuses, what it says while it builds, and that what it prints works."""
import fcntl
import os
import re
import shutil
import signal
import socket
import subprocess
import time
import unittest
import urllib.error
import urllib.request

from script_tree import BUILD, PATIENCE_S, ROOT, ScriptTree, Session, own_address

# Stands for CMake and ninja: makes a build folder, and "builds" by linking the programs of the build under test.
CMAKE = """
echo "$*" >>cmake_calls
if [[ "$1" == -S ]]; then
  mkdir -p build/release/bin && touch build/release/build.ninja
  exit 0
fi
if [[ -e build/release/bin/vnqctl ]]; then
  echo "[0/1] Re-checking globbed directories..."
  echo "ninja: no work to do."
  exit 0
fi
for step in 1 2 3 4; do
  echo "[$step/4] Building CXX object $step.o"
  [[ $step != 2 || ! -e build_fails ]] || { echo "a.cpp:1: error: wrong"; exit 1; }
  [[ $step != 2 || ! -e build_hangs ]] || sleep 60
done
ln -s %s/bin/vnq_main_service %s/bin/vnqctl build/release/bin/
""" % (BUILD, BUILD)


class RunTest(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree("run.sh", "README.md", "scripts/building.sh", "scripts/taken_ports.sh",
                               "scripts/install_packages.sh")
        self.addCleanup(self.tree.close)
        self.tree.stand_in("cmake", CMAKE)
        self.address = own_address()

    def start(self, terminal=False):
        session = Session(["./run.sh", "--bind", self.address], self.tree.folder, self.tree.environment, terminal)
        self.addCleanup(session.close)
        return session

    def ready(self, session):
        self.assertTrue(session.wait_for("Ctrl-C stops the server."), session.text)

    def stop(self, session):
        session.signal(signal.SIGINT)
        self.assertEqual(session.end(), 0, session.text)

    def test_printed_lines_log_in_and_ctrl_c_ends_with_0(self):
        session = self.start()
        self.ready(session)
        lines = re.findall(r"^  (VNQ_PASSWORD=.*)$", session.text, re.M)
        self.assertEqual(len(lines), 2, session.text)
        for line in lines:
            client = subprocess.run(["bash", "-c", line], cwd=self.tree.folder, env=self.tree.environment,
                                    input="/quit\n", text=True, capture_output=True)
            self.assertIn("logged in as", client.stdout)
        self.stop(session)
        self.assertTrue(session.group_is_gone())

    def test_it_prints_what_the_readme_shows(self):
        session = self.start()
        self.ready(session)
        shown = self.tree.read("README.md").split("each logs one of the demo users in:\n\n")[1].split("\n\nAlice")[0]
        shown = "\n".join(line[4:] for line in shown.splitlines())
        shown = shown.replace("/home/you/vnq", self.tree.folder).replace("127.0.0.1", self.address)
        self.assertIn("\n" + shown + "\n\nCtrl-C stops the server.\n", session.text)
        self.stop(session)

    def with_clients(self):
        """The gateway is the real one, built from Debian's packages; one page stands for the staff's client."""
        for file in ("run_gateway.sh", "build_web.sh"):
            shutil.copy2(os.path.join(ROOT, "scripts", file), self.tree.path("scripts", file))
        shutil.copytree(os.path.join(ROOT, "clients"), self.tree.path("clients"),
                        ignore=shutil.ignore_patterns("node_modules", "dist", ".build"))
        shutil.copytree(os.path.join(ROOT, "examples"), self.tree.path("examples"))
        self.tree.stand_in("npm", """
if [[ "$1" == ci ]]; then [[ ! -e no_registry ]] && mkdir node_modules; exit; fi
mkdir -p web/dist && echo "<h1>staff</h1>" >web/dist/index.html
""")

    def start_web(self):
        session = Session(["./run.sh", "--web", "--bind", self.address], self.tree.folder, self.tree.environment)
        self.addCleanup(session.close)
        return session

    def test_web_prints_three_addresses_that_answer_and_ctrl_c_ends_both(self):
        self.with_clients()
        session = self.start_web()
        self.assertTrue(session.wait_for("a page with the visitors' chat"), session.text)
        addresses = re.findall(r"^  (http://\S+)", session.text, re.M)
        self.assertEqual([address.split(":8080")[1] for address in addresses],
                         ["/?user=alice", "/?user=ben", "/visitor.html"])
        pages = [urllib.request.urlopen(address).read().decode() for address in addresses]
        self.assertEqual(pages[0], "<h1>staff</h1>\n")
        self.assertIn('<script src="/widget.js"', pages[2])
        self.assertIn("VNQVisitorChat", urllib.request.urlopen(addresses[2][:-13] + "/widget.js").read().decode())
        self.stop(session)
        self.assertTrue(session.group_is_gone())

    def gateway_of(self, session):
        """The process that listens, of those that run.sh has started."""
        for process in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{process}/cmdline", encoding="utf-8") as words:
                    if "vnq-gateway.cjs" in words.read() and os.getpgid(int(process)) == session.process.pid:
                        return int(process)
            except (FileNotFoundError, ProcessLookupError):
                pass
        return self.fail("no gateway runs")

    def test_web_starts_a_gateway_that_breaks_off_again_with_a_word(self):
        self.with_clients()
        session = self.start_web()
        self.assertTrue(session.wait_for("a page with the visitors' chat"), session.text)
        address = re.search(r"^  (http://\S+/)\?user=alice", session.text, re.M).group(1)
        first = self.gateway_of(session)
        os.kill(first, signal.SIGKILL)
        self.assertTrue(session.wait_for("It is started again"), session.text)
        self.assertIn("The gateway has ended with code 137; the end of build/logs/gateway.log:", session.text)
        self.assertEqual(self.page_when_up(address), "<h1>staff</h1>\n")
        self.assertNotEqual(self.gateway_of(session), first)
        self.stop(session)
        self.assertTrue(session.group_is_gone())

    def page_when_up(self, address):
        deadline = time.monotonic() + PATIENCE_S
        while True:
            try:
                return urllib.request.urlopen(address).read().decode()
            except urllib.error.URLError:
                if time.monotonic() > deadline:
                    raise
                time.sleep(0.05)

    def test_web_ends_with_the_reason_when_the_gateway_does_not_come_up(self):
        self.with_clients()
        self.tree.write("scripts/run_gateway.sh", "#!/bin/bash\necho 'vnq-gateway: no such thing' >&2; exit 2\n", 0o755)
        session = self.start_web()
        self.assertEqual(session.end(), 1, session.text)
        self.assertIn("The gateway has ended with code 2; the end of build/logs/gateway.log:\n"
                      "vnq-gateway: no such thing\n", session.text)
        self.assertNotIn("In a browser", session.text)
        self.assertTrue(session.group_is_gone())

    def test_web_says_what_to_do_when_npm_reaches_nothing(self):
        self.with_clients()
        self.tree.write("clients/no_registry", "")
        session = self.start_web()
        self.assertEqual(session.end(), 1)
        self.assertIn("The packages of the staff's web client cannot be fetched.", session.text)
        self.assertNotIn("ready", session.text)

    def test_second_start_compiles_nothing_and_does_not_speak_of_building(self):
        first = self.start()
        self.ready(first)
        self.stop(first)
        second = self.start()
        self.ready(second)
        self.stop(second)
        self.assertNotIn("uilding", second.text)
        self.assertNotIn("Taking up", second.text)

    def test_taken_port_is_refused_before_anything_is_built_and_its_holder_is_named(self):
        with socket.create_server((self.address, 6002)):
            session = self.start()
            self.assertEqual(session.end(), 1)
        self.assertRegex(session.text, r"6002  process %d: .*python" % os.getpid())
        self.assertNotIn("ready", session.text)
        self.assertEqual(self.tree.read("cmake_calls"), "")

    def test_port_that_is_taken_during_the_build_is_refused_too(self):
        self.tree.write("stand_ins/vnqctl", "")
        os.mkfifo(self.tree.path("gate"))
        self.tree.stand_in("cmake", CMAKE + "cat gate >/dev/null\n")
        session = self.start()
        self.assertTrue(session.wait_for("100 %"), session.text)
        with socket.create_server((self.address, 6004)):
            with open(self.tree.path("gate"), "w", encoding="utf-8"):
                pass
            self.assertEqual(session.end(), 1)
        self.assertIn("6004  process %d" % os.getpid(), session.text)
        self.assertNotIn("ready", session.text)

    def test_first_build_says_so_and_tells_how_far_it_is(self):
        session = self.start()
        self.ready(session)
        self.stop(session)
        self.assertIn("Building; the first time takes some minutes ...\n", session.text)
        for line in ("Building: 25 %\n", "Building: 50 %\n", "Building: 100 %\n"):
            self.assertIn(line, session.text)
        self.assertIn("[4/4] Building CXX object", self.tree.read("build/logs/run.log"))

    def test_on_a_terminal_progress_stays_in_one_line(self):
        session = self.start(terminal=True)
        self.ready(session)
        self.stop(session)
        self.assertIn("\rBuilding: 25 % (1 of 4)\rBuilding: 50 % (2 of 4)\r", session.text)

    def test_broken_off_build_is_taken_up_with_a_word(self):
        self.tree.write("build/release/build.ninja", "")
        self.tree.write("build/release/bin/vnq_main_service", "")
        session = self.start()
        self.assertTrue(session.wait_for("Taking up the build that was broken off"), session.text)

    def test_ctrl_c_during_the_build_ends_it_and_leaves_nothing_running(self):
        self.tree.write("build_hangs", "")
        session = self.start()
        self.assertTrue(session.wait_for("Building: 50 %"), session.text)
        session.signal(signal.SIGINT)
        self.assertEqual(session.end(), 130, session.text)
        self.assertIn("Stopped. The next ./run.sh goes on from here.", session.text)
        self.assertTrue(session.group_is_gone())

    def test_failed_build_shows_the_end_of_its_log(self):
        self.tree.write("build_fails", "")
        session = self.start()
        self.assertEqual(session.end(), 1)
        self.assertIn("Building failed; the end of build/logs/run.log:", session.text)
        self.assertIn("a.cpp:1: error: wrong", session.text)

    def test_second_run_waits_with_a_word_until_the_first_has_built(self):
        os.makedirs(self.tree.path("build"))
        with open(self.tree.path("build/.lock"), "w", encoding="utf-8") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            session = self.start()
            self.assertTrue(session.wait_for("waiting until it has ended"), session.text)
            self.assertEqual(self.tree.read("cmake_calls"), "")
        self.ready(session)
        self.stop(session)

    def test_running_server_does_not_hold_the_lock(self):
        session = self.start()
        self.ready(session)
        with open(self.tree.path("build/.lock"), "w", encoding="utf-8") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        self.stop(session)


class TakenPortsTest(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree("scripts/taken_ports.sh")
        self.addCleanup(self.tree.close)

    def taken(self, address, port):
        ended = self.tree.run("scripts/taken_ports.sh", address, str(port))
        return ended.returncode, ended.stdout

    def listen(self, address, family=socket.AF_INET):
        listener = socket.socket(family)
        self.addCleanup(listener.close)
        listener.bind((address, 0))
        listener.listen()
        return listener.getsockname()[1]

    def test_listener_on_all_addresses_is_in_the_way_of_each(self):
        code, text = self.taken("127.9.8.7", self.listen("0.0.0.0"))
        self.assertEqual(code, 1)
        self.assertIn("process %d" % os.getpid(), text)

    @unittest.skipUnless(os.path.exists("/proc/net/if_inet6"), "this machine has no IPv6")
    def test_listener_of_ipv6_on_all_addresses_is_in_the_way(self):
        self.assertEqual(self.taken("127.9.8.7", self.listen("::", socket.AF_INET6))[0], 1)

    def test_all_addresses_want_a_port_that_nobody_has_anywhere(self):
        self.assertEqual(self.taken("0.0.0.0", self.listen("127.9.8.7"))[0], 1)

    def test_listener_on_another_address_is_not_in_the_way(self):
        self.assertEqual(self.taken("127.9.8.6", self.listen("127.9.8.7")), (0, ""))

    def test_connection_without_a_listener_is_not_in_the_way(self):
        with socket.create_server(("127.9.8.7", 0)) as server:
            client = socket.create_connection(server.getsockname())
            self.addCleanup(client.close)
            port = client.getsockname()[1]
            self.assertEqual(self.taken(client.getsockname()[0], port), (0, ""))


if __name__ == "__main__":
    unittest.main()
