#include "install/cpputil/input_file_writer.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "fl/filesystem.hpp"
#include "fl/text.hpp"

#include "inputfile/input_lines.hpp"
#include "inputfile/rule_kinds.hpp"
#include "inputfile/text_check.hpp"

namespace install::cpputil {
namespace {

namespace lines = input_lines;
using fl::i18n::append_utf8;

// The reader's whitespace, and the part of it that list entries cannot keep at their ends (a
// blank they keep, written as '_').
constexpr bool (*whitespace)(char16_t) noexcept = lines::is_whitespace<char16_t>;
constexpr bool whitespace_but_blank(char16_t c) noexcept {
  return c != u' ' && lines::is_whitespace(c);
}

// `text` in UTF-8 with backslash, '"', control characters and unpaired surrogates escaped, so
// that a message or a comment stays one line that shows every character.
std::string escaped(std::u16string_view text) {
  return fl::text::escaped(text, {fl::text::escape_style::message, "\\\""});
}

std::string quoted_text(std::u16string_view text) {
  return '"' + escaped(text) + '"';
}

[[noreturn]] void refuse(std::u16string_view key, std::string_view reason) {
  throw std::invalid_argument("key " + quoted_text(key) +
                              " cannot be written: " + std::string(reason));
}

// What keeps `text` from standing in a line, or nullptr.
char const* line_problem(std::u16string_view text) {
  if (!fl::text::is_valid_utf16(text)) return "an unpaired surrogate, which UTF-8 cannot carry";
  return text.find(u'\n') == std::u16string_view::npos ? nullptr
                                                       : "a line feed, which would end its line";
}

bool has_blank_end(std::u16string_view text, bool (*blank)(char16_t) noexcept) {
  return !text.empty() && (blank(text.front()) || blank(text.back()));
}

bool is_list_key(std::u16string_view key) {
  return std::any_of(lines::list_keys.begin(), lines::list_keys.end(),
                     [key](std::string_view name) { return std::ranges::equal(key, name); });
}

// Why no line gives `key` as it stands (for either kind of line), or "".
std::string key_problem(std::u16string_view key) {
  if (char const* problem = line_problem(key)) return std::string("it holds ") + problem;
  if (has_blank_end(key, whitespace))
    return "it begins or ends with whitespace, which the reader trims";
  if (std::any_of(key.begin(), key.end(), [](char16_t c) { return c >= u'A' && c <= u'Z'; }))
    return "it holds upper-case ASCII letters, which the reader lowers";
  if (key.find(u'=') != std::u16string_view::npos) return "it holds '=', which would end it";
  if (!key.empty() && key.front() == u'#')
    return "it starts with '#', which would make its line a comment";
  return {};
}

// Why no assignment line gives `key`, or "".
std::string single_key_problem(std::u16string_view key) {
  if (key.empty()) return "an assignment without a key is ignored";
  if (is_list_key(key)) return "it holds lists only: an assignment to it is ignored";
  return key_problem(key);
}

// Why no assignment line gives `value`, or "".
std::string value_problem(std::u16string_view value) {
  if (char const* problem = line_problem(value)) return std::string("its value holds ") + problem;
  if (has_blank_end(value, whitespace))
    return "its value begins or ends with whitespace, which the reader trims";
  return {};
}

// Why no list line gives `entry` (its line's marker aside), or "".
std::string entry_problem(std::u16string_view entry) {
  if (char const* problem = line_problem(entry)) return std::string("holds ") + problem;
  if (entry.find(u'=') != std::u16string_view::npos)
    return "holds '=', which would make its line an assignment";
  if (entry.find(u'_') != std::u16string_view::npos)
    return "holds '_', which the reader turns into a blank";
  if (has_blank_end(entry, whitespace_but_blank))
    return "begins or ends with whitespace other than a blank, which the reader trims";
  return {};
}

void write_single(std::string& out, ustring const& key, ustring const& value) {
  if (std::string const problem = single_key_problem(key); !problem.empty()) refuse(key, problem);
  if (std::string const problem = value_problem(value); !problem.empty()) refuse(key, problem);
  append_utf8(out, key);
  // The blank ends the run of '=', so a value that starts with '=' keeps it.
  out += value.empty() ? " =" : " = ";
  append_utf8(out, value);
  out += '\n';
}

void write_list(std::string& out, ustring const& key, std::vector<ustring> const& entries) {
  if (std::string const problem = key_problem(key); !problem.empty()) refuse(key, problem);
  if (key.find(u'.') != ustring::npos) refuse(key, "a list key holds '.', which would end it");
  if (entries.empty()) refuse(key, "an empty list has no line to write");
  std::string prefix;
  append_utf8(prefix, key);
  prefix += '.';
  for (std::size_t n = 0; n < entries.size(); ++n) {
    ustring const& entry = entries[n];
    auto const refuse_entry = [&key, n](std::string_view reason) {
      refuse(key, "entry " + std::to_string(n + 1) + " " + std::string(reason));
    };
    if (std::string const problem = entry_problem(entry); !problem.empty()) refuse_entry(problem);
    std::size_t const line = out.size();
    out += prefix;
    if (!entry.empty() && entry.front() == u'.') out += ' ';  // else the run of dots takes it
    std::size_t const text = out.size();
    append_utf8(out, entry);
    std::replace(out.begin() + static_cast<std::ptrdiff_t>(text), out.end(), ' ', '_');
    // The reader's own test, on the whole line: without a marker it is no list line.
    if (!lines::holds_list_marker(std::string_view(out).substr(line)))
      refuse_entry(
          "holds neither \"product.\" nor \"platform.\" and the key ends in neither "
          "\"product\" nor \"platform\": its line would not read as a list line");
    out += '\n';
  }
}

void write_header(std::string& out, std::string const& header) {
  std::string text;
  fl::text::append_repaired(text, header);
  std::string_view rest(text);
  if (rest.ends_with('\n')) rest.remove_suffix(1);
  while (!text.empty()) {
    auto const end = rest.find('\n');
    std::string_view const line = rest.substr(0, end);
    out += line.empty() ? "#" : "# ";
    out += line;
    out += '\n';
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
}

// What `row` accepts with `parameter`, in plain words; what a reader cannot see escaped.
std::string description(rule_kinds::rule_kind const& row, std::string_view parameter) {
  std::string words(row.description);
  if (!row.names_values) return words;
  char const* separator = "";
  for (std::string_view const value : rule_kinds::allowed_values(parameter)) {
    words += separator;
    words += value.empty() ? "(empty)" : fl::text::escaped(value);
    separator = ", ";
  }
  return words;
}

// Why the template does not write the line `line` (an assignment of `name`, with its `rule`
// when it has one): a control character or a byte-order mark in `subject`, which a person
// reading the template cannot see, or the first error or warning that checkInputFile would report
// for the line; "" when it may stand. What a rule gets wrong itself (its kind, a key no file can
// hold) is the rule's to answer.
std::string unsafe_line(std::string const& line, std::string_view name, std::string_view rule,
                        std::string_view subject) {
  if (fl::text::holds_control(line) || line.find(fl::text::utf8_mark) != std::string::npos)
    return std::string(subject) +
           " holds a control character or a byte-order mark, which a reader cannot see";
  std::map<std::string, std::string> rules;
  if (!rule.empty()) rules.emplace(name, rule);
  for (auto const& found : text_check::check_text(line, rules).diagnostics)
    if (found.severity != DiagnosticSeverity::note && found.code != "unknown-rule" &&
        found.code != "unmatchable-rule-key")
      return found.message;
  return {};
}

// The line that sets `name` to `value`.
std::string assignment(std::string_view name, std::string_view value) {
  return std::string(name) + (value.empty() ? " =" : " = ") + std::string(value);
}

// The first allowed value of `row` with `parameter` that a file can hold, that passes the rule
// and whose line checks clean; none for a kind that names no values. `why` receives why the
// first value that passes the rule is not written, if none is.
std::optional<std::string> first_allowed(rule_kinds::rule_kind const& row, std::string const& name,
                                         std::string const& rule, std::string const& parameter,
                                         std::string& why) {
  if (!row.names_values) return std::nullopt;
  for (std::string_view const allowed : rule_kinds::allowed_values(parameter)) {
    std::string value(allowed);
    if (!row.accepts(value, parameter)) continue;
    std::string const problem = !fl::i18n::is_valid_utf8(value)
                                    ? "it is not UTF-8"
                                    : value_problem(fl::i18n::utf8_to_ustring(value));
    std::string const unsafe =
        problem.empty() ? unsafe_line(assignment(name, value), name, rule, "it") : problem;
    if (unsafe.empty()) return value;
    if (why.empty()) {
      why.assign(1, '\'');  // built in place: GCC 12 -O3 misreads "'" + std::string
      why.append(fl::text::escaped(value)).append("': ").append(unsafe);
    }
  }
  return std::nullopt;
}

// Why a write was refused before anything was replaced, in the words a person needs; each is
// equivalent to the errno a program would test (std::errc::is_a_directory, ...).
enum class refusal { folder = 1, device, fifo, socket, other, link, owner, changed };

class refusal_category final : public std::error_category {
 public:
  [[nodiscard]] char const* name() const noexcept override { return "answer file"; }
  [[nodiscard]] std::string message(int value) const override {
    switch (static_cast<refusal>(value)) {
      case refusal::folder:
        return "it is a folder";
      case refusal::device:
        return "it is a device, not a regular file";
      case refusal::fifo:
        return "it is a FIFO, not a regular file";
      case refusal::socket:
        return "it is a socket, not a regular file";
      case refusal::other:
        return "it is not a regular file";
      case refusal::link:
        return "it is a symbolic link: name the file it points to instead";
      case refusal::owner:
        return "its owner and group cannot be given to the new file";
      case refusal::changed:
        return "another file took its name while the new one was written";
    }
    return "refused";
  }
  [[nodiscard]] std::error_condition default_error_condition(int value) const noexcept override {
    auto const why = static_cast<refusal>(value);
    // A kind the file streams refuse is ENXIO; a name that changed is what replace() answers.
    int const error = why == refusal::folder    ? EISDIR
                      : why == refusal::link    ? ELOOP
                      : why == refusal::owner   ? EPERM
                      : why == refusal::changed ? ESTALE
                                                : ENXIO;
    return {error, std::generic_category()};
  }
};

refusal_category const refusals;

[[noreturn]] void fail_write(ustring const& fileName, std::error_code error) {
  throw std::system_error(error, "cannot write the answer file \"" +
                                     fl::text::excerpt(fl::i18n::ustring_to_utf8(fileName)) + "\"");
}

[[noreturn]] void refuse_write(ustring const& fileName, refusal why) {
  fail_write(fileName, std::error_code(static_cast<int>(why), refusals));
}

// What is at the name now: nothing, or a regular file to replace. Anything else is refused.
fl::filesystem::file_entry replaceable(ustring const& fileName,
                                       fl::filesystem::basic_path const& path) {
  using type = fl::filesystem::entry_type;
  std::error_code error;
  fl::filesystem::file_entry const entry = fl::filesystem::symlink_status(path, error);
  if (error) fail_write(fileName, error);
  switch (entry.type) {
    case type::none:
    case type::regular:
      return entry;
    case type::folder:
      refuse_write(fileName, refusal::folder);
    case type::symbolic_link:
      refuse_write(fileName, refusal::link);
    case type::fifo:
      refuse_write(fileName, refusal::fifo);
    case type::socket:
      refuse_write(fileName, refusal::socket);
    case type::character_device:
    case type::block_device:
      refuse_write(fileName, refusal::device);
    default:
      refuse_write(fileName, refusal::other);
  }
}

// A temporary file, removed once this process has created it and until it is renamed into
// place: whatever fails, even an allocation, leaves no stray copy of the answers behind.
struct temporary_file {
  explicit temporary_file(fl::filesystem::basic_path name) : path(std::move(name)) {}
  temporary_file(temporary_file const&) = delete;
  temporary_file& operator=(temporary_file const&) = delete;
  ~temporary_file() {
    if (ours) (void)fl::filesystem::remove_file(path);
  }
  fl::filesystem::basic_path const path;
  bool ours = false;
};

}  // namespace

void writeInputFileText(ustring const& fileName, std::string_view text) {
  if (fileName.empty())
    fail_write(fileName, std::make_error_code(std::errc::no_such_file_or_directory));
  fl::filesystem::basic_path const target = fl::filesystem::make_path(fileName);
  fl::filesystem::file_entry const old = replaceable(fileName, target);
  auto const [folder, name] = fl::filesystem::detail::split_at_last_separator(fileName);
  std::random_device random;
  // A random, hidden name beside the file. One that is taken, by a stray copy or by a name
  // planted in a shared folder, is never opened: the next is tried.
  for (int attempt = 1;; ++attempt) {
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, ".%08x.tmp", static_cast<unsigned>(random()));
    temporary_file temporary(
        fl::filesystem::make_path(folder + u'.' + name + fl::i18n::utf8_to_ustring(suffix)));
    fl::filesystem::basic_ofstream<char> out(temporary.path, std::ios::out,
                                             {.create_mode = 0600, .exclusive = true});
    if (!out.is_open()) {
      if (out.error() == std::errc::file_exists && attempt < 16) continue;
      fail_write(fileName, out.error());
    }
    temporary.ours = true;
    // The replacement is the old file's, as an editor keeps it; the caller may not give away.
    if (old.type == fl::filesystem::entry_type::regular) {
      std::error_code const error = out.copy_owner_and_mode(old);
      if (error == std::errc::operation_not_permitted) refuse_write(fileName, refusal::owner);
      if (error) fail_write(fileName, error);
    }
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.flush_to_disk();
    out.close();
    // Only an allocation fails without an errno.
    if (out.fail())
      fail_write(fileName,
                 out.error() ? out.error() : std::make_error_code(std::errc::not_enough_memory));
    std::error_code const error = fl::filesystem::replace(temporary.path, target, old);
    if (error == std::error_condition(ESTALE, std::generic_category()))
      refuse_write(fileName, refusal::changed);
    if (error) fail_write(fileName, error);
    temporary.ours = false;
    (void)fl::filesystem::sync_folder(fl::filesystem::make_path(folder));
    return;
  }
}

void writeInputFile(ustring const& fileName, PropertyMap const& properties,
                    InputFileWriteOptions const& options) {
  writeInputFileText(fileName, formatInputFile(properties, options));
}

std::string formatInputFile(PropertyMap const& properties) {
  return formatInputFile(properties, {});
}

std::string formatInputFile(PropertyMap const& properties, InputFileWriteOptions const& options) {
  std::set<std::string> withheld;
  for (std::string const& name : options.withhold) withheld.insert(lines::key_of(name));
  std::string out;
  write_header(out, options.header);
  for (auto const& [key, value] : properties) {
    if (!withheld.empty() && withheld.contains(lines::key_of(fl::i18n::ustring_to_utf8(key)))) {
      out += "# " + escaped(key) + ": value withheld\n";
    } else if (auto const* single = std::get_if<ustring>(&value)) {
      write_single(out, key, *single);
    } else {
      write_list(out, key, std::get<std::vector<ustring>>(value));
    }
  }
  return out;
}

std::string inputFileTemplate(std::map<std::string, std::string> const& rules) {
  std::string out =
      "# Answers for an unattended installation, one \"key = value\" per line.\n"
      "# A key that is commented out has no value to suggest: remove its '#' and write one.\n";
  for (auto const& [name, rule] : rules) {
    out += '\n';
    ustring const key = fl::i18n::utf8_to_ustring(name);
    std::string const problem =
        !fl::i18n::is_valid_utf8(name) ? "it is not UTF-8" : single_key_problem(key);
    if (!problem.empty()) {
      out += "# key " + quoted_text(key) + " cannot be set by an answer file: " + problem + "\n";
      continue;
    }
    auto const [kind, parameter] = rule_kinds::split(rule);
    auto const* const row = rule_kinds::find(kind);
    std::string const words = row != nullptr ? description(*row, parameter)
                                             : "any value: the rule " +
                                                   quoted_text(fl::i18n::utf8_to_ustring(rule)) +
                                                   " has no known kind, so nothing is checked";
    // A key whose line would draw a finding stays commented out, and says why.
    if (std::string const unsafe =
            unsafe_line(assignment(name, "x"), name, {}, "key '" + fl::text::escaped(name) + '\'');
        !unsafe.empty()) {
      out +=
          "# commented out: " + unsafe + "\n# " + fl::text::escaped(name) + " = <" + words + ">\n";
      continue;
    }
    // A commented-out key says what it accepts in its placeholder.
    std::string why;
    auto const value = row != nullptr ? first_allowed(*row, name, rule, std::string(parameter), why)
                                      : std::nullopt;
    if (value) {
      out += "# " + words + "\n" + assignment(name, *value) + "\n";
    } else {
      if (!why.empty()) out += "# no value written: " + why + "\n";
      out += "# " + name + " = <" + words + ">\n";
    }
  }
  return out;
}

}  // namespace install::cpputil
