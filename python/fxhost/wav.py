"""WAV files in and out, with numpy alone.

Reads 8, 16, 24 and 32-bit integer and 32 and 64-bit float samples, plain
or WAVE_FORMAT_EXTENSIBLE; writes 16 and 24-bit integer and 32-bit float.
Audio is a float array of shape (frames, channels), full scale at 1.0.
"""
from __future__ import annotations

import struct
from dataclasses import dataclass
from typing import BinaryIO, Tuple, Union

import numpy as np

from .errors import FormatError
from .program import PathLike

_PCM, _FLOAT, _EXTENSIBLE = 1, 3, 0xFFFE
# The GUID tail every WAVE_FORMAT_EXTENSIBLE sub-format shares.
_GUID_TAIL = b"\x00\x00\x00\x00\x10\x00\x80\x00\x00\xaa\x00\x38\x9b\x71"

#: Sample formats write_wav takes.
FORMATS = ("int16", "int24", "float32")

# The usual speaker mask for a channel count, as the program also assumes.
_MASKS = {1: 0x4, 2: 0x3, 4: 0x33, 6: 0x3F, 8: 0x63F}


@dataclass(frozen=True)
class WavFormat:
    """What a WAV file holds: `sample_format` is "int8", "int16", "int24",
    "int32", "float32" or "float64"."""

    rate: int
    channels: int
    sample_format: str
    frames: int

    @property
    def writable_format(self) -> str:
        """The closest format write_wav can give back."""
        if self.sample_format in FORMATS:
            return self.sample_format
        return "float32" if self.sample_format.startswith("float") else "int24"


