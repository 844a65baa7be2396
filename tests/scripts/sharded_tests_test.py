"""scripts/sharded_tests.py counts what passed, what failed, and what a process that broke off did not come to."""

import pathlib
import stat
import subprocess
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).parents[2] / "scripts" / "sharded_tests.py"

# Does what a GoogleTest program does with its filter; a test named Dies ends the process.
PROGRAM = """#!/bin/bash
ended=0
IFS=: read -ra names <<<"$GTEST_FILTER"
for name in "${names[@]}"; do
  echo "[ RUN      ] $name"
  case "$name" in
    *Fails*) echo "[  FAILED  ] $name (1 ms)"; ended=1 ;;
    *Skips*) echo "[  SKIPPED ] $name (1 ms)" ;;
    *Dies*) exit 7 ;;
    *) echo "[       OK ] $name (1 ms)" ;;
  esac
done
[[ " ${names[*]} " != *Leaks* ]] || ended=23
exit $ended
"""


class ShardedTests(unittest.TestCase):
    def run_tests(self, *names, arguments=()):
        with tempfile.TemporaryDirectory() as folder:
            program = pathlib.Path(folder) / "program"
            program.write_text(PROGRAM)
            program.chmod(program.stat().st_mode | stat.S_IXUSR)
            lines = [f'add_test("x/{name}" "{program}" "--gtest_filter={name}")' for name in names]
            lines.append('add_test("x/other" "/bin/true")')
            (pathlib.Path(folder) / "CTestTestfile.cmake").write_text("\n".join(lines))
            ended = subprocess.run(["python3", SCRIPT, *arguments, folder], capture_output=True, text=True)
            return ended.returncode, ended.stdout.splitlines()[-1], ended.stdout

    def test_all_are_counted(self):
        self.assertEqual(self.run_tests("A.One", "A.Two")[:2], (0, "3 passed, 0 failed"))

    def test_more_than_one_process_holds(self):
        self.assertEqual(self.run_tests(*(f"A.T{i}" for i in range(95)))[:2], (0, "96 passed, 0 failed"))

    def test_a_failed_test_is_shown(self):
        ended, last, said = self.run_tests("A.One", "A.Fails")
        self.assertEqual((ended, last), (1, "2 passed, 1 failed"))
        self.assertIn("[  FAILED  ] A.Fails", said)

    def test_what_a_dead_process_did_not_come_to_has_failed(self):
        self.assertEqual(self.run_tests("A.One", "A.Dies", "A.Two")[:2], (1, "2 passed, 2 failed"))

    def test_a_process_that_ends_badly_behind_its_tests_has_failed(self):
        self.assertEqual(self.run_tests("A.One", "A.Leaks")[:2], (1, "3 passed, 1 failed"))

    def test_a_skipped_test_is_neither(self):
        self.assertEqual(self.run_tests("A.One", "A.Skips")[:2], (0, "2 passed, 0 failed"))

    def test_the_excluded_are_left_out(self):
        self.assertEqual(self.run_tests("A.One", "B.Fails", arguments=("--exclude", "^x/B"))[:2],
                         (0, "2 passed, 0 failed"))


if __name__ == "__main__":
    unittest.main()
