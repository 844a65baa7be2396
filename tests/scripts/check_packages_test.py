"""scripts/check_packages.py on a real build: the lists hold, and a package that is taken from them is missed."""
import os
import subprocess
import unittest

from script_tree import BUILD, ROOT


class CheckPackagesTest(unittest.TestCase):
    def check(self, *without):
        options = [word for package in without for word in ("--without", package)]
        ended = subprocess.run([os.path.join(ROOT, "scripts/check_packages.py"), *options, BUILD], text=True,
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return ended.returncode, ended.stdout

    def misses(self, package, file, owner=None):
        code, text = self.check(package)
        self.assertEqual(code, 1, text)
        self.assertIn(f"{owner or package}: not in the list", text)
        self.assertIn(file, text)

    def test_everything_comes_from_the_listed_packages(self):
        code, text = self.check()
        self.assertEqual(code, 0, text)

    def test_header_of_a_package_that_is_not_listed_is_named(self):
        self.misses("unixodbc-dev", "/usr/include/sql.h (for CMakeFiles/vnq_platform.dir/src/platform/sql/odbc")
        self.misses("libcli11-dev", "/usr/include/CLI/")

    def test_header_of_a_dependency_is_named_when_the_package_that_brings_it_is_not_listed(self):
        self.misses("libboost-context1.81-dev", "/usr/include/boost/", owner="libboost1.81-dev")

    def test_library_of_a_package_that_is_not_listed_is_named(self):
        self.misses("unixodbc-dev", "libodbc.so (for")

    def test_program_that_a_script_calls_is_named(self):
        self.misses("git", "/usr/bin/git (for scripts/check_layers.sh)")
        self.misses("cmake", "/usr/bin/cmake (for run.sh)")

    def test_program_of_the_build_is_named(self):
        self.misses("ninja-build", "/usr/bin/ninja (for the build)")

    def test_what_tests_start_and_open_by_name_is_named(self):
        self.misses("postgresql", "/bin/initdb (for the tests)", owner="postgresql-15")
        self.misses("tdsodbc", "libtdsodbc.so (for the tests)")


if __name__ == "__main__":
    unittest.main()
