# Installs the build into a fresh prefix and imports numora from there with
# a clean environment: no PYTHONPATH into the build tree, no library path.
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
                RESULT_VARIABLE status OUTPUT_QUIET)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "install into ${PREFIX} failed")
endif()
execute_process(
    COMMAND env -i ${PYTHON} -I -c
            "import sys; sys.path.insert(0, '${PREFIX}/${SITEDIR}'); import numora, numpy; f, p = numora.psd(numpy.ones(64, numpy.float32), 64.0, frame=32); assert numora.__file__.startswith('${PREFIX}'), numora.__file__; print(numora.__file__)"
    RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "import from ${PREFIX} failed:\n${out}${err}")
endif()
message(STATUS "imported ${out}")
