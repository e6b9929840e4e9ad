#pragma once

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

/// Points the process's installation log at a file for the object's lifetime. The
/// destination belongs to the process: destroying any Logger clears it, nested ones too.
class QX_CPPUTIL_API Logger {
 public:
  /// Creates missing parent folders, opens `ofile` in append mode (never truncating) and makes
  /// it the destination, after writing a switch-over line into the previous one.
  /// Throws std::runtime_error ("Install Logger: Cannot create directory \"...\"" or
  /// "Install Logger: Cannot open file \"...\"") and then changes no state.
  explicit Logger(fl::filesystem::basic_path const& ofile);
  /// As the path form; an empty text gives the empty path, which cannot be opened.
  explicit Logger(ustring const& ofile);
  /// As the path form, for a UTF-8 path text.
  explicit Logger(std::string const& ofile);
  /// Clears the destination and remembers it as the last destination. Never throws.
  ~Logger();

  Logger(Logger const&) = delete;
  Logger& operator=(Logger const&) = delete;
};

/// The live current destination; empty while no Logger is set. Copy it if you keep it.
[[nodiscard]] QX_CPPUTIL_API fl::filesystem::basic_path const& get_destination();

/// Appends "(" + time + ") " + message + "\n" to the destination, or to the per-user default
/// file "quillford_<user>.log" in the temporary folder while none is set. An empty message
/// writes nothing. Never throws for file problems: an entry that cannot be written is dropped
/// and traced.
QX_CPPUTIL_API void append_message(ustring const& message);
/// As the ustring form, for a UTF-8 message (ill-formed bytes become U+FFFD).
QX_CPPUTIL_API void append_message(std::string const& message);

/// Appends the whole text file as one entry between "Content of the file <path>" and
/// "End of the file <path>". Throws std::runtime_error: "Logger destination was not
/// initialized." without a destination, "The file does not exist." for a missing file,
/// "append_file: Cannot open file." for one that cannot be read.
QX_CPPUTIL_API void append_file(ustring const& file);
/// As the ustring form, for a UTF-8 path text.
QX_CPPUTIL_API void append_file(std::string const& file);
/// As the ustring form, for a path value.
QX_CPPUTIL_API void append_file(fl::filesystem::basic_path const& file);

/// As append_file, for an installer input file that holds secrets: each assignment whose key,
/// trimmed and lower-cased in ASCII as the input file parser reads keys, is one of `keys`
/// (compared the same way) has its value written as "********", empty values included. List
/// lines, comments and all other lines are copied unchanged, and so are CR LF line ends. Throws
/// as append_file does.
QX_CPPUTIL_API void append_file_redacted(ustring const& file, std::vector<std::string> const& keys);

namespace detail {

/// The live last destination: the one that was cleared most recently. Takes no lock, so
/// it must not race with constructing or destroying a Logger.
[[nodiscard]] QX_CPPUTIL_API fl::filesystem::basic_path const& get_last_destination();
/// Empties the last destination. Takes no lock (see get_last_destination).
QX_CPPUTIL_API void forget_last_destination();

}  // namespace detail
}  // namespace install::cpputil::logger
