"""./run as a newcomer calls it."""

import re

import pytest
import samples
from programs import run

RUN = [samples.ROOT / "run"]
README = (samples.ROOT / "README.md").read_text()


def test_the_sample_is_played_as_the_readme_shows_whatever_was_registered():
    run(["wine", "regsvr32", "/s", "/u"], "build/windows/ZarnowTSSource.ax")
    status, out, err = run(RUN)
    shown = re.split(r" in [\d.]+ s .*", out[out.index("== playing"):])  # the speed differs from run to run
    assert (status, err, len(shown)) == (0, "", 2)
    assert shown[0] in README
    assert shown[1] in README


@pytest.mark.parametrize("arguments, word", [
    (["-x"], "'-x'"), (["a", "b"], "not 2"), ([""], "''"), (["none.ts"], "'none.ts'"), (["tests"], "directory")], ids=str)
def test_wrong_arguments_are_one_line_that_says_what(arguments, word):
    status, _, err = run(RUN, *arguments)
    assert (status, err.count("\n")) == (2, 1)
    assert word in err
