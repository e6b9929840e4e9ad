#include "support/table.hpp"

#include <fstream>
#include <stdexcept>
#include <string_view>

namespace qx::test {
namespace {

std::string unescape(std::string const& field) {
  if (field == "\\e") return {};
  static constexpr std::string_view names = "tnrvf0";
  static constexpr std::string_view bytes("\t\n\r\v\f\0", 6);
  std::string out;
  for (std::size_t i = 0; i < field.size(); ++i) {
    if (field[i] != '\\' || i + 1 == field.size()) {
      out.push_back(field[i]);
    } else if (field[++i] == 'x') {
      out.push_back(static_cast<char>(std::stoi(field.substr(i + 1, 2), nullptr, 16)));
      i += 2;
    } else {
      auto const named = names.find(field[i]);
      out.push_back(named == std::string_view::npos ? field[i] : bytes[named]);
    }
  }
  return out;
}

}  // namespace

std::vector<std::vector<std::string>> read_table(std::string const& name) {
  std::ifstream in(std::string(QX_TEST_DATA_DIR) + "/" + name);
  if (!in) throw std::runtime_error("missing test table " + name);
  std::vector<std::vector<std::string>> rows;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    auto& row = rows.emplace_back();
    for (std::size_t start = 0, tab = 0; tab != std::string::npos; start = tab + 1) {
      tab = line.find('\t', start);
      row.push_back(unescape(line.substr(start, tab - start)));
    }
  }
  return rows;
}

}  // namespace qx::test
