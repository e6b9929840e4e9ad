#include "fl/filesystem.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <streambuf>

#include "fl/posix_io.hpp"

namespace fl::filesystem {
namespace {

std::filesystem::path to_std_path(ustring const& text) {
  return std::filesystem::path(i18n::ustring_to_utf8(text));
}

struct install_path_override {
  std::mutex mutex;
  ustring path;
};

install_path_override& install_override() {
  static install_path_override state;
  return state;
}

}  // namespace

bool exists(basic_path const& path) {
  if (path.empty()) return false;
  return std::filesystem::exists(to_std_path(path.string()));
}

bool create_directories(basic_path const& path) {
  return std::filesystem::create_directories(to_std_path(path.string()));
}

ustring temp_directory_name() {
  char const* tmpdir = std::getenv("TMPDIR");
  if (tmpdir != nullptr && *tmpdir != '\0') return i18n::utf8_to_ustring(tmpdir);
#ifdef __APPLE__
  char buffer[PATH_MAX];
  std::size_t const n = confstr(_CS_DARWIN_USER_TEMP_DIR, buffer, sizeof buffer);
  if (n > 0 && n <= sizeof buffer) return i18n::utf8_to_ustring(buffer);
#endif
  return u"/tmp";
}

ustring get_install_path() {
  {
    auto& state = install_override();
    std::lock_guard lock(state.mutex);
    if (!state.path.empty()) return state.path;
  }
  Dl_info info{};
  if (dladdr(reinterpret_cast<void const*>(&get_install_path), &info) == 0 ||
      info.dli_fname == nullptr) {
    throw std::runtime_error("cannot locate the platform library's binary");
  }
  auto const binary = std::filesystem::weakly_canonical(info.dli_fname);
  return i18n::utf8_to_ustring(binary.parent_path().parent_path().string());
}

void set_install_path(ustring path) {
  auto& state = install_override();
  std::lock_guard lock(state.mutex);
  state.path = std::move(path);
}

namespace detail {

ustring make_native_form(ustring const& text, bool /*normalize*/) {
  return text;
}

ustring extract_parent_path(ustring const& text) {
  return i18n::utf8_to_ustring(to_std_path(text).parent_path().string());
}

ustring concatenate_pathname(ustring const& base, ustring const& name, bool /*normalize*/) {
  if (base.empty()) return name;
  if (base.back() == u'/') return base + name;
  return base + u'/' + name;
}

std::string make_native_access_form_i18n(basic_path const& path) {
  return i18n::ustring_to_utf8(path.string());
}

std::string make_native_access_form_with_cleanup_i18n(basic_path const& path) {
  std::filesystem::path cleaned;
  for (auto const& part : to_std_path(path.string())) {
    if (part != ".") cleaned /= part;
  }
  if (cleaned.empty() && !path.empty()) return ".";
  return cleaned.string();
}

}  // namespace detail

// Collects everything written between two flushes and hands it to the kernel at once.
class basic_ofstream<char>::buffer : public std::streambuf {
 public:
  int fd = -1;
  int error = 0;

  int close_file() {
    int result = sync();
    if (fd >= 0) {
      if (posix::close_file(fd) != 0) {
        error = errno;
        result = -1;
      }
      fd = -1;
    }
    return result;
  }

 protected:
  int_type overflow(int_type c) override {
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
      pending_.push_back(traits_type::to_char_type(c));
    }
    return traits_type::not_eof(c);
  }

  std::streamsize xsputn(char const* s, std::streamsize n) override {
    pending_.append(s, static_cast<std::size_t>(n));
    return n;
  }

  int sync() override {
    if (pending_.empty()) return 0;
    bool const ok = fd >= 0 && posix::write_all(fd, pending_.data(), pending_.size());
    if (!ok) error = fd >= 0 ? errno : EBADF;
    pending_.clear();
    return ok ? 0 : -1;
  }

 private:
  std::string pending_;
};

basic_ofstream<char>::basic_ofstream(basic_path const& path, std::ios::openmode mode,
                                     open_options options)
    : std::ostream(nullptr), buf_(std::make_unique<buffer>()) {
  rdbuf(buf_.get());
  int flags = O_WRONLY | O_CREAT | O_CLOEXEC;
  if ((mode & std::ios::app) != 0) {
    flags |= O_APPEND;
  } else if ((mode & std::ios::in) == 0 || (mode & std::ios::trunc) != 0) {
    flags |= O_TRUNC;
  }
  if (options.private_file) flags |= O_NOFOLLOW;
  std::string const name = detail::make_native_access_form_i18n(path);
  if (name.empty()) {
    buf_->error = ENOENT;
    setstate(std::ios::failbit);
    return;
  }
  int const fd = posix::open_file(name.c_str(), flags, options.create_mode);
  if (fd < 0) {
    buf_->error = errno;
    setstate(std::ios::failbit);
    return;
  }
  if (options.private_file) {
    // Refuse anything another user could have planted at a shared name.
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != ::geteuid() ||
        st.st_nlink != 1) {
      buf_->error = EPERM;
      posix::close_file(fd);
      setstate(std::ios::failbit);
      return;
    }
  }
  buf_->fd = fd;
}

basic_ofstream<char>::~basic_ofstream() {
  try {
    buf_->close_file();
  } catch (...) {  // a destructor reports nothing
  }
}

bool basic_ofstream<char>::is_open() const noexcept {
  return buf_->fd >= 0;
}

void basic_ofstream<char>::close() {
  if (buf_->close_file() != 0) setstate(std::ios::failbit);
}

int basic_ofstream<char>::last_error() const noexcept {
  return buf_->error;
}

basic_ifstream<char>::basic_ifstream(basic_path const& path, std::ios::openmode mode)
    : basic_ifstream(detail::make_native_access_form_i18n(path), mode) {}

basic_ifstream<char>::basic_ifstream(std::string const& native_name, std::ios::openmode mode) {
  // A folder opens on POSIX but cannot be read; report it as not opened.
  std::error_code ec;
  if (native_name.empty() || std::filesystem::is_directory(native_name, ec)) {
    setstate(std::ios::failbit);
    return;
  }
  open(native_name, mode | std::ios::in);
}

}  // namespace fl::filesystem
