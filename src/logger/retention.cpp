#include "logger/retention.hpp"

#include <unistd.h>
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <thread>
#include <tuple>

#include "fl/filesystem.hpp"
#include "foundation/log/diagnostic_logger.hpp"
#include "install/platformutil/platform_utility.hpp"

namespace install::cpputil::logger {
namespace retention {
namespace {

namespace fs = fl::filesystem;
using foundation::log::info_level;
using std::chrono::system_clock;

foundation::log::basic_diagnostic_logger<char> trace_channel("install::cpputil::logger");

constexpr std::string_view stamp_shape = "dddd-dd-ddTdd-dd-ddZ";
// How long a run waits for another process's rotation of its log, asking every millisecond.
constexpr auto rotation_wait = std::chrono::seconds(1);
constexpr auto poll_interval = std::chrono::milliseconds(1);

bool is_stamp(std::string_view text) {
  if (text.size() != stamp_shape.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool const fits =
        stamp_shape[i] == 'd' ? text[i] >= '0' && text[i] <= '9' : text[i] == stamp_shape[i];
    if (!fits) return false;
  }
  return true;
}

std::optional<unsigned long long> decimal(std::string_view text) {
  unsigned long long value = 0;
  char const* const end = text.data() + text.size();
  auto const [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end) return std::nullopt;
  return value;
}

// "install.log" as "install" and ".log"; a name with no dot after its first byte has no
// extension.
family split_name(std::string_view name) {
  std::size_t const dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return {std::string(name), {}};
  return {std::string(name.substr(0, dot)), std::string(name.substr(dot))};
}

// The log as the caller named it, and where it really is: its folder and its name there.
struct log_place {
  fs::basic_path named;
  std::string folder;
  std::string name;
  family kin;
  bool careful = false;
};

fs::basic_path path_in(std::string const& folder, std::string const& name) {
  return fs::make_path(folder + (folder.ends_with('/') ? "" : "/") + name);
}

fs::open_options options_for(bool careful) {
  return {.private_file = careful, .create_mode = static_cast<mode_t>(careful ? 0600 : 0666)};
}

WriteFailure failure(fs::basic_path file, WriteFailure::Step step, std::error_code error) {
  FL_TRACE(trace_channel, info_level,
           step == WriteFailure::Step::rotate ? "cannot rotate " : "cannot remove ", file, ": ",
           fs::failure_reason(error), " (errno ", error.value(), ")");
  return {std::move(file), step, error.value(), 0, 0, {}};
}

// Where the file a lock holds is now, against the log's name.
enum class placement { at_name, moved, elsewhere };

placement place(fs::basic_path const& path, fs::entry_details const& held) {
  std::error_code error;
  fs::file_entry const now = fs::symlink_status(path, error);
  if (!error && now.type == fs::entry_type::none) return placement::moved;
  if (error || now.type != fs::entry_type::regular) return placement::elsewhere;
  bool const same = now.device == held.entry.device && now.inode == held.entry.inode;
  return same ? placement::at_name : placement::moved;
}

// Renames the log to a free sibling name, then gives its name to a new empty file made before
// (so a disk without room for one more file leaves the log as it was). False, with the failure
// noted, when the log stays.
bool rotate(fs::folder const& dir, log_place const& log, mode_t mode,
            std::vector<WriteFailure>& failures) {
  std::string const fresh = log.name + "." + std::to_string(::getpid()) + ".new";
  std::error_code error = dir.create_empty(fresh, mode);
  if (!error) {
    std::string const stamp = utc_stamp(system_clock::now());
    std::string sibling;
    for (unsigned n = 0; n < 100; ++n) {
      // Appended piece by piece: GCC 12 at -O3 warns falsely (-Wrestrict) of "-" + std::string.
      sibling = log.kin.stem + "." + stamp;
      if (n > 0) sibling += '-' + std::to_string(n);
      sibling += log.kin.extension;
      error = dir.rename_to_free_name(log.name, sibling);
      if (error != std::errc::file_exists) break;
    }
    // A writer that takes no lock may have made the log again meanwhile: that file is the log.
    if (error || dir.rename_to_free_name(fresh, log.name)) static_cast<void>(dir.remove(fresh));
    if (!error) {
      FL_TRACE(trace_channel, info_level, "rotated ", log.named, " to ", sibling);
      return true;
    }
  }
  failures.push_back(failure(log.named, WriteFailure::Step::rotate, error));
  return false;
}

bool removable(fs::entry_details const& details, bool careful) {
  return details.entry.type == fs::entry_type::regular &&
         (!careful || (details.entry.owner == ::geteuid() && details.links == 1));
}

// Removes an old sibling, unless a run still holds it (its Logger's lock) or it moved.
void remove_sibling(fs::folder const& dir, log_place const& log, std::string const& name,
                    std::vector<WriteFailure>& failures) {
  fs::basic_path path = path_in(log.folder, name);
  fs::file_lock held(path, options_for(log.careful), false);
  std::error_code error = held.error();
  if (!error) {
    if (held.try_lock(true) || place(path, held.at_open()) != placement::at_name) return;
    error = dir.remove(name);
  }
  if (!error) {
    FL_TRACE(trace_channel, info_level, "removed ", path);
  } else if (error != std::errc::no_such_file_or_directory) {
    failures.push_back(failure(std::move(path), WriteFailure::Step::remove, error));
  }
}

void remove_old(fs::folder const& dir, log_place const& log, RetentionPolicy const& policy,
                std::vector<WriteFailure>& failures) {
  bool const by_age = policy.max_age.count() > 0;
  if (policy.max_files == 0 && !by_age) return;
  std::error_code error = dir.error();
  std::vector<std::string> const names =
      dir.is_open() ? dir.names(error) : std::vector<std::string>();
  if (error) {
    failures.push_back(failure(fs::make_path(log.folder), WriteFailure::Step::remove, error));
    return;
  }
  std::vector<std::pair<sibling, system_clock::time_point>> found;
  for (std::string const& name : names) {
    std::optional<sibling> const kin = name == log.name ? std::nullopt : sibling_of(name, log.kin);
    fs::entry_details details;
    if (kin && !dir.details(name, details) && removable(details, log.careful))
      found.emplace_back(*kin, details.modified);
  }
  std::sort(found.begin(), found.end());
  std::size_t const excess =
      policy.max_files > 0 && found.size() > policy.max_files ? found.size() - policy.max_files : 0;
  auto const cutoff = system_clock::now() - policy.max_age;
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (i < excess || (by_age && found[i].second < cutoff))
      remove_sibling(dir, log, found[i].first.name, failures);
  }
}

}  // namespace

std::string utc_stamp(system_clock::time_point time) {
  auto const seconds = std::chrono::floor<std::chrono::seconds>(time);
  auto const days = std::chrono::floor<std::chrono::days>(seconds);
  std::chrono::year_month_day const date{days};
  std::chrono::hh_mm_ss const clock{seconds - days};
  char text[48];
  int const n = std::snprintf(
      text, sizeof text, "%04d-%02u-%02uT%02d-%02d-%02dZ", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
      static_cast<int>(clock.seconds().count()));
  return std::string(text, static_cast<std::size_t>(n));
}

// A per-run log's own name, "<stem>-<stamp>-<pid>", belongs to the family of "<stem>".
family family_of(std::string_view name) {
  family kin = split_name(name);
  std::size_t const dash = kin.stem.rfind('-');
  std::size_t const size = stamp_shape.size();
  if (dash != std::string::npos && dash > size && decimal(kin.stem.substr(dash + 1)) &&
      kin.stem[dash - size - 1] == '-' && is_stamp(kin.stem.substr(dash - size, size)))
    kin.stem.resize(dash - size - 1);
  return kin;
}

bool operator<(sibling const& a, sibling const& b) {
  return std::tie(a.stamp, a.number, a.name) < std::tie(b.stamp, b.number, b.name);
}

// "<stem>.<stamp><extension>" or "<stem>.<stamp>-<n><extension>" (rotated), or
// "<stem>-<stamp>-<pid><extension>" (per run).
std::optional<sibling> sibling_of(std::string_view name, family const& of) {
  std::size_t const outer = of.stem.size() + of.extension.size();
  if (name.size() < outer + 1 + stamp_shape.size() || !name.starts_with(of.stem) ||
      !name.ends_with(of.extension))
    return std::nullopt;
  std::string_view const middle = name.substr(of.stem.size(), name.size() - outer);
  std::string_view const stamp = middle.substr(1, stamp_shape.size());
  std::string_view const rest = middle.substr(1 + stamp_shape.size());
  bool const per_run = middle.front() == '-';
  if ((!per_run && middle.front() != '.') || !is_stamp(stamp)) return std::nullopt;
  sibling found{std::string(name), std::string(stamp), 0, per_run};
  if (rest.empty() && !per_run) return found;
  std::optional<unsigned long long> const number =
      rest.starts_with('-') ? decimal(rest.substr(1)) : std::nullopt;
  if (!number) return std::nullopt;
  found.number = *number;
  return found;
}

run_start start_run(fs::basic_path const& named, fs::basic_path const& real_path, bool careful,
                    RetentionPolicy const& policy, bool may_rotate) {
  run_start out;
  std::string const real = fl::i18n::ustring_to_utf8(real_path.string());
  std::size_t const slash = real.rfind('/');  // a judged path is absolute
  std::string name = real.substr(slash + 1);
  log_place const log{named, real.substr(0, slash == 0 ? 1 : slash), name, family_of(name),
                      careful};
  // Opened only to rotate or to look at the siblings: a run under its limit does neither.
  std::optional<fs::folder> dir;
  auto const folder = [&]() -> fs::folder const& {
    if (!dir) dir.emplace(fs::make_path(log.folder), careful);
    return *dir;
  };
  auto const deadline = std::chrono::steady_clock::now() + rotation_wait;
  bool tried = !may_rotate || policy.max_bytes == 0;
  bool fresh = false;  // the run starts a new, empty file
  for (;;) {
    fs::file_lock lock(real_path, options_for(careful), true);
    if (!lock.is_open()) {
      out.open_error = lock.error();
      return out;
    }
    fs::entry_details const& opened = lock.at_open();
    if (opened.entry.type != fs::entry_type::regular) return out;
    fresh = opened.size == 0;
    bool const exclusive = !tried && opened.size > policy.max_bytes && !lock.try_lock(true);
    std::error_code error = exclusive ? std::error_code() : lock.try_lock(false);
    bool const expired = std::chrono::steady_clock::now() >= deadline;
    if (!error) {
      placement const where = place(real_path, opened);
      if (where == placement::moved && !expired) continue;  // renamed before the lock was ours
      // The size read again now that no other run can start on the log or rotate it.
      fs::entry_details now;
      if (exclusive && where == placement::at_name && !lock.details(now) &&
          now.size > policy.max_bytes) {
        tried = true;
        if (rotate(folder(), log, now.entry.permissions, out.failures)) continue;  // the new file
      }
      tried = true;
      // Converting the lock may let it go first: another run may take it in that gap.
      error = exclusive ? lock.try_lock(false) : std::error_code();
      if (!error && where != placement::moved) {
        out.lock = std::move(lock);
        break;
      }
    }
    if (error != std::errc::operation_would_block || expired) {
      if (!tried && opened.size > policy.max_bytes)
        out.failures.push_back(failure(named, WriteFailure::Step::rotate, error));
      break;
    }
    if (!exclusive) std::this_thread::sleep_for(poll_interval);
  }
  // Siblings grow in number only when a run starts a new file; they age all the time.
  if ((fresh && policy.max_files > 0) || policy.max_age.count() > 0)
    remove_old(folder(), log, policy, out.failures);
  return out;
}

}  // namespace retention

