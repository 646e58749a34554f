/* Loads the library by its path while running, as a service with plug-ins does. */

#include <dlfcn.h>
#include <stdio.h>

int main(int argumentCount, char** arguments) {
  void* library;
  if (argumentCount != 2) return 2;
  library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  return dlclose(library) == 0 ? 0 : 1;
}
