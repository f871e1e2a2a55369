"""fxhost for Python: audio effect plug-ins in a process of their own.

    import fxhost
    audio, rate = fxhost.read_wav("in.wav")
    fxhost.write_wav("out.wav", fxhost.Plugin("echo.dll").process(audio, rate), rate)

A plug-in that crashes or hangs ends its own fxhost.exe process and raises
PluginCrashed or Timeout here; this interpreter goes on.
"""
from . import picture
from .errors import (CRASH_PREFIX, FormatError, FxhostError, PluginCrashed, PluginOpenError, ProgramNotFound,
                     Timeout)
from .plugin import Info, Pin, Plugin, Stream, StreamFormat, parse_info
from .program import find_program, find_wine, is_32_bit, pe_machine, windows_path
from .wav import WavFormat, read_wav, wav_format, write_wav

__all__ = [
    "CRASH_PREFIX", "FormatError", "FxhostError", "Info", "Pin", "Plugin", "PluginCrashed", "PluginOpenError",
    "ProgramNotFound", "Stream", "StreamFormat", "Timeout", "WavFormat", "find_program", "find_wine", "is_32_bit",
    "parse_info", "pe_machine", "read_wav", "wav_format", "windows_path", "write_wav",
]
__version__ = "0.1.0"
