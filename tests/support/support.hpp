#pragma once

// What the tests share: a scratch folder, scoped environment variables, log text without its
// times, a deadline for calls that could hang, data tables, and common standard headers.

#include <gmock/gmock.h>

#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace qx::test {

/// A fresh folder under the temporary folder, removed with everything in it.
class TempDir {
 public:
  TempDir();
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(TempDir const&) = delete;
  TempDir& operator=(TempDir const&) = delete;
  [[nodiscard]] std::filesystem::path const& path() const { return path_; }
  [[nodiscard]] std::string file(std::string const& name) const { return (path_ / name).string(); }
  /// Writes the file `name` in the folder, creating its own folders; returns its path.
  std::string write(std::string const& name, std::string const& content) const;
  /// Makes the FIFO `name` in the folder, with no process at either end.
  std::string fifo(std::string const& name) const;

 private:
  std::filesystem::path path_;
};

/// The whole content of `path`; empty when it cannot be read.
[[nodiscard]] std::string read_file(std::filesystem::path const& path);

/// Sets an environment variable (unsets it for a null `value`) until the scope ends.
class ScopedEnv {
 public:
  ScopedEnv(std::string name, char const* value) : name_(std::move(name)) {
    if (char const* old = std::getenv(name_.c_str())) old_ = old;
    value != nullptr ? setenv(name_.c_str(), value, 1) : unsetenv(name_.c_str());
  }
  ~ScopedEnv() { old_ ? setenv(name_.c_str(), old_->c_str(), 1) : unsetenv(name_.c_str()); }
  ScopedEnv(ScopedEnv const&) = delete;
  ScopedEnv& operator=(ScopedEnv const&) = delete;

 private:
  std::string name_;
  std::optional<std::string> old_;
};

/// `text` with each log entry's time "(Mon DD, YYYY HH:MM:SS) " written as "(T) ".
[[nodiscard]] std::string untimed(std::string const& text);
/// The what() of the `E` that `call` throws, "no exception", or "not that type: " and what().
template <class E>
[[nodiscard]] std::string what_of(std::function<void()> const& call) try {
  call();
  return "no exception";
} catch (E const& error) {
  return error.what();
} catch (std::exception const& error) {
  return std::string("not that type: ") + error.what();
}
/// A scope that must end within `seconds`, for calls that must not block: when it lasts longer,
/// SIGALRM ends the test program, which fails the test.
struct Deadline {
  explicit Deadline(unsigned seconds) { alarm(seconds); }
  ~Deadline() { alarm(0); }
};

/// Acts as another user, `uid`, for the rest of a child process; false when it may not.
[[nodiscard]] bool become(uid_t uid);

/// Runs `body` in a forked child, which exits with what `body` returns (1 when it throws), and
/// returns the child's wait status.
[[nodiscard]] int in_child(std::function<int()> const& body);

// Facilities that only some systems have, defined per system (support/<system>/
// system_support.cpp, chosen in tests/CMakeLists.txt). A test that needs one skips elsewhere
// with the reason these give.

/// Mounts a tmpfs of `size` bytes at the existing `folder`, in a mount namespace of this
/// process's own so that nothing outlives it; the reason when mounting is not permitted here.
[[nodiscard]] std::optional<std::string> mount_small_disk(std::string const& folder,
                                                          std::string const& size);
/// Makes the character device `major`,`minor` at `path` (on a disk of mount_small_disk, never a
/// real /dev): 0 or the errno.
[[nodiscard]] int make_device(std::string const& path, unsigned major, unsigned minor);
/// Makes the file system that mount_small_disk mounted at `folder` read-only: 0 or the errno.
[[nodiscard]] int remount_read_only(std::string const& folder);
/// From now on each rename(2) of this process kills it with SIGSYS, as a crash right before the
/// rename would end it (call it in a child: in_child); false when the system cannot.
[[nodiscard]] bool kill_at_rename();
/// Why this system lacks the special files of Linux that some tests use (/proc, /dev/full).
[[nodiscard]] std::optional<std::string> without_linux_files();

/// One row of a data table: its fields by column name, and its name: the first field with each
/// byte but letters and digits written as '_'.
struct Row {
  std::map<std::string, std::string> fields;
  std::string name;
  std::string const& operator[](std::string const& column) const { return fields.at(column); }
  friend void PrintTo(Row const& row, std::ostream* out) { *out << row.name; }
};

/// The rows of tests/data/<name>: TAB-separated fields; lines that are empty or start with
/// '#' are skipped and the first other line names the columns. In fields, backslash escapes
/// (t n r v f 0, a backslash, xHH) stand for their byte, and \e for nothing (an empty field).
[[nodiscard]] std::vector<Row> read_table(std::string const& name);

}  // namespace qx::test

/// Runs each TEST_P of `suite` (a TestWithParam<Row>) on each row of tests/data/<file>.
#define QX_TABLE_TESTS(suite, file)                                                     \
  INSTANTIATE_TEST_SUITE_P(Table, suite, testing::ValuesIn(qx::test::read_table(file)), \
                           [](auto const& info) { return info.param.name; })

/// A table-driven test without a fixture of its own: the body runs on each row (GetParam()).
#define QX_TABLE_TEST(suite, name, file)                         \
  class suite : public testing::TestWithParam<qx::test::Row> {}; \
  QX_TABLE_TESTS(suite, file);                                   \
  TEST_P(suite, name)
