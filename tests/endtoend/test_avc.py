"""The facts about H.264 streams that tsprobe shows, beside the encoder's settings and ffprobe."""

import json
from dataclasses import dataclass, field

import ffmpeg_facts as facts
import pytest
import samples
from programs import TSPROBE, run


@dataclass
class Stream:
    name: str
    settings: str  # x264-params
    options: str = ""
    rate: str = "25"
    facts: dict = field(default_factory=dict)
    b_run: int = 0
    fields: bool = False


STREAMS = [
    Stream("baseline", "keyint=10:bframes=0:cabac=0", "-profile:v baseline",
           facts={"profile_idc": 66, "entropy_coding_mode_flag": 0, "slicesPerPicture": 1}),
    Stream("main-b1", "keyint=16:bframes=1:b-adapt=0", "-profile:v main", b_run=1,
           facts={"profile_idc": 77, "entropy_coding_mode_flag": 1}),
    Stream("high-b2", "keyint=25:bframes=2:b-adapt=0:b-pyramid=none:ref=3", b_run=2,
           facts={"profile_idc": 100, "num_ref_frames": 3, "frameRateTimes100": 2500}),
    Stream("b3-pyramid", "keyint=24:bframes=3:b-adapt=0:b-pyramid=normal", b_run=3),
    Stream("slices", "keyint=12:bframes=0:slices=4", facts={"slicesPerPicture": 4}),
    Stream("cavlc", "keyint=12:bframes=2:b-adapt=0:cabac=0", b_run=2, facts={"entropy_coding_mode_flag": 0}),
    Stream("open-gop", "keyint=12:bframes=2:b-adapt=0:open-gop=1", b_run=2),
    Stream("interlaced", "keyint=20:bframes=2:b-adapt=0:tff=1", "-flags +ildct+ilme", b_run=2, fields=True,
           facts={"frame_mbs_only_flag": 0, "mb_adaptive_frame_field_flag": 1}),
    Stream("hrd", "keyint=25:bframes=0:vbv-maxrate=640:vbv-bufsize=320:nal-hrd=vbr", "-b:v 500k",
           facts={"nal_hrd_parameters_present_flag": 1, "hrdBitRate": 640000, "hrdCpbSize": 320000,
                  "estimatedAverageBitRate": 512000}),
    Stream("ntsc", "keyint=15:bframes=0", rate="30000/1001",
           facts={"frameRateTimes100": 2997, "timing_info_present_flag": 1}),
]


def make(stream):
    """Encodes once; the name holds everything that matters."""
    samples.SAMPLES.mkdir(parents=True, exist_ok=True)
    target = samples.SAMPLES / f"avc-{stream.name}.ts"
    if not target.exists():
        params = f"threads=1:scenecut=0:min-keyint=1:{stream.settings}"
        samples.encode(target, samples.picture("640x352", stream.rate),
                       f"-c:v libx264 -pix_fmt yuv420p {stream.options} -x264-params {params}")
    return target


@pytest.mark.parametrize("stream", STREAMS, ids=lambda stream: stream.name)
def test_facts_are_the_encoders(stream):
    path = make(stream)
    shown = json.loads(run(TSPROBE, "--json", path)[1])
    avc = shown["avc"]
    judge = facts.probe(path, "-select_streams", "v", "-show_streams", "-show_entries", "packet=flags", "-show_packets")
    keyframes = [index for index, packet in enumerate(judge["packets"]) if packet["flags"].startswith("K")]
    video = judge["streams"][0]
    share = 2 if stream.fields else 1  # a stream that may code fields has its pictures counted in halves
    expected = {"level_idc": video["level"], "gopPictureCount": keyframes[1] // share,
                "bFrameRun": stream.b_run // share, **stream.facts}
    assert {name: avc[name] for name in expected} == expected
    record = shown["video"][0]
    assert (record["codedWidth"], record["codedHeight"]) == (video["coded_width"], video["coded_height"])
    assert record["progressive"] == (0 if stream.fields else 1)
    assert avc["initialCpbRemovalDelay"] > 0 or not avc["nal_hrd_parameters_present_flag"]
