#pragma once

/// \file
/// InstallerException, the installer's error type, and createLocation.

#include <stdexcept>
#include <string>

#include "install/cpputil/export.hpp"

namespace install::cpputil {

/// The installer's error type: an error code, a primary and a secondary message and the
/// location where the error arose. what() is the secondary message; nothing is validated.
class QX_CPPUTIL_API InstallerException : public std::runtime_error {
 public:
  /// Keeps the four texts as given; what() returns `secondaryErrorMessage`.
  InstallerException(std::string errorCode, std::string primaryErrorMessage,
                     std::string secondaryErrorMessage, std::string location);
  /// `message` becomes what() and the secondary message; the other three texts are empty.
  explicit InstallerException(std::string message);

  /// The error code; empty when built from one text.
  [[nodiscard]] std::string getErrorCode() const;
  /// The primary message; empty when built from one text.
  [[nodiscard]] std::string getPrimaryErrorMessage() const;
  /// The secondary message, equal to what().
  [[nodiscard]] std::string getSecondaryErrorMessage() const;
  /// The location; empty when built from one text.
  [[nodiscard]] std::string getLocation() const;

 private:
  std::string errorCode_;
  std::string primaryErrorMessage_;
  std::string secondaryErrorMessage_;
  std::string location_;
};

/// "scope::name"; just `scope` when `name` is empty or exactly equal to `scope`
/// (case-sensitive). Neither text is trimmed.
[[nodiscard]] QX_CPPUTIL_API std::string createLocation(std::string const& scope,
                                                        std::string const& name);

}  // namespace install::cpputil
