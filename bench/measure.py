#!/usr/bin/env python3
"""Times Windows programs under Wine for the benchmarks in this folder.

Every case runs as a whole process, as a parent would start it, and the
cases of one comparison run interleaved, in a new order each round, so that
a drift of the machine hits all of them alike. A result is the median of the
rounds with its spread (lowest and highest), so that a noisy machine shows
as noise and not as a result. Peak memory is the process's peak resident
set, read from wait4 when it ends (under Wine the Windows process is the
Unix process that the wine command becomes).

  measure.py startup <bin folder> [rounds]
  measure.py throughput <bin folder> [seconds of audio] [rounds]
  measure.py widths <64-bit bin folder> <32-bit bin folder> [seconds of audio] [rounds]

The caller has started a persistent wineserver in WINEPREFIX (bench/startup
and bench/throughput do, through scripts/lib.sh).
"""
import os
import random
import statistics
import struct
import subprocess
import sys
import tempfile
import time

RATE, CHANNELS = 44100, 2
# A process that has just ended leaves Wine clean-up running for a few
# hundred milliseconds (longer after a long run), and a run that starts then
# pays for it; a machine left idle for a second or more makes the next run
# slower again (measured on a 2-core virtual machine: a run 0.2 s after the
# last took about 5 ms longer than one 0.5 s after, and one 1 s after about
# 15 ms longer).
SETTLE_SECONDS = 0.5


def winpath(path):
    return "Z:" + os.path.abspath(path).replace("/", "\\")


