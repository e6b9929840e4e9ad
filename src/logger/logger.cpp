#include "install/cpputil/logger.hpp"

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "errors/swallow.hpp"
#include "fl/filesystem.hpp"
#include "fl/text.hpp"
#include "foundation/log/diagnostic_logger.hpp"
#include "inputfile/input_lines.hpp"
#include "install/platformutil/platform_utility.hpp"
#include "logger/retention.hpp"
#include "logger/run_ledger.hpp"

namespace install::cpputil::logger {
namespace {

using fl::filesystem::basic_path;
using foundation::log::debug_level;
using foundation::log::info_level;

foundation::log::basic_diagnostic_logger<char> trace_channel("install::cpputil::logger");
install::platformutil::PlatformUtility platform_utility;

// A mutex that knows whether this thread holds it: an entry written from inside it (a trace
// sink that logs what the log traces under it) is dropped instead of waiting for itself.
class log_lock {
 public:
  void lock() {
    mutex_.lock();
    held_here_ = true;
  }
  void unlock() {
    held_here_ = false;
    mutex_.unlock();
  }
  [[nodiscard]] static bool held_here() { return held_here_; }

 private:
  std::mutex mutex_;
  static thread_local bool held_here_;
};
thread_local bool log_lock::held_here_ = false;

// The process-wide log state. log_mutex guards the destination and is held for the whole
// writing of one entry; it is never held while append_message runs.
log_lock log_mutex;
basic_path destination_file;  // as the caller named it
basic_path last_destination_file;
// Where destination_file was found at the Logger's construction, and whether others could
// redirect that name (guarded by log_mutex): the entries go there, whatever moves later.
fl::filesystem::destination destination_judged;
// The shared lock of the run a Logger with a policy started (guarded by log_mutex).
std::optional<fl::filesystem::file_lock> run_lock;
// The same for the default log file, judged again when its name changes (guarded by log_mutex).
basic_path default_named;
fl::filesystem::destination default_judged;

// How a file that other users could have planted is opened: through no link anywhere in its
// path, created private, used only when it is the caller's own regular file with one link.
constexpr fl::filesystem::open_options careful_open{.private_file = true, .create_mode = 0600};

// The write failure handler, with its own lock: it is called after log_mutex is released.
std::mutex handler_mutex;
std::shared_ptr<WriteFailureHandler const> failure_handler;
// Set while the handler runs on this thread: what it logs is not handed back to it.
thread_local bool in_failure_handler = false;
// Entries this thread dropped while it held log_mutex, reported once it is released.
thread_local std::vector<WriteFailure> deferred_failures;

// Made once rather than for every entry (it is too long for the short-string buffer).
std::string const entry_time_format = "%b %d, %Y %H:%M:%S";

basic_path copy_destination() {
  std::lock_guard lock(log_mutex);
  return destination_file;
}

bool has_destination() {
  std::lock_guard lock(log_mutex);
  return !destination_file.empty();
}

// Clears the destination and remembers it as the last one (the Logger's destructor). Both
// paths change under log_mutex: two Loggers may be destroyed at once on two threads. The
// trace lines show the copies taken under it.
void clear_destination() {
  std::unique_lock lock(log_mutex);
  basic_path const current = destination_file;
  if (current.empty()) {
    basic_path const last = last_destination_file;
    lock.unlock();
    FL_TRACE(trace_channel, info_level, "no destination, keep last \"", last, "\"");
    return;
  }
  lock.unlock();
  FL_TRACE(trace_channel, debug_level, "flush destination");
  lock.lock();
  last_destination_file = current;
  lock.unlock();
  FL_TRACE(trace_channel, info_level, " last_destination_file.string()=", current);
  FL_TRACE(trace_channel, debug_level, "unset destination");
  lock.lock();
  destination_file = basic_path();
  run_lock.reset();
}

// Throws std::runtime_error `text` with `reason`, the system's, as its nested exception.
[[noreturn]] void throw_with_reason(std::string const& text, std::exception_ptr reason) {
  try {
    std::rethrow_exception(std::move(reason));
  } catch (...) {
    std::throw_with_nested(std::runtime_error(text));
  }
}

std::exception_ptr system_reason(std::error_code error) {
  return std::make_exception_ptr(std::system_error(error));
}

[[noreturn]] void fail_construction(std::string const& text, std::exception_ptr reason) {
  FL_TRACE(trace_channel, info_level, "set destination:", text);
  throw_with_reason(text, std::move(reason));
}

// A NUL is written as \0: the exception's text ends at a NUL byte, and would name another file.
std::string quoted_utf8(ustring const& text) {
  return '"' + fl::text::escaped(text, {fl::text::escape_style::nul}) + '"';
}

basic_path default_log_file() {
  ustring text = fl::filesystem::temp_directory_name();
  text += u"/quillford_";
  fl::i18n::append_utf16(text, platform_utility.getPlatformUserName());
  text += u".log";
  return fl::filesystem::make_path(text);
}

// Traces why an entry was dropped, after the line that says it was.
void trace_reason(WriteFailure const& failure) {
  FL_TRACE(trace_channel, info_level, "failed entry: ",
           fl::filesystem::failure_reason({failure.error, std::generic_category()}), " (errno ",
           failure.error, "), ", failure.written, " of ", failure.size, " bytes written to ",
           failure.file);
}

// Hands a dropped entry to the handler, if one is set and this thread is not running it.
void report(WriteFailure const& failure) {
  if (in_failure_handler) return;
  std::shared_ptr<WriteFailureHandler const> handler;
  {
    std::lock_guard lock(handler_mutex);
    handler = failure_handler;
  }
  if (!handler) return;
  in_failure_handler = true;
  struct Reset {
    ~Reset() { in_failure_handler = false; }
  } const reset;
  cpputil::detail::swallow([&] { (*handler)(failure); },
                           [](char const* what) {
                             FL_TRACE(trace_channel, info_level, "write failure handler threw: ",
                                      what != nullptr ? what : "an exception of unknown type");
                           });
}

// Hands this thread's entries that were dropped under log_mutex to the handler, now that it
// is released.
void report_deferred() {
  while (!deferred_failures.empty()) {
    WriteFailure const failure = std::move(deferred_failures.front());
    deferred_failures.erase(deferred_failures.begin());
    ledger::note_lost_entry(failure);
    report(failure);
  }
}

// Whether `judged` is where the entries of this process go now: its run is going on there.
bool is_current(fl::filesystem::destination const& judged) {
  std::lock_guard lock(log_mutex);
  return !destination_file.empty() && destination_judged.real_path == judged.real_path;
}

// The constructor of every form: `policy` keeps the log bounded, `default_log` opens it as the
// default log file is always opened.
void set_destination(basic_path const& requested, RetentionPolicy const* policy, bool default_log) {
  // A copy, so that a reference to the live destination stays valid through the switch-over.
  basic_path const ofile = requested;
  FL_TRACE(trace_channel, info_level, "set destination", ofile);

  ustring const parent = fl::filesystem::detail::extract_parent_path(ofile.string());
  basic_path const folder = fl::filesystem::make_path(parent);
  if (!parent.empty()) {
    try {
      if (!fl::filesystem::exists(folder)) fl::filesystem::create_directories(folder);
    } catch (...) {
      std::exception_ptr const reason = std::current_exception();
      if (has_destination()) append_message(unable_to_create_folder_message + parent);
      fail_construction("Install Logger: Cannot create directory " + quoted_utf8(parent), reason);
    }
  }

  // The folders the name really leads through are judged once, here; entries then go to that
  // real path, so neither a later swap of a folder nor a change of the working folder moves them.
  fl::filesystem::destination judged = fl::filesystem::judge_destination(ofile);
  judged.shared = judged.shared || default_log;
  // Opening proves that the file can be created; it is closed again when the constructor ends,
  // unless it holds the lock of a run kept bounded.
  std::error_code error = judged.error;
  retention::run_start started;
  if (!judged.error && policy != nullptr) {
    started =
        retention::start_run(ofile, judged.real_path, judged.shared, *policy, !is_current(judged));
    error = started.open_error;
  } else if (!judged.error) {
    fl::filesystem::basic_ofstream<char> const probe(
        judged.real_path, std::ios::out | std::ios::app,
        judged.shared ? careful_open : fl::filesystem::open_options{});
    error = probe.error();
  }
  if (error) {
    if (has_destination()) append_message(unable_to_create_file_message + ofile.string());
    fail_construction("Install Logger: Cannot open file " + quoted_utf8(ofile.string()),
                      system_reason(error));
  }

  basic_path const old = copy_destination();
  if (!old.empty()) {
    FL_TRACE(trace_channel, info_level, " destination_file.string()=", old,
             " ofile.string()=", ofile);
    append_message(reset_destination_message + old.string() + u" to " + ofile.string());
    clear_destination();
  }

  {
    std::lock_guard lock(log_mutex);
    destination_file = ofile;
    destination_judged = std::move(judged);
    run_lock = std::move(started.lock);
    FL_TRACE(trace_channel, info_level, " destination_file.string()=", destination_file);
  }
  report_deferred();
  // Now that the run's own file is the destination: a handler that logs writes there.
  for (WriteFailure const& failure : started.failures) report(failure);
}

}  // namespace

Logger::Logger(basic_path const& ofile) {
  set_destination(ofile, nullptr, false);
}

Logger::Logger(ustring const& ofile) : Logger(fl::filesystem::make_path(ofile)) {}

Logger::Logger(std::string const& ofile) : Logger(fl::i18n::utf8_to_ustring(ofile)) {}

Logger::Logger(basic_path const& ofile, RetentionPolicy const& policy) {
  set_destination(ofile, &policy, false);
}

Logger::Logger(ustring const& ofile, RetentionPolicy const& policy)
    : Logger(fl::filesystem::make_path(ofile), policy) {}

Logger::Logger(std::string const& ofile, RetentionPolicy const& policy)
    : Logger(fl::i18n::utf8_to_ustring(ofile), policy) {}

Logger::Logger(RetentionPolicy const& policy) {
  set_destination(default_log_file(), &policy, true);
}

// A destructor reports nothing. Only a trace sink that throws, or an allocation failure
// while a trace line is composed, gets here.
Logger::~Logger() {
  cpputil::detail::swallow([] { clear_destination(); }, [](char const*) {});
}

basic_path const& get_destination() {
  std::lock_guard lock(log_mutex);
  return destination_file;
}

basic_path ledger::current_log_file() {
  std::lock_guard lock(log_mutex);
  return destination_file.empty() ? default_log_file() : destination_file;
}

namespace detail {

basic_path const& get_last_destination() {
  return last_destination_file;
}

void forget_last_destination() {
  last_destination_file = basic_path();
}

}  // namespace detail

WriteFailureHandler set_write_failure_handler(WriteFailureHandler handler) {
  auto replacement =
      handler ? std::make_shared<WriteFailureHandler const>(std::move(handler)) : nullptr;
  std::lock_guard lock(handler_mutex);
  std::swap(failure_handler, replacement);
  return replacement ? *replacement : WriteFailureHandler();
}

namespace {

// "(" time ") " message, built in UTF-8 directly: the time text is ASCII, so this is the same
// text as composing in UTF-16 and converting once.
std::string entry_text(ustring const& message) {
  std::string const time = platform_utility.getPlatformCurrentTime(entry_time_format);
  std::string entry;
  entry.reserve(time.size() + message.size() + 5);  // exact for ASCII; both line feeds included
  entry += '(';
  entry += time;
  entry += ") ";
  fl::i18n::append_utf8(entry, message);
  return entry;
}

// Where an entry goes (log_mutex held): the destination as judged when its Logger was made, or
// the default log file, judged again when its name changes. The default file sits in a folder
// other users share, so it is always opened with care; a destination when it was judged shared.
struct target {
  basic_path const& named;
  fl::filesystem::destination const& judged;
  bool careful;
};

target current_target() {
  if (!destination_file.empty())
    return {destination_file, destination_judged, destination_judged.shared};
  basic_path named = default_log_file();
  if (named != default_named || default_judged.error) {
    default_judged = fl::filesystem::judge_destination(named);
    default_named = std::move(named);
  }
  return {default_named, default_judged, true};
}

// Writes one entry under log_mutex; what went wrong, if anything.
std::optional<WriteFailure> write_entry(ustring const& message) {
  std::unique_lock lock(log_mutex);
  std::string entry = entry_text(message);
  // The destination cannot change while log_mutex is held, so it is used in place.
  target const to = current_target();
  fl::filesystem::basic_ofstream<char> stream(
      to.judged.real_path, std::ios::in | std::ios::out | std::ios::app,
      to.careful ? careful_open : fl::filesystem::open_options{});
  if (!stream.is_open()) {
    FL_TRACE(trace_channel, info_level, "failed to open destination_file for u8msg ", entry);
    std::error_code const error = to.judged.error ? to.judged.error : stream.error();
    WriteFailure failure{to.named, WriteFailure::Step::open, error.value(),
                         0,        entry.size() + 1,         {}};
    trace_reason(failure);
    failure.entry = std::move(entry);
    return failure;
  }
  // A file that does not end a line holds what a killed or failed writer left: the entry
  // starts on a line of its own rather than glued onto that fragment.
  bool const apart = !stream.at_line_start();
  if (apart) stream.put('\n');
  entry.push_back('\n');
  stream << entry;
  stream.flush();  // one write(2) for the whole entry
  stream.close();
  if (!stream.fail()) {
    // The stream and the texts are released after the lock, which other writers wait for.
    lock.unlock();
    return std::nullopt;
  }
  std::size_t const written = stream.written() > (apart ? 1U : 0U) ? stream.written() - apart : 0;
  WriteFailure failure{
      to.named, WriteFailure::Step::write, stream.error().value(), written, entry.size(), {}};
  entry.pop_back();
  FL_TRACE(trace_channel, info_level, "failed to write destination_file for u8msg ", entry);
  trace_reason(failure);
  failure.entry = std::move(entry);
  return failure;
}

// An entry written on the thread that holds log_mutex (a trace sink that logs what the log
// traces under it): waiting would never end, so it is dropped and reported once the mutex is
// released. Nothing is traced here, or such a sink would log again without end.
void defer_dropped(ustring const& message) {
  basic_path const& file = destination_file.empty() ? default_named : destination_file;
  std::string entry = entry_text(message);
  std::size_t const size = entry.size() + 1;
  deferred_failures.push_back({file, WriteFailure::Step::open, EDEADLK, 0, size, std::move(entry)});
}

}  // namespace

void append_message(ustring const& message) {
  FL_TRACE(trace_channel, info_level, " msg=", message);
  if (message.empty()) return;
  if (log_lock::held_here()) return defer_dropped(message);
  std::optional<WriteFailure> const failure = write_entry(message);
  report_deferred();
  if (failure) {
    ledger::note_lost_entry(*failure);
    report(*failure);
  }
}

void append_message(std::string const& message) {
  append_message(fl::i18n::utf8_to_ustring(message));
}

namespace {

// append_file's work: the checks, then the framed entry with each line as `copy` gives it.
// `copy` appends a line to the entry, or returns why the whole content must be withheld.
// The lines are traced as they stand in the entry, once it is complete.
template <class Copy>
void append_framed(ustring const& file, Copy&& copy) {
  if (!has_destination()) {
    FL_TRACE(trace_channel, debug_level, "append_file: The output file destination is not set.");
    throw std::runtime_error("Logger destination was not initialized.");
  }
  basic_path const path = fl::filesystem::make_path(file);
  if (!fl::filesystem::exists(path)) {
    FL_TRACE(trace_channel, debug_level, "append_file: The file does not exist.");
    throw std::runtime_error("The file does not exist.");
  }

  std::string const name = fl::i18n::ustring_to_utf8(file);
  std::string entry = "Content of the file " + name + "\n";
  std::size_t const body = entry.size();
  fl::filesystem::line_reader input(path);
  if (!input.is_open())
    throw_with_reason("append_file: Cannot open file.", system_reason(input.error()));
  std::string line;
  for (bool first = true; input.next(line); first = false) {
    if (char const* const withheld = copy(entry, line, first)) {
      entry.resize(body);
      entry += withheld;
      entry.push_back('\n');
      break;
    }
    entry.push_back('\n');
  }
  if (trace_channel.is_enabled(info_level)) {
    std::string_view lines = std::string_view(entry).substr(body);
    for (auto end = lines.find('\n'); end != std::string_view::npos; end = lines.find('\n')) {
      FL_TRACE(trace_channel, info_level, " line=", lines.substr(0, end));
      lines.remove_prefix(end + 1);
    }
  }
  entry += "End of the file ";
  entry += name;
  append_message(fl::i18n::utf8_to_ustring(entry));
}

// Why a redacted copy withholds a file it cannot read as the parser reads text (its keys
// would go unseen, and their secrets into the log), or nullptr. A carriage return inside a line
// ends a line for a reader of the log, not for the parser.
char const* unreadable_as_text(std::string_view line, bool first) {
  using fl::text::encoding;
  encoding const form = first ? fl::text::find_byte_order_mark(line).form : encoding::utf8;
  if (form == encoding::utf32le || form == encoding::utf32be)
    return "Content withheld: the file begins with a UTF-32 byte-order mark, so the values to "
           "redact cannot be found in it";
  if (form != encoding::utf8)
    return "Content withheld: the file begins with a UTF-16 byte-order mark, so the values to "
           "redact cannot be found in it";
  if (line.find('\0') != std::string_view::npos)
    return "Content withheld: the file holds a NUL byte, so the values to redact cannot be "
           "found in it";
  if (auto const cr = line.find('\r'); cr != std::string_view::npos && cr + 1 < line.size())
    return "Content withheld: the file uses a carriage return without a line feed as a line "
           "end, so the values to redact cannot be found in it";
  return nullptr;
}

// `line` with the value of an assignment, or the entry of a list line, of one of `keys`
// replaced: everything but the trimmed value after the run of '=' or '.' stays, a trailing CR
// included.
void copy_redacted(std::string& entry, std::string_view line, std::set<std::string> const& keys) {
  namespace lines = input_lines;
  std::size_t const separator = lines::separator_of(line);
  if (separator == std::string_view::npos || !lines::is_content(lines::trim(line)) ||
      !keys.contains(lines::key_of(line.substr(0, separator)))) {
    entry += line;
    return;
  }
  std::string_view const value = lines::value_text(line, separator);
  std::size_t const end = lines::rtrim(line).size();
  std::size_t const start =
      value.empty() ? end : static_cast<std::size_t>(value.data() - line.data());
  entry += line.substr(0, start);
  entry += "********";
  entry += line.substr(end);
}

}  // namespace

void append_file(ustring const& file) {
  append_framed(file, [](std::string& entry, std::string const& line, bool) -> char const* {
    entry += line;
    return nullptr;
  });
}

void append_file_redacted(ustring const& file, std::vector<std::string> const& keys) {
  std::set<std::string> wanted;
  for (std::string const& key : keys) wanted.insert(input_lines::key_of(key));
  append_framed(file, [&wanted](std::string& entry, std::string const& line, bool first) {
    if (char const* const withheld = unreadable_as_text(line, first)) return withheld;
    copy_redacted(entry, line, wanted);
    return static_cast<char const*>(nullptr);
  });
}
void append_file(std::string const& file) {
  append_file(fl::i18n::utf8_to_ustring(file));
}

void append_file(basic_path const& file) {
  append_file(ustring(file.string()));
}

}  // namespace install::cpputil::logger
