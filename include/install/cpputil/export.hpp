#pragma once

/// Marks a symbol as part of the library's exported interface.
#define QX_CPPUTIL_API __attribute__((visibility("default")))
