#pragma once

/// \file
/// Detection of the sandbox (development-tree) workflow.

#include "install/cpputil/export.hpp"

namespace install::cpputil {

/// Tells whether the installer runs in the sandbox (development-tree) workflow, marked by
/// an entry named "qx_anchor" in the folder that holds the install path.
class QX_CPPUTIL_API SandboxWorkflowDetector {
 public:
  /// Nothing to release.
  virtual ~SandboxWorkflowDetector();

  /// The answer of isSandboxPathExist; false when it throws. Never throws.
  [[nodiscard]] virtual bool isSandboxWorkflow() const;

  /// True when the marker exists, whatever kind of entry it is. For an install path without
  /// a parent folder the marker is looked up relative to the working folder. Throws what
  /// the platform's path functions throw.
  [[nodiscard]] virtual bool isSandboxPathExist() const;
};

}  // namespace install::cpputil
