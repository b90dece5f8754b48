#include "corvane/testing/FakeProcessTable.h"

namespace corvane {

Result<const FakeProcessTable::Process*> FakeProcessTable::find(pid_t pid) const {
  if (error) return tl::unexpected<Error>(*error);
  const auto found = processes.find(pid);
  if (found == processes.end()) return failure("posix", ESRCH, "No process " + std::to_string(pid));
  return &found->second;
}

namespace {

template <class T>
Result<T> known(const std::optional<T>& value, int otherwise) {
  if (!value) return failure("posix", otherwise, "Not told");
  return *value;
}

}  // namespace

Result<std::size_t> FakeProcessTable::pids(std::span<pid_t> into) {
  if (error) return tl::unexpected<Error>(*error);
  std::size_t count = 0;
  for (const auto& [pid, process] : processes) {
    if (count < into.size()) into[count] = pid;
    ++count;
  }
  return count;
}

Result<void> FakeProcessTable::each(const std::function<void(const ProcessInfo&)>& visit) {
  if (error) return tl::unexpected<Error>(*error);
  // Backwards, because a system may list them in any order.
  for (auto entry = processes.rbegin(); entry != processes.rend(); ++entry) {
    ProcessInfo info = entry->second.info;
    info.pid = entry->first;
    visit(info);
  }
  return {};
}

Result<void> FakeProcessTable::eachName(const std::function<bool(pid_t, std::string_view)>& visit) {
  if (error) return tl::unexpected<Error>(*error);
  for (const auto& [pid, process] : processes)
    if (!visit(pid, process.info.name)) break;
  return {};
}

Result<ProcessInfo> FakeProcessTable::process(pid_t pid) {
  return find(pid).map([pid](const Process* process) {
    ProcessInfo info = process->info;
    info.pid = pid;
    return info;
  });
}

Result<ProcessDetails> FakeProcessTable::details(pid_t pid) {
  return find(pid).and_then([this](const Process* process) { return known(process->details, lacking); });
}

Result<DiskBytes> FakeProcessTable::diskBytes(pid_t pid) {
  return find(pid).and_then([this](const Process* process) { return known(process->diskBytes, lacking); });
}

Result<std::string> FakeProcessTable::path(pid_t pid) {
  return find(pid).and_then([this](const Process* process) { return known(process->path, lacking); });
}

Result<std::vector<std::string>> FakeProcessTable::arguments(pid_t pid) {
  return find(pid).map([](const Process* process) { return process->arguments; });
}

Result<MemoryRegion> FakeProcessTable::region(pid_t pid, std::uint64_t address) {
  return find(pid).and_then([address](const Process* process) -> Result<MemoryRegion> {
    for (const MemoryRegion& region : process->regions)
      if (region.address + region.size > address) return region;
    return failure("posix", ESRCH, "No region");
  });
}

Result<std::size_t> FakeProcessTable::descriptors(pid_t pid) {
  return find(pid).map([](const Process* process) { return process->files.size(); });
}

Result<void> FakeProcessTable::openFiles(pid_t pid, const std::function<void(int, const char*)>& visit) {
  const auto process = find(pid);
  if (!process) return tl::unexpected(process.error());
  for (const auto& [descriptor, path] : (*process)->files) visit(descriptor, path.c_str());
  return {};
}

Result<void> FakeProcessTable::signal(pid_t pid, std::uint64_t started, int /*number*/) {
  const auto found = find(pid);
  if (!found) return tl::unexpected(found.error());
  if ((*found)->info.started != started) return failure("posix", ESRCH, "No process " + std::to_string(pid));
  return {};
}

}  // namespace corvane
