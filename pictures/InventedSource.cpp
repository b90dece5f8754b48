#include "pictures/InventedSource.h"

#include <cmath>
#include <map>
#include <random>

#include "apps/inspector/model/TextFile.h"

namespace corvane::inspector {

namespace {

constexpr double HOUR = 3600;
constexpr std::uint64_t MIB = 1U << 20U, GIB = 1U << 30U;

// A value that wanders between two bounds, with a burst now and then.
struct Walk {
  double low, high, calm;  // calm: share of the time without bursts
};

constexpr std::array<Walk, GAUGES> WALKS = {Walk{4, 96, 0.8},    Walk{5.1e9, 7.4e9, 1}, Walk{0, 180e6, 0.9},
                                            Walk{0, 95e6, 0.85}, Walk{2e3, 11e6, 0.7},  Walk{1e3, 1.4e6, 0.7},
                                            Walk{291, 318, 1},   Walk{44, 71, 0.8}};

void fill(History& history, const Walk& walk, double interval, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> share;
  const Moment now = Moment::clock::now();
  double level = 0.2, burst = 0;
  for (double age = HOUR; age >= 0; age -= interval) {
    const double wave = 0.15 * std::sin(age / 211 + seed) + 0.1 * std::sin(age / 47);
    if (share(random) < (1 - walk.calm) / 12) burst = 0.4 + 0.5 * share(random);
    burst *= std::pow(0.9, interval);
    level += 0.3 * (0.2 + wave + 0.3 * (share(random) - 0.5) - level);
    double value = walk.low + (walk.high - walk.low) * std::min(1.0, std::max(0.0, level + burst));
    if (walk.high < 1000 && walk.low > 200) value = std::round(value);
    history.add(value, now - std::chrono::duration_cast<Moment::duration>(std::chrono::duration<double>(age)));
  }
}

struct Invented {
  pid_t pid, parent;
  const char *user, *name, *path;
  double processor;
  std::uint64_t memory;
  int threads;
};

constexpr Invented PROCESSES[] = {
    {1, 0, "root", "systemd", "/usr/lib/systemd/systemd", 0.1, 13 * MIB, 1},
    {2, 0, "root", "kthreadd", "", 0, 0, 1},
    {412, 1, "root", "systemd-journald", "/usr/lib/systemd/systemd-journald", 0.3, 62 * MIB, 1},
    {437, 1, "root", "systemd-udevd", "/usr/bin/udevadm", 0, 7 * MIB, 1},
    {690, 1, "messagebus", "dbus-daemon", "/usr/bin/dbus-daemon", 0.4, 6 * MIB, 1},
    {702, 1, "root", "NetworkManager", "/usr/sbin/NetworkManager", 0.1, 21 * MIB, 3},
    {711, 1, "polkitd", "polkitd", "/usr/lib/polkit-1/polkitd", 0, 9 * MIB, 4},
    {1204, 1, "ada", "systemd", "/usr/lib/systemd/systemd", 0, 11 * MIB, 1},
    {1290, 1204, "ada", "gnome-shell", "/usr/bin/gnome-shell", 11.3, 412 * MIB, 14},
    {1377, 1204, "ada", "pipewire", "/usr/bin/pipewire", 2.2, 24 * MIB, 3},
    {1391, 1204, "ada", "wireplumber", "/usr/bin/wireplumber", 0.2, 19 * MIB, 5},
    {2210, 1290, "ada", "firefox", "/usr/lib/firefox/firefox", 23.7, 1'310 * MIB, 96},
    {2288, 2210, "ada", "Web Content", "/usr/lib/firefox/firefox", 17.2, 540 * MIB, 31},
    {2301, 2210, "ada", "Web Content", "/usr/lib/firefox/firefox", 1.4, 288 * MIB, 28},
    {2319, 2210, "ada", "Socket Process", "/usr/lib/firefox/firefox", 0.6, 71 * MIB, 6},
    {2650, 1290, "ada", "gnome-terminal-", "/usr/libexec/gnome-terminal-server", 1.1, 58 * MIB, 5},
    {2661, 2650, "ada", "bash", "/usr/bin/bash", 0, 5 * MIB, 1},
    {2702, 2661, "ada", "ninja", "/usr/bin/ninja", 0.4, 17 * MIB, 1},
    {2711, 2702, "ada", "cc1plus", "/usr/lib/gcc/x86_64-linux-gnu/12/cc1plus", 98.8, 611 * MIB, 1},
    {2712, 2702, "ada", "cc1plus", "/usr/lib/gcc/x86_64-linux-gnu/12/cc1plus", 97.1, 540 * MIB, 1},
    {2890, 1290, "ada", "atlas", "/usr/bin/atlas", 6.5, 143 * MIB, 9},
    {2903, 2890, "ada", "atlas-tiles", "/usr/lib/atlas/atlas-tiles", 3.8, 87 * MIB, 4},
    {2904, 2890, "ada", "atlas-index", "/usr/lib/atlas/atlas-index", 0, 35 * MIB, 2},
    {3011, 1290, "ada", "evolution", "/usr/bin/evolution", 0.7, 203 * MIB, 22},
};

// Work of a thread, again and again.
struct Work {
  ActivitySpan::Kind kind;
  std::uint32_t thread;
  double interval, length;  // milliseconds
  const char *name, *item;
};

constexpr Work WORKS[] = {
    {ActivitySpan::Kind::REPEATER, 1, 100, 0.4, "compass", ""},
    {ActivitySpan::Kind::REPEATER, 1, 500, 9, "position", ""},
    {ActivitySpan::Kind::REPEATER, 1, 5002, 29, "tile cache", ""},
    {ActivitySpan::Kind::REPEATER, 1, 3300, 412, "autosave", ""},
    {ActivitySpan::Kind::MAIN_ITEM, 1, 230, 3, "atlas::MapView::show(atlas::Tile)", ""},
    {ActivitySpan::Kind::QUEUE_ITEM, 2, 61, 44, "tiles", "atlas::Loader::decode(atlas::Tile)"},
    {ActivitySpan::Kind::QUEUE_ITEM, 3, 97, 38, "tiles", "atlas::Loader::fetch(atlas::Tile)"},
    {ActivitySpan::Kind::QUEUE_ITEM, 4, 740, 520, "index", "atlas::Index::add(atlas::Place)"},
    {ActivitySpan::Kind::TIMER, 5, 20, 0.2, "sensor", ""},
};

Recording invented(double seconds) {
  using Kind = ActivitySpan::Kind;
  std::mt19937 random(7);
  std::uniform_real_distribution<double> share;
  Recording recording;
  recording.lost = 312;
  const std::int64_t begin = Timeval().nsec() - static_cast<std::int64_t>(seconds * 1e9);
  const auto at = [begin](double ms) { return begin + static_cast<std::int64_t>(ms * 1e6); };
  const auto add = [&](Kind kind, std::uint32_t thread, double start, double end, double waited, const Work* work) {
    recording.spans.push_back({kind, thread, at(start), end == 0 ? 0 : at(end), static_cast<std::int64_t>(waited * 1e6),
                               work ? work->name : "", work ? work->item : ""});
  };
  double mainIsFree = 0;
  std::multimap<double, const Work*> due;
  for (const Work& work : WORKS)
    for (double time = share(random) * work.interval; time < seconds * 1000; time += work.interval)
      due.emplace(time, &work);
  for (const auto& [time, work] : due) {
    const double length = work->length * (0.4 + 1.2 * share(random));
    if (work->thread != 1) {
      add(work->kind, work->thread, time, std::min(time + length, time + work->interval * 0.95), 0, work);
      continue;
    }
    const double start = std::max(time, mainIsFree);
    mainIsFree = start + length + 0.3;
    add(Kind::MAIN_LOOP, 1, start, mainIsFree, 0, nullptr);
    if (work->kind == Kind::REPEATER) {
      recording.spans.push_back({Kind::MAIN_ITEM, 1, at(start + 0.05), at(mainIsFree - 0.05),
                                 static_cast<std::int64_t>((start - time) * 1e6), "corvane::Schedule::Pass", ""});
      add(work->kind, 1, start + 0.1, start + 0.1 + length, 0, work);
    } else {
      add(work->kind, 1, start + 0.05, mainIsFree - 0.05, start - time, work);
    }
  }
  const Work loader{Kind::QUEUE_ITEM, 6, 0, 0, "export", "atlas::Export::write(atlas::Map)"};
  add(Kind::QUEUE_ITEM, 6, seconds * 730, 0, 0, &loader);
  return recording;
}

}  // namespace

InventedSource::InventedSource(const std::string& folder)
    : m_log(folder + "/Atlas.log"), m_started(Timeval() - Timeval::sec(3 * 3600 + 1467)) {
  m_readings.memory = Memory{0, 16 * GIB};
  for (std::size_t i = 0; i < GAUGES; ++i)
    fill(m_histories[i], WALKS[i], i == 0 ? 0.5 : i < 6 ? 1 : 2, static_cast<unsigned>(i + 1));
  const auto last = [this](Gauge gauge) { return history(gauge).readings().back().value; };
  m_readings.processor = last(Gauge::PROCESSOR);
  m_readings.memory->used = static_cast<std::uint64_t>(last(Gauge::MEMORY));
  m_readings.disk = Throughput{last(Gauge::DISK_READ), last(Gauge::DISK_WRITE)};
  m_readings.network = Throughput{last(Gauge::NETWORK_IN), last(Gauge::NETWORK_OUT)};
  m_readings.processes = static_cast<std::int64_t>(last(Gauge::PROCESSES));
  m_readings.temperatures = {{"Package id 0", last(Gauge::TEMPERATURE)}, {"Composite", 41.9}};
  std::string text;
  for (int i = 0; i < 24; ++i) {
    const std::string minute = std::to_string(10 + i);
    text += "2026-03-02 14:" + minute + ":07.318204 [2890] ";
    text += i % 7 == 3 ? "Cannot open file: /home/ada/Maps/coast.tiles\n"
                       : "heartbeat: running for 2:4" + std::to_string(i % 10) + ":07, " + std::to_string(291 + i) +
                             " processes\n";
  }
  (void)writeText(m_log, text);
}

LogFigures InventedSource::log() const {
  return {m_log, 1748, 3, 24};
}

std::shared_ptr<void> InventedSource::followQueues(QueueTaker taker) {
  const std::int64_t now = Timeval().nsec();
  const std::int64_t began = 1'772'461'387'000'000'000;
  taker(QueueStates{{"main", 3, "corvane::Schedule::Pass", now - 2'100'000},
                    {"atlas::MapView::show(atlas::Tile)", began, 406'200'000},
                    {"autosave", began, 412'700'000},
                    {{"tiles", 46, "atlas::Loader::decode(atlas::Tile)", now - 31'000'000},
                     {"index", 0, "atlas::Index::add(atlas::Place)", now - 308'000'000},
                     {"export", 1, "atlas::Export::write(atlas::Map)", now - 2'740'000'000},
                     {"broadcaster", 0, "", 0}},
                    {{"sensor", 20'000, 0}, {"backup", 60'000'000, now - 12'400'000'000}}});
  return std::make_shared<int>();
}

std::shared_ptr<void> InventedSource::takeRecording(double seconds, RecordingTaker taker) {
  taker(invented(seconds));
  return std::make_shared<int>();
}

std::vector<broadcaster_stats> InventedSource::listeners() const {
  return {{"document opened", "atlas::RecentFiles", 14, 3'912}, {"document opened", "atlas::Window", 14, 48'207},
          {"heartbeat", "atlas::HeartbeatLog", 1'084, 90'115},  {"position", "atlas::Compass", 21'690, 411'300},
          {"position", "atlas::MapView", 21'690, 9'873'004},    {"settings changed", "atlas::Toolbar", 3, 220}};
}

std::vector<RepeaterRow> InventedSource::rows() const {
  return {{"autosave", 354, 14.6, 30.001, 41'250, false}, {"compass", 106'700, 3.734, 0.1, 35, false},
          {"position", 21'690, 31.5, 0.5, 1'452, false},  {"tile cache", 2'134, 6.124, 5.002, 2'870, false},
          {"traffic", 711, 10.21, 15.004, 14'362, true},  {"window titles", 10'667, 0.075, 1, 7, false}};
}

std::shared_ptr<void> InventedSource::followProcesses(bool figures, ProcessTaker taker) {
  std::vector<ProcessRow> rows;
  for (const Invented& process : PROCESSES) {
    ProcessRow& row = rows.emplace_back();
    row.pid = process.pid;
    row.parent = process.parent;
    row.uid = row.user == "root" ? 0 : 1000;
    row.user = process.user;
    row.state = process.processor > 50 ? 'R' : 'S';
    row.kind = *process.path ? ProcessKind::NATIVE : ProcessKind::KERNEL;
    row.name = process.name;
    row.path = process.path;
    row.processor = process.processor;
    row.processorUsec = static_cast<std::int64_t>(process.processor * 7.3e6);
    row.memory = process.memory;
    row.threads = process.threads;
    row.started = 1'772'458'000'000'000 + process.pid * 1'317'000;
    if (*process.path) row.arguments = {process.path};
    if (figures) row.figures = ProcessFigures{process.memory / 2, process.memory / 3, process.memory / 9};
  }
  taker(std::move(rows));
  return std::make_shared<int>();
}

std::shared_ptr<void> InventedSource::followProcess(pid_t pid, ProcessTaker taker) {
  return followProcesses(false, [&](Result<std::vector<ProcessRow>> rows) {
    std::erase_if(*rows, [pid](const ProcessRow& row) { return row.pid != pid; });
    for (ProcessRow& row : *rows) row.files = 43;
    taker(std::move(rows));
  });
}

std::shared_ptr<void> InventedSource::followAssertions(AssertionTaker taker) {
  taker(std::vector<AssertionRecord>{{2210, "firefox", "Video is playing", "PreventUserIdleDisplaySleep"},
                                     {2661, "bash", "Build of the release", "PreventUserIdleSystemSleep"},
                                     {702, "NetworkManager", "Connections are closed first", "delay:sleep"}});
  return std::make_shared<int>();
}

std::shared_ptr<void> InventedSource::followDisks(DiskTaker taker) {
  taker(std::vector<DiskRow>{{"nvme0n1", "", 0, 512 * GIB, "GUID_partition_scheme", "", "", true, false},
                             {"nvme0n1p1",
                              "nvme0n1",
                              1,
                              512 * MIB,
                              "C12A7328-F81F-11D2-BA4B-00A0C93EC93B",
                              "vfat",
                              "EFI",
                              true,
                              false,
                              {"/boot/efi"}},
                             {"nvme0n1p2",
                              "nvme0n1",
                              1,
                              511 * GIB,
                              "0FC63DAF-8483-4772-8E79-3D69D8477DE4",
                              "ext4",
                              "heron",
                              true,
                              false,
                              {"/"}},
                             {"sda", "", 0, 64 * GIB, "GUID_partition_scheme", "", "", true, true},
                             {"sda1",
                              "sda",
                              1,
                              64 * GIB,
                              "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7",
                              "vfat",
                              "HOLIDAY",
                              true,
                              true,
                              {"/media/ada/HOLIDAY"}}});
  return std::make_shared<int>();
}

}  // namespace corvane::inspector
