# SPDX-License-Identifier: BSD-2-Clause
# A short run of every target with inputs of a fixed seed, many of them for the calls of any function.
execute_process(COMMAND ${FUZZ} OUTPUT_VARIABLE targets COMMAND_ERROR_IS_FATAL ANY)
string(STRIP "${targets}" targets)
string(REPLACE "\n" ";" targets "${targets}")
foreach(target ${targets})
    set(count 5)
    if(target STREQUAL calls)
        set(count 300)
    endif()
    execute_process(COMMAND ${FUZZ} ${target} ${count} 1 COMMAND_ERROR_IS_FATAL ANY)
endforeach()
