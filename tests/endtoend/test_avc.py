"""The facts about H.264 streams that tsprobe shows, beside the encoder's settings and ffprobe."""

import json

import ffmpeg_facts as facts
import pytest
import samples
from programs import TSPROBE, run


def stream(name, settings, options="", rate="25", **expected):
    """An encoding with x264-params and other options, and facts that its settings tell."""
    params = f"-x264-params threads=1:scenecut=0:min-keyint=1:{settings}"
    maker = samples.encoded(samples.picture("640x352", rate), "-c:v libx264 -pix_fmt yuv420p", options, params)
    return pytest.param(f"avc-{name}.ts", maker, {"bFrameRun": 0, **expected}, id=name)


@pytest.mark.parametrize("name, maker, expected", [
    stream("baseline", "keyint=10:bframes=0:cabac=0", "-profile:v baseline",
           profile_idc=66, entropy_coding_mode_flag=0, slicesPerPicture=1),
    stream("main-b1", "keyint=16:bframes=1:b-adapt=0", "-profile:v main",
           profile_idc=77, entropy_coding_mode_flag=1, bFrameRun=1),
    stream("high-b2", "keyint=25:bframes=2:b-adapt=0:b-pyramid=none:ref=3",
           profile_idc=100, num_ref_frames=3, frameRateTimes100=2500, bFrameRun=2),
    stream("b3-pyramid", "keyint=24:bframes=3:b-adapt=0:b-pyramid=normal", bFrameRun=3),
    stream("slices", "keyint=12:bframes=0:slices=4", slicesPerPicture=4),
    stream("open-gop", "keyint=12:bframes=2:b-adapt=0:open-gop=1", bFrameRun=2),
    stream("interlaced", "keyint=20:bframes=2:b-adapt=0:tff=1", "-flags +ildct+ilme",
           frame_mbs_only_flag=0, mb_adaptive_frame_field_flag=1, bFrameRun=1),
    stream("hrd", "keyint=25:bframes=0:vbv-maxrate=640:vbv-bufsize=320:nal-hrd=vbr", "-b:v 500k",
           nal_hrd_parameters_present_flag=1, hrdBitRate=640000, hrdCpbSize=320000, estimatedAverageBitRate=512000),
    stream("ntsc", "keyint=15:bframes=0", rate="30000/1001", frameRateTimes100=2997, timing_info_present_flag=1)])
def test_facts_are_the_encoders(name, maker, expected):
    path = samples.make(name, maker)
    shown = json.loads(run(TSPROBE, "--json", path)[1])
    avc = shown["avc"]
    judge = facts.probe(path, "-select_streams", "v", "-show_streams", "-show_entries", "packet=flags", "-show_packets")
    keyframes = [index for index, packet in enumerate(judge["packets"]) if packet["flags"].startswith("K")]
    video = judge["streams"][0]
    # A stream that may code fields has its pictures counted in halves.
    progressive = expected.get("frame_mbs_only_flag", 1)
    expected |= {"level_idc": video["level"], "gopPictureCount": keyframes[1] // (2 - progressive)}
    assert {name: avc[name] for name in expected} == expected
    record = shown["video"][0]
    assert (record["codedWidth"], record["codedHeight"]) == (video["coded_width"], video["coded_height"])
    assert record["progressive"] == progressive
    assert avc["initialCpbRemovalDelay"] > 0 or not avc["nal_hrd_parameters_present_flag"]
