set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

find_program(CCACHE ccache)
if(CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Werror -ffp-contract=off)
if(ZV_SANITIZE)
    add_compile_options(-fsanitize=${ZV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=${ZV_SANITIZE})
endif()

# Loops over samples: at -O2, g++ 12 vectorises none of them. zv_optimise_pixel_files(target a.cpp b.cpp) for those files.
function(zv_optimise_pixel_files target)
    set_source_files_properties(${ARGN} TARGET_DIRECTORY ${target}
        PROPERTIES COMPILE_OPTIONS "$<$<NOT:$<CONFIG:Debug>>:-O3;-fno-trapping-math>")
endfunction()
