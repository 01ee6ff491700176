#!/usr/bin/env python3
"""Holds what the tests reach of the library against the bounds, and what they do not against the list that gives reasons.

usage: coverage_result.py SUMMARY LINES UNREACHED LEAST_LINES LEAST_BRANCHES
SUMMARY and LINES are gcovr's, of one run; sources are found from the current folder. The exit status is 0 only when both
bounds hold and UNREACHED names every line that was not reached and no other.
"""
import json
import pathlib
import sys


def unreached_of(path):
    """(file, text of the line) to its numbers."""
    unreached = {}
    for entry in json.loads(path.read_text())["files"]:
        missed = [line["line_number"] for line in entry["lines"] if line["count"] == 0 and not line["gcovr/noncode"]]
        source = pathlib.Path(entry["file"]).read_text().splitlines() if missed else []
        for number in missed:
            unreached.setdefault((entry["file"], source[number - 1].strip()), []).append(number)
    return unreached


def named_of(path):
    """(file, text of the line) to the reason."""
    named = {}
    key = None
    for line in path.read_text().splitlines():
        if line.startswith("#") or not line.strip():
            continue
        if line.startswith(" "):
            named[key] += line.strip()
        else:
            file, _, text = line.partition(": ")
            key = (file, text.strip())
            named[key] = ""
    return named


def faults_of(unreached, named):
    for (file, text), numbers in unreached.items():
        if (file, text) not in named:
            for number in numbers:
                yield f"{file}:{number} is reached by no test and not named: {text}"
    for (file, text), reason in named.items():
        if (file, text) not in unreached:
            yield f"{file} is named with a line that is reached or gone: {text}"
        elif not reason:
            yield f"{file} is named without a reason: {text}"


def main():
    summary_path, lines_path, named_path = map(pathlib.Path, sys.argv[1:4])
    least_lines, least_branches = map(float, sys.argv[4:6])
    named = named_of(named_path)
    unreached = unreached_of(lines_path)
    faults = list(faults_of(unreached, named))
    for fault in faults:
        print(f"coverage: {fault} ({named_path})")
    found = json.loads(summary_path.read_text())
    lines, branches = found["line_percent"], found["branch_percent"]
    print(f"coverage of ntc_email: {lines:.1f} % of {found['line_total']} lines (at least {least_lines:g}), "
          f"{branches:.1f} % of {found['branch_total']} branches (at least {least_branches:g}); "
          f"{sum(map(len, unreached.values()))} lines without a test, "
          + (f"{len(faults)} faults in {named_path}" if faults else "each with its reason"))
    return 0 if found["line_total"] and lines >= least_lines and branches >= least_branches and not faults else 1


if __name__ == "__main__":
    sys.exit(main())
