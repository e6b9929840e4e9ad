#include "install/cpputil/sandbox_workflow_detector.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "fl/filesystem.hpp"
#include "support/temp_dir.hpp"

#ifdef __linux__
#include <link.h>
#endif

namespace {

using install::cpputil::SandboxWorkflowDetector;

class SandboxWorkflowDetectorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(product_);
    fl::filesystem::set_install_path(fl::i18n::utf8_to_ustring(product_.string()));
  }
  void TearDown() override { fl::filesystem::set_install_path(u""); }

  qx::test::TempDir root_;
  std::filesystem::path const product_ = root_.path() / "product";
  std::filesystem::path const marker_ = root_.path() / "qx_anchor";
  SandboxWorkflowDetector const detector_;
};

TEST_F(SandboxWorkflowDetectorTest, NoMarkerBesideTheInstallFolder) {
  qx::test::write_file(product_ / "qx_anchor", "");  // inside, not beside: does not count
  qx::test::write_file(root_.path() / "qx_anchor.txt", "");
  EXPECT_FALSE(detector_.isSandboxPathExist());
  EXPECT_FALSE(detector_.isSandboxWorkflow());
}

TEST_F(SandboxWorkflowDetectorTest, MarkerFileOrFolderCounts) {
  qx::test::write_file(marker_, "");
  EXPECT_TRUE(detector_.isSandboxPathExist());
  EXPECT_TRUE(detector_.isSandboxWorkflow());
  std::filesystem::remove(marker_);
  EXPECT_FALSE(detector_.isSandboxWorkflow());
  std::filesystem::create_directory(marker_);
  EXPECT_TRUE(detector_.isSandboxWorkflow());
}

class ThrowingDetector : public SandboxWorkflowDetector {
 public:
  bool isSandboxPathExist() const override {
    if (throw_standard_)
      throw std::runtime_error("no install path");
    throw 7;
  }
  bool throw_standard_ = true;
};

TEST_F(SandboxWorkflowDetectorTest, AFailingTestMeansNoSandbox) {
  qx::test::write_file(marker_, "");
  ThrowingDetector const throwing;
  SandboxWorkflowDetector const& through_base = throwing;
  EXPECT_FALSE(through_base.isSandboxWorkflow());
  ThrowingDetector non_standard;
  non_standard.throw_standard_ = false;
  EXPECT_FALSE(non_standard.isSandboxWorkflow());
  EXPECT_THROW(static_cast<void>(throwing.isSandboxPathExist()), std::runtime_error);
}

TEST(InstallPath, SetOverridesAndEmptyRestoresTheDefault) {
  ustring const original = fl::filesystem::get_install_path();
  ASSERT_FALSE(original.empty());
  fl::filesystem::set_install_path(u"/opt/x/product");
  EXPECT_EQ(fl::filesystem::get_install_path(), u"/opt/x/product");
  fl::filesystem::set_install_path(u"");
  EXPECT_EQ(fl::filesystem::get_install_path(), original);
}

#ifdef __linux__
// Where the dynamic loader found the platform library, asked independently of it.
int find_platform_library(dl_phdr_info* info, size_t, void* data) {
  std::string const name = info->dlpi_name != nullptr ? info->dlpi_name : "";
  if (name.find("libqxinstall_platform.so") == std::string::npos)
    return 0;
  *static_cast<std::string*>(data) = name;
  return 1;
}

TEST(InstallPath, DefaultIsTheFolderAboveThePlatformLibrary) {
  std::string library;
  dl_iterate_phdr(find_platform_library, &library);
  ASSERT_FALSE(library.empty());
  auto const expected = std::filesystem::canonical(library).parent_path().parent_path();
  auto const actual =
      std::filesystem::path(fl::i18n::ustring_to_utf8(fl::filesystem::get_install_path()));
  EXPECT_EQ(std::filesystem::canonical(actual), expected);
}
#endif

}  // namespace
