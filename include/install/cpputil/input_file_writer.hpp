#pragma once

/// \file
/// Answer files written, for a later silent run: the text that InputFileParser::parse reads back
/// to exactly the map it was written from, and a commented template for a set of rules.
///
/// ### Which maps a file can produce
/// parse trims each line, drops blank lines and lines whose first
/// character is '#', and reads a line with '=' as an assignment (key: the text before the first
/// '=', trimmed and ASCII-lowered; value: the text after the run of '=' that starts there,
/// trimmed), and a line without '=' that holds "product." or "platform." as a list line (key: the
/// text before the first '.', trimmed and ASCII-lowered; entry: the text after the run of '.'
/// that starts there, trimmed, then every '_' made a blank). So exactly these maps are written:
///
/// - Every key: valid UTF-16 (no unpaired surrogate: UTF-8 cannot carry one), no line feed, no
///   whitespace (tab, LF, VT, FF, CR, space) at either end, no 'A'..'Z' (other letters keep their
///   case), no '=', and not starting with '#' (its line would be a comment).
/// - A single value: a non-empty key other than "product" and "platform" (assignments to those
///   are ignored); the value valid UTF-16 without a line feed and without whitespace at either
///   end. Anything else is allowed: '=', '#', '_', '.', NUL. Written "key = value" ("key =" when
///   empty): the blank after the '=' ends the run of '=', so a value may start with '=' ("a= =b"
///   reads "=b").
/// - A list: at least one entry (no line makes an empty list); a key without '.' (its first '.'
///   would end the key), possibly empty (".product.z" gives the empty key). Each entry valid
///   UTF-16 without '=' (its line would be an assignment), '_' (the reader makes it a blank) or
///   a line feed, with no whitespace but the blank at either end. Written one line per entry, in
///   list order, as key + "." + the entry with each blank as '_'; an entry that starts with '.'
///   gets a blank before it ("product. .x" reads ".x": the trim comes after the run of dots).
///   The line must hold "product." or "platform." to be a list line at all: so either the key
///   ends with "product" or "platform", or every entry holds "product." or "platform."
///   ("x.platform.y" gives "x" the entry "platform.y").
///
/// Every map that parse returns meets these conditions, and each line written affects its own
/// key only, so parse reads the text back to the same map.

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "install/cpputil/export.hpp"
#include "install/cpputil/input_file_parser.hpp"

