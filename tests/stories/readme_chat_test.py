"""Plays the conversation of README.md with the real programs on two terminals: they must show what it prints."""
import fcntl
import os
import re
import struct
import subprocess
import sys
import termios
import unicodedata
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../scripts"))
from script_tree import BUILD, ROOT, ScriptTree, Session, own_address  # noqa: E402


def screen(written):
    """The lines that a terminal shows after these bytes, as far as the line editor goes: CR, LF, clear, forward."""
    lines, column = [[]], 0
    for control, count, letter in re.findall(r"(\r|\n|\x1b\[K|\x1b\[(\d+)C)|(.)", written, re.S):
        line = lines[-1]
        if control == "\r":
            column = 0
        elif control == "\n":
            lines.append([])
            column = 0
        elif control == "\x1b[K":
            del line[column:]
        elif control:
            column += int(count)
        else:
            cells = [letter] + [""] * (unicodedata.east_asian_width(letter) in "WF")
            line.extend(" " * (column - len(line)))
            line[column:column + len(cells)] = cells
            column += len(cells)
    return ["".join(line).rstrip() for line in lines]


def without_times(lines):
    dates = [re.sub(r"^\* \d{4}-\d\d-\d\d$", "* DATE", line) for line in lines]
    return [re.sub(r"^\d\d:\d\d:\d\d ", "TIME ", line) for line in dates]


class ReadmeChat(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree("README.md")
        self.addCleanup(self.tree.close)
        self.readme = self.tree.read("README.md")
        self.address = own_address()
        self.tree.environment.update(LC_ALL="C.UTF-8", TERM="xterm")
        self.tree.environment.pop("XDG_STATE_HOME", None)
        made = self.tree.run(f"{BUILD}/bin/vnqctl", "init", "--app-path", "demo", "--demo")
        self.assertEqual(made.returncode, 0, made.stdout)
        server = self.session([f"{BUILD}/bin/vnq_main_service", "--app-path", "demo", "--bind", self.address])
        self.assertTrue(server.wait_for("ready"), server.text)

    def session(self, command, **options):
        session = Session(command, self.tree.folder, self.tree.environment, **options)
        self.addCleanup(session.close)
        return session

    def log_in(self, user, *options):
        """By the line that README.md shows for the user."""
        line = re.search(rf"^ +(VNQ_PASSWORD=\S+) build/release/bin/(vnqctl chat) --server 127\.0\.0\.1 (--user {user})$",
                         self.readme, re.M)
        chat = " ".join([line[2], "--server", self.address, line[3], *options])
        client = self.session(["bash", "-c", f"stty columns 100; {line[1]} {BUILD}/bin/{chat}"], terminal=True)
        self.assertTrue(client.wait_for(f"logged in as {user}"), client.text)
        return client

    def typed(self, client, line, shown):
        self.assertIn(f"`{line}`", self.readme)
        client.type(line + "\r")
        self.assertTrue(client.wait_for(shown), client.text)

    def block_after(self, words):
        """The lines of the indented block that follows the words."""
        following = self.readme[self.readme.index(words):].split("\n\n", 2)[1]
        return [line[4:].rstrip() for line in following.splitlines()]

    def test_terminals_show_what_the_readme_prints(self):
        alice = self.log_in("alice")
        ben = self.log_in("ben")
        self.assertTrue(alice.wait_for("2 is online"), alice.text)
        question, answer = "你好 Ben, is the report ready? 😀", "Yes - I send it at four."
        self.typed(alice, "/to 2", "the next texts are for 2")
        self.typed(alice, question, f'delivered to the server: "{question}"')
        self.assertTrue(ben.wait_for(question), ben.text)
        self.typed(ben, "/to 1", "the next texts are for")
        self.typed(ben, answer, f'delivered to the server: "{answer}"')
        self.assertTrue(alice.wait_for(answer), alice.text)
        for client, prompt, words in ((alice, "2> ", "Alice types"), (ben, "alice (1)> ", "Ben types")):
            self.assertTrue(client.wait_for_end(prompt), client.text)
            self.assertEqual(without_times(screen(client.text)), without_times(self.block_after(words)))

    def test_message_to_somebody_who_is_away_is_not_sent_at_the_log_in_but_found_by_catching_up(self):
        self.assertIn("the server does not send it when they\nlog in again.**", self.readme)
        self.assertIn("`vnqctl chat --catch-up`", self.readme)
        alice = self.log_in("alice")
        alice.type("/to 2\rAre you there?\r")
        self.assertTrue(alice.wait_for('delivered to the server: "Are you there?"'), alice.text)
        ben = self.log_in("ben")
        ben.type("/to 1\rHere I am.\r")
        self.assertTrue(ben.wait_for('delivered to the server: "Here I am."'), ben.text)
        self.assertNotIn("Are you there?", ben.text)
        ben.type("/quit\r")
        self.assertEqual(ben.end(), 0, ben.text)
        ben = self.log_in("ben", "--catch-up", "--app-path", "demo")
        self.assertTrue(ben.wait_for("Are you there?"), ben.text)


if __name__ == "__main__":
    unittest.main()
