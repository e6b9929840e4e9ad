#pragma once

/// \file
/// QX_CPPUTIL_API, the export macro of the library's interface.

/// Marks a symbol as part of the library's exported interface.
#define QX_CPPUTIL_API __attribute__((visibility("default")))
