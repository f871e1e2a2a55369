#!/usr/bin/env python3
"""The client libraries against a bare chunked run: seconds of stereo float
noise through the pass-through plug-in, one second per message, then the
tail.

- bare: `wine fxhost.exe process --protocol chunked`, the messages read
  from a file and the replies written to the null device; the whole
  process timed, as bench/measure.py times every run.
- Python: `Plugin.process` on a numpy array, timed inside this process
  (starting fxhost.exe included, this interpreter's start not).
- C++: bench_client.exe, which times the same job inside itself, through
  the client and, "raw", through the least a parent on the same named pipe
  must do. Under Wine a named pipe between two Windows processes costs
  far more than the Unix pipes and files of the runs above, so the client's
  own cost is the C++ client against raw.

The cases run interleaved, in a new order each round; a ratio is the
median of the rounds' own ratios (bare time over client time: 1.0 means
the client costs nothing, 0.9 that it gives 90 % of the bare throughput).

  clients.py <bin folder> [seconds of audio] [rounds]
"""
import os
import random
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import measure  # noqa: E402

import fxhost  # noqa: E402


def main(argv):
    bin_dir = argv[1]
    seconds = int(argv[2]) if len(argv) > 2 else 60
    rounds = int(argv[3]) if len(argv) > 3 else 11
    plugin = os.path.join(bin_dir, "plugins", "fx_effect.dll")
    program = os.path.join(bin_dir, "fxhost.exe")
    folder = tempfile.mkdtemp(prefix="fxhost-bench.")
    chunked = measure.write_inputs(folder, seconds)[32][1]
    bare = ["wine", program, "process", "--vst", measure.winpath(plugin), "--vst-version", "2", "--protocol",
            "chunked", "--bits", "32", "--formattag", "3"]
    client = ["wine", os.path.join(bin_dir, "bench_client.exe"), measure.winpath(plugin), str(seconds)]
    audio = np.random.default_rng(1).uniform(-1, 1, (seconds * measure.RATE, measure.CHANNELS)).astype(np.float32)
    host = fxhost.Plugin(plugin, program=program, vst_version=2)

    def python_run():
        start = time.perf_counter()
        out = host.process(audio, measure.RATE)
        elapsed = time.perf_counter() - start
        if out.shape != audio.shape:
            raise SystemExit("the Python client gave %s for %s" % (out.shape, audio.shape))
        return elapsed

    def cpp_run(command):
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        if done.returncode != 0:
            raise SystemExit("%s failed with %d: %s" % (" ".join(command[1:3]), done.returncode,
                                                        done.stderr.decode(errors="replace")))
        return float(done.stdout.decode().split()[-1])

    cases = {"bare fxhost.exe, chunked": lambda: measure.run_once(bare, chunked)[0],
             "Python client": python_run, "C++ client": lambda: cpp_run(client),
             "C++ raw, named pipe": lambda: cpp_run(client[:2] + ["raw"] + client[2:])}
    times = {label: [] for label in cases}
    desktop = measure.Desktop(bin_dir)
    try:
        python_run()  # numpy's and the client's first use, not measured
        order = list(cases)
        for _ in range(rounds):
            random.shuffle(order)
            for label in order:
                time.sleep(measure.SETTLE_SECONDS)
                times[label].append(cases[label]())
    finally:
        desktop.close()
    print("clients: %d s of %d Hz stereo float 32 through fx_effect.dll, %d interleaved rounds"
          % (seconds, measure.RATE, rounds))
    for label, values in times.items():
        print("  %-28s median %8.1f ms  spread %.1f-%.1f ms" % (label, statistics.median(values) * 1000,
                                                                 min(values) * 1000, max(values) * 1000))
    for base, label, aim in (("bare fxhost.exe, chunked", "Python client", "aim: 0.9 or more"),
                             ("bare fxhost.exe, chunked", "C++ client", "Wine's named pipe included"),
                             ("C++ raw, named pipe", "C++ client", "aim: 1.0, nothing measurable")):
        ratios = sorted(b / c for b, c in zip(times[base], times[label]))
        print("%-48s %.2f   spread %.2f-%.2f   (%s)" % (base + " / " + label, statistics.median(ratios),
                                                       ratios[0], ratios[-1], aim))


if __name__ == "__main__":
    main(sys.argv)
