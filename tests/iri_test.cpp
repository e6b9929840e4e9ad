#include "foundation/network/iri.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using foundation::network::IRI;
using foundation::network::iri::Encoding;

struct Components {
  std::string text;
  bool has_scheme;
  std::string scheme;
  std::string host_decoded;
  std::string host_encoded;
  std::string path_decoded;
  std::string path_encoded;
};

TEST(IRI, SplitsComponentsAsWritten) {
  Components const cases[] = {
      {"https://www.quillford.com/a%20b?q=1#f", true, "https", "www.quillford.com",
       "www.quillford.com", "/a b", "/a%20b"},
      // Letter case of scheme and host is kept.
      {"HTTPS://QuillFord.COM:65535", true, "HTTPS", "QuillFord.COM", "QuillFord.COM", "", ""},
      {"https://www%2droot.example.com:/x", true, "https", "www-root.example.com",
       "www%2droot.example.com", "/x", "/x"},
      // Non-ASCII characters travel as percent-encoded UTF-8 and decode back.
      {"https://\u00FC.example/\u20AC", true, "https", "\u00FC.example", "%C3%BC.example",
       "/\u20AC", "/%E2%82%AC"},
      {"https://[::1]:08080/x", true, "https", "[::1]", "[::1]", "/x", "/x"},
      {"file:///tmp/a%20b.txt", true, "file", "", "", "/tmp/a b.txt", "/tmp/a%20b.txt"},
      {"docs/a.pdf", false, "", "", "", "docs/a.pdf", "docs/a.pdf"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.text);
    IRI const iri(c.text);
    EXPECT_EQ(iri.hasScheme(), c.has_scheme);
    EXPECT_EQ(iri.getSchemeUtf8(), c.scheme);
    EXPECT_EQ(iri.getHostUtf8(Encoding::decoded), c.host_decoded);
    EXPECT_EQ(iri.getHostUtf8(Encoding::encoded), c.host_encoded);
    EXPECT_EQ(iri.getPathUtf8(Encoding::decoded), c.path_decoded);
    EXPECT_EQ(iri.getPathUtf8(Encoding::encoded), c.path_encoded);
  }
  EXPECT_EQ(static_cast<int>(Encoding::decoded), 0);
}

TEST(IRI, ReportsUserInfo) {
  EXPECT_TRUE(IRI("https://@quillford.com/").hasUserInfo());
  EXPECT_FALSE(IRI("https://quillford.com/a@b").hasUserInfo());
  EXPECT_EQ(IRI("https://quillford.com@evil.com/").getHostUtf8(Encoding::decoded), "evil.com");
}

TEST(IRI, RefusesTextBrowsersReadDifferently) {
  std::string const refused[] = {
      "https://evil.com\\@quillford.com",                             // a browser reads '\' as '/'
      "https://quill\tford.com", "https://quillford.com\n.evil.com",  // browsers drop these
      std::string("https://quillford.com\0", 22), "https://quillford.com\x7F",
      "https://quillford.com/a b",
      // Escapes that would decode to a host delimiter or another forbidden character.
      "https://evil.com%2Fquillford.com", "https://evil.com%40quillford.com",
      "https://evil.com%3A443.quillford.com", "https://evil.com%00.quillford.com",
      "https://evil.com%252e.quillford.com", "https://evil.com%7C.quillford.com",
      "https://%FF.quillford.com", "https://\xC3.quillford.com",  // ill-formed UTF-8
      "https://[v1.quillford.com]/",
      // Boost.URL 1.81 would end the authority early on these.
      "https://quillford.com:evil.com", "https://quillford.com:80x/",
      "https://a@quillford.com@evil.com/", "https://[::1]evil.com/", "https://quillford.com:65536/",
      "https://[::1/", "https://a^b.quillford.com", "%zz"};
  for (auto const& text : refused) {
    SCOPED_TRACE(text);
    EXPECT_THROW(IRI{text}, std::invalid_argument);
  }
}

}  // namespace
