"""WAV files: what is written reads back, and files of other writers read."""
import struct

import numpy as np
import pytest

import fxhost
from fxhost.wav import wav_format


def codes(bits, frames, channels):
    """Every sample exactly representable at `bits`, full scale included."""
    top = 2 ** (bits - 1)
    values = np.linspace(-top, top - 1, frames * channels).round()
    return (values / top).reshape(frames, channels)


@pytest.mark.parametrize("sample_format, bits, channels", [
    ("int16", 16, 1), ("int16", 16, 2), ("int24", 24, 2), ("int24", 24, 6), ("float32", 24, 3),
])
def test_round_trip(tmp_path, sample_format, bits, channels):
    audio = codes(bits, 1001, channels).astype(np.float32)
    path = tmp_path / "a.wav"
    fxhost.write_wav(path, audio, 48000, sample_format)
    back, rate = fxhost.read_wav(path)
    assert rate == 48000 and back.shape == audio.shape
    np.testing.assert_array_equal(back, audio, err_msg=sample_format)
    assert wav_format(path).sample_format == sample_format


@pytest.mark.parametrize("name, sample, expected", [
    ("rounds half away from zero", 1.5 / 32768, 2),
    ("negative half away from zero", -1.5 / 32768, -2),
    ("clamps above full scale", 1.5, 32767),
    ("clamps below", -1.5, -32768),
    ("NaN is silence", float("nan"), 0),
])
def test_int16_samples_written(tmp_path, name, sample, expected):
    path = tmp_path / "a.wav"
    fxhost.write_wav(path, np.array([sample], np.float64), 44100, "int16")
    assert struct.unpack("<h", path.read_bytes()[-2:])[0] == expected, name


def wav_bytes(tag, bits, channels, data, extensible=False, data_size=None, extra_chunk=b""):
    align = channels * bits // 8
    fmt = struct.pack("<HHIIHH", 0xFFFE if extensible else tag, channels, 8000, 8000 * align, align, bits)
    if extensible:
        fmt += struct.pack("<HHI", 22, bits, 0) + struct.pack("<H", tag) + \
            b"\x00\x00\x00\x00\x10\x00\x80\x00\x00\xaa\x00\x38\x9b\x71"
    size = len(data) if data_size is None else data_size
    body = b"WAVE" + b"fmt " + struct.pack("<I", len(fmt)) + fmt + extra_chunk + b"data" + struct.pack("<I", size)
    return b"RIFF" + struct.pack("<I", len(body) + len(data)) + body + data


@pytest.mark.parametrize("name, data, expected", [
    ("8-bit", wav_bytes(1, 8, 1, bytes([0, 128, 255])), [-1.0, 0.0, 127 / 128]),
    ("32-bit integer", wav_bytes(1, 32, 1, struct.pack("<2i", -2**31, 2**30)), [-1.0, 0.5]),
    ("64-bit float", wav_bytes(3, 64, 1, struct.pack("<2d", 0.1, -0.7)), [0.1, -0.7]),
    ("24-bit extensible", wav_bytes(1, 24, 1, b"\x00\x00\x80\xff\xff\x7f", True), [-1.0, 1 - 2**-23]),
    ("a chunk before the data, odd sized", wav_bytes(1, 16, 1, struct.pack("<h", 16384),
                                                      extra_chunk=b"LIST\x03\x00\x00\x00abc\x00"), [0.5]),
    ("a data size left open", wav_bytes(1, 16, 1, struct.pack("<2h", 1, -1), data_size=0xFFFFFFFF),
     [1 / 32768, -1 / 32768]),
])
def test_other_writers(tmp_path, name, data, expected):
    path = tmp_path / "a.wav"
    path.write_bytes(data)
    audio, rate = fxhost.read_wav(path, np.float64)
    assert rate == 8000, name
    np.testing.assert_allclose(audio[:, 0], expected, rtol=1e-12, err_msg=name)


@pytest.mark.parametrize("name, data", [
    ("not RIFF", b"RIFX" + bytes(40)),
    ("no data chunk", wav_bytes(1, 16, 1, b"")[:-8]),
    ("ADPCM", wav_bytes(2, 4, 1, b"\0\0")),
    ("12-bit", wav_bytes(1, 12, 1, b"\0\0")),
])
def test_refused(tmp_path, name, data):
    path = tmp_path / "a.wav"
    path.write_bytes(data)
    with pytest.raises(fxhost.FormatError):
        fxhost.read_wav(path)
