#include "corvane/linux/helper/service/HelperImage.h"

#include <elf.h>
#include <errno.h>
#include <fcntl.h>
#include <gio/gio.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <vector>

#include "corvane/linux/desktop/EmbeddedInfo.h"
#include "corvane/linux/helper/service/Libraries.h"

namespace corvane {

namespace {

using Header = ElfW(Ehdr);

constexpr std::size_t PART = std::size_t{256} << 10;
constexpr int SEALS = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

// A program that starts on its own, for the machine that runs this one.
Result<void> checkProgram(int file) {
  const auto self = openForReading("/proc/self/exe");
  Header own{};
  Header its{};
  if (!self || !readAllAt(self->get(), &own, sizeof own, 0))
    return failure("helper", 0, "The service cannot read its own program");
  if (!readAllAt(file, &its, sizeof its, 0) || std::memcmp(its.e_ident, own.e_ident, EI_VERSION) != 0 ||
      its.e_machine != own.e_machine || (its.e_type != ET_EXEC && its.e_type != ET_DYN) || its.e_entry == 0)
    return failure("helper", 0, "It is not a program for this machine");
  return {};
}

}  // namespace

Result<HelperImage> HelperImage::take(FileDescriptor source) {
  const auto size = regularSize(source.get());
  if (!size) return failure("helper", 0, "It is not a regular file that can be read");
  const auto tooLarge = failure("helper", 0, "It is empty or larger than 64 MiB");
  if (*size == 0 || *size > HelperLimits::PROGRAM) return tooLarge;
  FileDescriptor memory(memfd_create("helper", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (memory.get() < 0) return systemFailure(errno);

  const std::unique_ptr<GChecksum, void (*)(GChecksum*)> sum(g_checksum_new(G_CHECKSUM_SHA256), g_checksum_free);
  std::vector<char> part(PART);
  std::uint64_t copied = 0;
  for (;;) {
    const ssize_t got =
        uninterrupted([&] { return pread(source.get(), part.data(), part.size(), static_cast<off_t>(copied)); });
    if (got < 0) return fileFailure("It cannot be read", errno);
    if (got == 0) break;
    copied += static_cast<std::uint64_t>(got);
    if (copied > HelperLimits::PROGRAM) return tooLarge;  // it grows
    if (!writeAll(memory.get(), {part.data(), static_cast<std::size_t>(got)})) return systemFailure(errno);
    g_checksum_update(sum.get(), reinterpret_cast<const guchar*>(part.data()), got);
  }
  if (fcntl(memory.get(), F_ADD_SEALS, SEALS) != 0) return systemFailure(errno);
  return HelperImage(std::move(memory), g_checksum_get_string(sum.get()));
}

Result<HelperInfo> HelperImage::inspect(const std::string& label) const {
  const auto isProgram = checkProgram(descriptor());
  if (!isProgram) return tl::unexpected(isProgram.error());
  const auto loads = checkLibraries(descriptor());
  if (!loads) return tl::unexpected(loads.error());
  const auto dictionary = embeddedInfo(descriptor());
  if (!dictionary) return tl::unexpected(dictionary.error());
  if (!*dictionary) return failure("helper", 0, "It contains no information dictionary");
  return helperInfo(**dictionary, label);
}

}  // namespace corvane
