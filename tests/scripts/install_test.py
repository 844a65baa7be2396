"""cmake --install of a build that made only a part of the programs."""
import glob
import gzip
import os
import re
import shutil
import subprocess
import tempfile
import unittest

from script_tree import BUILD, ROOT


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="vnq_install_")
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        build = os.path.join(cls.folder, "build")
        cls.run_here("cmake", "-S", ROOT, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release")
        os.makedirs(os.path.join(build, "bin"), exist_ok=True)
        for program in ("vnq_main_service", "vnqctl"):
            shutil.copy(os.path.join(BUILD, "bin", program), os.path.join(build, "bin", program))
        cls.prefix = os.path.join(cls.folder, "prefix")
        cls.said = cls.run_here("cmake", "--install", build, "--prefix", cls.prefix)

    @classmethod
    def run_here(cls, *command):
        ended = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if ended.returncode != 0:
            raise AssertionError(ended.stdout)
        return ended.stdout

    def installed(self, *parts):
        return os.path.join(self.prefix, *parts)

    def test_what_was_built_is_installed_and_runs(self):
        for program in ("vnq_main_service", "vnqctl"):
            self.assertIn("0.", self.run_here(self.installed("bin", program), "--version"))

    def test_what_was_not_built_is_named_and_left_out(self):
        self.assertIn("Not built, so not installed: vnq_bench", self.said)
        self.assertFalse(os.path.exists(self.installed("bin", "vnq_bench")))

    def test_links_of_the_installed_documents_lead_somewhere(self):
        links = 0
        for folder, _, files in os.walk(self.installed("share/doc")):
            for file in (name for name in files if name.endswith(".md")):
                with open(os.path.join(folder, file), encoding="utf-8") as stream:
                    targets = re.findall(r"\]\((?!\w+:)([^)#]+)", stream.read())
                for target in targets:
                    links += 1
                    self.assertTrue(os.path.exists(os.path.join(folder, target)), f"{file}: {target}")
        self.assertGreater(links, 5)

    def test_unit_names_programs_and_a_document_that_are_installed(self):
        with open(self.installed("lib/systemd/system/vnq-main-service.service"), encoding="utf-8") as stream:
            named = re.findall(re.escape(self.prefix) + r"/(\S+)", stream.read())
        self.assertEqual(len(named), 2)
        for path in named:
            self.assertTrue(os.path.exists(self.installed(path)), path)

    @unittest.skipUnless(shutil.which("systemd-analyze"), "without systemd nothing rates the units")
    def test_units_let_their_programs_do_hardly_more_than_they_have_to(self):
        units = glob.glob(os.path.join(ROOT, "packaging", "*.service.in"))
        self.assertEqual(len(units), 3)
        for template in units:
            unit = os.path.join(self.folder, os.path.basename(template)[:-len(".in")])
            with open(template, encoding="utf-8") as source, open(unit, "w", encoding="utf-8") as target:
                target.write(re.sub(r"@\w+@", "/usr", source.read()))
            said = self.run_here("systemd-analyze", "security", "--offline=true", "--no-pager", unit)
            exposure = float(re.search(r"Overall exposure level for \S+: ([0-9.]+)", said).group(1))
            self.assertLessEqual(exposure, 2.0, said)

    def test_manual_pages_tell_each_command(self):
        commands = self.commands()
        self.assertIn("status", commands)
        with gzip.open(self.installed("share/man/man1/vnqctl.1.gz"), "rt", encoding="utf-8") as stream:
            page = stream.read()
        for command in commands:
            self.assertRegex(page, rf"\.BR? (.*[\" ])?{command}\b")
        self.assertTrue(os.path.exists(self.installed("share/man/man8/vnq_main_service.8.gz")))

    def test_completion_knows_commands_their_commands_and_options(self):
        self.assertEqual(sorted(self.complete("")), sorted(self.commands()))
        self.assertEqual(self.complete("pres"), ["presence"])
        self.assertEqual(self.complete("user", "pass"), ["passwd"])
        self.assertEqual(self.complete("top", "--int"), ["--interval"])
        self.assertEqual(self.complete("user", "list", "--js"), ["--json"])

    def test_each_library_that_is_looked_for_has_its_licence_told(self):
        with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as stream:
            lists = stream.read()
        with open(os.path.join(ROOT, "docs", "third-party.md"), encoding="utf-8") as stream:
            table = stream.read().lower()
        names = re.findall(r"find_package\((\w+) REQUIRED", lists) + re.findall(r"find_library\(VNQ_(\w+) ", lists)
        known_as = {"PostgreSQL": "libpq", "SQLite3": "sqlite", "Threads": "glibc", "CURL": "libcurl", "ODBC": "unixodbc",
                    "BOOST_CONTEXT": "boost.context", "GTest": "googletest"}
        self.assertGreater(len(names), 8)
        for name in names:
            self.assertIn(known_as.get(name, name).lower(), table)

    def commands(self):
        said = self.run_here(self.installed("bin", "vnqctl"), "--help")
        return re.findall(r"^  ([a-z]+)", said[said.index("Subcommands:"):], re.MULTILINE)

    def complete(self, *words):
        program = self.installed("bin", "vnqctl")
        script = self.installed("share/bash-completion/completions/vnqctl")
        line = " ".join(f"'{word}'" for word in (program,) + words)
        said = self.run_here("bash", "-c", f"source {script}; COMP_WORDS=({line}); COMP_CWORD={len(words)}; _vnqctl; "
                                           "printf '%s\\n' \"${COMPREPLY[@]}\"")
        return said.split()


if __name__ == "__main__":
    unittest.main()
