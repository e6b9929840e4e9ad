#include "install/cpputil/installer_locale.hpp"

#include <string>

#include "foundation/locale/system_locale.hpp"
#include "foundation/log/diagnostic_logger.hpp"

namespace install::cpputil::installer_locale {
namespace {

// The unit's channel; getLocale itself has nothing worth tracing.
foundation::log::basic_diagnostic_logger<char> const trace_channel(
    "install::cpputil::InstallerLocale");

}  // namespace

ustring getLocale() {
  using foundation::locale::system_locale;
  system_locale const locale = system_locale::get_locale(system_locale::category::messages);
  return fl::i18n::utf8_to_ustring(locale.language() + "_" + locale.region());
}

}  // namespace install::cpputil::installer_locale
