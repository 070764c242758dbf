# Decides whether the zo_kel Python module is built (ZO_KEL_BUILD_PYTHON): on by default when
# pybind11 and the Python headers are found, except where the build machine's Python or gdb
# cannot run what is built (ZO_KEL_HOST_RUNS_BUILD, also used by the gdb test): a cross or -m32
# build (programs run under an emulator; an i386 module cannot be imported) or a sanitizer build
# (an extension would need the sanitizer runtime preloaded, and LeakSanitizer cannot run under a
# debugger).
if(CMAKE_CROSSCOMPILING OR CMAKE_CROSSCOMPILING_EMULATOR OR CMAKE_CXX_FLAGS MATCHES "-m32"
   OR CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
  set(ZO_KEL_HOST_RUNS_BUILD OFF)
else()
  set(ZO_KEL_HOST_RUNS_BUILD ON)
endif()
set(zo_kel_python_default OFF)
if(ZO_KEL_HOST_RUNS_BUILD)
  # The distribution's interpreter first: pybind11-dev, python3-dev and python3-pytest belong to it.
  if(NOT DEFINED Python3_EXECUTABLE AND EXISTS /usr/bin/python3)
    set(Python3_EXECUTABLE /usr/bin/python3)
  endif()
  find_package(Python3 3.7 QUIET COMPONENTS Interpreter Development.Module)
  if(Python3_FOUND)
    find_package(pybind11 2.6 CONFIG QUIET)
  endif()
  if(Python3_FOUND AND pybind11_FOUND)
    set(zo_kel_python_default ON)
  endif()
endif()
option(ZO_KEL_BUILD_PYTHON "Build the zo_kel Python module (needs pybind11 and Python headers)"
  ${zo_kel_python_default})

if(ZO_KEL_BUILD_PYTHON)
  if(NOT pybind11_FOUND)
    find_package(Python3 3.7 REQUIRED COMPONENTS Interpreter Development.Module)
    find_package(pybind11 2.6 CONFIG REQUIRED)
  endif()
  # <prefix>/lib/python3/dist-packages on Debian, the interpreter's own layout elsewhere.
  if(NOT DEFINED ZO_KEL_PYTHON_INSTALL_DIR)
    if(EXISTS /usr/lib/python3/dist-packages)
      set(ZO_KEL_PYTHON_INSTALL_DIR "lib/python3/dist-packages")
    else()
      set(ZO_KEL_PYTHON_INSTALL_DIR
        "lib/python${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR}/site-packages")
    endif()
  endif()
  add_subdirectory(python)
endif()
