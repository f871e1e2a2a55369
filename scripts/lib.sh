# Shared by scripts/test, scripts/demo and the benchmarks: install what is
# missing, build, and run Windows programs under a private Wine.
# Sourced, not run.

FXHOST_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
FXHOST_BUILD=${FXHOST_BUILD:-$FXHOST_ROOT/build}
# The 32-bit build (fxhost32.exe, its tests and plug-ins) has a build folder
# of its own inside the 64-bit one's and puts its program into the 64-bit
# bin as well, so that both programs stand side by side in $FXHOST_BUILD/bin.
FXHOST_BUILD32=${FXHOST_BUILD32:-$FXHOST_BUILD/x86}
# Which widths to build: "64", or "64 32" (scripts/test, or asked for).
FXHOST_WIDTHS=${FXHOST_WIDTHS:-64}
# The i686 compiler is always there: the 64-bit tests build one plug-in of
# the other width, to see it refused.
FXHOST_PACKAGES=(cmake ninja-build g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix wine wine64 googletest juce-modules-source dpf-source make python3 openssl libgnutls30)

say() { printf '==> %s\n' "$*" >&2; }

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }

# Installs only what is missing, so a second run touches no package list.
# Running 32-bit programs takes Wine's 32-bit side (wine32:i386), which
# needs i386 libraries of exactly the versions of the amd64 ones installed:
# where the archive cannot give those (an i386 index lagging behind), the
# 32-bit width is dropped from FXHOST_WIDTHS with one line saying so.
ensure_packages() {
  local missing=() p want32=0 sudo=()
  [ "$(id -u)" -eq 0 ] || sudo=(sudo)
  for p in "${FXHOST_PACKAGES[@]}"; do installed "$p" || missing+=("$p"); done
  [[ " $FXHOST_WIDTHS " == *" 32 "* ]] && ! installed wine32:i386 && want32=1
  if [ $want32 -eq 1 ] && ! dpkg --print-foreign-architectures | grep -qx i386; then
    say "adding the i386 architecture for 32-bit Wine"
    "${sudo[@]}" dpkg --add-architecture i386
    missing+=(wine32:i386)
  fi
  if [ ${#missing[@]} -gt 0 ]; then
    say "installing ${missing[*]}"
    # An index that fails to arrive (often the i386 one) leaves the others
    # usable: what cannot be installed shows below.
    "${sudo[@]}" apt-get update -qq 2>/dev/null || true
    missing=("${missing[@]/wine32:i386/}")
    [ -z "${missing[*]}" ] ||
      DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq ${missing[*]} >/dev/null
  fi
  [ $want32 -eq 1 ] || return 0
  local wine32=(--no-install-recommends wine32:i386)
  if apt-get install -s -qq "${wine32[@]}" >/dev/null 2>&1; then
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq "${wine32[@]}" >/dev/null
  else
    say "no consistent i386 side in this machine's package archive for wine32:i386: testing the 64-bit build only"
    FXHOST_WIDTHS=${FXHOST_WIDTHS// 32/}
  fi
}

# Configures once; later runs only let ninja bring the build up to date.
# Each width of FXHOST_WIDTHS in its own folder (build_folder).
build_all() {
  local width folder
  for width in $FXHOST_WIDTHS; do
    folder=$(build_folder "$width")
    if [ ! -f "$folder/build.ninja" ]; then
      say "configuring the $width-bit build in $folder"
      if [ "$width" = 32 ]; then
        set -- -DCMAKE_TOOLCHAIN_FILE="$FXHOST_ROOT/cmake/mingw-w64-i686.cmake" -DFXHOST_PROGRAM_DIR="$FXHOST_BUILD/bin"
      else
        set -- -DCMAKE_TOOLCHAIN_FILE="$FXHOST_ROOT/cmake/mingw-w64-x86_64.cmake"
      fi
      cmake -S "$FXHOST_ROOT" -B "$folder" -G Ninja "$@" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    fi
    say "building the $width-bit build"
    cmake --build "$folder" -- -j"$(nproc)" | grep -v '^\[' || true
    [ "${PIPESTATUS[0]}" -eq 0 ] || return 1
  done
}

build_folder() { if [ "$1" = 32 ]; then printf '%s' "$FXHOST_BUILD32"; else printf '%s' "$FXHOST_BUILD"; fi; }

# A throw-away Wine prefix with a persistent wineserver (so each process
# starts fast) and the null graphics driver (windows work without a display).
# Stopped and removed by stop_wine, which start_wine arranges to run on exit.
start_wine() {
  export WINEPREFIX
  WINEPREFIX=$(mktemp -d /tmp/fxhost-wine.XXXXXX)
  # winebus polls for game controllers every millisecond or so: that costs
  # every test and benchmark CPU time and makes their timings noisy.
  # A test program that crashes ends at once instead of waiting in Wine's
  # debugger until ctest gives up on it.
  export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=;winebus.sys=d;winedbg.exe=d"
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
