#!/usr/bin/env python3
"""Runs GoogleTest programs in a few processes each, and prints "N passed, N failed" as the last line.

usage: sharded_tests.py [--exclude REGEX] [--long] BUILD

Under a sanitizer a process costs half a second before and after its test, so here one process runs
many tests one after the other: whatever a test leaves behind in its process shows, too. The programs,
and the tests that are not of GoogleTest, are those that CTest knows in the folder BUILD. --exclude
leaves out the tests whose CTest name matches; --long also runs those with the label "long".
"""

import argparse
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

TESTS_IN_A_PROCESS = 40
SECONDS_FOR_A_PROCESS = 600


def known_tests(build):
    shown = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True,
                           capture_output=True, text=True)
    return json.loads(shown.stdout)["tests"]


def is_long(test):
    labels = [p["value"] for p in test.get("properties", []) if p["name"] == "LABELS"]
    return any("long" in label for label in labels)


def gtest_name(test):
    """The name within its program; None for a test that is no GoogleTest's."""
    for argument in test["command"][1:]:
        if argument.startswith("--gtest_filter="):
            return argument.removeprefix("--gtest_filter=")
    return None


def portions(names):
    """Neighbours often share what is slow, so each portion takes every so-manyth."""
    count = -(-len(names) // TESTS_IN_A_PROCESS)
    return [names[first::count] for first in range(count)]


def run_portion(program, names):
    """Returns how many passed, how many failed, and what to show of it."""
    with tempfile.TemporaryDirectory() as folder:
        report = pathlib.Path(folder) / "report.json"
        # A list of forty names is longer than the name of a variable may be, but not than its value.
        environment = os.environ | {"GTEST_FILTER": ":".join(names), "GTEST_OUTPUT": f"json:{report}"}
        try:
            ended = subprocess.run([program], env=environment, stdin=subprocess.DEVNULL, text=True,
                                   errors="replace", stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                   timeout=SECONDS_FOR_A_PROCESS)
        except subprocess.TimeoutExpired as late:
            said = (late.stdout or b"").decode(errors="replace")
            return 0, len(names), f"{program}: not done after {SECONDS_FOR_A_PROCESS} s\n{said[-4000:]}"
        passed = len(re.findall(r"^\[       OK \]", ended.stdout, re.M))
        skipped = set(re.findall(r"^\[  SKIPPED \] (\S+)", ended.stdout, re.M))
        failed = len(names) - passed - len(skipped)
        if ended.returncode == 0 and failed == 0:
            return passed, 0, ""
        # Where the process broke off, all that it did not come to counts as failed.
        return passed, max(failed, 1), ended.stdout


def run_other(build, name):
    ended = subprocess.run(["ctest", "--test-dir", build, "--output-on-failure", "-R",
                            f"^{re.escape(name)}$"], stdout=subprocess.PIPE, text=True)
    good = ended.returncode == 0
    return int(good), int(not good), "" if good else ended.stdout


def without_passed(said):
    return "\n".join(line for line in said.splitlines()
                     if not re.match(r"\[(       OK|----------|==========)", line))


def main():
    parser = argparse.ArgumentParser(usage="sharded_tests.py [--exclude REGEX] [--long] BUILD")
    parser.add_argument("--exclude", default="^$")
    parser.add_argument("--long", action="store_true")
    parser.add_argument("build")
    options = parser.parse_args()

    programs, others = {}, []
    for test in known_tests(options.build):
        if re.search(options.exclude, test["name"]) or (is_long(test) and not options.long):
            continue
        if "command" not in test or gtest_name(test) is None:
            others.append(test["name"])
        else:
            programs.setdefault(test["command"][0], []).append(gtest_name(test))

    passed = failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        running = [pool.submit(run_other, options.build, name) for name in others]
        running += [pool.submit(run_portion, program, names)
                    for program, all_names in programs.items() for names in portions(all_names)]
        for one in concurrent.futures.as_completed(running):
            good, bad, said = one.result()
            passed, failed = passed + good, failed + bad
            if bad:
                print(without_passed(said), flush=True)
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
