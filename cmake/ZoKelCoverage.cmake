# Line and branch coverage of the library's sources (the coverage preset turns this on).
# Every target of the build is instrumented with --coverage; the coverage-report target runs
# tools/coverage over the counters the tests left behind, prints the summary for src/, writes an
# HTML report under <build>/coverage/ and fails when the floors are not met.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  message(FATAL_ERROR "ZO_KEL_COVERAGE needs g++ (gcov counters read by gcovr)")
endif()
# Counters are updated atomically: the concurrency tests would otherwise race on them and leave
# negative counts that gcov cannot read.
add_compile_options(--coverage -fprofile-update=atomic -O0)
add_link_options(--coverage)

set(ZO_KEL_COVERAGE_MIN_LINES 97 CACHE STRING "Lowest line coverage of src/ (percent) the report accepts")
set(ZO_KEL_COVERAGE_MIN_BRANCHES 80 CACHE STRING "Lowest branch coverage of src/ (percent) the report accepts")
add_custom_target(coverage-report
  COMMAND "${PROJECT_SOURCE_DIR}/tools/coverage"
          --build "${PROJECT_BINARY_DIR}"
          --min-lines ${ZO_KEL_COVERAGE_MIN_LINES}
          --min-branches ${ZO_KEL_COVERAGE_MIN_BRANCHES}
  WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
  USES_TERMINAL
  COMMENT "Coverage of src/ from the last test run")
