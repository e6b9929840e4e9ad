#include "install/cpputil/sandbox_workflow_detector.hpp"

#include "errors/swallow.hpp"
#include "fl/filesystem.hpp"

namespace install::cpputil {
namespace {

using fl::filesystem::basic_path;
using fl::filesystem::make_path;
namespace path_text = fl::filesystem::detail;

constexpr char16_t const* marker_name = u"qx_anchor";

}  // namespace

SandboxWorkflowDetector::~SandboxWorkflowDetector() = default;

// The one place this unit swallows exceptions: the answer is false whenever the test throws.
// What reaches it: the platform's std::runtime_error for an install folder it cannot locate,
// the std::filesystem::filesystem_error of an existence test that fails, and whatever a
// derived class's isSandboxPathExist throws.
bool SandboxWorkflowDetector::isSandboxWorkflow() const {
  return detail::false_when_throwing([this] { return isSandboxPathExist(); });
}

bool SandboxWorkflowDetector::isSandboxPathExist() const {
  basic_path const install = make_path(fl::filesystem::get_install_path());
  basic_path const parent = make_path(path_text::extract_parent_path(install.string()));
  basic_path const marker =
      make_path(path_text::concatenate_pathname(parent.string(), marker_name, true));
  return fl::filesystem::exists(marker);
}

}  // namespace install::cpputil
