#include "install/platformutil/platform_utility.hpp"

#include <locale.h>
#include <pwd.h>
#include <time.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <vector>

namespace install::platformutil {
namespace {

// Formats `time` by the strftime `format` in the classic ("C") locale, whatever the process's
// locale is: the length written into `buffer`, 0 when the text does not fit or there is none.
std::size_t format_classic_time(char* buffer, std::size_t size, char const* format,
                                std::tm const& time) noexcept {
  // Made once and kept for the process: strftime_l only reads it.
  static locale_t const classic = ::newlocale(LC_ALL_MASK, "C", locale_t{});
  return ::strftime_l(buffer, size, format, &time, classic);
}

std::string format_time(std::time_t now, std::string const& format) {
  std::tm local{};
  localtime_r(&now, &local);
  // Most patterns fit the stack buffer; only longer results take the growing heap buffer.
  char small[256];
  if (std::size_t const n = format_classic_time(small, sizeof small, format.c_str(), local);
      n > 0) {
    return std::string(small, n);
  }
  std::string out(64 + format.size() * 4, '\0');
  for (int attempt = 0; attempt < 8; ++attempt) {
    std::size_t const n = format_classic_time(out.data(), out.size(), format.c_str(), local);
    if (n > 0) {
      out.resize(n);
      return out;
    }
    out.resize(out.size() * 4);
  }
  return {};  // the pattern produces no text (for instance "%p" in a locale without it)
}

}  // namespace

std::string PlatformUtility::getPlatformUserName() const {
  long const hint = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(hint > 0 ? static_cast<std::size_t>(hint) : 4096U);
  passwd entry{};
  passwd* found = nullptr;
  int rc = 0;
  while ((rc = getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found)) == ERANGE &&
         buffer.size() < (1U << 20)) {
    buffer.resize(buffer.size() * 2);
  }
  if (rc == 0 && found != nullptr && found->pw_name != nullptr && *found->pw_name != '\0') {
    return found->pw_name;
  }
  // The name becomes part of a file name in a shared folder: one that could climb out of it,
  // or name the folder itself, is not used.
  char const* const variable = std::getenv("USER");
  std::string_view const user = variable != nullptr ? variable : "";
  if (user.empty() || user == "." || user == ".." || user.find('/') != std::string_view::npos)
    return "unknown";
  return std::string(user);
}

std::string PlatformUtility::getPlatformCurrentTime(std::string const& format) const {
  if (format.empty()) return {};
  std::time_t const now = std::time(nullptr);
  // The text changes at most once a second: this thread's last one is reused within it.
  thread_local struct {
    std::time_t second = -1;
    std::string format;
    std::string text;
  } last;
  if (now == last.second && format == last.format) return last.text;
  last.text = format_time(now, format);
  last.second = now;
  last.format = format;
  return last.text;
}

std::string PlatformUtility::getPlatformHostName() const {
  // POSIX caps a host name at HOST_NAME_MAX (255 on Linux and macOS); a name cut to the buffer
  // is not NUL-terminated, so the last byte stays 0.
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0 || name[0] == '\0') return "unknown";
  return name;
}

long PlatformUtility::getPlatformProcessId() const {
  return static_cast<long>(getpid());
}

}  // namespace install::platformutil
