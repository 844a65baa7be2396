"""A tree with the project's scripts and stand-ins for what they call, for tests that run a script from outside."""
import os
import pty
import random
import re
import select
import shutil
import signal
import subprocess
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.path.abspath(os.environ.get("VNQ_BUILD", os.path.join(ROOT, "build/release")))
PATIENCE_S = 60


def own_address():
    """A loopback address that nobody else uses."""
    return "127.%d.%d.%d" % (random.randint(10, 250), random.randint(1, 250), random.randint(2, 250))


class ScriptTree:
    """A copy of the files that are named, in a folder that goes with the object."""

    def __init__(self, *files):
        self.folder = tempfile.mkdtemp(prefix="vnq_scripts_")
        for file in files:
            target = os.path.join(self.folder, file)
            os.makedirs(os.path.dirname(target), exist_ok=True)
            shutil.copy2(os.path.join(ROOT, file), target)
        self.environment = dict(os.environ, PATH=f"{self.folder}/stand_ins:{os.environ['PATH']}", HOME=self.folder)

    def close(self):
        shutil.rmtree(self.folder, ignore_errors=True)

    def path(self, *parts):
        return os.path.join(self.folder, *parts)

    def write(self, file, text, mode=0o644):
        os.makedirs(os.path.dirname(self.path(file)), exist_ok=True)
        with open(self.path(file), "w", encoding="utf-8") as stream:
            stream.write(text)
        os.chmod(self.path(file), mode)

    def stand_in(self, program, script):
        """Puts a bash script in the place of a program that the scripts call by its name."""
        self.write(f"stand_ins/{program}", "#!/bin/bash\n" + script, 0o755)

    def read(self, file):
        try:
            with open(self.path(file), encoding="utf-8") as stream:
                return stream.read()
        except FileNotFoundError:
            return ""

    def run(self, *command):
        return subprocess.run(command, cwd=self.folder, env=self.environment, text=True, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=PATIENCE_S)


class Session:
    """A command in a process group of its own, with what it has written; on a terminal when asked for."""

    def __init__(self, command, folder, environment, terminal=False):
        self.text = ""
        if terminal:
            self.stream, end = pty.openpty()
        else:
            self.stream, end = os.pipe()
        self.process = subprocess.Popen(command, cwd=folder, env=environment, start_new_session=True, stdout=end,
                                        stderr=end, stdin=end if terminal else subprocess.DEVNULL)
        os.close(end)

    def wait_for(self, words):
        """True when the output has the words before it ends or patience does."""
        deadline = time.monotonic() + PATIENCE_S
        while words not in self.text and time.monotonic() < deadline:
            if select.select([self.stream], [], [], 0.2)[0] and not self._read():
                break
        return words in self.text

    def wait_for_end(self, words):
        """True when the output ends with the words, control sequences left out, before it ends or patience does."""
        deadline = time.monotonic() + PATIENCE_S
        while not re.sub(r"\x1b\[\d*[A-Z]|\r", "", self.text).endswith(words) and time.monotonic() < deadline:
            if select.select([self.stream], [], [], 0.2)[0] and not self._read():
                break
        return re.sub(r"\x1b\[\d*[A-Z]|\r", "", self.text).endswith(words)

    def _read(self):
        try:
            piece = os.read(self.stream, 65536)
        except OSError:
            piece = b""
        self.text += piece.decode("utf-8", "replace")
        return piece

    def type(self, text):
        os.write(self.stream, text.encode())

    def signal(self, number):
        """To the whole group, as a terminal does for Ctrl-C."""
        os.killpg(self.process.pid, number)

    def end(self):
        """The exit code, with all output read."""
        try:
            self.process.wait(PATIENCE_S)
        except subprocess.TimeoutExpired:
            self.signal(signal.SIGKILL)
            self.process.wait()
        while select.select([self.stream], [], [], 0)[0] and self._read():
            pass
        return self.process.returncode

    def group_is_gone(self):
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            try:
                os.killpg(self.process.pid, 0)
            except ProcessLookupError:
                return True
            time.sleep(0.05)
        return False

    def close(self):
        try:
            self.signal(signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()
        os.close(self.stream)
