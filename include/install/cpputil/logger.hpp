#pragma once

/// \file
/// The installation log: its destination, its entries and what is reported when one is lost.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "fl/i18n.hpp"
#include "fl/path.hpp"
#include "install/cpputil/export.hpp"

/// The installation log: a process-wide destination file that a scoped Logger sets, and
/// the functions that append time-stamped entries to it.
namespace install::cpputil::logger {

/// Notice written into the old destination when a parent folder cannot be created.
ustring const unable_to_create_folder_message =
    u"Unable to create specified folder for installation log ";
/// Notice written into the old destination when a new destination cannot be opened.
ustring const unable_to_create_file_message =
    u"Unable to create specified file for installation log ";
/// Notice written into the old destination when a Logger switches to a new file.
ustring const reset_destination_message = u"Reset destination file log ";

/// How much of a log's past a run keeps: applied once, when a run starts on the log (a Logger
/// constructed with it), before the run's first entry. A limit of 0 is no limit.
///
/// Rotation. A log larger than `max_bytes` is renamed to a time-stamped sibling and the run
/// starts a new, empty file under the log's name: "install.log" becomes
/// "install.2026-11-25T08-05-35Z.log" (the time of the rotation in UTC; a second rotation in
/// the same second takes "...Z-1.log", never replacing a sibling). The new file is made first,
/// with the old one's permission bits, so a disk that has no room for another file leaves the
/// log where it was. A rename or a new file that fails, or a lock that cannot be taken, goes to
/// the write failure handler (WriteFailure::Step::rotate, with its errno) once the Logger is
/// set, and the run goes on in the current file: retention never fails a Logger.
///
/// Siblings. The time-stamped siblings of "install.log" are the files "install.<stamp>.log"
/// (and "-N" after the stamp) of rotations and "install-<stamp>-<pid>.log" of run_log_path,
/// in the log's folder, ordered by their time stamps. Beyond `max_files` of them the oldest
/// are removed when a run starts a new, empty file (after a rotation, on a per-run log, on a
/// log that did not exist): that is when their number grows. Every one not modified for longer
/// than `max_age` (its file time) is removed at every run's start, which then lists the
/// folder. Never removed: the log itself, and a sibling whose run is going on (its Logger holds
/// its lock). A removal that fails goes to the handler (WriteFailure::Step::remove).
///
/// A run is never split. Only the constructor rotates, before the destination is set. A Logger
/// with a policy keeps one descriptor open on its file while it is set, holding a shared lock
/// (flock(2)) that says a run is going on there; entries are still opened, written and closed
/// one by one. Rotation needs the exclusive lock, taken without waiting for a run: a log
/// another process's run holds is not rotated (it grows until a run starts on it alone), nor is
/// the destination this process has set already. The size is read under the exclusive lock,
/// and a log renamed meanwhile is opened again, so runs starting on one log at the same moment
/// rotate it at most once. A rotation of another process is waited for up to one second. A
/// Logger without a policy takes no lock: its run may see its log rotated by another process.
///
/// Folders. The folder is opened once, by the real path the destination was judged by, when
/// a rotation or the siblings need it, and every name in it is examined without following a
/// symbolic link. Only regular files are
/// renamed or removed; when the destination is shared (a folder others can write), the folder
/// is opened through no link and only the caller's own files with one link are touched. A log
/// whose name is a link is not rotated; for a destination that is not a regular file (a
/// terminal, /dev/null) nothing is done at all.
struct RetentionPolicy {
  /// The size in bytes above which a log is rotated when a run starts.
  std::uintmax_t max_bytes = 0;
  /// How many time-stamped siblings are kept.
  std::size_t max_files = 0;
  /// How long since its last change a sibling is kept.
  std::chrono::seconds max_age{0};
};

/// Points the process's installation log at a file for the object's lifetime. The
/// destination belongs to the process: destroying any Logger clears it, nested ones too.
///
/// A destination is a regular file or a character device (/dev/null, a terminal); a FIFO, a
/// socket or a folder cannot be one, so that no entry ever waits without end.
///
/// The constructor judges the destination once, by the folders the system really resolves for
/// it (every link, "." and ".." followed as the kernel follows them; a relative name against
/// the working folder at construction), never by the path's text. It is shared when a folder
/// on that real path can be written by another user (group- or world-writable, or owned by
/// another user than the caller and root), unless that folder is sticky and the next folder
/// down belongs to the caller; the folder that holds the file counts whenever others can write
/// it. Every entry then goes to that real path: renaming or swapping a folder later, or
/// changing the working folder, redirects none. A shared destination is opened with no
/// symbolic link followed anywhere in its path (Linux's openat2 with RESOLVE_NO_SYMLINKS,
/// macOS's O_NOFOLLOW_ANY; refused where the kernel lacks it), used only when it is a regular
/// file owned by the caller with one link, and created with mode 0600, as the per-user default
/// log file always is: no other user can point the log at a file of the caller's. A
/// destination that is not shared is opened as named, a link as its last component followed.
class QX_CPPUTIL_API Logger {
 public:
  /// Creates missing parent folders, opens `ofile` in append mode (never truncating) and makes
  /// it the destination, after writing a switch-over line into the previous one.
  /// Throws std::runtime_error ("Install Logger: Cannot create directory \"...\"" or
  /// "Install Logger: Cannot open file \"...\"") and then changes no state; the system's
  /// reason rides along as a nested exception (std::rethrow_if_nested gives it).
  explicit Logger(fl::filesystem::basic_path const& ofile);
  /// As the path form; an empty text gives the empty path, which cannot be opened.
  explicit Logger(ustring const& ofile);
  /// As the path form, for a UTF-8 path text.
  explicit Logger(std::string const& ofile);
  /// As the path form, keeping the log bounded by `policy` when the run starts (see
  /// RetentionPolicy); holds a shared lock on the file while it is the destination.
  Logger(fl::filesystem::basic_path const& ofile, RetentionPolicy const& policy);
  /// As the policy form, for a UTF-16 path text.
  Logger(ustring const& ofile, RetentionPolicy const& policy);
  /// As the policy form, for a UTF-8 path text.
  Logger(std::string const& ofile, RetentionPolicy const& policy);
  /// Makes the per-user default log file (where entries go while no Logger is set) the
  /// destination, kept bounded by `policy` as the other forms keep theirs. It is opened as a
  /// shared destination always is: through no link, the caller's own file, created with mode
  /// 0600. Entries before it that went to that file belong to no run it starts.
  explicit Logger(RetentionPolicy const& policy);
  /// Clears the destination and remembers it as the last destination. Never throws.
  ~Logger();

