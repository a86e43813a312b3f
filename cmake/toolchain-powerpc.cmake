# Cross build for the meter's controller: 32-bit big-endian PowerPC, Debian's
# powerpc-linux-gnu cross compiler (g++-powerpc-linux-gnu). No sysroot: the
# target's C and C++ libraries live in Debian's multiarch cross layout under
# /usr/powerpc-linux-gnu.
#
# Options (pass with -D on the first configure):
#   LDU_PPC_DEPS_PREFIX  install prefix of the target's own builds of Mini-XML
#                        and GoogleTest (scripts/ppc-deps makes it). Its
#                        lib/pkgconfig is the only place pkg-config looks.
#   LDU_PPC_EMULATOR     command list that runs a target program on this
#                        machine (default: scripts/ppc-emulate, which runs
#                        qemu-ppc under the program's own name, see there).
#
# scripts/ppc-test drives all of this; see docs/readme/ppc.md.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR powerpc)

set(LDU_PPC_TRIPLET powerpc-linux-gnu)
set(LDU_PPC_TARGET_ROOT /usr/${LDU_PPC_TRIPLET})

set(CMAKE_C_COMPILER ${LDU_PPC_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${LDU_PPC_TRIPLET}-g++)
set(CMAKE_AR ${LDU_PPC_TRIPLET}-ar CACHE FILEPATH "Archiver")
set(CMAKE_RANLIB ${LDU_PPC_TRIPLET}-ranlib CACHE FILEPATH "Ranlib")
set(CMAKE_STRIP ${LDU_PPC_TRIPLET}-strip CACHE FILEPATH "Strip")

# try_compile projects re-read this file but do not see the cache: hand the
# options on to them.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES LDU_PPC_DEPS_PREFIX LDU_PPC_EMULATOR)

# Libraries, headers and CMake packages come from the target's trees only;
# programs (cmake, pkg-config) from this machine.
set(CMAKE_FIND_ROOT_PATH ${LDU_PPC_TARGET_ROOT})
if(LDU_PPC_DEPS_PREFIX)
  list(APPEND CMAKE_FIND_ROOT_PATH ${LDU_PPC_DEPS_PREFIX})
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config must never hand out this machine's x86-64 Mini-XML.
if(LDU_PPC_DEPS_PREFIX)
  set(ENV{PKG_CONFIG_LIBDIR} "${LDU_PPC_DEPS_PREFIX}/lib/pkgconfig")
else()
  set(ENV{PKG_CONFIG_LIBDIR} "${LDU_PPC_TARGET_ROOT}/lib/pkgconfig")
endif()
unset(ENV{PKG_CONFIG_PATH})
unset(ENV{PKG_CONFIG_SYSROOT_DIR})

# Target programs (tests, gtest_discover_tests) run under user-mode QEMU with
# the target's dynamic loader and libraries from the cross tree. The wrapper
# gives each emulated process its program's name as command name, as on the
# meter; plain "qemu-ppc;-L;/usr/powerpc-linux-gnu" works too, but then every
# emulated process is called "qemu-ppc".
# The deps prefix also holds the preload that lets threads blocked in a system
# call be cancelled under qemu-ppc (scripts/ppc-qemu-shim.c says why).
if(NOT LDU_PPC_EMULATOR)
  get_filename_component(LDU_PPC_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../scripts/ppc-emulate" ABSOLUTE)
  if(LDU_PPC_DEPS_PREFIX AND EXISTS "${LDU_PPC_DEPS_PREFIX}/lib/libldu_qemu_shim.so")
    list(APPEND LDU_PPC_EMULATOR --preload "${LDU_PPC_DEPS_PREFIX}/lib/libldu_qemu_shim.so")
  endif()
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR ${LDU_PPC_EMULATOR})
