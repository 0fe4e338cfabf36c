"""What ./run, tsprobe and tsgraph have in common: help, wrong arguments, and output that cannot be written."""

import pytest
from programs import BUILD, RUN, TSGRAPH, TSGRAPH_EXE, TSPROBE, TSPROBE_EXE, run, run_onto

MPEG2 = "tests/data/mpeg2.ts"


@pytest.mark.parametrize("command", [RUN, TSPROBE, TSGRAPH])
def test_help(command):
    status, out, _ = run(command, "--help")
    assert (status, "FILE" in out) == (0, True)


@pytest.mark.parametrize("command, arguments, word", [
    (RUN, ["-x"], "'-x'"), (RUN, ["a", "b"], "not 2"), (RUN, [""], "''"), (RUN, ["none.ts"], "'none.ts'"),
    (RUN, ["tests"], "directory"),
    (TSPROBE, [], "FILE"), (TSPROBE, ["--wrong", MPEG2], "--wrong"), (TSPROBE, ["--json", MPEG2, MPEG2], "--json"),
    (TSPROBE, ["--program", "1x", MPEG2], "'1x'"), (TSPROBE, ["--program", "1", MPEG2], "1"),
    (TSPROBE, ["--program", "", MPEG2], "--program: ''"), (TSPROBE, ["--buffer-size", "-1", MPEG2], "-1"),
    (TSPROBE, ["--default-pids", "1,2,3", MPEG2], "1,2,3"), (TSPROBE, ["--default-pids", "", MPEG2], "pids: ''"),
    (TSPROBE, ["--default-pids", "1,2,3,4,65536", MPEG2], "65536"), (TSPROBE, ["/dev/null"], "empty"),
    (TSPROBE, ["none.ts"], "none.ts: cannot be opened: No such file"),
    (TSPROBE, ["tests/data"], "tests/data: cannot be opened: Is a directory"),
    (TSGRAPH, ["--program", "010", MPEG2], "--program 10: the file has 1 program"),
    (TSGRAPH, ["--program", MPEG2], "FILE"),
    (TSGRAPH, ["--program", "", MPEG2], "--program: ''"), (TSGRAPH, ["--program", "-1", MPEG2], "--program"),
    (TSGRAPH, ["--program", "4294967296", MPEG2], "4294967296"), (TSGRAPH, ["--out", "", MPEG2], "--out: is empty"),
    (TSGRAPH, ["--out", MPEG2, MPEG2], "Not a directory"), (TSGRAPH, ["another.ts", MPEG2], "mpeg2.ts"),
    (TSGRAPH, ["--nothing", MPEG2], "--nothing"), (TSGRAPH_EXE, ["--dll", "", MPEG2], "--dll: is empty"),
    (TSGRAPH_EXE, ["--dll", BUILD / "windows" / "tsprobe.exe", MPEG2], "no COM server")], ids=str)
def test_wrong_arguments_are_one_line_that_says_what(command, arguments, word):
    status, out, err = run(command, *arguments)
    assert (status, err.count("\n")) == (2, 1)
    assert word in err
    assert command is RUN or out == ""


@pytest.mark.parametrize("command", [TSPROBE, TSPROBE_EXE, TSGRAPH], ids=str)
@pytest.mark.parametrize("arguments", [[MPEG2], ["--json", MPEG2], ["--help"]], ids=str)
def test_a_full_disk_is_told(command, arguments):
    with open("/dev/full", "wb") as full:
        status, err = run_onto(full, command, *arguments)
    assert (status, err.count("\n")) == (2, 1)
    assert "cannot be written" in err
