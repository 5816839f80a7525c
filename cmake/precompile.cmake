# SPDX-License-Identifier: BSD-2-Clause
# ryxsc_precompile(TARGET HEADER...): with RYXSC_PRECOMPILE the target's files find these standard headers read already,
# which are half of what the compiler does for a file of the usual length. Without it every file proves that it names the
# headers that it needs. With GCC only: behind such a set clang 14 finds its own __builtin_va_list ambiguous.
option(RYXSC_PRECOMPILE "Read the standard headers once for all files, for builds from nothing" OFF)

function(ryxsc_precompile target)
    if(NOT RYXSC_PRECOMPILE OR NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        return()
    endif()
    list(TRANSFORM ARGN REPLACE "(.+)" "$<$<COMPILE_LANGUAGE:CXX>:<\\1$<ANGLE-R>>")
    target_precompile_headers(${target} PRIVATE ${ARGN})
    # A precompiled header serves only the options that it was made with.
    get_target_property(sources ${target} SOURCES)
    foreach(source ${sources})
        get_source_file_property(options ${source} COMPILE_OPTIONS)
        if(options)
            set_source_files_properties(${source} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
        endif()
    endforeach()
endfunction()
