#pragma once

#include <filesystem>
#include <string>

namespace qx::test {

/// A fresh folder under the system's temporary folder, removed with everything in it.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(TempDir const&) = delete;
  TempDir& operator=(TempDir const&) = delete;

  /// The folder.
  [[nodiscard]] std::filesystem::path const& path() const { return path_; }
  /// `name` inside the folder, as a UTF-8 text.
  [[nodiscard]] std::string file(std::string const& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

/// Writes `content` to `path` byte for byte, replacing the file.
void write_file(std::filesystem::path const& path, std::string const& content);
/// The whole content of `path`; empty when it cannot be read.
[[nodiscard]] std::string read_file(std::filesystem::path const& path);

/// Sets an environment variable for the object's lifetime, then restores it.
class ScopedEnv {
 public:
  /// Sets `name` to `value`, or unsets it when `value` is null.
  ScopedEnv(std::string name, char const* value);
  ~ScopedEnv();
  ScopedEnv(ScopedEnv const&) = delete;
  ScopedEnv& operator=(ScopedEnv const&) = delete;

 private:
  std::string name_;
  bool had_value_ = false;
  std::string old_value_;
};

}  // namespace qx::test
