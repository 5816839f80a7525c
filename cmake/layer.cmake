# SPDX-License-Identifier: BSD-2-Clause
# ryxsc_layer(NAME VERSION INTERFACE SOURCE...): a library on top of the primitives, written against their public
# interface, in the forms that were asked for. It exports what its header declares.
function(ryxsc_layer name version interface)
    add_library(${name}_objects OBJECT ${ARGN})
    cmake_path(GET interface PARENT_PATH include)
    target_include_directories(${name}_objects PRIVATE ${CMAKE_CURRENT_SOURCE_DIR} ${include} ${PROJECT_SOURCE_DIR}/include)
    target_link_libraries(${name}_objects PRIVATE ryxsc_library_options)
    target_compile_options(${name}_objects PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
    set_target_properties(${name}_objects PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    ryxsc_precompile(${name}_objects algorithm array cmath cstdint cstring iterator span)

    if(BUILD_SHARED_LIBS)
        # The version script, from the header.
        set(version_script ${CMAKE_CURRENT_BINARY_DIR}/${name}.map)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${interface})
        file(STRINGS ${interface} names REGEX "^(ryxStatus|const ryx[A-Za-z]+ \\*)[ *]*${name}[A-Za-z]+\\(")
        list(TRANSFORM names REPLACE ".*(${name}[A-Za-z]+)\\(.*" "\\1")
        list(JOIN names "|" names)
        string(REPLACE "|" ";\n    " names "${names}")
        file(CONFIGURE OUTPUT ${version_script} CONTENT "{\nglobal:\n    ${names};\nlocal:\n    *;\n};\n")

        string(REGEX REPLACE "\\..*" "" soversion ${version})
        add_library(${name} SHARED $<TARGET_OBJECTS:${name}_objects>)
        target_link_libraries(${name} PUBLIC ryxsc)
        target_link_options(${name} PRIVATE -Wl,--version-script=${version_script})
        set_target_properties(${name} PROPERTIES
            VERSION ${version} SOVERSION ${soversion} LINK_DEPENDS ${version_script})
    endif()
    if(RYXSC_BUILD_STATIC)
        add_library(${${name}_static} STATIC $<TARGET_OBJECTS:${name}_objects>)
        target_link_libraries(${${name}_static} PUBLIC ${ryxsc_static})
    endif()
    foreach(library ${${name}_libraries})
        target_link_libraries(${library} PRIVATE $<BUILD_INTERFACE:ryxsc_library_options> m)
        target_include_directories(${library} PUBLIC
            $<BUILD_INTERFACE:${include}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
        set_target_properties(${library} PROPERTIES OUTPUT_NAME ${name} LINKER_LANGUAGE C INSTALL_RPATH "$ORIGIN")
    endforeach()
    add_library(ryxsc::${name} ALIAS ${name})
endfunction()
