# Read by cpack before it begins. Nothing in the packages is younger than the last commit, so that who builds the same
# commit again gets the same packages.

if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
    execute_process(COMMAND git -c safe.directory=* -C ${CPACK_RUXOGPS_SOURCE} log -1 --format=%ct
        OUTPUT_VARIABLE last_commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(last_commit)
        set(ENV{SOURCE_DATE_EPOCH} ${last_commit})
    else()
        message(WARNING "This is no checkout: without SOURCE_DATE_EPOCH the packages carry the time of now")
    endif()
endif()
