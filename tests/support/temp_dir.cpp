#include "support/temp_dir.hpp"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace qx::test {

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "qxtest-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::permissions(path_, std::filesystem::perms::owner_all,
                               std::filesystem::perm_options::add, ec);
  std::filesystem::remove_all(path_, ec);
}

void write_file(std::filesystem::path const& path, std::string const& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
  if (!out.flush()) throw std::runtime_error("cannot write " + path.string());
}

std::string read_file(std::filesystem::path const& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

ScopedEnv::ScopedEnv(std::string name, char const* value) : name_(std::move(name)) {
  if (char const* old = std::getenv(name_.c_str())) {
    had_value_ = true;
    old_value_ = old;
  }
  if (value != nullptr) {
    setenv(name_.c_str(), value, 1);
  } else {
    unsetenv(name_.c_str());
  }
}

ScopedEnv::~ScopedEnv() {
  if (had_value_) {
    setenv(name_.c_str(), old_value_.c_str(), 1);
  } else {
    unsetenv(name_.c_str());
  }
}

}  // namespace qx::test
