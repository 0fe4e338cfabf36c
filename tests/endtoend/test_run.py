"""./run as a newcomer calls it."""

import re

import samples
from programs import RUN, run

README = (samples.ROOT / "README.md").read_text()


def test_the_sample_is_played_as_the_readme_shows_whatever_was_registered():
    run(["wine", "regsvr32", "/s", "/u"], "build/windows/ZarnowTSSource.ax")
    status, out, err = run(RUN)
    shown = re.split(r" in [\d.]+ s .*", out[out.index("== playing"):])  # the speed differs from run to run
    assert (status, err, len(shown)) == (0, "", 2)
    assert shown[0] in README
    assert shown[1] in README
