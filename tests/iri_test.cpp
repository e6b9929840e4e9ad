#include "foundation/network/iri.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/table.hpp"

namespace {

using foundation::network::IRI;
using foundation::network::iri::Encoding;

static_assert(static_cast<int>(Encoding::decoded) == 0);

TEST(IRI, SplitsComponentsAsWrittenOrRefuses) {
  for (auto const& row : qx::test::read_table("iri.tsv")) {
    if (row[2] == "refused") {
      EXPECT_THROW(IRI{row[1]}, std::invalid_argument) << row[0];
      continue;
    }
    IRI const iri(row[1]);
    EXPECT_EQ(iri.hasUserInfo(), row[2] == "1") << row[0];
    EXPECT_EQ(iri.hasScheme(), !row[3].empty()) << row[0];
    EXPECT_EQ(iri.getSchemeUtf8(), row[3]) << row[0];
    EXPECT_EQ(iri.getHostUtf8(Encoding::decoded), row[4]) << row[0];
    EXPECT_EQ(iri.getHostUtf8(Encoding::encoded), row[5]) << row[0];
    EXPECT_EQ(iri.getPathUtf8(Encoding::decoded), row[6]) << row[0];
    EXPECT_EQ(iri.getPathUtf8(Encoding::encoded), row[7]) << row[0];
  }
}

}  // namespace
