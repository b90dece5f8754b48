#include "corvane/testing/FakeDiskService.h"

#include <utility>

namespace corvane {

class FakeDiskService::Session : public DiskSession {
 public:
  Session(FakeDiskService& service, SerialQueue& queue) : m_service(service), m_queue(queue) {}

  Result<std::string> disk(const std::string& device) override {
    if (!m_service.devices.contains(device)) return failure("fake", 1, "There is no device " + device);
    return device;
  }

  Result<void> mount(const std::string& disk, std::uint32_t options, Answer answer) override {
    return begin({"mount", disk, options}, std::move(answer));
  }

  Result<void> unmount(const std::string& disk, std::uint32_t options, Answer answer) override {
    return begin({"unmount", disk, options}, std::move(answer));
  }

 private:
  Result<void> begin(Call call, Answer answer) {
    if (m_service.refusal) return tl::unexpected(*m_service.refusal);
    if (m_queue.async([&service = m_service, call = std::move(call), answer = std::move(answer)] {
          if (service.beforeAnswer) service.beforeAnswer();
          MutexLock lock(service.m_mutex);
          service.m_calls.push_back(call);
          if (!service.dissent && call.name == "mount") service.m_mounted.insert(call.device);
          if (!service.dissent && call.name == "unmount") service.m_mounted.erase(call.device);
          lock.unlock();
          answer(service.dissent);
        }))
      return {};
    return failure("fake", 2, "The system refuses a thread");
  }

  FakeDiskService& m_service;
  SerialQueue& m_queue;
};

std::vector<FakeDiskService::Call> FakeDiskService::calls() const {
  MutexLock lock(m_mutex);
  return m_calls;
}

Result<std::unique_ptr<DiskSession>> FakeDiskService::open(SerialQueue& queue) {
  if (error) return tl::unexpected(*error);
  return std::make_unique<Session>(*this, queue);
}

std::map<std::string, std::vector<std::string>> FakeDiskService::mountPoints() {
  std::map<std::string, std::vector<std::string>> found;
  MutexLock lock(m_mutex);
  for (const std::string& device : m_mounted) found[device] = {"/media/" + device};
  return found;
}

}  // namespace corvane
