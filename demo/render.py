"""scripts/demo's render: the demo's notes through the echo plug-in with the
Python client, the processed file, a short summary and one picture of the
waveform and spectrogram before and after.

    render.py <input.wav> <output.wav> <picture.png> <plug-in>
"""
import sys
import time

import numpy as np

import fxhost
from fxhost.picture import save_comparison


def dbfs(value):
    return 20 * np.log10(max(float(value), 1e-10))


def main(source, target, picture, plugin_path):
    audio, rate = fxhost.read_wav(source)
    plugin = fxhost.Plugin(plugin_path)
    start = time.monotonic()
    out = plugin.process(audio, rate)
    took = time.monotonic() - start
    fxhost.write_wav(target, out, rate)
    save_comparison(picture, audio, out, rate, title="The demo's notes through the echo plug-in")
    lines = [
        ("frames in", "%d (%.2f s at %d Hz, %d channels)" % (len(audio), len(audio) / rate, rate, audio.shape[1])),
        ("frames out", "%d" % len(out)),
        ("latency", "%d frames" % plugin.latency),
        ("tail", "%d frames (%.2f s of echoes after the input ended)" % (len(out) - len(audio),
                                                                         (len(out) - len(audio)) / rate)),
        ("peak before / after", "%.1f / %.1f dBFS" % (dbfs(np.abs(audio).max()), dbfs(np.abs(out).max()))),
        ("RMS before / after", "%.1f / %.1f dBFS" % (dbfs(np.sqrt(np.mean(audio.astype(np.float64) ** 2))),
                                                     dbfs(np.sqrt(np.mean(out.astype(np.float64) ** 2))))),
        ("time taken", "%.2f s (process start included)" % took),
        ("realtime factor", "%.1fx" % (len(out) / rate / took)),
    ]
    print()
    for name, value in lines:
        print("  %-20s %s" % (name, value))
    print("\n  listen: %s and %s\n  look:   %s" % (source, target, picture))


if __name__ == "__main__":
    main(*sys.argv[1:5])
