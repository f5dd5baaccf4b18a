# Configures, builds and installs the parent project of this folder, which
# adds Numora with add_subdirectory. The parent's cache and its own library
# must be left as they were, and installing the parent installs nothing of
# Numora.

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}\n${err}")
    endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
string(REPLACE ";" " " flags "${PARENT_FLAGS}")
run(${CMAKE_COMMAND} -S ${PARENT_SOURCE_DIR} -B ${WORK_DIR}/build -DCMAKE_BUILD_TYPE=Release
    -DNUMORA_SOURCE_DIR=${NUMORA_SOURCE_DIR} "-DCMAKE_CXX_FLAGS=${flags}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/parent_app)
run(${CMAKE_COMMAND} --install ${WORK_DIR}/build --prefix ${WORK_DIR}/prefix)

file(GLOB_RECURSE installed RELATIVE ${WORK_DIR}/prefix ${WORK_DIR}/prefix/*)
if(NOT installed STREQUAL "bin/parent_app")
    message(FATAL_ERROR "installing the parent installed: ${installed}")
endif()
