# Flags that keep results exact. The library's results are fixed to the bit,
# so nothing may contract a*b+c into a fused multiply-add or reorder a sum.
# -O2 stands in every build type (Debug included) so results never depend on
# the build type; Release keeps its -O3, which reorders no arithmetic either.
#
# These flags come after the user's CMAKE_CXX_FLAGS on the command line, so
# whatever -march or -m option stands there, they have the last word:
# - x86-64: no FMA instruction set (FMA3, FMA4, nor AVX-512, whose FMA forms
#   GCC keeps when only -mno-fma is given). GCC's vectorizer builds vfmaddsub
#   and the like from a multiply and an add even under -ffp-contract=off once
#   -march enables them. The 256-bit paths are compiled for AVX2 alone and
#   chosen at run time, so nothing is lost.
# - GCC: no basic-block vectorizer. GCC 12 vectorizes a double -> float ->
#   double round trip of neighbouring values (a rounding to float that the
#   results depend on) and then folds the pair of vector conversions away.
#   The wide paths are written with explicit vectors and the loop vectorizer
#   stays on.
option(NUMORA_PORTABLE_SIMD "Build the wide paths as plain C++ (no vector extensions; same results)" OFF)

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64|x86|i[3-6]86)$")
    set(NUMORA_X86 ON)
else()
    set(NUMORA_X86 OFF)
endif()

if(MSVC)
    set(NUMORA_EXACT_FP_FLAGS /fp:precise)
    set(NUMORA_WARNINGS /W3)
else()
    set(NUMORA_EXACT_FP_FLAGS
        $<$<NOT:$<CONFIG:Release>>:-O2>
        -ffp-contract=off
        -fno-fast-math)
    if(NUMORA_X86)
        list(APPEND NUMORA_EXACT_FP_FLAGS -mno-fma -mno-fma4 -mno-avx512f)
    endif()
    set(NUMORA_WARNINGS -Wall -Wextra -Wdouble-promotion -Wfloat-conversion)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        list(APPEND NUMORA_EXACT_FP_FLAGS -fno-tree-slp-vectorize)
        # GCC notes, once per source, that 256-bit vectors are passed
        # differently with and without AVX; the wide paths inline every
        # helper, and no vector crosses the exported interface.
        list(APPEND NUMORA_WARNINGS -Wno-psabi)
    endif()
endif()

if(NUMORA_PORTABLE_SIMD)
    add_compile_definitions(NUMORA_PORTABLE_SIMD=1)
endif()

# Applies the exact floating-point flags and the warning set to a target.
function(numora_exact_fp target)
    target_compile_options(${target} PRIVATE ${NUMORA_EXACT_FP_FLAGS} ${NUMORA_WARNINGS})
endfunction()

if(NUMORA_SANITIZE)
    set(NUMORA_SANITIZE_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_compile_options(${NUMORA_SANITIZE_FLAGS})
    add_link_options(${NUMORA_SANITIZE_FLAGS})
endif()

if(NUMORA_SANITIZE_THREAD)
    if(NUMORA_SANITIZE)
        message(FATAL_ERROR "NUMORA_SANITIZE_THREAD and NUMORA_SANITIZE cannot be combined")
    endif()
    set(NUMORA_SANITIZE_FLAGS -fsanitize=thread -fno-omit-frame-pointer)
    add_compile_options(${NUMORA_SANITIZE_FLAGS})
    add_link_options(${NUMORA_SANITIZE_FLAGS})
endif()
