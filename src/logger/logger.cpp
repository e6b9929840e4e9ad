#include "install/cpputil/logger.hpp"

#include <mutex>
#include <set>
#include <stdexcept>

#include "fl/filesystem.hpp"
#include "foundation/log/diagnostic_logger.hpp"
#include "inputfile/input_lines.hpp"
#include "install/platformutil/platform_utility.hpp"

namespace install::cpputil::logger {
namespace {

using fl::filesystem::basic_path;
using foundation::log::debug_level;
using foundation::log::info_level;

foundation::log::basic_diagnostic_logger<char> trace_channel("install::cpputil::logger");
install::platformutil::PlatformUtility platform_utility;

// The process-wide log state. log_mutex guards destination_file and is held for the whole
// writing of one entry; it is never held while append_message runs.
std::mutex log_mutex;
basic_path destination_file;
basic_path last_destination_file;

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

// Clears the destination and remembers it as the last one (the Logger's destructor).
void clear_destination() {
  basic_path const current = copy_destination();
  if (current.empty()) {
    FL_TRACE(trace_channel, info_level, "no destination, keep last \"", last_destination_file,
             "\"");
    return;
  }
  FL_TRACE(trace_channel, debug_level, "flush destination");
  last_destination_file = current;
  FL_TRACE(trace_channel, info_level, " last_destination_file.string()=", last_destination_file);
  FL_TRACE(trace_channel, debug_level, "unset destination");
  std::lock_guard lock(log_mutex);
  destination_file = basic_path();
}

[[noreturn]] void fail_construction(std::string text) {
  FL_TRACE(trace_channel, info_level, "set destination:", text);
  throw std::runtime_error(text);
}

std::string quoted_utf8(ustring const& text) {
  std::string out = "\"";
  fl::i18n::append_utf8(out, text);
  out.push_back('"');
  return out;
}

basic_path default_log_file() {
  ustring text = fl::filesystem::temp_directory_name();
  text += u"/quillford_";
  fl::i18n::append_utf16(text, platform_utility.getPlatformUserName());
  text += u".log";
  return fl::filesystem::make_path(text);
}

}  // namespace

Logger::Logger(basic_path const& requested) {
  // A copy, so that a reference to the live destination stays valid through the switch-over.
  basic_path const ofile = requested;
  FL_TRACE(trace_channel, info_level, "set destination", ofile);

  ustring const parent = fl::filesystem::detail::extract_parent_path(ofile.string());
  if (!parent.empty()) {
    basic_path const folder = fl::filesystem::make_path(parent);
    try {
      if (!fl::filesystem::exists(folder)) fl::filesystem::create_directories(folder);
    } catch (...) {
      if (has_destination()) append_message(unable_to_create_folder_message + parent);
      fail_construction("Install Logger: Cannot create directory " + quoted_utf8(parent));
    }
  }

  // Opening proves that the file can be created; it is closed again when the constructor ends.
  fl::filesystem::basic_ofstream<char> probe(ofile, std::ios::out | std::ios::app);
  if (!probe.is_open()) {
    if (has_destination()) append_message(unable_to_create_file_message + ofile.string());
    fail_construction("Install Logger: Cannot open file " + quoted_utf8(ofile.string()));
  }

  basic_path const old = copy_destination();
  if (!old.empty()) {
    FL_TRACE(trace_channel, info_level, " destination_file.string()=", old,
             " ofile.string()=", ofile);
    append_message(reset_destination_message + old.string() + u" to " + ofile.string());
    clear_destination();
  }

  std::lock_guard lock(log_mutex);
  destination_file = ofile;
  FL_TRACE(trace_channel, info_level, " destination_file.string()=", destination_file);
}

Logger::Logger(ustring const& ofile) : Logger(fl::filesystem::make_path(ofile)) {}

Logger::Logger(std::string const& ofile) : Logger(fl::i18n::utf8_to_ustring(ofile)) {}

// The one place this unit swallows exceptions: a destructor reports nothing. Only a trace
// sink that throws, or an allocation failure while a trace line is composed, gets here.
Logger::~Logger() {
  try {
    clear_destination();
  } catch (...) {
  }
}

basic_path const& get_destination() {
  std::lock_guard lock(log_mutex);
  return destination_file;
}

namespace detail {

basic_path const& get_last_destination() {
  return last_destination_file;
}

void forget_last_destination() {
  last_destination_file = basic_path();
}

}  // namespace detail

void append_message(ustring const& message) {
  FL_TRACE(trace_channel, info_level, " msg=", message);
  if (message.empty()) return;

  std::unique_lock lock(log_mutex);
  // "(" time ") " message, built in UTF-8 directly: the time text is ASCII, so this is the
  // same text as composing in UTF-16 and converting once.
  std::string const time = platform_utility.getPlatformCurrentTime(entry_time_format);
  std::string entry;
  entry.reserve(time.size() + message.size() + 4);  // exact for ASCII; "\n" included
  entry += '(';
  entry += time;
  entry += ") ";
  fl::i18n::append_utf8(entry, message);

  // The destination cannot change while log_mutex is held, so it is used in place.
  bool const to_default = destination_file.empty();
  basic_path const default_file = to_default ? default_log_file() : basic_path();
  basic_path const& file = to_default ? default_file : destination_file;
  // The default file sits in a folder other users may share: never follow a planted link.
  fl::filesystem::open_options const options =
      to_default ? fl::filesystem::open_options{.private_file = true, .create_mode = 0600}
                 : fl::filesystem::open_options{};
  fl::filesystem::basic_ofstream<char> stream(file, std::ios::out | std::ios::app, options);
  if (!stream.is_open()) {
    FL_TRACE(trace_channel, info_level, "failed to open destination_file for u8msg ", entry);
    return;
  }
  entry.push_back('\n');
  stream << entry;
  stream.flush();  // one write(2) for the whole entry
  stream.close();
  // The entry is in the file and the file closed: the stream and the texts are released
  // after the lock, which other writers are waiting for.
  lock.unlock();
  if (stream.fail()) {
    entry.pop_back();
    FL_TRACE(trace_channel, info_level, "failed to write destination_file for u8msg ", entry);
  }
}

void append_message(std::string const& message) {
  append_message(fl::i18n::utf8_to_ustring(message));
}

namespace {

// append_file's work: the checks, then the framed entry with each line as `copy` gives it.
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
  fl::filesystem::basic_ifstream<char> input(path);
  if (!input.is_open()) throw std::runtime_error("append_file: Cannot open file.");
  std::string line;
  while (std::getline(input, line)) {
    copy(entry, line);
    entry.push_back('\n');
    FL_TRACE(trace_channel, info_level, " line=", line);
  }
  input.close();
  entry += "End of the file ";
  entry += name;
  append_message(fl::i18n::utf8_to_ustring(entry));
}

// `line` with the value of an assignment to one of `keys` replaced: everything but the
// trimmed value after the run of '=' stays, a trailing CR included. A byte-order mark before
// a key does not hide it.
void copy_redacted(std::string& entry, std::string_view line, std::set<std::string> const& keys) {
  namespace lines = input_lines;
  auto const eq = line.find('=');
  std::string_view key = eq == std::string_view::npos ? "" : lines::trim(line.substr(0, eq));
  if (key.starts_with("\xEF\xBB\xBF")) key.remove_prefix(3);
  if (key.empty() || !lines::is_content(lines::trim(line)) ||
      !keys.contains(lines::ascii_lower(key))) {
    entry += line;
    return;
  }
  std::string_view const value = lines::value_text(line, eq);
  std::size_t const end = lines::rtrim(line).size();
  std::size_t const start =
      value.empty() ? end : static_cast<std::size_t>(value.data() - line.data());
  entry += line.substr(0, start);
  entry += "********";
  entry += line.substr(end);
}

}  // namespace

void append_file(ustring const& file) {
  append_framed(file, [](std::string& entry, std::string const& line) { entry += line; });
}

void append_file_redacted(ustring const& file, std::vector<std::string> const& keys) {
  std::set<std::string> wanted;
  for (std::string const& key : keys)
    wanted.insert(input_lines::ascii_lower(input_lines::trim(key)));
  append_framed(file, [&wanted](std::string& entry, std::string const& line) {
    copy_redacted(entry, line, wanted);
  });
}

void append_file(std::string const& file) {
  append_file(fl::i18n::utf8_to_ustring(file));
}

void append_file(basic_path const& file) {
  append_file(ustring(file.string()));
}

}  // namespace install::cpputil::logger
