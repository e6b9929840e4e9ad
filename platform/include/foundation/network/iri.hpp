#pragma once

/// \file
/// IRI: parsing URLs and IRIs into their components.

#include <string>

#include "fl/platform_export.hpp"

namespace foundation::network {

namespace iri {

/// How a component of an IRI is returned.
enum class Encoding {
  /// Percent-escapes decoded: the component's bytes (UTF-8 for an IRI).
  decoded = 0,
  /// As it stands in the text, after non-ASCII characters were percent-encoded.
  encoded = 1,
};

}  // namespace iri

/// An RFC 3986 URI reference, or an RFC 3987 IRI whose non-ASCII characters are mapped to
/// percent-encoded UTF-8 before parsing. Stricter than both RFCs where browsers read a text
/// differently, so that the host it reports is the one a browser would reach.
class QX_PLATFORM_API IRI {
 public:
  /// Parses `text`. Throws std::invalid_argument for text Boost.URL rejects, for ill-formed
  /// UTF-8, for a backslash, a control character (0x00-0x1F, 0x7F) or a space anywhere, for
  /// an authority followed by anything but '/', '?', '#' or the end (a second '@', a port
  /// that is not a number), for a port above 65535, for an IPvFuture host, and for a host
  /// whose decoded form holds ill-formed UTF-8, a control character or one of " #%/:<>?@[\]^|"
  /// (a bracketed IPv6 literal is parsed as such).
  explicit IRI(std::string const& text);

  /// True when the text starts with a scheme.
  [[nodiscard]] bool hasScheme() const noexcept { return has_scheme_; }
  /// True when the authority holds a userinfo part ("user@"), even an empty one.
  [[nodiscard]] bool hasUserInfo() const noexcept { return has_userinfo_; }
  /// True when the authority names a port (":" after the host), even an empty one.
  [[nodiscard]] bool hasPort() const noexcept { return has_port_; }
  /// The scheme as written (letter case kept); empty when there is none.
  [[nodiscard]] std::string getSchemeUtf8() const { return scheme_; }
  /// The host as written (letter case kept, an IPv6 literal with its brackets, no port);
  /// empty when there is no authority.
  [[nodiscard]] std::string getHostUtf8(iri::Encoding const& encoding) const;
  /// The path; may be empty.
  [[nodiscard]] std::string getPathUtf8(iri::Encoding const& encoding) const;

 private:
  bool has_scheme_ = false;
  bool has_userinfo_ = false;
  bool has_port_ = false;
  std::string scheme_;
  std::string host_encoded_;
  std::string host_decoded_;
  std::string path_encoded_;
  std::string path_decoded_;
};

}  // namespace foundation::network
