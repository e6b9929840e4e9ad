#include "install/cpputil/sandbox_workflow_detector.hpp"

#include "fl/filesystem.hpp"
#include "support/support.hpp"

using install::cpputil::SandboxWorkflowDetector;

struct ThrowingDetector : SandboxWorkflowDetector {
  bool isSandboxPathExist() const override { throw 7; }  // not even a std::exception
};

TEST(SandboxWorkflowDetector, AMarkerBesideTheInstallFolderDecides) {
  ustring const default_path = fl::filesystem::get_install_path();
  qx::test::TempDir const root;
  root.write("product/qx_anchor", "");  // inside, not beside: does not count
  root.write("qx_anchor.txt", "");
  fl::filesystem::set_install_path(fl::i18n::utf8_to_ustring(root.file("product")));
  SandboxWorkflowDetector const detector;
  EXPECT_FALSE(detector.isSandboxWorkflow());
  std::string const marker = root.write("qx_anchor", "");
  EXPECT_TRUE(detector.isSandboxPathExist());
  std::filesystem::remove(marker);
  std::filesystem::create_directory(marker);  // a folder counts as well
  EXPECT_TRUE(detector.isSandboxWorkflow());
  EXPECT_FALSE(ThrowingDetector().isSandboxWorkflow());  // a failing test means no sandbox
  fl::filesystem::set_install_path(u"");
  EXPECT_EQ(fl::filesystem::get_install_path(), default_path);
}

// The build tree's layout as CMake knows it: the platform library is built in
// QX_PLATFORM_LIBRARY_DIR, and this test loads it from there.
TEST(InstallPath, DefaultIsTheFolderAboveThePlatformLibrary) {
  EXPECT_EQ(
      std::filesystem::canonical(fl::i18n::ustring_to_utf8(fl::filesystem::get_install_path())),
      std::filesystem::canonical(QX_PLATFORM_LIBRARY_DIR).parent_path());
}
