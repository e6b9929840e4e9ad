#include "support/support.hpp"

#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <array>
#include <fstream>
#include <regex>

namespace qx::test {

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "qxtest-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

std::string TempDir::write(std::string const& name, std::string const& content) const {
  std::filesystem::create_directories((path_ / name).parent_path());
  if (!(std::ofstream(file(name), std::ios::binary) << content).flush())
    throw std::runtime_error("cannot write " + file(name));
  return file(name);
}

std::string TempDir::fifo(std::string const& name) const {
  if (::mkfifo(file(name).c_str(), 0600) != 0) throw std::runtime_error("mkfifo failed");
  return file(name);
}

// In blocks: logs of tens of megabytes read byte by byte took seconds under the sanitizers.
std::string read_file(std::filesystem::path const& path) {
  std::ifstream in(path, std::ios::binary);
  std::string text;
  std::array<char, 1U << 16> block;
  while (in.read(block.data(), block.size()) || in.gcount() > 0)
    text.append(block.data(), static_cast<std::size_t>(in.gcount()));
  return text;
}

// The stamp is tried only where a '(' stands: a regex tried at every byte of a log of megabytes
// took most of a minute under the sanitizers.
std::string untimed(std::string const& text) {
  static std::regex const time(R"(\((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [0-3]\d, )"
                               R"(\d{4} [0-2]\d:[0-5]\d:[0-6]\d\) )");
  constexpr std::size_t width = sizeof "(Nov 25, 2026 08:05:35) " - 1;
  std::string result;
  std::size_t kept = 0;
  for (std::size_t at = text.find('('); at != std::string::npos && text.size() - at >= width;
       at = text.find('(', at + 1)) {
    auto const stamp = text.begin() + static_cast<std::ptrdiff_t>(at);
    if (!std::regex_match(stamp, stamp + width, time)) continue;
    result.append(text, kept, at - kept).append("(T) ");
    kept = at + width;
    at = kept - 1;
  }
  return result.append(text, kept);
}

bool become_user(unsigned id) {
  // As root, setuid sets the real, effective and saved ids alike.
  return setgroups(0, nullptr) == 0 && setgid(id) == 0 && setuid(id) == 0;
}

int in_child(std::function<int()> const& body) {
  pid_t const pid = fork();
  if (pid == 0) {
    int code = 1;
    try {
      code = body();
    } catch (...) {
    }
    _exit(code);
  }
  int status = -1;
  while (pid > 0 && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

std::vector<Row> read_table(std::string const& name) {
  std::ifstream in(std::string(QX_TEST_DATA_DIR) + "/" + name);
  if (!in) throw std::runtime_error("missing test table " + name);
  std::vector<std::string> columns;
  std::vector<Row> rows;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> fields(1);
    for (std::size_t i = 0; i < line.size(); ++i) {
      if (line[i] == '\t') {
        fields.emplace_back();
      } else if (line[i] != '\\' || i + 1 == line.size()) {
        fields.back() += line[i];
      } else if (line[++i] == 'x') {
        fields.back() += static_cast<char>(std::stoi(line.substr(i + 1, 2), nullptr, 16));
        i += 2;
      } else if (line[i] != 'e') {  // "\t\n\r\v\f"[5] is the NUL
        auto const named = std::string_view("tnrvf0").find(line[i]);
        fields.back() += named == std::string_view::npos ? line[i] : "\t\n\r\v\f"[named];
      }
    }
    if (columns.empty()) {
      columns = std::move(fields);
      continue;
    }
    if (fields.size() != columns.size())
      throw std::runtime_error(name + ": wrong number of fields in: " + line);
    Row& row = rows.emplace_back(Row{{}, fields.front()});
    for (char& c : row.name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    for (std::size_t i = 0; i < fields.size(); ++i) row.fields.emplace(columns[i], fields[i]);
  }
  return rows;
}

}  // namespace qx::test
