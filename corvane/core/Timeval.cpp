#include "corvane/core/Timeval.h"

#include <unicode/udat.h>
#include <unicode/uloc.h>
#include <unicode/ustring.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "corvane/core/Text.h"
#include "corvane/core/timeval_c.h"

namespace corvane {

namespace {

tm localTime(std::int64_t seconds) {
  tm parts{};
  localtime_r(&seconds, &parts);
  return parts;
}

// Written by hand: these texts precede every log line, and snprintf would take most of the time of a line.
char* putDigits(char* out, long long number, int width) {
  for (int i = width - 1; i >= 0; --i, number /= 10) out[i] = static_cast<char>('0' + number % 10);
  return out + width;
}

char* putTime(char* out, const tm& parts, std::int64_t nsecs) {
  out = putDigits(out, parts.tm_hour, 2);
  *out++ = ':';
  out = putDigits(out, parts.tm_min, 2);
  *out++ = ':';
  out = putDigits(out, parts.tm_sec, 2);
  *out++ = '.';
  return putDigits(out, nsecs / 1000, 6);
}

// Local times name the second that contains a point in time, so before the epoch the fraction is rounded down.
struct Split {
  std::int64_t sec;
  std::int64_t nsec;
};

Split split(const timespec& ts) {
  return ts.tv_nsec < 0 ? Split{ts.tv_sec - 1, ts.tv_nsec + 1'000'000'000} : Split{ts.tv_sec, ts.tv_nsec};
}

}  // namespace

Timeval Timeval::iso8601_utc(const std::string& text) {
  timeval tv{};
  return iso8601_to_timeval(text.c_str(), &tv) == 0 ? Timeval(tv) : Timeval(std::int64_t{0});
}

std::string Timeval::timestamp() const {
  const Split time = split(ts());
  const tm parts = localTime(time.sec);
  std::array<char, 48> text;
  char* out = text.data();
  // The range of the type is the years 1677 to 2262: always four digits.
  out = putDigits(out, parts.tm_year + 1900, 4);
  *out++ = '/';
  out = putDigits(out, parts.tm_mon + 1, 2);
  *out++ = '/';
  out = putDigits(out, parts.tm_mday, 2);
  *out++ = ' ';
  out = putTime(out, parts, time.nsec);
  return {text.data(), out};
}

std::string Timeval::localtime() const {
  const Split time = split(ts());
  std::array<char, 24> text;
  return {text.data(), putTime(text.data(), localTime(time.sec), time.nsec)};
}

std::string Timeval::hhmmss() const {
  const std::int64_t seconds = elapsed_nsec() / NSEC_PER_SEC;
  const long long magnitude = std::llabs(seconds);
  std::array<char, 32> text;
  char* out = text.data();
  if (seconds < 0) *out++ = '-';
  out = std::to_chars(out, text.data() + text.size(), magnitude / 3600).ptr;
  *out++ = ':';
  out = putDigits(out, magnitude / 60 % 60, 2);
  *out++ = ':';
  out = putDigits(out, magnitude % 60, 2);
  return {text.data(), out};
}

std::string Timeval::date() const {
  std::string locale;
  for (const char* name : {"LC_ALL", "LC_TIME", "LANG"}) {
    const char* value = std::getenv(name);
    if (!value || !*value) continue;
    locale = value;
    break;
  }
  if (locale.empty() || locale == "C" || locale.starts_with("C.") || locale == "POSIX") locale = "en_US";
  std::array<char, ULOC_FULLNAME_CAPACITY> canonical{};
  UErrorCode status = U_ZERO_ERROR;
  uloc_canonicalize(locale.c_str(), canonical.data(), static_cast<int>(canonical.size()) - 1, &status);
  // The C library supplies the zone, because ICU has its own zone data and its own reading of TZ. ICU formats the local
  // time as if it were UTC.
  tm parts = localTime(sec());
  const auto local = static_cast<UDate>(timegm(&parts)) * 1000;
  UDateFormat* format = udat_open(UDAT_MEDIUM, UDAT_MEDIUM, canonical.data(), u"UTC", -1, nullptr, 0, &status);
  std::array<UChar, 256> wide{};
  const int length = udat_format(format, local, wide.data(), static_cast<int>(wide.size()), nullptr, &status);
  udat_close(format);
  std::array<char, 3 * 256> text{};
  int bytes = 0;
  u_strToUTF8(text.data(), static_cast<int>(text.size()), &bytes, wide.data(), length, &status);
  return U_SUCCESS(status) ? std::string(text.data(), static_cast<std::size_t>(bytes)) : std::string();
}

std::string Timeval::tztime(const std::string& zone) const {
  const char* value = std::getenv("TZ");
  const std::optional<std::string> previous = value ? std::optional<std::string>(value) : std::nullopt;
  setenv("TZ", zone.c_str(), 1);
  tzset();
  const std::int64_t seconds = sec();
  std::array<char, 64> buffer{};
  ctime_r(&seconds, buffer.data());
  if (previous)
    setenv("TZ", previous->c_str(), 1);
  else
    unsetenv("TZ");
  tzset();
  return std::string(trimmed(buffer.data()));
}

}  // namespace corvane

using corvane::checkedAdd, corvane::checkedMul, corvane::checkedSub;

namespace {

timeval normalised(std::int64_t sec, std::int32_t usec) {
  sec = checkedAdd(sec, usec / 1'000'000);
  usec %= 1'000'000;
  if (usec < 0) {
    usec += 1'000'000;
    sec = checkedSub(sec, 1);
  }
  return {sec, usec};
}

}  // namespace

extern "C" {

int64_t elapsed_usec(timeval t) {
  const std::int64_t now = corvane::Clock::now() / 1000;
  return checkedAdd(checkedSub(now % 1'000'000, t.tv_usec),
                    checkedMul(checkedSub(now / 1'000'000, t.tv_sec), 1'000'000));
}

timeval time_add(timeval a, timeval b) {
  return normalised(checkedAdd(a.tv_sec, b.tv_sec), static_cast<std::int32_t>(checkedAdd(a.tv_usec, b.tv_usec)));
}

timeval time_add_usec(timeval a, int32_t u) {
  return normalised(a.tv_sec, static_cast<std::int32_t>(checkedAdd(a.tv_usec, u)));
}

timeval time_sub(timeval a, timeval b) {
  return normalised(checkedSub(a.tv_sec, b.tv_sec), static_cast<std::int32_t>(checkedSub(a.tv_usec, b.tv_usec)));
}

int timestamp_tv(const char* format, const char* text, timeval* tv) {
  tm parts{};
  const char* rest = strptime(text, format, &parts);
  if (!rest) return -1;
  parts.tm_isdst = -1;
  *tv = {mktime(&parts), 0};
  if (*rest == '\0' || std::isspace(static_cast<unsigned char>(*rest))) return 0;
  if (*rest != '.') return -1;
  int places = 0;
  for (++rest; places < 6 && std::isdigit(static_cast<unsigned char>(*rest)); ++rest, ++places)
    tv->tv_usec = tv->tv_usec * 10 + (*rest - '0');
  if (places > 0)
    for (; places < 6; ++places) tv->tv_usec *= 10;
  return 0;
}

int iso8601_to_timeval(const char* text, timeval* tv) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, fraction = 0;
  if (std::sscanf(text, "%d-%d-%dT%d:%d:%d.%dZ", &year, &month, &day, &hour, &minute, &second, &fraction) < 7)
    return -1;
  tm parts{};
  parts.tm_year = static_cast<int>(std::int64_t{year} - 1900);
  parts.tm_mon = static_cast<int>(std::int64_t{month} - 1);
  parts.tm_mday = day;
  parts.tm_hour = hour;
  parts.tm_min = minute;
  parts.tm_sec = second;
  parts.tm_isdst = -1;
  *tv = {timegm(&parts), std::int64_t{fraction} * 1000};
  return 0;
}

int64_t memsize(void) {
  const long pages = sysconf(_SC_PHYS_PAGES);
  const long size = sysconf(_SC_PAGESIZE);
  return pages > 0 && size > 0 ? std::int64_t{pages} * size : 0;
}

}  // extern "C"
