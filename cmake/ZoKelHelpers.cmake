# Shared build settings for the library, its tests, tools, benchmarks and fuzzers.

# Warnings stay private to each target, so they never reach a consumer's flags or the .pc file.
function(zo_kel_target_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(ZO_KEL_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
