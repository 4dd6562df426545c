# The live view: Layout makes text of what LiveModel knows, and needs no terminal; Screen alone knows ncurses.

add_library(monitor_live STATIC
    Geometry.cpp
    Layout.cpp
    LiveModel.cpp
    LiveRows.cpp
    OdometerEstimate.cpp
    Text.cpp)
target_include_directories(monitor_live PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(monitor_live PUBLIC telemetry PRIVATE project_warnings)
gives_the_same_bytes(monitor_live)
