#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "corvane/linux/helper/service/HelperImage.h"

namespace {

using namespace corvane;

void require(bool condition) {
  if (!condition) std::abort();
}

std::size_t count(std::string_view text, std::string_view part) {
  std::size_t found = 0;
  for (auto at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) ++found;
  return found;
}

// What a label and a dictionary may become: never another file, and no lines or elements of their own.
void checkAccepted(const std::string& label, const Result<HelperInfo>& info) {
  require(label.find_first_of(std::string_view("/\n<&\"\0", 6)) == std::string::npos && label[0] != '.');
  const std::string service = busServiceFile(label), policy = busPolicyFile(label);
  require(count(service, "\n") == 5 && count(policy, "<allow ") == 3 && isHelperFile(service));
  if (!info) return;
  require(info->version >= 0);
  const std::string actions = actionsFile(info->actions);
  require(count(actions, "<") == 5 + 14 * info->actions.size());
  require(count(actions, ">") == count(actions, "<"));
  require(count(actions, "<action id=\"" + label) == info->actions.size() && isHelperFile(actions));
}

}  // namespace

// A label and a line break, then a program or a dictionary.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(bytes), size);
  const std::string label(input.substr(0, input.find('\n')));
  const std::string_view file = input.substr(std::min(size, label.size() + 1));
  FileDescriptor memory(memfd_create("fuzz", MFD_CLOEXEC));
  require(writeAll(memory.get(), file));
  const auto image = HelperImage::take(std::move(memory));
  require(image.has_value() == !file.empty());
  const auto inspected = image ? image->inspect(label) : tl::unexpected(Error{});
  if (!checkLabel(label)) return 0;
  checkAccepted(label, inspected);
  checkAccepted(label, helperInfo(file, label));
  return 0;
}
