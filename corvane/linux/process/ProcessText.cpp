#include "corvane/linux/process/ProcessText.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace corvane {

namespace {

// Flags of a stat file (the kernel's PF_*).
constexpr std::uint64_t EXITING = 0x4;
constexpr std::uint64_t FORKED_WITHOUT_EXEC = 0x40;
constexpr std::uint64_t KERNEL_THREAD = 0x200000;

// Names of the units of applications.
constexpr std::string_view APPLICATION = "app-";
constexpr std::string_view SCOPE = ".scope";
constexpr std::string_view SERVICE = ".service";

// Takes numbers from the front of a text in which they are separated by blanks.
class Numbers {
 public:
  explicit Numbers(std::string_view text) : m_next(text.data()), m_end(text.data() + text.size()) {}

  template <class Number>
  Number take(int base = 10) {
    while (m_next != m_end && (*m_next == ' ' || *m_next == '\t')) ++m_next;
    Number number{};
    const auto [end, error] = std::from_chars(m_next, m_end, number, base);
    m_good = m_good && error == std::errc{};
    m_next = end;
    return number;
  }

  void skip(int count) {
    for (; count > 0; --count) {
      while (m_next != m_end && *m_next == ' ') ++m_next;
      while (m_next != m_end && *m_next != ' ') ++m_next;
    }
  }

  bool expect(char character) {
    m_good = m_good && m_next != m_end && *m_next == character;
    if (m_good) ++m_next;
    return m_good;
  }

  bool good() const { return m_good; }
  std::string_view rest() const { return {m_next, static_cast<std::size_t>(m_end - m_next)}; }

 private:
  const char* m_next;
  const char* const m_end;
  bool m_good = true;
};

ProcessState stateOf(char letter) {
  switch (letter) {
    case 'R':
    case 'W':
      return ProcessState::RUNNING;
    case 'S':
    case 'D':
    case 'I':
    case 'K':
    case 'P':
      return ProcessState::SLEEPING;
    case 'T':
    case 't':
      return ProcessState::STOPPED;
    case 'Z':
    case 'X':
    case 'x':
      return ProcessState::ZOMBIE;
    default:
      return ProcessState::UNKNOWN;
  }
}

// Removes and returns the front of a text up to a separator, which is removed too.
std::string_view takeUntil(std::string_view& text, char separator) {
  const std::size_t end = text.find(separator);
  const std::string_view front = text.substr(0, end);
  text.remove_prefix(end == text.npos ? text.size() : end + 1);
  return front;
}

// "Key:   123 kB": the number in bytes.
std::optional<std::uint64_t> kibibytes(std::string_view value) {
  Numbers numbers(value);
  const auto number = numbers.take<std::uint64_t>();
  if (!numbers.good() || number > std::numeric_limits<std::uint64_t>::max() / 1024) return std::nullopt;
  return number * 1024;
}

// A unit's name with its "\\xHH" escapes replaced by characters.
std::string unescaped(std::string_view name) {
  std::string text;
  while (!name.empty()) {
    unsigned char byte = 0;
    const bool escaped = name.size() >= 4 && name.starts_with("\\x") &&
                         std::from_chars(name.data() + 2, name.data() + 4, byte, 16).ptr == name.data() + 4;
    text += escaped ? static_cast<char>(byte) : name.front();
    name.remove_prefix(escaped ? 4 : 1);
  }
  return text;
}

}  // namespace

