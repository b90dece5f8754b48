#include "corvane/platform/DiskService.h"

#include <errno.h>
#include <limits.h>
#include <mntent.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <utility>

#include "corvane/core/Text.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/linux/bus/Bus.h"

namespace corvane {

namespace {

constexpr const char* UDISKS = "org.freedesktop.UDisks2";
constexpr const char* MANAGER = "org.freedesktop.UDisks2.Manager";
constexpr const char* BLOCK = "org.freedesktop.UDisks2.Block";
constexpr const char* PARTITION = "org.freedesktop.UDisks2.Partition";
constexpr const char* ENCRYPTED = "org.freedesktop.UDisks2.Encrypted";
constexpr const char* FILE_SYSTEM = "org.freedesktop.UDisks2.Filesystem";
constexpr std::string_view ALREADY_MOUNTED = "org.freedesktop.UDisks2.Error.AlreadyMounted";
constexpr std::string_view NOT_MOUNTED = "org.freedesktop.UDisks2.Error.NotMounted";
constexpr std::string_view DISMISSED = "org.freedesktop.UDisks2.Error.NotAuthorizedDismissed";
constexpr std::string_view FOLDER = "/dev/";

// A block device as UDisks2 describes it.
struct Volume {
  std::string object;      // path on the bus
  std::string disk;        // the object of the disk that it is a partition of; empty if it is none
  std::string encrypted;   // the object of the device that it shows decrypted, else "/"
  std::string device;      // "/dev/sda1"
  guint64 offset = 0;      // on its disk
  bool locked = false;     // encrypted, and not unlocked
  bool mountable = false;  // has a file system
  bool hidden = false;     // from users
  std::size_t mounts = 0;  // number of mount points
};

// A property; the fallback if the object lacks it. Texts are valid as long as the properties.
template <class T>
T property(GVariant* properties, const char* name, const char* type, T fallback) {
  if (properties) g_variant_lookup(properties, name, type, &fallback);
  return fallback;
}

Volume volumeOf(const char* object, GVariant* interfaces) {
  const auto interface = [interfaces](const char* name) {
    return glib::Ptr<GVariant>(g_variant_lookup_value(interfaces, name, G_VARIANT_TYPE_VARDICT));
  };
  const auto block = interface(BLOCK), partition = interface(PARTITION), encrypted = interface(ENCRYPTED),
             fileSystem = interface(FILE_SYSTEM);
  const glib::Ptr<GVariant> mounts(
      fileSystem ? g_variant_lookup_value(fileSystem.get(), "MountPoints", G_VARIANT_TYPE("aay")) : nullptr);
  return {.object = object,
          .disk = property(partition.get(), "Table", "&o", ""),
          .encrypted = property(block.get(), "CryptoBackingDevice", "&o", "/"),
          .device = property(block.get(), "Device", "^&ay", object),
          .offset = property<guint64>(partition.get(), "Offset", "t", 0),
          .locked = std::string_view(property(encrypted.get(), "CleartextDevice", "&o", "")) == "/",
          .mountable = fileSystem != nullptr,
          .hidden = property<gboolean>(block.get(), "HintIgnore", "b", FALSE) != FALSE,
          .mounts = mounts ? g_variant_n_children(mounts.get()) : 0};
}

using Volumes = std::vector<Volume>;

// All block devices.
Result<Volumes> volumes(const Bus& bus) {
  const auto reply = bus.call({UDISKS, "/org/freedesktop/UDisks2", "org.freedesktop.DBus.ObjectManager",
                               "GetManagedObjects", "(a{oa{sa{sv}}})"},
                              nullptr, Deadline());
  if (!reply) return tl::unexpected(reply.error());
  const glib::Ptr<GVariant> objects(g_variant_get_child_value(reply->values.get(), 0));
  Volumes found;
  GVariantIter each;
  g_variant_iter_init(&each, objects.get());
  const char* object = nullptr;
  GVariant* interfaces = nullptr;
  while (g_variant_iter_next(&each, "{&o@a{sa{sv}}}", &object, &interfaces)) {
    const glib::Ptr<GVariant> owner(interfaces);
    if (g_variant_lookup(interfaces, BLOCK, "@a{sv}", nullptr)) found.push_back(volumeOf(object, interfaces));
  }
  return found;
}

// Moves a volume and what it contains from `all` to `family`, in the order of the places on the disk.
void moveFamily(Volumes& all, const std::string& object, Volumes& family) {
  const auto self = std::ranges::find(all, object, &Volume::object);
  if (self == all.end()) return;
  family.push_back(std::move(*self));
  all.erase(self);
  Volumes parts;
  std::ranges::copy_if(all, std::back_inserter(parts),
                       [&object](const Volume& volume) { return volume.disk == object || volume.encrypted == object; });
  std::ranges::stable_sort(parts, {}, &Volume::offset);
  for (const Volume& part : parts) moveFamily(all, part.object, family);
}

// A request, performed on the queue of its session.
class Request {
 public:
  Request(std::shared_ptr<const Bus> bus, std::string disk, std::uint32_t options, bool mounts)
      : m_bus(std::move(bus)),
        m_disk(std::move(disk)),
        m_whole((options & DISK_WHOLE) != 0),
        m_force((options & DISK_FORCE) != 0),
        m_mounts(mounts) {}

