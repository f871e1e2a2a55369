"""Exceptions raised by the fxhost client.

Every failure of a run is an :class:`FxhostError` carrying what the parent
saw: the exit code (``None`` while the process still ran) and the text the
program wrote on standard error. The subclasses say what kind of failure it
was, so that a caller can retry a timed-out render, skip a plug-in that does
not open, or report a crash without guessing from the text.
"""
from __future__ import annotations

from typing import Optional

#: The line fxhost.exe writes when a plug-in faulted inside its process.
CRASH_PREFIX = "plug-in crashed: "

#: fxhost.exe exits with -1, which a parent reads as this unsigned value.
EXIT_FAILURE = 0xFFFFFFFF


class FxhostError(RuntimeError):
    """A run of fxhost.exe failed.

    ``exit_code`` is the unsigned 32-bit exit code of the process, or None
    if it had not ended on its own. ``stderr`` is its standard error text,
    line ends made plain."""

    def __init__(self, message: str, exit_code: Optional[int] = None, stderr: str = "") -> None:
        super().__init__(message)
        self.exit_code = exit_code
        self.stderr = stderr


class ProgramNotFound(FxhostError):
    """fxhost.exe (or fxhost32.exe, or Wine) could not be found."""


class PluginOpenError(FxhostError):
    """The plug-in could not be opened: no such file, not a plug-in, an
    instrument, or a library for another processor."""


class PluginCrashed(FxhostError):
    """The plug-in faulted and its process ended; the parent is unharmed."""


class Timeout(FxhostError):
    """fxhost.exe did not answer in time; its process has been killed."""


class FormatError(FxhostError, ValueError):
    """Audio or a format that the program or the plug-in cannot take."""


# Standard error lines by which fxhost.exe says the plug-in did not open.
_OPEN_FAILURES = ("Could not open VST.", "Could not load VST", "No VST specified.")
# Lines that say the audio did not fit the plug-in or the encoding.
_FORMAT_FAILURES = ("unsupported stream format", "VST refused audio format", "Format conversion failure",
                    "bad data alignment", "audio format not set", "audio format has no input channels")


def timeout_for(stderr: str, what: str, detail: str) -> FxhostError:
    """The exception for a process that stopped answering and was killed:
    Timeout, unless Wine reported an unhandled exception in it ("wine:
    Unhandled ..."), which it does before it waits for a debugger."""
    text = stderr.replace("\r\n", "\n").strip()
    crash = next((line for line in text.splitlines() if line.startswith(_WINE_CRASH)), None)
    if crash is not None:
        return PluginCrashed("%s: %s" % (what, crash), None, text)
    return Timeout("%s: %s" % (what, detail), None, text)


_WINE_CRASH = "wine: Unhandled"


def error_for(exit_code: Optional[int], stderr: str, what: str) -> FxhostError:
    """The exception for a run that ended with `exit_code` and `stderr`.

    A crash line wins over everything else, then an exit code the program
    itself never gives, then the known texts."""
    text = stderr.replace("\r\n", "\n").strip()
    lines = text.splitlines()
    crash = next((line for line in lines if line.startswith(CRASH_PREFIX)), None)
    if crash is not None:
        return PluginCrashed("%s: %s" % (what, crash), exit_code, text)
    # The program itself exits with 0 or -1 only: any other code means the
    # process was ended by something else, an exception's status (from a
    # program without crash containment; under Wine its low 8 bits) or a
    # plug-in's own exit call.
    if exit_code not in (None, 0, EXIT_FAILURE):
        return PluginCrashed("%s: the process ended abnormally (0x%08x)" % (what, exit_code), exit_code, text)
    detail = "; ".join(lines) if lines else "exit code 0x%08x" % (exit_code or 0)
    message = "%s: %s" % (what, detail)
    if any(line.startswith(_OPEN_FAILURES) for line in lines):
        return PluginOpenError(message, exit_code, text)
    if any(line.startswith(_FORMAT_FAILURES) for line in lines):
        return FormatError(message, exit_code, text)
    return FxhostError(message, exit_code, text)
