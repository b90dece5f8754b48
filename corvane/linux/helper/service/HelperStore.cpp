#include "corvane/linux/helper/service/HelperStore.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "corvane/infra/values/PropertyList.h"
#include "corvane/linux/desktop/EmbeddedInfo.h"
#include "corvane/linux/helper/HelperNames.h"
#include "corvane/system/helper/HelperVersion.h"

namespace corvane {

namespace {

constexpr mode_t TEXT_MODE = 0644;
constexpr mode_t PROGRAM_MODE = 0755;

// The folders, and the names of a helper's files in them.
struct Places {
  RootFolder helpers, services, policies, actions;

  static Result<Places> open() {
    auto helpers = RootFolder::open(helper_names::FOLDER);
    if (!helpers) return tl::unexpected(helpers.error());
    auto services = RootFolder::open(helper_names::BUS_SERVICES);
    if (!services) return tl::unexpected(services.error());
    auto policies = RootFolder::open(helper_names::BUS_POLICIES);
    if (!policies) return tl::unexpected(policies.error());
    auto actions = RootFolder::open(helper_names::ACTIONS);
    if (!actions) return tl::unexpected(actions.error());
    return Places{std::move(*helpers), std::move(*services), std::move(*policies), std::move(*actions)};
  }

  struct File {
    const RootFolder& folder;
    std::string name;
  };
  // The files beside the program.
  std::array<File, 3> texts(const std::string& label) const {
    return {{{services, label + ".service"}, {policies, label + ".conf"}, {actions, label + ".policy"}}};
  }
};

// Places, while no other process changes them.
struct LockedPlaces {
  Places places;
  FileDescriptor lock;

  static Result<LockedPlaces> open() {
    auto places = Places::open();
    if (!places) return tl::unexpected(places.error());
    auto lock = places->helpers.lock();
    if (!lock) return tl::unexpected(lock.error());
    return LockedPlaces{std::move(*places), std::move(*lock)};
  }
};

// The program that is installed, and its version, if it has one.
struct Program {
  FileIdentity identity;
  std::optional<std::int64_t> version;
};

Result<std::optional<Program>> programIn(const RootFolder& helpers, const std::string& label) {
  const auto file = helpers.file(label);
  if (!file) return tl::unexpected(file.error());
  if (file->get() < 0) return std::nullopt;
  const auto identity = identityOf(file->get());
  if (!identity) return tl::unexpected(identity.error());
  Program program{*identity, std::nullopt};
  if (const auto info = embeddedInfo(file->get()); info && *info)
    if (const auto list = readPropertyList(**info)) program.version = helperVersion(*list);
  return program;
}

// Success if the files beside the program are missing or were written for this helper.
Result<bool> ownsTexts(const Places& places, const std::string& label) {
  bool any = false;
  for (const auto& [folder, name] : places.texts(label)) {
    const auto content = folder.content(name);
    if (!content) return tl::unexpected(content.error());
    if (!*content) continue;
    if (!isHelperFile(**content))
      return failure("helper", 0, "The label belongs to another service: " + folder.path() + "/" + name);
    any = true;
  }
  return any;
}

// The program that would be replaced.
Result<std::optional<Program>> checkIn(const Places& places, const std::string& label, const HelperInfo& info) {
  const auto owned = ownsTexts(places, label);
  if (!owned) return tl::unexpected(owned.error());
  auto program = programIn(places.helpers, label);
  if (!program) return program;
  if (*program && (*program)->version > info.version)
    return failure("helper", 0, "Version " + std::to_string(*(*program)->version) + " is installed");
  const auto names = places.helpers.names();
  if (!names) return tl::unexpected(names.error());
  const auto isHelper = [](const std::string& name) { return !name.starts_with('.'); };
  if (!*program && std::ranges::count_if(*names, isHelper) >= static_cast<std::ptrdiff_t>(HelperStore::MAX_HELPERS))
    return failure("helper", 0, "Too many helpers are installed");
  return program;
}

std::optional<FileIdentity> identityIn(const std::optional<Program>& program) {
  return program ? std::optional(program->identity) : std::nullopt;
}

}  // namespace

Result<void> HelperStore::clean() {
  const auto locked = LockedPlaces::open();
  if (!locked) return tl::unexpected(locked.error());
  const auto& [helpers, services, policies, actions] = locked->places;
  for (const RootFolder* folder : {&helpers, &services, &policies, &actions}) folder->removeAbandoned();
  return {};
}

Result<void> HelperStore::check(const std::string& label, const HelperInfo& info) {
  const auto places = Places::open();
  if (!places) return tl::unexpected(places.error());
  const auto program = checkIn(*places, label, info);
  if (!program) return tl::unexpected(program.error());
  return {};
}

Result<std::optional<FileIdentity>> HelperStore::install(const std::string& label, const HelperInfo& info,
                                                         const HelperImage& image) {
  const auto locked = LockedPlaces::open();
  if (!locked) return tl::unexpected(locked.error());
  const Places& places = locked->places;
  const auto replaced = checkIn(places, label, info);
  if (!replaced) return tl::unexpected(replaced.error());

  const auto& [service, policy, actions] = places.texts(label);
  std::vector<StagedFile> staged;
  const auto stage = [&staged](Result<StagedFile> file) -> Result<void> {
    if (!file) return tl::unexpected(file.error());
    staged.push_back(std::move(*file));
    return {};
  };
  Result<void> done;
  if (!info.actions.empty())
    done = stage(StagedFile::text(actions.folder, actions.name, actionsFile(info.actions), TEXT_MODE));
  if (done) done = stage(StagedFile::text(policy.folder, policy.name, busPolicyFile(label), TEXT_MODE));
  if (done) done = stage(StagedFile::text(service.folder, service.name, busServiceFile(label), TEXT_MODE));
  if (done) done = stage(StagedFile::copy(places.helpers, label, image.descriptor(), PROGRAM_MODE));
  for (StagedFile& file : staged)
    if (done) done = file.commit();
  if (done && info.actions.empty()) done = actions.folder.remove(actions.name);
  if (!done) return tl::unexpected(done.error());
  return identityIn(*replaced);
}

Result<bool> HelperStore::knows(const std::string& label) {
  const auto places = Places::open();
  if (!places) return tl::unexpected(places.error());
  const auto owned = ownsTexts(*places, label);
  const auto program = programIn(places->helpers, label);
  if (!owned || !program) return tl::unexpected(!owned ? owned.error() : program.error());
  return *owned || *program;
}

Result<std::optional<FileIdentity>> HelperStore::remove(const std::string& label) {
  const auto locked = LockedPlaces::open();
  if (!locked) return tl::unexpected(locked.error());
  const Places& places = locked->places;
  const auto owned = ownsTexts(places, label);
  const auto program = programIn(places.helpers, label);
  if (!owned || !program) return tl::unexpected(!owned ? owned.error() : program.error());
  const auto& [service, policy, actions] = places.texts(label);
  for (const Places::File& file : {service, Places::File{places.helpers, label}, policy, actions}) {
    const auto removed = file.folder.remove(file.name);
    if (!removed) return tl::unexpected(removed.error());
  }
  return identityIn(*program);
}

bool HelperStore::declares(const std::string& label, const std::string& action) {
  const auto places = Places::open();
  if (!places) return false;
  const auto content = places->actions.content(label + ".policy");
  return content && *content && isHelperFile(**content) &&
         (*content)->find("<action id=\"" + action + "\">") != std::string::npos;
}

}  // namespace corvane
