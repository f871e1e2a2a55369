"""One run of fxhost.exe as a child process, with time-limited exchanges.

Standard error goes to a temporary file, not a pipe: under Wine the first
process in a fresh prefix starts Wine's own services, which inherit the
child's handles and keep a pipe open long after the child is gone, so a
parent that waits for the end of a pipe can wait forever. A run therefore
ends on the process, never on a pipe. Audio goes over the standard handles
and is read by count, written and read at the same time (the program writes
each block before it reads the next, so a parent that first writes a whole
message and only then reads would stall both sides on full pipe buffers).
"""
from __future__ import annotations

import io
import os
import queue
import selectors
import subprocess
import tempfile
import threading
import time
from pathlib import Path
from typing import Callable, List, Optional, Sequence, Tuple, Union

from . import program as programs
from .errors import FxhostError, error_for, timeout_for

Buffer = Union[bytes, bytearray, memoryview]

# A larger pipe means fewer wake-ups per second of audio (Linux only).
_PIPE_BYTES = 1 << 20
_F_SETPIPE_SZ = 1031

#: True reads and writes the pipes on threads, False polls them, None
#: chooses by the system (threads on Windows, where pipes cannot be polled).
USE_THREADS: Optional[bool] = None


def exit_code_of(returncode: Optional[int]) -> Optional[int]:
    """The program's exit code as a parent on Windows reads it, unsigned.

    Under Wine a Unix parent sees only the low 8 bits, so -1 arrives as 255;
    that is read back as 0xFFFFFFFF. A process killed by a signal has none."""
    if returncode is None or returncode < 0:
        return None
    if not programs.IS_WINDOWS and returncode == 255:
        return 0xFFFFFFFF
    return returncode & 0xFFFFFFFF


class Run:
    """fxhost.exe started with `arguments`; `pipes` gives it standard input
    and output on pipes of ours (else the null device)."""

    def __init__(self, program: Path, arguments: Sequence[str], pipes: bool = False) -> None:
        self.what = "%s %s" % (program.name, arguments[0] if arguments else "")
        self._stderr = tempfile.TemporaryFile()
        stream = subprocess.PIPE if pipes else subprocess.DEVNULL
        try:
            self.process = subprocess.Popen(programs.command_line(program, arguments), stdin=stream,
                                            stdout=stream, stderr=self._stderr, env=programs.environment(),
                                            bufsize=0)
        except OSError as error:
            self._stderr.close()
            raise FxhostError("could not start %s: %s" % (program, error)) from error
        self._io: Optional[_PipeIO] = None
        if pipes:
            use_threads = programs.IS_WINDOWS if USE_THREADS is None else USE_THREADS
            self._io = (_ThreadedIO if use_threads else _PolledIO)(self.process)

    def exchange(self, send: Sequence[Buffer], expect: int, timeout: Optional[float]) -> bytearray:
        """Writes the buffers of `send` in order while reading `expect` bytes
        of reply, and gives the reply. `timeout` is how long either side
        may make no progress.

        Raises Timeout (the process is killed first) or, when the program
        ended or stopped reading, the failure its exit code and standard
        error describe."""
        reply = bytearray(expect)
        self.scatter(send, [memoryview(reply)], timeout)
        return reply

    def scatter(self, send: Sequence[Buffer], receive: Sequence[memoryview], timeout: Optional[float],
                progress: Optional[Callable[[int], None]] = None) -> None:
        """As exchange, the reply read into the buffers of `receive` in
        order, so that many messages can be in flight and their audio lands
        where the caller wants it. `progress` hears the bytes read so far."""
        assert self._io is not None
        targets = [memoryview(r).cast("B") for r in receive if len(r)]
        try:
            self._io.exchange([memoryview(b).cast("B") for b in send if len(b)], targets, timeout, progress)
        except _Stalled:
            self.kill()
            raise timeout_for(self.stderr_text(), self.what,
                              "no answer within %g s; the process was ended" % timeout) from None
        except _Ended:
            code, text = self.finish(5.0)
            if code == 0:
                raise FxhostError("%s: the program ended without answering" % self.what, code, text)
            raise error_for(code, text, self.what) from None

    def finish(self, timeout: Optional[float]) -> Tuple[Optional[int], str]:
        """Closes our end of the input, waits for the process to end and
        gives its exit code and standard error text. A process still running
        after `timeout` seconds is killed and Timeout raised."""
        if self._io is not None:
            self._io.close_input()
        try:
            self.process.wait(timeout)
        except subprocess.TimeoutExpired:
            self.kill()
            raise timeout_for(self.stderr_text(), self.what,
                              "did not end within %g s; the process was ended" % timeout) from None
        finally:
            if self._io is not None and self.process.poll() is not None:
                self._io.close()
        return exit_code_of(self.process.returncode), self.stderr_text()

    def kill(self) -> None:
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        if self._io is not None:
            self._io.close()

    def stderr_text(self) -> str:
        self._stderr.seek(0)
        return self._stderr.read().decode("utf-8", "replace").replace("\r\n", "\n")

    def close(self) -> None:
        self.kill()
        self._stderr.close()


