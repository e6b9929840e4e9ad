// qxinstall: the library's services from the command line, for scripts and for trying the
// library out. Exit status: 0 success, 1 a check failed, 2 a usage or input error. Every
// error is one line on stderr that names the command and the file or argument concerned.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "fl/filesystem.hpp"
#include "fl/i18n.hpp"
#include "install/cpputil.hpp"

namespace cpputil = install::cpputil;
namespace logger = install::cpputil::logger;
using fl::i18n::ustring_to_utf8;
using fl::i18n::utf8_to_ustring;

namespace {

constexpr int exit_ok = 0;
constexpr int exit_failed = 1;
constexpr int exit_usage = 2;

/// Ends a command with a one-line message on stderr and the given exit status.
class CommandError : public std::runtime_error {
 public:
  CommandError(std::string const& message, int status)
      : std::runtime_error(message), status_(status) {}
  [[nodiscard]] int status() const noexcept { return status_; }

 private:
  int status_;
};

[[nodiscard]] std::string in_quotes(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

/// Throws CommandError naming `path` unless it is a file this process can read. The library
/// reads a folder or an unreadable file as an empty one; a user deserves to be told.
void require_readable_file(std::string const& path) {
  std::error_code error;
  auto const status = std::filesystem::status(path, error);
  if (!std::filesystem::exists(status)) throw CommandError(path + ": no such file", exit_usage);
  if (std::filesystem::is_directory(status))
    throw CommandError(path + ": is a folder, not a file", exit_usage);
  if (!std::ifstream(path).is_open()) throw CommandError(path + ": cannot be read", exit_usage);
}

[[nodiscard]] cpputil::PropertyMap parse_input_file(std::string const& path) {
  require_readable_file(path);
  try {
    return cpputil::InputFileParser().parse(utf8_to_ustring(path));
  } catch (std::runtime_error const& error) {
    throw CommandError(path + ": " + error.what(), exit_usage);
  }
}

/// Points the installation log at `path` for the command's lifetime when a path is given.
[[nodiscard]] std::optional<logger::Logger> open_log(std::string const& path) {
  if (path.empty()) return std::nullopt;
  try {
    return std::optional<logger::Logger>(std::in_place, path);
  } catch (std::runtime_error const& error) {
    throw CommandError(error.what(), exit_usage);
  }
}

void print_text(cpputil::PropertyMap const& map) {
  for (auto const& [key, value] : map) {
    std::string const name = ustring_to_utf8(key);
    if (auto const* single = std::get_if<ustring>(&value)) {
      std::cout << name << '=' << ustring_to_utf8(*single) << '\n';
    } else {
      for (ustring const& entry : std::get<std::vector<ustring>>(value))
        std::cout << name << "[]=" << ustring_to_utf8(entry) << '\n';
    }
  }
}

void print_json(cpputil::PropertyMap const& map) {
  // ordered_json keeps the property map's order (UTF-16 code units), not UTF-8 byte order.
  auto json = nlohmann::ordered_json::object();
  for (auto const& [key, value] : map) {
    if (auto const* single = std::get_if<ustring>(&value)) {
      json[ustring_to_utf8(key)] = ustring_to_utf8(*single);
    } else {
      auto list = nlohmann::ordered_json::array();
      for (ustring const& entry : std::get<std::vector<ustring>>(value))
        list.push_back(ustring_to_utf8(entry));
      json[ustring_to_utf8(key)] = std::move(list);
    }
  }
  std::cout << json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

/// Reads `key=rule` lines. Blank lines and '#' comments are skipped as in an input file, and
/// keys are lower-cased because the input file's keys are.
[[nodiscard]] std::map<std::string, std::string> read_rules(std::string const& path) {
  require_readable_file(path);
  std::ifstream in(path);
  cpputil::InputFileParser const text;
  std::map<std::string, std::string> rules;
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    line = text.trim(line);
    if (!shouldAppend(line)) continue;
    auto const equals = line.find('=');
    std::string const key = equals == std::string::npos
                                ? ""
                                : text.stringToLowerCase(text.trim(line.substr(0, equals)));
    if (key.empty()) {
      throw CommandError(
          path + ":" + std::to_string(number) + ": expected key=rule, found " + in_quotes(line),
          exit_usage);
    }
    rules[key] = text.trim(line.substr(equals + 1));
  }
  return rules;
}

struct Options {
  std::string file;
  std::string rules;
  std::string log;
  std::string url;
  std::string install_path;
  std::string first;
  std::string second;
  std::vector<std::string> words;
  bool json = false;
};

int run_parse(Options const& options) {
  auto const map = parse_input_file(options.file);
  options.json ? print_json(map) : print_text(map);
  return exit_ok;
}

int run_check(Options const& options) {
  auto const rules = read_rules(options.rules);
  auto const map = parse_input_file(options.file);
  auto const log = open_log(options.log);
  std::map<std::string, std::string> arguments;
  for (auto const& [key, value] : map) {
    if (auto const* single = std::get_if<ustring>(&value))
      arguments.emplace(ustring_to_utf8(key), ustring_to_utf8(*single));
  }
  try {
    cpputil::validate_args(arguments, rules);
  } catch (std::exception const& failure) {
    std::cout << failure.what() << '\n';
    return exit_failed;
  }
  std::size_t checked = 0;
  for (auto const& entry : arguments) checked += rules.count(entry.first);
  std::cout << "ok: " << checked << " of " << arguments.size() << " values checked\n";
  return exit_ok;
}

int run_version_compare(Options const& options) {
  auto const failure = [&](char const* reason) {
    return CommandError("cannot compare " + in_quotes(options.first) + " with " +
                            in_quotes(options.second) + ": " + reason,
                        exit_usage);
  };
  try {
    std::cout << cpputil::VersionComparator().compareVersionNumbers(utf8_to_ustring(options.first),
                                                                    utf8_to_ustring(options.second))
              << '\n';
  } catch (std::invalid_argument const&) {
    throw failure("a piece has no leading digits");
  } catch (std::out_of_range const&) {
    throw failure("a piece is beyond the int range");
  }
  return exit_ok;
}

int run_sort_products(Options const& options) {
  std::vector<ustring> products;
  products.reserve(options.words.size());
  for (std::string const& name : options.words) products.push_back(utf8_to_ustring(name));
  cpputil::sortProductsInKESTRAbeticalOrder(products);
  for (ustring const& name : products) std::cout << ustring_to_utf8(name) << '\n';
  return exit_ok;
}

int run_url_allowed(Options const& options) {
  bool const allowed = cpputil::URLOpener::isAllowedUrl(options.url);
  std::cout << (allowed ? "allowed" : "refused") << '\n';
  return allowed ? exit_ok : exit_failed;
}

int run_open(Options const& options) {
  if (!cpputil::URLOpener::isAllowedUrl(options.url)) {
    throw CommandError("refused " + in_quotes(options.url) +
                           ": only https URLs on quillford.com and file URLs of .txt or .pdf "
                           "documents are opened",
                       exit_failed);
  }
  if (!cpputil::URLOpener().openUrl(utf8_to_ustring(options.url))) {
    throw CommandError(
        "the opener could not open " + in_quotes(options.url) + " (the installation log says why)",
        exit_failed);
  }
  return exit_ok;
}

int run_locale(Options const&) {
  std::cout << ustring_to_utf8(cpputil::installer_locale::getLocale()) << '\n';
  return exit_ok;
}

int run_sandbox(Options const& options) {
  if (!options.install_path.empty())
    fl::filesystem::set_install_path(utf8_to_ustring(options.install_path));
  std::cout << (cpputil::SandboxWorkflowDetector().isSandboxWorkflow() ? "yes" : "no") << '\n';
  return exit_ok;
}

int run_log(Options const& options) {
  auto const log = open_log(options.log);
  std::string message;
  for (std::string const& word : options.words) message += (message.empty() ? "" : " ") + word;
  logger::append_message(message);
  return exit_ok;
}

int run_log_file(Options const& options) {
  auto const log = open_log(options.log);
  try {
    logger::append_file(options.file);
  } catch (std::runtime_error const& error) {
    throw CommandError(options.file + ": " + error.what(), exit_usage);
  }
  return exit_ok;
}

struct Command {
  CLI::App* app;
  int (*run)(Options const&);
};

[[nodiscard]] std::string command_name(CLI::App const& app) {
  auto const selected = app.get_subcommands();
  return selected.empty() ? app.get_name() : app.get_name() + " " + selected.front()->get_name();
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Services of libqxinstall_cpputil for scripts and for trying the library out.",
               "qxinstall"};
  app.footer("Exit status: 0 success, 1 a check failed, 2 a usage or input error.");
  app.require_subcommand(1);
  Options options;

  auto* parse = app.add_subcommand("parse", "Print an input file's property map");
  parse->add_option("FILE", options.file, "installer input file")->required();
  parse->add_flag("--json", options.json, "print a JSON object instead of key=value lines");
  parse->footer("Single values print as key=value, list entries as key[]=entry, in map order.");

  auto* check = app.add_subcommand("check", "Validate an input file's values against rules");
  check->add_option("FILE", options.file, "installer input file")->required();
  check->add_option("--rules", options.rules, "file of key=rule lines")
      ->required()
      ->type_name("RULES");
  check->add_option("--log", options.log, "installation log for the notes of a failed rfile rule")
      ->type_name("LOG");
  check->footer(
      "Rules: strval:a,b,... (one of the values), boolval, intval, rfile (a non-empty file).\n"
      "Prints the first failure and exits 1, or prints ok.");

  auto* compare = app.add_subcommand("version-compare", "Compare two dotted version numbers");
  compare->add_option("A", options.first, "first version")->required();
  compare->add_option("B", options.second, "second version")->required();
  compare->footer("Prints -1, 0 or 1 as A is lower than, equal to or higher than B.");

  auto* sort = app.add_subcommand("sort-products", "Print product names in display order");
  sort->add_option("NAME", options.words, "product names");

  auto* allowed = app.add_subcommand("url-allowed", "Tell whether a URL may be opened");
  allowed->add_option("URL", options.url, "URL to test")->required();
  allowed->footer("Prints allowed (exit 0) or refused (exit 1).");

  auto* open = app.add_subcommand("open", "Open an allowed URL with the system's opener");
  open->add_option("URL", options.url, "URL to open")->required();
  open->footer("A URL that url-allowed refuses is not opened (exit 1).");

  auto* locale = app.add_subcommand("locale", "Print the user's locale as language_REGION");

  auto* sandbox = app.add_subcommand("sandbox", "Tell whether the sandbox workflow is active");
  sandbox
      ->add_option("--install-path", options.install_path,
                   "install folder to test instead of the library's own")
      ->type_name("DIR");
  sandbox->footer("Prints yes when a qx_anchor entry sits beside the install folder, else no.");

  auto* log = app.add_subcommand("log", "Append a message to the installation log");
  log->add_option("--to", options.log, "log file (default: the per-user log in the temp folder)")
      ->type_name("FILE");
  log->add_option("MESSAGE", options.words, "words of the message, joined by blanks")->required();

  auto* log_file = app.add_subcommand("log-file", "Append a text file to the installation log");
  log_file->add_option("--to", options.log, "log file")->required()->type_name("FILE");
  log_file->add_option("PATH", options.file, "text file to copy into the log")->required();

  std::vector<Command> const commands{
      {parse, run_parse},        {check, run_check},         {compare, run_version_compare},
      {sort, run_sort_products}, {allowed, run_url_allowed}, {open, run_open},
      {locale, run_locale},      {sandbox, run_sandbox},     {log, run_log},
      {log_file, run_log_file}};

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(error);
    if (app.get_subcommands().empty() && argc > 1 && argv[1][0] != '-') {
      std::cerr << "qxinstall: unknown command " << in_quotes(argv[1])
                << " (see qxinstall --help)\n";
      return exit_usage;
    }
    std::cerr << command_name(app) << ": " << error.what() << " (see " << command_name(app)
              << " --help)\n";
    return exit_usage;
  } catch (std::exception const& error) {
    std::cerr << "qxinstall: " << error.what() << '\n';
    return exit_usage;
  }

  std::string const name = command_name(app);
  try {
    for (Command const& command : commands) {
      if (command.app->parsed()) return command.run(options);
    }
  } catch (CommandError const& error) {
    std::cerr << name << ": " << error.what() << '\n';
    return error.status();
  } catch (std::exception const& error) {
    std::cerr << name << ": " << error.what() << '\n';
    return exit_usage;
  } catch (...) {
    std::cerr << name << ": unexpected error\n";
    return exit_usage;
  }
  return exit_usage;
}
