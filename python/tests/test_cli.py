"""python -m fxhost render: files in, files out, several at once."""
import io
import subprocess
import sys

import numpy as np

import fxhost
from fxhost.cli import ProgressBar, main

from conftest import plugin
from test_plugin import signal


def test_render_one_file_and_several_at_once(tmp_path):
    sources = []
    for name, frames, fmt in (("a.wav", 3000, "int16"), ("b.wav", 1000, "int24"), ("c.wav", 500, "float32")):
        path = tmp_path / "in" / name
        path.parent.mkdir(exist_ok=True)
        fxhost.write_wav(path, signal(frames, 2), 22050, fmt)
        sources.append(path)
    # One file to a file, through the module's command line.
    one = tmp_path / "one.wav"
    subprocess.run([sys.executable, "-m", "fxhost", "render", str(sources[0]), str(one), "--vst",
                    str(plugin("fx_delay.dll")), "--no-tail"], check=True)
    expected = np.vstack([np.zeros((512, 2)), fxhost.read_wav(sources[0])[0][:-512]])
    np.testing.assert_array_equal(fxhost.read_wav(one)[0], expected)
    assert fxhost.wav_format(one).sample_format == "int16"
    # Several into a folder, two at a time, each in its own format.
    assert main(["render"] + [str(s) for s in sources] + [str(tmp_path / "out"), "--vst",
                                                          str(plugin("fx_effect.dll")), "--jobs", "2"]) == 0
    for source in sources:
        out = tmp_path / "out" / source.name
        np.testing.assert_array_equal(fxhost.read_wav(out)[0], fxhost.read_wav(source)[0], err_msg=source.name)
        assert fxhost.wav_format(out).sample_format == fxhost.wav_format(source).sample_format


def test_a_failed_file_is_reported_and_the_others_rendered(tmp_path, capsys):
    good, bad = tmp_path / "good.wav", tmp_path / "bad.wav"
    fxhost.write_wav(good, signal(100, 2), 44100)
    fxhost.write_wav(bad, signal(100, 40), 44100)
    code = main(["render", str(good), str(bad), str(tmp_path / "out"), "--vst", str(plugin("fx_effect.dll"))])
    assert code == 1
    assert (tmp_path / "out" / "good.wav").exists() and not (tmp_path / "out" / "bad.wav").exists()
    assert "bad.wav" in capsys.readouterr().err


class Terminal(io.StringIO):
    def isatty(self):
        return True


def test_progress_bar_on_a_terminal_only():
    shown, hidden = Terminal(), io.StringIO()
    for stream in (shown, hidden):
        bar = ProgressBar(1000, 2, stream, delay=0)
        bar.advance(250)
        bar.advance(750, file_done=True)
        bar.finish()
    assert "[#######" in shown.getvalue() and " 25%" in shown.getvalue() and "100%  1/2 files" in shown.getvalue()
    assert hidden.getvalue() == ""
