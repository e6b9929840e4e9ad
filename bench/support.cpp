#include "support.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <stdexcept>

#include "fl/filesystem.hpp"

namespace qx::bench {
namespace {

std::vector<Row>& row_list() {
  static std::vector<Row> list;
  return list;
}

class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = fl::i18n::ustring_to_utf8(fl::filesystem::temp_directory_name());
    pattern += "/qxinstall_bench_XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr)
      throw std::runtime_error("cannot create a scratch folder under " + pattern);
    path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDir(ScratchDir const&) = delete;
  ScratchDir& operator=(ScratchDir const&) = delete;

  [[nodiscard]] std::string const& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace

void add_row(Row row) {
  row_list().push_back(std::move(row));
}

std::vector<Row> rows() {
  std::vector<Row> sorted = row_list();
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](Row const& a, Row const& b) { return a.order < b.order; });
  return sorted;
}

std::string const& scratch_dir() {
  static ScratchDir const dir;
  return dir.path();
}

}  // namespace qx::bench
