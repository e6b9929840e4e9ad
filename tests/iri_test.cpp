#include "foundation/network/iri.hpp"

#include "support/support.hpp"

using foundation::network::IRI, foundation::network::iri::Encoding;

QX_TABLE_TEST(Iri, SplitsComponentsAsWrittenOrRefuses, "iri.tsv") {
  qx::test::Row const& row = GetParam();
  if (row["userinfo"] == "refused") {
    EXPECT_THROW(IRI{row["text"]}, std::invalid_argument);
    return;
  }
  IRI const iri(row["text"]);
  EXPECT_EQ(iri.hasUserInfo(), row["userinfo"] == "1");
  EXPECT_EQ(iri.hasScheme(), !row["scheme"].empty());
  EXPECT_EQ(iri.getSchemeUtf8(), row["scheme"]);
  EXPECT_EQ(iri.getHostUtf8(Encoding::decoded), row["host"]);
  EXPECT_EQ(iri.getHostUtf8(Encoding::encoded), row["host_encoded"]);
  EXPECT_EQ(iri.getPathUtf8(Encoding::decoded), row["path"]);
  EXPECT_EQ(iri.getPathUtf8(Encoding::encoded), row["path_encoded"]);
}
