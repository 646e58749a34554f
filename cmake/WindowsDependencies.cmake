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
