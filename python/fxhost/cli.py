"""The command line: ``python -m fxhost render IN... OUT --vst PLUGIN``.

One input renders to the file OUT (or into OUT, if it is a folder); several
render into the folder OUT under their own names, `--jobs` of them at once,
each in a process of its own. A bar on standard error shows the progress of
work that takes more than a moment.
"""
from __future__ import annotations

import argparse
import os
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import List, Optional, Sequence, TextIO, Tuple

from .errors import FxhostError
from .plugin import Plugin
from .wav import FORMATS, read_wav, wav_format, write_wav


class ProgressBar:
    """Frames done out of a total, drawn on a terminal once the work has
    taken `delay` seconds, at most ten times a second. Thread-safe."""

    def __init__(self, total: int, files: int, stream: TextIO = sys.stderr, delay: float = 0.5,
                 width: int = 30) -> None:
        self.total, self.files, self.stream, self.delay, self.width = max(total, 1), files, stream, delay, width
        self.done = 0
        self.files_done = 0
        self.start = time.monotonic()
        self.drawn = 0.0
        self.lock = threading.Lock()
        self.enabled = hasattr(stream, "isatty") and stream.isatty()

    def advance(self, frames: int = 0, file_done: bool = False) -> None:
        with self.lock:
            self.done += frames
            self.files_done += file_done
            now = time.monotonic()
            if self.enabled and now - self.start >= self.delay and (now - self.drawn >= 0.1 or file_done):
                self.drawn = now
                self.stream.write("\r" + self.line())
                self.stream.flush()

    def line(self) -> str:
        share = min(self.done / self.total, 1.0)
        filled = int(share * self.width)
        return "[%s%s] %3d%%  %d/%d files  %.1f s" % ("#" * filled, "." * (self.width - filled), share * 100,
                                                    self.files_done, self.files, time.monotonic() - self.start)

    def finish(self) -> None:
        with self.lock:
            if self.enabled and self.drawn:
                self.stream.write("\r" + self.line() + "\n")
                self.stream.flush()


def output_paths(inputs: Sequence[Path], out: Path) -> List[Path]:
    """Where each input renders to: OUT itself for one input unless OUT is
    a folder (or ends with a slash); OUT/<name> otherwise."""
    folder = len(inputs) > 1 or out.is_dir() or str(out).endswith(("/", os.sep))
    if not folder:
        return [out]
    names = [p.name for p in inputs]
    if len(set(names)) != len(names):
        raise SystemExit("render: two inputs have the same name; render them into different folders")
    return [out / name for name in names]


def _render_one(args: argparse.Namespace, source: Path, target: Path, bar: ProgressBar) -> None:
    fmt = wav_format(source)
    audio, rate = read_wav(source)
    plugin = Plugin(args.vst, args.data, program=args.program, timeout=args.timeout)
    done = [0]

    def progress(frames: int, _total: int) -> None:
        bar.advance(frames - done[0])
        done[0] = frames

    out = plugin.process(audio, rate, tail=not args.no_tail, until_quiet=args.until_quiet, progress=progress)
    target.parent.mkdir(parents=True, exist_ok=True)
    write_wav(target, out, rate, args.format or fmt.writable_format)
    bar.advance(fmt.frames - done[0], file_done=True)


def render(args: argparse.Namespace) -> int:
    inputs = [Path(p) for p in args.inputs]
    targets = output_paths(inputs, Path(args.output))
    try:
        formats = [wav_format(p) for p in inputs]
    except (OSError, FxhostError) as error:
        print("render: %s" % error, file=sys.stderr)
        return 2
    bar = ProgressBar(sum(f.frames for f in formats), len(inputs))
    failures: List[Tuple[Path, BaseException]] = []
    with ThreadPoolExecutor(max_workers=max(1, args.jobs)) as pool:
        jobs = [(source, pool.submit(_render_one, args, source, target, bar))
                for source, target in zip(inputs, targets)]
        for source, job in jobs:
            try:
                job.result()
            except (OSError, FxhostError) as error:
                failures.append((source, error))
    bar.finish()
    for source, error in failures:
        print("%s: %s" % (source, error), file=sys.stderr)
    return 1 if failures else 0


def parser() -> argparse.ArgumentParser:
    main = argparse.ArgumentParser(prog="python -m fxhost", description=__doc__.split("\n")[0])
    commands = main.add_subparsers(dest="command", required=True)
    r = commands.add_parser("render", help="render WAV files through a plug-in")
    r.add_argument("inputs", nargs="+", metavar="IN", help="WAV files to render")
    r.add_argument("output", metavar="OUT", help="the output file, or a folder for several inputs")
    r.add_argument("--vst", required=True, help="the plug-in: a VST 2 library or a VST 3 module")
    r.add_argument("--data", help="a settings file for the plug-in")
    r.add_argument("--jobs", type=int, default=1, help="files rendered at once (default 1)")
    r.add_argument("--format", choices=FORMATS, help="output samples (default: as the input, or float32)")
    r.add_argument("--no-tail", action="store_true", help="stop at the end of the input")
    r.add_argument("--until-quiet", type=float, metavar="SECONDS",
                   help="feed silence until the output falls quiet, at most this long")
    r.add_argument("--program", help="the fxhost.exe to use (default: FXHOST_EXE or the installed one)")
    r.add_argument("--timeout", type=float, default=30.0, help="seconds a plug-in may take to answer")
    return main


def main(argv: Optional[Sequence[str]] = None) -> int:
    args = parser().parse_args(argv)
    return render(args)