  Logger(Logger const&) = delete;
  Logger& operator=(Logger const&) = delete;
};

/// The live current destination; empty while no Logger is set. Copy it if you keep it.
[[nodiscard]] QX_CPPUTIL_API fl::filesystem::basic_path const& get_destination();

/// An entry that did not reach the log whole, or a log that could not be kept bounded.
struct WriteFailure {
  /// What failed.
  enum class Step {
    open,    ///< the file did not open: nothing of the entry reached it
    write,   ///< writing the entry failed part-way or at its start
    rotate,  ///< a run's log was not rotated (RetentionPolicy): no entry was lost
    remove,  ///< an old sibling was not removed, or the folder not listed: no entry was lost
  };
  /// The file the entry was meant for: the destination, or the per-user default log file. For
  /// rotate, the log; for remove, the sibling (or the folder that could not be listed).
  fl::filesystem::basic_path file;
  /// Which step failed.
  Step step = Step::open;
  /// The system's reason, an errno value (ENOSPC, EFBIG, EACCES, ...).
  int error = 0;
  /// How many bytes of the entry, its line feed included, reached the file. What a failed
  /// write left stands on a line of its own: the next entry starts on a new line.
  std::size_t written = 0;
  /// The size of the whole entry in bytes, its line feed included.
  std::size_t size = 0;
  /// The text of the entry, as it would have stood in the file (UTF-8, its time stamp
  /// included, its line feed not), for a handler to send elsewhere: standard error, another
  /// file, the front end's window. Empty for rotate and remove.
  std::string entry;

