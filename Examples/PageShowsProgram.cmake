# Fails unless the page PAGE shows the source file PROGRAM whole, in a block of C++.
file(READ "${PROGRAM}" program)
file(READ "${PAGE}" page)
string(FIND "${page}" "```cpp\n${program}```\n" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${PAGE} does not show ${PROGRAM} as it is; copy it into the page's block of C++")
endif()
