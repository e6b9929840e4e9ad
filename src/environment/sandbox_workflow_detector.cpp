#include "install/cpputil/sandbox_workflow_detector.hpp"

#include "fl/filesystem.hpp"

namespace install::cpputil {
namespace {

using fl::filesystem::basic_path;
namespace detail = fl::filesystem::detail;

constexpr char16_t const* marker_name = u"qx_anchor";

basic_path native_path(ustring const& text) {
  return text.empty() ? basic_path() : basic_path(detail::make_native_form(text, true));
}

}  // namespace

SandboxWorkflowDetector::~SandboxWorkflowDetector() = default;

bool SandboxWorkflowDetector::isSandboxWorkflow() const {
  try {
    return isSandboxPathExist();
  } catch (...) {
    return false;
  }
}

bool SandboxWorkflowDetector::isSandboxPathExist() const {
  basic_path const install = native_path(fl::filesystem::get_install_path());
  basic_path const parent = native_path(detail::extract_parent_path(install.string()));
  basic_path const marker(detail::concatenate_pathname(parent.string(), marker_name, true));
  return fl::filesystem::exists(marker);
}

}  // namespace install::cpputil
