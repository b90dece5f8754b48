#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "corvane/linux/process/ProcessText.h"

namespace {

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

}  // namespace

// Every reader gets every text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace corvane;
  const std::string_view text{reinterpret_cast<const char*>(bytes), size};

  ProcessInfo info;
  if (readProcessStat(text, {}, info)) {
    require(info.pid > 0, "a process without an id");
    require(text.find("(" + info.name + ")") != text.npos, "a name that is not in the text");
    // The same numbers behind a hostile name.
    const std::size_t open = text.find('(');
    const std::size_t close = text.rfind(')');
    ProcessInfo again;
    require(readProcessStat(std::string(text.substr(0, open)) + "() R 1 1 (\n)" + std::string(text.substr(close + 1)),
                            {}, again),
            "a name that hides the numbers");
    require(again.name == ") R 1 1 (\n" && again.parent == info.parent && again.started == info.started,
            "a name that changes the numbers");
  }
  readProcessStatus(text);
  readProcessIo(text);
  interpretsExecutables(text);
  isEmulator(text, "x86_64");
  environmentValue(text, "NAME");
  for (const std::string_view unit : {applicationUnit(text), text})
    for (const std::string& identifier : applicationIdentifiers(unit))
      require(!identifier.empty() && identifier.find('/') == identifier.npos, "an identifier that is a path");

  RegionReader reader(size);
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    if (!reader.take(rest.substr(0, end))) break;
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  if (const auto& region = reader.region())
    require(region->size > 0 && region->address + region->size > size, "a region below the address");
  return 0;
}
