#include "corvane/ui/RichText.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <utility>

#include "corvane/core/Files.h"
#include "corvane/ui/rtf/RtfReader.h"

namespace corvane {

namespace {

constexpr std::string_view SIGNATURE = "{\\rtf";

bool isFolder(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

Result<QByteArray> bytesOf(const std::string& path, int flags = 0) {
  const auto file = openFile(path, O_RDONLY | flags);
  if (!file) return tl::unexpected<Error>(file.error());
  struct stat status = {};
  if (fstat(file->get(), &status) != 0) return fileFailure(path, errno);
  if (!S_ISREG(status.st_mode)) return fileFailure(path, EINVAL);
  if (status.st_size > MAX_RICH_TEXT) return fileFailure(path, EFBIG);
  QByteArray bytes(status.st_size, Qt::Uninitialized);
  if (!readAllAt(file->get(), bytes.data(), static_cast<std::size_t>(bytes.size()), 0)) return fileFailure(path, EIO);
  return bytes;
}

// A file of the document's folder, not one that a link in it leads to.
std::optional<QByteArray> attachmentIn(const std::string& folder, const QString& name) {
  const std::string file = name.toStdString();
  if (file.empty() || file.find('/') != std::string::npos || file.find('\0') != std::string::npos) return std::nullopt;
  auto bytes = bytesOf(folder + '/' + file, O_NOFOLLOW);
  return bytes ? std::optional(std::move(*bytes)) : std::nullopt;
}

Result<std::unique_ptr<QTextDocument>> read(std::string_view bytes, const RtfAttachments& attachments) {
  if (!bytes.starts_with(SIGNATURE)) return failure("richtext", 0, "This is not rich text");
  auto document = std::make_unique<QTextDocument>();
  RtfReader::read(bytes, attachments, *document);
  return document;
}

}  // namespace

Result<std::unique_ptr<QTextDocument>> readRichText(const std::string& path) {
  RtfAttachments attachments;
  if (isFolder(path)) attachments = [&path](const QString& name) { return attachmentIn(path, name); };
  const std::string file = attachments ? path + "/TXT.rtf" : path;
  const auto bytes = bytesOf(file);
  if (!bytes) return tl::unexpected<Error>(bytes.error());
  auto document = read({bytes->data(), static_cast<std::size_t>(bytes->size())}, attachments);
  if (!document) return failure("richtext", document.error().code, file + ": " + document.error().description);
  return document;
}

Result<std::unique_ptr<QTextDocument>> richText(std::string_view bytes) {
  return read(bytes, {});
}

}  // namespace corvane
