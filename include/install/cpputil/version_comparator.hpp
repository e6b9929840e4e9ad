#pragma once

/// \file
/// Comparison of dotted version numbers.

#include <string>
#include <vector>

#include "fl/i18n.hpp"
#include "install/cpputil/export.hpp"

namespace install::cpputil {

/// Compares dotted version numbers piece by piece as integers. Stateless.
class QX_CPPUTIL_API VersionComparator {
 public:
  /// Nothing to set up.
  VersionComparator() = default;
  /// Nothing to release.
  virtual ~VersionComparator();
  /// Copies nothing: the class holds no state.
  VersionComparator(VersionComparator const&) = default;
  /// Copies nothing: the class holds no state.
  VersionComparator& operator=(VersionComparator const&) = default;

  /// -1, 0 or 1 as `first` is lower, equal or higher; missing pieces count as 0. Each piece
  /// is read by std::stoi up to the first difference: throws std::invalid_argument for a
  /// reached piece without leading digits (empty included), std::out_of_range beyond int.
  [[nodiscard]] virtual int compareVersionNumbers(const ustring& first,
                                                  const ustring& second) const;

  /// The pieces between '.' characters, as std::getline reads them: none for the empty
  /// text, no empty last piece after a trailing dot, empty pieces for ".." or a leading dot.
  [[nodiscard]] std::vector<std::string> tokenizeString(const std::string& text) const;
};

}  // namespace install::cpputil
