"""test.sh and its steps: how they count, and that two runs do not build at once."""
import fcntl
import unittest

from script_tree import ScriptTree, Session


class StepsTest(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree("scripts/steps.sh", "scripts/building.sh")
        self.addCleanup(self.tree.close)

    def test_failed_step_is_counted_and_the_end_of_its_log_shown(self):
        ended = self.tree.run("bash", "-c", 'source scripts/steps.sh; Step "a b" bash -c "echo why; exit 3"; '
                                            'Step c true; echo "$passed passed, $failed failed"')
        self.assertIn("   | why\n", ended.stdout)
        self.assertTrue(ended.stdout.endswith("1 passed, 1 failed\n"), ended.stdout)
        self.assertEqual(self.tree.read("build/logs/a_b.log"), "why\n")

    def test_lock_is_held_until_it_is_let_go(self):
        script = 'source scripts/building.sh; HoldLock build/.lock builds; echo held; read -r; LetLockGo; echo gone; read -r'
        first = Session(["bash", "-c", script], self.tree.folder, self.tree.environment, terminal=True)
        self.addCleanup(first.close)
        self.assertTrue(first.wait_for("held"), first.text)
        second = Session(["bash", "-c", script], self.tree.folder, self.tree.environment, terminal=True)
        self.addCleanup(second.close)
        self.assertTrue(second.wait_for("Another ./run.sh or ./test.sh builds in this folder; waiting"), second.text)
        first.type("\r")
        self.assertTrue(first.wait_for("gone"), first.text)
        second.type("\r")
        self.assertTrue(second.wait_for("gone"), second.text)
        with open(self.tree.path("build/.lock"), "w", encoding="utf-8") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)


if __name__ == "__main__":
    unittest.main()
