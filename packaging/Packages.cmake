# Debian packages, a component of Install.cmake each:
#
#   cmake --preset package && cmake --build --preset package && cpack --preset package
#
# or `cpack -G DEB` in the build folder of a cross compiler. deb/complete.cmake adds what Debian's policy asks for and an
# installation without packages does without.

set(RUXOGPS_MAINTAINER "ruxogps authors <authors@ruxogps.invalid>" CACHE STRING
    "Who is named as the maintainer of the packages")

# --- All of them ----------------------------------------------------------------------------------------

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ruxogps)
set(CPACK_PACKAGE_CONTACT "${RUXOGPS_MAINTAINER}")
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/deb/settings.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/deb/complete.cmake)
set(CPACK_RUXOGPS_SOURCE ${PROJECT_SOURCE_DIR}) # for the two

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE ruxogps)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

# Debian's name of the machine that is built for: CPack would take that of the one that builds.
find_program(DPKG_ARCHITECTURE dpkg-architecture NO_CMAKE_FIND_ROOT_PATH)
mark_as_advanced(DPKG_ARCHITECTURE)
if(DPKG_ARCHITECTURE AND CMAKE_LIBRARY_ARCHITECTURE)
    execute_process(COMMAND ${DPKG_ARCHITECTURE} --target-type ${CMAKE_LIBRARY_ARCHITECTURE} --query DEB_TARGET_ARCH
        OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()

# --- What each is ---------------------------------------------------------------------------------------

# debian_package(COMPONENT PACKAGE SECTION [DEPENDS PACKAGE...] [NEEDS COMPONENT...] DESCRIPTION TEXT)
function(debian_package component package section)
    cmake_parse_arguments(PARSE_ARGV 3 arg "" "DESCRIPTION" "DEPENDS;NEEDS")
    string(TOUPPER ${component} upper)
    list(JOIN arg_DEPENDS ", " depends)
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
    set(CPACK_COMPONENT_${upper}_DEPENDS "${arg_NEEDS}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${arg_DESCRIPTION}" PARENT_SCOPE)
endfunction()

if(RUXO_PLATFORM)
    set(platform) # the vendor's, which no package of ours brings
else()
    set(platform host_platform)
endif()

set(CPACK_COMPONENTS_ALL)
# Bash is the shell whose `echo` knows -e; psmisc has killall, procps kill, sysvinit-utils pidof.
debian_package(runtime libruxogps${PROJECT_VERSION_MAJOR} libs
    DEPENDS gpsd bash psmisc procps sysvinit-utils
    NEEDS ${platform}
    DESCRIPTION "GPS service of a telematics unit - shared library
The GPS service of an embedded telematics unit with a u-blox receiver and
gpsd. An application makes one adapter, hands it its settings and gets
position updates, tracking ticks, geofence, availability and antenna events
through a callback object.
.
It configures the receiver, starts and watches gpsd, and carries the
receiver's navigation database across restarts. Its paths and commands are
those of the unit: on another machine it kills each gpsd that it may.")
debian_package(development libruxogps-dev libdevel
    NEEDS runtime ${platform}
    DESCRIPTION "GPS service of a telematics unit - development files
Headers, pkg-config file and CMake package of the GPS service of an embedded
telematics unit with a u-blox receiver and gpsd, with an example and the
integrator's documents.
.
The headers name types of the unit's platform. The platform's headers and
libraries are the vendor's on a unit; on a host, ruxogps-host-platform has
them.")
if(NOT RUXO_PLATFORM)
    debian_package(host_platform ruxogps-host-platform libdevel
        DESCRIPTION "GPS service of a telematics unit - platform of a host
Headers and small working versions of the four platform libraries (HAL, base,
log, utilities) that the GPS service of a telematics unit runs beside.
.
They are for the host of a developer, where applications are built and tried
on a virtual unit. A unit has its vendor's.")
endif()
debian_package(tools ruxogps-tools utils
    NEEDS runtime ${platform}
    DESCRIPTION "GPS service of a telematics unit - tools on the unit
What an integrator of the GPS service of a telematics unit runs on the unit or
copies from: the check of all that the service needs there, a live view and
recorder of the service, the page of a recorded drive, a timeout command with
the option that the service uses, and examples of system configuration.")

# --- Control files --------------------------------------------------------------------------------------

# What packages of applications depend on: the library as a whole, or each of its names.
set(soname_version ${PROJECT_VERSION_MAJOR})
file(STRINGS ${PROJECT_SOURCE_DIR}/tests/abi/exported_symbols.txt symbols REGEX "^[^#]")
list(TRANSFORM symbols APPEND "@Base ${PROJECT_VERSION}")
list(JOIN symbols "\n " symbols)
foreach(name IN ITEMS shlibs symbols)
    configure_file(packaging/deb/${name}.in ${generated}/deb/${name} @ONLY)
endforeach()

# CPack runs ldconfig in scripts of its own, but for a package that brings them: the trigger does it, and a list that
# names a script that isn't there has none.
set(triggers ${CMAKE_CURRENT_LIST_DIR}/deb/triggers ${generated}/deb/none/postinst ${generated}/deb/none/postrm)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${generated}/deb/shlibs ${generated}/deb/symbols ${triggers})
set(CPACK_DEBIAN_HOST_PLATFORM_PACKAGE_CONTROL_EXTRA ${triggers})

# Where the libraries are that no package has.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
if(RUXO_PLATFORM)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${RUXO_PLATFORM}/${RUXO_PLATFORM_LIB_FOLDER})
else()
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/platform)
endif()

# A system root has libraries, but no list of packages that dpkg-shlibdeps could ask for them: it gets one, with the
# versions that are built against. Debian renamed libraries when 32-bit ARM got its 64-bit time_t.
if(CMAKE_SYSROOT)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
    file(STRINGS ${CMAKE_SYSROOT}/usr/include/features.h glibc REGEX "^#define[ \t]+__GLIBC(_MINOR)?__[ \t]+[0-9]+")
    string(REGEX REPLACE ".*__GLIBC__[ \t]+([0-9]+).*__GLIBC_MINOR__[ \t]+([0-9]+).*" "\\1.\\2" glibc "${glibc}")
    string(REGEX REPLACE "[.].*" "" gcc ${CMAKE_CXX_COMPILER_VERSION})
    string(REGEX REPLACE ".*[.]" "" libgps "${LIBGPS_SONAME}")
    set(libgps_packages "libgps${libgps} (>= ${LIBGPS_RELEASE})")
    if(libgps GREATER_EQUAL 30)
        string(PREPEND libgps_packages "libgps${libgps}t64 (>= ${LIBGPS_RELEASE}) | ")
    endif()
    configure_file(packaging/deb/shlibs.local.in ${generated}/deb/shlibs.local @ONLY)
    set(CPACK_RUXOGPS_SHLIBS ${generated}/deb/shlibs.local) # for complete.cmake
endif()

include(CPack)
