# Cross-build for 32-bit Windows with Debian's mingw-w64 (posix thread model):
# fxhost32.exe, for plug-ins that exist only as 32-bit libraries.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)

set(TOOLCHAIN_PREFIX i686-w64-mingw32)
set(CMAKE_C_COMPILER ${TOOLCHAIN_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TOOLCHAIN_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${TOOLCHAIN_PREFIX}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${TOOLCHAIN_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

# SSE2 arithmetic, as on 64-bit: the x87 unit keeps intermediates in 80 bits,
# so double arithmetic could differ from the 64-bit program's in its last
# bit. (The sample conversions scale by powers of two and come out the same
# either way.)
# Every machine that runs a 64-bit parent has SSE2. A 32-bit caller (a
# plug-in's thread, the system) keeps the stack aligned to 4 bytes only, so
# functions that spill SSE values realign it themselves.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse -mincoming-stack-boundary=2")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse -mincoming-stack-boundary=2")
# Up to 4 GiB of address space under a 64-bit system instead of 2 GiB: old
# sample-based plug-ins are the ones that run out.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--large-address-aware")

set(CMAKE_CROSSCOMPILING_EMULATOR wine)
