"""tsprobe as people and programs call it, natively and under Wine."""

import json
import os
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

import samples

HOST = [str(samples.ROOT / "build" / "host" / "tsprobe")]
WINE = ["wine", str(samples.ROOT / "build" / "windows" / "tsprobe.exe")]
DATA = samples.ROOT / "tests" / "data"

KEYS = ["file", "fileSize", "packetSize", "analysed", "startOffset", "durationSeconds", "currentProgram", "programs",
        "streams", "video", "audio", "descriptions", "avc"]
VIDEO_KEYS = ["pid", "streamId", "streamType", "filePosition", "profile", "level", "codedWidth", "codedHeight",
              "vbvBufferBytes", "frameTicks90k", "avgTimePerFrame", "frameRate", "bitRate", "pelsPerMeterX",
              "pelsPerMeterY", "aspectX", "aspectY", "firstPts", "progressive", "videoFormat", "sequenceHeader"]
AUDIO_KEYS = ["pid", "streamId", "layer", "filePosition", "sampleRate", "avgBytesPerSec", "streamType", "isLpcm",
              "channels", "bitsPerSample"]


def run(command, *arguments):
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:  # Wine's servers keep pipes open
        environment = {**os.environ, "WINEDEBUG": "-all", "WINEPREFIX": str(samples.ROOT / "build" / "wine")}
        status = subprocess.run([*command, *map(str, arguments)], stdout=out, stderr=err, stdin=subprocess.DEVNULL,
                                cwd=samples.ROOT, env=environment).returncode
        out.seek(0)
        err.seek(0)
        return status, out.read().decode("utf-8"), err.read().decode("utf-8")


class Json(unittest.TestCase):
    def test_keys_and_kinds(self):
        status, out, _ = run(HOST, "--json", "tests/data/two-programs.ts")
        report = json.loads(out)
        self.assertEqual(status, 0)
        self.assertEqual(list(report), KEYS)
        self.assertEqual(list(report["video"][0]), VIDEO_KEYS)
        self.assertEqual(list(report["audio"][0]), AUDIO_KEYS)
        self.assertEqual(report["streams"][0], {"pid": 0, "pmtPid": 0, "streamType": 0, "programNumber": 0})
        self.assertEqual(report["programs"][1],
                         {"index": 1, "pmtPid": 0x1001, "programNumber": 2, "name": "Program 2"})
        self.assertIn('"durationSeconds": 2.92,', out)
        self.assertEqual(len(report["avc"]), 23)

    def test_the_selected_program_is_shown(self):
        report = json.loads(run(HOST, "--json", "--program", "1", "tests/data/two-programs.ts")[1])
        self.assertEqual(report["currentProgram"], {"index": 1, "pmtPid": 0x1001, "programNumber": 2})
        self.assertEqual([entry["text"] for entry in report["descriptions"]],
                         ["MPEG2 Video (0x0102)", "AC3 (0x0103)"])
        self.assertIsNone(report["avc"])

    def test_a_file_that_cannot_be_analysed(self):
        status, out, _ = run(HOST, "--json", "LICENSE")
        report = json.loads(out)
        self.assertEqual(status, 1)
        self.assertEqual(list(report), KEYS)
        self.assertEqual((report["analysed"], report["video"], report["audio"], report["descriptions"], report["avc"]),
                         (False, [], [], [], None))
        self.assertIn('"durationSeconds": 4000000000000.0,', out)
        self.assertIsNone(report["currentProgram"]["index"])

    def test_default_pids(self):
        report = json.loads(run(HOST, "--json", "--default-pids", "0,0x200,2,0x201,3", "tests/data/mpeg2.ts")[1])
        self.assertEqual([entry["pid"] for entry in report["streams"]], [0, 0x200, 0x201])
        self.assertEqual(report["programs"][0]["pmtPid"], 0x0100)
        self.assertEqual([entry["text"] for entry in report["descriptions"]],
                         ["MPEG2 Video (0x0200)", "MPEG1 Audio (0x0201)"])

    def test_windows_prints_the_same(self):
        for arguments in (["tests/data/two-programs.ts"], ["--program", "1", "tests/data/two-programs.ts"], ["LICENSE"]):
            with self.subTest(arguments):
                host = run(HOST, "--json", *arguments)
                windows = run(WINE, "--json", *arguments)
                self.assertEqual(windows[:2], host[:2])


