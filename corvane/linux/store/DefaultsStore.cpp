#include "corvane/platform/DefaultsStore.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>

#include "corvane/core/Files.h"
#include "corvane/core/Mutex.h"
#include "corvane/linux/store/DefaultsFiles.h"
#include "corvane/linux/store/DefaultsWatch.h"
#include "corvane/linux/store/StoredDomain.h"

namespace corvane {

namespace {

namespace fs = std::filesystem;
using namespace defaults_files;

class LinuxDefaultsStore : public DefaultsStore {
 public:
  std::shared_ptr<DefaultsDomain> domain(const std::string& name) override {
    MutexLock lock(m_mutex);
    std::weak_ptr<StoredDomain>& known = m_domains[name];
    auto domain = known.lock();
    if (!domain) known = domain = std::make_shared<StoredDomain>(name);
    return domain;
  }

  Result<std::vector<std::string>> domains() override {
    const auto folder = settingsFolder();
    if (!folder) return passedOn(folder.error());
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(*folder, error), end; !error && entry != end; entry.increment(error)) {
      const std::string file = entry->path().filename();
      if (!file.ends_with(DATABASE)) continue;
      if (auto name = domainOf(std::string_view(file).substr(0, file.size() - DATABASE.size())))
        names.push_back(std::move(*name));
    }
    if (error && error != std::errc::no_such_file_or_directory) return fileFailure(*folder, error.value());
    std::ranges::sort(names);
    return names;
  }

  Result<std::shared_ptr<void>> observe(std::function<void()> changed) override {
    return watchChanges(std::move(changed));
  }

 private:
  Mutex m_mutex;
  std::map<std::string, std::weak_ptr<StoredDomain>> m_domains CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace

template <>
std::shared_ptr<DefaultsStore> makeService<DefaultsStore>() {
  return std::make_shared<LinuxDefaultsStore>();
}

}  // namespace corvane
