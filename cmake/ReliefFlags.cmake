# Floating-point flags shared by the library, its tests and its benchmarks, so
# that a test's reference computation rounds exactly like the library.
function(relief_strict_fp target)
  target_compile_options(${target} PRIVATE -ffp-contract=off -fno-fast-math -msse2)
endfunction()
