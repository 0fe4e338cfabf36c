"""What ffprobe and ffmpeg say about a file: the independent judges of what the filter graph makes of it."""

import json
import math
import subprocess
from fractions import Fraction

CLOCK = 90000

# A duration is looked for in blocks before the file's end. What lies behind the last block, and its own last packets,
# which it may find no footing in, does not count; the two sizes bound where that begins.
LAST_BLOCK_BYTES = 33004
UNSEEN_BYTES = (916, 1104)


def probe(path, *options):
    command = ["ffprobe", "-v", "quiet", *options, "-of", "json", str(path)]
    return json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout)


def programs(path):
    """The streams of every program in the order of their numbers."""
    found = sorted(probe(path, "-show_programs")["programs"], key=lambda program: program["program_num"])
    return [program["streams"] for program in found]


def pid_of(stream):
    return int(stream["id"], 16)


def elementary_stream(path, pid):
    """The stream's bytes as they are; ffmpeg takes them out of their PES packets and changes nothing."""
    command = ["ffmpeg", "-v", "quiet", "-i", str(path), "-map", f"0:i:{pid}", "-c", "copy", "-copyinkf",
               "-f", "data", "-"]
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, stdin=subprocess.DEVNULL).stdout


def durations(path, stream):
    """The durations that may be found: from the first key picture to the last time stamp in the file's order.

    AVC streams are measured from the clock's 0. Which time stamp is the last depends on whether its packet is seen.
    """
    packets = probe(path, "-select_streams", f"i:{pid_of(stream)}", "-show_packets")["packets"]
    size = path.stat().st_size
    first = next(int(packet["pts"]) for packet in packets if packet["flags"].startswith("K"))
    if stream["codec_name"] == "h264":
        first = 0
    seen = [[packet for packet in packets if int(packet["pos"]) <= size - unseen] for unseen in UNSEEN_BYTES]
    assert all(int(some[-1]["pos"]) >= size - LAST_BLOCK_BYTES for some in seen), f"{path}: nothing in the last block"
    return {(int(some[-1]["pts"]) - first) / CLOCK for some in seen}


def frame_time(stream):
    """100 ns units, from the rate in the decimals that sequence headers are read with."""
    rate = Fraction(stream["r_frame_rate"])
    decimal = round(float(rate), 3 if rate < 24 else 2)
    return math.trunc(1e7 / decimal)
