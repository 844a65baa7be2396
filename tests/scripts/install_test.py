"""cmake --install of a build that made only a part of the programs."""
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
            named = re.findall(r"/usr/local/(\S+)", stream.read())
        self.assertEqual(len(named), 2)
        for path in named:
            self.assertTrue(os.path.exists(self.installed(path)), path)


if __name__ == "__main__":
    unittest.main()
