#include "system.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <crt_externs.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>

#include "posix_call.hpp"
#include "retry.hpp"

namespace qx::system {
namespace {

std::string copy_utf8(CFLocaleRef locale, CFStringRef key) {
  auto const value = static_cast<CFStringRef>(CFLocaleGetValue(locale, key));
  std::array<char, 64> buffer{};
  if (value == nullptr ||
      !CFStringGetCString(value, buffer.data(), buffer.size(), kCFStringEncodingUTF8)) {
    return {};
  }
  return buffer.data();
}

}  // namespace

int status_of(int fd, file_status& status) noexcept {
  struct stat st {};
  if (QX_POSIX_CALL(fstat(fd, &st)) != 0) return -1;
  status = {st.st_mode, st.st_uid, st.st_nlink, st.st_dev, st.st_ino, st.st_size};
  return 0;
}

// O_NOFOLLOW_ANY (macOS 11 and later) refuses a link at any component with ELOOP.
int open_without_links(char const* name, int flags, mode_t mode) noexcept {
  return QX_POSIX_CALL(open(name, flags | O_NOFOLLOW_ANY, mode));
}

int rename_without_replacing(int from_folder, char const* from, int to_folder,
                             char const* to) noexcept {
  return QX_POSIX_CALL(renameatx_np(from_folder, from, to_folder, to, RENAME_EXCL));
}

rlim_t file_size_limit() noexcept {
  struct rlimit limit {};
  return QX_POSIX_CALL(getrlimit(RLIMIT_FSIZE, &limit)) == 0 ? limit.rlim_cur : RLIM_INFINITY;
}

// macOS's fsync hands the data to the drive, which may still lose it from its cache at a power
// cut; F_FULLFSYNC has the drive write it. File systems that cannot do that (some network and
// FAT ones) refuse it with ENOTSUP, EINVAL or ENOTTY: fsync is then the most they offer.
int sync_to_disk(int fd) noexcept {
  if (QX_POSIX_CALL(fcntl(fd, F_FULLFSYNC)) == 0) return 0;
  if (errno != ENOTSUP && errno != EINVAL && errno != ENOTTY) return -1;
  int rc = 0;
  QX_RETRY(rc, QX_POSIX_CALL(fsync(fd)));
  return rc;
}

// The per-user folder, which launchd gives a program as $TMPDIR; one started otherwise may
// lack the variable.
std::string default_temp_directory() {
  char buffer[PATH_MAX];
  std::size_t const n = ::confstr(_CS_DARWIN_USER_TEMP_DIR, buffer, sizeof buffer);
  return n > 0 && n <= sizeof buffer ? std::string(buffer) : std::string("/tmp");
}

// A shared library cannot rely on `environ` there; the C library hands it out.
char** environment() noexcept {
  return *_NSGetEnviron();
}

// The locale chosen in System Settings, which a program started from the Finder sees
// without any of the variables.
std::optional<std::pair<std::string, std::string>> preferred_locale() {
  CFLocaleRef const locale = CFLocaleCopyCurrent();
  if (locale == nullptr) return std::nullopt;
  std::string language = copy_utf8(locale, kCFLocaleLanguageCode);
  std::string region = copy_utf8(locale, kCFLocaleCountryCode);
  CFRelease(locale);
  if (language.empty()) return std::nullopt;
  return std::pair(std::move(language), std::move(region));
}

}  // namespace qx::system
