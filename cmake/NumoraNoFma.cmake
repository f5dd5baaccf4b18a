# Fails when a binary holds a fused multiply-add instruction (FMA3, FMA4 or
# AVX-512 forms: vfmadd, vfmsub, vfnmadd, vfnmsub, vfmaddsub, vfmsubadd).
# Script mode: cmake -DOBJDUMP=<objdump> "-DFILES=<file>;<file>..." -P NumoraNoFma.cmake
foreach(file IN LISTS FILES)
    execute_process(COMMAND ${OBJDUMP} -d --no-show-raw-insn ${file}
                    OUTPUT_VARIABLE listing RESULT_VARIABLE status ERROR_VARIABLE errors)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${OBJDUMP} failed on ${file}: ${errors}")
    endif()
    string(REGEX MATCHALL "[ \t]vfn?m(add|sub)[a-z0-9]*[ \t]" found "${listing}")
    list(LENGTH found count)
    if(count GREATER 0)
        list(REMOVE_DUPLICATES found)
        string(REGEX REPLACE "[ \t]+" "" found "${found}")
        message(FATAL_ERROR "${count} fused multiply-add instructions in ${file}: ${found}")
    endif()
    message(STATUS "no fused multiply-add in ${file}")
endforeach()
