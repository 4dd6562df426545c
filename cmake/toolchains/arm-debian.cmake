# What the toolchain files beside this one have in common; each sets RUXOGPS_TRIPLET, RUXOGPS_EMULATOR (and its options),
# the target's name and the processor first, and includes it. An integrator copies the two, or writes the like for another
# system root.
#
# The system root: -DRUXOGPS_SYSROOT=FOLDER, the environment variable of that name, or what tools/arm/make-sysroot made.

if(NOT RUXOGPS_SYSROOT)
    if(DEFINED ENV{RUXOGPS_SYSROOT})
        set(RUXOGPS_SYSROOT "$ENV{RUXOGPS_SYSROOT}")
    else()
        get_filename_component(RUXOGPS_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../../build/sysroots/${RUXOGPS_TARGET}" ABSOLUTE)
    endif()
endif()
set(RUXOGPS_SYSROOT "${RUXOGPS_SYSROOT}" CACHE PATH "System root that is built against")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES RUXOGPS_SYSROOT) # try_compile reads this file anew
if(NOT EXISTS "${RUXOGPS_SYSROOT}/usr/include")
    message(FATAL_ERROR "No system root in ${RUXOGPS_SYSROOT}: run tools/arm/make-sysroot ${RUXOGPS_TARGET}, or set RUXOGPS_SYSROOT")
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${RUXOGPS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${RUXOGPS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${RUXOGPS_TRIPLET})

# Headers, libraries and packages from the root alone; programs of the build from the host.
set(CMAKE_SYSROOT "${RUXOGPS_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${RUXOGPS_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR} "${RUXOGPS_SYSROOT}/usr/lib/${RUXOGPS_TRIPLET}/pkgconfig:${RUXOGPS_SYSROOT}/usr/share/pkgconfig")

# How a program of the target is started here. CTest and the tests' scripts use it; nothing needs binfmt_misc.
find_program(RUXOGPS_EMULATOR_PROGRAM NAMES ${RUXOGPS_EMULATOR}-static ${RUXOGPS_EMULATOR} NO_CMAKE_FIND_ROOT_PATH)
if(RUXOGPS_EMULATOR_PROGRAM)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${RUXOGPS_EMULATOR_PROGRAM} ${RUXOGPS_EMULATOR_OPTIONS} -L ${RUXOGPS_SYSROOT})
endif()
