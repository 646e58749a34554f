# What every target of the project shares: warnings, sanitizers, source paths.

add_library(ondrel_build_options INTERFACE)
if(MSVC)
  target_compile_options(ondrel_build_options INTERFACE /W4 /utf-8 /Zc:__cplusplus)
else()
  # Source paths in trace lines and error locations are relative to the project, and no file depends on
  # the folder that it was built in.
  target_compile_options(ondrel_build_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
  if(ONDREL_WARNINGS_AS_ERRORS)
    target_compile_options(ondrel_build_options INTERFACE -Werror)
  endif()
endif()
if(WIN32)
  # The platform's header without what nobody asks for here.
  target_compile_definitions(ondrel_build_options INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN)
endif()
if(ONDREL_SANITIZE)
  # Checking an object's class needs type information that the base library does not export.
  target_compile_options(ondrel_build_options INTERFACE
    -fsanitize=${ONDREL_SANITIZE} -fno-sanitize=vptr -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(ondrel_build_options INTERFACE -fsanitize=${ONDREL_SANITIZE})
  target_compile_definitions(ondrel_build_options INTERFACE ONDREL_SANITIZED)
endif()

# How the shared libraries are linked. Calls within one are bound when it is linked, which takes a fifth off
# the time to load it; relocations that only add an address take two bits each where the linker can do so.
if(NOT WIN32)
  set(ONDREL_LIBRARY_LINK_OPTIONS -Wl,--as-needed -Wl,--no-undefined -Wl,-Bsymbolic-functions)
  include(CheckLinkerFlag)
  check_linker_flag(CXX -Wl,-z,pack-relative-relocs ONDREL_LINKER_PACKS_RELOCATIONS)
  if(ONDREL_LINKER_PACKS_RELOCATIONS)
    list(APPEND ONDREL_LIBRARY_LINK_OPTIONS -Wl,-z,pack-relative-relocs)
  endif()
endif()

# Puts a Windows program's debug information into a file beside it, in which debuggers look. A start reads
# all of the program's file, most of which that information would be.
function(ondrel_separate_debug_information target)
  if(MINGW)
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
      COMMAND ${CMAKE_OBJCOPY} --strip-debug --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug
        $<TARGET_FILE:${target}>
      VERBATIM)
  endif()
endfunction()

# Names a shared library as its programs ask for it: pirsk.dll, libpirsk.so.7.
function(ondrel_name_library target)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  if(WIN32)
    set_target_properties(${target} PROPERTIES PREFIX "")
  endif()
  ondrel_separate_debug_information(${target})
endfunction()
