"""The real filter in a real graph under Wine, against ffprobe's facts and ffmpeg's elementary streams."""

import json
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

import ffmpeg_facts as facts
import media_types as types
import samples

WINDOWS = samples.ROOT / "build" / "windows"
ENVIRONMENT = {
    **os.environ,
    "WINEPREFIX": str(samples.ROOT / "build" / "wine"),
    "WINEDEBUG": "-all",
    "LC_ALL": "C.UTF-8",  # the file names' encoding
}
PLAYED, NOT_ANALYSED, FAILED = 0, 1, 2


def tsgraph(*arguments):
    """Exit status, standard output, standard error. They go through files: Wine's own processes outlive the program and
    would keep a pipe open."""
    command = ["wine", WINDOWS / "tsgraph.exe", "--json", "--dll", WINDOWS / "ZarnowTSSource.ax", *arguments]
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        done = subprocess.run([str(word) for word in command], env=ENVIRONMENT, stdin=subprocess.DEVNULL, stdout=out,
                              stderr=err, timeout=120)
        out.seek(0)
        err.seek(0)
        return done.returncode, out.read(), err.read().decode("utf-8", "replace")


class Graph(unittest.TestCase):
    """Each file is played once per program; every pin is compared with the stream of its PID."""

    maxDiff = None

    def play(self, path, out, *options):
        status, report, messages = tsgraph("--out", out, *options, path)
        self.assertEqual(status, PLAYED, messages)
        return json.loads(report)

    def check_file(self, name, start, packet):
        path = samples.make(name)
        for index, streams in enumerate(facts.programs(path)):
            with tempfile.TemporaryDirectory(dir=samples.SAMPLES) as out:
                report = self.play(path, out, "--program", str(index))
                self.check_delivery(report, path, start, packet)
                self.check_pins(report, path, streams, Path(out))

    def check_delivery(self, report, path, start, packet):
        packets = -(-(path.stat().st_size - start) // packet)
        self.assertTrue(report["endOfStream"])
        self.assertEqual(report["samples"], packets)
        self.assertEqual(report["bytes"], packets * 188)

    def check_pins(self, report, path, streams, out):
        video = [stream for stream in streams if stream["codec_type"] == "video"]
        audio = [stream for stream in streams if stream["codec_type"] == "audio"]
        self.assertEqual([pin["pid"] for pin in report["pins"]], [facts.pid_of(stream) for stream in video + audio])
        self.assertIn(report["durationSeconds"], facts.durations(path, video[0]))
        beside_avc = video[0]["codec_name"] == "h264"
        for pin, stream in zip(report["pins"], video + audio):
            self.assertIn(stream["codec_name"], CHECKS)
            with self.subTest(pin=pin["name"]):
                expected = facts.elementary_stream(path, facts.pid_of(stream))
                written = out / Path(pin["outputFile"].replace("\\", "/")).name
                self.assertEqual(pin["bytesWritten"], len(expected))
                self.assertTrue(written.read_bytes() == expected, f"{written.name} is not what ffmpeg extracts")
                CHECKS[stream["codec_name"]](self, pin, stream, expected, beside_avc)

    def check_type(self, pin, name, mapping, *guids):
        self.assertEqual((pin["name"], pin["mapping"]), (name, mapping))
        self.assertEqual([pin[key].upper() for key in ("majorType", "subtype", "formatType")], list(guids))
        self.assertTrue(pin["temporalCompression"])
        self.assertEqual(pin["sampleSize"], 1)
        self.assertEqual(pin["fixedSizeSamples"], guids[2] == types.FORMAT_WAVE)

    def check_mpeg2(self, pin, stream, elementary, _):
        self.check_type(pin, "MPEG2_0", "elementary_stream", types.VIDEO, types.MPEG2_VIDEO, types.FORMAT_MPEG2_VIDEO)
        header = elementary[elementary.index(b"\0\0\1\xb3"):][:22]  # no matrices; the extension follows
        self.assertEqual(types.mpeg2_video(bytes.fromhex(pin["formatBlock"])), types.VideoFormat(
            stream["height"], stream["width"], stream["height"], facts.frame_time(stream),
            stream["display_aspect_ratio"] if stream["display_aspect_ratio"] == "16:9" else "4:3",
            MAIN_PROFILE_AT_MAIN_LEVEL, header))

    def check_mpeg1(self, pin, stream, elementary, _):
        self.check_type(pin, "MPEG1_0", "elementary_stream", types.VIDEO, types.MPEG1_PAYLOAD, types.FORMAT_MPEG1_VIDEO)
        self.assertEqual(types.mpeg1_video(bytes.fromhex(pin["formatBlock"])), types.VideoFormat(
            stream["height"], stream["width"], stream["height"], facts.frame_time(stream),
            sequence_header=elementary[:12]))

    def check_h264(self, pin, stream, _elementary, _):
        self.check_type(pin, "H264_0", "transport_payload", types.MPEG2_PES, types.AVC1, types.FORMAT_VIDEO_INFO2)
        coded_height = -(-stream["height"] // 16) * 16
        self.assertEqual(types.video_info2(bytes.fromhex(pin["formatBlock"])), types.VideoFormat(
            coded_height, stream["width"], coded_height, 333667, "16:9"))

    def check_audio(self, pin, name, beside_avc, subtype, expected):
        mapping, major = ("transport_payload", types.MPEG2_PES) if beside_avc else ("elementary_stream", types.AUDIO)
        self.check_type(pin, name, mapping, major, subtype, types.FORMAT_WAVE)
        self.assertEqual(types.wave(bytes.fromhex(pin["formatBlock"])), expected)

    def check_mp2(self, pin, stream, elementary, beside_avc):
        # Mono is told by the byte behind the frame header, whatever the header's own mode bits.
        channels = 1 if elementary[4] >> 6 == 3 else 2
        self.check_audio(pin, "AUDIO_0", beside_avc, types.MPEG1_AUDIO_PAYLOAD, types.WaveFormat(
            0, channels, int(stream["sample_rate"]), int(stream["bit_rate"]) // 8, channels * 16, 16))

    def check_ac3(self, pin, stream, _, beside_avc):
        self.check_audio(pin, "AC3_0", beside_avc, types.DOLBY_AC3, types.WaveFormat(
            0, stream["channels"], int(stream["sample_rate"]), int(stream["bit_rate"]) // 8, stream["channels"] * 16,
            16))

    def check_aac(self, pin, _stream, _elementary, beside_avc):
        self.assertEqual(pin["majorType"].upper(), types.AUDIO)  # beside AVC as well
        mapping = "transport_payload" if beside_avc else "elementary_stream"
        self.check_type(pin, "AUDIO_0", mapping, types.AUDIO, types.RAW_AAC, types.FORMAT_WAVE)
        self.assertEqual(types.wave(bytes.fromhex(pin["formatBlock"])), types.WaveFormat(0, 2, 48000, 28000, 32, 16))

    def test_every_sample(self):
        layouts = {"packets-of-192.m2ts": (4, 192), "leading-garbage.ts": (5000, 188),
                   "mid-packet.ts": (samples.PACKET - 77, 188)}
        for name in samples.MAKERS:
            with self.subTest(file=name):
                self.check_file(name, *layouts.get(name, (0, 188)))


class Failures(unittest.TestCase):
    """Exit status, and a message that names the file."""

    def check(self, content, expected):
        with tempfile.TemporaryDirectory() as directory:
            path = Path(directory) / "input.ts"
            if content is not None:
                path.write_bytes(content)
            status, _, messages = tsgraph("--out", directory, path)
            self.assertEqual(status, expected, messages)
            self.assertIn("input.ts", messages)

    def test_file_without_tables(self):
        self.check(bytes([0x47, 0x1F, 0xFF, 0x10]).ljust(samples.PACKET, b"\xff") * 300, NOT_ANALYSED)

    def test_empty_file(self):
        self.check(b"", FAILED)

    def test_missing_file(self):
        self.check(None, FAILED)

    def test_output_directory_that_is_a_file(self):
        with tempfile.NamedTemporaryFile() as file:
            status, _, messages = tsgraph("--out", file.name, samples.ROOT / "tests" / "data" / "mpeg2.ts")
            self.assertEqual(status, FAILED, messages)
            self.assertIn("Not a directory", messages)


MAIN_PROFILE_AT_MAIN_LEVEL = (2, 2)  # AM_MPEG2Profile_Main, AM_MPEG2Level_Main
CHECKS = {"mpeg2video": Graph.check_mpeg2, "mpeg1video": Graph.check_mpeg1, "h264": Graph.check_h264,
          "mp2": Graph.check_mp2, "ac3": Graph.check_ac3, "aac": Graph.check_aac}

if __name__ == "__main__":
    unittest.main()
