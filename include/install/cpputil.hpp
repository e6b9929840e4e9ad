#pragma once

/// \file
/// Everything the library exports, for callers that prefer one include to ten.
#include "install/cpputil/input_file_diagnostics.hpp"
#include "install/cpputil/input_file_parser.hpp"
#include "install/cpputil/input_file_writer.hpp"
#include "install/cpputil/installer_exception.hpp"
#include "install/cpputil/installer_locale.hpp"
#include "install/cpputil/interrupt.hpp"
#include "install/cpputil/log_reader.hpp"
#include "install/cpputil/logger.hpp"
#include "install/cpputil/product_ordering.hpp"
#include "install/cpputil/sandbox_workflow_detector.hpp"
#include "install/cpputil/url_opener.hpp"
#include "install/cpputil/validation.hpp"
#include "install/cpputil/version_comparator.hpp"