class Desktop:
    """Keeps Wine's desktop process alive while the benchmark runs.

    On Windows the desktop always exists. Wine starts it for the first
    process with a message queue and stops it a second after the last one
    ends, so without this every run, the baselines' included, would pay for
    starting it, or not, depending on how close it came to the one before."""

    def __init__(self, bin_dir):
        self.process = subprocess.Popen(["wine", os.path.join(bin_dir, "bench_desktop.exe")],
                                        stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        time.sleep(1.0)

    def close(self):
        self.process.stdin.close()
        self.process.wait()


class Result:
    def __init__(self, label):
        self.label, self.seconds, self.peak_kib = label, [], []

    def median(self):
        return statistics.median(self.seconds)

    def spread(self):
        return "%.1f-%.1f ms" % (min(self.seconds) * 1000, max(self.seconds) * 1000)

    def peak_mib(self):
        return statistics.median(self.peak_kib) / 1024


def run_once(command, stdin_path):
    time.sleep(SETTLE_SECONDS)
    with open(stdin_path or os.devnull, "rb") as stdin:
        start = time.perf_counter()
        process = subprocess.Popen(command, stdin=stdin, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        stderr = process.stderr.read()
        _, status, usage = os.wait4(process.pid, 0)
        elapsed = time.perf_counter() - start
    process.returncode = 0  # reaped above
    if status != 0:
        raise SystemExit("failed (status %d): %s\n%s" % (status, " ".join(command), stderr.decode(errors="replace")))
    return elapsed, usage.ru_maxrss


def measure(cases, rounds, pair_of=lambda label: label):
    """cases: {label: (command, stdin path or None)}; returns {label: Result}.
    Cases with the same pair_of(label) run one right after the other, so
    that the runs a ratio compares are close. The groups come in a new
    random order each round, and a new one each time the benchmark runs (a
    fixed order once put the same case after the same slow one every time);
    within a group the order turns round by round, so that each case comes
    first as often as the others."""
    results = {label: Result(label) for label in cases}
    groups = {}
    for label in cases:
        groups.setdefault(pair_of(label), []).append(label)
    groups = list(groups.values())
    shuffle = random.Random()
    for round_number in range(rounds):
        shuffle.shuffle(groups)
        for group in groups:
            turn = round_number % len(group)
            for label in group[turn:] + group[:turn]:
                seconds, peak = run_once(*cases[label])
                results[label].seconds.append(seconds)
                results[label].peak_kib.append(peak)
    return results


def le32(*values):
    return struct.pack("<%dI" % len(values), *values)


def write_inputs(folder, seconds):
    """Noise, so that nothing is special about the bytes, as a plain stream
    and as chunked messages of one second each with a format and a drain.
    Written a second at a time: the processes started later inherit this
    one's peak memory as the floor of theirs."""
    files = {}
    for bits, tag in ((16, 1), (32, 3)):
        second = RATE * CHANNELS * bits // 8
        plain = os.path.join(folder, "plain%d.raw" % bits)
        chunked = os.path.join(folder, "chunked%d.msg" % bits)
        with open(plain, "wb") as plain_out, open(chunked, "wb") as out:
            out.write(le32(3, 20, RATE, CHANNELS, tag, CHANNELS, tag))
            for _ in range(seconds):
                audio = os.urandom(second)
                plain_out.write(audio)
                out.write(le32(1, second) + audio)
            out.write(le32(4, 0))
        files[bits] = (plain, chunked)
    return files


def ratio_line(label, numerator, denominator, note):
    """The median of the rounds' own ratios: the two runs of a round ran
    close together, so a drift of the machine cancels out of each."""
    ratios = sorted(n / d for n, d in zip(numerator.seconds, denominator.seconds))
    print("%-44s %.2f   spread %.2f-%.2f   (%s)" %
          (label, statistics.median(ratios), ratios[0], ratios[-1], note))


def print_results(results):
    for result in results.values():
        print("  %-42s median %8.1f ms  spread %-20s peak %5.1f MiB" %
              (result.label, result.median() * 1000, result.spread(), result.peak_mib()))


def startup(bin_dir, rounds):
    plugins = {"VST 2": winpath(os.path.join(bin_dir, "plugins", "fx_effect.dll")),
               "VST 3": winpath(os.path.join(bin_dir, "plugins", "fx3_gain.vst3"))}
    fxhost, baseline = os.path.join(bin_dir, "fxhost.exe"), os.path.join(bin_dir, "bench_baseline.exe")
    cases = {"trivial program": (["wine", os.path.join(bin_dir, "bench_trivial.exe")], None)}
    for kind, plugin in plugins.items():
        cases["fxhost test, " + kind] = (["wine", fxhost, "test", "--vst", plugin], None)
        cases["start-up baseline, " + kind] = (["wine", baseline, "startup", plugin], None)
    print("start-up: %d interleaved rounds" % rounds)
    results = measure(cases, rounds, lambda label: label.split(", ")[-1])
    print_results(results)
    for kind in plugins:
        ratio_line("fxhost test / start-up baseline, " + kind, results["fxhost test, " + kind],
                   results["start-up baseline, " + kind], "aim: 1.1 or less")
    return results


def throughput(bin_dir, seconds, rounds):
    plugins = {"VST 2": (winpath(os.path.join(bin_dir, "plugins", "fx_effect.dll")), "2"),
               "VST 3": (winpath(os.path.join(bin_dir, "plugins", "fx3_gain.vst3")), "3")}
    fxhost, baseline = os.path.join(bin_dir, "fxhost.exe"), os.path.join(bin_dir, "bench_baseline.exe")
    folder = tempfile.mkdtemp(prefix="fxhost-bench.")
    files = write_inputs(folder, seconds)
    print("throughput: %d s of %d Hz %d-channel audio, %d interleaved rounds; each run is a whole process"
          % (seconds, RATE, CHANNELS, rounds))
    all_results = {}
    for bits, tag in ((16, 1), (32, 3)):
        plain, chunked = files[bits]
        frame = CHANNELS * bits // 8
        cases = {}
        for kind, (plugin, version) in plugins.items():
            common = ["wine", fxhost, "process", "--vst", plugin, "--vst-version", version,
                      "--bits", str(bits), "--formattag", str(tag)]
            cases["plain %d-bit, fxhost, %s" % (bits, kind)] = (
                common + ["--rate", str(RATE), "--channels", str(CHANNELS)], plain)
            cases["chunked %d-bit, fxhost, %s" % (bits, kind)] = (common + ["--protocol", "chunked"], chunked)
            cases["plain %d-bit, baseline, %s" % (bits, kind)] = (
                ["wine", baseline, "plain", plugin, str(512 * frame), str(512 * frame)], plain)
            cases["chunked %d-bit, baseline, %s" % (bits, kind)] = (
                ["wine", baseline, "chunked", plugin, str(frame), str(frame)], chunked)
        # The four runs of one protocol and sample size ("plain 16-bit, ...")
        # come together, so that both of their ratios, against the baseline
        # and VST 3 against VST 2, compare runs made close together.
        results = measure(cases, rounds, lambda label: label.split(", ")[0])
        print_results(results)
        all_results.update(results)
    print("ratios (baseline time / fxhost time; VST 2 time / VST 3 time):")
    for bits in (16, 32):
        for protocol in ("plain", "chunked"):
            for kind in plugins:
                head = "%s %d-bit, " % (protocol, bits)
                ratio_line(head + "fxhost / baseline, " + kind, all_results[head + "baseline, " + kind],
                           all_results[head + "fxhost, " + kind], "aim: 0.9 or more")
            ratio_line(head + "VST 3 / VST 2", all_results[head + "fxhost, VST 2"],
                       all_results[head + "fxhost, VST 3"], "aim: 0.95 or more")
    startup_peak = measure({"start-up baseline": (["wine", baseline, "startup", plugins["VST 2"][0]], None)}, rounds)
    base_mib = startup_peak["start-up baseline"].peak_mib()
    print("peak memory against the start-up baseline's %.1f MiB (aim: within 8 MiB):" % base_mib)
    for result in all_results.values():
        if ", fxhost, " in result.label:
            print("  %-42s %+5.1f MiB" % (result.label, result.peak_mib() - base_mib))

    # The live loop: float messages through a plug-in with parameters and
    # no editor, so that the generic dialog is open throughout (the stream's
    # end closes it), against process on the same messages. The window has
    # a fixed cost to open and close (most of it, under Wine, the common
    # controls and Wine's work per window), which the one-block pair shows;
    # the audio runs beside it on the worker, and writes nothing back. The
    # stream above, and ten times as long, show what is left of the fixed
    # cost once there is audio to hide it behind.
    plugin = plugins["VST 2"][0]
    second = RATE * CHANNELS * 4
    block = le32(1, 512 * CHANNELS * 4) + os.urandom(512 * CHANNELS * 4)
    cases = {}
    for label, count in (("one block", 0), ("%d s" % seconds, seconds), ("%d s" % (10 * seconds), 10 * seconds)):
        path = os.path.join(folder, "live32-%s.msg" % label.replace(" ", "-"))
        with open(path, "wb") as out:
            out.write(le32(3, 20, RATE, CHANNELS, 3, CHANNELS, 3))
            if count == 0:
                out.write(block)
            audio = os.urandom(second)
            for _ in range(count):
                out.write(le32(1, second) + audio)
        common = ["--vst", plugin, "--vst-version", "2", "--bits", "32", "--formattag", "3"]
        cases["process --protocol chunked, " + label] = (
            ["wine", fxhost, "process"] + common + ["--protocol", "chunked"], path)
        cases["configure-live, " + label] = (["wine", fxhost, "configure-live"] + common, path)
    results = measure(cases, rounds, lambda label: label.split(", ")[-1])
    print_results(results)
    fixed = results["configure-live, one block"].median() - results["process --protocol chunked, one block"].median()
    print("%-44s %+.1f ms" % ("the window's fixed cost (one block)", fixed * 1000))
    for label, note in (("%d s" % seconds, "whole runs, the window's fixed cost included"),
                        ("%d s" % (10 * seconds), "aim: 0.9 or more, once the audio outlasts the window's start")):
        ratio_line("configure-live / process, " + label, results["process --protocol chunked, " + label],
                   results["configure-live, " + label], note)

    # The HTTP client: the plain float stream from a loopback http:// URL
    # against the same bytes from a local file.
    server = subprocess.Popen([sys.executable, os.path.join(os.path.dirname(__file__), "..", "tests", "servers",
                                                            "http_server.py"),
                               "--root", folder, "--port-file", os.path.join(folder, "port")],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        port_file = os.path.join(folder, "port")
        while not os.path.exists(port_file) or not open(port_file).read().strip():
            time.sleep(0.1)
        url = "http://127.0.0.1:%s/file/plain32.raw" % open(port_file).read().strip()
        common = ["wine", fxhost, "process", "--vst", plugin, "--vst-version", "2", "--bits", "32",
                  "--formattag", "3", "--rate", str(RATE), "--channels", str(CHANNELS),
                  "--output", winpath(os.path.join(folder, "out.raw"))]
        results = measure({"--input file": (common + ["--input", winpath(files[32][0])], None),
                           "--input http://127.0.0.1": (common + ["--input", url], None)}, rounds)
        print_results(results)
        ratio_line("http / file", results["--input file"], results["--input http://127.0.0.1"], "aim: 0.8 or more")
    finally:
        server.kill()
        server.wait()
    subprocess.run(["rm", "-rf", folder])


def widths(bin64, bin32, seconds, rounds):
    """fxhost32.exe against fxhost.exe: each width's build of the same
    plug-in, the same chunked float stream, and the start-up of a test."""
    folder = tempfile.mkdtemp(prefix="fxhost-bench.")
    chunked = write_inputs(folder, seconds)[32][1]
    print("widths: %d s of %d Hz %d-channel float audio, chunked, %d interleaved rounds" %
          (seconds, RATE, CHANNELS, rounds))
    cases = {}
    for width, program in (("64-bit", os.path.join(bin64, "fxhost.exe")),
                           ("32-bit", os.path.join(bin32, "fxhost32.exe"))):
        for kind, name, version in (("VST 2", "fx_effect.dll", "2"), ("VST 3", "fx3_gain.vst3", "3")):
            plugin = winpath(os.path.join(bin64 if width == "64-bit" else bin32, "plugins", name))
            cases["test, %s, %s" % (kind, width)] = (["wine", program, "test", "--vst", plugin], None)
            cases["process, %s, %s" % (kind, width)] = (
                ["wine", program, "process", "--vst", plugin, "--vst-version", version, "--bits", "32",
                 "--formattag", "3", "--protocol", "chunked"], chunked)
    results = measure(cases, rounds, lambda label: label.rsplit(", ", 1)[0])
    print_results(results)
    print("ratios (64-bit time / 32-bit time):")
    for pair in sorted({label.rsplit(", ", 1)[0] for label in cases}):
        ratio_line(pair + ", 64-bit / 32-bit", results[pair + ", 64-bit"], results[pair + ", 32-bit"],
                   "below 1: the 32-bit program is slower")
    subprocess.run(["rm", "-rf", folder])


def main(argv):
    if len(argv) < 3 or argv[1] not in ("startup", "throughput", "widths") or argv[1] == "widths" and len(argv) < 4:
        raise SystemExit(__doc__)
    bin_dir = argv[2]
    desktop = Desktop(bin_dir)
    try:
        if argv[1] == "startup":
            startup(bin_dir, int(argv[3]) if len(argv) > 3 else 41)
        elif argv[1] == "widths":
            widths(bin_dir, argv[3], int(argv[4]) if len(argv) > 4 else 20, int(argv[5]) if len(argv) > 5 else 11)
        else:
            throughput(bin_dir, int(argv[3]) if len(argv) > 3 else 60, int(argv[4]) if len(argv) > 4 else 31)
    finally:
        desktop.close()


if __name__ == "__main__":
    main(sys.argv)
