// page-watch: looks at a web page now and then, and tells when it has changed.

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/Repeater.h"
#include "corvane/infra/HTTP.h"
#include "corvane/infra/Logger.h"
#include "corvane/infra/settings/DefaultSettings.h"

namespace {

constexpr const char* USAGE =
    "Usage: page-watch [URL]\n"
    "Looks at a page every \"interval\" seconds, until Ctrl+C. Without a URL: at the page of last time.\n";

struct Answer {
  std::optional<std::string> page;
  std::string problem;
  bool operator==(const Answer&) const = default;
};

Answer fetch(const std::string& url) {
  std::int64_t status = 0;
  std::string error = "not a URL";
  Answer answer{corvane::geturl(url, 10'000, status, error), {}};  // within ten seconds
  if (!answer.page && status != 0)
    answer.problem = "status " + std::to_string(status);
  else if (!answer.page)
    answer.problem = error.empty() ? "no answer in time" : error;
  return answer;
}

void tell(const std::string& message) {
  std::puts(message.c_str());
  std::fflush(stdout);
  corvane::Logger::instance()->log(message);
}

// Everything here runs on the main queue, except for the requests, which take their time.
class PageWatch : public std::enable_shared_from_this<PageWatch> {
 public:
  explicit PageWatch(std::string url) : m_url(std::move(url)) {}
  ~PageWatch() { m_repeater->stop(); }

  void start() {
    m_repeater->start(corvane::Defaults.loadDouble("interval", 60), [this] { look(); });
  }

 private:
  void look() {
    m_repeater->setInterval(corvane::Defaults.loadDouble("interval", 60));  // it may have been changed
    if (m_isAsking) return;
    m_isAsking = true;
    m_hint = corvane::main_after(2, [] { tell("the server takes its time"); });
    // A request may outlive this object, which it therefore holds weakly.
    m_requests.async([weak = weak_from_this(), url = m_url] {
      corvane::main_async([weak, answer = fetch(url)] {
        if (const auto self = weak.lock()) self->take(answer);
      });
    });
  }

  void take(const Answer& answer) {
    m_isAsking = false;
    m_hint.cancel();
    if (answer == m_last) return;
    m_last = answer;
    if (answer.page)
      tell("a new page of " + std::to_string(answer.page->size()) + " bytes");
    else
      tell("no page: " + answer.problem);
  }

  const std::string m_url;
  Answer m_last;
  bool m_isAsking = false;
  corvane::Delayed m_hint;
  corvane::DispatchQueueSerial m_requests{"requests", corvane::QoS::UTILITY};
  const std::shared_ptr<corvane::Repeater> m_repeater = std::make_shared<corvane::Repeater>("look at the page");
};

}  // namespace

int main(int count, char** arguments) {
  std::string url = count > 1 ? arguments[1] : corvane::Defaults.loadString("url", "");
  if (url == "--help") return std::fputs(USAGE, stdout) < 0;
  if (url.empty() || count > 2) return std::fputs(USAGE, stderr), 2;
  corvane::Defaults.saveString("url", url);

  corvane::MasterTimer::instance()->start();
  const auto watch = std::make_shared<PageWatch>(url);
  watch->start();
  corvane::MainLoop::quitOnSignals();
  corvane::MainLoop::run();
  corvane::Logger::instance()->close();
}
