// A program, and the library that it is linked with.
#ifdef LIBRARY
__attribute__((visibility("default"))) const char* verb();
const char* verb() {
  return "runs";
}
#else
#include <unistd.h>

#include <cstdio>

const char* verb();

int main(int, char** arguments) {
  char path[4096] = {};
  if (readlink("/proc/self/exe", path, sizeof path - 1) < 0) return 1;
  std::printf("%s %s: %s\n", path, verb(), arguments[1]);
}
#endif
