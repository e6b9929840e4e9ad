#pragma once

/// \file
/// The installer's user-interface locale, as language and region.

#include "fl/i18n.hpp"
#include "install/cpputil/export.hpp"

namespace install::cpputil::installer_locale {

/// The user's messages locale as language + "_" + region (for example u"en_US"), parts as
/// the platform gives them: an empty region gives u"de_". Exceptions of the platform pass.
[[nodiscard]] QX_CPPUTIL_API ustring getLocale();

}  // namespace install::cpputil::installer_locale
