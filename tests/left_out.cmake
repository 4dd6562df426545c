# What is not tested in a build for another machine, under a sanitizer, with the stand-in for libgps, or with a gpsd newer
# than 3.22, because its input can't exist there or differs, because a compiler isn't there, or because it would say what
# another build has said, with the reason. This list is the only place; run-tests.sh and tools/arm/run-tests print it.

set(left_out_file ${PROJECT_BINARY_DIR}/left-out.txt)
set(left_out_folders)
set(left_out_tests)
set(left_out_text "")

# Tests of a folder of tests/, or of one program in it; or the simulator's own.
function(leave_out_folder folder reason)
    list(APPEND left_out_folders ${folder})
    set(left_out_folders ${left_out_folders} PARENT_SCOPE)
    if(NOT folder STREQUAL "simulator")
        set(folder tests/${folder})
    endif()
    set(left_out_text "${left_out_text}${folder}: ${reason}\n" PARENT_SCOPE)
endfunction()

# One test, by its name in CTest.
function(leave_out_test test reason)
    list(APPEND left_out_tests ${test})
    set(left_out_tests ${left_out_tests} PARENT_SCOPE)
    set(left_out_text "${left_out_text}${test}: ${reason}\n" PARENT_SCOPE)
endfunction()

# --- The list -------------------------------------------------------------------------------------------

if(CMAKE_CROSSCOMPILING_EMULATOR)
    leave_out_folder(unit_sandbox
        "the virtual unit's gpsd and fast clock are the host's: its libfaketime can't be preloaded into a program of another machine")
    leave_out_folder(demo
        "the demo is a run on the virtual unit")
    leave_out_folder(check/unit_check
        "on the virtual unit it would see the emulator: its descriptors, its loader and its signals, not its own")
    leave_out_folder(monitor/live_view
        "on a terminal it would see the emulator: its signals and its process's name, not its own")
    foreach(test IN ITEMS ClaimEndsWithAKilledClient ClaimOfAClientOutlastsOthersThatGo
            ClientThatClaimsThePortWhileItLooksIsServed)
        leave_out_test(PortTest.${test}
            "qemu's user emulation does not know the question whether a terminal is claimed (TIOCGEXCL)")
    endforeach()
    leave_out_folder(commands
        "they try the repository's commands, which build and run the host's programs and nothing of another machine's")
endif()
if(CMAKE_CROSSCOMPILING_EMULATOR OR RUXOGPS_SANITIZE)
    leave_out_test(exports.days_are_thinned
        "three days of a drive take minutes there; the plain build has them")
    foreach(test IN ITEMS GainsMetresByTheHourWhereThePositionDrifts GainsMetresByTheDriftsDeviationAndTime
            GainsNoMetreWithoutCorrections)
        leave_out_test(DrawnStanding.${test} "standing for days takes minutes there; the plain build has them")
    endforeach()
    foreach(folder IN ITEMS faults/matrix faults/long)
        leave_out_folder(${folder} "they try scripts, which are the same everywhere; the host's plain build has them")
    endforeach()
endif()
if(RUXOGPS_SANITIZE)
    foreach(folder IN ITEMS commands packaging)
        leave_out_folder(${folder} "they try scripts, which are the same everywhere; the plain build has them")
    endforeach()
    leave_out_folder(models/ThirtyDays_test
        "its threads are contexts of one thread and its allocator is its own, which no sanitizer follows")
endif()
if(RUXOGPS_SANITIZE STREQUAL "thread")
    foreach(folder IN ITEMS simulator check telemetry)
        leave_out_folder(${folder} "its programs have one thread; AddressSanitizer's build has them")
    endforeach()
    foreach(folder IN ITEMS documents fuzz report)
        leave_out_folder(${folder}
            "what has threads in it is the library as in the unit tests; AddressSanitizer's build has them")
    endforeach()
    foreach(folder IN ITEMS demo unit_sandbox/virtual_unit)
        leave_out_folder(${folder}
            "what has threads in it is the library as in the end-to-end tests; AddressSanitizer's build has them")
    endforeach()
    foreach(program IN ITEMS Geofence Odometer Schedule Freshness AckWait Restore)
        leave_out_folder(models/${program}_test "its histories are of one thread; AddressSanitizer's build has them")
    endforeach()
    foreach(test IN ITEMS HostileInputs.OfADatabaseFileReachTheShellAsFramesAlone
            HostileInputs.OfAReceiverReachTheShellAsFramesAlone LineCalls.AFloodOfAnythingElseEndsWithTheWaits
            FileTimes.AFileWithoutItsTrailerCostsAWaitForAboutEverySecondByte
            FileTimes.AFrameOfTheGreatestLengthAtTheEndCostsTheSame)
        leave_out_test(${test} "it is of one thread and takes up to a minute there; AddressSanitizer's build has it")
    endforeach()
endif()
if(RUXOGPS_LIBGPS_STANDIN)
    if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
        leave_out_folder(unit_sandbox "the stand-in for libgps never connects to a gpsd")
        leave_out_folder(demo "the demo is a run on the virtual unit")
        leave_out_folder(check/unit_check "the virtual unit's gpsd is of another release than the stand-in")
    endif()
    leave_out_folder(contracts/LibgpsContract_test "a contract with a stand-in proves nothing of libgps")
    foreach(folder IN ITEMS sdk packages packaging)
        leave_out_folder(${folder} "what was built with the stand-in for libgps is never installed")
    endforeach()
endif()
if(LIBGPS_API VERSION_GREATER_EQUAL 12 AND NOT CMAKE_CROSSCOMPILING)
    foreach(program IN ITEMS gpsd/GpsdFaults line/LineFaults)
        leave_out_folder(faults/${program}_test
            "they judge what becomes of gpsd 3.22: a newer one hunts for the speed of a silent line, so that differs from run to run")
    endforeach()
endif()
if(libgps_time_bytes EQUAL 4)
    leave_out_test(PlatformTime.TickWrapsAt32Bits
        "a boot clock beyond 32 bits doesn't fit into a time_t of 32 bits")
endif()

# Compilers that not every machine has; empty where they are of no use.
find_program(CLANGXX NAMES clang++)
find_program(ARMHF_GXX NAMES arm-linux-gnueabihf-g++)
set(no_clangxx)
if(CMAKE_CROSSCOMPILING)
    set(no_clangxx "the host's clang++ would take the host's headers")
elseif(NOT CLANGXX)
    set(no_clangxx "there is no clang++ here (tools/install-dependencies test)")
endif()
if(no_clangxx)
    set(CLANGXX "")
    foreach(level IN ITEMS 11 14 17 20)
        leave_out_test(abi.headers_compile_as_c++${level}_by_clang++ "${no_clangxx}")
    endforeach()
endif()
find_package(rapidcheck CONFIG QUIET)
if(NOT rapidcheck_FOUND)
    leave_out_folder(models "there is no RapidCheck here (tools/install-dependencies test)")
endif()
if(NOT ARMHF_GXX)
    leave_out_test(libgps.both_widths_of_time_on_armhf
        "both widths of time_t exist on 32 bits only, and there is no compiler for them here (tools/install-dependencies arm)")
endif()

# --- What CTest is told ---------------------------------------------------------------------------------

file(CONFIGURE OUTPUT ${left_out_file} CONTENT "@left_out_text@" @ONLY)
list(JOIN left_out_tests "\" \"" left_out_tests_text)
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/CTestCustom.cmake
    CONTENT "set(CTEST_CUSTOM_TESTS_IGNORE \"@left_out_tests_text@\")\n" @ONLY)
