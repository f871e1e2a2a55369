"""Which program runs a plug-in, how paths reach it under Wine, and how a
run's end becomes an exception."""
import pytest

import fxhost
from fxhost import program as programs
from fxhost.errors import error_for


def image(machine):
    """The smallest file with a PE header: "MZ", the offset of "PE", the
    machine field."""
    dos = bytearray(64)
    dos[0:2], dos[0x3C] = b"MZ", 64
    return bytes(dos) + b"PE\0\0" + machine.to_bytes(2, "little")


@pytest.mark.parametrize("name, layout, expected", [
    ("a 64-bit library", {"fx.dll": image(0x8664)}, "fxhost.exe"),
    ("a 32-bit library", {"fx.dll": image(0x14C)}, "fxhost32.exe"),
    ("not an image", {"fx.dll": b"hello"}, "fxhost.exe"),
    ("a bundle with both", {"fx.vst3/Contents/x86_64-win/fx.vst3": image(0x8664),
                            "fx.vst3/Contents/x86-win/fx.vst3": image(0x14C)}, "fxhost.exe"),
    ("a bundle with the 32-bit library only", {"fx.vst3/Contents/x86-win/fx.vst3": image(0x14C)}, "fxhost32.exe"),
])
def test_program_for_a_plugin(tmp_path, name, layout, expected):
    for relative, data in layout.items():
        (tmp_path / relative).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / relative).write_bytes(data)
    main = tmp_path / "bin" / "fxhost.exe"
    main.parent.mkdir()
    main.write_bytes(b"")
    plugin = tmp_path / next(iter(layout)).split("/")[0]
    if expected == "fxhost32.exe":
        with pytest.raises(fxhost.ProgramNotFound):
            programs.program_for(plugin, main)
        (main.parent / "fxhost32.exe").write_bytes(b"")
    assert programs.program_for(plugin, main).name == expected, name


def test_program_search_order(tmp_path, monkeypatch):
    given, named = tmp_path / "given.exe", tmp_path / "named.exe"
    given.write_bytes(b"")
    named.write_bytes(b"")
    monkeypatch.setenv("FXHOST_EXE", str(named))
    assert programs.find_program(given) == given
    assert programs.find_program() == named
    monkeypatch.setenv("FXHOST_EXE", str(tmp_path / "missing.exe"))
    with pytest.raises(fxhost.ProgramNotFound):
        programs.find_program()
    # Without either, a checkout's build is found from inside it.
    monkeypatch.delenv("FXHOST_EXE")
    monkeypatch.chdir(tmp_path)
    (tmp_path / "CMakeLists.txt").write_text("")
    (tmp_path / "build" / "bin").mkdir(parents=True)
    (tmp_path / "build" / "bin" / "fxhost.exe").write_bytes(b"")
    (tmp_path / "src").mkdir()
    monkeypatch.chdir(tmp_path / "src")
    monkeypatch.setattr(programs, "__file__", str(tmp_path / "elsewhere" / "program.py"))
    assert programs.find_program() == tmp_path / "build" / "bin" / "fxhost.exe"


@pytest.mark.skipif(programs.IS_WINDOWS, reason="Wine paths")
def test_windows_paths_through_the_prefix_drives(tmp_path, monkeypatch):
    prefix = tmp_path / "prefix"
    (prefix / "drive_c" / "users").mkdir(parents=True)
    (prefix / "dosdevices").mkdir()
    (prefix / "dosdevices" / "c:").symlink_to(prefix / "drive_c")
    (prefix / "dosdevices" / "z:").symlink_to("/")
    monkeypatch.setenv("WINEPREFIX", str(prefix))
    monkeypatch.setattr(programs, "_drives", None)
    assert programs.windows_path(prefix / "drive_c" / "users" / "a b.wav") == "C:\\users\\a b.wav"
    assert programs.windows_path("/tmp/x/y.dll") == "Z:\\tmp\\x\\y.dll"


@pytest.mark.parametrize("name, code, text, kind", [
    ("the crash line, among others", 0xFFFFFFFF, "some plug-in chatter\r\nplug-in crashed: access violation "
     "(c0000005) at fx.dll+0x10\r\n", fxhost.PluginCrashed),
    ("an exit by an exception's status", 0xC0000005, "", fxhost.PluginCrashed),
    ("a library that does not load", 0xFFFFFFFF, "Could not load VST bundle: x.dll\r\nCould not open VST.",
     fxhost.PluginOpenError),
    ("a refused format", 0xFFFFFFFF, "VST refused audio format\r\n", fxhost.FormatError),
    ("a transport failure", 0xFFFFFFFF, "file access error\r\n", fxhost.FxhostError),
])
def test_failures_by_kind(name, code, text, kind):
    error = error_for(code, text, "process")
    assert type(error) is kind, name
    assert error.exit_code == code and "\r" not in error.stderr, name
