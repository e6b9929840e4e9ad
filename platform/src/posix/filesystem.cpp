#include "fl/filesystem.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <streambuf>
#include <system_error>
#include <vector>

#include "file_descriptor.hpp"
#include "foundation/log/diagnostic_logger.hpp"
#include "posix_call.hpp"
#include "system.hpp"

namespace fl::filesystem {
namespace {

bool holds_nul(ustring const& text) {
  return text.find(u'\0') != ustring::npos;
}

// The standard library's path of the name the system is given for `path`.
std::filesystem::path system_path(basic_path const& path) {
  return std::filesystem::path(detail::make_native_access_form_i18n(path));
}

foundation::log::basic_diagnostic_logger<char> trace_channel("fl::filesystem");

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
  if (path.empty() || holds_nul(path.string())) return false;
  return std::filesystem::exists(system_path(path));
}

bool create_directories(basic_path const& path) {
  if (holds_nul(path.string())) {
    throw std::filesystem::filesystem_error("cannot create a folder whose name holds NUL",
                                            std::make_error_code(std::errc::invalid_argument));
  }
  return std::filesystem::create_directories(system_path(path));
}

namespace {

// Whether users other than the caller may create, rename or remove entries in the folder.
bool open_to_others(struct stat const& folder) {
  return (folder.st_mode & (S_IWGRP | S_IWOTH)) != 0 ||
         (folder.st_uid != ::geteuid() && folder.st_uid != 0);
}

// Whether another user could change what `real`, a real folder path, leads to: its folders
// are examined from the root down.
std::error_code judge_folders(std::string const& real, bool& shared) {
  bool above_open = false, above_sticky = false;
  for (std::size_t end = 1;; end = real.find('/', end + 1)) {
    struct stat folder {};
    std::string const name = real.substr(0, end);
    if (int const error = posix::status_of_name(name.c_str(), folder))
      return posix::error_code_of(error);
    if (!S_ISDIR(folder.st_mode)) return posix::error_code_of(ENOTDIR);  // swapped meanwhile
    if (above_open && !(above_sticky && folder.st_uid == ::geteuid())) shared = true;
    above_open = open_to_others(folder);
    above_sticky = (folder.st_mode & S_ISVTX) != 0;
    if (end >= real.size()) break;
  }
  shared = shared || above_open;  // others could plant the file's own name
  return {};
}

// The careful answer for a destination that cannot be judged.
destination unjudged(std::error_code error) {
  return {basic_path(), true, error};
}

// What symlink_status says of a name it cannot examine.
file_entry unexamined(std::error_code& error, int reason) {
  error = posix::error_code_of(reason);
  return {entry_type::none, 0, 0, 0, 0, 0};
}

}  // namespace

destination judge_destination(basic_path const& file) {
  if (holds_nul(file.string())) return unjudged(posix::error_code_of(EINVAL));
  if (file.empty()) return unjudged(posix::error_code_of(ENOENT));
  auto const [folder_text, name] = detail::split_at_last_separator(file.string());
  std::string const folder =
      folder_text.empty() ? "." : detail::make_native_access_form_i18n(basic_path(folder_text));
  std::string real;
  if (int const error = posix::real_path(folder.c_str(), real))
    return unjudged(posix::error_code_of(error));
  destination judged{basic_path(), false, {}};
  if (auto const error = judge_folders(real, judged.shared)) return unjudged(error);
  if (!real.ends_with('/')) real.push_back('/');
  i18n::append_utf8(real, name);
  judged.real_path = make_path(std::string_view(real));
  return judged;
}

file_entry symlink_status(basic_path const& path, std::error_code& error) {
  error.clear();
  if (holds_nul(path.string())) return unexamined(error, EINVAL);
  struct stat st {};
  int const failed = posix::status_of_name(detail::make_native_access_form_i18n(path).c_str(), st);
  if (failed == ENOENT) return {};
  if (failed != 0) return unexamined(error, failed);
  return posix::entry_of(st);
}

std::string failure_reason(std::error_code error) {
  if (error == std::errc::is_a_directory) return "it is a folder";
  if (error == std::errc::no_such_device_or_address) return "it is not a regular file";
  return error.message();
}

ustring temp_directory_name() {
  char const* tmpdir = std::getenv("TMPDIR");
  if (tmpdir != nullptr && *tmpdir != '\0') {
    if (i18n::is_valid_utf8(tmpdir)) return i18n::utf8_to_ustring(tmpdir);
    FL_TRACE(trace_channel, foundation::log::info_level,
             "TMPDIR is not UTF-8 and is not used: ", i18n::utf8_to_ustring(tmpdir));
  }
  return i18n::utf8_to_ustring(qx::system::default_temp_directory());
}

ustring get_install_path() {
  {
    auto& state = install_override();
    std::lock_guard lock(state.mutex);
    if (!state.path.empty()) return state.path;
  }
  Dl_info info{};
  if (QX_POSIX_CALL(dladdr(reinterpret_cast<void const*>(&get_install_path), &info)) == 0 ||
      info.dli_fname == nullptr) {
    throw std::runtime_error("cannot locate the platform library's binary");
  }
  auto const binary = std::filesystem::weakly_canonical(info.dli_fname);
  return i18n::utf8_to_ustring(binary.parent_path().parent_path().string());
}

basic_path make_path(ustring const& text) {
  return text.empty() ? basic_path() : basic_path(detail::make_native_form(text, true));
}

basic_path make_path(std::string_view utf8) {
  ustring text;
  i18n::append_utf16(text, utf8);
  return make_path(text);
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
  std::filesystem::path normal = system_path(basic_path(text)).lexically_normal();
  if (!normal.has_filename() && normal.has_relative_path()) normal = normal.parent_path();
  // What is left of ".." steps ("..", "../..") has its parent one step further up.
  if (normal.filename() == "..") return i18n::utf8_to_ustring((normal / "..").string());
  return i18n::utf8_to_ustring(normal.parent_path().string());
}

folder_and_name split_at_last_separator(ustring const& text) {
  std::size_t const name = text.rfind(u'/') + 1;  // npos + 1 is 0: a bare name
  return {text.substr(0, name), text.substr(name)};
}

ustring concatenate_pathname(ustring const& base, ustring const& name, bool /*normalize*/) {
  if (base.empty()) return name;
  if (base.back() == u'/') return base + name;
  return base + u'/' + name;
}

std::string make_native_access_form_i18n(basic_path const& path) {
  return i18n::ustring_to_utf8(path.string());
}

// The end of the file this process wrote last: while the file keeps that identity and size,
// its last byte is known without a read (which would also update its access time, a write to
// the disk). A file rewritten to the very same size in between goes unnoticed.
struct known_tail {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = -1;
  char byte = 0;
};
std::mutex tail_mutex;
known_tail tail;

// A stream buffer on one descriptor. Output collects everything written between two flushes
// and hands it to the kernel at once; input reads through a buffer of its own and knows its
// position, so tellg and seekg work.
class file_buffer : public std::streambuf {
 public:
  explicit file_buffer(posix::opened file)
      : fd_(file.fd),
        regular_(file.regular),
        device_(file.device),
        inode_(file.inode),
        size_(file.size),
        end_(file.size),
        error_(file.error) {}
  file_buffer(file_buffer const&) = delete;
  file_buffer& operator=(file_buffer const&) = delete;
  ~file_buffer() override { close(); }

