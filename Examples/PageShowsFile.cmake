# Fails unless the page PAGE shows the file FILE whole, in a block of the language LANGUAGE.
file(READ "${FILE}" text)
file(READ "${PAGE}" page)
string(FIND "${page}" "```${LANGUAGE}\n${text}```\n" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${PAGE} does not show ${FILE} as it is; copy it into the page's block of ${LANGUAGE}")
endif()
