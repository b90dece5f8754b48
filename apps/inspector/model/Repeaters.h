#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "apps/inspector/model/Source.h"
#include "corvane/core/Repeater.h"

namespace corvane::inspector {

/// The repeaters of this program on the shared master timer. On the main queue only.
class Repeaters : public RepeaterSource {
 public:
  Repeaters() = default;
  ~Repeaters() override;
  Repeaters(const Repeaters&) = delete;
  Repeaters& operator=(const Repeaters&) = delete;

  /// Starts a repeater. Names are unique.
  void start(std::string name, double interval, std::function<void()> work);

  std::vector<RepeaterRow> rows() const override;
  bool allowsControl() const override { return true; }
  void togglePause(std::string_view name) override;
  void resetStats() override;
  int timeConstant() const override { return m_timeConstant; }
  void setTimeConstant(int seconds) override;

 private:
  struct Entry {
    std::shared_ptr<Repeater> repeater;
    double interval = 0;
    std::function<void()> work;
    RepeaterRow last;  // while paused
  };

  std::vector<Entry> m_entries;
  int m_timeConstant = 10;
};

}  // namespace corvane::inspector
