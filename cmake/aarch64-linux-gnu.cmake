# AArch64: Debian's cross compiler, the arm64 packages that are installed beside the machine's own, and
# qemu-user to run what was built.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)

cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH source)
set(CMAKE_CROSSCOMPILING_EMULATOR ${source}/tests/emulation/emulate qemu-aarch64 ${CMAKE_BINARY_DIR})
unset(source)
