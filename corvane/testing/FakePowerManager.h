#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/PowerManager.h"

namespace corvane {

/// A power manager that does what a test says and remembers what it was asked. From one thread at a time.
class CORVANE_API FakePowerManager : public PowerManager {
 public:
  /// What create() was given, or beginActivity().
  struct Request {
    std::string type;           ///< of an assertion
    std::uint64_t options = 0;  ///< of an activity
    std::string reason;         ///< as the caller gave it

    bool operator==(const Request&) const = default;
  };

  std::map<std::uint32_t, Request> held;        ///< the assertions in force, by id; the first id is 1
  std::map<std::uint64_t, Request> activities;  ///< those in force, by token; the first token is 1
  std::vector<std::uint32_t> released;          ///< every id that release() was given
  std::optional<Error> refusal;                 ///< if set, create() fails with it
  std::optional<Error> failure;                 ///< if set, assertions() fails with it
  std::vector<AssertionRecord> records;         ///< what assertions() returns, besides nothing of `held`

  Result<std::uint32_t> create(const std::string& type, const std::string& reason) override;
  void release(std::uint32_t id) override;
  Result<std::vector<AssertionRecord>> assertions() override;
  std::uint64_t beginActivity(std::uint64_t options, const std::string& reason) override;
  void endActivity(std::uint64_t token) override;

 private:
  std::uint32_t m_lastId = 0;
  std::uint64_t m_lastToken = 0;
};

}  // namespace corvane
