# What every target of the project shares: warnings, sanitizers, source paths.

add_library(ondrel_build_options INTERFACE)
# Source paths in trace lines and error locations are relative to the project.
target_compile_options(ondrel_build_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(ONDREL_WARNINGS_AS_ERRORS)
  target_compile_options(ondrel_build_options INTERFACE -Werror)
endif()
if(ONDREL_SANITIZE)
  # Checking an object's class needs type information that the base library does not export.
  target_compile_options(ondrel_build_options INTERFACE
    -fsanitize=${ONDREL_SANITIZE} -fno-sanitize=vptr -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(ondrel_build_options INTERFACE -fsanitize=${ONDREL_SANITIZE})
  target_compile_definitions(ondrel_build_options INTERFACE ONDREL_SANITIZED)
endif()
