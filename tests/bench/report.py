"""Runs the benchmarks and prints their tables: what was timed, what it stands beside, the ratio, and its aim."""

import json
import statistics
import subprocess
import sys
import timeit
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
OUTPUT = ROOT / "build" / "bench"
TYPICAL_BYTES = 20_000_000
DELIVERED_BYTES = 200_000_000  # so long that the start of a thread does not show
PROCESS_ROUNDS = 31
NATIVE_ROUNDS = 41


def run(*command):
    return subprocess.run([str(word) for word in command], cwd=ROOT, check=True, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout


def make_typical_file(path):
    """AVC and AC-3 as a camera or a broadcast has them."""
    run("ffmpeg", "-y", "-f", "lavfi", "-i", "testsrc2=size=1280x720:rate=25", "-f", "lavfi", "-i", "sine=frequency=440",
        "-t", "20", "-c:v", "libx264", "-preset", "ultrafast", "-b:v", "7M", "-minrate", "7M", "-maxrate", "7M",
        "-bufsize", "4M", "-x264-params", "nal-hrd=cbr", "-c:a", "ac3", path)
    content = path.read_bytes()
    path.write_bytes((content * (TYPICAL_BYTES // len(content) + 1))[:TYPICAL_BYTES // 188 * 188])


def seconds_of_process(*command):
    return statistics.median(timeit.repeat(lambda: run(*command), number=1, repeat=PROCESS_ROUNDS))


def duration(microseconds):
    for unit, scale in (("s", 1e6), ("ms", 1e3)):
        if microseconds >= scale:
            return f"{microseconds / scale:.3g} {unit}"
    return f"{microseconds:.3g} us"


def table(title, *rows, slower=False):
    """Of rows: what was timed, its time, what it stands beside, that one's time, and the aim. The ratio tells how many
    times faster it is, or slower."""
    lines = [f"## {title}", "", "| What | Time | Beside | Time | Ratio | Aim |", "|---|---|---|---|---|---|"]
    for what, own, beside, other, aim in rows:
        ratio = own / other if slower else other / own
        lines.append(f"| {what} | {duration(own)} | {beside} | {duration(other)} | {ratio:.2f} | {aim} |")
    return "\n".join(lines) + "\n"


def native(typical):
    """Processor time in microseconds by 'what/file', and the memory that the typical file's analysis takes. Reads and
    loads take turns, and the least time of each counts: what else goes on in the machine only adds."""
    output = run(ROOT / "build/host/load_bench", "--benchmark_format=json", "--benchmark_min_time=0.02",
                 f"--benchmark_repetitions={NATIVE_ROUNDS}", "--benchmark_enable_random_interleaving=true", typical)
    entries = [entry for entry in json.loads(output)["benchmarks"] if entry["run_type"] == "iteration"]
    times = {}
    for entry in sorted(entries, key=lambda entry: entry["family_index"]):
        times.setdefault(entry["name"].removesuffix("/real_time"), []).append(entry["cpu_time"])
    memory = next(entry["memory"] for entry in entries if entry["name"].startswith(f"load/{typical.name}"))
    return {name: min(rounds) for name, rounds in times.items()}, memory


def search_rows(times):
    """Full tables ask for more than one search of every block, and have a limit in seconds instead."""
    for name, own in times.items():
        kind, _, file = name.partition("/")
        if kind == "read" or (kind == "load" and f"videoInfo/{file}" in times) or file.endswith(".ts"):
            continue
        what = "GetVideoInfo of " if kind == "videoInfo" else ""
        yield what + file, own, "a plain read", times[f"read/{file}"], "10 s" if "full maps" in file else "at least 0.8"


def delivery(path, rounds):
    """Medians of what the rounds tell."""
    output = run("wine", ROOT / "build/windows/delivery_bench.exe", path, rounds)
    lines = [json.loads(line) for line in output.splitlines()]
    return {name: statistics.median(line[name] for line in lines if name in line) for name in set().union(*lines)}


def main():
    OUTPUT.mkdir(parents=True, exist_ok=True)
    typical = OUTPUT / "typical.ts"
    long = OUTPUT / "long.ts"
    make_typical_file(typical)
    long.write_bytes(typical.read_bytes() * (DELIVERED_BYTES // TYPICAL_BYTES))
    times, memory = native(typical)
    tsprobe = 1e6 * seconds_of_process(ROOT / "build/host/tsprobe", "--json", typical)
    ffprobe = "ffprobe, whole process", 1e6 * seconds_of_process("ffprobe", "-v", "error", "-show_streams", typical)
    delivered = delivery(long, rounds=15)
    packet, read = (delivered[name] / delivered["samples"] for name in ("delivery", "reads"))
    report = "\n".join([
        table("Loading", ("load of the typical file", times[f"load/{typical.name}"], *ffprobe, "at least 20"),
              ("tsprobe, whole process", tsprobe, *ffprobe, "at least 20")),
        table("Difficult files of 100 MB: load, as a share of the plain read's speed", *search_rows(times)),
        table("Delivery under Wine", ("a packet, delivered", packet, "a packet, only read", read, "at most 1.15"),
              ("from creation to the first sample", delivered["firstSample"], "a thread that opens the file and reads",
               delivered["firstRead"], "-"), slower=True),
        f"Memory that a loaded analysis takes: {memory:.0f} bytes, of which the read buffer is 33000.\n",
    ])
    (OUTPUT / "report.md").write_text(report)
    for file in (typical, long):
        file.unlink()
    sys.stdout.write(report)


if __name__ == "__main__":
    main()
