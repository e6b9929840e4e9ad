#include "install/cpputil/url_opener.hpp"

#include <algorithm>
#include <exception>
#include <limits>
#include <string_view>
#include <system_error>

#include "errors/swallow.hpp"
#include "fl/text.hpp"
#include "foundation/core/process.hpp"
#include "foundation/network/iri.hpp"
#include "install/cpputil/logger.hpp"

namespace install::cpputil {
namespace {

using foundation::network::IRI;
using foundation::network::iri::Encoding;

constexpr std::string_view allowed_domain = "quillford.com";
// The system's opener, chosen per system in src/environment/CMakeLists.txt.
constexpr char const* opener_program = QX_OPENER_PROGRAM;
// Stands for "no exit status": the launch itself failed.
constexpr int no_status = std::numeric_limits<int>::max();

bool is_allowed_document(std::string_view path) {
  std::size_t const dot = path.rfind('.');
  if (dot == std::string_view::npos) return false;
  std::string_view const extension = path.substr(dot);
  return extension == ".txt" || extension == ".pdf";
}

// ASCII letters, digits, hyphens and dots as written: a percent-encoded, full-width or other
// look-alike of a separator never reaches the domain test, whatever a browser maps it to.
bool is_plain_host(std::string_view host) {
  return std::all_of(host.begin(), host.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.';
  });
}

// A local document: no port, no second authority hidden in the path ("file:////host/x"),
// and no NUL or control character once decoded ("%00" would cut the name short).
bool is_local_file(IRI const& iri, std::string_view path) {
  std::string const host = iri.getHostUtf8(Encoding::decoded);
  if (iri.hasPort() || (!host.empty() && host != "localhost") || path.starts_with("//"))
    return false;
  return !fl::text::holds_control(path);
}

// The domain itself or a subdomain, with no empty label (".quillford.com", "a..quillford.com").
bool is_allowed_host(std::string_view host) {
  if (host == allowed_domain) return true;
  return host.size() >= allowed_domain.size() + 2 && host.ends_with(allowed_domain) &&
         host[host.size() - allowed_domain.size() - 1] == '.' && !host.starts_with('.') &&
         host.find("..") == std::string_view::npos;
}

// The one place this unit swallows exceptions: isAllowedUrl and openUrl never throw. What
// reaches it: the IRI parser's std::invalid_argument for text it refuses, and in openUrl,
// once the launch has failed, an allocation failure while the failure is logged.
using detail::false_when_throwing;

std::string unable_to_open(ustring const& url, int status) {
  std::string message = "Unable to open " + fl::i18n::to_string(url);
  if (status != no_status) message += ' ' + std::to_string(status);
  return message;
}

}  // namespace

URLOpener::~URLOpener() = default;

bool URLOpener::isAllowedUrl(std::string const& url) {
  if (url.empty()) return false;
  return false_when_throwing([&url] {
    IRI const iri(url);
    if (!iri.hasScheme()) return false;
    // Credentials in front of the host only serve to disguise where a link leads.
    if (iri.hasUserInfo()) return false;
    std::string const scheme = iri.getSchemeUtf8();
    if (scheme == "file") {
      // A file URL naming another machine would have the opener reach out over the network.
      std::string const path = iri.getPathUtf8(Encoding::decoded);
      return is_local_file(iri, path) && is_allowed_document(path);
    }
    if (scheme == "https") {
      std::string const host = iri.getHostUtf8(Encoding::encoded);
      return is_plain_host(host) && is_allowed_host(host);
    }
    return false;
  });
}

bool URLOpener::openUrl(ustring const& url) const {
  return false_when_throwing([&] {
    int status = no_status;
    // A launch that throws failed all the same; only a standard exception has a text to log.
    detail::swallow([&] { status = openUrlInSystemBrowser(url); },
                    [](char const* text) {
                      if (text != nullptr) logger::append_message(fl::i18n::to_ustring(text));
                    });
    if (status == 0) return true;
    logger::append_message(fl::i18n::to_ustring(unable_to_open(url, status)));
    return false;
  });
}

int URLOpener::openUrlInSystemBrowser(ustring const& url) const {
  return runCommand(opener_program, {fl::i18n::to_string(url)});
}

int URLOpener::runCommand(std::string const& program,
                          std::vector<std::string> const& arguments) const {
  foundation::core::context ctx;
  ctx.std_out(foundation::core::discard()).std_err(foundation::core::discard());
  ctx.detached_process(true);
  foundation::core::process child(foundation::core::command(program, arguments), ctx);
  try {
    return child.exit_status();
  } catch (std::system_error const& error) {
    // ECHILD: the program ran and has ended, but the host reaps its children itself (SIGCHLD
    // ignored), so the status is gone. Reporting a failure that most likely did not happen
    // would have the caller retry and open the page twice.
    if (error.code() == std::errc::no_child_process) return 0;
    throw;
  }
}

}  // namespace install::cpputil
