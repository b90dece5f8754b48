#include "corvane/platform/HttpSession.h"

#include <curl/curl.h>
#include <errno.h>
#include <openssl/crypto.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <strings.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cstring>
#include <new>
#include <optional>
#include <unordered_map>

#include "corvane/core/Mutex.h"
#include "corvane/core/PerProcess.h"
#include "corvane/core/fatal.h"

namespace corvane {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::chrono::seconds IDLE{5};     // how long the thread and connections are kept without requests
constexpr milliseconds TIMEOUT_SLACK{100};  // so that a caller with the same limit as the request reaches its own first
constexpr time_t EXIT_SECONDS = 1;          // how long the end of the process waits for the thread
constexpr long MAX_REDIRECTS = 20;
constexpr std::size_t MAX_HEADER_BYTES = 300 << 10;
constexpr int MAX_COOKIES = 3000;

// libcurl's handles are untyped pointers.
template <auto RELEASE>
struct Release {
  void operator()(auto* handle) const { RELEASE(handle); }
};
using EasyHandle = std::unique_ptr<CURL, Release<curl_easy_cleanup>>;
using ShareHandle = std::unique_ptr<CURLSH, Release<curl_share_cleanup>>;
using List = std::unique_ptr<curl_slist, Release<curl_slist_free_all>>;

bool startsWithScheme(const std::string& url, std::string_view scheme) {
  return url.size() > scheme.size() && strncasecmp(url.data(), scheme.data(), scheme.size()) == 0;
}

// Whether a header is valid (RFC 9110, 5.5 and 5.6.2); an invalid one could forge further headers.
bool canBeSent(const std::string& name, const std::string& value) {
  static constexpr std::string_view MARKS = "!#$%&'*+-.^_`|~";
  const auto isTokenCharacter = [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || MARKS.find(c) != MARKS.npos;
  };
  const auto isControl = [](char c) { return (c >= '\0' && c < ' ' && c != '\t') || c == '\x7f'; };
  return !name.empty() && std::ranges::all_of(name, isTokenCharacter) && std::ranges::none_of(value, isControl);
}

// One request. Once started, it belongs to the session's thread, except for cancelling.
struct Transfer {
  HttpRequest request;
  HttpSession::Completion completion;
  HttpReply reply;
  EasyHandle handle;
  List headers;
  std::array<char, CURL_ERROR_SIZE> error{};
  Clock::time_point lastActivity;
  curl_off_t uploaded = 0;
  std::size_t headerBytes = 0;
  int cookies = 0;  // headers that set one

  // When the request will have been silent for too long; the end of time if it has no limit.
  Clock::time_point deadline() const {
    constexpr double LONGEST = 1e9;  // more is practically no limit, and would overflow
    if (!(request.timeout > 0) || request.timeout > LONGEST) return Clock::time_point::max();
    return lastActivity + TIMEOUT_SLACK +
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(request.timeout));
  }
};

using TransferPtr = std::shared_ptr<Transfer>;

