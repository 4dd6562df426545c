# Run by cpack for each generator, when all components are installed and nothing is packed: adds to each package its
# copyright file, its changelogs and what lintian is to pass over, and packs its manual pages.

set(deb ${CMAKE_CURRENT_LIST_DIR})
set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # of SOURCE_DATE_EPOCH, which cpack has

# compress(FILE): without its name and time.
function(compress file)
    execute_process(COMMAND gzip --best --no-name --force ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(compressed text file)
    file(WRITE ${file} "${text}")
    compress(${file})
endfunction()

function(complete component package)
    set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
    if(NOT EXISTS ${root})
        message(FATAL_ERROR "Nothing was installed for ${package}")
    endif()
    set(documents ${root}/share/doc/${package})
    file(COPY ${deb}/copyright DESTINATION ${documents})
    compressed("ruxogps (${version}) unstable; urgency=medium\n\n  * See changelog.gz.\n\n -- ${CPACK_PACKAGE_CONTACT}  ${date}\n"
        ${documents}/changelog.Debian)
    file(READ ${CPACK_RUXOGPS_SOURCE}/CHANGELOG.md changes)
    compressed("${changes}" ${documents}/changelog)
    file(GLOB pages ${root}/share/man/man*/*)
    foreach(page IN LISTS pages)
        compress(${page})
    endforeach()
    if(EXISTS ${deb}/${package}.lintian-overrides)
        file(COPY ${deb}/${package}.lintian-overrides DESTINATION ${root}/share/lintian/overrides)
        file(RENAME ${root}/share/lintian/overrides/${package}.lintian-overrides ${root}/share/lintian/overrides/${package})
    endif()
    # Where dpkg-shlibdeps looks for it; cpack removes the folder of a package with programs or libraries.
    file(GLOB_RECURSE binaries ${root}/lib/*.so.* ${root}/bin/*)
    if(CPACK_RUXOGPS_SHLIBS AND binaries)
        file(COPY ${CPACK_RUXOGPS_SHLIBS} DESTINATION ${CPACK_TEMPORARY_DIRECTORY}/${component}/debian)
    endif()
    # Whatever the umask and the checkout's file modes are.
    execute_process(COMMAND chmod -R u=rwX,go=rX ${root} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    complete(${component} ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
endforeach()
