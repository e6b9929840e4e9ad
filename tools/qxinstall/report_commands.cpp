// report: what installation logs say about their runs, for a ticket, a script or a browser;
// over a fleet of logs, the failures that occur most.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <condition_variable>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>

#include "cli.hpp"
#include "escape.hpp"
#include "fl/filesystem.hpp"
#include "install/cpputil/input_file_writer.hpp"
#include "install/cpputil/logger.hpp"
#include "log_report.hpp"
#include "report.hpp"

namespace qx::cli {
namespace {

namespace cpputil = install::cpputil;

struct Options {
  std::vector<std::string> logs;
  bool json = false;
  std::string html;
  std::vector<std::string> secret_keys;
  std::string answers;
  std::size_t context = 5;
};

// Each LOG given, after its rotated siblings (its history, oldest first), and the regular files
// under each folder given, in name order; links met in a folder are not followed. CommandError
// (exit 2) for what is neither, or cannot be listed.
std::vector<std::string> log_files(std::vector<std::string> const& given) {
  namespace fs = std::filesystem;
  std::vector<std::string> files;
  for (std::string const& name : given) {
    std::error_code error;
    if (!fs::is_directory(name, error)) {
      if (!fl::i18n::is_valid_utf8(name)) {
        files.push_back(name);  // refused with its reason when it is read
        continue;
      }
      for (auto const& log : cpputil::logger::log_history(fl::filesystem::make_path(name)))
        files.push_back(fl::i18n::ustring_to_utf8(log.string()));  // read, or refused, later
      continue;
    }
    std::vector<std::string> found;
    for (fs::recursive_directory_iterator it(name, error), end; !error && it != end;
         it.increment(error)) {
      if (it->symlink_status(error).type() == fs::file_type::regular) found.push_back(it->path());
    }
    if (error)
      throw CommandError(tools::excerpt(name) + ": the folder cannot be read: " +
                             fl::filesystem::failure_reason(error),
                         exit_usage);
    if (found.empty()) throw CommandError(tools::excerpt(name) + ": holds no file", exit_usage);
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
  }
  return files;
}

// A log read by a worker: its part of the output, ready to print, and what the fleet needs.
struct LogResult {
  std::string path;
  std::string output;
  std::string error;  // why the log could not be read
  bool passed = true;
  // Per run, each failure signature once, with the line where the run shows it first.
  std::vector<std::vector<std::pair<std::string, std::uint64_t>>> signatures;
  std::optional<cpputil::LogSummary> summary;  // kept for the HTML page only
};

LogResult read_log(std::string const& path, Options const& options,
                   cpputil::LogSummaryOptions const& summary_options) {
  LogResult result;
  result.path = path;
  cpputil::LogSummary summary;
  try {
    summary = cpputil::summarizeLog(fl::filesystem::make_path(utf8_name(path)), summary_options);
  } catch (CommandError const& error) {
    result.error = error.what();
    return result;
  } catch (std::exception const& error) {
    result.error = tools::excerpt(path) + ": " + text_of(error);
    return result;
  }
  result.passed = tools::log_passed(summary);
  if (options.json)
    tools::append_log_json(result.output, path, summary);
  else
    tools::append_log_text(result.output, path, summary);
  for (cpputil::LogRunSummary const& run : summary.runs) {
    auto& seen = result.signatures.emplace_back();
    for (cpputil::LogFailure const& failure : run.failures) {
      // Every failed run ends so: the entry says nothing of why.
      if (failure.kind == cpputil::LogEntryKind::run_end) continue;
      std::string signature = tools::failure_signature(failure.message);
      if (std::none_of(seen.begin(), seen.end(),
                       [&signature](auto const& kept) { return kept.first == signature; }))
        seen.emplace_back(std::move(signature), failure.line);
    }
  }
  if (!options.html.empty()) result.summary = std::move(summary);
  return result;
}

// Runs make(i) for i in [0, count) on `workers` threads, this one among them, and use(result)
// in the order of i. Whichever thread finds the next result ready uses it, and those after it
// that are ready too, while the others go on making: no thread waits for another but when it
// runs a window of results ahead of the one to use next, so memory does not grow with `count`.
template <class Make, class Use>
void in_order(std::size_t count, unsigned workers, Make&& make, Use&& use) {
  std::size_t const window = 32 * static_cast<std::size_t>(workers);
  std::mutex mutex;
  std::condition_variable room;
  std::vector<std::optional<LogResult>> slots(window);
  std::size_t next = 0;  // the next index a thread takes
  std::size_t used = 0;  // the next index to use
  unsigned waiting = 0;  // threads waiting for room
  bool using_ = false;   // a thread is using results
  bool stop = false;
  std::exception_ptr failure;
  auto const work = [&] {
    std::unique_lock lock(mutex);
    for (;;) {
      if (!(stop || next >= count || next < used + window)) {
        ++waiting;
        room.wait(lock, [&] { return stop || next >= count || next < used + window; });
        --waiting;
      }
      if (stop || next >= count) return;
      std::size_t const index = next++;
      lock.unlock();
      LogResult result = make(index);
      lock.lock();
      slots[index % window] = std::move(result);
      if (using_) continue;  // the thread using results finds this one
      using_ = true;
      while (!stop && used < count && slots[used % window]) {
        LogResult ready = std::move(*slots[used % window]);
        slots[used % window].reset();
        ++used;
        if (waiting > 0) room.notify_all();
        lock.unlock();
        try {
          use(ready);
        } catch (...) {
          lock.lock();
          failure = std::current_exception();
          stop = true;
          room.notify_all();
          break;
        }
        lock.lock();
      }
      using_ = false;
    }
  };
  // std::thread, joined here: libc++ offered std::jthread only as experimental before LLVM 18.
  std::vector<std::thread> threads;
  struct Join {
    std::vector<std::thread>& threads;
    ~Join() {
      for (std::thread& thread : threads) thread.join();
    }
  };
  {
    Join const join{threads};
    for (unsigned i = 1; i < workers; ++i) threads.emplace_back(work);
    work();
  }
  if (failure) std::rethrow_exception(failure);
}

void print_signatures_text(std::vector<FleetSignature> const& ranked, std::size_t logs,
                           std::size_t runs) {
  constexpr std::size_t shown = 20;
  std::string out = "\nFailure signatures of " + std::to_string(logs) +
                    (logs == 1 ? " log (" : " logs (") + std::to_string(runs) +
                    (runs == 1 ? " run)" : " runs)") + ", by the runs that show them:\n";
  if (ranked.empty()) out += "  none\n";
  for (std::size_t i = 0; i < ranked.size() && i < shown; ++i) {
    std::string const count = std::to_string(ranked[i].runs);
    out += std::string(count.size() < 8 ? 8 - count.size() : 0, ' ') + count + "  ";
    tools::append_escaped(out, ranked[i].signature);
    out += "\n          first in ";
    tools::append_escaped(out, ranked[i].path);
    out += ", line " + std::to_string(ranked[i].line) + "\n";
  }
  if (ranked.size() > shown)
    out += "  ... and " + std::to_string(ranked.size() - shown) + " more (--json lists all)\n";
  std::cout << out;
}

void print_signatures_json(std::vector<FleetSignature> const& ranked) {
  std::string out = "\n  ],\n  \"signatures\": [";
  for (std::size_t i = 0; i < ranked.size(); ++i) {
    out += i == 0 ? "\n    {\"signature\": " : ",\n    {\"signature\": ";
    tools::append_json_string(out, ranked[i].signature);
    out += ", \"runs\": " + std::to_string(ranked[i].runs) + ", \"example\": {\"path\": ";
    tools::append_json_string(out, ranked[i].path);
    out += ", \"line\": " + std::to_string(ranked[i].line) + "}}";
  }
  out += ranked.empty() ? "]\n}\n" : "\n  ]\n}\n";
  std::cout << out;
}

Handler setup_report(CLI::App& app) {
  auto options = std::make_shared<Options>();
  app.add_option("LOG", options->logs, "installation logs, or folders of them")->required();
  app.add_flag("--json", options->json, "print one JSON document");
  app.add_option("--html", options->html, "also write a self-contained HTML page to FILE")
      ->type_name("FILE");
  app.add_option("--secret-keys", options->secret_keys,
                 "keys whose values must not appear in the log")
      ->delimiter(',')
      ->type_name("KEY[,KEY...]");
  app.add_option("--answers", options->answers,
                 "answer file whose values of the secret keys are looked for")
      ->type_name("FILE");
  app.add_option("--context", options->context, "entries shown before the first failure (5)")
      ->type_name("N")
      ->check(CLI::Range(0, 1000));
  app.footer(
      "Per run: outcome (succeeded, failed, cancelled, or unfinished without an end entry),\n"
      "product, times, duration, the first failure with the entries before it, the other\n"
      "failures, the longest gaps, the files copied in and the secrets leaked, each with its\n"
      "line. Secrets are masked wherever the report quotes the log. A log's rotated siblings\n"
      "(install.<UTC time>.log beside install.log) come before it, oldest first; a folder's\n"
      "logs come in name order (per-run logs: the order of their times). Several logs, or\n"
      "folders: then the failures that most runs show, with numbers, paths, quoted text and hex "
      "runs\n"
      "as placeholders. Exit status: 0 every run succeeded and nothing leaked, 1 a run failed,\n"
      "was cancelled or is unfinished, or a secret leaked, 2 a usage or input error.");
  return [options] {
    if (!options->answers.empty() && options->secret_keys.empty())
      throw CommandError("--answers needs --secret-keys: which of its values are secret",
                         exit_usage);
    cpputil::LogSummaryOptions summary_options;
    summary_options.secret_keys = options->secret_keys;
    summary_options.context = options->context;
    if (!options->answers.empty()) {
      static_cast<void>(check_input_file(options->answers));  // refused once, with its reason
      summary_options.answer_file = fl::i18n::utf8_to_ustring(options->answers);
    }
    if (!options->html.empty()) utf8_name(options->html);
    std::vector<std::string> const files = log_files(options->logs);

    int status = exit_ok;
    std::size_t logs = 0;
    std::size_t runs = 0;
    std::unordered_map<std::string, FleetSignature> fleet;
    std::vector<ReportedLog> kept;
    if (options->json) std::cout << "{\n  \"logs\": [";
    unsigned const workers =
        std::clamp<unsigned>(std::thread::hardware_concurrency(), 1,
                             static_cast<unsigned>(std::min<std::size_t>(files.size(), 64)));
    in_order(
        files.size(), workers,
        [&](std::size_t index) { return read_log(files[index], *options, summary_options); },
        [&](LogResult& result) {
          if (!result.error.empty()) {
            std::cerr << "qxinstall report: " << tools::escaped(result.error) << '\n';
            status = exit_usage;
            return;
          }
          if (!result.passed && status == exit_ok) status = exit_failed;
          if (options->json)
            std::cout << (logs == 0 ? "\n" : ",\n");
          else if (logs > 0)
            std::cout << '\n';
          std::cout << result.output;
          ++logs;
          runs += result.signatures.size();
          for (auto const& run : result.signatures) {
            for (auto const& [signature, line] : run) {
              auto [found, added] = fleet.try_emplace(signature);
              if (added) found->second = {signature, 0, result.path, line};
              ++found->second.runs;
            }
          }
          if (result.summary) kept.push_back({result.path, std::move(*result.summary)});
        });

    std::vector<FleetSignature> ranked;
    ranked.reserve(fleet.size());
    for (auto& [signature, seen] : fleet) ranked.push_back(std::move(seen));
    std::sort(ranked.begin(), ranked.end(), [](FleetSignature const& a, FleetSignature const& b) {
      return a.runs != b.runs ? a.runs > b.runs : a.signature < b.signature;
    });
    if (options->json)
      print_signatures_json(ranked);
    else if (files.size() > 1)
      print_signatures_text(ranked, logs, runs);
    if (!options->html.empty()) {
      std::string const page = report_html(kept, ranked);
      try {
        cpputil::writeInputFileText(fl::i18n::utf8_to_ustring(options->html), page);
      } catch (std::runtime_error const& error) {
        throw CommandError(error.what(), exit_usage);
      }
    }
    return status;
  };
}

}  // namespace

std::vector<Command> report_commands() {
  return {{"report", "Summarise installation logs: runs, failures, gaps, copied files, leaks",
           setup_report}};
}

}  // namespace qx::cli
