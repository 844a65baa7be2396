"""scripts/install_packages.sh, with stand-ins for dpkg and apt."""
import unittest

from script_tree import ScriptTree

CALLS = 'echo "$(basename "$0") $*" >>calls\n'


class InstallPackagesTest(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree("scripts/install_packages.sh")
        self.addCleanup(self.tree.close)
        self.tree.environment["VNQ_CREATECLUSTER"] = self.tree.path("createcluster.d")
        self.missing("unixodbc-dev")
        self.tree.stand_in("id", "echo 0\n")
        self.tree.stand_in("node", "")
        self.tree.stand_in("dpkg", CALLS + "[[ ! -e half_configured ]]\n")
        self.tree.stand_in("apt-get", CALLS + "cat createcluster.d/* >>no_cluster 2>/dev/null; rm -f half_configured\n")

    def missing(self, *packages):
        self.tree.stand_in("dpkg-query", f'[[ " {" ".join(packages)} " != *" ${{@: -1}} "* ]] && echo installed\n')

    def calls(self, *arguments):
        ended = self.tree.run("scripts/install_packages.sh", *arguments)
        self.assertEqual(ended.returncode, 0, ended.stdout)
        return self.tree.read("calls").splitlines()

    def test_nothing_is_called_when_all_are_there(self):
        self.missing()
        self.assertEqual(self.calls("full"), [])

    def test_only_what_is_missing_is_installed(self):
        calls = self.calls("run")
        self.assertEqual([call.split()[:2] for call in calls],
                         [["dpkg", "--configure"], ["apt-get", "update"], ["apt-get", "install"]])
        self.assertTrue(calls[-1].endswith(" unixodbc-dev"), calls[-1])

    def test_installation_that_was_broken_off_is_finished_first(self):
        self.tree.write("half_configured", "")
        calls = self.calls("run")
        self.assertEqual(calls[0], "dpkg --configure -a")
        self.assertEqual(calls[1], "apt-get install -y -q --fix-broken")
        self.assertTrue(calls[-1].endswith(" unixodbc-dev"), calls[-1])

    def test_postgresql_makes_no_cluster_of_its_own_and_later_ones_may(self):
        self.missing("postgresql")
        self.calls("test")
        self.assertIn("create_main_cluster = false\n", self.tree.read("no_cluster"))
        self.assertEqual(self.tree.read("createcluster.d/vnq.conf"), "")

    def test_unknown_list_is_refused(self):
        self.assertEqual(self.tree.run("scripts/install_packages.sh", "everything").returncode, 2)


if __name__ == "__main__":
    unittest.main()
