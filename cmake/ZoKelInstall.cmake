# Install rules: the library, its public headers, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(ZO_KEL_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/zo_kel_basics")

install(TARGETS zo_kel_basics
  EXPORT zo_kel_basicsTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Public headers keep their folders; *_impl.h headers are the library's own.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/src/"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/zo_kel_basics"
  FILES_MATCHING PATTERN "*.h"
  PATTERN "*_impl.h" EXCLUDE)
# The generated version header, included as "zo_kel_basics/version.h".
install(FILES "${PROJECT_BINARY_DIR}/include/zo_kel_basics/version.h"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/zo_kel_basics/zo_kel_basics")

install(EXPORT zo_kel_basicsTargets
  NAMESPACE zo_kel_basics::
  DESTINATION "${ZO_KEL_CMAKE_DIR}")

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/zo_kel_basicsConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/zo_kel_basicsConfig.cmake"
  INSTALL_DESTINATION "${ZO_KEL_CMAKE_DIR}")
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/zo_kel_basicsConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/zo_kel_basicsConfig.cmake"
  "${PROJECT_BINARY_DIR}/zo_kel_basicsConfigVersion.cmake"
  DESTINATION "${ZO_KEL_CMAKE_DIR}")

# pkg-config: the same dependency list as the CMake package (threads), no warning flags.
set(ZO_KEL_PC_LIBS_PRIVATE "-pthread")
if(NOT BUILD_SHARED_LIBS)
  set(ZO_KEL_PC_CFLAGS_EXTRA " -DZO_KEL_STATIC")
else()
  set(ZO_KEL_PC_CFLAGS_EXTRA "")
endif()
# The prefix is found from the .pc file's own place, so an installed tree can be moved.
file(RELATIVE_PATH ZO_KEL_PC_TO_PREFIX "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
string(REGEX REPLACE "/$" "" ZO_KEL_PC_TO_PREFIX "${ZO_KEL_PC_TO_PREFIX}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/zo_kel_basics.pc.in"
  "${PROJECT_BINARY_DIR}/zo_kel_basics.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/zo_kel_basics.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
