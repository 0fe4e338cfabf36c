"""The real filter in a real graph under Wine, against ffprobe's facts and ffmpeg's elementary streams."""

import json
import struct
from pathlib import Path

import ffmpeg_facts as facts
import pytest
import samples
from programs import TSGRAPH, run

PLAYED, NOT_ANALYSED, FAILED = 0, 1, 2
LAYOUTS = {"packets-of-192.m2ts": (4, 192), "leading-garbage.ts": (5000, 188),
           "mid-packet.ts": (samples.PACKET - 77, 188)}  # where the packets begin, and how far apart they lie

# GUIDs of DirectShow's media types
BASE = "-0000-0010-8000-00AA00389B71}"
MPEG2 = "-DB46-11CF-B4D1-00805F6CBBEA}"
VIDEO, AUDIO, PES = "{73646976" + BASE, "{73647561" + BASE, "{E06D8020" + MPEG2
RAW_AAC = "{000000FF" + BASE
FORMAT_WAVE = "{05589F81-C356-11CE-BF01-00AA0055595A}"

# Of the pins: name, type, and what of the format block the judges know. Of video: the source rectangle's bottom, the
# frame time, the aspect ratio but for MPEG-1, width, height; then the sequence header's length, AM_MPEG2Profile and
# AM_MPEG2Level, and the header. Of audio the whole WAVEFORMATEX.
PINS = {
    "mpeg2video": ("MPEG2_0", VIDEO, "{E06D8026" + MPEG2, "{E06D80E3" + MPEG2, "<12xi24xq8xII12xii32xIII4x22s"),
    "mpeg1video": ("MPEG1_0", VIDEO, "{E436EB81-524F-11CE-9F53-0020AF0BA770}",
                   "{05589F82-C356-11CE-BF01-00AA0055595A}", "<12xi24xq4xii32xI12s"),
    "h264": ("H264_0", PES, "{31435641" + BASE, "{F72A76A0-EB0A-11D0-ACE4-0000C0CC16BA}", "<12xi24xq8xII12xii"),
    "mp2": ("AUDIO_0", AUDIO, "{00000050" + BASE, FORMAT_WAVE, "<HHIIHHH"),
    "ac3": ("AC3_0", AUDIO, "{E06D802C" + MPEG2, FORMAT_WAVE, "<HHIIHHH"),
    "aac": ("AUDIO_0", AUDIO, RAW_AAC, FORMAT_WAVE, "<HHIIHHH"),
}


@pytest.mark.parametrize("name", samples.MAKERS)
def test_every_program_of_a_file_is_delivered(name, tmp_path):
    """Every pin is compared with the stream of its PID."""
    path = samples.make(name)
    start, packet = LAYOUTS.get(name, (0, 188))
    packets = -(-(path.stat().st_size - start) // packet)
    for index, streams in enumerate(facts.programs(path)):
        out = tmp_path / str(index)
        out.mkdir()
        status, printed, messages = run(TSGRAPH, "--json", "--out", f"{out}/", "--program", index, path)
        assert status == PLAYED, messages
        report = json.loads(printed)
        assert (report["endOfStream"], report["samples"], report["bytes"]) == (True, packets, packets * 188)
        check_pins(report, path, streams, out)


def check_pins(report, path, streams, out):
    streams = sorted(streams, key=lambda stream: stream["codec_type"] == "audio")  # video comes first
    assert [pin["pid"] for pin in report["pins"]] == [facts.pid_of(stream) for stream in streams]
    assert report["durationSeconds"] in facts.durations(path, streams[0])
    for pin, stream in zip(report["pins"], streams):
        expected = facts.elementary_stream(path, facts.pid_of(stream))
        written = out / Path(pin["outputFile"]).name
        assert pin["outputFile"] == str(written)
        assert pin["bytesWritten"] == len(expected)
        assert bool(written.read_bytes() == expected), f"{written.name} is not what ffmpeg extracts"
        check_type(pin, stream, expected, beside_avc=streams[0]["codec_name"] == "h264")


def check_type(pin, stream, elementary, beside_avc):
    name, major, subtype, format_type, layout = PINS[stream["codec_name"]]
    if beside_avc and subtype != RAW_AAC:
        major = PES
    assert (pin["name"], pin["mapping"]) == (name, "transport_payload" if beside_avc else "elementary_stream")
    assert [pin[key].upper() for key in ("majorType", "subtype", "formatType")] == [major, subtype, format_type]
    assert (pin["temporalCompression"], pin["sampleSize"]) == (True, 1)
    assert pin["fixedSizeSamples"] == (format_type == FORMAT_WAVE)
    known = struct.unpack_from(layout, bytes.fromhex(pin["formatBlock"]))
    assert known == (video_format if stream["codec_type"] == "video" else wave_format)(stream, elementary)


def video_format(stream, elementary):
    width, height = stream["width"], stream["height"]
    if stream["codec_name"] == "h264":
        coded_height = -(-height // 16) * 16
        return coded_height, 333667, 16, 9, width, coded_height
    if stream["codec_name"] == "mpeg1video":
        return height, facts.frame_time(stream), width, height, 12, elementary[:12]
    aspect = (16, 9) if stream["display_aspect_ratio"] == "16:9" else (4, 3)
    header = elementary[elementary.index(b"\0\0\1\xb3"):][:22]  # no matrices; the extension follows
    return height, facts.frame_time(stream), *aspect, width, height, 22, 2, 2, header  # Main profile at Main level


def wave_format(stream, elementary):
    channels, rate, byte_rate = stream["channels"], int(stream["sample_rate"]), int(stream["bit_rate"]) // 8
    if stream["codec_name"] == "mp2":  # mono is told by the byte behind the frame header, not by its own mode bits
        channels = 1 if elementary[4] >> 6 == 3 else 2
    if stream["codec_name"] == "aac":
        channels, rate, byte_rate = 2, 48000, 28000
    return 0, channels, rate, byte_rate, channels * 16, 16, 0


NO_TABLES = bytes([0x47, 0x1F, 0xFF, 0x10]).ljust(samples.PACKET, b"\xff") * 300


@pytest.mark.parametrize("content, expected", [(NO_TABLES, NOT_ANALYSED), (b"", FAILED), (None, FAILED)],
                         ids=["without tables", "empty", "missing"])
def test_files_that_fail_are_named(content, expected, tmp_path):
    path = tmp_path / "input.ts"
    if content is not None:
        path.write_bytes(content)
    status, _, messages = run(TSGRAPH, "--json", "--out", tmp_path, path)
    assert status == expected, messages
    assert "input.ts" in messages
