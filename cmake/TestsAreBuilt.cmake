# Says what a build folder without built tests needs. PROGRAMS are the test programs, apart by commas;
# none where the folder was configured without tests.
if(NOT PROGRAMS)
  message(FATAL_ERROR "${FOLDER} was configured without tests. Use a preset that has them:\n"
    "  cmake --preset linux && cmake --build --preset linux && ctest --preset linux\n"
    "or configure with -DONDREL_BUILD_TESTS=ON and build.")
endif()
string(REPLACE "," ";" programs "${PROGRAMS}")
foreach(program IN LISTS programs)
  if(NOT EXISTS "${program}")
    list(APPEND missing "${program}")
  endif()
endforeach()
if(missing)
  list(JOIN missing "\n  " missing)
  message(FATAL_ERROR "not built:\n  ${missing}\nBuild first:\n  cmake --build ${FOLDER}")
endif()
