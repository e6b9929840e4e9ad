#include "fl/folder.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <utility>

#include "file_descriptor.hpp"
#include "posix_call.hpp"
#include "retry.hpp"
#include "system.hpp"

namespace fl::filesystem {
namespace {

bool holds_nul(basic_path const& path) {
  return path.string().find(u'\0') != ustring::npos;
}

entry_details details_of(struct stat const& st) {
  return {posix::entry_of(st), st.st_nlink, static_cast<std::uintmax_t>(st.st_size),
          std::chrono::system_clock::from_time_t(st.st_mtime)};
}

}  // namespace

folder::folder(basic_path const& path, bool without_links) {
  if (holds_nul(path)) {
    error_ = posix::error_code_of(EINVAL);
    return;
  }
  std::string const name = detail::make_native_access_form_i18n(path);
  int const flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOCTTY;
  if (without_links) {
    QX_RETRY(fd_, qx::system::open_without_links(name.c_str(), flags, 0));
  } else {
    QX_RETRY(fd_, QX_POSIX_CALL(open(name.c_str(), flags, 0)));
  }
  if (fd_ < 0) error_ = posix::error_code_of(errno);
}

folder::~folder() {
  if (fd_ >= 0) posix::close_file(fd_);
}

// The listing reads through a copy of the descriptor, which closedir closes; the copy shares
// the position in the folder, so each listing starts by going back to its start.
std::vector<std::string> folder::names(std::error_code& error) const {
  error.clear();
  std::vector<std::string> found;
  int const fd = QX_POSIX_CALL(fcntl(fd_, F_DUPFD_CLOEXEC, 0));
  DIR* const listing = fd < 0 ? nullptr : QX_POSIX_CALL(fdopendir(fd));
  if (listing == nullptr) {
    error = posix::error_code_of(errno);
    if (fd >= 0) posix::close_file(fd);
    return found;
  }
  QX_POSIX_CALL(rewinddir(listing));
  for (;;) {
    errno = 0;
    dirent const* const entry = QX_POSIX_CALL(readdir(listing));
    if (entry == nullptr) break;
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
      found.emplace_back(entry->d_name);
  }
  if (errno != 0) {
    error = posix::error_code_of(errno);
    found.clear();
  }
  QX_POSIX_CALL(closedir(listing));
  return found;
}

std::error_code folder::details(std::string const& name, entry_details& details) const noexcept {
  struct stat st {};
  if (QX_POSIX_CALL(fstatat(fd_, name.c_str(), &st, AT_SYMLINK_NOFOLLOW)) != 0)
    return posix::error_code_of(errno);
  details = details_of(st);
  return {};
}

std::error_code folder::create_empty(std::string const& name, mode_t mode) const noexcept {
  int fd = -1;
  int const flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY;
  QX_RETRY(fd, QX_POSIX_CALL(openat(fd_, name.c_str(), flags, mode & 07777)));
  if (fd < 0) return posix::error_code_of(errno);
  int const error = QX_POSIX_CALL(fchmod(fd, mode & 07777)) == 0 ? 0 : errno;
  posix::close_file(fd);
  if (error != 0) QX_POSIX_CALL(unlinkat(fd_, name.c_str(), 0));
  return posix::error_code_of(error);
}

std::error_code folder::rename_to_free_name(std::string const& from,
                                            std::string const& to) const noexcept {
  if (qx::system::rename_without_replacing(fd_, from.c_str(), fd_, to.c_str()) == 0) return {};
  return posix::error_code_of(errno);
}

std::error_code folder::remove(std::string const& name) const noexcept {
  if (QX_POSIX_CALL(unlinkat(fd_, name.c_str(), 0)) == 0) return {};
  return posix::error_code_of(errno);
}

file_lock::file_lock(basic_path const& path, open_options options, bool create) {
  if (holds_nul(path)) {
    error_ = posix::error_code_of(EINVAL);
    return;
  }
  auto const kind = options.private_file ? posix::expect::private_file
                    : create             ? posix::expect::writable
                                         : posix::expect::regular_file;
  int const flags = create ? O_WRONLY | O_APPEND | O_CREAT : O_RDONLY;
  posix::opened const file = posix::open_file(detail::make_native_access_form_i18n(path).c_str(),
                                              flags, options.create_mode, kind);
  fd_ = file.fd;
  error_ = posix::error_code_of(file.error);
  at_open_.entry.type = file.regular ? entry_type::regular : entry_type::character_device;
  at_open_.entry.device = file.device;
  at_open_.entry.inode = file.inode;
  at_open_.size = static_cast<std::uintmax_t>(file.size);
}

file_lock::~file_lock() {
  if (fd_ >= 0) posix::close_file(fd_);
}

file_lock::file_lock(file_lock&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), error_(other.error_), at_open_(other.at_open_) {}

file_lock& file_lock::operator=(file_lock&& other) noexcept {
  if (this != &other) {
    if (fd_ >= 0) posix::close_file(fd_);
    fd_ = std::exchange(other.fd_, -1);
    error_ = other.error_;
    at_open_ = other.at_open_;
  }
  return *this;
}

std::error_code file_lock::try_lock(bool exclusive) noexcept {
  if (fd_ < 0) return posix::error_code_of(EBADF);
  int rc = 0;
  QX_RETRY(rc, QX_POSIX_CALL(flock(fd_, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB)));
  return posix::error_code_of(rc == 0 ? 0 : errno);
}

std::error_code file_lock::details(entry_details& details) const noexcept {
  struct stat st {};
  if (fd_ < 0) return posix::error_code_of(EBADF);
  if (QX_POSIX_CALL(fstat(fd_, &st)) != 0) return posix::error_code_of(errno);
  details = details_of(st);
  return {};
}

}  // namespace fl::filesystem
