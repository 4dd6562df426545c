# Finds the gpsd client library and tells whether header, library and compiler flags belong together. The record
# `gps_data_t` is laid out by the header, but written by the library: where they differ, the library writes past its end.
#
# Sets
#   GPS_INCLUDE_DIR, GPS_LIBRARY   where they are (cache; give them to use others)
#   LIBGPS_SONAME                  "libgps.so.28"; empty where it can't be read
#   LIBGPS_API                     the header's "11.0"
#   LIBGPS_RELEASE                 "3.22" as the libgps.pc beside the library says; empty without one
#   LIBGPS_TIME_BITS               64 or 32, the width of time_t that the library was built with; empty if unknown
#   LIBGPS_RECORD_SIZE             bytes of the record, with the flags of this build
# and stops with a message that names the mend where they certainly contradict each other.

find_path(GPS_INCLUDE_DIR gps.h REQUIRED)
find_library(GPS_LIBRARY gps REQUIRED)

# --- What the header and the library say of themselves ----------------------------------------------------

function(libgps_read_api result)
    file(STRINGS ${GPS_INCLUDE_DIR}/gps.h lines REGEX "^#define GPSD_API_M(AJOR|INOR)_VERSION[ \t]+[0-9]+")
    string(REGEX REPLACE ".*MAJOR_VERSION[ \t]+([0-9]+).*" "\\1" major "${lines}")
    string(REGEX REPLACE ".*MINOR_VERSION[ \t]+([0-9]+).*" "\\1" minor "${lines}")
    set(${result} "" PARENT_SCOPE)
    if(lines)
        set(${result} "${major}.${minor}" PARENT_SCOPE)
    endif()
endfunction()

function(libgps_read_soname result)
    set(soname)
    if(CMAKE_READELF)
        execute_process(COMMAND ${CMAKE_READELF} -d ${GPS_LIBRARY} OUTPUT_VARIABLE dynamic ERROR_QUIET)
        if(dynamic MATCHES "SONAME\\)[^[]*\\[([^]]+)\\]")
            set(soname ${CMAKE_MATCH_1})
        endif()
    endif()
    set(${result} "${soname}" PARENT_SCOPE)
endfunction()

# The file itself instead of pkg-config, which on a cross build may answer for the machine that builds.
function(libgps_read_release result)
    get_filename_component(folder ${GPS_LIBRARY} DIRECTORY)
    set(release)
    if(EXISTS ${folder}/pkgconfig/libgps.pc)
        file(STRINGS ${folder}/pkgconfig/libgps.pc line REGEX "^Version:")
        string(REGEX REPLACE "^Version:[ \t]*([^ \t;]*).*" "\\1" release "${line}")
    endif()
    set(${result} "${release}" PARENT_SCOPE)
endfunction()

# --- The width of time_t ----------------------------------------------------------------------------------

# On 32 bits the C library has its time functions twice, and the flags decide which ones are called: `clock_gettime` or
# `__clock_gettime64`. The names that a library calls so tell what it was built with; where time_t has one width, all
# names are plain. "wide", "plain" or empty.
function(libgps_time_names file result)
    set(names "(clock_gettime|gettimeofday|gmtime|localtime|mktime|timegm)") # a plain "time" may be a report's member
    file(STRINGS ${file} wide REGEX "^__(${names}|time)64(_r)?(@.*)?$" LIMIT_COUNT 1)
    file(STRINGS ${file} plain REGEX "^${names}(_r)?(@.*)?$" LIMIT_COUNT 1)
    if(wide)
        set(${result} wide PARENT_SCOPE)
    elseif(plain)
        set(${result} plain PARENT_SCOPE)
    else()
        set(${result} "" PARENT_SCOPE)
    endif()
endfunction()

# A program that calls the time functions and carries the sizes in its text; it isn't run, so it may be another machine's.
# Tried at each configuring: the flags may have been mended since.
set(libgps_probe_source [[
#include <gps.h>
#include <time.h>
#define DIGIT(number, unit) static_cast<char>('0' + (number) / (unit) % 10)
#define DIGITS(number) \
    DIGIT(number, 100000), DIGIT(number, 10000), DIGIT(number, 1000), DIGIT(number, 100), DIGIT(number, 10), DIGIT(number, 1)
extern const volatile char sizes[];
const volatile char sizes[] = {'\0', 's', 'i', 'z', 'e', 's', ' ', DIGITS(sizeof(time_t)), ' ',
                               DIGITS(sizeof(gps_data_t)), '\0'};
int main() {
    timespec now;
    return clock_gettime(CLOCK_REALTIME, &now) + sizes[1];
}
]])