std::size_t receiveBody(char* data, std::size_t, std::size_t size, void* handle) {
  auto& transfer = *static_cast<Transfer*>(handle);
  transfer.lastActivity = Clock::now();
  try {
    transfer.reply.body.insert(transfer.reply.body.end(), data, data + size);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return size;
}

std::size_t receiveHeader(char* data, std::size_t, std::size_t size, void* handle) {
  auto& transfer = *static_cast<Transfer*>(handle);
  transfer.lastActivity = Clock::now();
  transfer.headerBytes += size;
  if (startsWithScheme(std::string(data, std::min<std::size_t>(size, 16)), "set-cookie:")) ++transfer.cookies;
  return transfer.headerBytes > MAX_HEADER_BYTES ? 0 : size;
}

// Programs started by the application must not inherit its connections.
curl_socket_t openSocket(void*, curlsocktype, curl_sockaddr* address) {
  return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

List headerList(const HttpRequest& request) {
  List list;
  const auto append = [&list](const std::string& line) {
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (!longer) throw std::bad_alloc();
    list.release();
    list.reset(longer);
  };
  append("Expect:");  // sends the body with the request, without asking first
  for (const auto& [name, value] : request.headers) {
    // The transport decides how the body is framed.
    if (strcasecmp(name.c_str(), "Content-Length") == 0 || strcasecmp(name.c_str(), "Transfer-Encoding") == 0) continue;
    append(value.find_first_not_of(" \t") == value.npos ? name + ";" : name + ": " + value);
  }
  return list;
}

template <class Value>
void set(const EasyHandle& handle, CURLoption option, Value value) {
  curl_easy_setopt(handle.get(), option, value);
}

// A handle with the options that all requests share.
EasyHandle makeHandle(CURLSH* share) {
  EasyHandle handle(curl_easy_init());
  if (!handle) return nullptr;
  set(handle, CURLOPT_PROTOCOLS_STR, "http,https");  // including after redirects
  set(handle, CURLOPT_FOLLOWLOCATION, 1L);
  set(handle, CURLOPT_MAXREDIRS, MAX_REDIRECTS);
  set(handle, CURLOPT_ACCEPT_ENCODING, "");  // all encodings that libcurl can decode
  set(handle, CURLOPT_SHARE, share);
  set(handle, CURLOPT_COOKIEFILE, "");  // cookies, but no file
  set(handle, CURLOPT_NOSIGNAL, 1L);    // the session's threads block all signals anyway
  set(handle, CURLOPT_QUICK_EXIT, 1L);  // do not wait for a resolver that hangs: its thread cleans up by itself
  set(handle, CURLOPT_MAXAGE_CONN, long{IDLE.count()});
  set(handle, CURLOPT_OPENSOCKETFUNCTION, openSocket);
  set(handle, CURLOPT_WRITEFUNCTION, receiveBody);
  set(handle, CURLOPT_HEADERFUNCTION, receiveHeader);
  return handle;
}

// Where the certificates of trusted authorities are: as given by the environment, otherwise the system's.
struct Authorities {
  const char* file;
  const char* folder;
};

Authorities authorities() {
  const auto named = [](const char* variable) {
    const char* value = secure_getenv(variable);
    return value && *value ? value : nullptr;
  };
  const Authorities chosen{named("SSL_CERT_FILE"), named("SSL_CERT_DIR")};
  if (chosen.file || chosen.folder) return chosen;
  static const curl_version_info_data& library = *curl_version_info(CURLVERSION_NOW);
  return {library.cainfo, library.capath};
}

void prepare(Transfer& transfer) {
  const EasyHandle& handle = transfer.handle;
  const HttpRequest& request = transfer.request;
  set(handle, CURLOPT_URL, request.url.c_str());
  set(handle, CURLOPT_WRITEDATA, &transfer);
  set(handle, CURLOPT_HEADERDATA, &transfer);
  set(handle, CURLOPT_ERRORBUFFER, transfer.error.data());
  transfer.headers = headerList(request);
  set(handle, CURLOPT_HTTPHEADER, transfer.headers.get());
  if (request.method == HttpRequest::Method::POST) {
    set(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    set(handle, CURLOPT_POSTFIELDS, request.body.empty() ? "" : reinterpret_cast<const char*>(request.body.data()));
  } else {
    set(handle, CURLOPT_HTTPGET, 1L);
  }
  const auto [file, folder] = authorities();
  set(handle, CURLOPT_CAINFO, file);
  set(handle, CURLOPT_CAPATH, folder);
}

// Whether a line of the answer's head is longer than libcurl allows. Before version 8.6 it reports this as a lack of
// memory, from then on as CURLE_TOO_LARGE.
bool isHeaderTooLong(const Transfer& transfer, CURLcode code) {
  constexpr int TOO_LARGE = 100;
  curl_off_t firstByte = 0;
  curl_easy_getinfo(transfer.handle.get(), CURLINFO_STARTTRANSFER_TIME_T, &firstByte);
  return (code == CURLE_OUT_OF_MEMORY || code == TOO_LARGE) && firstByte > 0 && transfer.reply.body.empty();
}

std::string missingCertificates() {
  const auto [file, folder] = authorities();
  return std::string("No certificates of trusted authorities can be read from ") +
         (file     ? file
          : folder ? folder
                   : "the system") +
         ", so the server's certificate cannot be checked";
}

Result<HttpReply> resultOf(Transfer& transfer, CURLcode code) {
  const auto failed = [code](std::string text) { return failure("curl", code, std::move(text)); };
  if (code == CURLE_OPERATION_TIMEDOUT) return failed("The request timed out");
  HTTPResponse& response = transfer.reply.response;
  CURL* handle = transfer.handle.get();
  long status = 0;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
  if (code == CURLE_UNSUPPORTED_PROTOCOL && status / 100 == 3) return failed("unsupported URL");
  if (code == CURLE_WRITE_ERROR && transfer.headerBytes > MAX_HEADER_BYTES)
    return failed("The server sends too many headers");
  if (isHeaderTooLong(transfer, code)) return failed("The server sends a header that is too long");
  if (code == CURLE_SSL_CACERT_BADFILE) return failed(missingCertificates());
  if (code != CURLE_OK) return failed(transfer.error[0] ? transfer.error.data() : curl_easy_strerror(code));
  response.status = static_cast<int>(status);
  const char* url = nullptr;
  curl_easy_getinfo(handle, CURLINFO_EFFECTIVE_URL, &url);
  response.url = url ? url : "";
  constexpr int LAST_EXCHANGE = -1;
  for (curl_header* header = nullptr; (header = curl_easy_nextheader(handle, CURLH_HEADER, LAST_EXCHANGE, header));)
    response.headers.emplace_back(header->name, header->value);
  return std::move(transfer.reply);
}

// Wakes the session's thread. Shared, so that it can be used without the lock that the woken thread needs first; and
// cheaper than curl_multi_wakeup().
class Alarm {
 public:
  ~Alarm() {
    if (m_descriptor >= 0) close(m_descriptor);
  }
  Alarm() = default;
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;

  bool works() const { return m_descriptor >= 0; }
  void ring() const { eventfd_write(m_descriptor, 1); }

  // Waits until the multi handle's transfers have something to do or the time is over.
  void wait(CURLM* multi, milliseconds limit) const {
    curl_waitfd descriptor{m_descriptor, CURL_WAIT_POLLIN, 0};
    curl_multi_poll(multi, &descriptor, 1, static_cast<int>(std::clamp<std::int64_t>(limit.count(), 0, INT_MAX)),
                    nullptr);
    eventfd_t rings = 0;
    if (descriptor.revents != 0) eventfd_read(m_descriptor, &rings);
  }

 private:
  const int m_descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

// The one session of a process: a list of the requests to start or cancel, and the thread that does so. The multi
// handle exists while the thread does, and only the thread uses it.
class Session {
 public:
  Result<void> start(TransferPtr transfer) {
    MutexLock lock(m_mutex);
    if (m_ending) return failure("curl", 0, "cancelled");
    if (!m_multi)
      if (auto begun = begin(); !begun) return begun;
    m_started.push_back(std::move(transfer));
    const auto alarm = m_alarm;
    lock.unlock();
    alarm->ring();
    return {};
  }

  void cancel(TransferPtr transfer) {
    MutexLock lock(m_mutex);
    if (!m_multi) return;
    m_cancelled.push_back(std::move(transfer));
    m_alarm->ring();
  }

  // At the end of the process: the libraries below are about to be torn down. Waits for the thread itself and not only
  // for its work, because these libraries do work when a thread ends.
  void end() {
    MutexLock lock(m_mutex);
    m_ending = true;
    if (m_alarm) m_alarm->ring();
    const auto thread = std::exchange(m_thread, std::nullopt);
    lock.unlock();
    if (!thread) return;
    timespec limit{};
    clock_gettime(CLOCK_REALTIME, &limit);
    limit.tv_sec += EXIT_SECONDS;
    pthread_timedjoin_np(*thread, nullptr, &limit);
  }

 private:
  using Transfers = std::vector<TransferPtr>;

  Result<void> begin() CORVANE_REQUIRES(m_mutex) {
    if (!m_share) {
      m_share.reset(curl_share_init());
      if (m_share) curl_share_setopt(m_share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
    }
    m_alarm = std::make_shared<const Alarm>();
    if (!m_alarm->works()) return failure("posix", errno, std::string("No HTTP request: ") + std::strerror(errno));
    // The previous thread has left, and at most has yet to end.
    if (m_thread) pthread_join(*std::exchange(m_thread, std::nullopt), nullptr);
    m_multi = m_share ? curl_multi_init() : nullptr;
    if (!m_multi) return failure("curl", CURLE_OUT_OF_MEMORY, curl_easy_strerror(CURLE_OUT_OF_MEMORY));
    sigset_t all;
    sigfillset(&all);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    // Signals are for the application's threads; the resolver's threads inherit this mask.
    pthread_attr_setsigmask_np(&attributes, &all);
    const auto enter = [](void* session) -> void* {
      callOrFatal([session] { static_cast<Session*>(session)->run(); });
      return nullptr;
    };
    pthread_t thread{};
    const int code = pthread_create(&thread, &attributes, enter, this);
    pthread_attr_destroy(&attributes);
    if (code == 0) {
      m_thread = thread;
      return {};
    }
    tearDown();
    return failure("posix", code, std::string("No thread for HTTP requests: ") + std::strerror(code));
  }

  void run() {
    pthread_setname_np(pthread_self(), "corvane-http");
    MutexLock lock(m_mutex);
    CURLM* const multi = m_multi;
    const auto alarm = m_alarm;
    lock.unlock();
    auto idleSince = Clock::now();
    for (;;) {
      takeOrders(multi);
      int running = 0;
      curl_multi_perform(multi, &running);
      int left = 0;
      while (const CURLMsg* message = curl_multi_info_read(multi, &left))
        if (message->msg == CURLMSG_DONE) finish(multi, message->easy_handle, message->data.result);
      const auto now = Clock::now();
      if (!m_active.empty()) idleSince = now;
      const auto next = endSilentOnes(multi, now);
      const auto wake = m_active.empty() ? idleSince + IDLE : next;
      if (m_active.empty() && (now >= wake || m_isEnding) && leave()) return;
      alarm->wait(multi, std::chrono::ceil<milliseconds>(std::min<Clock::duration>(wake - now, std::chrono::hours(1))));
    }
  }

  // Starts and cancels requests as ordered.
  void takeOrders(CURLM* multi) {
    Transfers started;
    Transfers cancelled;
    {
      MutexLock lock(m_mutex);
      started.swap(m_started);
      cancelled.swap(m_cancelled);
      m_isEnding = m_ending;
    }
    for (TransferPtr& transfer : started) add(multi, std::move(transfer));
    for (const TransferPtr& transfer : cancelled)
      stop(multi, transfer->handle.get(), CURLE_ABORTED_BY_CALLBACK, "cancelled");
    while (m_isEnding && !m_active.empty())
      stop(multi, m_active.begin()->first, CURLE_ABORTED_BY_CALLBACK, "cancelled");
  }

  void add(CURLM* multi, TransferPtr transfer) {
    if (m_spare.empty()) m_spare.push_back(makeHandle(m_share.get()));
    transfer->handle = std::move(m_spare.back());
    m_spare.pop_back();
    transfer->lastActivity = Clock::now();
    CURL* handle = transfer->handle.get();
    if (handle) prepare(*transfer);
    if (!handle || curl_multi_add_handle(multi, handle) != CURLM_OK) {
      complete(std::move(transfer), failure("curl", CURLE_OUT_OF_MEMORY, curl_easy_strerror(CURLE_OUT_OF_MEMORY)));
      return;
    }
    m_active.emplace(handle, std::move(transfer));
  }

  // Removes a transfer; null if it is not (or no longer) active.
  TransferPtr remove(CURLM* multi, CURL* handle) {
    auto node = m_active.extract(handle);
    if (node.empty()) return nullptr;
    curl_multi_remove_handle(multi, handle);
    return std::move(node.mapped());
  }

  void finish(CURLM* multi, CURL* handle, CURLcode code) {
    if (TransferPtr transfer = remove(multi, handle)) {
      auto result = resultOf(*transfer, code);
      limitCookies(*transfer);
      if (code == CURLE_OK) keep(std::move(transfer->handle));
      complete(std::move(transfer), std::move(result));
    }
  }

  // Creating and setting up a handle costs more than a request on an open connection.
  void keep(EasyHandle handle) {
    constexpr std::size_t MAX_SPARE = 8;
    if (m_spare.size() >= MAX_SPARE) return;
    for (const CURLoption option : {CURLOPT_ERRORBUFFER, CURLOPT_HTTPHEADER, CURLOPT_WRITEDATA, CURLOPT_HEADERDATA})
      set(handle, option, nullptr);  // they belong to the request
    m_spare.push_back(std::move(handle));
  }

  void stop(CURLM* multi, CURL* handle, CURLcode code, const char* reason) {
    if (TransferPtr transfer = remove(multi, handle)) complete(std::move(transfer), failure("curl", code, reason));
  }

  static void complete(TransferPtr transfer, Result<HttpReply> result) {
    transfer->handle.reset();
    std::exchange(transfer->completion, nullptr)(std::move(result));
  }

  // Ends the transfers that have been silent for too long; returns when the next one may be.
  Clock::time_point endSilentOnes(CURLM* multi, Clock::time_point now) {
    auto next = Clock::time_point::max();
    std::vector<CURL*> silent;
    for (const auto& [handle, transfer] : m_active) {
      if (now >= transfer->deadline()) {
        curl_off_t uploaded = 0;
        curl_easy_getinfo(handle, CURLINFO_SIZE_UPLOAD_T, &uploaded);
        if (std::exchange(transfer->uploaded, uploaded) == uploaded)
          silent.push_back(handle);
        else
          transfer->lastActivity = now;
      }
      next = std::min(next, transfer->deadline());
    }
    for (CURL* handle : silent) stop(multi, handle, CURLE_OPERATION_TIMEDOUT, "The request timed out");
    return next;
  }

  // Cookies outlive their requests, so servers that keep setting new ones must not fill the memory: beyond the limit
  // all are dropped.
  void limitCookies(const Transfer& transfer) {
    m_cookies += transfer.cookies;
    if (m_cookies <= MAX_COOKIES || !transfer.handle) return;
    curl_slist* kept = nullptr;
    curl_easy_getinfo(transfer.handle.get(), CURLINFO_COOKIELIST, &kept);
    const List list(kept);
    m_cookies = 0;
    for (const curl_slist* cookie = kept; cookie; cookie = cookie->next) ++m_cookies;
    if (m_cookies <= MAX_COOKIES) return;
    curl_easy_setopt(transfer.handle.get(), CURLOPT_COOKIELIST, "ALL");
    m_cookies = 0;
  }

  // Ends the multi handle, and with it all kept connections, unless a request has been started meanwhile.
  bool leave() {
    MutexLock lock(m_mutex);
    if (!m_started.empty()) return false;
    m_cancelled.clear();
    m_spare.clear();
    tearDown();
    return true;
  }

  void tearDown() CORVANE_REQUIRES(m_mutex) {
    curl_multi_cleanup(std::exchange(m_multi, nullptr));
    m_alarm.reset();
  }

  Mutex m_mutex;
  Transfers m_started CORVANE_GUARDED_BY(m_mutex);
  Transfers m_cancelled CORVANE_GUARDED_BY(m_mutex);
  CURLM* m_multi CORVANE_GUARDED_BY(m_mutex) = nullptr;
  std::shared_ptr<const Alarm> m_alarm CORVANE_GUARDED_BY(m_mutex);
  std::optional<pthread_t> m_thread CORVANE_GUARDED_BY(m_mutex);  // the latest one, until it is joined
  bool m_ending CORVANE_GUARDED_BY(m_mutex) = false;

  // Used by the thread only.
  ShareHandle m_share;  // the cookies
  std::unordered_map<CURL*, TransferPtr> m_active;
  std::vector<EasyHandle> m_spare;  // set up, for the next requests
  int m_cookies = 0;
  bool m_isEnding = false;
};

Session& session() {
  static auto& sessions = *new PerProcess<Session>;
  [[maybe_unused]] static const bool initialised = [] {
    // Otherwise OpenSSL is torn down at the end of the process, even while another thread is still in the next line.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    curl_global_init(CURL_GLOBAL_ALL);
    // Registered after the handlers of the libraries below, so that it runs before them.
    std::atexit([] { sessions().end(); });
    return true;
  }();
  return sessions();
}

class Task : public HttpTask {
 public:
  explicit Task(TransferPtr transfer) : m_transfer(std::move(transfer)) {}
  void cancel() override { session().cancel(m_transfer); }

 private:
  const TransferPtr m_transfer;
};

class CurlSession : public HttpSession {
 public:
  Result<std::shared_ptr<HttpTask>> start(HttpRequest request, Completion completion) override {
    if (!startsWithScheme(request.url, "http://") && !startsWithScheme(request.url, "https://"))
      return failure("http", 0, "unsupported URL");
    for (const auto& [name, value] : request.headers)
      if (!canBeSent(name, value)) return failure("http", 0, "The header \"" + name + "\" cannot be sent");
    auto transfer = std::make_shared<Transfer>();
    transfer->request = std::move(request);
    transfer->completion = std::move(completion);
    const auto started = session().start(transfer);
    if (!started) return tl::unexpected<Error>(started.error());
    return std::make_shared<Task>(std::move(transfer));
  }
};

}  // namespace

template <>
std::shared_ptr<HttpSession> makeService<HttpSession>() {
  return std::make_shared<CurlSession>();
}

}  // namespace corvane
