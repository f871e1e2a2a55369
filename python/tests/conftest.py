"""The package's tests run against the checkout's build: the real
fxhost.exe and the suite's test plug-ins, under the Wine prefix that
scripts/test prepares (any WINEPREFIX works, a prepared one is faster)."""
import os
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("FXHOST_BUILD") or ROOT / "build")
PROGRAM = BUILD / "bin" / "fxhost.exe"
PLUGINS = BUILD / "bin" / "plugins"

# The installed copy may be older than the build: always test the build.
os.environ["FXHOST_EXE"] = str(PROGRAM)


def plugin(name: str) -> Path:
    return PLUGINS / name


@pytest.fixture
def call_log(tmp_path, monkeypatch):
    """While the test runs, the test plug-ins append one line per call to a
    file (see tests/plugins/vst2/plugin_log.h); gives a reader of it."""
    from fxhost.program import windows_path

    log = tmp_path / "calls.log"
    monkeypatch.setenv("FXHOST_TEST_LOG", windows_path(log))

    def calls(prefix: str = ""):
        if not log.exists():
            return []
        lines = log.read_text().splitlines()
        return [c for c in (line.split(" ", 1)[1] for line in lines) if c.startswith(prefix)]

    return calls
