"""tsprobe as people and programs call it, natively and under Wine. What its JSON says is in tests/data/golden."""

import json

import pytest
import samples
from programs import TSPROBE, TSPROBE_EXE, run

DATA = samples.ROOT / "tests" / "data"
MPEG2, TWO_PROGRAMS = "tests/data/mpeg2.ts", "tests/data/two-programs.ts"


def test_a_file_that_cannot_be_analysed():
    status, out, _ = run(TSPROBE, "--json", "LICENSE")
    report = json.loads(out)
    assert status == 1
    assert report["analysed"] is False
    assert [report[key] for key in ("video", "audio", "descriptions", "avc")] == [[], [], [], None]
    assert '"durationSeconds": 4000000000000.0,' in out
    assert report["currentProgram"]["index"] is None


def test_the_readme_shows_what_is_printed():
    assert f"$ tsprobe {TWO_PROGRAMS}\n" + run(TSPROBE, TWO_PROGRAMS)[1] in (samples.ROOT / "README.md").read_text()


def test_mpeg1_video_that_is_announced_as_mpeg2(tmp_path):
    path = tmp_path / "mpeg1.ts"
    path.write_bytes(samples.with_stream_type(samples.make("mpeg1-mp2.ts").read_bytes(), 0x1000, 1, 2))
    assert "352 x 240, 4:3, 29.97 fps, variable bit rate, VBV " in run(TSPROBE, path)[1]  # no profile, no scan


def test_default_pids():
    """Both PIDs have to be given; the map's PID and the audio's type have defaults."""
    for pids, types in (("0,0x200,2,0x201,3", [0, 2, 3]), ("0,0x200,2,0x201,0", [0, 2, 0x81])):
        report = json.loads(run(TSPROBE, "--json", "--default-pids", pids, MPEG2)[1])
        assert [entry["pid"] for entry in report["streams"]] == [0, 0x200, 0x201]
        assert [entry["streamType"] for entry in report["streams"]] == types
        assert (report["programs"][0]["pmtPid"], report["video"][0]["profile"]) == (0x0100, 4)
    for pids in "0,0x200,2,0,0", "0,0,2,0x201,0":
        assert json.loads(run(TSPROBE, "--json", "--default-pids", pids, MPEG2)[1])["streams"][1]["pid"] == 0x1000


@pytest.mark.parametrize("arguments", [
    [TWO_PROGRAMS], ["--program", "1", TWO_PROGRAMS], ["LICENSE"], [samples.make("name with spaces, Größe 雪.ts")]], ids=str)
def test_windows_prints_the_same(arguments):
    assert run(TSPROBE_EXE, "--json", *arguments)[:2] == run(TSPROBE, "--json", *arguments)[:2]


def test_several_files_go_on_behind_one_that_fails():
    status, out, err = run(TSPROBE, MPEG2, "none.ts", "LICENSE", TWO_PROGRAMS)
    assert status == 2
    assert "none.ts" in err
    for words in ("Main profile at Main level, progressive", "0:00:02.920", "too short", "H.264 (AVC) video", "CABAC"):
        assert words in out


@pytest.mark.parametrize("dropped, words", [(0, "no program association table"), (0x1000, "no program map table")])
def test_the_reason_says_what_to_try(dropped, words, tmp_path):
    stream = (DATA / "mpeg2.ts").read_bytes()
    packets = [stream[at:at + 188] for at in range(0, len(stream), 188)]
    path = tmp_path / "without.ts"
    path.write_bytes(b"".join(packet for packet in packets if (packet[1] & 0x1F) << 8 | packet[2] != dropped))
    status, out, _ = run(TSPROBE, path)
    assert status == 1
    assert words in out
    assert "--default-pids" in out


def test_version():
    assert run(TSPROBE, "--version")[:2] == (0, "tsprobe 3.0.122.0\n")
