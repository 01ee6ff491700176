#!/usr/bin/env python3
"""What the test programs did on the target, held against the tests that the same programs have on this machine.

usage: results.py HOST_BUILD TARGET_BUILD ABSENT_LIST FAILED
FAILED is the number of failures found elsewhere in the run, for the total.
The last line is "N passed, N failed"; the exit status is 0 only when none failed.
"""
import fnmatch
import json
import pathlib
import subprocess
import sys
import xml.etree.ElementTree as tree


def programs_of(build):
    return (build / "tests/programs.txt").read_text().split()


def absent_of(path):
    """Name to reason."""
    absent = {}
    for line in path.read_text().splitlines():
        name, _, reason = (part.strip() for part in line.partition("#"))
        if name:
            absent[name] = reason
    return absent


def host_tests(build, program):
    listed = subprocess.run([build / "tests" / program, "--gtest_list_tests"], check=True, timeout=60,
                            capture_output=True, text=True).stdout
    names = []
    suite = ""
    for line in listed.splitlines():
        name = line.split("#")[0].strip()
        if not line.startswith(" "):
            suite = name if name.endswith(".") else ""
        elif suite and not (suite + name).startswith("DISABLED_") and not name.startswith("DISABLED_"):
            names.append(suite + name)
    return names


def target_tests(build, program):
    """Name to what is wrong with it, None for a test that passed."""
    path = build / "results" / f"{program}.xml"
    if not path.exists():
        return {}
    results = {}
    for case in tree.parse(path).iter("testcase"):
        failures = [failure.get("message", "") for failure in case.findall("failure")]
        skipped = case.get("status") != "run" or case.find("skipped") is not None
        wrong = "\n".join(failures) if failures else "was not run" if skipped else None
        results[f"{case.get('classname')}.{case.get('name')}"] = wrong
    return results


def entries_of(path):
    """CTest's entries: name to what was wrong, None for one that passed."""
    entries = {}
    for case in tree.parse(path).iter("testcase"):
        wrong = None if case.get("status") == "run" else (case.findtext("system-out") or "failed")[-2000:]
        entries[case.get("name")] = wrong
    return entries


def host_entries(build):
    listed = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True, timeout=60,
                            capture_output=True, text=True).stdout
    return [test["name"] for test in json.loads(listed)["tests"]]


def report(name, wrong):
    print(f"powerpc: FAILED {name}")
    for line in wrong.splitlines()[:25]:
        print(f"    {line}")


def is_named(name, absent, mark=""):
    return any(fnmatch.fnmatchcase(mark + name, pattern) for pattern in absent)


def compare_program(host, target, program, absent):
    """Prints what is wrong; returns the numbers of tests here, of those that passed there, and of failures."""
    expected = host_tests(host, program)
    results = target_tests(target, program)
    wrong = {name: text for name, text in results.items() if text is not None}
    for pattern in absent:
        name = pattern.removeprefix(f"{program}.")
        if name != pattern and not fnmatch.filter(expected, name):
            wrong[name] = "is named as absent, and is no test of this machine"
    for name in expected:
        if is_named(f"{program}.{name}", absent):
            continue
        if name not in results:
            wrong[name] = "is missing: the program ended before it, or does not have it"
    for name in set(results) - set(expected):
        if not is_named(f"{program}.{name}", absent, "+"):
            wrong[name] = "is not among the tests of this machine"
    for name, text in sorted(wrong.items()):
        report(f"{program}.{name}", text)
    return len(expected), len(set(results) - set(wrong)), len(wrong)


def compare_entries(host, target, there):
    """The same for CTest's entries that are no programs of many tests: the seeds of the fuzz targets."""
    entries = entries_of(target / "results/ctest.xml")
    expected = [name for name in host_entries(host) if name.startswith("fuzz.")]
    # A program that ends badly after the last of its tests has passed is told here; else its tests tell.
    results = {name: wrong for name, wrong in entries.items()
               if name not in there or (wrong and all(text is None for text in target_tests(target, name).values()))}
    wrong = {name: text for name, text in results.items() if text is not None}
    wrong.update((name, "is not there") for name in expected if name not in results)
    for name, text in sorted(wrong.items()):
        report(name, text)
    return len(expected), len(set(results) - set(wrong)), len(wrong)


def main():
    host, target, absent = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), absent_of(pathlib.Path(sys.argv[3]))
    there = programs_of(target)
    here_count = passed = 0
    failed = int(sys.argv[4])
    for program in programs_of(host):
        if program in absent:
            print(f"powerpc: not run: {program}, {absent[program]}")
        elif program not in there:
            report(program, "is missing among the programs of the target, and not named as such")
            failed += 1
    for name in absent:
        if "." not in name and name not in programs_of(host):
            report(name, "is named as absent, and is no program of this machine")
            failed += 1
    all_counts = [compare_entries(host, target, there)]
    for program in there:
        if program in absent:
            report(program, "is named as one that does not run there, and is there")
            failed += 1
        all_counts.append(compare_program(host, target, program, absent))
    for counts in all_counts:
        here_count += counts[0]
        passed += counts[1]
        failed += counts[2]
    for name in absent:
        if "." in name and not name.startswith("+"):
            print(f"powerpc: not run: {name}, {absent[name]}")
    print(f"powerpc: {len(there)} programs: {here_count} tests on this machine, {passed} of them passed there")
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