  std::optional<Error> perform() {
    auto all = volumes(*m_bus);
    if (!all) return all.error();
    Volumes family;
    moveFamily(*all, m_whole ? diskOf(*all) : m_disk, family);
    if (family.empty()) return Error{"udisks", 0, "The device has disappeared"};
    if (!m_whole) family.resize(1);
    if (std::ranges::none_of(family, [this](const Volume& volume) { return concerns(volume); })) {
      const auto locked = std::ranges::find(family, true, &Volume::locked);
      return Error{"udisks", 0,
                   locked != family.end() ? locked->device + " is encrypted and locked"
                                          : "No file system on " + family.front().device};
    }
    std::erase_if(family, [this](const Volume& volume) { return !concerns(volume); });
    if (!m_mounts) std::ranges::reverse(family);
    for (const Volume& volume : family)
      for (std::size_t left = calls(volume); left > 0 && call(volume); --left) {
      }
    return m_error;
  }

 private:
  std::string diskOf(const Volumes& all) const {
    const auto self = std::ranges::find(all, m_disk, &Volume::object);
    return self != all.end() && !self->disk.empty() ? self->disk : m_disk;
  }

  bool concerns(const Volume& volume) const {
    return volume.mountable && !(m_whole && volume.hidden && volume.mounts == 0);
  }

  // How often the service is called for a volume: it removes one mount point at a time. For a single volume at least
  // once, so that it explains why it does nothing.
  std::size_t calls(const Volume& volume) const {
    const std::size_t needed = !m_mounts ? volume.mounts : volume.mounts == 0 ? 1 : 0;
    return m_whole ? needed : std::max<std::size_t>(needed, 1);
  }

  // False if it failed.
  bool call(const Volume& volume) {
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    if (m_force && !m_mounts) g_variant_builder_add(&options, "{sv}", "force", g_variant_new_boolean(TRUE));
    if (m_dismissed) g_variant_builder_add(&options, "{sv}", "auth.no_user_interaction", g_variant_new_boolean(TRUE));
    const auto reply = m_bus->call({UDISKS, volume.object, FILE_SYSTEM, m_mounts ? "Mount" : "Unmount",
                                    m_mounts ? "(s)" : "()", G_DBUS_CALL_FLAGS_ALLOW_INTERACTIVE_AUTHORIZATION},
                                   g_variant_new("(a{sv})", &options), Deadline::none());
    if (reply) return true;
    const std::string& domain = reply.error().domain;
    if (m_whole && domain == (m_mounts ? ALREADY_MOUNTED : NOT_MOUNTED)) return true;  // someone else was faster
    m_dismissed |= domain == DISMISSED;  // whoever closes the question does not want it for each volume
    const std::string description(trimmed(reply.error().description));
    if (!m_error)
      m_error = {domain, 0, description};
    else if (m_error->description.find(description) == std::string::npos)
      m_error->description += "; " + description;
    return false;
  }

