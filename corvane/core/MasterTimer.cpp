#include "corvane/core/MasterTimer.h"

#include <string>
#include <utility>

#include "corvane/core/Log.h"
#include "corvane/core/Schedule.h"
#include "corvane/core/SharedInstance.h"
#include "corvane/core/fatal.h"

namespace corvane {

std::shared_ptr<MasterTimer> MasterTimer::instance() {
  return SharedInstance<MasterTimer>::get();
}

void MasterTimer::setInstance(std::shared_ptr<MasterTimer> timer) {
  SharedInstance<MasterTimer>::set(std::move(timer));
}

MasterTimer::MasterTimer() : m_schedule(std::make_shared<Schedule>()) {}

MasterTimer::~MasterTimer() {
  stop();
}

void MasterTimer::start() {
  const auto self = weak_from_this().lock();
  if (!self) fatal("MasterTimer::start: the timer is not held by a std::shared_ptr");
  MutexLock lock(m_mutex);
  if (!m_sleepnotify) {
    m_sleepnotify = std::make_unique<SleepNotify>([weak = weak_from_this()](const Notification& notification) {
      if (const auto timer = weak.lock()) timer->sleepListener(notification);
    });
  }
  const std::uint64_t generation = m_schedule->open();
  if (generation == 0) return;
  m_thread.start(self, [generation](const std::any& context) {
    if (const auto* timer = std::any_cast<std::shared_ptr<MasterTimer>>(&context))
      (*timer)->m_schedule->serve(generation);
  });
}

void MasterTimer::stop() {
  std::vector<Schedule::EntryPtr> dropped;
  std::unique_ptr<SleepNotify> notify;
  MutexLock lock(m_mutex);
  notify = std::move(m_sleepnotify);
  if (notify) notify->deregister();
  dropped = m_schedule->close();
  m_thread.stop();
}

std::vector<Repeater::repeater_stats> MasterTimer::repeaterStats() const {
  return m_schedule->stats();
}

std::vector<RepeaterState> MasterTimer::repeaterStates() const {
  return m_schedule->states();
}

bool MasterTimer::setPaused(std::uint64_t id, bool paused) {
  return m_schedule->setPaused(id, paused);
}

void MasterTimer::add(const std::shared_ptr<Repeater>& repeater) {
  m_schedule->add(repeater->entry());
}

void MasterTimer::setTimeConstant(double seconds) {
  m_schedule->setTimeConstant(seconds);
}

void MasterTimer::resetStats() {
  m_schedule->resetStats();
}

// These lines are notices: a program without a log must not end because its screen was blanked.
void MasterTimer::sleepListener(const Notification& notification) {
  if (notification.name == WILL_SLEEP) {
    m_schedule->suspend();
    logNotice("MasterTimer: Going to sleep");
  } else if (notification.name == SCREENS_DID_SLEEP) {
    logNotice("MasterTimer: Screens going to sleep");
  } else if (notification.name == DID_WAKE || notification.name == SCREENS_DID_WAKE) {
    const std::string who = notification.name == DID_WAKE ? "MasterTimer: Woke up" : "MasterTimer: Screens woke up";
    logNotice(who + " - restart repeaters");
    m_schedule->resume();
    logNotice(who + " - reset stats");
    m_schedule->resetStats();
  }
}

}  // namespace corvane
