# SPDX-License-Identifier: BSD-2-Clause
# Installs the build into an empty folder, moves it, and makes programs from there, once with each way to find the
# libraries. Then the same with the static ones, in a folder without the shared ones.
function(run)
    execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# What a program of C needs at run time and what it says of itself.
function(run_consumers build suffix)
    foreach(variant 0 0x30)
        set(ENV{RYX_CPU_FEATURES} ${variant})
        execute_process(COMMAND ${build}/consumer OUTPUT_VARIABLE said COMMAND_ERROR_IS_FATAL ANY)
        if((variant STREQUAL 0 AND NOT said MATCHES "\\(u8\\)") OR (variant STREQUAL 0x30 AND NOT said MATCHES "\\(n8\\)"))
            message(FATAL_ERROR "wrong variant with the features ${variant}: ${said}")
        endif()
        run(${build}/codec_consumer)
        run(${build}/echo_consumer)
    endforeach()
    unset(ENV{RYX_CPU_FEATURES})
    foreach(program consumer codec_consumer echo_consumer)
        execute_process(COMMAND readelf -dW ${build}/${program} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
        if(dynamic MATCHES "libstdc" OR (suffix AND dynamic MATCHES "libryx") OR NOT (suffix OR dynamic MATCHES "libryx"))
            message(FATAL_ERROR "${build}/${program} needs the wrong libraries:\n${dynamic}")
        endif()
    endforeach()
endfunction()

function(make_consumers folder suffix)
    file(GLOB_RECURSE package ${folder}/ryxsc.pc)
    cmake_path(GET package PARENT_PATH package_dir)
    set(ENV{PKG_CONFIG_PATH} ${package_dir})
    foreach(use_pkg_config OFF ON)
        if(suffix AND use_pkg_config) # a linker prefers shared libraries
            file(GLOB_RECURSE shared ${folder}/*.so ${folder}/*.so.*)
            file(REMOVE ${shared})
        endif()
        set(build ${WORK}/consumer${suffix}_${use_pkg_config})
        run(${CMAKE_COMMAND} -S ${SOURCE} -B ${build} -G ${GENERATOR} -DCMAKE_C_COMPILER=${C_COMPILER}
            -DCMAKE_PREFIX_PATH=${folder} -DUSE_PKG_CONFIG=${use_pkg_config} -DSUFFIX=${suffix})
        run(${CMAKE_COMMAND} --build ${build})
        run_consumers(${build} "${suffix}")
    endforeach()
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/first)
file(RENAME ${WORK}/first ${WORK}/installed)
# A library of the same name elsewhere must not do instead.
unset(ENV{LD_LIBRARY_PATH})
make_consumers(${WORK}/installed "")

file(GLOB programs ${WORK}/installed/bin/*)
foreach(program ${programs})
    execute_process(COMMAND ${program} --help OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()

if(STATIC)
    make_consumers(${WORK}/installed _static)
endif()

# The build folder may be moved as well.
file(GLOB files ${BUILD}/bin/* ${BUILD}/lib/*.so)
foreach(file ${files})
    execute_process(COMMAND readelf -dW ${file} OUTPUT_VARIABLE dynamic ERROR_QUIET)
    if(dynamic MATCHES "RUNPATH[^\n]*\\[([^\n]*)\\]")
        string(REPLACE ":" ";" paths "${CMAKE_MATCH_1}")
        foreach(path ${paths})
            if(NOT path MATCHES "^\\$ORIGIN")
                message(FATAL_ERROR "${file} looks for libraries in ${path}")
            endif()
        endforeach()
    endif()
endforeach()
