# The libraries of a cross build for Windows, as scripts/build-windows-deps.sh lays them down. The
# build host's own packages describe its own libraries and must not be found; the names below lead
# here instead.

set(ONDREL_WINDOWS_DEPS ${PROJECT_SOURCE_DIR}/build/windows-deps)
set(ONDREL_WINDOWS_HEADERS ${ONDREL_WINDOWS_DEPS}/headers)
if(NOT EXISTS ${ONDREL_WINDOWS_HEADERS})
  message(FATAL_ERROR "${ONDREL_WINDOWS_DEPS} is missing: run scripts/build-windows-deps.sh")
endif()

set(CURL_ROOT ${ONDREL_WINDOWS_DEPS}/curl)
set(Boost_NO_BOOST_CMAKE ON)
set(Boost_INCLUDE_DIR ${ONDREL_WINDOWS_HEADERS})

# Has find_package(name) make an interface target of that name over the header-only libraries.
function(ondrel_redirect_to_headers name target)
  file(WRITE ${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/${name}Config.cmake "
if(NOT TARGET ${target})
  add_library(${target} INTERFACE IMPORTED)
  target_include_directories(${target} SYSTEM INTERFACE ${ONDREL_WINDOWS_HEADERS})
endif()
")
endfunction()

ondrel_redirect_to_headers(CLI11 CLI11::CLI11)
ondrel_redirect_to_headers(nlohmann_json nlohmann_json::nlohmann_json)

# Where the tests build GoogleTest from.
set(ONDREL_GOOGLETEST_SOURCES /usr/src/googletest)

# The DLLs that the libraries need at run time: the compiler's own and libcurl. Programs of the build
# tree find them beside themselves, and an installation takes them along.
set(ONDREL_RUNTIME_DLLS ${ONDREL_WINDOWS_DEPS}/curl/bin/libcurl.dll)
foreach(name libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
    OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT IS_ABSOLUTE ${file})
    message(FATAL_ERROR "${name} is missing beside ${CMAKE_CXX_COMPILER}")
  endif()
  cmake_path(NORMAL_PATH file)
  list(APPEND ONDREL_RUNTIME_DLLS ${file})
endforeach()
file(COPY ${ONDREL_RUNTIME_DLLS} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
# Without the debug information that each start of a program would read. A copy keeps its date, by which
# it is not copied again.
foreach(file ${ONDREL_RUNTIME_DLLS})
  cmake_path(GET file FILENAME name)
  execute_process(COMMAND ${CMAKE_STRIP} --strip-debug --preserve-dates ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name}
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
