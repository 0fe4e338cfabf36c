"""GUIDs of DirectShow's media types and the fields of their format blocks."""

import struct
from dataclasses import dataclass

BASE = "-0000-0010-8000-00AA00389B71}"
MPEG2 = "-DB46-11CF-B4D1-00805F6CBBEA}"

VIDEO = "{73646976" + BASE
AUDIO = "{73647561" + BASE
MPEG2_PES = "{E06D8020" + MPEG2
MPEG2_VIDEO = "{E06D8026" + MPEG2
MPEG2_AUDIO = "{E06D802B" + MPEG2
DOLBY_AC3 = "{E06D802C" + MPEG2
MPEG1_PAYLOAD = "{E436EB81-524F-11CE-9F53-0020AF0BA770}"
MPEG1_AUDIO_PAYLOAD = "{00000050" + BASE
RAW_AAC = "{000000FF" + BASE
AVC1 = "{31435641" + BASE
FORMAT_MPEG2_VIDEO = "{E06D80E3" + MPEG2
FORMAT_MPEG1_VIDEO = "{05589F82-C356-11CE-BF01-00AA0055595A}"
FORMAT_VIDEO_INFO2 = "{F72A76A0-EB0A-11D0-ACE4-0000C0CC16BA}"
FORMAT_WAVE = "{05589F81-C356-11CE-BF01-00AA0055595A}"


@dataclass
class VideoFormat:
    source_bottom: int
    width: int
    height: int
    frame_time: int
    aspect: str = ""
    profile_level: tuple = ()
    sequence_header: bytes = b""


def video_format(block, bitmap_header, **rest):
    """VIDEOINFOHEADER and VIDEOINFOHEADER2 agree on their first 48 bytes."""
    return VideoFormat(*struct.unpack_from("<i", block, 12), *struct.unpack_from("<ii", block, bitmap_header + 4),
                       *struct.unpack_from("<q", block, 40), **rest)


def video_info2(block, **rest):
    return video_format(block, 72, aspect="%d:%d" % struct.unpack_from("<II", block, 56), **rest)


def mpeg2_video(block):
    length, profile, level = struct.unpack_from("<III", block, 116)
    return video_info2(block, profile_level=(profile, level), sequence_header=block[132:132 + length])


def mpeg1_video(block):
    length = struct.unpack_from("<I", block, 92)[0]
    return video_format(block, 48, sequence_header=block[96:96 + length])


@dataclass
class WaveFormat:
    tag: int
    channels: int
    sample_rate: int
    byte_rate: int
    block_align: int
    bits: int
    extra: int = 0


def wave(block):
    return WaveFormat(*struct.unpack("<HHIIHHH", block))
