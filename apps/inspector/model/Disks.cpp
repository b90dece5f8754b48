#include "apps/inspector/model/Disks.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <string_view>

#include "apps/inspector/model/DeviceTree.h"
#include "corvane/platform/Platform.h"
#include "corvane/system/DiskMounter.h"
#include "corvane/system/IOObject.h"

namespace corvane::inspector {

namespace {

constexpr std::int64_t RAM_DISK = 1;  // major device number

std::int64_t numberOf(const Value::Dictionary& properties, std::string_view key) {
  const auto found = properties.find(key);
  const std::int64_t* number = found == properties.end() ? nullptr : found->second.asInteger();
  return number ? *number : 0;
}

// Undoes udev's escapes of bytes: "\x20".
std::string unescaped(std::string text) {
  for (std::size_t at = 0; (at = text.find("\\x", at)) != std::string::npos && at + 4 <= text.size(); ++at) {
    unsigned char byte = 0;
    const auto [end, error] = std::from_chars(&text[at + 2], &text[at + 2] + 2, byte, 16);
    if (error == std::errc() && end == &text[at + 2] + 2) text.replace(at, 4, 1, static_cast<char>(byte));
  }
  return text;
}

// Numbers inside of names are compared as such: "sda2" comes before "sda10".
bool isBefore(std::string_view a, std::string_view b) {
  const auto run = [](std::string_view text) { return std::min(text.find_first_not_of("0123456789"), text.size()); };
  while (!a.empty() && !b.empty()) {
    if (const std::size_t x = run(a), y = run(b); x > 0 && y > 0 && x != y) return x < y;
    if (a.front() != b.front()) return a.front() < b.front();
    a.remove_prefix(1);
    b.remove_prefix(1);
  }
  return a.size() < b.size();
}

// The rows that lie on a device, with everything on them; all others if it is the empty name.
void moveTree(std::vector<DiskRow>& rows, const std::string& above, std::size_t depth, std::vector<DiskRow>& tree) {
  std::vector<DiskRow> here;
  std::erase_if(rows, [&](DiskRow& row) {
    if (row.above != above) return false;
    here.push_back(std::move(row));
    return true;
  });
  for (DiskRow& row : here) {
    row.depth = depth;
    tree.push_back(row);
    moveTree(rows, row.name, depth + 1, tree);
  }
}

// The rows that a request is about.
std::vector<DiskRow> concerned(const DiskRequest& request) {
  const auto rows = readDisks();
  auto first = std::ranges::find(rows, request.device, &DiskRow::name);
  if (first == rows.end()) return {};
  if (!request.whole) return {*first};
  while (first->depth > 0) --first;
  return {first, std::ranges::find(first + 1, rows.end(), std::size_t{0}, &DiskRow::depth)};
}

}  // namespace

std::vector<DiskRow> readDisks() {
  DiskService& service = platform().diskService();
  auto mountPoints = service.mountPoints();
  std::vector<DiskRow> rows;
  std::map<std::int64_t, std::string> disks;  // names by unit
  IOObject::iterateServices("IOMedia", [&](const IOObject& medium) {
    const Value::Dictionary properties = medium.properties();
    DiskRow row{.name = textIn(properties, "BSD Name"),
                .above = {},
                .size = static_cast<std::uint64_t>(numberOf(properties, "Size")),
                .content = textIn(properties, "Content"),
                .fileSystem = textIn(properties, "ID_FS_TYPE"),
                .label = unescaped(textIn(properties, "ID_FS_LABEL_ENC")),
                .writable = numberOf(properties, "Writable") != 0,
                .removable = numberOf(properties, "Removable") != 0};
    if (row.name.empty() || row.size == 0 || numberOf(properties, "BSD Major") == RAM_DISK) return;
    row.mountPoints = std::move(mountPoints[row.name]);
    const std::int64_t unit = numberOf(properties, "BSD Unit");
    if (numberOf(properties, "Whole") == 0) {
      row.above = disks[unit];
    } else {
      disks[unit] = row.name;
      const auto backing = service.backing(row.name);
      row.above = backing.empty() ? "" : backing.front();
    }
    rows.push_back(std::move(row));
  });
  std::ranges::stable_sort(rows, isBefore, &DiskRow::name);
  for (DiskRow& row : rows)
    if (std::ranges::find(rows, row.above, &DiskRow::name) == rows.end()) row.above.clear();
  std::vector<DiskRow> tree;
  moveTree(rows, "", 0, tree);
  return tree;
}

DiskOutcome perform(const DiskRequest& request) {
  DiskMounter mounter("org.corvane.inspector");
  const bool done = request.mounts ? mounter.mount(request.device, request.whole)
                                   : mounter.unmount(request.device, request.whole, request.force);
  DiskOutcome outcome{done, mounter.errorMessage(), mounter.errorDetail()};
  if (done && request.mounts)
    for (const DiskRow& row : concerned(request))
      for (const std::string& folder : row.mountPoints) outcome.mounted.emplace_back(row.name, folder);
  return outcome;
}

}  // namespace corvane::inspector