  const std::shared_ptr<const Bus> m_bus;
  const std::string m_disk;
  const bool m_whole;
  const bool m_force;
  const bool m_mounts;
  bool m_dismissed = false;
  std::optional<Error> m_error;
};

class UDisksSession : public DiskSession {
 public:
  UDisksSession(std::shared_ptr<const Bus> bus, SerialQueue& queue) : m_bus(std::move(bus)), m_queue(queue) {}

  Result<std::string> disk(const std::string& device) override {
    const std::string path = std::string(FOLDER) + device;
    if (path.size() > PATH_MAX) return failure("udisks", ENAMETOOLONG, "The name of the device is too long");
    const auto missing = failure("udisks", ENOENT, "There is no device " + repaired(path));
    if (!isUtf8(path) || path.find('\0') != std::string::npos) return missing;
    const auto reply = m_bus->call({UDISKS, "/org/freedesktop/UDisks2/Manager", MANAGER, "ResolveDevice", "(ao)"},
                                   g_variant_new_parsed("({'path': <%s>}, @a{sv} {})", path.c_str()), Deadline());
    if (!reply) return tl::unexpected(reply.error());
    const glib::Ptr<GVariant> objects(g_variant_get_child_value(reply->values.get(), 0));
    if (g_variant_n_children(objects.get()) == 0) return missing;
    const char* object = nullptr;
    g_variant_get_child(objects.get(), 0, "&o", &object);
    return object;
  }

  Result<void> mount(const std::string& disk, std::uint32_t options, Answer answer) override {
    return begin({m_bus, disk, options, true}, std::move(answer));
  }

  Result<void> unmount(const std::string& disk, std::uint32_t options, Answer answer) override {
    return begin({m_bus, disk, options, false}, std::move(answer));
  }

 private:
  Result<void> begin(Request request, Answer answer) {
    if (m_queue.async(
            [request = std::move(request), answer = std::move(answer)]() mutable { answer(request.perform()); }))
      return {};
    return failure("posix", EAGAIN, "The system refuses a thread");
  }

  const std::shared_ptr<const Bus> m_bus;
  SerialQueue& m_queue;
};

class LinuxDiskService : public DiskService {
 public:
  Result<std::unique_ptr<DiskSession>> open(SerialQueue& queue) override {
    auto bus = Bus::connect(G_BUS_TYPE_SYSTEM, Deadline());
    if (!bus) return tl::unexpected(bus.error());
    return std::make_unique<UDisksSession>(std::move(*bus), queue);
  }

  std::map<std::string, std::vector<std::string>> mountPoints() override {
    std::map<std::string, std::vector<std::string>> found;
    const std::unique_ptr<FILE, int (*)(FILE*)> table(setmntent("/proc/self/mounts", "re"), endmntent);
    std::vector<char> buffer(1 << 16);  // a longer line is cut
    mntent entry{};
    while (table && getmntent_r(table.get(), &entry, buffer.data(), static_cast<int>(buffer.size()))) {
      // The kernel's names: mounting may have gone through a link such as /dev/mapper/NAME.
      if (!std::string_view(entry.mnt_fsname).starts_with(FOLDER)) continue;
      const std::unique_ptr<char, void (*)(void*)> device(realpath(entry.mnt_fsname, nullptr), std::free);
      const std::string_view path = device ? device.get() : entry.mnt_fsname;
      if (path.starts_with(FOLDER)) found[std::string(path.substr(FOLDER.size()))].push_back(entry.mnt_dir);
    }
    return found;
  }

  std::vector<std::string> backing(const std::string& device) override {
    std::vector<std::string> found;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/sys/class/block/" + device + "/slaves", error), end;
         !error && entry != end; entry.increment(error))
      found.push_back(entry->path().filename());
    std::ranges::sort(found);
    return found;
  }
};

}  // namespace

template <>
std::shared_ptr<DiskService> makeService<DiskService>() {
  return std::make_shared<LinuxDiskService>();
}

}  // namespace corvane
