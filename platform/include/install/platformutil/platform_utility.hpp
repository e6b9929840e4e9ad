#pragma once

/// \file
/// The current user's name, the formatted local time, the host name and the process id.

#include <string>

#include "fl/platform_export.hpp"

namespace install::platformutil {

/// Facts about the current user and time, as the installer needs them.
class QX_PLATFORM_API PlatformUtility {
 public:
  /// The effective user's login name (getpwuid_r); for a user without one, $USER unless it
  /// is empty, holds '/' or is "." or ".."; else "unknown". Never empty.
  [[nodiscard]] std::string getPlatformUserName() const;
  /// The local time formatted by strftime `format` in the classic locale, so month and day
  /// names are English whatever the user's locale. An empty format gives "".
  [[nodiscard]] std::string getPlatformCurrentTime(std::string const& format) const;
  /// The machine's host name (gethostname), as the system gives it; "unknown" when it gives none.
  [[nodiscard]] std::string getPlatformHostName() const;
  /// The calling process's id.
  [[nodiscard]] long getPlatformProcessId() const;
};

}  // namespace install::platformutil
