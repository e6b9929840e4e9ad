// A walk through an unattended installation, the way an installer front end uses the library:
// open the installation log, read the input file, validate the answers, order the products,
// compare versions, cancel a worker from another thread, copy the input file into the log,
// record the answers for a silent replay. It ends by printing the property map, the log and
// the report of the log, as a support engineer would read it.
//
//   unattended_install [INPUT_FILE [RULES_FILE]]   (defaults: the files beside this source)
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <latch>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "diagnostic_text.hpp"
#include "escape.hpp"
#include "fl/filesystem.hpp"
#include "install/cpputil.hpp"
#include "log_report.hpp"
#include "property_map_text.hpp"

namespace cpputil = install::cpputil;
namespace logger = install::cpputil::logger;
namespace interrupt = install::cpputil::interrupt;
using fl::i18n::ustring_to_utf8;
using fl::i18n::utf8_to_ustring;

namespace {

void heading(std::string const& title) {
  std::cout << '\n' << title << '\n';
}

void say(std::string const& text) {
  std::cout << "   " << text << '\n';
}

[[nodiscard]] std::string join(std::vector<ustring> const& names) {
  std::string text;
  for (ustring const& name : names) text += (text.empty() ? "" : ", ") + ustring_to_utf8(name);
  return text;
}

[[nodiscard]] std::string single_value(cpputil::PropertyMap const& map, ustring const& key) {
  auto const found = map.find(key);
  if (found == map.end() || !std::holds_alternative<ustring>(found->second))
    throw std::runtime_error("the input file has no answer for " + ustring_to_utf8(key));
  return ustring_to_utf8(std::get<ustring>(found->second));
}

/// Copies "files" until the interrupt flag stops it; returns how many it finished.
int copy_files(int total, std::latch& started, std::string& stop_reason) {
  int copied = 0;
  try {
    for (; copied < total; ++copied) {
      interrupt::throw_if_set("copying files");
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      if (copied == 2) started.count_down();  // a few files are done: the user may cancel now
    }
  } catch (interrupt::Exception const& cancelled) {
    stop_reason = cancelled.what();
    logger::append_message("Copy cancelled after " + std::to_string(copied) +
                           " files: " + stop_reason);
  }
  return copied;
}

int walk(std::filesystem::path const& input, std::filesystem::path const& rules_file) {
  std::filesystem::path const log_path = std::filesystem::path(QX_EXAMPLE_LOG_DIR) / "install.log";
  std::filesystem::remove(log_path);  // start every run with a fresh log

  std::cout << "Unattended installation walkthrough\n"
            << "   input file: " << input.string() << '\n'
            << "   rules:      " << rules_file.string() << '\n'
            << "   log:        " << log_path.string() << '\n';
  cpputil::PropertyMap map;
  {
    heading("1. Open the installation log");
    logger::Logger const log(log_path.string());
    logger::begin_run({"Kestra", "2024.10"});
    logger::append_message(std::string("Unattended installation started"));
    say("A Logger points the process's log at the file above; append_message() writes");
    say("time-stamped entries there until the Logger is destroyed. begin_run() opened the run");
    say("with the product, its version, this process, the user, the host and the time zone.");

    heading("2. Read the input file");
    map = cpputil::InputFileParser().parse(utf8_to_ustring(input.string()));
    logger::append_message("Input file read: " + std::to_string(map.size()) + " properties");
    say("InputFileParser::parse() kept " + std::to_string(map.size()) +
        " properties: comments and blank lines dropped, keys");
    say("lower-cased, product./platform. lines gathered into lists.");
    cpputil::RulesFile const rules_read =
        cpputil::readRulesFile(utf8_to_ustring(rules_file.string()));
    if (!rules_read.findings.empty())
      throw std::runtime_error(rules_file.string() + ":" +
                               std::to_string(rules_read.findings.front().line) + ": " +
                               rules_read.findings.front().message);
    auto const& rules = rules_read.rules;
    auto const report = cpputil::checkInputFile(utf8_to_ustring(input.string()), rules);
    say("checkInputFile() read it again with diagnostics: " +
        std::to_string(report.diagnostics.size()) + " findings, such as:");
    for (std::size_t i = 0; i < report.diagnostics.size() && i < 3; ++i) {
      say("  " + qx::tools::escaped(input.filename().string()) + ':' +
          qx::tools::diagnostic_text(report.diagnostics[i]));
    }

    heading("3. Validate the answers");
    auto const arguments = cpputil::toValidationArguments(map);  // single values; lists left out
    cpputil::validate_args(arguments, rules);                    // throws on the first failure
    logger::append_message("All answers are valid");
    std::size_t checked = 0;
    for (auto const& entry : arguments) checked += rules.count(entry.first);
    say("validate_args() checked the " + std::to_string(checked) + " of " +
        std::to_string(arguments.size()) + " answers that have a rule: all pass.");
    say("Wrong answers throw; a failed file rule also writes two lines to the log:");
    try {
      cpputil::validate_arg("port", "eighty", "intval");
    } catch (std::invalid_argument const& wrong) {
      say("  std::invalid_argument: " + std::string(wrong.what()));
    }
    try {
      cpputil::validate_arg("license_file", "no/such/license.txt", "rfile");
    } catch (std::runtime_error const& missing) {
      say("  std::runtime_error:    " + std::string(missing.what()));
    }

    heading("4. Order the products for display");
    auto products = std::get<std::vector<ustring>>(map.at(u"product"));
    say("as listed:  " + join(products));
    cpputil::sortProductsInKESTRAbeticalOrder(products);
    say("as shown:   " + join(products));
    say("The five known products come first in their fixed order, then the rest");
    say("alphabetically, ignoring case.");
    logger::append_message("Products: " + join(products));

    heading("5. Compare versions");
    std::string const installed = single_value(map, u"installed_version");
    std::string const offered = single_value(map, u"offered_version");
    int const order = cpputil::VersionComparator().compareVersionNumbers(utf8_to_ustring(installed),
                                                                         utf8_to_ustring(offered));
    std::string const verdict = order < 0 ? "an upgrade" : order > 0 ? "a downgrade" : "a repair";
    say("compareVersionNumbers(\"" + installed + "\", \"" + offered +
        "\") = " + std::to_string(order) + ": this is " + verdict + ".");
    say("Pieces compare as numbers, so 10 is above 9 although \"10\" < \"9\" as text.");
    logger::append_message("Installing " + offered + " over " + installed + ": " + verdict);

    heading("6. Cancel a worker from another thread");
    constexpr int total_files = 1000;
    std::latch started(1);
    std::string stop_reason;
    int copied = 0;
    std::thread worker([&] { copied = copy_files(total_files, started, stop_reason); });
    std::thread canceller([&] {
      started.wait();
      interrupt::set();  // what a Cancel button does
    });
    canceller.join();
    worker.join();
    interrupt::detail::unset();  // ready for the next run of the workflow
    say("The worker polls interrupt::throw_if_set() between files; the canceller thread");
    say("called interrupt::set(), and the next poll threw interrupt::Exception.");
    say("Stopped after " + std::to_string(copied) + " of " + std::to_string(total_files) +
        " files: \"" + stop_reason + "\"");

    heading("7. Copy the input file into the log, secrets hidden");
    logger::append_file_redacted(utf8_to_ustring(input.string()), {"license_key"});
    say("append_file_redacted() wrote the whole file as one entry, framed by \"Content of the");
    say("file\" and \"End of the file\" lines, with the license_key value as ********.");

    heading("8. Record the answers for a silent replay");
    std::filesystem::path const recorded =
        std::filesystem::path(QX_EXAMPLE_LOG_DIR) / "recorded_answers.txt";
    cpputil::writeInputFile(utf8_to_ustring(recorded.string()), map,
                            {{"license_key"}, "Answers of the walkthrough, for a silent replay"});
    logger::append_message("Answers recorded in " + recorded.string());
    auto const replay = cpputil::checkInputFile(utf8_to_ustring(recorded.string()), rules);
    say("writeInputFile() wrote them atomically, mode 0600, the licence key withheld; parse()");
    say("of the file gives the same map without it. checkInputFile() of the recording with the");
    say("rules: " + std::to_string(replay.diagnostics.size()) +
        " findings, the keys that have no rule:");
    for (auto const& found : replay.diagnostics)
      say("  " + recorded.filename().string() + ':' + qx::tools::diagnostic_text(found));
    say("The file:");
    std::ifstream recorded_text(recorded);
    for (std::string line; std::getline(recorded_text, line);) say("  " + line);
    logger::append_message(std::string("Unattended installation finished"));
    logger::end_run(logger::RunOutcome::succeeded);
  }
  heading("9. Close the log");
  say("The Logger is gone: get_destination() is empty again and the last destination is");
  say(ustring_to_utf8(logger::detail::get_last_destination().string()) + ".");
  say("Messages from now on would go to the per-user default log in the temp folder.");

  heading("The property map (license_key hidden here too)");
  if (map.contains(u"license_key")) map[u"license_key"] = ustring(u"********");
  qx::tools::write_text(std::cout, map);

  heading("The log");
  std::ifstream log_text(log_path);
  std::cout << std::string(std::istreambuf_iterator<char>(log_text),
                           std::istreambuf_iterator<char>());

  heading("The report of the log (qxinstall report " + log_path.filename().string() +
          " --secret-keys license_key)");
  cpputil::LogSummaryOptions options;
  options.secret_keys = {"license_key"};
  std::string report;
  qx::tools::append_log_text(
      report, log_path.filename().string(),
      cpputil::summarizeLog(fl::filesystem::make_path(log_path.string()), options));
  std::cout << report;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 3) {
    std::cerr << "usage: unattended_install [INPUT_FILE [RULES_FILE]]\n";
    return 2;
  }
  std::filesystem::path const input =
      argc > 1 ? argv[1] : std::filesystem::path(QX_EXAMPLE_DIR) / "installer_input.txt";
  std::filesystem::path const rules =
      argc > 2 ? argv[2] : std::filesystem::path(QX_EXAMPLE_DIR) / "rules.txt";
  for (auto const& file : {input, rules}) {
    if (!std::filesystem::is_regular_file(file)) {
      std::cerr << "unattended_install: " << file.string() << ": no such file\n";
      return 1;
    }
  }
  try {
    return walk(input, rules);
  } catch (std::exception const& error) {
    std::cerr << "unattended_install: " << error.what() << '\n';
    return 1;
  }
}