  [[nodiscard]] bool is_open() const noexcept { return fd_ >= 0; }
  [[nodiscard]] std::error_code error() const noexcept { return posix::error_code_of(error_); }
  [[nodiscard]] std::size_t written() const noexcept { return written_; }

  [[nodiscard]] bool at_line_start() const noexcept {
    if (fd_ < 0 || !regular_ || size_ == 0) return true;
    {
      std::lock_guard lock(tail_mutex);
      if (tail.device == device_ && tail.inode == inode_ && tail.size == size_)
        return tail.byte == '\n';
    }
    // A byte that cannot be read (a write-only descriptor, a failed read) may be a fragment.
    return posix::read_byte_at(fd_, size_ - 1) == '\n';
  }

  [[nodiscard]] std::error_code set_owner_and_mode(file_entry const& like) const noexcept {
    if (fd_ < 0) return posix::error_code_of(EBADF);
    return posix::error_code_of(
        posix::set_owner_and_mode(fd_, like.owner, like.group, like.permissions));
  }

  // Writes what is pending and puts it on the disk; why either failed (the stream's error()).
  [[nodiscard]] std::error_code flush_to_disk() noexcept {
    if (fd_ < 0) return posix::error_code_of(EBADF);
    if (sync() != 0) return error();
    if (regular_ && qx::system::sync_to_disk(fd_) != 0) {
      failed(errno);
      return error();
    }
    return {};
  }

