"""scripts/format.sh --check on sources of its own."""
import unittest

from script_tree import ScriptTree


class FormatTest(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree("scripts/format.sh", "scripts/sources.sh", ".clang-format")
        self.addCleanup(self.tree.close)

    def check(self, text):
        self.tree.write("src/a.cpp", text)
        ended = self.tree.run("scripts/format.sh", "--check")
        return ended.returncode, ended.stdout

    def test_formatted_source_passes(self):
        self.assertEqual(self.check("// Says why.\nint a = 1;\n"), (0, ""))

    def test_unformatted_source_is_named(self):
        code, text = self.check("int  a=1;\n")
        self.assertEqual(code, 1)
        self.assertIn("src/a.cpp: not formatted", text)

    def test_comment_line_of_100_columns_passes_and_one_more_is_named(self):
        self.assertEqual(self.check("// " + "x" * 97 + "\n")[0], 0)
        code, text = self.check("int a = 1;\n// " + "x" * 98 + "\n")
        self.assertEqual(code, 1)
        self.assertIn("src/a.cpp:2: comment of 101 columns", text)

    def test_columns_are_letters_not_bytes(self):
        self.assertEqual(self.check("// " + "\u00e9" * 97 + "\n")[0], 0)

    def test_comment_behind_code_counts(self):
        self.assertIn("src/a.cpp:1: comment", self.check("int a = 1;  // " + "x" * 98 + "\n")[1])

    def test_table_where_clang_format_is_off_may_be_wider(self):
        table = "// clang-format off\n// heading " + "x" * 98 + "\n// clang-format on\n"
        self.assertEqual(self.check(table), (0, ""))
        self.assertIn("src/a.cpp:4: comment", self.check(table + "// " + "x" * 98 + "\n")[1])


if __name__ == "__main__":
    unittest.main()
