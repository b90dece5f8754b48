#include "apps/inspector/commands/Get.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <map>
#include <optional>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/model/TextFile.h"
#include "apps/inspector/text/Format.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/HTTP.h"

namespace corvane::inspector {

namespace {

struct Options {
  std::string url;
  std::optional<std::string> post;
  std::map<std::string, std::string> headers;
  std::int64_t limit = 10'000;
  bool head = false;
};

constexpr std::int64_t MAX_LIMIT = 86'400'000;  // a day

tl::expected<Options, std::string> parse(const Arguments& arguments) {
  Options options;
  bool hasURL = false;
  for (OptionReader option(arguments); option.next();) {
    if (const auto url = option.operand()) {
      if (hasURL) return tl::unexpected(std::string(*url) + ": there is one URL already");
      options.url = *url;
      hasURL = true;
    } else if (option.name() == "--head") {
      if (const auto none = option.noValue(); !none) return tl::unexpected(none.error());
      options.head = true;
    } else if (option.name() == "--post") {
      const auto text = option.text();
      if (!text) return tl::unexpected(text.error());
      options.post = *text;
    } else if (option.name() == "--header") {
      const auto text = option.value();
      if (!text) return tl::unexpected(text.error());
      const auto colon = text->find(':');
      if (colon == 0 || colon == std::string_view::npos) return option.failure("expects NAME:VALUE");
      const auto begin = std::min(text->find_first_not_of(' ', colon + 1), text->size());
      options.headers[std::string(text->substr(0, colon))] = text->substr(begin);
    } else if (option.name() == "--limit") {
      const auto limit = option.value().map(numberIn<std::int64_t>);
      if (!limit) return tl::unexpected(limit.error());
      if (!*limit || **limit < 1 || **limit > MAX_LIMIT)
        return option.failure("expects a whole number of milliseconds from 1 to 86400000");
      options.limit = **limit;
    } else {
      return option.unknown();
    }
  }
  if (!hasURL) return tl::unexpected(std::string("get: the URL is missing"));
  if (options.post && options.head) return tl::unexpected(std::string("--head: not with --post"));
  if (!options.post && !options.headers.empty()) return tl::unexpected(std::string("--header: only with --post"));
  return options;
}

// The data for --post: the text itself, or after an @ the contents of a file; std::nullopt if it cannot be read.
std::optional<Data> postData(const std::string& argument) {
  if (!argument.starts_with("@")) return Data{{argument.begin(), argument.end()}};
  std::ifstream file(argument.substr(1), std::ios::binary);
  Data data;
  std::array<char, 65536> piece{};
  while (file.read(piece.data(), piece.size()) || file.gcount() > 0)
    data.bytes.insert(data.bytes.end(), piece.data(), piece.data() + file.gcount());
  return file.is_open() && !file.bad() ? std::optional(std::move(data)) : std::nullopt;
}

std::string headersOf(const HTTPResponse& response) {
  std::string text;
  for (const auto& [name, value] : response.headers) text.append(name).append(": ").append(value).append("\n");
  return text;
}

// The reason why there is no answer.
std::string reasonOf(const Options& options, std::optional<std::int64_t> status, const std::string& error) {
  if (status) return error.empty() ? "no answer within " + std::to_string(options.limit) + " ms" : error;
  return options.post || Bundle::mainBundle()->appVersionName() ? "not a valid URL" : "this program has no bundle";
}

void report(const std::string& url, const std::string& outcome) {
  const std::string line = printable("corvane-inspector: " + url + ": " + outcome, Glyphs::ofLocale());
  std::fprintf(stderr, "%s\n", line.c_str());
}

}  // namespace

int get(const Arguments& arguments) {
  const auto options = parse(arguments);
  if (!options) return failUsage(options.error());
  std::optional<Data> post;
  if (options->post && !(post = postData(*options->post))) {
    report(options->post->substr(1), "cannot be read");
    return 1;
  }
  std::signal(SIGPIPE, SIG_IGN);
  constexpr std::int64_t UNTOUCHED = -1;
  std::int64_t status = UNTOUCHED;
  std::string error;
  HTTPResponse response;
  const auto begin = std::chrono::steady_clock::now();
  const auto body = post ? posturl(options->url, std::move(*post), options->headers, options->limit, status, error)
                         : geturldataresponse(options->url, options->limit, status, error, response);
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
  if (status <= 0) {
    report(options->url, reasonOf(*options, status == UNTOUCHED ? std::nullopt : std::optional(status), error));
    return 1;
  }
  report(options->url, "status " + std::to_string(status) + ", " + decimal(took.count(), 1) + " ms, " +
                           std::to_string(body ? body->bytes.size() : 0) + " bytes");
  const int written = options->head ? writeOut(headersOf(response))
                      : body        ? writeOut({reinterpret_cast<const char*>(body->bytes.data()), body->bytes.size()})
                                    : 0;
  const int output = statusAfterOutput(written);
  return status >= 200 && status < 400 ? output : 1;
}

}  // namespace corvane::inspector