  // Writes what is pending and closes; false when either fails. A second call does nothing.
  bool close() noexcept {
    bool ok = sync() == 0;
    if (fd_ >= 0) {
      if (posix::close_file(fd_) != 0) {
        failed(errno);
        ok = false;
      }
      fd_ = -1;
    }
    return ok;
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
    if (fd_ < 0) {
      pending_.clear();
      return -1;
    }
    // An append lands at the end as last seen; it decides whether the write can fit the
    // file-size limit.
    std::size_t const n = posix::write_all(fd_, pending_.data(), pending_.size(), end_);
    int const error = errno;
    bool const whole = n == pending_.size();
    written_ += n;
    end_ += static_cast<off_t>(n);
    if (whole && regular_) {
      std::lock_guard lock(tail_mutex);
      tail = {device_, inode_, end_, pending_.back()};
    }
    pending_.clear();
    if (whole) return 0;
    failed(error);
    return -1;
  }

  int_type underflow() override {
    if (fd_ < 0) return traits_type::eof();
    input_.resize(input_size);
    ssize_t const n = posix::read_some(fd_, input_.data(), input_.size());
    if (n < 0) failed(errno);
    if (n <= 0) return traits_type::eof();  // the end, or a failed read: reading stops
    setg(input_.data(), input_.data(), input_.data() + n);
    return traits_type::to_int_type(*gptr());
  }

  // A large read goes from the kernel straight into the caller's memory: a reader of big files
  // (the line reader) then copies each byte once, not twice.
  std::streamsize xsgetn(char* s, std::streamsize n) override {
    std::streamsize done = 0;
    while (done < n) {
      if (gptr() < egptr()) {
        std::streamsize const held = std::min<std::streamsize>(egptr() - gptr(), n - done);
        std::memcpy(s + done, gptr(), static_cast<std::size_t>(held));
        gbump(static_cast<int>(held));
        done += held;
        continue;
      }
      if (fd_ < 0) break;
      if (n - done < direct_read) {
        if (traits_type::eq_int_type(underflow(), traits_type::eof())) break;
        continue;
      }
      ssize_t const got = posix::read_some(fd_, s + done, static_cast<std::size_t>(n - done));
      if (got < 0) failed(errno);
      if (got <= 0) break;  // the end, or a failed read: reading stops
      done += got;
    }
    return done;
  }

  pos_type seekoff(off_type offset, std::ios::seekdir dir, std::ios::openmode) override {
    if (fd_ < 0 || sync() != 0) return pos_type(off_type(-1));
    int const whence = dir == std::ios::beg ? SEEK_SET : dir == std::ios::cur ? SEEK_CUR : SEEK_END;
    // The kernel's position is past what the buffer still holds.
    if (dir == std::ios::cur) offset -= egptr() - gptr();
    off_t const position = posix::seek(fd_, static_cast<off_t>(offset), whence);
    setg(nullptr, nullptr, nullptr);
    return pos_type(off_type(position));
  }

