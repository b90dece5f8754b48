#include "corvane/ui/DesktopRecord.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "corvane/infra/values/PropertyList.h"

namespace corvane {

namespace {
constexpr const char* URL = "url";
constexpr const char* OPTIONS = "options";
}  // namespace

std::optional<ScreenPicture> DesktopRecord::read() const {
  const auto list = readPropertyListFile(m_path);
  const Value* const url = list ? list->find(URL) : nullptr;
  const Value* const options = list ? list->find(OPTIONS) : nullptr;
  if (!url || !url->isString() || !options || !options->isDictionary()) return std::nullopt;
  return ScreenPicture{*url->asString(), *options->asDictionary()};
}

bool DesktopRecord::own() {
  if (isOwned()) return true;
  if (!makeFolders(m_path.substr(0, m_path.rfind('/')))) return false;
  auto file = openFile(m_path, O_RDWR | O_CREAT, 0600);
  struct flock whole {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  if (!file || fcntl(file->get(), F_SETLK, &whole) != 0) return false;
  m_file = std::move(*file);
  return true;
}

Result<void> DesktopRecord::keep(const ScreenPicture& picture) {
  const Value list = Value::Dictionary{{URL, picture.url}, {OPTIONS, picture.options}};
  return writePropertyList(list, PropertyListFormat::XML).and_then([this](const std::string& text) -> Result<void> {
    if (ftruncate(m_file.get(), 0) == 0 && lseek(m_file.get(), 0, SEEK_SET) == 0 && writeAll(m_file.get(), text) &&
        fsync(m_file.get()) == 0)
      return {};
    return fileFailure(m_path, errno);
  });
}

void DesktopRecord::drop() {
  if (!isOwned()) return;
  ::unlink(m_path.c_str());
  m_file = FileDescriptor();
}

}  // namespace corvane
