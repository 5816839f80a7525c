# SPDX-License-Identifier: BSD-2-Clause
# Installs the build into an empty folder and makes a program from there, once with each way to find the library.
function(run)
    execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/installed)
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
file(GLOB_RECURSE packages ${prefix}/*.pc)
cmake_path(GET packages PARENT_PATH package_dir)
set(ENV{PKG_CONFIG_PATH} ${package_dir})
# A library of the same name elsewhere must not do instead.
unset(ENV{LD_LIBRARY_PATH})

foreach(use_pkg_config OFF ON)
    set(build ${WORK}/consumer_${use_pkg_config})
    run(${CMAKE_COMMAND} -S ${SOURCE} -B ${build} -G ${GENERATOR} -DCMAKE_C_COMPILER=${C_COMPILER}
        -DCMAKE_PREFIX_PATH=${prefix} -DUSE_PKG_CONFIG=${use_pkg_config})
    run(${CMAKE_COMMAND} --build ${build})
    run(${build}/consumer)
    run(${build}/codec_consumer)
    run(${build}/echo_consumer)
endforeach()
