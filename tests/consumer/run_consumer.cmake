# Installs a built Numora tree into a scratch prefix and moves the installed
# tree elsewhere, then builds and runs the consumer project against it:
# through find_package(Numora) and pkg-config. An installed package must not
# name paths of the machine it was built on.

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}\n${err}")
    endif()
    set(RUN_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

set(staging ${WORK_DIR}/staging)
set(prefix ${WORK_DIR}/moved)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

if(BUILD_CONFIG)
    run(${CMAKE_COMMAND} --install ${NUMORA_BUILD_DIR} --prefix ${staging} --config ${BUILD_CONFIG})
else()
    run(${CMAKE_COMMAND} --install ${NUMORA_BUILD_DIR} --prefix ${staging})
endif()
file(RENAME ${staging} ${prefix})

file(GLOB_RECURSE target_files ${prefix}/NumoraTargets*.cmake)
foreach(f ${target_files})
    file(READ ${f} text)
    if(text MATCHES "/libm[.]|${staging}")
        message(FATAL_ERROR "${f} names a path of the build machine")
    endif()
endforeach()

string(REPLACE ";" " " flags "${CONSUMER_FLAGS}")
run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE_DIR} -B ${WORK_DIR}/build
    -DCMAKE_PREFIX_PATH=${prefix} "-DCMAKE_CXX_FLAGS=${flags}" -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/app)
message(STATUS "find_package consumer: ${RUN_OUTPUT}")

find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
    file(GLOB_RECURSE pc_files ${prefix}/numora.pc)
    list(GET pc_files 0 pc_file)
    get_filename_component(pc_dir ${pc_file} DIRECTORY)
    set(ENV{PKG_CONFIG_PATH} ${pc_dir})
    run(${PKG_CONFIG} --modversion numora)
    string(STRIP "${RUN_OUTPUT}" pc_version)
    file(STRINGS ${prefix}/include/numora/version.h version_line REGEX "NUMORA_VERSION_STRING")
    if(NOT version_line MATCHES "\"${pc_version}\"")
        message(FATAL_ERROR "numora.pc says ${pc_version}, version.h says ${version_line}")
    endif()
    run(${PKG_CONFIG} --cflags --libs numora)
    string(STRIP "${RUN_OUTPUT}" pc_flags)
    separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
    run(${PKG_CONFIG} --variable=libdir numora)
    string(STRIP "${RUN_OUTPUT}" libdir)
    find_program(CXX NAMES c++ g++ REQUIRED)
    run(${CXX} -std=c++17 ${CONSUMER_FLAGS} ${CONSUMER_SOURCE_DIR}/main.cpp ${pc_flags}
        -Wl,-rpath,${libdir} -o ${WORK_DIR}/app_pkgconfig)
    run(${WORK_DIR}/app_pkgconfig)
    message(STATUS "pkg-config consumer: ${RUN_OUTPUT}")
endif()