function(libgps_probe_build time_bytes record_size names)
    set(program ${CMAKE_BINARY_DIR}/CMakeFiles/libgps_probe.bin)
    try_compile(compiles SOURCE_FROM_VAR probe.cpp libgps_probe_source
        CMAKE_FLAGS -DINCLUDE_DIRECTORIES=${GPS_INCLUDE_DIR}
        OUTPUT_VARIABLE output COPY_FILE ${program} NO_CACHE)
    if(NOT compiles)
        message(FATAL_ERROR "A program with ${GPS_INCLUDE_DIR}/gps.h does not compile:\n${output}")
    endif()
    file(STRINGS ${program} sizes REGEX "^sizes [0-9]+ [0-9]+$" LIMIT_COUNT 1)
    if(sizes MATCHES "^sizes 0*([0-9]+) 0*([0-9]+)$")
        set(${time_bytes} ${CMAKE_MATCH_1} PARENT_SCOPE)
        set(${record_size} ${CMAKE_MATCH_2} PARENT_SCOPE)
    endif()
    libgps_time_names(${program} called)
    set(${names} "${called}" PARENT_SCOPE)
endfunction()

# --- Contradictions ---------------------------------------------------------------------------------------

function(libgps_check_time_width build_names library_names)
    if(build_names STREQUAL plain AND library_names STREQUAL wide)
        message(FATAL_ERROR "${GPS_LIBRARY} was built with a 64-bit time_t, this build has one of 32 bits: libgps would "
            "write past the end of the record. Add to CMAKE_CXX_FLAGS:\n  -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64")
    elseif(build_names STREQUAL wide AND library_names STREQUAL plain)
        message(FATAL_ERROR "${GPS_LIBRARY} was built with a 32-bit time_t, this build has one of 64 bits: the record's "
            "members would not lie where libgps writes them. Remove from CMAKE_CXX_FLAGS:\n"
            "  -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64\n"
            "Where the compiler sets them by itself, add:\n  -U_TIME_BITS -U_FILE_OFFSET_BITS")
    endif()
endfunction()

# Neither number tells the other, but both only grow: an API outside of what the known neighbours of a soname had is of
# another release.
set(libgps_known_sonames 22 28 30 32)
set(libgps_known_apis    6  11 14 16)

function(libgps_check_one_release soname api)
    if(NOT soname MATCHES "^libgps\\.so\\.([0-9]+)$")
        message(STATUS "libgps: header and library are not compared: no soname can be read from ${GPS_LIBRARY}")
        return()
    endif()
    set(number ${CMAKE_MATCH_1})
    string(REGEX REPLACE "\\..*" "" major "${api}")
    foreach(known_soname known_api IN ZIP_LISTS libgps_known_sonames libgps_known_apis)
        if((number LESS_EQUAL known_soname AND major GREATER known_api) OR
           (number GREATER_EQUAL known_soname AND major LESS known_api))
            message(FATAL_ERROR "${GPS_INCLUDE_DIR}/gps.h (API ${api}) and ${GPS_LIBRARY} (${soname}) are of different "
                "releases: ${known_soname} is the soname with API ${known_api}. Give the header and the library of one "
                "release as GPS_INCLUDE_DIR and GPS_LIBRARY.")
        endif()
    endforeach()
endfunction()

# --- The findings -----------------------------------------------------------------------------------------

libgps_read_api(LIBGPS_API)
libgps_read_soname(LIBGPS_SONAME)
libgps_read_release(LIBGPS_RELEASE)
libgps_probe_build(libgps_time_bytes LIBGPS_RECORD_SIZE libgps_build_names)
libgps_time_names(${GPS_LIBRARY} libgps_library_names)

libgps_check_one_release("${LIBGPS_SONAME}" "${LIBGPS_API}")
libgps_check_time_width("${libgps_build_names}" "${libgps_library_names}")

set(LIBGPS_TIME_BITS "")
if(CMAKE_SIZEOF_VOID_P EQUAL 8 OR (libgps_build_names AND libgps_library_names))
    math(EXPR LIBGPS_TIME_BITS "8 * ${libgps_time_bytes}")
else()
    message(STATUS "libgps: it can't be told which width of time_t ${GPS_LIBRARY} was built with; this build has "
        "${libgps_time_bytes} bytes, and libgps's must be the same")
endif()

foreach(finding SONAME RELEASE TIME_BITS)
    set(libgps_${finding}_text "${LIBGPS_${finding}}")
    if(libgps_${finding}_text STREQUAL "")
        set(libgps_${finding}_text "?")
    endif()
endforeach()
message(STATUS "libgps: soname ${libgps_SONAME_text}, release ${libgps_RELEASE_text}, API ${LIBGPS_API}, "
    "${libgps_TIME_BITS_text}-bit time_t, a record of ${LIBGPS_RECORD_SIZE} bytes")
