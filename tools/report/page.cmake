# Puts the page's style and script into a source file, with the checksums by which the page allows them and nothing else.

file(READ ${CMAKE_CURRENT_LIST_DIR}/picture.css picture_style)
file(READ ${CMAKE_CURRENT_LIST_DIR}/page.css page_style)
file(READ ${CMAKE_CURRENT_LIST_DIR}/page.js page_script)
string(SHA256 page_styles_hash "${picture_style}${page_style}")
string(SHA256 page_script_hash "${page_script}")
set(page_files_source ${CMAKE_CURRENT_BINARY_DIR}/PageFiles.cpp)
configure_file(${CMAKE_CURRENT_LIST_DIR}/PageFiles.cpp.in ${page_files_source} @ONLY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    ${CMAKE_CURRENT_LIST_DIR}/picture.css ${CMAKE_CURRENT_LIST_DIR}/page.css ${CMAKE_CURRENT_LIST_DIR}/page.js)

# The page, as a library of its own: it knows what a drive and its replay hold, and nothing of how they came about.
add_library(report_page STATIC
    Charts.cpp
    Compare.cpp
    Events.cpp
    Frame.cpp
    Map.cpp
    Markup.cpp
    Page.cpp
    Projection.cpp
    Series.cpp
    Tables.cpp
    Track.cpp
    ${page_files_source})
target_include_directories(report_page
    PUBLIC ${CMAKE_CURRENT_LIST_DIR}
    PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src
        $<TARGET_PROPERTY:ruxo_platform,INTERFACE_INCLUDE_DIRECTORIES>)
target_link_libraries(report_page PUBLIC report_parts telemetry PRIVATE project_warnings)
gives_the_same_bytes(report_page)
