# Flags that keep results exact. The library's results are fixed to the bit,
# so nothing may contract a*b+c into a fused multiply-add or reorder a sum.
# -O2 stands in every build type (Debug included) so results never depend on
# the build type; Release keeps its -O3, which reorders no arithmetic either.
set(NUMORA_EXACT_FP_FLAGS
    $<$<NOT:$<CONFIG:Release>>:-O2>
    -ffp-contract=off
    -fno-fast-math)

set(NUMORA_WARNINGS -Wall -Wextra -Wdouble-promotion -Wfloat-conversion)

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
