"""Running the project's programs, natively and under Wine."""

import os
import subprocess
import tempfile

import samples

BUILD = samples.ROOT / "build"
RUN = [samples.ROOT / "run"]
TSPROBE = [BUILD / "host" / "tsprobe"]
TSPROBE_EXE = ["wine", BUILD / "windows" / "tsprobe.exe"]
TSGRAPH_EXE = ["wine", BUILD / "windows" / "tsgraph.exe"]
TSGRAPH = [*TSGRAPH_EXE, "--dll", BUILD / "windows" / "ZarnowTSSource.ax"]


def run(command, *arguments):
    """Exit status, standard output, standard error. They go through files: Wine's own processes outlive the program and
    would keep a pipe open."""
    with tempfile.TemporaryFile() as out:
        status, errors = run_onto(out, command, *arguments)
        out.seek(0)
        return status, out.read().decode(), errors


def run_onto(out, command, *arguments):
    """Exit status and standard error of a program whose standard output is the file."""
    environment = {**os.environ, "WINEDEBUG": "-all", "LC_ALL": "C.UTF-8",  # the file names' encoding
                   "WINEPREFIX": str(samples.ROOT / "build" / "wine")}
    with tempfile.TemporaryFile() as err:
        status = subprocess.run([str(word) for word in (*command, *arguments)], stdout=out, stderr=err, timeout=120,
                                stdin=subprocess.DEVNULL, cwd=samples.ROOT, env=environment).returncode
        err.seek(0)
        return status, err.read().decode("utf-8", "replace")
