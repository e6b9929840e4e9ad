#pragma once

/// \file
/// QX_PLATFORM_API, the export macro of the platform layer.

/// Marks a symbol of the platform layer as part of its exported interface.
#define QX_PLATFORM_API __attribute__((visibility("default")))