  /// Equal when every field is.
  friend bool operator==(WriteFailure const&, WriteFailure const&) = default;
};

/// Receives every entry that did not reach the log whole, and every failure to keep a log
/// bounded.
using WriteFailureHandler = std::function<void(WriteFailure const&)>;

/// Makes `handler` the process's handler of entries that are not written whole (and of logs
/// that could not be kept bounded) and returns the one it replaces (an empty function when
/// there was none; an empty `handler` removes it).
/// The handler runs on the thread that wrote the entry, never while that thread holds the log's
/// lock, so it may log: an entry that fails while the handler runs on that thread is traced but
/// not handed to the handler again. What it throws is caught and traced. Safe from any thread.
QX_CPPUTIL_API WriteFailureHandler set_write_failure_handler(WriteFailureHandler handler);

/// Appends "(" + time + ") " + message + "\n" to the destination, or to the per-user default
/// file "quillford_<user>.log" in the temporary folder while none is set (judged as a shared
/// destination is, again whenever its name changes). An empty message writes nothing. When the
/// file does not end in a line feed (a fragment that a killed or failed writer left), or its
/// last byte cannot be read (a file the caller may write but not read) and this process did not
/// write it, the entry starts with one, so no entry is ever glued onto another. Never throws
/// for file problems: an entry that cannot be written whole is dropped, traced and handed to
/// the write failure handler. An entry written on the thread that holds the log's lock (a trace
/// sink that logs what the log traces) is dropped without a wait and handed to the handler
/// with EDEADLK once the lock is released; it is not traced, or such a sink would log again.
QX_CPPUTIL_API void append_message(ustring const& message);
/// As the ustring form, for a UTF-8 message (ill-formed bytes become U+FFFD).
QX_CPPUTIL_API void append_message(std::string const& message);

/// Appends the whole text file as one entry between "Content of the file <path>" and
/// "End of the file <path>". Throws std::runtime_error: "Logger destination was not
/// initialized." without a destination, "The file does not exist." for a missing file,
/// "append_file: Cannot open file." for one that cannot be read (not a regular file, no
/// permission), with the system's reason as a nested exception.
QX_CPPUTIL_API void append_file(ustring const& file);
/// As the ustring form, for a UTF-8 path text.
QX_CPPUTIL_API void append_file(std::string const& file);
/// As the ustring form, for a path value.
QX_CPPUTIL_API void append_file(fl::filesystem::basic_path const& file);

/// As append_file, for an installer input file that holds secrets: each assignment or list
/// line whose key, trimmed and lower-cased in ASCII as the input file parser reads keys, is
/// one of `keys` (compared the same way) has its value or entry written as "********", empty
/// ones included. Keys are compared as formatInputFile's withholding compares them (a UTF-8
/// byte-order mark before the first key does not hide it). Comments and all other lines are
/// copied unchanged, and so are CR LF line ends; traced lines are the redacted ones. It fails
/// closed: a file that holds a NUL byte, begins with a UTF-16 or UTF-32 byte-order mark, or
/// uses a carriage return without a line feed as a line end (which a reader of the log would
/// see as two lines where the parser reads one) cannot be redacted as the parser reads it, so
/// its content is withheld and one line between the frame lines says why. Throws as
/// append_file does.
QX_CPPUTIL_API void append_file_redacted(ustring const& file, std::vector<std::string> const& keys);

/// What the entry that opens a run names besides the facts of the process.
struct RunInfo {
  /// The product being installed, as the user knows it ("Kestra Studio").
  std::string product;
  /// Its version ("2027.1").
  std::string version;
};

/// How a run ended.
enum class RunOutcome {
  succeeded,  ///< the installation did what it was asked
  failed,     ///< it stopped on an error
  cancelled,  ///< the user (or a script) cancelled it
};

/// Appends the entry that opens a run, so that a reader of a log that several runs share can
/// tell them apart (log_reader.hpp reads it back). It is an ordinary entry whose first line is
/// "Installation run started", followed by one line per fact:
///
///     (Nov 16, 2026 14:50:09) Installation run started
///     product: Kestra Studio
///     version: 2027.1
///     process: 4242
///     user: alice
///     host: build-01
///     time zone: +09:00 JST
///     log: /Users/alice/Library/Logs/kestra-install.log
///
/// The time zone is the local one, as its offset from UTC and its abbreviation: the entries'
/// own times carry none. The log is the destination, or the per-user default file. Control
/// characters in a value are written escaped (`\n`, `\t`, `\xHH`), so each fact stays on its line.
/// It also starts the count of lost entries and the clock that end_run reports. Writes as
/// append_message does: never throws for file problems.
QX_CPPUTIL_API void begin_run(RunInfo const& info);

/// Appends the entry that closes a run:
///
///     (Nov 16, 2026 14:52:10) Installation run ended: failed
///     duration: 121.482 s
///     lost entries: 2, the last: No space left on device
///
/// The outcome is "succeeded", "failed" or "cancelled"; the duration runs from the last
/// begin_run of this process (its line is left out when there was none); the lost entries are
/// the entries of this process that did not reach the log whole since then (handed to the write
/// failure handler or not), "lost entries: 0" when none, with the system's reason of the last
/// one. A run without this entry (a crash, a kill) reads as unfinished.
QX_CPPUTIL_API void end_run(RunOutcome outcome);

/// A file name for one run's own log in `folder`: "<name>-2026-11-25T08-05-35Z-<pid>.log", with
/// the time in UTC and this process's id (a folder text with no '/' at its end gets one). Give
/// it to a Logger with a policy: `max_files` and `max_age` then apply to the other runs' files
/// (a per-run log is new, so `max_bytes` seldom matters). An empty folder gives the name alone.
[[nodiscard]] QX_CPPUTIL_API fl::filesystem::basic_path run_log_path(
    fl::filesystem::basic_path const& folder, ustring const& name);
/// As the ustring form, for a UTF-8 name.
[[nodiscard]] QX_CPPUTIL_API fl::filesystem::basic_path run_log_path(
    fl::filesystem::basic_path const& folder, std::string const& name);

/// The files that hold `log`'s history, oldest first: its rotated siblings
/// ("install.<stamp>[-N].log" beside "install.log", regular files only, by their time stamps),
/// then `log` itself, which is named whether it exists or not. Only `log`'s folder is read
/// (a folder that cannot be read gives `log` alone); no link in it is followed.
[[nodiscard]] QX_CPPUTIL_API std::vector<fl::filesystem::basic_path> log_history(
    fl::filesystem::basic_path const& log);

namespace detail {

/// The live last destination: the one that was cleared most recently. Takes no lock, so
/// it must not race with constructing or destroying a Logger.
[[nodiscard]] QX_CPPUTIL_API fl::filesystem::basic_path const& get_last_destination();
/// Empties the last destination. Takes no lock (see get_last_destination).
QX_CPPUTIL_API void forget_last_destination();

}  // namespace detail
}  // namespace install::cpputil::logger
