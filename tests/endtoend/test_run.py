"""./run as a newcomer calls it."""

import pytest
import samples
from programs import run

RUN = [samples.ROOT / "run"]


def test_the_sample_is_played_whatever_was_registered():
    run(["wine", "regsvr32", "/s", "/u"], "build/windows/ZarnowTSSource.ax")
    status, out, err = run(RUN)
    assert (status, err) == (0, "")
    assert "== playing tests/data/two-programs.ts\ntests/data/two-programs.ts\nDuration: 2.920 s\n" in out
    assert "AUDIO_0: 25425 bytes in build/out/two-programs/AUDIO_0.aac" in out


@pytest.mark.parametrize("arguments, word", [
    (["-x"], "'-x'"), (["a", "b"], "not 2"), ([""], "''"), (["none.ts"], "'none.ts'"), (["tests"], "directory")], ids=str)
def test_wrong_arguments_are_one_line_that_says_what(arguments, word):
    status, _, err = run(RUN, *arguments)
    assert (status, err.count("\n")) == (2, 1)
    assert word in err