bool readProcessStat(std::string_view text, const ProcessUnits& units, ProcessInfo& info) {
  // The name may contain anything, including parentheses.
  const std::size_t open = text.find('(');
  const std::size_t close = text.rfind(')');
  if (open == text.npos || close == text.npos || close < open || text.size() - close < 4) return false;
  info.name.assign(text, open + 1, close - open - 1);
  info.state = stateOf(text[close + 2]);

  Numbers pid(text.substr(0, open));
  info.pid = pid.take<pid_t>();
  Numbers numbers(text.substr(close + 3));
  info.parent = numbers.take<pid_t>();
  info.group = numbers.take<pid_t>();
  info.session = numbers.take<pid_t>();
  info.terminal = numbers.take<int>();
  info.terminalGroup = std::max(numbers.take<pid_t>(), 0);  // -1 without a terminal
  const auto flags = numbers.take<std::uint64_t>();
  info.exiting = (flags & EXITING) != 0;
  info.executed = (flags & (FORKED_WITHOUT_EXEC | KERNEL_THREAD)) == 0;
  info.kernel = (flags & KERNEL_THREAD) != 0;
  info.minorFaults = numbers.take<std::uint64_t>();
  numbers.skip(1);
  info.majorFaults = numbers.take<std::uint64_t>();
  info.childMajorFaults = numbers.take<std::uint64_t>();
  info.userTime = numbers.take<std::uint64_t>() * units.tickNsec;
  info.systemTime = numbers.take<std::uint64_t>() * units.tickNsec;
  info.childUserTime = static_cast<std::uint64_t>(numbers.take<std::int64_t>()) * units.tickNsec;
  info.childSystemTime = static_cast<std::uint64_t>(numbers.take<std::int64_t>()) * units.tickNsec;
  info.priority = numbers.take<int>();
  info.nice = numbers.take<int>();
  info.threads = numbers.take<int>();
  numbers.skip(1);
  info.started = numbers.take<std::uint64_t>() * units.tickNsec;
  info.virtualBytes = numbers.take<std::uint64_t>();
  info.residentBytes = static_cast<std::uint64_t>(numbers.take<std::int64_t>()) * units.pageBytes;
  numbers.skip(13);  // memory addresses and signals
  const bool thread =
      numbers.take<int>() < 0;  // the signal at its end: a thread that is not a process's first has none
  numbers.skip(2);
  info.policy = numbers.take<int>();
  numbers.skip(10);
  const auto ended = numbers.take<int>();  // or what has stopped it
  info.exitStatus = info.state == ProcessState::ZOMBIE ? ended : 0;
  return pid.good() && numbers.good() && info.pid > 0 && !thread;
}

std::optional<ProcessDetails> readProcessStatus(std::string_view text) {
  ProcessDetails details;
  bool known = false;
  while (!text.empty()) {
    std::string_view line = takeUntil(text, '\n');
    const std::string_view key = takeUntil(line, ':');
    Numbers numbers(line);
    if (key == "Uid") {
      details.realUid = numbers.take<uid_t>();
      numbers.take<uid_t>();
      details.savedUid = numbers.take<uid_t>();
      known = true;
    } else if (key == "Gid") {
      details.realGid = numbers.take<gid_t>();
      numbers.take<gid_t>();
      details.savedGid = numbers.take<gid_t>();
    } else if (key == "TracerPid") {
      details.tracer = numbers.take<pid_t>();
    } else if (key == "voluntary_ctxt_switches" || key == "nonvoluntary_ctxt_switches") {
      details.contextSwitches += numbers.take<std::uint64_t>();
    } else if (key == "VmRSS") {
      details.residentBytes = kibibytes(line).value_or(0);
    } else if (key == "VmLck") {
      details.lockedBytes = kibibytes(line).value_or(0);
    } else if (key == "RssAnon" || key == "VmSwap") {
      details.anonymousBytes += kibibytes(line).value_or(0);
    }
    if (!numbers.good()) return std::nullopt;
  }
  return known ? std::optional(details) : std::nullopt;
}

std::optional<DiskBytes> readProcessIo(std::string_view text) {
  DiskBytes bytes;
  int found = 0;
  while (!text.empty()) {
    std::string_view line = takeUntil(text, '\n');
    const std::string_view key = takeUntil(line, ':');
    if (key != "read_bytes" && key != "write_bytes") continue;
    Numbers numbers(line);
    (key == "read_bytes" ? bytes.read : bytes.written) = numbers.take<std::uint64_t>();
    if (!numbers.good()) return std::nullopt;
    ++found;
  }
  return found == 2 ? std::optional(bytes) : std::nullopt;
}

std::string_view applicationUnit(std::string_view text) {
  while (!text.empty()) {
    std::string_view line = takeUntil(text, '\n');
    takeUntil(line, ':');
    const std::string_view controllers = takeUntil(line, ':');
    if (!controllers.empty() && controllers != "name=systemd") continue;
    while (!line.empty()) {
      const std::string_view unit = line.substr(line.rfind('/') + 1);  // the whole line if it has no slash
      if (unit.starts_with(APPLICATION) && (unit.ends_with(SCOPE) || unit.ends_with(SERVICE))) return unit;
      line.remove_suffix(std::min(line.size(), unit.size() + 1));
    }
  }
  return {};
}