class Errors(unittest.TestCase):
    def test_wrong_arguments_are_one_line_that_says_what(self):
        sample = "tests/data/mpeg2.ts"
        for arguments, word in (([], "FILE"), (["--wrong", sample], "--wrong"), (["--program", "x", sample], "'x'"),
                                (["--program", "1", sample], "1"), (["--buffer-size", "-1", sample], "-1"),
                                (["--default-pids", "1,2,3", sample], "1,2,3"),
                                (["--program", "", sample], "--program: ''"),
                                (["--buffer-size", "", sample], "--buffer-size: ''"),
                                (["--default-pids", "", sample], "--default-pids: ''"),
                                (["--default-pids", "1,2,3,4,65536", sample], "65536"),
                                (["--json", sample, sample], "--json"), (["none.ts"], "none.ts"),
                                (["tests/data"], "tests/data")):
            with self.subTest(arguments):
                status, out, err = run(HOST, *arguments)
                self.assertEqual((status, out, err.count("\n")), (2, "", 1), err)
                self.assertIn(word, err)

    def test_an_empty_file_is_not_loaded(self):
        with tempfile.NamedTemporaryFile(suffix=".ts") as empty:
            self.assertEqual(run(HOST, "--json", empty.name)[:2], (2, ""))

    def test_a_full_disk_is_told(self):
        for option in ([], ["--json"]):
            with open("/dev/full", "wb") as full:
                done = subprocess.run([*HOST, *option, str(DATA / "mpeg2.ts")], stdout=full, stderr=subprocess.PIPE)
            self.assertEqual(done.returncode, 2)
            self.assertIn(b"cannot be written", done.stderr)


class Text(unittest.TestCase):
    def test_several_files_go_on_behind_one_that_fails(self):
        status, out, err = run(HOST, "tests/data/mpeg2.ts", "none.ts", "LICENSE", "tests/data/two-programs.ts")
        self.assertEqual(status, 2)
        self.assertIn("none.ts", err)
        for words in ("MPEG-2 video", "0:00:02.920", "too short", "H.264 (AVC) video", "CABAC"):
            self.assertIn(words, out)

    def test_the_reason_says_what_to_try(self):
        stream = (DATA / "mpeg2.ts").read_bytes()
        packets = [stream[at:at + 188] for at in range(0, len(stream), 188)]
        pid_of = lambda packet: (packet[1] & 0x1F) << 8 | packet[2]
        with tempfile.TemporaryDirectory() as directory:
            for dropped, words in ((0, "no program association table"), (0x1000, "no program map table")):
                path = Path(directory) / f"without-{dropped}.ts"
                path.write_bytes(b"".join(packet for packet in packets if pid_of(packet) != dropped))
                status, out, _ = run(HOST, path)
                self.assertEqual(status, 1)
                self.assertIn(words, out)
                self.assertIn("--default-pids", out)

    def test_names_of_other_scripts_on_windows(self):
        with tempfile.TemporaryDirectory() as directory:
            path = Path(directory) / "zwei Träger и 节目.ts"
            shutil.copy(DATA / "mpeg2.ts", path)
            status, out, err = run(WINE, path)
            self.assertEqual(status, 0, err)
            self.assertIn(path.name, out)

    def test_help_and_version(self):
        self.assertIn("--default-pids", run(HOST, "--help")[1])
        self.assertEqual(run(HOST, "--version")[:2], (0, "tsprobe 3.0.122.0\n"))


if __name__ == "__main__":
    unittest.main()
