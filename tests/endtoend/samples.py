"""Transport streams that ffmpeg makes, kept in build/samples: made once, found there by the next run."""

import os
import subprocess
import zlib
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
SAMPLES = ROOT / "build" / "samples"
PACKET = 188

EXACT = "-fflags +bitexact -flags:v +bitexact -flags:a +bitexact -threads 1".split()
MP2 = "-c:a mp2 -b:a 96k -ac 2"
MPEG2 = "-c:v mpeg2video -b:v 900k -g 12 -bf 2 -pix_fmt yuv420p"
H264 = "-c:v libx264 -b:v 500k -g 25 -x264-params threads=1:scenecut=0 -pix_fmt yuv420p"


def picture(size="352x288", rate="25"):
    return f"-f lavfi -i testsrc2=size={size}:rate={rate}:duration=3"


def tone(rate="48000"):
    return f"-f lavfi -i sine=frequency=440:sample_rate={rate}:duration=3"


def encode(target, *arguments):
    words = " ".join(arguments).split()
    subprocess.run(["ffmpeg", "-hide_banner", "-loglevel", "error", "-y", *words, *EXACT, "-f", "mpegts", str(target)],
                   check=True, stdin=subprocess.DEVNULL)


def encoded(*arguments):
    return lambda target: encode(target, *arguments)


def mpeg1_mp2(target):
    """The multiplexer writes stream_type 2 for MPEG-1 video as well; the maps are rewritten to type 1."""
    encode(target, picture("352x240", "30000/1001"), tone("32000"), "-c:v mpeg1video -b:v 900k -g 12 -bf 2", MP2)
    target.write_bytes(with_stream_type(target.read_bytes(), 0x1000, 2, 1))


def changed(change):
    """The first sample, its bytes changed."""
    return lambda target: target.write_bytes(change(make("mpeg2-mp2.ts").read_bytes()))


NOISE = bytes((i * i * 31 + i * 7) >> 3 & 0xFF for i in range(5000))

MAKERS = {
    "mpeg2-mp2.ts": encoded(picture("720x576"), tone(), MPEG2, "-aspect 16:9", MP2),
    "mpeg2-ntsc.mpg": encoded(picture("720x480", "30000/1001"), tone("44100"), MPEG2, "-aspect 4:3", MP2),
    "mpeg1-mp2.ts": mpeg1_mp2,
    "h264-aac.ts": encoded(picture("640x360"), tone(), H264, "-c:a aac -b:a 96k -ac 2"),
    "h264-ac3.tp": encoded(picture("1280x720", "50"), tone(), H264, "-c:a ac3 -b:a 192k -ac 2"),
    "two-programs.ts": encoded(
        picture(), tone(), picture("704x576"), tone("44100"), "-map 0:v -map 1:a -map 2:v -map 3:a", MPEG2,
        "-c:a:0 ac3 -c:a:1 mp2 -b:a 128k -ac 2 -program title=First:program_num=7:st=0:st=1",
        "-program title=Second:program_num=9:st=2:st=3"),
    "packets-of-192.m2ts": encoded(picture(), tone(), MPEG2, "-c:a ac3 -b:a 128k -ac 2 -mpegts_m2ts_mode 1"),
    "leading-garbage.ts": changed(lambda stream: NOISE + stream),
    "mid-packet.ts": changed(lambda stream: stream[20 * PACKET + 77:]),
    "name with spaces, Größe 雪.ts": changed(lambda stream: stream),
}


def make(name, maker=None):
    """The sample's path; it is made where it is not there yet, or older than this file."""
    path = SAMPLES / name
    if not path.exists() or path.stat().st_mtime < Path(__file__).stat().st_mtime:
        SAMPLES.mkdir(parents=True, exist_ok=True)
        unfinished = path.with_name("unfinished-" + path.name)
        (maker or MAKERS[name])(unfinished)
        os.replace(unfinished, path)
    return path


def crc32(data):
    """CRC_32 of ISO/IEC 13818-1, annex A: zlib's, with the bits of every byte and of the result in reverse."""
    crc = zlib.crc32(bytes(int(f"{byte:08b}"[::-1], 2) for byte in data)) ^ 0xFFFFFFFF
    return int(f"{crc:032b}"[::-1], 2).to_bytes(4, "big")


def with_stream_type(stream, pmt_pid, old, new):
    """The stream with one stream_type replaced in the program maps, which lie in one packet each."""
    data = bytearray(stream)
    for at in range(0, len(data), PACKET):
        if (data[at + 1] & 0x1F) << 8 | data[at + 2] == pmt_pid:
            section = at + 5
            end = section + 3 + ((data[section + 1] & 0x0F) << 8 | data[section + 2])
            entry = section + 12 + ((data[section + 10] & 0x0F) << 8 | data[section + 11])
            assert data[entry] == old, f"{data[entry]} is not the stream_type {old}"
            data[entry] = new
            data[end - 4:end] = crc32(data[section:end - 4])
    return bytes(data)
