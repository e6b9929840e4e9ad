// isAllowedUrl must never throw, and an accepted https URL must lead to the company domain
// both as the IRI parser reads it and as a browser reads the raw text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "foundation/network/iri.hpp"
#include "install/cpputil/url_opener.hpp"

namespace {

constexpr std::string_view domain = "quillford.com";

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// The domain or a subdomain, with no empty label.
bool is_company_host(std::string_view host) {
  return host == domain || (host.size() > domain.size() + 1 && host.ends_with(domain) &&
                            host[host.size() - domain.size() - 1] == '.' &&
                            !host.starts_with('.') && host.find("..") == std::string_view::npos);
}

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The host a WHATWG-style reader takes from "https://...": the authority ends at '/', '\',
// '?' or '#'; credentials end at its last '@'; the port starts at its last ':'; escapes are
// decoded and ASCII letters lowered.
std::string browser_host(std::string_view url) {
  std::string_view authority = url.substr(url.find("//") + 2);
  authority = authority.substr(0, authority.find_first_of("/\\?#"));
  if (auto const at = authority.rfind('@'); at != std::string_view::npos)
    authority.remove_prefix(at + 1);
  if (auto const colon = authority.rfind(':'); colon != std::string_view::npos)
    authority = authority.substr(0, colon);
  std::string host;
  for (std::size_t i = 0; i < authority.size(); ++i) {
    char c = authority[i];
    if (c == '%' && i + 2 < authority.size() && hex_value(authority[i + 1]) >= 0 &&
        hex_value(authority[i + 2]) >= 0) {
      c = static_cast<char>(hex_value(authority[i + 1]) * 16 + hex_value(authority[i + 2]));
      i += 2;
    }
    host.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
  }
  return host;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const url(reinterpret_cast<char const*>(data), size);
  if (!install::cpputil::URLOpener::isAllowedUrl(url)) {
    return 0;
  }
  foundation::network::IRI const iri(url);  // accepted, so it parses
  std::string const scheme = iri.getSchemeUtf8();
  require(scheme == "https" || scheme == "file");
  if (scheme == "https") {
    require(is_company_host(iri.getHostUtf8(foundation::network::iri::Encoding::decoded)));
    require(url.starts_with("https://"));
    require(is_company_host(browser_host(url)));
  }
  return 0;
}
