// A program that does nothing until its standard input ends, with the system libraries that Corvane uses.
#include <cstdio>
#include <string>

int main() {
  const std::string greeting = "waiting";  // so that the C++ library is really loaded
  if (std::puts(greeting.c_str()) < 0) return 1;
  while (std::getchar() != EOF) {
  }
  return 0;
}
