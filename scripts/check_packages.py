#!/usr/bin/env python3
"""Holds what a build has read and what the scripts call against the lists of scripts/install_packages.sh.

    scripts/check_packages.py [--without PACKAGE]... BUILD_FOLDER...

Each header and library of the system that a build folder used, and each program that a script calls, must come from a
listed package, from one that such a package depends on, or from the packages that every Debian has. What the product
itself takes must be in the list "run", all else in the list "test". --without leaves a package out, to see that its
absence would be found. Asks dpkg only: no network, some seconds. Exit code 1 when something is missing.
"""
import argparse
import collections
import glob
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PROGRAM_FOLDERS = ["/usr/bin", "/usr/sbin", "/bin", "/sbin"]
PRODUCT = ("vnq_main_service", "vnqctl")

# What runs before the packages are there, or as part of the product, is "run"; what has a list of its own is not asked.
SCRIPTS_OF = {"run": ["run.sh", "scripts/install_packages.sh", "scripts/building.sh", "scripts/taken_ports.sh"],
              "web": ["scripts/build_web.sh", "scripts/run_gateway.sh"],
              "full": ["scripts/bare_root.sh", "scripts/browser_tests.sh", "scripts/package.sh",
                       "scripts/check_examples.sh"]}

# What tests and tools start or open by a name that no script shows in front of a command.
STARTED_BY_TESTS = ["mdb-json", "mdb-schema", "mdb-count", "node", "python3", "git", "clang-format", "clang-tidy",
                    "setpriv", "esbuild", "tsc"]
OPENED_BY_TESTS = ["/usr/lib/*/odbc/libtdsodbc.so", "/usr/lib/postgresql/*/bin/initdb",
                   "/usr/lib/postgresql/*/bin/postgres"]


def output_of(*command):
    return subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, text=True, check=True).stdout


class Packages:
    """The packages that are installed here, and what each of them brings along."""

    def __init__(self):
        self.depends, self.everywhere = {}, set()
        self.providers = collections.defaultdict(list)
        fields = "${Package}\t${db:Status-Status}\t${Essential}\t${Priority}\t${Depends}, ${Pre-Depends}\t${Provides}\n"
        for line in output_of("dpkg-query", "-W", "-f", fields).splitlines():
            name, status, essential, priority, depends, provides = line.split("\t")
            if status != "installed":
                continue
            self.depends[name] = self.depends.get(name, "") + ", " + depends
            if essential == "yes" or priority == "required" or name == "apt":
                self.everywhere.add(name)
            for virtual in self.names(provides):
                self.providers[virtual].append(name)

    @staticmethod
    def names(field):
        return [re.sub(r"[:( ].*", "", part.strip()) for part in field.split(",") if part.strip()]

    def needed_by(self, name):
        for alternatives in filter(str.strip, self.depends[name].split(",")):
            for choice in self.names(alternatives.replace("|", ",")):
                found = [choice] if choice in self.depends else self.providers.get(choice, [])
                yield from found
                if found:
                    break

    def closure(self, listed):
        """The listed packages and all that apt installs with them, recommendations left out."""
        reached, waiting = set(), [name for name in listed if name in self.depends] + list(self.everywhere)
        while waiting:
            name = waiting.pop()
            if name not in reached:
                reached.add(name)
                waiting.extend(self.needed_by(name))
        return reached


def spellings(path):
    """A file may be registered under its place before /bin and /lib became links, or stand behind a link."""
    seen = []
    for each in (path, os.path.normpath(path), os.path.realpath(path)):
        short = re.sub(r"^/usr(?=/(s?bin|lib[0-9]*)/)", "", each)
        for spelling in (each, short, "/usr" + short):
            if spelling not in seen:
                seen.append(spelling)
    return seen


