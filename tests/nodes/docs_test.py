"""Each command is told of by the page on nodes: what crosses, and why that is enough."""
import os
import re
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def read(path):
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        return file.read()


class Docs(unittest.TestCase):
    def test_every_command_is_in_the_table_of_what_crosses(self):
        commands = set(re.findall(r'^  \{"(\.\+\w+)",', read("src/server/command_table.cpp"), re.M))
        page = read("docs/nodes.md")
        table = page[page.index("## What crosses"):page.index("## What is guaranteed")]
        self.assertGreater(len(commands), 55)
        self.assertEqual({command for command in commands if f"`{command}`" not in table}, set())


if __name__ == "__main__":
    unittest.main()
