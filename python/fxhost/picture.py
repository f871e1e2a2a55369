"""A picture of what a plug-in did: waveform and spectrogram, before and
after, in one PNG, so that a person sees the effect without a player.

Needs matplotlib (Debian: python3-matplotlib), imported only here.
"""
from __future__ import annotations

from typing import Optional

import numpy as np

from .program import PathLike


def save_comparison(path: PathLike, before: np.ndarray, after: np.ndarray, rate: int,
                    title: Optional[str] = None) -> None:
    """Writes a PNG: waveforms on top, spectrograms below, the input on the
    left and the output on the right, on one time axis (the longer one's,
    usually the output with its tail)."""
    import matplotlib

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    sides = [np.asarray(before, np.float64), np.asarray(after, np.float64)]
    sides = [s.reshape(len(s), -1) for s in sides]
    # Both on the output's length: after the input ends there is silence.
    frames = max(len(s) for s in sides)
    sides = [np.pad(s, ((0, frames - len(s)), (0, 0))) for s in sides]
    seconds = frames / rate
    figure, axes = plt.subplots(2, 2, figsize=(12, 6.5), sharex=True, constrained_layout=True)
    for column, (audio, name) in enumerate(zip(sides, ("before", "after"))):
        time = np.arange(len(audio)) / rate
        wave = axes[0][column]
        for channel in range(audio.shape[1]):
            wave.plot(time, audio[:, channel], linewidth=0.4, alpha=0.8, label="channel %d" % (channel + 1))
        wave.set_ylim(-1.05, 1.05)
        wave.set_xlim(0, seconds)
        wave.set_title(name)
        wave.set_ylabel("amplitude")
        if audio.shape[1] > 1:
            wave.legend(loc="upper right", fontsize="small")
        spectrum = axes[1][column]
        mono = audio.mean(axis=1) if len(audio) else np.zeros(2048)
        # Noise far below the scale, so that digital silence (no level in
        # dB) draws as the quietest colour and not as a hole.
        floor = np.random.default_rng(0).normal(0.0, 1e-9, len(mono))
        spectrum.specgram(mono + floor, NFFT=2048, Fs=rate, noverlap=1536, cmap="magma", vmin=-140, vmax=-20)
        spectrum.set_ylim(0, min(rate / 2, 6000))
        spectrum.set_xlabel("seconds")
        spectrum.set_ylabel("Hz")
    if title:
        figure.suptitle(title)
    figure.savefig(path, dpi=90)
    plt.close(figure)
