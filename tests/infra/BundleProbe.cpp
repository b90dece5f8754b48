// Prints its main bundle, after doing to its own executable what the arguments say.
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string_view>

#include "corvane/infra/Bundle.h"

int main(int count, char** arguments) {
  const std::string_view deed = count > 2 ? arguments[1] : "";
  if (deed == "unlink" && unlink(arguments[2]) != 0) return 1;
  if (deed == "replace-by" && std::rename(arguments[2], arguments[0]) != 0) return 1;
  const auto bundle = corvane::Bundle::mainBundle();
  std::cout << bundle->identifier().value_or("none") << '\n'
            << bundle->path() << '\n'
            << bundle->executablePath() << '\n'
            << bundle->resourcesPath() << '\n'
            << bundle->appVersionName().value_or("none") << '\n';
}