  pos_type seekpos(pos_type position, std::ios::openmode which) override {
    return seekoff(off_type(position), std::ios::beg, which);
  }

 private:
  static constexpr std::size_t input_size = 64 * 1024;
  // Reads of at least this many bytes bypass the stream's own buffer.
  static constexpr std::streamsize direct_read = 4096;

  // Keeps the first failure's errno.
  void failed(int error) noexcept {
    if (error_ == 0) error_ = error;
  }

  int fd_;
  bool regular_;
  dev_t device_;
  ino_t inode_;
  off_t size_;  // at the open
  off_t end_;   // where the next write lands, as far as this stream knows
  int error_;
  std::size_t written_ = 0;
  std::string pending_;
  std::vector<char> input_;
};

namespace {

posix::opened open_descriptor(basic_path const& path, int flags, mode_t mode, posix::expect kind) {
  if (holds_nul(path.string())) return {.error = EINVAL};
  return posix::open_file(make_native_access_form_i18n(path).c_str(), flags, mode, kind);
}

}  // namespace
}  // namespace detail

basic_ofstream<char>::basic_ofstream(basic_path const& path, std::ios::openmode mode,
                                     open_options options)
    : std::ostream(nullptr) {
  bool const readable = (mode & std::ios::in) != 0;
  int flags = O_CREAT;
  if ((mode & std::ios::app) != 0) {
    flags |= O_APPEND;
  } else if (!readable || (mode & std::ios::trunc) != 0) {
    flags |= O_TRUNC;
  }
  if (options.exclusive) flags |= O_EXCL | O_NOFOLLOW;
  auto const kind = options.private_file ? posix::expect::private_file : posix::expect::writable;
  posix::opened file = detail::open_descriptor(path, flags | (readable ? O_RDWR : O_WRONLY),
                                               options.create_mode, kind);
  // Reading only serves at_line_start: a file this user may write but not read still opens.
  if (readable && file.error == EACCES)
    file = detail::open_descriptor(path, flags | O_WRONLY, options.create_mode, kind);
  buf_ = std::make_unique<detail::file_buffer>(file);
  rdbuf(buf_.get());
  if (!buf_->is_open()) setstate(std::ios::failbit);
}

basic_ofstream<char>::~basic_ofstream() = default;

bool basic_ofstream<char>::is_open() const noexcept {
  return buf_->is_open();
}

void basic_ofstream<char>::close() {
  if (!buf_->close()) setstate(std::ios::failbit);
}

std::error_code basic_ofstream<char>::error() const noexcept {
  return buf_->error();
}

std::size_t basic_ofstream<char>::written() const noexcept {
  return buf_->written();
}

bool basic_ofstream<char>::at_line_start() const noexcept {
  return buf_->at_line_start();
}

std::error_code basic_ofstream<char>::copy_owner_and_mode(file_entry const& like) noexcept {
  return buf_->set_owner_and_mode(like);
}

std::error_code basic_ofstream<char>::flush_to_disk() {
  std::error_code const error = buf_->flush_to_disk();
  if (error) setstate(std::ios::failbit);
  return error;
}

basic_ifstream<char>::basic_ifstream(basic_path const& path, std::ios::openmode mode)
    : std::istream(nullptr),
      buf_(std::make_unique<detail::file_buffer>(
          detail::open_descriptor(path, O_RDONLY, 0, posix::expect::regular_file))) {
  rdbuf(buf_.get());
  if (!buf_->is_open()) {
    setstate(std::ios::failbit);
  } else if ((mode & std::ios::ate) != 0) {
    seekg(0, std::ios::end);
  }
}

basic_ifstream<char>::~basic_ifstream() = default;

bool basic_ifstream<char>::is_open() const noexcept {
  return buf_->is_open();
}

void basic_ifstream<char>::close() {
  if (!buf_->close()) setstate(std::ios::failbit);
}

std::error_code basic_ifstream<char>::error() const noexcept {
  return buf_->error();
}

block_reader::block_reader(basic_path const& path, std::size_t block) : in_(path), block_(block) {}

