// version-compare and sort-products.
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "cli.hpp"
#include "escape.hpp"
#include "install/cpputil/product_ordering.hpp"
#include "install/cpputil/version_comparator.hpp"

namespace qx::cli {
namespace {

using fl::i18n::ustring_to_utf8;
using fl::i18n::utf8_to_ustring;

Handler setup_version_compare(CLI::App& app) {
  struct Options {
    std::string first;
    std::string second;
  };
  auto options = std::make_shared<Options>();
  app.add_option("A", options->first, "first version")->required();
  app.add_option("B", options->second, "second version")->required();
  app.footer("Prints -1, 0 or 1 as A is lower than, equal to or higher than B.");
  return [options] {
    auto const failure = [&](char const* reason) {
      return CommandError("cannot compare " + in_quotes(options->first) + " with " +
                              in_quotes(options->second) + ": " + reason,
                          exit_usage);
    };
    try {
      std::cout << install::cpputil::VersionComparator().compareVersionNumbers(
                       utf8_to_ustring(options->first), utf8_to_ustring(options->second))
                << '\n';
    } catch (std::invalid_argument const&) {
      throw failure("a piece has no leading digits");
    } catch (std::out_of_range const&) {
      throw failure("a piece is beyond the int range");
    }
    return exit_ok;
  };
}

Handler setup_sort_products(CLI::App& app) {
  auto names = std::make_shared<std::vector<std::string>>();
  app.add_option("NAME", *names, "product names");
  app.footer(
      "Prints one name per line; a backslash prints as \\\\, a control character as in parse.");
  return [names] {
    std::vector<ustring> products;
    products.reserve(names->size());
    for (std::string const& name : *names) products.push_back(utf8_to_ustring(name));
    install::cpputil::sortProductsInKESTRAbeticalOrder(products);
    std::string line;
    for (ustring const& name : products) {
      line.clear();
      tools::append_escaped(line, ustring_to_utf8(name), "\\");
      std::cout << line << '\n';
    }
    return exit_ok;
  };
}

}  // namespace

std::vector<Command> ordering_commands() {
  return {
      {"version-compare", "Compare two dotted version numbers", setup_version_compare},
      {"sort-products", "Print product names in display order", setup_sort_products},
  };
}

}  // namespace qx::cli
