"""A plug-in hosted in an fxhost.exe process of its own.

Each command starts one process: a plug-in that crashes or hangs ends that
process, and the caller gets an exception, not a dead interpreter. Audio
goes over the program's chunked protocol on its standard handles.
"""
from __future__ import annotations

import os
import re
import struct
import tempfile
from dataclasses import dataclass
from pathlib import Path
from typing import Callable, List, Optional, Sequence, Tuple, Union

import numpy as np

from . import program as programs
from .channel import Run
from .errors import FormatError, FxhostError, PluginCrashed, Timeout, error_for
from .program import PathLike

# Chunked protocol commands.
CMD_PROCESS, CMD_SET_DATA, CMD_SET_FORMAT, CMD_DRAIN, CMD_REOPEN = 1, 2, 3, 4, 5

# Frames per audio message: large enough that a message costs little more
# than its bytes, small enough that progress and time limits stay fine.
MESSAGE_FRAMES = 1 << 16

# The usual speaker mask for a channel count; other counts have none.
_MASKS = {1: 0x4, 2: 0x3, 4: 0x33, 6: 0x3F}

Settings = Union[bytes, bytearray, PathLike, None]
Progress = Callable[[int, int], None]


@dataclass(frozen=True)
class Pin:
    """One audio pin as the plug-in describes it."""

    label: str
    flags: int
    arrangement: int


@dataclass(frozen=True)
class Info:
    """The plug-in's audio pins, from the `info` command."""

    inputs: Tuple[Pin, ...]
    outputs: Tuple[Pin, ...]


_INFO_LINE = re.compile(r"^(?:Number of (inputs|outputs): (-?\d+)|  (Input|Output) (\d+):|"
                        r"    \.(label|flags|arrangementType) = (.*))$")


def parse_info(text: str) -> Info:
    """The pins of an `info` report. Lines that are not part of it (a
    plug-in's own chatter) are passed over; a report without both counts,
    or with fewer pins than it counts, raises FxhostError."""
    counts = {}
    pins = {"inputs": [], "outputs": []}
    current: Optional[dict] = None
    for line in text.replace("\r\n", "\n").split("\n"):
        match = _INFO_LINE.match(line)
        if not match:
            continue
        side, count, kind, _, field, value = match.groups()
        if side:
            counts[side] = int(count)
            current = None
        elif kind:
            current = {"label": "", "flags": 0, "arrangement": 0}
            pins[kind.lower() + "s"].append(current)
        elif current is not None:
            if field == "label":
                current["label"] = value
            else:
                current["flags" if field == "flags" else "arrangement"] = int(value)
    if set(counts) != {"inputs", "outputs"} or any(len(pins[s]) != counts[s] for s in counts):
        raise FxhostError("info: the report is incomplete", 0, text)
    return Info(*(tuple(Pin(**p) for p in pins[s]) for s in ("inputs", "outputs")))


@dataclass(frozen=True)
class StreamFormat:
    """Sample rate, channels and speaker masks of a stream, in and out."""

    rate: int
    input_channels: int
    input_mask: int
    output_channels: int
    output_mask: int

    def pack(self) -> bytes:
        return struct.pack("<5I", self.rate, self.input_channels, self.input_mask, self.output_channels,
                           self.output_mask)

    @classmethod
    def unpack(cls, data: bytes) -> "StreamFormat":
        return cls(*struct.unpack("<5I", bytes(data)))


def _message(command: int, payload: bytes = b"") -> bytes:
    return struct.pack("<II", command, len(payload)) + payload


def _settings_bytes(settings: Settings) -> Optional[bytes]:
    if settings is None:
        return None
    if isinstance(settings, (bytes, bytearray)):
        return bytes(settings)
    return Path(settings).read_bytes()