std::size_t block_reader::read_more(std::size_t done) {
  if (done > 0) {
    std::memmove(buffer_.get(), buffer_.get() + done, filled_ - done);
    filled_ -= done;
  }
  // Grown without filling the new bytes: the reads fill them. A long line is read in large
  // reads, never byte by byte, and the buffer stays within a few times what its reader keeps.
  if (capacity_ == 0 || capacity_ - filled_ < capacity_ / 4) {
    std::size_t const capacity = capacity_ == 0 ? block_ : capacity_ * 2;
    auto grown = std::make_unique_for_overwrite<char[]>(capacity + overrun);
    if (filled_ > 0) std::memcpy(grown.get(), buffer_.get(), filled_);
    buffer_ = std::move(grown);
    capacity_ = capacity;
  }
  std::streamsize const got =
      drained_ ? 0
               : in_.rdbuf()->sgetn(buffer_.get() + filled_,
                                    static_cast<std::streamsize>(capacity_ - filled_));
  if (got <= 0)
    drained_ = true;  // the end, or a read that failed (error() says which)
  else
    filled_ += static_cast<std::size_t>(got);
  std::memset(buffer_.get() + filled_, 0, overrun);
  return got > 0 ? static_cast<std::size_t>(got) : 0;
}

bool block_reader::is_open() const noexcept {
  return in_.is_open();
}

std::error_code block_reader::error() const noexcept {
  return in_.error();
}

line_reader::line_reader(basic_path const& path) : in_(path) {}

bool line_reader::next(std::string_view& line) {
  for (;;) {
    char const* const data = in_.data();
    std::size_t const filled = in_.size();
    void const* const end =
        scanned_ < filled ? std::memchr(data + scanned_, '\n', filled - scanned_) : nullptr;
    if (end != nullptr) {
      auto const at = static_cast<std::size_t>(static_cast<char const*>(end) - data);
      line = std::string_view(data + begin_, at - begin_);
      begin_ = scanned_ = at + 1;
      return true;
    }
    if (in_.drained()) {
      if (begin_ == filled) return false;
      line = std::string_view(data + begin_, filled - begin_);  // no line feed after it
      begin_ = filled;
      return true;
    }
    // The part of a line read so far moves to the front.
    scanned_ = filled - begin_;
    in_.read_more(begin_);
    begin_ = 0;
  }
}

bool line_reader::next(std::string& line) {
  std::string_view view;
  if (!next(view)) return false;
  line.assign(view);
  return true;
}

bool line_reader::is_open() const noexcept {
  return in_.is_open();
}

std::error_code line_reader::error() const noexcept {
  return in_.error();
}

std::error_code rename(basic_path const& from, basic_path const& to) {
  if (holds_nul(from.string()) || holds_nul(to.string())) return posix::error_code_of(EINVAL);
  return posix::error_code_of(posix::rename_path(detail::make_native_access_form_i18n(from).c_str(),
                                                 detail::make_native_access_form_i18n(to).c_str()));
}

std::error_code replace(basic_path const& from, basic_path const& to, file_entry const& expected) {
  std::error_code error;
  file_entry const now = symlink_status(to, error);
  if (error) return error;
  bool const same =
      now.type == expected.type && (now.type == entry_type::none ||
                                    (now.device == expected.device && now.inode == expected.inode));
  return same ? rename(from, to) : posix::error_code_of(ESTALE);
}

std::error_code remove_file(basic_path const& path) {
  if (holds_nul(path.string())) return posix::error_code_of(EINVAL);
  return posix::error_code_of(
      posix::remove_path(detail::make_native_access_form_i18n(path).c_str()));
}

std::error_code sync_folder(basic_path const& folder) {
  if (holds_nul(folder.string())) return posix::error_code_of(EINVAL);
  return posix::error_code_of(posix::sync_folder(
      folder.empty() ? "." : detail::make_native_access_form_i18n(folder).c_str()));
}

}  // namespace fl::filesystem
