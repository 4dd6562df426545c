# What is installed, and where. Each component is a package of its own (see Packages.cmake):
#
#   runtime        the library
#   development    headers, pkg-config file and CMake package, and where they find the platform
#   host_platform  the host's versions of the platform's four libraries; none of ours where RUXO_PLATFORM names an SDK
#   tools          what an integrator runs on the unit
#
# Nothing that is installed knows the folder it was installed to: all of it may be moved.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Whatever the builder's umask is.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake)
set(generated ${PROJECT_BINARY_DIR}/packaging)

# --- The library ----------------------------------------------------------------------------------------

# The link without a number is part of the runtime: applications linked before there was one ask for it by that name.
install(TARGETS ruxogps EXPORT ruxogps
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT runtime
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ruxogps)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ruxogps COMPONENT development)
install(EXPORT ruxogps NAMESPACE ruxogps:: FILE ruxogps-targets.cmake
    DESTINATION ${package_folder}/ruxogps COMPONENT development)

# --- The platform ---------------------------------------------------------------------------------------

# The folders below the SDK's, and below the prefix that the host's versions are installed to. Their headers have names
# that others may use as well, so they get a folder of their own.
if(RUXO_PLATFORM)
    set(platform_component development)
    set(platform_include include)
    set(platform_lib ${RUXO_PLATFORM_LIB_FOLDER})
    set(platform_description "The unit's platform: the vendor's SDK in the folder ruxo_platform")
else()
    set(platform_component host_platform)
    set(platform_include ${CMAKE_INSTALL_INCLUDEDIR}/ruxogps-host-platform)
    set(platform_lib ${CMAKE_INSTALL_LIBDIR})
    set(platform_description "Host versions of the unit's platform libraries")
    install(TARGETS logging ruxo ruxohal utilities
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT host_platform)
    install(DIRECTORY platform/include/ DESTINATION ${platform_include} COMPONENT host_platform)
endif()

# --- For pkg-config and CMake ---------------------------------------------------------------------------

file(RELATIVE_PATH prefix_from_pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig "${prefix_from_pkgconfig}")
file(RELATIVE_PATH libdir_from_prefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH includedir_from_prefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})

foreach(name IN ITEMS ruxogps ruxo-platform)
    configure_file(packaging/${name}.pc.in ${generated}/${name}.pc @ONLY)
    configure_package_config_file(packaging/${name}-config.cmake.in ${generated}/${name}-config.cmake
        INSTALL_DESTINATION ${package_folder}/${name}
        NO_SET_AND_CHECK_MACRO)
    # As with the library's soname: what worked with this major version goes on working.
    write_basic_package_version_file(${generated}/${name}-config-version.cmake COMPATIBILITY SameMajorVersion)
endforeach()

function(install_for_applications name component)
    install(FILES ${generated}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${component})
    install(FILES ${generated}/${name}-config.cmake ${generated}/${name}-config-version.cmake
        DESTINATION ${package_folder}/${name} COMPONENT ${component})
endfunction()

install_for_applications(ruxogps development)
install_for_applications(ruxo-platform ${platform_component})

# --- To read --------------------------------------------------------------------------------------------

install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development
    PATTERN CMakeLists.txt EXCLUDE
    PATTERN drive EXCLUDE) # needs more than what is installed

file(RELATIVE_PATH headers_from_documents ${CMAKE_INSTALL_FULL_DOCDIR} ${CMAKE_INSTALL_FULL_INCLUDEDIR}/ruxogps)

# install_document(FILE): its links lead to what is installed; a link to what isn't becomes its words, which name the
# file in the sources.
function(install_document file)
    get_filename_component(name ${file} NAME)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    file(READ ${file} text)
    string(REPLACE "](docs/" "](" text "${text}")
    string(REPLACE "](../ARCHITECTURE.md" "](ARCHITECTURE.md" text "${text}")
    string(REGEX REPLACE "\\]\\(\\.\\./examples/([a-z_]+\\.cpp|cxx11[^)]*)\\)" "](examples/\\1)" text "${text}")
    string(REPLACE "](../include" "](${headers_from_documents}" text "${text}")
    string(REGEX REPLACE "\\[([^]]*)\\]\\(\\.\\./[a-zA-Z][^)]*\\)" "\\1" text "${text}")
    file(WRITE ${generated}/docs/${name} "${text}")
    install(FILES ${generated}/docs/${name} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
endfunction()

file(GLOB documents RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS docs/*.md ARCHITECTURE.md)
foreach(document IN LISTS documents)
    install_document(${document})
endforeach()

# The pictures that they show, and the texts and numbers that these are made from.
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development FILES_MATCHING
    PATTERN "*.svg" PATTERN "*.png" PATTERN "*.txt")