def _read_header(stream: BinaryIO, size: int) -> Tuple[WavFormat, int]:
    riff = stream.read(12)
    if len(riff) < 12 or riff[:4] not in (b"RIFF", b"RF64") or riff[8:12] != b"WAVE":
        raise FormatError("not a WAV file")
    fmt = None
    while True:
        head = stream.read(8)
        if len(head) < 8:
            raise FormatError("WAV file without audio data")
        chunk, length = head[:4], struct.unpack("<I", head[4:])[0]
        if chunk == b"fmt ":
            fmt = stream.read(length + (length & 1))
            if len(fmt) < 16:
                raise FormatError("WAV format chunk too short")
        elif chunk == b"data":
            if fmt is None:
                raise FormatError("WAV data before its format")
            start = stream.tell()
            # A writer that could not seek back leaves the size open.
            length = min(length, size - start)
            break
        else:
            stream.seek(length + (length & 1), 1)
    tag, channels, rate, _, align, bits = struct.unpack("<HHIIHH", fmt[:16])
    if tag == _EXTENSIBLE:
        if len(fmt) < 40 or fmt[26:40] != _GUID_TAIL:
            raise FormatError("WAV sub-format not supported")
        tag = struct.unpack("<H", fmt[24:26])[0]
    if channels == 0 or align == 0:
        raise FormatError("WAV file with no channels")
    if tag == _PCM and bits in (8, 16, 24, 32) and align == channels * bits // 8:
        sample_format = "int%d" % bits
    elif tag == _FLOAT and bits in (32, 64) and align == channels * bits // 8:
        sample_format = "float%d" % bits
    else:
        raise FormatError("WAV samples of format %d with %d bits are not supported" % (tag, bits))
    return WavFormat(rate, channels, sample_format, length // align), start


def wav_format(path: PathLike) -> WavFormat:
    """The format of a WAV file, without reading its samples."""
    with open(path, "rb") as stream:
        stream.seek(0, 2)
        size = stream.tell()
        stream.seek(0)
        return _read_header(stream, size)[0]


def read_wav(path: PathLike, dtype: Union[str, np.dtype] = np.float32) -> Tuple[np.ndarray, int]:
    """The samples of a WAV file as (frames, channels) floats of `dtype`
    (float32 or float64), and its sample rate.

    Raises FormatError for a file that is not a WAV file this reads."""
    with open(path, "rb") as stream:
        stream.seek(0, 2)
        size = stream.tell()
        stream.seek(0)
        fmt, _ = _read_header(stream, size)
        width = _bits(fmt.sample_format) // 8
        raw = stream.read(fmt.frames * fmt.channels * width)
    return _to_float(raw, fmt.sample_format, np.dtype(dtype)).reshape(-1, fmt.channels), fmt.rate


def _bits(sample_format: str) -> int:
    return int(sample_format.lstrip("intfloa"))


def _to_float(raw: bytes, sample_format: str, dtype: np.dtype) -> np.ndarray:
    if sample_format in ("float32", "float64"):
        return np.frombuffer(raw, "<f%d" % (_bits(sample_format) // 8)).astype(dtype)
    if sample_format == "int8":
        return (np.frombuffer(raw, np.uint8).astype(dtype) - 128) / dtype.type(128)
    if sample_format == "int24":
        b = np.frombuffer(raw, np.uint8).reshape(-1, 3).astype(np.int32)
        values = (b[:, 0] << 8 | b[:, 1] << 16 | b[:, 2] << 24) >> 8
        return values.astype(dtype) / dtype.type(1 << 23)
    bits = _bits(sample_format)
    return np.frombuffer(raw, "<i%d" % (bits // 8)).astype(dtype) / dtype.type(2 ** (bits - 1))


def _to_bytes(audio: np.ndarray, sample_format: str) -> bytes:
    if sample_format == "float32":
        return np.ascontiguousarray(audio, "<f4").tobytes()
    bits = 16 if sample_format == "int16" else 24
    top = 2 ** (bits - 1)
    # Rounded half away from zero, clamped, NaN as silence.
    scaled = np.nan_to_num(np.asarray(audio, np.float64) * top, nan=0.0, posinf=top, neginf=-top)
    codes = np.clip(np.trunc(scaled + np.copysign(0.5, scaled)), -top, top - 1).astype("<i4")
    if bits == 16:
        return codes.astype("<i2").tobytes()
    return codes.reshape(-1, 1).view(np.uint8)[:, :3].tobytes()


def write_wav(path: PathLike, audio: np.ndarray, rate: int, sample_format: str = "float32") -> None:
    """Writes `audio` ((frames, channels), or (frames,) for mono) as a WAV
    file of `sample_format` ("int16", "int24" or "float32")."""
    if sample_format not in FORMATS:
        raise FormatError("WAV sample format %r is not one of %s" % (sample_format, ", ".join(FORMATS)))
    samples = np.asarray(audio)
    if samples.ndim == 1:
        samples = samples.reshape(-1, 1)
    if samples.ndim != 2 or samples.shape[1] == 0:
        raise FormatError("audio must be (frames, channels)")
    channels = samples.shape[1]
    data = _to_bytes(samples, sample_format)
    bits = _bits(sample_format)
    tag = _FLOAT if sample_format == "float32" else _PCM
    align = channels * bits // 8
    basic = struct.pack("<HHIIHH", tag, channels, int(rate), int(rate) * align, align, bits)
    if channels > 2:
        fmt = struct.pack("<HHIIHHHHI", _EXTENSIBLE, channels, int(rate), int(rate) * align, align, bits, 22, bits,
                          _MASKS.get(channels, 0)) + struct.pack("<H", tag) + _GUID_TAIL
    else:
        fmt = basic
    pad = b"\0" if len(data) & 1 else b""
    with open(path, "wb") as out:
        out.write(b"RIFF" + struct.pack("<I", 4 + 8 + len(fmt) + 8 + len(data) + len(pad)) + b"WAVE")
        out.write(b"fmt " + struct.pack("<I", len(fmt)) + fmt)
        out.write(b"data" + struct.pack("<I", len(data)))
        out.write(data)
        out.write(pad)