class _Stalled(Exception):
    pass


class _Ended(Exception):
    pass


Progress = Optional[Callable[[int], None]]


class _PipeIO:
    def exchange(self, send: List[memoryview], receive: List[memoryview], timeout: Optional[float],
                 progress: Progress) -> None:
        raise NotImplementedError

    def close_input(self) -> None:
        raise NotImplementedError

    def close(self) -> None:
        raise NotImplementedError


class _PolledIO(_PipeIO):
    """Both pipes non-blocking, driven by one selector loop."""

    def __init__(self, process: subprocess.Popen) -> None:
        self.input: Optional[io.FileIO] = io.FileIO(process.stdin.fileno(), "wb", closefd=False)
        self.output = io.FileIO(process.stdout.fileno(), "rb", closefd=False)
        self.process = process
        for stream in (process.stdin, process.stdout):
            os.set_blocking(stream.fileno(), False)
            try:
                import fcntl
                fcntl.fcntl(stream.fileno(), _F_SETPIPE_SZ, _PIPE_BYTES)
            except (ImportError, OSError):
                pass
        self.selector = selectors.DefaultSelector()

    def exchange(self, send: List[memoryview], receive: List[memoryview], timeout: Optional[float],
                 progress: Progress) -> None:
        pending, targets = list(send), list(receive)
        selector = self.selector
        if pending:
            if self.input is None:
                raise _Ended()
            selector.register(self.input, selectors.EVENT_WRITE)
        if targets:
            selector.register(self.output, selectors.EVENT_READ)
        got = 0
        try:
            while pending or targets:
                events = selector.select(timeout)
                if not events:
                    raise _Stalled()
                for key, _ in events:
                    if key.fileobj is self.output:
                        try:
                            n = self.output.readinto(targets[0])
                        except OSError:
                            raise _Ended() from None
                        if n == 0:
                            raise _Ended()
                        if n:
                            got += n
                            targets[0] = targets[0][n:]
                            if not len(targets[0]):
                                targets.pop(0)
                            if progress is not None:
                                progress(got)
                        if not targets:
                            selector.unregister(self.output)
                    else:
                        try:
                            n = self.input.write(pending[0])
                        except (BrokenPipeError, OSError):
                            raise _Ended() from None
                        if n:
                            pending[0] = pending[0][n:]
                            if not len(pending[0]):
                                pending.pop(0)
                        if not pending:
                            selector.unregister(self.input)
        finally:
            for key in list(selector.get_map().values()):
                selector.unregister(key.fileobj)

    def close_input(self) -> None:
        if self.input is not None:
            self.input = None
            try:
                self.process.stdin.close()
            except OSError:
                pass

    def close(self) -> None:
        self.close_input()
        self.selector.close()
        try:
            self.process.stdout.close()
        except OSError:
            pass


class _ThreadedIO(_PipeIO):
    """A reader thread that hands out what arrives; writes on a thread of
    their own so that a full pipe cannot stop the reading."""

    def __init__(self, process: subprocess.Popen) -> None:
        self.process = process
        self.chunks: "queue.Queue[bytes]" = queue.Queue()
        self.leftover = memoryview(b"")
        self.input_open = True
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self) -> None:
        stream = self.process.stdout
        while True:
            try:
                data = stream.read(1 << 16)
            except (OSError, ValueError):
                data = b""
            self.chunks.put(data)
            if not data:
                return

    def exchange(self, send: List[memoryview], receive: List[memoryview], timeout: Optional[float],
                 progress: Progress) -> None:
        failed: List[BaseException] = []
        writer = None
        if send:
            if not self.input_open:
                raise _Ended()

            def write() -> None:
                try:
                    for view in send:
                        while len(view):
                            view = view[self.process.stdin.write(view) or 0:]
                except (OSError, ValueError) as error:
                    failed.append(error)

            writer = threading.Thread(target=write, daemon=True)
            writer.start()
        got = 0
        for target in receive:
            while len(target):
                if not len(self.leftover):
                    try:
                        chunk = self.chunks.get(timeout=timeout)
                    except queue.Empty:
                        raise _Stalled() from None
                    if not chunk:
                        self.chunks.put(chunk)  # the end stays the end for later calls
                        raise _Ended()
                    self.leftover = memoryview(chunk)
                n = min(len(target), len(self.leftover))
                target[:n] = self.leftover[:n]
                self.leftover = self.leftover[n:]
                target = target[n:]
                got += n
                if progress is not None:
                    progress(got)
        if writer is not None:
            start = time.monotonic()
            while writer.is_alive():
                writer.join(0.05)
                if timeout is not None and time.monotonic() - start > timeout:
                    raise _Stalled()
            if failed:
                raise _Ended()

    def close_input(self) -> None:
        if self.input_open:
            self.input_open = False
            try:
                self.process.stdin.close()
            except OSError:
                pass

    def close(self) -> None:
        self.close_input()
