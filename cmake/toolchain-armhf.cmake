# 32-bit ARM with hardware floating point, as Debian builds it (ARMv7-A, VFPv3-D16, no NEON).
# NUBRIX_SYSROOT is made by scripts/armhf-sysroot.sh; tests run under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)  # no notes on how GCC 6 passed parameters
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

# A cache entry, because an environment variable is lost when CMake runs again by itself.
set(NUBRIX_SYSROOT "" CACHE PATH "Sysroot with the libraries of the target")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES NUBRIX_SYSROOT)
set(CMAKE_SYSROOT ${NUBRIX_SYSROOT})
set(CMAKE_FIND_ROOT_PATH ${NUBRIX_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${NUBRIX_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${NUBRIX_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${NUBRIX_SYSROOT}/usr/share/pkgconfig)

set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm;-L;${NUBRIX_SYSROOT}")
