#include "corvane/infra/Bundle.h"

#include <unistd.h>

#include <cstdint>
#include <string_view>
#include <utility>

#include "corvane/core/Log.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/Text.h"
#include "corvane/core/fatal.h"
#include "corvane/infra/values/PropertyList.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

// The requested width of pictures in pixels: an icon of 32 points in a list, on a high-resolution screen.
constexpr int ICON_SIZE = 64;

// The log itself needs the main bundle, so a damaged dictionary is reported without it.
std::optional<Value> readInfo(const BundleFiles& files) {
  if (!files.info) return std::nullopt;
  auto info = readPropertyList(*files.info);
  if (info && info->isDictionary()) return std::move(*info);
  systemLog("The information dictionary of " + (files.executable.empty() ? files.path : files.executable) +
            " is damaged: " + (info ? "it is not a dictionary" : info.error().description));
  return std::nullopt;
}

struct MainBundle {
  Mutex mutex;
  std::uint64_t serial CORVANE_GUARDED_BY(mutex) = 0;  // that of the platform that the bundle comes from
  std::shared_ptr<const Bundle> bundle CORVANE_GUARDED_BY(mutex);
};

// The characters that a path in a URL may contain unescaped (RFC 3986, 3.3).
bool standsForItself(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~!$&'()*+,;=:@/").find(c) != std::string_view::npos;
}

}  // namespace

std::shared_ptr<const Bundle> Bundle::mainBundle() {
  static auto& main = *new MainBundle;  // never destroyed: code that runs while the process exits may still use it
  Platform& current = platform();
  MutexLock lock(main.mutex);
  if (main.serial != current.serial) {
    main.bundle = std::make_shared<const Bundle>(current.bundles().mainBundle());
    main.serial = current.serial;
  }
  return main.bundle;
}

std::shared_ptr<const Bundle> Bundle::libraryBundle() {
  return std::make_shared<const Bundle>(platform().bundles().libraryBundle());
}

std::shared_ptr<const Bundle> Bundle::at(const std::string& path) {
  auto files = platform().bundles().bundleAt(path);
  return files ? std::make_shared<const Bundle>(std::move(*files)) : nullptr;
}

Bundle::Bundle(BundleFiles files) : m_files(std::move(files)), m_info(readInfo(m_files)) {
  m_files.info.reset();  // its bytes are no longer needed
}

const Value* Bundle::infoDictionary() const {
  return m_info ? &*m_info : nullptr;
}

const Value* Bundle::object(const std::string& key) const {
  return m_info ? m_info->find(key) : nullptr;
}

std::optional<std::string> Bundle::string(const std::string& key) const {
  const Value* value = object(key);
  const std::string* text = value ? value->asString() : nullptr;
  return text ? std::optional(*text) : std::nullopt;
}

std::optional<std::string> Bundle::identifier() const {
  auto identifier = string("CFBundleIdentifier");
  return identifier && !identifier->empty() ? std::move(identifier) : std::nullopt;
}

std::string Bundle::requiredIdentifier(const std::string& user) const {
  if (auto found = identifier()) return *std::move(found);
  fatal(user +
        ": the main bundle has no identifier. Give the program one with the CMake functions corvane_application "
        "or corvane_embed_info_plist, or with an Info.plist beside it (see corvane/platform/Bundles.h)");
}

std::optional<std::string> Bundle::bundleName() const {
  return string("CFBundleName");
}

std::optional<std::string> Bundle::appVersionName() const {
  const auto name = bundleName();
  const auto shortVersion = string("CFBundleShortVersionString");
  const auto version = string("CFBundleVersion");
  if (!name || !shortVersion || !version) return std::nullopt;
  return *name + "-" + *shortVersion + "(" + *version + ")";
}

const std::string& Bundle::path() const {
  return m_files.path;
}
const std::string& Bundle::executablePath() const {
  return m_files.executable;
}
const std::string& Bundle::resourcesPath() const {
  return m_files.resources;
}

std::optional<std::string> Bundle::resource(const std::string& name) const {
  if (name.empty() || m_files.resources.empty()) return std::nullopt;
  std::string file = m_files.resources + "/" + name;
  return access(file.c_str(), F_OK) == 0 ? std::optional(std::move(file)) : std::nullopt;
}

std::optional<Image> Bundle::icon(const std::string& path) {
  if (path.empty()) return std::nullopt;
  const auto file = platform().workspace().iconFile(path, ICON_SIZE);
  if (!file) return std::nullopt;
  Image image(*file);
  return image.isValid() ? std::optional(std::move(image)) : std::nullopt;
}

std::optional<std::string> Bundle::path(const std::string& identifier) {
  auto found = platform().workspace().applicationPath(identifier);
  return found ? std::optional(std::move(*found)) : std::nullopt;
}

std::optional<std::string> Bundle::url(const std::string& identifier) {
  const auto file = path(identifier);
  if (!file) return std::nullopt;
  std::string url = "file://";
  for (const char c : *file) {
    if (standsForItself(c))
      url += c;
    else
      appendPercentEscape(url, c);
  }
  return url;
}

std::optional<Image> Bundle::bundleIcon(const std::string& identifier) {
  const auto file = path(identifier);
  return file ? icon(*file) : std::nullopt;
}

bool Bundle::launch(const std::string& identifier, LaunchOptions options) {
  const auto launched = platform().workspace().launch(identifier, options);
  if (!launched) logNotice("Cannot launch " + identifier + ": " + launched.error().description);
  return launched.has_value();
}

}  // namespace corvane
