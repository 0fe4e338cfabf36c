"""Runs every test program, prints what failed and why, and closes with 'N passed, N failed'."""

import itertools
import os
import subprocess
import sys
import time
import xml.etree.ElementTree as ElementTree
from concurrent.futures import Future, ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build"
TIMEOUT_SECONDS = 1800  # a hang; on a slow and busy machine the static checks alone take ten minutes

# In the order in which a fault is easiest to understand.
NATIVE = {"unit tests": "host/unit_tests", "unit tests with sanitizers": "host-asan/unit_tests",
          "robustness tests": "host/robustness_tests",
          "robustness tests with sanitizers": "host-asan/robustness_tests",
          "stop flag tests": "host/abort_tests", "stop flag tests with ThreadSanitizer": "host-tsan/abort_tests",
          "fuzzing inputs with sanitizers": "host-asan/fuzz_replay_tests"}


def suites():
    """Their names and commands; the option for the report's file comes last."""
    for name, program in NATIVE.items():
        yield name, [BUILD / program, "--gtest_output=xml:"]
    for program in sorted((BUILD / "windows").glob("*_tests.exe")):
        yield f"{program.stem} under Wine", ["wine", program, "--gtest_output=xml:"]
    yield python_suite("end to end", "endtoend")


def python_suite(name, directory):
    return name, ["pytest-3", "-q", "-p", "no:cacheprovider", ROOT / "tests" / directory, "--junitxml="]


def make_samples():
    """The files that the robustness tests and the end-to-end tests share."""
    sys.path.insert(0, str(ROOT / "tests" / "endtoend"))
    import samples
    for name in samples.MAKERS:
        samples.make(name)


def run(suite):
    """Runs one suite; returns how many tests passed and failed, and what is to be said about it."""
    name, command = suite
    start = time.monotonic()
    report = BUILD / "results" / (name.replace(" ", "_") + ".xml")
    report.unlink(missing_ok=True)
    words = [str(word) for word in command]
    words[-1] += os.path.relpath(report, ROOT)
    try:
        done = subprocess.run(words, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              stdin=subprocess.DEVNULL, timeout=TIMEOUT_SECONDS)
        output, status = done.stdout, done.returncode
    except subprocess.TimeoutExpired as expired:
        output, status = expired.output or b"", "no status: it took too long"
    whole = report.exists() and isinstance(status, int)
    passed, faults = outcome(report) if whole else (0, [])
    if not faults and (status != 0 or not whole):  # a hang, a crash, a leak found at the end
        last = "\n".join(output.decode("utf-8", "replace").splitlines()[-30:])
        faults = [f"ended with {status}; its last lines:" + indented(last)]
    seconds = time.monotonic() - start
    lines = [f"FAILED {name}: {fault}" for fault in faults]
    lines.append(f"{name}: {passed} passed, {len(faults)} failed ({seconds:.1f} s)")
    return passed, len(faults), "\n".join(lines)


def outcome(report):
    """How many tests passed, and the others' names with their messages."""
    passed, faults = 0, []
    for case in ElementTree.parse(report).getroot().iter("testcase"):
        messages = [fault.text or "" for kind in ("failure", "error") for fault in case.findall(kind)]
        if messages:
            faults.append(f"{case.get('classname')}.{case.get('name')}" + "".join(map(indented, messages)))
        elif case.get("status", "run") == "run":
            passed += 1
    return passed, faults


def indented(text):
    return "".join(f"\n    {line}" for line in text.strip().splitlines())


def main():
    (BUILD / "results").mkdir(parents=True, exist_ok=True)
    make_samples()
    total_passed = total_failed = 0
    with ThreadPoolExecutor(max_workers=1) as background:
        # Needs a core and no silence, and most of the others leave one idle.
        checks = background.submit(run, python_suite("checks of sources and image", "checks"))
        for passed, failed, words in itertools.chain(map(run, suites()), map(Future.result, [checks])):
            print(words, flush=True)
            total_passed += passed
            total_failed += failed
    print(f"{total_passed} passed, {total_failed} failed")
    return 1 if total_failed or not total_passed else 0


if __name__ == "__main__":
    sys.exit(main())