fl::filesystem::basic_path run_log_path(fl::filesystem::basic_path const& folder,
                                        ustring const& name) {
  ustring text = folder.string();
  if (!text.empty() && text.back() != u'/') text += u'/';
  text += name;
  text += u'-';
  fl::i18n::append_utf16(text, retention::utc_stamp(std::chrono::system_clock::now()));
  text += u'-';
  fl::i18n::append_utf16(
      text, std::to_string(install::platformutil::PlatformUtility().getPlatformProcessId()));
  text += u".log";
  return fl::filesystem::make_path(text);
}

fl::filesystem::basic_path run_log_path(fl::filesystem::basic_path const& folder,
                                        std::string const& name) {
  return run_log_path(folder, fl::i18n::utf8_to_ustring(name));
}

std::vector<fl::filesystem::basic_path> log_history(fl::filesystem::basic_path const& log) {
  namespace fs = fl::filesystem;
  std::string const text = fl::i18n::ustring_to_utf8(log.string());
  std::size_t const slash = text.rfind('/');
  std::string const prefix = slash == std::string::npos ? "" : text.substr(0, slash + 1);
  std::string const folder_text = prefix.empty() ? "." : prefix;
  retention::family const kin = retention::split_name(text.substr(prefix.size()));
  std::vector<retention::sibling> found;
  fs::folder const dir(fs::make_path(folder_text), false);
  std::error_code error;
  for (std::string const& name :
       dir.is_open() && !kin.stem.empty() ? dir.names(error) : std::vector<std::string>()) {
    std::optional<retention::sibling> const sibling = retention::sibling_of(name, kin);
    fs::entry_details details;
    if (sibling && !sibling->per_run && !dir.details(name, details) &&
        details.entry.type == fs::entry_type::regular)
      found.push_back(*sibling);
  }
  std::sort(found.begin(), found.end());
  std::vector<fs::basic_path> history;
  for (retention::sibling const& sibling : found)
    history.push_back(fs::make_path(prefix + sibling.name));
  history.push_back(log);
  return history;
}

}  // namespace install::cpputil::logger
