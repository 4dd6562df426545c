# The live view: Layout makes text of what LiveModel knows, and needs no terminal; Screen alone knows ncurses.

set(CURSES_NEED_NCURSES TRUE)
set(CURSES_NEED_WIDE TRUE)
find_package(Curses QUIET)
if(NOT CURSES_FOUND)
    message(FATAL_ERROR "ruxogps-monitor needs ncurses for wide characters (package libncurses-dev); "
        "-DRUXOGPS_UNIT_TOOLS=OFF leaves the program out")
endif()

add_library(monitor_live STATIC
    ErrorStream.cpp
    Geometry.cpp
    Keys.cpp
    Layout.cpp
    LiveModel.cpp
    LiveRows.cpp
    LiveView.cpp
    OdometerEstimate.cpp
    Screen.cpp
    Terminal.cpp
    Text.cpp)
target_include_directories(monitor_live SYSTEM PRIVATE ${CURSES_INCLUDE_DIRS})
target_include_directories(monitor_live PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(monitor_live PUBLIC telemetry PRIVATE ${CURSES_LIBRARIES} project_warnings)
gives_the_same_bytes(monitor_live)
