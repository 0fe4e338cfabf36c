"""Runs every test program, prints what failed and why, and closes with 'N passed, N failed'."""

import os
import subprocess
import sys
import time
import xml.etree.ElementTree as ElementTree
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
RESULTS = ROOT / "build" / "results"
TIMEOUT_SECONDS = 1800  # a hang; on a slow and busy machine the static checks alone take ten minutes


@dataclass
class Suite:
    name: str
    command: list
    report_option: str = "--gtest_output=xml:"


def suites():
    """All of them, in the order in which a fault is easiest to understand."""
    build = ROOT / "build"
    yield Suite("unit tests", [build / "host" / "unit_tests"])
    yield Suite("unit tests with sanitizers", [build / "host-asan" / "unit_tests"])
    yield Suite("robustness tests", [build / "host" / "robustness_tests"])
    yield Suite("robustness tests with sanitizers", [build / "host-asan" / "robustness_tests"])
    yield Suite("stop flag tests", [build / "host" / "abort_tests"])
    yield Suite("stop flag tests with ThreadSanitizer", [build / "host-tsan" / "abort_tests"])
    yield Suite("fuzzing inputs with sanitizers", [build / "host-asan" / "fuzz_replay_tests"])
    for program in sorted((build / "windows").glob("*_tests.exe")):
        yield Suite(f"{program.stem} under Wine", ["wine", program])
    yield python_suite("end to end", "endtoend")


def background_suite():
    """Needs a core and no silence, and most of the others leave one idle."""
    return python_suite("checks of sources and image", "checks")


def python_suite(name, directory):
    return Suite(name, ["pytest-3", "-q", "-p", "no:cacheprovider", ROOT / "tests" / directory], "--junitxml=")


def make_samples():
    """The files that the robustness tests and the end-to-end tests share."""
    sys.path.insert(0, str(ROOT / "tests" / "endtoend"))
    import samples
    for name in samples.MAKERS:
        samples.make(name)


def report_path(suite):
    return RESULTS / (suite.name.replace(" ", "_") + ".xml")


def run(suite):
    """Runs one suite; returns its output, its exit status, None when it had to be ended, and the seconds it took."""
    start = time.monotonic()
    report = report_path(suite)
    report.unlink(missing_ok=True)
    command = [str(word) for word in suite.command] + [suite.report_option + os.path.relpath(report, ROOT)]
    try:
        done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              stdin=subprocess.DEVNULL, timeout=TIMEOUT_SECONDS)
    except subprocess.TimeoutExpired as expired:
        return (expired.output or b"") + b"\nended: it took too long", None, time.monotonic() - start
    return done.stdout, done.returncode, time.monotonic() - start


def failures_in(report):
    """Names of the failed tests with their messages, and how many tests there were."""
    cases = list(ElementTree.parse(report).getroot().iter("testcase"))
    failed = []
    for case in cases:
        messages = [fault.text or "" for kind in ("failure", "error") for fault in case.findall(kind)]
        if messages:
            failed.append((f"{case.get('classname')}.{case.get('name')}", messages))
    return failed, sum(case.get("status", "run") == "run" for case in cases)


def last_lines(output):
    return "    " + "\n    ".join(output.decode("utf-8", "replace").splitlines()[-30:])


def show(suite, output, status):
    """Prints one suite's outcome and returns (passed, failed)."""
    if status is None or not report_path(suite).exists():
        print(f"FAILED {suite.name}: it ended without a report; its last lines:\n{last_lines(output)}")
        return 0, 1
    failed, count = failures_in(report_path(suite))
    for name, messages in failed:
        print(f"FAILED {suite.name}: {name}")
        for message in messages:
            print("    " + message.strip().replace("\n", "\n    "))
    if status != 0 and not failed:  # a leak found at the end, a crash behind the last test
        print(f"FAILED {suite.name}: exit status {status}; its last lines:\n{last_lines(output)}")
        return count, 1
    return count - len(failed), len(failed)


def main():
    RESULTS.mkdir(parents=True, exist_ok=True)
    make_samples()
    total_passed = total_failed = 0

    def count(suite, outcome):
        nonlocal total_passed, total_failed
        output, status, seconds = outcome
        passed, failed = show(suite, output, status)
        print(f"{suite.name}: {passed} passed, {failed} failed ({seconds:.1f} s)", flush=True)
        total_passed += passed
        total_failed += failed

    with ThreadPoolExecutor(max_workers=1) as background:
        aside = background_suite()
        outcome_aside = background.submit(run, aside)
        for suite in suites():
            count(suite, run(suite))
        count(aside, outcome_aside.result())
    print(f"{total_passed} passed, {total_failed} failed")
    return 1 if total_failed or not total_passed else 0


if __name__ == "__main__":
    sys.exit(main())
