# Shared by scripts/test, scripts/demo and the benchmarks: install what is
# missing, build, and run Windows programs under a private Wine.
# Sourced, not run.

FXHOST_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
FXHOST_BUILD=${FXHOST_BUILD:-$FXHOST_ROOT/build}
FXHOST_PACKAGES=(cmake ninja-build g++-mingw-w64-x86-64-posix wine wine64 googletest juce-modules-source dpf-source make python3 openssl libgnutls30)

say() { printf '==> %s\n' "$*" >&2; }

# Installs only what is missing, so a second run touches no package list.
ensure_packages() {
  local missing=() p
  for p in "${FXHOST_PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local sudo=()
  [ "$(id -u)" -eq 0 ] || sudo=(sudo)
  say "installing ${missing[*]}"
  "${sudo[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq "${missing[@]}" >/dev/null
}

# Configures once; later runs only let ninja bring the build up to date.
build_all() {
  if [ ! -f "$FXHOST_BUILD/build.ninja" ]; then
    say "configuring in $FXHOST_BUILD"
    cmake -S "$FXHOST_ROOT" -B "$FXHOST_BUILD" -G Ninja \
      -DCMAKE_TOOLCHAIN_FILE="$FXHOST_ROOT/cmake/mingw-w64-x86_64.cmake" \
      -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  fi
  say "building"
  cmake --build "$FXHOST_BUILD" -- -j"$(nproc)" | grep -v '^\[' || true
  [ "${PIPESTATUS[0]}" -eq 0 ]
}

# A throw-away Wine prefix with a persistent wineserver (so each process
# starts fast) and the null graphics driver (windows work without a display).
# Stopped and removed by stop_wine, which start_wine arranges to run on exit.
start_wine() {
  export WINEPREFIX
  WINEPREFIX=$(mktemp -d /tmp/fxhost-wine.XXXXXX)
  # winebus polls for game controllers every millisecond or so: that costs
  # every test and benchmark CPU time and makes their timings noisy.
  export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=;winebus.sys=d"
  say "preparing Wine in $WINEPREFIX"
  # The first start makes the prefix and its desktop process; the driver
  # setting only counts for a desktop started after it, so restart.
  wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
  restart_wineserver
  trap stop_wine EXIT
}

# A new persistent wineserver and desktop in the current prefix. Also used
# between test runs that must not meet the desktop of an earlier run going
# away: an end-to-end run that starts then can stall under Wine.
restart_wineserver() {
  wineserver -k 2>/dev/null || true
  wineserver -w 2>/dev/null || true
  wineserver -p >/dev/null 2>&1
  # Start the prefix's background processes here, where their output goes
  # nowhere, not under a test whose output someone reads to the end.
  wine reg query 'HKCU\Software\Wine\Drivers' >/dev/null 2>&1
}

stop_wine() {
  [ -n "${WINEPREFIX:-}" ] || return 0
  wineserver -k 2>/dev/null || true
  rm -rf "$WINEPREFIX"
}

# Windows path of a file under this machine's root, for Wine programs.
winpath() { printf 'Z:%s' "$(readlink -f "$1" | tr / '\\')"; }

# The Python client (python/): a virtual environment that sees Debian's
# numpy, pytest and matplotlib (for the demo's picture), with the package
# installed from this checkout, a copy of the built program included.
FXHOST_PYTHON_PACKAGES=(python3-numpy python3-setuptools python3-venv python3-pip python3-pytest python3-matplotlib)
FXHOST_VENV=$FXHOST_BUILD/python-venv
python_client() {
  local others=("${FXHOST_PACKAGES[@]}")
  FXHOST_PACKAGES=("${FXHOST_PYTHON_PACKAGES[@]}")
  ensure_packages
  FXHOST_PACKAGES=("${others[@]}")
  [ -x "$FXHOST_VENV/bin/python" ] || /usr/bin/python3 -m venv --system-site-packages "$FXHOST_VENV"
  "$FXHOST_VENV/bin/pip" install -q --no-build-isolation --no-index --no-deps "$FXHOST_ROOT/python" >/dev/null
}

# The Python client's tests. pytest exits 0 when all passed, 5 when it
# collected nothing (here that means the tests went missing, and says so)
# and other codes for failures: only 0 passes.
python_tests() {
  python_client
  say "testing the Python client"
  local code=0
  (cd "$FXHOST_ROOT/python" && "$FXHOST_VENV/bin/python" -m pytest -q -p no:cacheprovider tests) || code=$?
  [ "$code" -ne 5 ] || say "pytest collected no tests"
  return "$code"
}