class Plugin:
    """One plug-in, each command run in a fresh fxhost.exe process.

    `path` is a VST 2 library or a VST 3 module. `settings` are the
    plug-in's settings, as bytes or as a file (which `configure` then
    updates). `program` is the fxhost.exe to use (see find_program);
    fxhost32.exe beside it serves a 32-bit plug-in. `timeout` limits every
    wait for an answer once the plug-in runs, `start_timeout` the wait for
    the process to start and open the plug-in (a fresh Wine prefix takes a
    while). `vst_version` 2 or 3 tries only that kind."""

    def __init__(self, path: PathLike, settings: Settings = None, *, program: Optional[PathLike] = None,
                 timeout: float = 30.0, start_timeout: float = 120.0, vst_version: Optional[int] = None,
                 realtime: bool = False) -> None:
        self.path = Path(path)
        self.program = programs.program_for(self.path, programs.find_program(program))
        self.timeout = timeout
        self.start_timeout = start_timeout
        self.vst_version = vst_version
        self.realtime = realtime
        self._file: Optional[Path] = None
        self._settings: Optional[bytes] = None
        self.settings = settings
        #: The latency in frames that the last process() reported.
        self.latency: Optional[int] = None

    def __repr__(self) -> str:
        return "Plugin(%r)" % str(self.path)

    @property
    def settings(self) -> Optional[bytes]:
        """The settings the plug-in gets, as bytes (None: its defaults)."""
        return _settings_bytes(self._file) if self._file is not None else self._settings

    @settings.setter
    def settings(self, value: Settings) -> None:
        if value is None or isinstance(value, (bytes, bytearray)):
            self._file, self._settings = None, None if value is None else bytes(value)
        else:
            self._file, self._settings = Path(value), None

    def save_settings(self, path: PathLike) -> None:
        """Writes the current settings to a file (empty for none)."""
        Path(path).write_bytes(self.settings or b"")

    # Commands

    def _arguments(self, command: str, data: Optional[Path] = None) -> List[str]:
        arguments = [command, "--vst", programs.windows_path(self.path)]
        if self.vst_version is not None:
            arguments += ["--vst-version", str(self.vst_version)]
        if self.realtime:
            arguments += ["--process", "realtime"]
        if data is not None:
            arguments += ["--data", programs.windows_path(data)]
        return arguments

    def _run(self, command: str, extra: Sequence[str] = (), data: Optional[Path] = None,
             timeout: Optional[float] = None) -> Tuple[Optional[int], str]:
        run = Run(self.program, self._arguments(command, data) + list(extra))
        try:
            return run.finish(timeout)
        finally:
            run.close()

    def _with_data(self, action: Callable[[Optional[Path]], object]) -> object:
        # A file for the settings: the caller's, or a temporary one.
        if self._file is not None or self._settings is None:
            return action(self._file)
        handle, name = tempfile.mkstemp(prefix="fxhost-", suffix=".bin")
        try:
            with os.fdopen(handle, "wb") as out:
                out.write(self._settings)
            return action(Path(name))
        finally:
            os.unlink(name)

    def test(self) -> bool:
        """True if the plug-in opens, False if it does not, whether the
        program says why or the plug-in's own words end the attempt; a
        crash or a time-out still raises."""
        code, text = self._run("test", timeout=self.start_timeout)
        if code == 0:
            return True
        error = error_for(code, text, "test")
        if isinstance(error, (PluginCrashed, Timeout)):
            raise error
        return False

    def has_editor(self) -> bool:
        """True if a configure window can be offered: the plug-in's own
        editor, or at least one parameter for the generic dialog. Raises
        PluginOpenError for a plug-in that does not open."""
        code, text = self._run("has-editor", timeout=self.start_timeout)
        if code == 0:
            return True
        error = error_for(code, text, "has-editor")
        if type(error) is FxhostError and not text.strip():
            return False
        raise error

    def info(self) -> Info:
        """The plug-in's audio pins, with the current settings applied."""

        def run(data: Optional[Path]) -> Info:
            code, text = self._run("info", data=data, timeout=self.start_timeout)
            if code != 0:
                raise error_for(code, text, "info")
            return parse_info(text)

        return self._with_data(run)  # type: ignore[return-value]

    def configure(self, parent_window: Optional[int] = None, title: Optional[str] = None,
                  dpi_aware: Optional[bool] = None, timeout: Optional[float] = None) -> Optional[bytes]:
        """Shows the plug-in's editor (or the generic dialog) until the user
        closes it, and gives back the settings then, which become this
        object's settings (a settings file given as `settings` is updated
        in place). `parent_window` is a window handle that owns the window.
        No time limit unless `timeout` is given."""
        extra: List[str] = []
        if parent_window is not None:
            extra += ["--parent-window", "%x" % parent_window]
        if title is not None:
            extra += ["--window-title", title]
        if dpi_aware is not None:
            extra += ["--dpi-aware", "yes" if dpi_aware else "no"]

        if self._file is not None:
            self._configure(extra, self._file, timeout)
            return self._file.read_bytes() or None
        # A file of our own for the window to save into, holding the
        # current settings to start from.
        handle, name = tempfile.mkstemp(prefix="fxhost-", suffix=".bin")
        try:
            with os.fdopen(handle, "wb") as out:
                out.write(self._settings or b"")
            self._configure(extra, Path(name), timeout)
            saved = Path(name).read_bytes()
        finally:
            os.unlink(name)
        if saved:
            self._settings = saved
        return self._settings

    def _configure(self, extra: List[str], data: Path, timeout: Optional[float]) -> None:
        code, text = self._run("configure", extra, data=data, timeout=timeout)
        if code != 0:
            raise error_for(code, text, "configure")

    # Audio

    def stream(self, rate: int, channels: int, output_channels: Optional[int] = None,
               dtype: Union[str, np.dtype] = np.float32) -> "Stream":
        """A streaming session: one process and one plug-in instance, fed
        block by block. Use it in a with statement, or close() it."""
        return Stream(self, rate, channels, output_channels, dtype)

    def process(self, audio: np.ndarray, rate: int, *, tail: bool = True, until_quiet: Optional[float] = None,
                quiet_level: float = -90.0, compensate_latency: bool = False,
                progress: Optional[Progress] = None) -> np.ndarray:
        """Runs `audio` through the plug-in and returns what came out.

        `audio` is float32 or float64, shaped (frames, channels) or
        (frames,) for mono; the result has the same type and layout. Each
        output frame follows its input frame, so the plug-in's delay shows
        at the start; `self.latency` holds it afterwards, and
        `compensate_latency` cuts it off (running that much silence more).
        With `tail`, what the plug-in gives after the input (its reported
        tail, at least until it falls silent) is appended. `until_quiet`
        instead keeps feeding silence until the output stays below
        `quiet_level` dBFS, for at most that many seconds: for plug-ins
        that report a tail too short for their reverb or echo.

        A plug-in that takes fewer channels than `audio` has gets them in
        groups, each through a fresh instance with the same settings.
        Raises FormatError for audio it cannot take, PluginOpenError,
        PluginCrashed or Timeout when the run fails."""
        samples = np.asarray(audio)
        if samples.dtype not in (np.float32, np.float64):
            raise FormatError("audio must be float32 or float64, not %s" % samples.dtype)
        mono = samples.ndim == 1
        if mono:
            samples = samples.reshape(-1, 1)
        if samples.ndim != 2 or samples.shape[1] < 1 or samples.shape[1] > 32:
            raise FormatError("audio must be (frames, channels) with 1 to 32 channels")
        channels = samples.shape[1]
        total = samples.shape[0]

        def reporter(first: int, group: int) -> Callable[[int], None]:
            # Progress over all groups: the samples of those before, and
            # `frames` of each channel of this one.
            def report(frames: int) -> None:
                if progress is not None:
                    progress((first * total + frames * group) // channels, total)
            return report

        outputs: List[np.ndarray] = []
        with self.stream(rate, channels, dtype=samples.dtype) as session:
            first = 0
            while first < channels:
                group = session.granted.input_channels
                if first:
                    session.reopen(min(group, channels - first))
                    group = session.granted.input_channels
                part = samples[:, first:first + group]
                outputs.append(session._render(part, tail, until_quiet, quiet_level, compensate_latency,
                                               reporter(first, group)))
                first += group
            self.latency = session.latency
        length = max(o.shape[0] for o in outputs)
        if len(outputs) == 1:
            result = outputs[0]
        else:  # tails may differ in length: the shorter end in silence
            result = np.hstack([np.pad(o, ((0, length - o.shape[0]), (0, 0))) for o in outputs])
        return result.reshape(-1) if mono and result.shape[1] == 1 else result


class Stream:
    """One fxhost.exe process with one plug-in instance on the chunked
    protocol. Blocks of any length go in and come back one frame out per
    frame in; the plug-in's state carries over from block to block."""

    def __init__(self, plugin: Plugin, rate: int, channels: int, output_channels: Optional[int] = None,
                 dtype: Union[str, np.dtype] = np.float32) -> None:
        self.dtype = np.dtype(dtype)
        if self.dtype not in (np.float32, np.float64):
            raise FormatError("a stream carries float32 or float64, not %s" % self.dtype)
        self.plugin = plugin
        self.rate = int(rate)
        self.width = self.dtype.itemsize
        self.latency = 0
        arguments = plugin._arguments("process") + ["--protocol", "chunked", "--bits", str(8 * self.width),
                                                     "--formattag", "3"]
        self._run = Run(plugin.program, arguments, pipes=True)
        try:
            self.granted = self._set_format(channels, output_channels, plugin.start_timeout)
            self._send_settings()
        except BaseException:
            self._run.close()
            raise

    def __enter__(self) -> "Stream":
        return self

    def __exit__(self, kind, value, traceback) -> None:
        if kind is None:
            self.close()
        else:
            self._run.close()

    def _set_format(self, channels: int, output_channels: Optional[int], timeout: float) -> StreamFormat:
        out = channels if output_channels is None else output_channels
        asked = StreamFormat(self.rate, channels, _MASKS.get(channels, 0), out, _MASKS.get(out, 0))
        granted = StreamFormat.unpack(self._run.exchange([_message(CMD_SET_FORMAT, asked.pack())], 20, timeout))
        if granted.rate != self.rate or not granted.input_channels or not granted.output_channels:
            self._run.close()
            raise FormatError("the plug-in did not accept %d Hz with %d channels" % (self.rate, channels))
        return granted

    def _send_settings(self) -> None:
        data = self.plugin.settings
        if data:
            self._run.exchange([_message(CMD_SET_DATA, data)], 0, self.plugin.timeout)

    def set_settings(self, settings: Settings) -> None:
        """Gives the plug-in new settings (bytes or a file) mid-stream."""
        data = _settings_bytes(settings) or b""
        self._run.exchange([_message(CMD_SET_DATA, data)], 0, self.plugin.timeout)

    def reopen(self, channels: Optional[int] = None, output_channels: Optional[int] = None) -> None:
        """Replaces the plug-in by a fresh instance with the plug-in's
        settings and this stream's format (or the channels given)."""
        self._run.exchange([_message(CMD_REOPEN)], 0, self.plugin.timeout)
        ins = self.granted.input_channels if channels is None else channels
        outs = output_channels if output_channels is not None else (
            self.granted.output_channels if channels is None else channels)
        self.granted = self._set_format(ins, outs, self.plugin.timeout)
        self._send_settings()

    def process(self, block: np.ndarray) -> np.ndarray:
        """Runs a block of (frames, granted input channels) through the
        plug-in and returns (frames, granted output channels)."""
        samples = np.ascontiguousarray(block, self.dtype.newbyteorder("<"))
        if samples.ndim == 1 and self.granted.input_channels == 1:
            samples = samples.reshape(-1, 1)
        if samples.ndim != 2 or samples.shape[1] != self.granted.input_channels:
            raise FormatError("a block must be (frames, %d)" % self.granted.input_channels)
        data = memoryview(samples.reshape(-1).view(np.uint8))
        frames = samples.shape[0]
        expect = frames * self.granted.output_channels * self.width
        reply = self._run.exchange([struct.pack("<II", CMD_PROCESS, len(data)), data], expect + 4,
                                   self.plugin.timeout)
        self.latency = struct.unpack_from("<I", reply, expect)[0]
        return np.frombuffer(reply, self.dtype.newbyteorder("<"), frames * self.granted.output_channels).astype(
            self.dtype, copy=False).reshape(frames, self.granted.output_channels)

    def drain(self) -> np.ndarray:
        """The plug-in's tail: silence run through it until it falls silent,
        at most the tail it reports (a tenth of a second if it says none)."""
        size = struct.unpack("<I", self._run.exchange([_message(CMD_DRAIN)], 4, self.plugin.timeout))[0]
        reply = self._run.exchange([], size, self.plugin.timeout)
        return np.frombuffer(reply, self.dtype.newbyteorder("<")).astype(self.dtype, copy=False).reshape(
            -1, self.granted.output_channels)

    def ring_out(self, limit: float, quiet_level: float = -90.0, quiet_window: float = 0.5) -> np.ndarray:
        """Feeds silence until the output has stayed below `quiet_level`
        dBFS for `quiet_window` seconds (or the plug-in's latency, if
        longer), at most `limit` seconds, and gives the output up to its
        last sound."""
        threshold = 10.0 ** (quiet_level / 20.0)
        step = max(1, self.rate // 10)
        window = max(int(quiet_window * self.rate), self.latency)
        silence = np.zeros((step, self.granted.input_channels), self.dtype)
        blocks: List[np.ndarray] = []
        quiet = 0
        produced = 0
        while produced < limit * self.rate and quiet < window:
            out = self.process(silence)
            loud = np.flatnonzero(np.abs(out).max(axis=1) > threshold)
            quiet = quiet + step if not loud.size else step - 1 - int(loud[-1])
            blocks.append(out)
            produced += step
        tail = np.vstack(blocks) if blocks else np.zeros((0, self.granted.output_channels), self.dtype)
        loud = np.flatnonzero(np.abs(tail).max(axis=1) > threshold) if tail.size else np.zeros(0, int)
        return tail[:int(loud[-1]) + 1 if loud.size else 0]

    def _render(self, samples: np.ndarray, tail: bool, until_quiet: Optional[float], quiet_level: float,
                compensate: bool, report: Callable[[int], None]) -> np.ndarray:
        # All messages go out in one exchange, each reply read straight into
        # its place in the result: the program never waits for the next
        # message, and no audio is copied on the way.
        frames, outs = samples.shape[0], self.granted.output_channels
        wire = self.dtype.newbyteorder("<")
        source = np.ascontiguousarray(samples, wire)
        out = np.empty((frames, outs), wire)
        latency = bytearray(4)  # each reply's latency lands here; the last one stays
        send: List[object] = []
        receive: List[memoryview] = []
        for first in range(0, frames, MESSAGE_FRAMES):
            data = memoryview(source[first:first + MESSAGE_FRAMES].reshape(-1).view(np.uint8))
            send += [struct.pack("<II", CMD_PROCESS, len(data)), data]
            receive += [memoryview(out[first:first + MESSAGE_FRAMES].reshape(-1).view(np.uint8)), memoryview(latency)]
        if not send:  # no audio: only the latency
            send, receive = [_message(CMD_PROCESS)], [memoryview(latency)]
        frame_bytes = outs * self.width
        self._run.scatter(send, receive, self.plugin.timeout, lambda got: report(min(got // frame_bytes, frames)))
        self.latency = struct.unpack("<I", latency)[0]
        parts = [out.astype(self.dtype, copy=False)]
        cut = self.latency if compensate else 0
        if cut:
            parts.append(self.process(np.zeros((cut, self.granted.input_channels), self.dtype)))
        if until_quiet is not None:
            parts.append(self.ring_out(until_quiet, quiet_level))
        elif tail:
            parts.append(self.drain())
        parts = [p for p in parts if len(p)] or parts[:1]
        result = parts[0] if len(parts) == 1 else np.concatenate(parts)
        return result[cut:]

    def close(self) -> None:
        """Ends the stream and the process; raises if it did not end well."""
        try:
            code, text = self._run.finish(self.plugin.timeout)
        finally:
            self._run.close()
        if code != 0:
            raise error_for(code, text, "process")
