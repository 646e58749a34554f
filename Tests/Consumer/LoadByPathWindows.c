/* Loads the library by its path while running, as a service with plug-ins does. What the library itself
   needs lies beside it. */

#include <stdio.h>
#include <windows.h>

int main(int argumentCount, char** arguments) {
  HMODULE library;
  if (argumentCount != 2) return 2;
  library = LoadLibraryExA(arguments[1], NULL, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (library == NULL) {
    fprintf(stderr, "%s: error %lu\n", arguments[1], GetLastError());
    return 1;
  }
  return FreeLibrary(library) ? 0 : 1;
}
