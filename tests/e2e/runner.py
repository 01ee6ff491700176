"""Lists the tests of a module for CTest, or runs the one that CTest asks for.

    script --list           names, one a line
    script [NAME]           runs that test, or all; fails as well when no test ran or one was skipped
"""

import sys
import time
import unittest


def wait_until(condition, seconds=20):
    """Looks until the condition holds; the caller says what is wrong when it does not."""
    deadline = time.monotonic() + seconds
    while not condition() and time.monotonic() < deadline:
        time.sleep(0.02)
    return condition()


def names_of(suite):
    for entry in suite:
        if isinstance(entry, unittest.TestSuite):
            yield from names_of(entry)
        else:
            yield entry.id().partition(".")[2]


def names_in(module):
    """The tests of a module, always in the same order."""
    return sorted(names_of(unittest.TestLoader().loadTestsFromModule(module)))


def main(module):
    loader = unittest.TestLoader()
    if sys.argv[1:] == ["--list"]:
        print("\n".join(names_in(module)))
        return 0
    if sys.argv[1:]:
        suite = loader.loadTestsFromNames(sys.argv[1:], module)
    else:
        suite = loader.loadTestsFromModule(module)
    result = unittest.TextTestRunner(stream=sys.stderr, verbosity=2).run(suite)
    return 0 if result.wasSuccessful() and result.testsRun and not result.skipped else 1
