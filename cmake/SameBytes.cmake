# gives_the_same_bytes(TARGET ...): two folders give the same binaries, byte for byte. Debug information, and the build's
# identity that is computed from it, name no folder of the machine that built them.
function(gives_the_same_bytes)
    foreach(target IN LISTS ARGN)
        target_compile_options(${target} PRIVATE
            -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
            -ffile-prefix-map=${PROJECT_BINARY_DIR}=./build
            $<$<BOOL:${RUXO_PLATFORM}>:-ffile-prefix-map=${RUXO_PLATFORM}=./sdk>)
    endforeach()
endfunction()
