#pragma once

/// \file
/// The display order of product names.

#include <vector>

#include "fl/i18n.hpp"
#include "install/cpputil/export.hpp"

namespace install::cpputil {

/// Sorts in place (not stable): the five known products first in their fixed order, then
/// the rest by upper-cased UTF-8 bytes. Names equal ignoring case are left adjacent in
/// unspecified order; an empty or one-name vector is unchanged.
QX_CPPUTIL_API void sortProductsInKESTRAbeticalOrder(std::vector<ustring>& products);

}  // namespace install::cpputil
