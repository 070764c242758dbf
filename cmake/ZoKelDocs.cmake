# The API reference: `cmake --build <dir> --target docs` runs Doxygen over the public headers and
# fails on any warning (an undocumented public declaration, a broken reference).
find_package(Doxygen QUIET)
find_package(Python3 QUIET COMPONENTS Interpreter)
if(DOXYGEN_FOUND AND Python3_Interpreter_FOUND)
  set(Python3_EXECUTABLE_FOR_DOCS "${Python3_EXECUTABLE}")
  set(ZO_KEL_DOCS_DIR "${PROJECT_BINARY_DIR}/docs")
  configure_file("${PROJECT_SOURCE_DIR}/docs/Doxyfile.in" "${ZO_KEL_DOCS_DIR}/Doxyfile" @ONLY)
  add_custom_target(docs
    COMMAND "${DOXYGEN_EXECUTABLE}" "${ZO_KEL_DOCS_DIR}/Doxyfile"
    WORKING_DIRECTORY "${ZO_KEL_DOCS_DIR}"
    COMMENT "API reference in ${ZO_KEL_DOCS_DIR}/html/index.html"
    VERBATIM)
else()
  add_custom_target(docs
    COMMAND "${CMAKE_COMMAND}" -E echo "The API reference needs Doxygen and Python 3 (Debian packages doxygen, python3)."
    COMMAND "${CMAKE_COMMAND}" -E false
    VERBATIM)
endif()
