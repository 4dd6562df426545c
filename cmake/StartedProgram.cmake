# started_program(RESULT TARGET): what a test's script is given to start the program TARGET. The program itself; where it
# is for another machine, a script of its name that starts it under the toolchain file's emulator.
function(started_program result target)
    if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
        set(${result} $<TARGET_FILE:${target}> PARENT_SCOPE)
        return()
    endif()
    set(script ${PROJECT_BINARY_DIR}/started/${target})
    set(${result} ${script} PARENT_SCOPE)
    get_property(scripts GLOBAL PROPERTY started_program_scripts)
    if(script IN_LIST scripts)
        return() # newer releases of CMake refuse to write one file from two folders
    endif()
    set_property(GLOBAL APPEND PROPERTY started_program_scripts ${script})
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "' '" emulator)
    file(GENERATE OUTPUT ${script}
        CONTENT "#!/bin/sh\nexec '${emulator}' '$<TARGET_FILE:${target}>' \"$@\"\n"
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endfunction()