namespace install::cpputil {

/// What formatInputFile writes beside the properties.
struct InputFileWriteOptions {
  /// Keys whose values must not be stored (licence keys, passwords), matched as the reader reads
  /// keys: trimmed, in any ASCII case; a UTF-8 byte-order mark before a key (the first key of a
  /// file saved with one) does not hide it. logger::append_file_redacted compares keys the same
  /// way. Each such key present in the map is written, in its place,
  /// as the comment line "# <key>: value withheld", so the replayed file lacks it; its value is
  /// neither written nor checked. Names absent from the map write nothing.
  std::vector<std::string> withhold;
  /// A comment block written first, such as the product and the date of the recording: each of
  /// its lines (split at line feeds, a final line feed ignored) is written as "# " + the line,
  /// with bytes that are not UTF-8 as U+FFFD. Empty: no block.
  std::string header;
};

/// The UTF-8 text of an answer file that InputFileParser::parse reads back to exactly
/// `properties` (see above): keys in map order, "key = value" for a single value, one
/// "key.entry" line per list entry in list order. An empty map gives "". Throws
/// std::invalid_argument `key "<key>" cannot be written: <reason>` when no file can produce
/// the map, for the first such key in map order; in the key, a backslash, '"', control
/// characters (C0, DEL, C1) and unpaired surrogates are escaped C-style, as fl::text shows
/// outside text (a backslash before a backslash or '"'; `\n`, `\t` and `\r`; `\xHH` for the other
/// C0 controls and DEL; `\u0085` for a C1 control, `\uD800` for a surrogate), so the message stays
/// one line.
[[nodiscard]] QX_CPPUTIL_API std::string formatInputFile(PropertyMap const& properties);

/// formatInputFile with withheld keys and a header; the text reads back to `properties` without
/// the withheld keys. Throws as formatInputFile does, for the keys that are written.
[[nodiscard]] QX_CPPUTIL_API std::string formatInputFile(PropertyMap const& properties,
                                                         InputFileWriteOptions const& options);

/// Writes formatInputFile(properties, options) to the answer file `fileName`, replacing it at
/// once. Only a regular file is replaced, or a missing one created: what is at the name is
/// examined without following a link (lstat), and a symbolic link (name its target instead), a
/// folder, a device, a FIFO or a socket is refused, with nothing changed. The text goes to a new
/// file beside it (".<name>.<random>.tmp", created exclusively, a link never followed), which
/// is flushed to the disk and then renamed over `fileName`: a reader, or a crash, finds the old
/// file or the new one, never a part of either. The new file keeps the old one's owner, group
/// and permission bits, as an editor does; when the caller may not give it that owner or group
/// (only root may give a file away), the write is refused and the old file stays. A file that
/// did not exist is created with mode 0600 (less the umask), since answers may hold secrets.
/// Just before the rename the name is examined again: if another file has taken it meanwhile,
/// the write is refused. What remains is the moment between that check and the rename; a
/// name swapped in then, which only someone who may write the folder can do, is replaced by
/// the rename, never followed or written through. The folder is flushed to the disk after the
/// rename, so that the replacement outlives a power cut; a failure of that last step is not
/// reported, since the new file is in place by then. Throws std::invalid_argument as
/// formatInputFile does, before anything is created; and std::system_error (a
/// std::runtime_error) with the what() "cannot write the answer file \"<fileName>\": <reason>"
/// when the name is refused (codes equivalent to EISDIR for a folder, ELOOP for a link, ENXIO
/// for a device, FIFO or socket, EPERM for an owner that cannot be kept, ESTALE for a name taken
/// meanwhile) or when the system fails (the errno as its code: the folder missing or read-only,
/// the disk full, a name too long: the temporary name is 14 bytes longer); the old file is then
/// untouched and the temporary file removed. A crash before the rename leaves the temporary
/// file behind. The name is shown as fl::text::excerpt shows outside text: escaped, and cut
/// after 200 bytes with "... (N bytes)".
QX_CPPUTIL_API void writeInputFile(ustring const& fileName, PropertyMap const& properties,
                                   InputFileWriteOptions const& options = {});

/// Writes `text` (such as inputFileTemplate's) to `fileName` exactly as writeInputFile writes
/// its text, and fails the same ways; nothing checks what the text holds.
QX_CPPUTIL_API void writeInputFileText(ustring const& fileName, std::string_view text);

/// A commented answer file for `rules` (key to rule text, as validate_args takes them), in the
/// rules' order. Each key gets a comment in plain words on what its rule accepts ("one of:
/// typical, custom", "a whole number"). A key whose rule names allowed values (strval) is set
/// to the first of them that a file can hold, that passes the rule and whose line checks clean;
/// every other key, and a key of an unknown rule kind, is written commented out as
/// "# key = <what it accepts>", so no guessed value is ever installed. A key that no file can
/// set as a single value (see above; also a key that is not UTF-8) gets only a comment that
/// says why. A key or a value that the template cannot write safely stays commented out, with
/// the reason on the comment line before it ("# commented out: ...", "# no value written:
/// ..."): one that holds a control character or a byte-order mark, which a reader cannot see,
/// or whose line checkInputFile would report with an error or a warning (a '[' or a blank in
/// the key, a key starting with ';', a carriage return before "b=c" in a value, ...). Control
/// characters and byte-order marks in the comments are escaped. So checkInputFile of the
/// template with the same rules finds no error and no warning but what the rules themselves get
/// wrong ("unknown-rule" for a rule of an unknown kind, "unmatchable-rule-key" for a key no file
/// can hold); commented-out keys are notes ("missing-key").
[[nodiscard]] QX_CPPUTIL_API std::string inputFileTemplate(
    std::map<std::string, std::string> const& rules);

}  // namespace install::cpputil
