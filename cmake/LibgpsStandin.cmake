# With RUXOGPS_LIBGPS_STANDIN the library is built against a header and a library of our own in place of a libgps: those
# of the generation that units have and no current distribution brings (tests/libgps22). To be included before libgps is
# looked for. What is built so is for the unit tests: it never finds a gpsd.

option(RUXOGPS_LIBGPS_STANDIN "Build against a stand-in for the units' libgps.so.22 (for the unit tests alone)" OFF)

if(NOT RUXOGPS_LIBGPS_STANDIN)
    return()
endif()

set(libgps22 ${PROJECT_SOURCE_DIR}/tests/libgps22)
set(libgps22_build ${PROJECT_BINARY_DIR}/libgps22)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    ${libgps22}/include/gps.h ${libgps22}/library/CMakeLists.txt ${libgps22}/library/Libgps22.cpp)

set(libgps22_settings "-DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}" "-DCMAKE_CXX_FLAGS=${CMAKE_CXX_FLAGS}")
foreach(setting CMAKE_TOOLCHAIN_FILE CMAKE_SYSROOT RUXOGPS_SYSROOT)
    if(${setting})
        list(APPEND libgps22_settings "-D${setting}=${${setting}}")
    endif()
endforeach()
execute_process(
    COMMAND ${CMAKE_COMMAND} -S ${libgps22}/library -B ${libgps22_build} -G ${CMAKE_GENERATOR} ${libgps22_settings}
    COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${libgps22_build} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)

# Not in the cache: a build folder that is configured without it once more must find a real libgps.
set(GPS_INCLUDE_DIR ${libgps22}/include)
set(GPS_LIBRARY ${libgps22_build}/libgps.so)
message(STATUS "libgps: a stand-in for libgps.so.22 (${libgps22})")

# Its record is not the real one's, so what was built against it must never meet a real libgps.
install(CODE "message(FATAL_ERROR \"built against a stand-in for libgps: not to be installed\")" ALL_COMPONENTS)