def owners(paths):
    """path -> the packages that brought it; none where nobody did."""
    asked = {spelling for path in paths for spelling in spellings(path)}
    answer = subprocess.run(["dpkg", "-S", *asked], text=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
    brought_by = {}
    for line in answer.splitlines():
        names, _, file = line.partition(": ")
        if not names.startswith("diversion "):
            brought_by[file] = set(Packages.names(names))
    # A link may be of another package than what it leads to: the first spelling that somebody brought decides.
    return {path: next((brought_by[each] for each in spellings(path) if each in brought_by), set()) for path in paths}


def headers_of(build):
    """(list, header, object that reads it) for each header outside of the tree and of the build."""
    seen, target = set(), ""
    for line in output_of("ninja", "-C", build, "-t", "deps").splitlines():
        if not line.startswith(" "):
            target = line.partition(":")[0]
            kind = "test" if re.search(r"(^|/)(tests|fuzz|bench)/|/headers/", target) else "run"
            continue
        header = line.strip()
        if header.startswith("/") and not header.startswith((ROOT + "/", os.path.abspath(build) + "/")):
            if (kind, header) not in seen:
                seen.add((kind, header))
                yield kind, header, target


def libraries_of(build):
    """(list, library, program) for what the linker was given, and for what each program loads."""
    rules = open(os.path.join(build, "build.ninja"), encoding="utf-8").read()
    for program, rest in re.findall(r"^build bin/(\S+): (.*?)\n\n", rules, re.M | re.S):
        path = os.path.join(build, "bin", program)
        if not os.access(path, os.X_OK):
            continue
        kind = "run" if program in PRODUCT else "test"
        linked = re.findall(r"(?<=\s)(/\S+\.(?:so|a))(?=\s|$)", rest)
        loaded = re.findall(r"(?:=> |^\s+)(/\S+) \(0x", output_of("ldd", path), re.M)
        for library in linked + loaded:
            if not library.startswith((ROOT + "/", os.path.abspath(build) + "/")):
                yield kind, library, program


def builders_of(build):
    """The compiler and the other programs that CMake has chosen."""
    cache = open(os.path.join(build, "CMakeCache.txt"), encoding="utf-8").read()
    for program in re.findall(r"^(?:CMAKE_(?:CXX_COMPILER|MAKE_PROGRAM|AR|LINKER|COMMAND)|PKG_CONFIG_EXECUTABLE)"
                              r":\w+=(/\S+)$", cache, re.M):
        yield "run", program, "the build"


def called_words(script):
    """The words that stand where a command stands."""
    text = open(os.path.join(ROOT, script), encoding="utf-8").read()
    text = re.sub(r"<<'?END'?.*?^END$", "", text, flags=re.M | re.S)
    text = re.sub(r"(^|\s)#[^\n]*", r"\1", text)
    text = re.sub(r"\\\n", " ", text)
    text = re.sub(r"\w+\+?=\([^)]*\)", "", text)
    start = r"(?:^|[|;&(!]|\$\(|\b(?:then|do|else|if|while|until|exec|nice|env|AsRoot|Step \"[^\"]*\")\s)\s*"
    words = re.findall(start + r"(?:[A-Z_]+=\S*\s+)*([a-z][a-z0-9_+.-]*)(?=[\s)]|$)", text, re.M)
    return set(words) - set(output_of("bash", "-c", "compgen -b").split())


def programs():
    """(list, program file, script that calls it)"""
    scripts = [file[len(ROOT) + 1:] for file in glob.glob(ROOT + "/*.sh") + glob.glob(ROOT + "/scripts/*.sh")]
    for script in sorted(scripts):
        if script in SCRIPTS_OF["full"] + SCRIPTS_OF["web"]:
            continue
        kind = "run" if script in SCRIPTS_OF["run"] else "test"
        for word in sorted(called_words(script)):
            yield from ((kind, file, script) for file in program_file(word))
    for word in STARTED_BY_TESTS:
        yield from (("test", file, "the tests") for file in program_file(word) or [word])
    for pattern in OPENED_BY_TESTS:
        yield from (("test", file, "the tests") for file in glob.glob(pattern) or [pattern])


def program_file(word):
    for folder in PROGRAM_FOLDERS:
        if os.access(os.path.join(folder, word), os.X_OK):
            return [os.path.join(folder, word)]
    return []


def examples(paths, most=5):
    """A few of the files, and of those in one folder the first only while there are others."""
    rank = collections.Counter()
    ranked = []
    for path in sorted(paths):
        folder = os.path.dirname(path.partition(" ")[0])
        ranked.append((rank[folder], path))
        rank[folder] += 1
    return [path for _, path in sorted(ranked)][:most]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--without", metavar="PACKAGE", action="append", default=[])
    parser.add_argument("build", metavar="BUILD_FOLDER", nargs="+")
    arguments = parser.parse_args()

    packages = Packages()
    listed = {kind: set(output_of("scripts/install_packages.sh", "--list", kind).split()) - set(arguments.without)
              for kind in ("run", "test")}
    brought = {kind: packages.closure(names) for kind, names in listed.items()}
    used = list(programs())
    for build in arguments.build:
        used += [*builders_of(build), *headers_of(build), *libraries_of(build)]
    owned = owners({path for _, path, _ in used})

    missing = collections.defaultdict(list)
    for kind, path, user in dict.fromkeys(used):
        names = owned[path]
        if not names & brought[kind]:
            missing[kind, " or ".join(sorted(names)) or "no package"].append(f"{path} (for {user})")
    for (kind, names), paths in sorted(missing.items()):
        print(f"{names}: not in the list \"{kind}\", nor brought by one of its packages; {len(paths)} files, e.g.")
        print("".join(f"    {path}\n" for path in examples(paths)), end="")
    if missing:
        return 1
    print(f"{len({path for _, path, _ in used})} headers, libraries and programs come from the listed packages")
    return 0


if __name__ == "__main__":
    sys.exit(main())
