"""The Plugin object and its stream against the real program."""
import time

import numpy as np
import pytest

import fxhost
from fxhost import channel

from conftest import plugin


def signal(frames, channels, dtype=np.float32):
    """Exact, non-zero samples, different in every channel."""
    i = np.arange(frames).reshape(-1, 1)
    c = np.arange(channels).reshape(1, -1)
    return (((i * 7 + c * 3) % 199 - 99 + 0.25 + 0.25 * c) / 128).astype(dtype)


def delayed(audio, frames):
    return np.vstack([np.zeros((frames, audio.shape[1]), audio.dtype), audio])


@pytest.mark.parametrize("name, file, ask, expected", [
    ("test, opens", "fx_effect.dll", lambda p: p.test(), True),
    ("test, an instrument", "fx_synth.dll", lambda p: p.test(), False),
    ("test, no such file", "missing.dll", lambda p: p.test(), False),
    ("test, refused in the plug-in's own words", "fx3_throwfactory.vst3", lambda p: p.test(), False),
    ("has-editor, an editor", "fx_editor.dll", lambda p: p.has_editor(), True),
    ("has-editor, nothing to show", "fx_bare.dll", lambda p: p.has_editor(), False),
    ("info, mixed pins", "fx_mixedpins.dll",
     lambda p: [(pin.label, pin.flags, pin.arrangement) for pin in p.info().inputs],
     [("In 1", 3, 1), ("In 2", 3, 1), ("In 3", 1, 0), ("In 4", 1, 0)]),
    ("info, no inputs", "fx_noinputs.dll", lambda p: (len(p.info().inputs), len(p.info().outputs)), (0, 2)),
])
def test_commands(name, file, ask, expected):
    assert ask(fxhost.Plugin(plugin(file))) == expected, name


LONG = 8820  # fx_longdelay's delay, beyond the tenth of a second a drain runs


@pytest.mark.parametrize("name, file, audio, options, expected, latency", [
    ("float32 stereo, unchanged", "fx_effect.dll", signal(5000, 2), {}, lambda a: a, 0),
    ("float64 mono stays one-dimensional", "fx_effect.dll", signal(3000, 1, np.float64)[:, 0], {}, lambda a: a, 0),
    ("delayed, with its tail", "fx_delay.dll", signal(2000, 2), {}, lambda a: delayed(a, 512), 512),
    ("delayed, no tail", "fx_delay.dll", signal(2000, 2), {"tail": False}, lambda a: delayed(a, 512)[:2000], 512),
    ("delay compensated", "fx_delay.dll", signal(2000, 2), {"tail": False, "compensate_latency": True},
     lambda a: a, 512),
    ("a drain stops a long delay short", "fx_longdelay.dll", signal(10000, 2), {},
     lambda a: delayed(a, LONG)[:10000 + 4410], LONG),
    ("until quiet renders all of it", "fx_longdelay.dll", signal(10000, 2), {"until_quiet": 5.0},
     lambda a: delayed(a, LONG), LONG),
    ("five channels through a stereo plug-in, in groups", "fx_effect.dll", signal(1500, 5), {}, lambda a: a, 0),
    ("four channels through two usable pins", "fx_mixedpins.dll", signal(700, 4), {}, lambda a: a, 0),
    ("no frames at all", "fx_delay.dll", signal(0, 2), {}, lambda a: a, 512),
    ("more than one message", "fx_effect.dll", signal(fxhost.plugin.MESSAGE_FRAMES * 2 + 3, 2), {},
     lambda a: a, 0),
])
def test_process(name, file, audio, options, expected, latency):
    p = fxhost.Plugin(plugin(file))
    out = p.process(audio, 44100, **options)
    assert out.dtype == audio.dtype and out.shape[1:] == audio.shape[1:], name
    np.testing.assert_array_equal(out, expected(audio), err_msg=name)
    assert p.latency == latency, name


@pytest.mark.parametrize("threads", [False, True], ids=["polled pipes", "pipe threads"])
def test_stream_blocks_reopen_and_settings(threads, monkeypatch, call_log):
    monkeypatch.setattr(channel, "USE_THREADS", threads)
    audio = signal(3000, 2)
    with fxhost.Plugin(plugin("fx_delay.dll")).stream(44100, 2) as stream:
        assert (stream.granted.input_channels, stream.granted.output_mask) == (2, 3)
        parts, first = [], 0
        for size in (700, 1, 0, 1299, 1000):
            parts.append(stream.process(audio[first:first + size]))
            first += size
        np.testing.assert_array_equal(np.vstack(parts), delayed(audio, 512)[:3000])
        np.testing.assert_array_equal(stream.drain(), audio[-512:])
        stream.process(audio[:100])
        stream.reopen()
        np.testing.assert_array_equal(stream.process(audio[:512]), np.zeros((512, 2), np.float32))
    p = fxhost.Plugin(plugin("fx_chunk.dll"), settings=b"settings one")
    with p.stream(48000, 2) as stream:
        stream.set_settings(b"settings two")
        stream.process(audio[:10])
    assert call_log("chunk") == ["chunk settings one", "chunk settings two"]


def test_settings_from_a_file_reach_the_plugin(tmp_path, call_log):
    settings = tmp_path / "settings.bin"
    settings.write_bytes(b"from a file")
    p = fxhost.Plugin(plugin("fx_chunk.dll"), settings=settings)
    p.info()
    assert p.settings == b"from a file"
    assert call_log("chunk") == ["chunk from a file"]


@pytest.mark.parametrize("name, file, action, error", [
    ("does not open", "fx_synth.dll", lambda p: p.process(signal(10, 2), 44100), fxhost.PluginOpenError),
    ("no inputs", "fx_noinputs.dll", lambda p: p.process(signal(10, 2), 44100), fxhost.FormatError),
    ("faults", "fx_crash_tail.dll", lambda p: p.process(signal(10, 2), 44100), fxhost.PluginCrashed),
    ("hangs", "fx_hang_tail.dll", lambda p: p.process(signal(10, 2), 44100), fxhost.Timeout),
    ("integer samples", "fx_effect.dll", lambda p: p.process(np.zeros((10, 2), np.int16), 44100),
     fxhost.FormatError),
    ("too many channels", "fx_effect.dll", lambda p: p.process(np.zeros((10, 33), np.float32), 44100),
     fxhost.FormatError),
    ("test of a plug-in that crashes while opening", "fx_rude-crash-open.dll", lambda p: p.test(),
     fxhost.PluginCrashed),
    ("info of a plug-in that does not open", "fx_badmagic.dll", lambda p: p.info(), fxhost.PluginOpenError),
    ("configure under a parent that is no window", "fx_params.dll", lambda p: p.configure(parent_window=0x7FF0),
     fxhost.FxhostError),
])
def test_failures(name, file, action, error):
    p = fxhost.Plugin(plugin(file), timeout=3.0)
    start = time.monotonic()
    with pytest.raises(error) as raised:
        action(p)
    assert time.monotonic() - start < 20, name
    if error is fxhost.FormatError and raised.value.exit_code is not None:
        assert raised.value.exit_code == 0xFFFFFFFF and raised.value.stderr, name


def test_a_timed_out_process_is_gone():
    stream = fxhost.Plugin(plugin("fx_hang_tail.dll"), timeout=2.0).stream(44100, 2)
    with pytest.raises(fxhost.Timeout):
        stream.drain()
    assert stream._run.process.poll() is not None
