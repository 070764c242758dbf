# gdb pretty-printers: installed under share/zo_kel_basics/gdb/, with an auto-load script that gdb
# finds for the shared library (share/gdb/auto-load/<libdir>/<library>-gdb.py). The test runs
# gdb -batch on a small program where the host can debug what is built (ZO_KEL_HOST_RUNS_BUILD).
set(ZO_KEL_GDB_DIR "${CMAKE_INSTALL_DATADIR}/zo_kel_basics/gdb")

# The same script beside the library in the build tree, reading the printers from the source tree:
# gdb also looks for <library>-gdb.py in the library's own folder, which the test relies on.
if(BUILD_SHARED_LIBS)
  set(ZO_KEL_LIBRARY_FILE
    "${CMAKE_SHARED_LIBRARY_PREFIX}zo_kel_basics${CMAKE_SHARED_LIBRARY_SUFFIX}.${PROJECT_VERSION}")
  file(RELATIVE_PATH ZO_KEL_GDB_TO_PRINTERS "${PROJECT_BINARY_DIR}" "${PROJECT_SOURCE_DIR}/gdb")
  configure_file("${PROJECT_SOURCE_DIR}/gdb/auto-load.py.in"
    "${PROJECT_BINARY_DIR}/${ZO_KEL_LIBRARY_FILE}-gdb.py" @ONLY)
endif()

if(ZO_KEL_INSTALL AND BUILD_SHARED_LIBS)
  set(zo_kel_autoload_dir "${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR}")
  file(RELATIVE_PATH ZO_KEL_GDB_TO_PRINTERS "/root/${zo_kel_autoload_dir}" "/root/${ZO_KEL_GDB_DIR}")
  configure_file("${PROJECT_SOURCE_DIR}/gdb/auto-load.py.in"
    "${PROJECT_BINARY_DIR}/gdb/${ZO_KEL_LIBRARY_FILE}-gdb.py" @ONLY)
  install(FILES "${PROJECT_SOURCE_DIR}/gdb/zo_kel_printers.py" DESTINATION "${ZO_KEL_GDB_DIR}")
  install(FILES "${PROJECT_BINARY_DIR}/gdb/${ZO_KEL_LIBRARY_FILE}-gdb.py"
    DESTINATION "${zo_kel_autoload_dir}")
endif()

find_program(ZO_KEL_GDB gdb)
find_package(Python3 QUIET COMPONENTS Interpreter)
if(ZO_KEL_BUILD_TESTS AND ZO_KEL_GDB AND Python3_Interpreter_FOUND AND ZO_KEL_HOST_RUNS_BUILD
   AND BUILD_SHARED_LIBS)
  add_executable(gdb_printed_values gdb/tests/printed_values.cpp)
  target_link_libraries(gdb_printed_values PRIVATE zo_kel_basics::zo_kel_basics)
  target_compile_options(gdb_printed_values PRIVATE -g -O0)
  zo_kel_target_warnings(gdb_printed_values)
  add_test(NAME gdb.printers
    COMMAND "${Python3_EXECUTABLE}" "${PROJECT_SOURCE_DIR}/gdb/tests/check_printers.py"
            "${ZO_KEL_GDB}" "$<TARGET_FILE:gdb_printed_values>"
            "$<TARGET_FILE_DIR:zo_kel_basics>")
endif()
