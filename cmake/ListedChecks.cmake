# listed_checks(VARIABLE SCRIPT [OPTION]): the names of the checks that a test script has, which it prints with --list, or
# with OPTION. CMake configures anew when the script changes.
function(listed_checks variable script)
    set(option --list)
    if(ARGC GREATER 2)
        set(option ${ARGV2})
    endif()
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${script})
    execute_process(COMMAND ${script} ${option} OUTPUT_VARIABLE checks COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "[a-z0-9_]+" checks "${checks}")
    set(${variable} ${checks} PARENT_SCOPE)
endfunction()
