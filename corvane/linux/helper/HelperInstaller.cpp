#include "corvane/platform/HelperInstaller.h"

#include <fcntl.h>

#include <string_view>

#include "corvane/core/Files.h"
#include "corvane/core/Text.h"
#include "corvane/linux/desktop/EmbeddedInfo.h"
#include "corvane/linux/helper/HelperNames.h"
#include "corvane/linux/helper/ServiceCall.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

// A label is one name in a folder. What else it must be is the service's affair.
Result<std::string> pathIn(const std::string& folder, const std::string& label) {
  if (label.empty() || !isUtf8(label) || label.find_first_of(std::string_view("/\0", 2)) != std::string::npos)
    return failure("helper", 0, "This is not the label of a helper: " + repaired(label));
  return folder + "/" + label;
}

Result<FileDescriptor> openBundled(const std::string& label) {
  const BundleFiles bundle = platform().bundles().mainBundle();
  Result<FileDescriptor> file;
  for (const std::string& folder :
       {bundle.path + "/Contents/Library/LaunchServices", bundle.resources + "/LaunchServices"}) {
    const auto path = pathIn(folder, label);
    if (!path) return tl::unexpected(path.error());
    file = openForReading(*path);
    if (file || file.error().code != ENOENT) break;
  }
  return file;
}

class LinuxHelperInstaller : public HelperInstaller {
 public:
  Result<std::optional<std::string>> installedInfo(const std::string& label) override {
    const auto path = pathIn(helper_names::FOLDER, label);
    if (!path) return tl::unexpected(path.error());
    const auto file = openFile(*path, O_RDONLY | O_NOFOLLOW);
    if (!file) return tl::unexpected(file.error());
    return embeddedInfo(file->get());
  }

  Result<std::optional<std::string>> bundledInfo(const std::string& label) override {
    const auto file = openBundled(label);
    if (!file) return tl::unexpected(file.error());
    return embeddedInfo(file->get());
  }

  std::string installRight() const override { return helper_names::INSTALL_ACTION; }

  // The reference is of no use here: polkit knows what this process may do.
  Result<void> install(const std::string& label, Authorization::Reference) override {
    const auto file = openBundled(label);
    if (!file) return tl::unexpected(file.error());
    const glib::Ptr<GUnixFDList> descriptors(g_unix_fd_list_new());
    GError* error = nullptr;
    const gint handle = g_unix_fd_list_append(descriptors.get(), file->get(), &error);
    if (handle < 0) return glib::takeError(error);
    const auto reply =
        callHelperService("Install", "(x)", g_variant_new("(sh)", label.c_str(), handle), descriptors.get());
    if (!reply) return tl::unexpected(reply.error());
    return {};
  }

  Result<void> remove(const std::string& label, Authorization::Reference) override {
    if (const auto path = pathIn(helper_names::FOLDER, label); !path) return tl::unexpected(path.error());
    const auto reply = callHelperService("Remove", "()", g_variant_new("(s)", label.c_str()));
    if (!reply) return tl::unexpected(reply.error());
    return {};
  }
};

}  // namespace

template <>
std::shared_ptr<HelperInstaller> makeService<HelperInstaller>() {
  return std::make_shared<LinuxHelperInstaller>();
}

}  // namespace corvane