std::vector<std::string> applicationIdentifiers(std::string_view unit) {
  std::vector<std::string> identifiers;
  if (!unit.starts_with(APPLICATION)) return identifiers;
  std::string_view name = unit.substr(APPLICATION.size());
  if (name.ends_with(SERVICE)) {
    name.remove_suffix(SERVICE.size());
    name = name.substr(0, name.find('@'));
  } else if (name.ends_with(SCOPE)) {
    name = name.substr(0, std::min(name.rfind('-'), name.size()));
    if (name.ends_with(SCOPE)) return identifiers;  // no random part
  } else {
    return identifiers;
  }
  for (; !name.empty(); takeUntil(name, '-')) {
    std::string identifier = unescaped(name);
    const auto strange = [](char c) { return c == '/' || (c >= 0 && c < ' ') || c == '\x7f'; };
    if (std::ranges::none_of(identifier, strange)) identifiers.push_back(std::move(identifier));
  }
  return identifiers;
}

std::vector<std::string> argumentsOf(std::string_view text) {
  std::vector<std::string> arguments;
  while (!text.empty()) arguments.emplace_back(takeUntil(text, '\0'));
  return arguments;
}

std::optional<std::string_view> environmentValue(std::string_view text, std::string_view variable) {
  while (!text.empty()) {
    std::string_view value = takeUntil(text, '\0');
    if (value.find('=') == variable.size() && value.starts_with(variable)) return value.substr(variable.size() + 1);
  }
  return std::nullopt;
}

bool RegionReader::take(std::string_view line) {
  // A region begins with "begin-end rwxp offset device inode path"; "Key: value" lines follow.
  Numbers numbers(line);
  const auto begin = numbers.take<std::uint64_t>(16);
  if (numbers.expect('-')) {
    if (m_region) return false;
    const auto end = numbers.take<std::uint64_t>(16);
    std::string_view rest = numbers.rest();
    if (!numbers.good() || end <= begin || end <= m_address || rest.size() < 6) return true;
    Numbers offset(rest.substr(5));
    MemoryRegion region;
    region.address = begin;
    region.size = end - begin;
    region.readable = rest[1] == 'r';
    region.writable = rest[2] == 'w';
    region.executable = rest[3] == 'x';
    region.shared = rest[4] == 's';
    region.offset = offset.take<std::uint64_t>(16);
    offset.skip(1);
    region.file = offset.take<std::uint64_t>() != 0;
    if (offset.good()) m_region = region;
    return true;
  }
  if (!m_region) return true;
  const std::string_view key = takeUntil(line, ':');
  const auto bytes = kibibytes(line);
  if (!bytes) return true;
  if (key == "Rss") m_region->residentBytes = *bytes;
  if (key == "Swap") m_region->swappedBytes = *bytes;
  if (key == "Shared_Clean" || key == "Shared_Dirty") m_region->sharedBytes += *bytes;
  if (key == "Private_Dirty" || key == "Shared_Dirty") m_region->dirtyBytes += *bytes;
  return true;
}

bool interpretsExecutables(std::string_view text) {
  if (takeUntil(text, '\n') != "enabled") return false;
  while (!text.empty())
    if (takeUntil(text, '\n').starts_with("magic 7f454c46")) return true;
  return false;
}

bool isEmulator(std::string_view executable, std::string_view machine) {
  static constexpr std::string_view GUESTS[] = {
      "aarch64",     "aarch64_be", "alpha",      "arm",          "armeb",   "cris",    "hexagon",  "hppa",    "i386",
      "loongarch64", "m68k",       "microblaze", "microblazeel", "mips",    "mips64",  "mips64el", "mipsel",  "mipsn32",
      "mipsn32el",   "nios2",      "or1k",       "ppc",          "ppc64",   "ppc64le", "riscv32",  "riscv64", "s390x",
      "sh4",         "sh4eb",      "sparc",      "sparc32plus",  "sparc64", "x86_64",  "xtensa",   "xtensaeb"};
  static constexpr std::string_view INTEL_EMULATORS[] = {"FEX", "FEXInterpreter", "box64", "box86", "rosetta"};
  constexpr std::string_view QEMU = "qemu-", STATIC = "-static";
  if (executable.starts_with(QEMU)) {
    executable.remove_prefix(QEMU.size());
    if (executable.ends_with(STATIC)) executable.remove_suffix(STATIC.size());
    return executable != machine && std::ranges::find(GUESTS, executable) != std::end(GUESTS);
  }
  return machine != "x86_64" && std::ranges::find(INTEL_EMULATORS, executable) != std::end(INTEL_EMULATORS);
}

}  // namespace corvane
