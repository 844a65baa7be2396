"""Plays each command line of vnqctl and of the server that README.md, SECURITY.md and docs/ show whole, one behind the
other as they stand there, on a folder with sample people and a server that runs on it: each must end with 0."""
import glob
import importlib.util
import os
import re
import shutil
import signal
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../scripts"))
from script_tree import BUILD, ROOT, ScriptTree, Session, own_address  # noqa: E402

PASSWORD = "alice-pw-1"
# What a machine of a test has not.
LEFT_OUT = [(r"^vnq_bench", "makes load for minutes"), (r"old\.mdb", "imports an Access file"),
            (r" remote-desktop | computer | usb | info ", "asks a managed computer, whose program is another one")]
# These change a folder that no server works on.
STANDING = re.compile(r"^(vnqctl (init|upgrade|import|restore)|vnq_main_service) ")
# What stands for something of the reader's own, by the line that it is in.
MEANT = [(r"^vnqctl json parse", "FILE", "sample.json"), (r"^vnqctl script eval", "FILE", "sample.script"),
         (r"^vnqctl restore", "DIR", "restored"), (r"^vnqctl user", "USER", "zoe"),
         (r"^vnqctl control", "USER", "5"), (r"^vnqctl probe", "--to NAME", "--to anna"),
         (r"", "NAME", "alice"), (r"", "USER", "alice"), (r"", "AGENT", "alice"), (r"", "OLD", "running"),
         (r"", "NEW", "new"), (r"^vnqctl top", "top", "top --count 1"),
         (r"", "--language-id N", "--language-id 1033"), (r"", "--code-page N", "--code-page 936")]


def pages():
    return ["README.md", "SECURITY.md"] + sorted(os.path.relpath(page, ROOT) for page in
                                                 glob.glob(os.path.join(ROOT, "docs/**/*.md"), recursive=True))


def command_of(line):
    """A line of a block as a shell takes it, or None: without the prompt, the folder of the program and a remark."""
    line = re.sub(r"\s+#.*$", "", line.strip())
    programs = "(?:vnqctl|vnq_main_service|vnq_bench)"
    found = re.match(rf"(?:\$ )?((?:\w+=\S+ )*)(?:build/release/bin/)?({programs} [-a-z].*)$", line)
    return found and found[1].replace("VNQ_PASSWORD=... ", "") + found[2]


def shown(page):
    """The command lines of a page that are whole: in its blocks, and between backquotes with a folder or a server."""
    fenced = False
    with open(os.path.join(ROOT, page), encoding="utf-8") as file:
        for line in file:
            if line.startswith("```"):
                fenced = not fenced
            elif fenced or line.startswith("    "):
                command = command_of(line)
                if command:
                    yield command
            else:
                yield from (quoted for quoted in re.findall(r"`((?:vnqctl|vnq_main_service) [^`]+)`", line)
                            if re.search(r" --(app-path|server) ", quoted))


def alternatives(command):
    """One line for each of "passwd|enable|disable"."""
    choice = re.search(r"\b\w+(\|\w+)+\b", command)
    if choice is None:
        return [command]
    return [command[:choice.start()] + word + command[choice.end():] for word in choice[0].split("|")]


class ManualLines(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree()
        self.addCleanup(self.tree.close)
        self.tree.environment.update(LC_ALL="C.UTF-8", VNQ_PASSWORD=PASSWORD,
                                     PATH=f"{BUILD}/bin:{self.tree.environment['PATH']}")
        self.address, self.other_address = own_address(), own_address()
        for folder, address in (("running", self.address), ("standing", self.other_address)):
            self.run_line(f"vnqctl init --app-path {folder} --demo --bind {address}")
        for user in ("anna", "zoe"):
            self.run_line(f"vnqctl user add --app-path running {user}")
        self.make_samples()
        server = Session(["vnq_main_service", "--app-path", "running"], self.tree.folder, self.tree.environment)
        self.addCleanup(server.close)
        self.assertTrue(server.wait_for("ready on"), server.text)

    def make_samples(self):
        self.tree.write("sample.json", '{"a": [1, 2]}')
        self.tree.write("sample.script", '[{"set": {"name": "a", "value": 1}}, {"get": {"name": "a"}}]')
        self.tree.write("staff.csv", "name;password\nmona;pw\n")
        self.tree.write("FOLDER/.keep", "")
        place = importlib.util.spec_from_file_location("dissector", os.path.join(ROOT, "scripts/check_dissector.py"))
        dissector = importlib.util.module_from_spec(place)
        place.loader.exec_module(dissector)
        dissector.write_capture(self.tree.path("capture.pcap"))

    def run_line(self, line):
        ended = subprocess.run(["bash", "-c", line], cwd=self.tree.folder, env=self.tree.environment, text=True,
                               input="/quit\n" if "vnqctl chat" in line else "", stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, timeout=60)
        self.assertEqual(ended.returncode, 0, f"{line}\n{ended.stdout}")

    def serve(self, line):
        session = Session(["bash", "-c", "exec " + line], self.tree.folder, self.tree.environment)
        self.addCleanup(session.close)
        self.assertTrue(session.wait_for("ready on"), f"{line}\n{session.text}")
        session.signal(signal.SIGTERM)
        self.assertEqual(session.end(), 0, line)

    def played(self, command):
        """The command line with what the reader would put in."""
        line = re.sub(r"[\[\]]|\.\.\.", "", command)
        for where, word, meant in MEANT:
            if re.search(where, line):
                line = re.sub(rf"(?<!\S){word}(?!\S)", meant, line)
        folder, address = ("standing", self.other_address) if STANDING.match(line) else ("running", self.address)
        line = re.sub(r"(?<!\S)(DIR|/var/lib/vnq)(?!\S)", folder, line)
        return re.sub(r"(?<!\S)(ADDRESS|A|127\.0\.0\.\d+)(?!\S)", address, line)

    def test_each_line_that_is_shown_whole_works(self):
        played = 0
        for page in pages():
            for command in shown(page):
                if any(re.search(pattern, command) for pattern, _ in LEFT_OUT):
                    continue
                for line in map(self.played, alternatives(command)):
                    with self.subTest(f"{page}: {command}"):
                        played += 1
                        shutil.rmtree(self.tree.path("restored"), ignore_errors=True)
                        self.serve(line) if line.startswith("vnq_main_service") else self.run_line(line)
        self.assertGreater(played, 55)


if __name__ == "__main__":
    unittest.main()
