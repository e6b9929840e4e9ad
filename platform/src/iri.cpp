#include "foundation/network/iri.hpp"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <stdexcept>
#include <string_view>

#include "fl/i18n.hpp"
#include "fl/text.hpp"

namespace foundation::network {
namespace {

[[noreturn]] void reject(std::string_view why) {
  throw std::invalid_argument("IRI: " + std::string(why));
}

// A blank or a control character (C1 included) in the text of a URL.
bool holds_control_or_space(std::string_view text) {
  return text.find(' ') != std::string_view::npos || fl::text::holds_control(text);
}

// Browsers read '\' as '/' and drop tabs and line feeds, so such text means something else
// to them than to RFC 3986; refusing it keeps the two readings equal.
void check_raw_text(std::string const& text) {
  if (text.find('\\') != std::string::npos) reject("backslash");
  if (holds_control_or_space(text)) reject("control character or space");
  if (!fl::i18n::is_valid_utf8(text)) reject("ill-formed UTF-8");
}

// RFC 3987 section 3.1: each byte of a non-ASCII character becomes a percent-escape.
std::string map_to_uri(std::string const& text) {
  static constexpr char hex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (char const ch : text) {
    auto const c = static_cast<unsigned char>(ch);
    if (c < 0x80) {
      out.push_back(ch);
    } else {
      out.push_back('%');
      out.push_back(hex[c >> 4]);
      out.push_back(hex[c & 0x0F]);
    }
  }
  return out;
}

// The code points a browser forbids in a domain, checked on the decoded host so that an
// escape such as %2F or %40 cannot move the host boundary for one reader and not the other.
void check_decoded_host(std::string const& host) {
  static constexpr std::string_view forbidden = "#%/:<>?@[\\]^|";
  if (holds_control_or_space(host) || host.find_first_of(forbidden) != std::string::npos)
    reject("forbidden character in host");
  if (!fl::i18n::is_valid_utf8(host)) reject("ill-formed UTF-8 in host");
}

// RFC 3986 has the path after an authority start with '/' (or be empty); Boost.URL 1.81 ends
// the authority early instead, so "https://a.com:x@b.com/" or "https://a.com:evil.com" would
// report a host that no browser reaches. Browsers also refuse ports above 65535.
void check_authority(boost::urls::url_view const& view) {
  if (!view.has_authority()) return;
  std::string_view const path = view.encoded_path();
  if (!path.empty() && path.front() != '/') reject("authority not ended by '/', '?' or '#'");
  std::string_view port = view.port();
  while (port.size() > 1 && port.front() == '0') port.remove_prefix(1);
  if (port.size() > 5 || (port.size() == 5 && port > "65535")) reject("port out of range");
}

}  // namespace

IRI::IRI(std::string const& text) {
  check_raw_text(text);
  std::string const uri = map_to_uri(text);
  auto const parsed = boost::urls::parse_uri_reference(uri);
  if (!parsed) reject(parsed.error().message());
  boost::urls::url_view const& view = *parsed;
  check_authority(view);

  has_scheme_ = view.has_scheme();
  scheme_ = view.scheme();
  has_userinfo_ = view.has_userinfo();
  has_port_ = view.has_port();
  host_encoded_ = view.encoded_host();
  switch (view.host_type()) {
    case boost::urls::host_type::ipvfuture:
      reject("IPvFuture host");
    case boost::urls::host_type::ipv6:
      host_decoded_ = host_encoded_;  // validated by the parser; keeps its brackets
      break;
    default:
      host_decoded_ = view.host();
      check_decoded_host(host_decoded_);
      break;
  }
  path_encoded_ = view.encoded_path();
  path_decoded_ = view.path();
}

std::string IRI::getHostUtf8(iri::Encoding const& encoding) const {
  return encoding == iri::Encoding::decoded ? host_decoded_ : host_encoded_;
}

std::string IRI::getPathUtf8(iri::Encoding const& encoding) const {
  return encoding == iri::Encoding::decoded ? path_decoded_ : path_encoded_;
}

}  // namespace foundation::network
