#pragma once

/// \file
/// URLOpener: which URLs may be opened, and opening them with the system's opener.

#include <string>
#include <vector>

#include "fl/i18n.hpp"
#include "install/cpputil/export.hpp"

namespace install::cpputil {

/// Opens a web page or a local document with the system's opener program, and reports a
/// failed attempt in the installation log. Stateless; the launch sits behind virtual
/// operations so that a derived class can replace it.
class QX_CPPUTIL_API URLOpener {
 public:
  /// Nothing to release.
  virtual ~URLOpener();

  /// True for an https URL whose host is exactly "quillford.com" or ends in ".quillford.com"
  /// (letter case as written, any port) and holds only ASCII letters, digits, hyphens and dots
  /// as written, with no empty label ("a..quillford.com" is refused), and for a file URL (no
  /// host but "localhost", no port) whose path ends in ".txt" or ".pdf", does not start with
  /// "//" and decodes to no NUL or control character.
  /// False for everything else: other schemes, a userinfo part, text the IRI parser refuses.
  /// Never throws.
  [[nodiscard]] static bool isAllowedUrl(std::string const& url);

  /// Opens `url` without checking it (see isAllowedUrl); true when the opener reported
  /// success, or ran but its status cannot be known (see runCommand). Never throws: a failure
  /// logs the exception's text, if any, and "Unable to open <url>[ <status>]", then returns
  /// false.
  virtual bool openUrl(ustring const& url) const;

  /// Runs the opener program ("/usr/bin/open" on macOS, "/usr/bin/xdg-open" elsewhere) on
  /// `url` and returns its exit status. Throws what runCommand throws.
  virtual int openUrlInSystemBrowser(ustring const& url) const;

  /// Starts `program` with `arguments` (no shell), detached, its output discarded, and
  /// returns its exit status (128 + signal for a signal death). When the program ran but its
  /// status cannot be known, because the host reaps its children itself (SIGCHLD ignored:
  /// waiting gives ECHILD), returns 0: the launch counts as a success. Throws
  /// std::system_error naming the program when it cannot be started.
  virtual int runCommand(std::string const& program,
                         std::vector<std::string> const& arguments) const;
};

}  // namespace install::cpputil
