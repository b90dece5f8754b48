#include "corvane/testing/FakeAlerts.h"

namespace corvane {

Result<AlertAnswer> FakeAlerts::ask(const AlertQuestion& question) {
  asked.push_back(question);
  if (error) return tl::unexpected<Error>(*error);
  return answer;
}

}  // namespace corvane
