#include "corvane/core/Repeater.h"

#include <atomic>
#include <utility>

#include "corvane/core/Log.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/Schedule.h"
#include "corvane/core/fatal.h"

namespace corvane {

namespace {

void checkInterval(const std::string& ident, double interval) {
  if (interval <= 0) logNotice("Repeater " + ident + ": the interval is not positive; it runs every millisecond");
}

// Reports, once, that a main loop runs while repeaters wait for a timer that was never started.
void checkTimer(const std::shared_ptr<MasterTimer>& timer) {
  static std::atomic<bool> checked = false;
  if (!timer->schedule().isForgotten() || checked.exchange(true)) return;
  main_post([weak = std::weak_ptr(timer)] {
    const auto waiting = weak.lock();
    if (waiting && waiting->schedule().isForgotten())
      logNotice("MasterTimer: repeaters are waiting, but start() was not called");
  });
}

}  // namespace

Repeater::Repeater() {
  fatal("Use of unimplemented initializer 'init()' for class 'Corvane.Repeater'");
}

Repeater::Repeater(std::string ident) : m_entry(std::make_unique<ScheduleEntry>(std::move(ident))) {}

Repeater::~Repeater() = default;

void Repeater::start(double interval, std::function<void()> closure_funct) {
  auto self = entry();
  checkInterval(ident(), interval);
  const auto timer = MasterTimer::instance();
  timer->schedule().start(std::move(self), interval, std::move(closure_funct));
  checkTimer(timer);
}

void Repeater::stop() {
  Schedule::stop(*m_entry);
}

double Repeater::interval() const {
  MutexLock lock(Schedule::s_mutex);
  return m_entry->interval;
}

void Repeater::setInterval(double interval) {
  checkInterval(ident(), interval);
  MutexLock lock(Schedule::s_mutex);
  m_entry->interval = interval;
}

bool Repeater::running() const {
  MutexLock lock(Schedule::s_mutex);
  return m_entry->running;
}

double Repeater::timeConstant() const {
  MutexLock lock(Schedule::s_mutex);
  return m_entry->time_constant;
}

const std::string& Repeater::ident() const {
  return m_entry->name;
}

// The entry is part of the repeater, so a reference to it keeps the repeater alive.
std::shared_ptr<ScheduleEntry> Repeater::entry() {
  auto self = weak_from_this().lock();
  if (!self) fatal("Repeater::start: the repeater is not held by a std::shared_ptr");
  return {std::move(self), m_entry.get()};
}

}  // namespace corvane
