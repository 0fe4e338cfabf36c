"""The real filter in a real graph under Wine, against ffprobe's facts and ffmpeg's elementary streams."""

import json
from pathlib import Path

import ffmpeg_facts as facts
import media_types as types
import pytest
import samples
from programs import run, wine

WINDOWS = samples.ROOT / "build" / "windows"
PLAYED, NOT_ANALYSED, FAILED = 0, 1, 2
MAIN_PROFILE_AT_MAIN_LEVEL = (2, 2)  # AM_MPEG2Profile_Main, AM_MPEG2Level_Main
LAYOUTS = {"packets-of-192.m2ts": (4, 192), "leading-garbage.ts": (5000, 188),
           "mid-packet.ts": (samples.PACKET - 77, 188)}  # where the packets begin, and how far apart they lie


def tsgraph(*arguments):
    return run(wine("tsgraph"), "--json", "--dll", WINDOWS / "ZarnowTSSource.ax", *arguments)


@pytest.mark.parametrize("name", samples.MAKERS)
def test_every_program_of_a_file_is_delivered(name, tmp_path):
    """Every pin is compared with the stream of its PID."""
    path = samples.make(name)
    start, packet = LAYOUTS.get(name, (0, 188))
    packets = -(-(path.stat().st_size - start) // packet)
    for index, streams in enumerate(facts.programs(path)):
        out = tmp_path / str(index)
        out.mkdir()
        status, printed, messages = tsgraph("--out", f"{out}/", "--program", index, path)
        assert status == PLAYED, messages
        report = json.loads(printed)
        assert (report["endOfStream"], report["samples"], report["bytes"]) == (True, packets, packets * 188)
        check_pins(report, path, streams, out)


def check_pins(report, path, streams, out):
    video = [stream for stream in streams if stream["codec_type"] == "video"]
    audio = [stream for stream in streams if stream["codec_type"] == "audio"]
    assert [pin["pid"] for pin in report["pins"]] == [facts.pid_of(stream) for stream in video + audio]
    assert report["durationSeconds"] in facts.durations(path, video[0])
    beside_avc = video[0]["codec_name"] == "h264"
    for pin, stream in zip(report["pins"], video + audio):
        expected = facts.elementary_stream(path, facts.pid_of(stream))
        written = out / Path(pin["outputFile"]).name
        assert pin["outputFile"] == str(written)
        assert pin["bytesWritten"] == len(expected)
        assert bool(written.read_bytes() == expected), f"{written.name} is not what ffmpeg extracts"
        CHECKS[stream["codec_name"]](pin, stream, expected, beside_avc)


def check_type(pin, name, mapping, *guids):
    assert (pin["name"], pin["mapping"]) == (name, mapping)
    assert tuple(pin[key].upper() for key in ("majorType", "subtype", "formatType")) == guids
    assert (pin["temporalCompression"], pin["sampleSize"]) == (True, 1)
    assert pin["fixedSizeSamples"] == (guids[2] == types.FORMAT_WAVE)


def check_mpeg2(pin, stream, elementary, _):
    check_type(pin, "MPEG2_0", "elementary_stream", types.VIDEO, types.MPEG2_VIDEO, types.FORMAT_MPEG2_VIDEO)
    header = elementary[elementary.index(b"\0\0\1\xb3"):][:22]  # no matrices; the extension follows
    assert types.mpeg2_video(bytes.fromhex(pin["formatBlock"])) == types.VideoFormat(
        stream["height"], stream["width"], stream["height"], facts.frame_time(stream),
        stream["display_aspect_ratio"] if stream["display_aspect_ratio"] == "16:9" else "4:3",
        MAIN_PROFILE_AT_MAIN_LEVEL, header)


def check_mpeg1(pin, stream, elementary, _):
    check_type(pin, "MPEG1_0", "elementary_stream", types.VIDEO, types.MPEG1_PAYLOAD, types.FORMAT_MPEG1_VIDEO)
    assert types.mpeg1_video(bytes.fromhex(pin["formatBlock"])) == types.VideoFormat(
        stream["height"], stream["width"], stream["height"], facts.frame_time(stream), sequence_header=elementary[:12])


def check_h264(pin, stream, _elementary, _):
    check_type(pin, "H264_0", "transport_payload", types.MPEG2_PES, types.AVC1, types.FORMAT_VIDEO_INFO2)
    coded_height = -(-stream["height"] // 16) * 16
    assert types.video_info2(bytes.fromhex(pin["formatBlock"])) == types.VideoFormat(
        coded_height, stream["width"], coded_height, 333667, "16:9")


def check_audio(pin, name, beside_avc, subtype, expected):
    mapping, major = ("transport_payload", types.MPEG2_PES) if beside_avc else ("elementary_stream", types.AUDIO)
    major = types.AUDIO if subtype == types.RAW_AAC else major  # beside AVC as well
    check_type(pin, name, mapping, major, subtype, types.FORMAT_WAVE)
    assert types.wave(bytes.fromhex(pin["formatBlock"])) == expected


def check_mp2(pin, stream, elementary, beside_avc):
    # Mono is told by the byte behind the frame header, whatever the header's own mode bits.
    channels = 1 if elementary[4] >> 6 == 3 else 2
    check_audio(pin, "AUDIO_0", beside_avc, types.MPEG1_AUDIO_PAYLOAD, types.WaveFormat(
        0, channels, int(stream["sample_rate"]), int(stream["bit_rate"]) // 8, channels * 16, 16))


def check_ac3(pin, stream, _, beside_avc):
    check_audio(pin, "AC3_0", beside_avc, types.DOLBY_AC3, types.WaveFormat(
        0, stream["channels"], int(stream["sample_rate"]), int(stream["bit_rate"]) // 8, stream["channels"] * 16, 16))


def check_aac(pin, _stream, _elementary, beside_avc):
    check_audio(pin, "AUDIO_0", beside_avc, types.RAW_AAC, types.WaveFormat(0, 2, 48000, 28000, 32, 16))


CHECKS = {"mpeg2video": check_mpeg2, "mpeg1video": check_mpeg1, "h264": check_h264, "mp2": check_mp2,
          "ac3": check_ac3, "aac": check_aac}

NO_TABLES = bytes([0x47, 0x1F, 0xFF, 0x10]).ljust(samples.PACKET, b"\xff") * 300


@pytest.mark.parametrize("content, expected", [(NO_TABLES, NOT_ANALYSED), (b"", FAILED), (None, FAILED)],
                         ids=["without tables", "empty", "missing"])
def test_files_that_fail_are_named(content, expected, tmp_path):
    path = tmp_path / "input.ts"
    if content is not None:
        path.write_bytes(content)
    status, _, messages = tsgraph("--out", tmp_path, path)
    assert status == expected, messages
    assert "input.ts" in messages


@pytest.mark.parametrize("arguments, words", [
    (["--program", "010"], "--program 10: the file has 1 program"), (["--program", ""], "--program: ''"),
    (["--out", ""], "--out: is empty"), (["--dll", ""], "--dll: is empty"),
    (["--dll", WINDOWS / "tsprobe.exe"], "no COM server"), (["another.ts"], "mpeg2.ts"), (["--nothing"], "--nothing"),
    (["--program"], "FILE"), (["--program", "-1"], "--program"), (["--program", "4294967296"], "4294967296")], ids=str)
def test_wrong_arguments_are_one_line_that_says_what(arguments, words):
    dll = [] if "--dll" in arguments else ["--dll", WINDOWS / "ZarnowTSSource.ax"]
    status, out, err = run(wine("tsgraph"), *dll, *arguments, samples.ROOT / "tests" / "data" / "mpeg2.ts")
    assert (status, out, err.count("\n")) == (FAILED, "", 1)
    assert words in err


def test_help():
    status, out, _ = run(wine("tsgraph"), "--help")
    assert (status, "--program" in out) == (PLAYED, True)


def test_output_directory_that_is_a_file(tmp_path):
    (tmp_path / "file").touch()
    status, _, messages = tsgraph("--out", tmp_path / "file", samples.ROOT / "tests" / "data" / "mpeg2.ts")
    assert status == FAILED, messages
    assert "Not a directory" in messages
