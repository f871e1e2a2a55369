"""Finding fxhost.exe and running it: directly on Windows, through Wine
elsewhere.

The program is looked for in this order: the path the caller gives, the
``FXHOST_EXE`` environment variable, a copy installed with this package,
and the build folder of a checkout this package (or the current folder)
lies in. A plug-in whose library is 32-bit runs in ``fxhost32.exe`` from
the same folder; the bitness is read from the library's PE header.
"""
from __future__ import annotations

import os
import shutil
import struct
from pathlib import Path
from typing import Dict, List, Optional, Sequence, Union

from .errors import ProgramNotFound

PathLike = Union[str, "os.PathLike[str]"]

IS_WINDOWS = os.name == "nt"

# PE machine field values.
MACHINE_I386 = 0x014C
MACHINE_AMD64 = 0x8664
MACHINE_ARM64 = 0xAA64


def pe_machine(path: PathLike) -> Optional[int]:
    """The machine field of a PE image's header, or None for a file that is
    not one (or cannot be read)."""
    try:
        with open(path, "rb") as image:
            dos = image.read(64)
            if len(dos) < 64 or dos[:2] != b"MZ":
                return None
            (offset,) = struct.unpack_from("<I", dos, 0x3C)
            image.seek(offset)
            header = image.read(6)
    except OSError:
        return None
    if len(header) < 6 or header[:4] != b"PE\0\0":
        return None
    return struct.unpack_from("<H", header, 4)[0]


def plugin_library(plugin: PathLike) -> Path:
    """The library file whose header says what the plug-in runs on: the
    plug-in itself, or inside a VST 3 bundle folder the 64-bit library if
    there is one, else the 32-bit one."""
    path = Path(plugin)
    if path.is_dir():
        stem = path.name[:-5] if path.name.lower().endswith(".vst3") else path.name
        for arch in ("x86_64-win", "x86-win"):
            inner = path / "Contents" / arch / (stem + ".vst3")
            if inner.is_file():
                return inner
    return path


def is_32_bit(plugin: PathLike) -> bool:
    """True when the plug-in's library is a 32-bit x86 image."""
    return pe_machine(plugin_library(plugin)) == MACHINE_I386


def _checkout_builds() -> List[Path]:
    # A package run from a checkout (or installed in development mode), and
    # a caller working inside one, both find the checkout's build.
    starts = [Path(__file__).resolve().parent, Path.cwd().resolve()]
    found = []
    for start in starts:
        for folder in [start] + list(start.parents):
            candidate = folder / "build" / "bin" / "fxhost.exe"
            if candidate.is_file() and (folder / "CMakeLists.txt").is_file():
                found.append(candidate)
                break
    return found


def find_program(program: Optional[PathLike] = None) -> Path:
    """The fxhost.exe to run: `program`, else ``FXHOST_EXE``, else the copy
    installed with this package, else a checkout's build.

    Raises ProgramNotFound when a named one does not exist or none is found."""
    for named, source in ((program, "the path given"), (os.environ.get("FXHOST_EXE"), "FXHOST_EXE")):
        if named:
            path = Path(named)
            if not path.is_file():
                raise ProgramNotFound("fxhost.exe not found at %s (%s)" % (path, source))
            return path.resolve()
    installed = Path(__file__).resolve().parent / "bin" / "fxhost.exe"
    for candidate in [installed] + _checkout_builds():
        if candidate.is_file():
            return candidate
    raise ProgramNotFound("fxhost.exe not found: pass its path, set FXHOST_EXE, "
                          "or install the package from a built checkout")


def program_for(plugin: PathLike, program: Path) -> Path:
    """The program a plug-in needs: fxhost32.exe beside `program` for a
    32-bit library, `program` itself otherwise."""
    if not is_32_bit(plugin):
        return program
    beside = program.with_name("fxhost32.exe")
    if not beside.is_file():
        raise ProgramNotFound("%s is a 32-bit plug-in and needs %s, which is missing" % (plugin, beside))
    return beside


def find_wine() -> str:
    """The wine command: ``FXHOST_WINE``, else wine or wine64 on the path,
    else Debian's own place for it."""
    named = os.environ.get("FXHOST_WINE")
    if named:
        return named
    for name in ("wine", "wine64"):
        found = shutil.which(name)
        if found:
            return found
    for fixed in ("/usr/lib/wine/wine64", "/usr/lib/wine/wine", "/opt/wine-stable/bin/wine"):
        if os.access(fixed, os.X_OK):
            return fixed
    raise ProgramNotFound("Wine not found: install wine, or set FXHOST_WINE to its command")


def _dos_devices() -> Dict[str, str]:
    # The prefix's drive letters and the folders they stand for; Wine makes
    # Z: the root of the file system unless someone changed it.
    prefix = os.environ.get("WINEPREFIX") or os.path.join(os.path.expanduser("~"), ".wine")
    devices = os.path.join(prefix, "dosdevices")
    drives = {}
    try:
        for entry in os.listdir(devices):
            if len(entry) == 2 and entry[1] == ":":
                target = os.path.realpath(os.path.join(devices, entry))
                if os.path.isdir(target):
                    drives[entry.upper()] = target
    except OSError:
        pass
    return drives


_drives: Optional[Dict[str, str]] = None


def windows_path(path: PathLike) -> str:
    """`path` as the program sees it: unchanged on Windows; under Wine the
    absolute path through the drive whose folder holds it most closely
    (Z: for the root in a usual prefix)."""
    if IS_WINDOWS:
        return os.path.abspath(path)
    global _drives
    if _drives is None:
        _drives = _dos_devices()
    absolute = os.path.realpath(path)
    best, best_root = "Z:", "/"
    for drive, root in _drives.items():
        inside = absolute == root or absolute.startswith(root.rstrip("/") + "/")
        if inside and len(root) > len(best_root):
            best, best_root = drive, root
    rest = absolute[len(best_root):] if best_root != "/" else absolute
    return best + "\\" + rest.strip("/").replace("/", "\\")


def command_line(program: Path, arguments: Sequence[str]) -> List[str]:
    """The argv that starts `program` with `arguments` on this system."""
    if IS_WINDOWS:
        return [str(program)] + list(arguments)
    return [find_wine(), str(program)] + list(arguments)


def environment() -> Dict[str, str]:
    """The child's environment. Under Wine: quiet (Wine's own diagnostics
    would otherwise mix with the program's standard error) and without the
    installers a fresh prefix would offer, unless the caller chose; and
    without Wine's debugger, unless the caller named it, so that a crash
    the program does not contain ends the process at once instead of
    leaving it waiting for a debugger."""
    env = dict(os.environ)
    if not IS_WINDOWS:
        env.setdefault("WINEDEBUG", "-all")
        overrides = env.get("WINEDLLOVERRIDES", "mscoree,mshtml=")
        if "winedbg" not in overrides:
            overrides += (";" if overrides else "") + "winedbg.exe=d"
        env["WINEDLLOVERRIDES"] = overrides
    return env

