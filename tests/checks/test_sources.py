"""The sources as clang-format, clang-tidy and cppcheck see them."""

import hashlib
import os
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
STAMPS = ROOT / "build" / "clang-tidy"  # one for each file that was clean, by all that its result depends on
PORTABLE = ("source/analysis", "source/esparse", "tools/tsprobe")
WINDOWS = ("source/baseclasses", "source/mediatypes", "source/filter", "source/ui", "tools/common")


def files(directories, *suffixes):
    return sorted(path for directory in directories for path in (ROOT / directory).rglob("*") if path.suffix in suffixes)


def run(*command):
    done = subprocess.run([str(word) for word in command], cwd=ROOT, stdin=subprocess.DEVNULL, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.returncode, done.stdout


def cross_compiler_headers():
    """What clang has to be told to find the C++ headers of the cross compiler."""
    status, output = run("x86_64-w64-mingw32-g++-posix", "-E", "-x", "c++", "/dev/null", "-v")
    start = output.index("#include <...>")
    directories = [line.strip() for line in output[start:output.index("End of search list")].splitlines()[1:]]
    own = [directory for directory in directories if "/c++" in directory]
    return ["--target=x86_64-w64-mingw32"] + [f"-isystem{directory}" for directory in own]


def test_formatted():
    status, output = run("clang-format", "--dry-run", "-Werror", *files(("docs", "source", "tests", "tools"), ".h", ".cpp"))
    assert status == 0, output


def test_cppcheck():
    macros = ["STDMETHODIMP=HRESULT", "STDMETHODIMP_(type)=type", "STDAPI=HRESULT", "STDAPI_(type)=type"]
    # The framework's member names are published ones; pins belong to their filter's list; what a reference names
    # cannot be elided.
    tolerated = ["duplInheritedMember", "noDestructor", "returnStdMoveLocal"]
    status, output = run("cppcheck", "--quiet", "--std=c++20", "--language=c++", "--inline-suppr",
                         "--enable=warning,performance,portability", "--error-exitcode=1", "-Isource", "-I.",
                         *[f"-D{macro}" for macro in macros], *[f"--suppress={name}" for name in tolerated],
                         "source", "tools")
    assert status == 0, output


def test_clang_tidy():
    windows = cross_compiler_headers()
    jobs = [("host", [], path) for path in files(PORTABLE, ".cpp") if not path.stem.endswith("_win32")]
    jobs += [("windows", windows, path) for path in files(WINDOWS, ".cpp")]
    with ThreadPoolExecutor(max_workers=os.cpu_count()) as pool:
        faults = [fault for fault in pool.map(lambda job: tidy(*job), jobs) if fault]
    assert not faults, "\n".join(faults)


SHARED = [ROOT / ".clang-tidy", *files(("source", "tools"), ".h")]
DIGEST = hashlib.sha256(b"".join(path.read_bytes() for path in SHARED)).hexdigest()


def tidy(preset, extra, path):
    """What clang-tidy has against a file; None when it is clean."""
    key = hashlib.sha256(f"{DIGEST} {preset} {path} {extra}".encode() + path.read_bytes()).hexdigest()
    stamp = STAMPS / key
    if stamp.exists():
        return None
    status, output = run("nice", "clang-tidy", "--quiet", "-p", ROOT / "build" / preset,
                         *[f"--extra-arg={option}" for option in extra], path)
    if status != 0:
        return output
    STAMPS.mkdir(parents=True, exist_ok=True)
    stamp.touch()
    return None
